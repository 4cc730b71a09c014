#include "apps/zqsim/csvTable.h"

#include "apps/zqsim/commands.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <utility>

namespace
{
std::string csvField(const std::string& text)
{
   if (text.find_first_of(",\"\r\n") == std::string::npos)
      return text;
   std::string result = "\"";
   for (const char c : text)
   {
      if (c == '"')
         result += '"';
      result += c;
   }
   return result + '"';
}

/// Reads a line with its end; ends of lines between quotation marks are part of it. False where the file ends,
/// and for a line that has no end.
bool readLine(std::istream& stream, std::string& line)
{
   line.clear();
   bool isQuoted = false;
   for (std::string part; std::getline(stream, part) && !stream.eof();)
   {
      line += part + '\n';
      isQuoted ^= std::count(part.begin(), part.end(), '"') % 2 != 0;
      if (!isQuoted)
         return true;
   }
   return false;
}

std::optional<ZqReal> timeOf(const std::string& line)
{
   ZqReal time = 0.0;
   const auto end = std::from_chars(line.data(), line.data() + line.size(), time);
   if (end.ec != std::errc() || (*end.ptr != ',' && *end.ptr != '\n'))
      return std::nullopt;
   return time;
}
} // namespace

zqsim::CsvTable::CsvTable(std::string fileName, const std::vector<std::string>& names,
                          const std::optional<Continuation>& continuation)
   : m_fileName(std::move(fileName))
{
   for (const std::string& name : names)
      m_head += (m_head.empty() ? "" : ",") + csvField(name);
   m_head += '\n';
   std::error_code error;
   if (!continuation || !std::filesystem::exists(m_fileName, error))
      return;
   if (!std::filesystem::is_regular_file(m_fileName, error))
      throw Failure(Failed, m_fileName + ": --append goes on with files alone");
   if (std::filesystem::file_size(m_fileName, error) == 0)
      return;
   m_continuation = continuation;
   findEnd();
}

void zqsim::CsvTable::findEnd()
{
   errno = 0;
   std::ifstream file(m_fileName, std::ios::binary);
   if (!file)
      throw Failure(Failed, m_fileName + ": " + std::strerror(errno));
   std::string line;
   if (!readLine(file, line) || line != m_head)
      throw Failure(InvalidInput, m_fileName + ": --append: its columns are not those of this run");
   m_keptSize = m_head.size();
   // Of what a killed run has written last there may be parts.
   while (readLine(file, line))
   {
      const auto time = timeOf(line);
      const bool isKept = time && (*time < m_continuation->time ||
                                   (*time == m_continuation->time && m_continuation->isRecorded));
      if (!isKept)
         break;
      m_keptSize += line.size();
      m_lastTime = time;
   }
}

bool zqsim::CsvTable::tells(ZqReal time) const
{
   if (!m_continuation || time != m_continuation->time)
      return false;
   return !m_continuation->isRecorded || m_lastTime == time;
}

void zqsim::CsvTable::open()
{
   m_file.emplace(m_fileName, m_keptSize);
   if (m_keptSize == 0)
      m_file->write(m_head);
}

void zqsim::CsvTable::add(const std::string& text)
{
   m_line += csvField(text) + ',';
}

void zqsim::CsvTable::endLine()
{
   m_line.back() = '\n';
   m_file->write(m_line);
   m_line.clear();
}
