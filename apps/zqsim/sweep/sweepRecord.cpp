#include "apps/zqsim/sweep/sweepRecord.h"

#include "apps/zqsim/commands.h"
#include "apps/zqsim/output.h"
#include "apps/zqsim/outputFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

namespace
{
std::size_t commasOf(std::string_view line)
{
   std::size_t commas = 0;
   bool isQuoted = false;
   for (const char c : line)
   {
      isQuoted ^= c == '"';
      commas += c == ',' && !isQuoted ? 1 : 0;
   }
   return commas;
}

/// The second field of a line, which needs no quotation marks.
std::string_view outcomeIn(std::string_view line)
{
   line.remove_prefix(line.find(',') + 1);
   return line.substr(0, line.find(','));
}

std::string_view lastLine(std::string_view text)
{
   const std::string_view whole = text.substr(0, text.size() - 1);
   return whole.substr(whole.rfind('\n') + 1);
}
} // namespace

zqsim::SweepRecord::SweepRecord(std::string fileName, std::string head, std::uint64_t count,
                                TableStart start)
   : m_fileName(std::move(fileName)), m_head(std::move(head)), m_count(count), m_start(start),
     m_commas(commasOf(lastLine(m_head)))
{
   open();
   if (m_isFile)
      removeLeftovers();
   if (m_isFile && start == TableStart::Fresh)
   {
      if (::ftruncate(m_descriptor, 0) != 0)
         fail();
      std::filesystem::remove(earlyName());
   }
   else if (m_isFile)
      keepLines();
   if (!m_isFile || ::lseek(m_descriptor, 0, SEEK_END) == 0)
      append(m_head);
}

zqsim::SweepRecord::~SweepRecord()
{
   ::close(m_descriptor);
}

void zqsim::SweepRecord::fail() const
{
   throw Failure(Failed, m_fileName + ": " + std::strerror(errno));
}

void zqsim::SweepRecord::refuse(const std::string& reason) const
{
   throw Failure(InvalidInput, m_fileName + ": " + reason + " (--fresh begins it anew)");
}

void zqsim::SweepRecord::open()
{
   m_descriptor = isStandardStream(m_fileName)
                     ? ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)
                     : ::open(m_fileName.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
   struct stat status = {};
   if (m_descriptor < 0 || ::fstat(m_descriptor, &status) != 0)
      fail();
   m_isFile = !isStandardStream(m_fileName) && S_ISREG(status.st_mode);
   if (!m_isFile || ::flock(m_descriptor, LOCK_EX | LOCK_NB) == 0)
      return;
   if (errno == EWOULDBLOCK)
      throw Failure(Failed, m_fileName + ": another sweep is writing it");
   complain("warning: " + m_fileName + ": it cannot be locked (" + std::strerror(errno) +
            "): have no other sweep write it");
}

/// What was written of the file beside, when a sweep was killed.
void zqsim::SweepRecord::removeLeftovers() const
{
   namespace files = std::filesystem;
   std::error_code error;
   const files::path early = files::absolute(earlyName(), error);
   for (files::directory_iterator file(early.parent_path(), error), end; file != end;
        file.increment(error))
      if (const std::string name = file->path().filename().string();
          name.starts_with(early.filename().string() + '.') && name.ends_with(".new"))
         files::remove(file->path(), error);
}

std::uint64_t zqsim::SweepRecord::missing(std::uint64_t end) const
{
   const auto early = std::distance(m_early.begin(), m_early.lower_bound(end));
   return end - std::min(end, m_written) - static_cast<std::uint64_t>(early);
}

bool zqsim::SweepRecord::isKept(std::string_view line) const
{
   const std::string_view outcome = outcomeIn(line);
   return m_start != TableStart::RunLostAgain || (outcome != "died" && outcome != "failed");
}

bool zqsim::SweepRecord::isLineOf(std::uint64_t sample, std::string_view line) const
{
   return line.starts_with(std::to_string(sample) + ',') && commasOf(line) == m_commas;
}

