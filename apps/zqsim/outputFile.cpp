#include "apps/zqsim/outputFile.h"

#include "apps/zqsim/commands.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iostream>

namespace
{
/// A second descriptor of a file that is open, as streams do not tell theirs; -1 of what is no file on a disk.
int descriptorOf(const std::string& name)
{
   const int descriptor = ::open(name.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
   struct stat status = {};
   if (descriptor < 0 || (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)))
      return descriptor;
   ::close(descriptor);
   return -1;
}

/// Brings the name of a file to the disk, where the file system can do that.
void syncDirectoryOf(const std::string& name)
{
   std::error_code error;
   const auto directory = std::filesystem::absolute(name, error).parent_path();
   const int descriptor = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
   if (descriptor < 0)
      return;
   ::fsync(descriptor);
   ::close(descriptor);
}
} // namespace

zqsim::OutputFile::OutputFile(const std::string& name, bool isKept)
   : m_name(isStandardStream(name) ? "standard output" : name),
     m_stream(isStandardStream(name) ? std::cout : m_file)
{
   errno = 0;
   if (!isStandardStream(name))
      m_file.open(name, isKept ? std::ios::binary | std::ios::app : std::ios::binary);
   require(m_stream.good());
   if (m_file.is_open())
      m_descriptor = descriptorOf(name);
}

zqsim::OutputFile::~OutputFile()
{
   if (m_descriptor >= 0)
      ::close(m_descriptor);
}

void zqsim::OutputFile::cut(std::uintmax_t size)
{
   errno = 0;
   require(::ftruncate(m_descriptor, static_cast<off_t>(size)) == 0);
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
   if (m_descriptor < 0)
      return;
   errno = 0;
   require(::fsync(m_descriptor) == 0 || errno == EINVAL);
   if (!m_isNameSynced)
      syncDirectoryOf(m_name);
   m_isNameSynced = true;
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
