#include "zqManipulator/foundation/xml/ZqXmlDocument.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/xml/ZqXmlObject.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/foundation/xml/ZqXmlWriter.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <istream>
#include <ostream>
#include <sstream>
#include <streambuf>

namespace
{
/// A text that is read where it stands.
class TextBuffer : public std::streambuf
{
public:
   explicit TextBuffer(std::string_view text)
   {
      // A stream buffer reads through pointers that are not const.
      char* begin = const_cast<char*>(text.data());
      setg(begin, begin, begin + text.size());
   }

protected:
   pos_type seekoff(off_type offset, std::ios_base::seekdir way, std::ios_base::openmode) override
   {
      const char* from = way == std::ios_base::beg   ? eback()
                         : way == std::ios_base::end ? egptr()
                                                     : gptr();
      const off_type place = (from - eback()) + offset;
      if (place < 0 || place > egptr() - eback())
         return pos_type(off_type(-1));
      setg(eback(), eback() + place, egptr());
      return place;
   }
   pos_type seekpos(pos_type place, std::ios_base::openmode mode) override
   {
      return seekoff(place, std::ios_base::beg, mode);
   }
};

/// A stream buffer over a file descriptor, unbuffered: the writer hands over blocks.
class DescriptorBuffer : public std::streambuf
{
public:
   explicit DescriptorBuffer(int descriptor) : m_descriptor(descriptor) {}

protected:
   std::streamsize xsputn(const char* bytes, std::streamsize count) override
   {
      std::streamsize done = 0;
      while (done < count)
      {
         const ssize_t written =
            ::write(m_descriptor, bytes + done, static_cast<std::size_t>(count - done));
         if (written < 0 && errno == EINTR)
            continue;
         if (written <= 0)
            break;
         done += written;
      }
      return done;
   }
   int_type overflow(int_type c) override
   {
      const char byte = traits_type::to_char_type(c);
      return xsputn(&byte, 1) == 1 ? c : traits_type::eof();
   }

private:
   int m_descriptor;
};

bool reject(const ZqString& what, const ZqString& fileName)
{
   const ZqString text = what + ": " + std::strerror(errno);
   Zq::Print::instance().report(Zq::Rejected,
                                {Zq::Severity::Error, "not-saved", fileName, 0, {}, text},
                                "Zq::save Error: " + text + ".\n\tFile: " + fileName + '\n');
   return false;
}

/// The result of the work; false, with a message, when memory runs out.
template <class Work>
bool unlessOutOfMemory(const char* operation, Work work)
{
   try
   {
      return work();
   }
   catch (const std::bad_alloc&)
   {
      Zq::Print::instance().write(Zq::Rejected, "%s Error: no memory for the document.\n",
                                  operation);
      return false;
   }
}

bool writeTo(int descriptor, const ZqXmlObject& object, const ZqString& fileName,
             bool writeDefaults)
{
   return unlessOutOfMemory("Zq::save",
                            [&]
                            {
                               DescriptorBuffer buffer(descriptor);
                               std::ostream stream(&buffer);
                               ZqXmlWriter writer(fileName, stream);
                               writer.setWriteDefaultDataFlag(writeDefaults);
                               return Zq::write(object, writer);
                            });
}

/// The file that a name stands for once links are followed, also a link to a file that is not there.
ZqString followed(const ZqString& fileName)
{
   namespace fs = std::filesystem;
   constexpr int mostLinks = 40;
   std::error_code error;
   fs::path path(fileName);
   for (int i = 0; i < mostLinks && fs::is_symlink(path, error); ++i)
      path = path.parent_path() / fs::read_symlink(path, error);
   return path.string();
}

/// The name of the new file of a save: the first number that no other save has.
ZqString newFileName(const ZqString& target, int number)
{
   return target + ".save-" + std::to_string(number) + ".new";
}

/// Locks a file for as long as it is open, unless somebody has locked it.
bool lock(int descriptor)
{
   return ::flock(descriptor, LOCK_EX | LOCK_NB) == 0;
}

/// Whether a name still is that of an open file, and no pipe or device has it.
bool isNamed(int descriptor, const ZqString& name)
{
   struct stat file = {};
   struct stat named = {};
   return ::fstat(descriptor, &file) == 0 && S_ISREG(file.st_mode) &&
          ::lstat(name.c_str(), &named) == 0 && file.st_dev == named.st_dev &&
          file.st_ino == named.st_ino;
}

/// Removes the new file of a save that was killed. The system unlocks what a process has locked when the
/// process ends, however it ends: a file that can be locked belongs to nobody.
void removeLeftOver(const ZqString& name)
{
   const int descriptor = ::open(name.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
   if (descriptor < 0)
      return;
   if (lock(descriptor) && isNamed(descriptor, name))
      ::unlink(name.c_str());
   ::close(descriptor);
}

/// Makes a new file beside the target, with the permissions that a new file has, and sets its name. The
/// file is locked until it is closed.
int makeBeside(const ZqString& target, ZqString& name)
{
   constexpr int looks = 8; // more saves of one file at a time than that are rare
   constexpr int mostTries = 1000;
   for (int i = 0; i < looks; ++i)
      removeLeftOver(newFileName(target, i));
   for (int i = 0; i < mostTries; ++i)
   {
      name = newFileName(target, i);
      const int descriptor = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
      if (descriptor < 0 && errno != EEXIST)
         return descriptor;
      if (descriptor < 0)
         continue;
      // Another save may have taken the file for a left-over one before it was locked. Where files
      // cannot be locked nobody removes any.
      if ((lock(descriptor) || errno != EWOULDBLOCK) && isNamed(descriptor, name))
         return descriptor;
      ::close(descriptor);
   }
   return -1;
}

/// Gives the new file the owner, as far as that is allowed, and the permissions of the old one.
bool takeOver(int descriptor, const ZqString& target)
{
   struct stat existing = {};
   if (::stat(target.c_str(), &existing) != 0)
      return true;
   if (::fchown(descriptor, existing.st_uid, existing.st_gid) != 0)
      errno = 0;
   return ::fchmod(descriptor, existing.st_mode & 07777U) == 0;
}

void syncFolderOf(const ZqString& fileName)
{
   const auto slash = fileName.rfind('/');
   const ZqString folder = slash == ZqString::npos ? "."
                           : slash == 0            ? "/"
                                                   : fileName.substr(0, slash);
   const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
   if (descriptor < 0)
      return;
   ::fsync(descriptor);
   ::close(descriptor);
}

/// Devices and pipes are written where they are: they have no old content to keep.
bool isSpecial(const ZqString& fileName)
{
   struct stat existing = {};
   return ::stat(fileName.c_str(), &existing) == 0 && !S_ISREG(existing.st_mode) &&
          !S_ISDIR(existing.st_mode);
}

/// Writes to a file descriptor.
using WriteTo = std::function<bool(int)>;

bool saveInPlace(const WriteTo& write, const ZqString& fileName)
{
   const int descriptor = ::open(fileName.c_str(), O_WRONLY | O_CLOEXEC);
   if (descriptor < 0)
      return reject("the file cannot be opened", fileName);
   const bool written = write(descriptor);
   return (::close(descriptor) == 0 || reject("the file cannot be closed", fileName)) && written;
}

/// To a new file beside the target that then takes its name.
bool saveBeside(const WriteTo& write, const ZqString& fileName)
{
   const ZqString target = followed(fileName);
   ZqString temporary;
   const int descriptor = makeBeside(target, temporary);
   if (descriptor < 0)
      return reject("no file can be made beside the target", fileName);
   bool written = write(descriptor);
   if (written && (!takeOver(descriptor, target) || ::fsync(descriptor) != 0))
      written = reject("the disk takes no more", fileName);
   // What is on the disk is whole, so that only closing is left, which gives the lock up: last.
   if (written && ::rename(temporary.c_str(), target.c_str()) != 0)
      written = reject("the file cannot be replaced", fileName);
   if (!written)
      ::unlink(temporary.c_str());
   else
      syncFolderOf(target);
   ::close(descriptor);
   return written;
}

bool saveBy(const WriteTo& write, const ZqString& fileName)
{
   return unlessOutOfMemory(
      "Zq::save", [&]
      { return isSpecial(fileName) ? saveInPlace(write, fileName) : saveBeside(write, fileName); });
}

bool readDocument(ZqXmlObject& object, ZqXmlReader& reader)
{
   unsigned kind = reader.nextNode();
   if (!ZqXmlReader::isStart(kind))
      return false;
   if (reader.tagText() != object.token().view())
   {
      reader.fail("expected the root element \"" + object.token().token() + "\", but received \"" +
                  ZqString(reader.tagText()) + "\"");
      return false;
   }
   if (!object.xmlInitialized() && !object.xmlInit())
      return false;
   if (!object.read(reader) || reader.failed())
      return false;
   // Only what may follow a root element is left; anything else is not well-formed.
   kind = reader.nextNode();
   return kind == ZqXmlReader::EndOfInput && !reader.failed();
}

bool writeDocument(const ZqXmlObject& object, ZqXmlWriter& writer)
{
   writer.writeStartTag(object.token());
   const bool written = object.write(writer);
   if (written)
      writer.writeEndTag();
   else
      writer.fail("the object was not written");
   return writer.flush() && written;
}
} // namespace

bool Zq::read(ZqXmlObject& object, ZqXmlReader& reader)
{
   return unlessOutOfMemory("Zq::read",
                            [&]
                            {
                               const Zq::DiagnosticPlace place([&](Zq::Diagnostic& diagnostic)
                                                               { reader.locate(diagnostic); });
                               return readDocument(object, reader);
                            });
}

bool Zq::load(ZqXmlObject& object, const ZqString& fileName)
{
   return unlessOutOfMemory("Zq::load",
                            [&]
                            {
                               ZqXmlReader reader(fileName);
                               return read(object, reader);
                            });
}

bool Zq::fromXml(ZqXmlObject& object, std::string_view document)
{
   return unlessOutOfMemory("Zq::fromXml",
                            [&]
                            {
                               TextBuffer buffer(document);
                               std::istream stream(&buffer);
                               ZqXmlReader reader(stream, "(text)");
                               return read(object, reader);
                            });
}

bool Zq::write(const ZqXmlObject& object, ZqXmlWriter& writer)
{
   return unlessOutOfMemory("Zq::write", [&] { return writeDocument(object, writer); });
}

bool Zq::toXml(const ZqXmlObject& object, ZqString& document, bool writeDefaults)
{
   document.clear();
   return unlessOutOfMemory("Zq::toXml",
                            [&]
                            {
                               std::ostringstream stream;
                               ZqXmlWriter writer("(text)", stream);
                               writer.setWriteDefaultDataFlag(writeDefaults);
                               const bool written = write(object, writer);
                               if (written)
                                  document = std::move(stream).str();
                               return written;
                            });
}

bool Zq::save(const ZqXmlObject& object, const ZqString& fileName, bool writeDefaults)
{
   // By reference, for which nothing is allocated outside of what bears with failing allocations.
   const auto write = [&](int descriptor)
   { return writeTo(descriptor, object, fileName, writeDefaults); };
   return saveBy(std::cref(write), fileName);
}

bool Zq::saveBytes(std::string_view bytes, const ZqString& fileName)
{
   const auto count = static_cast<std::streamsize>(bytes.size());
   const auto write = [&](int descriptor)
   {
      DescriptorBuffer buffer(descriptor);
      return buffer.sputn(bytes.data(), count) == count ||
             reject("the disk takes no more", fileName);
   };
   return saveBy(std::cref(write), fileName);
}