void zqsim::SweepRecord::count(std::string_view line)
{
   ++m_outcomes[std::string(outcomeIn(line))];
}

/// Of what has no end of its line, nothing is believed. Behind a line that is made anew, lines wait for their turn; they
/// stand in the file beside before the table loses them.
void zqsim::SweepRecord::keepLines()
{
   std::ifstream file(m_fileName, std::ios::binary);
   std::string head(m_head.size(), '\0');
   file.read(head.data(), static_cast<std::streamsize>(head.size()));
   head.resize(static_cast<std::size_t>(file.gcount()));
   if (!m_head.starts_with(head))
      refuse(head.starts_with(m_head.substr(0, m_head.find(' ', 2)))
                ? "it is the table of another study, or of another version of this one or of zqsim"
                : "it is no table of a sweep");
   std::uintmax_t size = head == m_head ? head.size() : 0;
   std::uint64_t sample = 0;
   bool isWhole = true;
   for (std::string line; size > 0 && std::getline(file, line) && !file.eof(); ++sample)
   {
      if (!isLineOf(sample, line))
         refuse("its line " +
                std::to_string(sample + 1 + std::count(m_head.begin(), m_head.end(), '\n')) +
                " is not of sample " + std::to_string(sample));
      if (sample >= m_count)
         refuse("it has more samples than the study");
      isWhole = isWhole && isKept(line);
      if (isWhole)
      {
         count(line);
         size += line.size() + 1;
         ++m_written;
      }
      else if (isKept(line))
         add(sample, line + '\n');
   }
   keepEarlyLines();
   if (!isWhole)
      sync();
   if (file.bad() || ::ftruncate(m_descriptor, static_cast<off_t>(size)) != 0)
      fail();
}

/// That file was written whole or not at all.
void zqsim::SweepRecord::keepEarlyLines()
{
   std::ifstream file(earlyName(), std::ios::binary);
   std::string head(m_head.size(), '\0');
   file.read(head.data(), static_cast<std::streamsize>(head.size()));
   if (head != m_head)
      return;
   for (std::string line; std::getline(file, line) && !file.eof();)
   {
      std::uint64_t sample = m_count;
      std::from_chars(line.data(), line.data() + line.size(), sample);
      if (sample < m_count && isLineOf(sample, line) && isKept(line))
         add(sample, line + '\n');
   }
   m_isEarlyChanged = true;
}

void zqsim::SweepRecord::add(std::uint64_t sample, std::string line)
{
   if (has(sample))
      return;
   count(line);
   m_isEarlyChanged = true;
   m_earlySize += line.size();
   m_early.emplace(sample, std::move(line));
}

void zqsim::SweepRecord::append(std::string_view text) const
{
   while (!text.empty())
   {
      const auto count = ::write(m_descriptor, text.data(), text.size());
      if (count < 0 && errno != EINTR)
         fail();
      if (count > 0)
         text.remove_prefix(static_cast<std::size_t>(count));
   }
}

void zqsim::SweepRecord::write()
{
   std::string due;
   while (!m_early.empty() && m_early.begin()->first == m_written)
   {
      due += m_early.begin()->second;
      m_earlySize -= m_early.begin()->second.size();
      m_early.erase(m_early.begin());
      ++m_written;
      m_isEarlyChanged = true;
   }
   append(due);
}

void zqsim::SweepRecord::sync()
{
   if (!m_isFile || !m_isEarlyChanged)
      return;
   if (::fsync(m_descriptor) != 0 && errno != EINVAL)
      fail();
   m_isEarlyChanged = false;
   if (m_early.empty())
   {
      std::filesystem::remove(earlyName());
      return;
   }
   std::string text = m_head;
   for (const auto& [sample, line] : m_early)
      text += line;
   replaceFile(earlyName(), text);
}
