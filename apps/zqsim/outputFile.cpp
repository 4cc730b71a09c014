#include "apps/zqsim/outputFile.h"

#include "apps/zqsim/commands.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>

namespace
{
/// Whether the bytes of a file, or the names in a directory, are on the disk.
bool isSynced(const std::filesystem::path& path)
{
   const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
   if (descriptor < 0)
      return false;
   // Some file systems cannot do it for directories.
   const bool isSynced = ::fsync(descriptor) == 0 || errno == EINVAL;
   ::close(descriptor);
   return isSynced;
}
} // namespace

zqsim::OutputFile::OutputFile(const std::string& name, std::uintmax_t keptSize)
   : m_name(isStandardStream(name) ? "standard output" : name),
     m_stream(isStandardStream(name) ? std::cout : m_file)
{
   errno = 0;
   if (keptSize > 0)
      require(::truncate(name.c_str(), static_cast<off_t>(keptSize)) == 0);
   if (!isStandardStream(name))
      m_file.open(name, keptSize > 0 ? std::ios::binary | std::ios::app : std::ios::binary);
   require(m_stream.good());
}

void zqsim::OutputFile::require(bool isGood)
{
   if (isGood || m_isAbandoned)
      return;
   m_isAbandoned = !m_file.is_open() && errno == EPIPE;
   if (!m_isAbandoned)
      throw Failure(Failed,
                    m_name + ": " + (errno != 0 ? std::strerror(errno) : "it cannot be written"));
}

void zqsim::OutputFile::write(std::string_view text)
{
   errno = 0;
   require(m_stream.write(text.data(), static_cast<std::streamsize>(text.size())).good());
}

void zqsim::OutputFile::flush()
{
   errno = 0;
   require(m_stream.flush().good());
}

void zqsim::OutputFile::sync()
{
   flush();
   std::error_code error;
   if (!m_file.is_open() || !std::filesystem::is_regular_file(m_name, error))
      return;
   errno = 0;
   const auto directory = std::filesystem::absolute(m_name, error).parent_path();
   require(isSynced(m_name) && isSynced(directory));
}

void zqsim::OutputFile::close()
{
   errno = 0;
   m_stream.flush();
   if (m_file.is_open())
      m_file.close();
   require(m_stream.good());
}

void zqsim::replaceFile(const std::string& name, std::string_view text)
{
   namespace files = std::filesystem;
   std::error_code error;
   const bool isInPlace = isStandardStream(name) || files::is_other(name, error);
   // Of a link, what it leads to.
   const files::path target = files::weakly_canonical(files::absolute(name, error), error);
   const std::string written =
      isInPlace ? name : target.string() + '.' + std::to_string(::getpid()) + ".new";
   try
   {
      OutputFile file(written);
      file.write(text);
      if (!isInPlace)
         file.sync();
      file.close();
      if (isInPlace)
         return;
      if (const files::file_status old = files::status(target, error); files::exists(old))
         files::permissions(written, old.permissions(), error);
      files::rename(written, target, error);
      if (error)
         throw Failure(Failed, name + ": " + error.message());
   }
   catch (const Failure&)
   {
      if (!isInPlace)
         files::remove(written, error);
      throw;
   }
}
