#include "apps/zqsim/csvTable.h"

#include "apps/zqsim/commands.h"
#include "apps/zqsim/output.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <utility>

namespace
{
/// Reads a line with its end; ends of lines between quotation marks are part of it. False where the file ends, with what
/// there is of a line that has no end.
bool readLine(std::istream& stream, std::string& line)
{
   line.clear();
   bool isQuoted = false;
   for (std::string part; std::getline(stream, part);)
   {
      line += part;
      if (stream.eof())
         return false;
      line += '\n';
      isQuoted ^= std::count(part.begin(), part.end(), '"') % 2 != 0;
      if (!isQuoted)
         return true;
   }
   return false;
}

/// As they are written, without the end of the line.
std::vector<std::string> fieldsOf(const std::string& line)
{
   std::vector<std::string> fields(1);
   bool isQuoted = false;
   for (const char c : line)
   {
      isQuoted ^= c == '"';
      if (c == ',' && !isQuoted)
         fields.emplace_back();
      else if (c != '\n' || isQuoted)
         fields.back() += c;
   }
   return fields;
}

/// Which column of a table is the first that is not expected.
std::string differenceOf(const std::string& head, const std::string& expectedHead)
{
   const std::vector<std::string> names = fieldsOf(head);
   const std::vector<std::string> expected = fieldsOf(expectedHead);
   const auto [name, wanted] =
      std::mismatch(names.begin(), names.end(), expected.begin(), expected.end());
   const std::string column = "its column " + std::to_string(name - names.begin() + 1);
   if (wanted == expected.end())
      return column + ", \"" + *name + "\", is none of this run";
   return column + (name == names.end() ? " is missing" : " is \"" + *name + '"') +
          ", where this run has \"" + *wanted + '"';
}

/// With which a line begins; none of what cannot be read as one.
std::optional<ZqReal> timeOf(const std::string& line)
{
   ZqReal time = 0.0;
   const auto end = std::from_chars(line.data(), line.data() + line.size(), time);
   if (end.ec != std::errc() || (*end.ptr != ',' && *end.ptr != '\n') || !std::isfinite(time))
      return std::nullopt;
   return time;
}

/// Whether there are lines of so many fields in what begins with a torn one.
bool hidesLines(const std::string& text, std::size_t fieldCount)
{
   std::istringstream stream(text);
   std::string line;
   std::getline(stream, line);
   while (std::getline(stream, line) && !stream.eof())
      if (timeOf(line + '\n') && fieldsOf(line).size() == fieldCount)
         return true;
   return false;
}
} // namespace

std::string zqsim::csvField(const std::string& text)
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

bool zqsim::splitCsv(std::string_view line, std::vector<std::string>& fields)
{
   std::size_t count = 0;
   const auto next = [&]() -> std::string&
   {
      if (count == fields.size())
         fields.emplace_back();
      fields[count].clear();
      return fields[count++];
   };
   std::string* field = &next();
   bool isQuoted = false;
   for (std::size_t i = 0; i < line.size(); ++i)
   {
      const char c = line[i];
      if (c == '"')
      {
         if (isQuoted && i + 1 < line.size() && line[i + 1] == '"')
            *field += line[++i];
         else
            isQuoted = !isQuoted;
      }
      else if (c == ',' && !isQuoted)
         field = &next();
      else
         *field += c;
   }
   fields.resize(count);
   return !isQuoted;
}

zqsim::CsvTable::CsvTable(std::string fileName, const std::vector<std::string>& names,
                          const std::optional<Continuation>& continuation, TableLines lines)
   : m_fileName(std::move(fileName))
{
   for (const std::string& name : names)
      m_head += (m_head.empty() ? "" : ",") + csvField(name);
   m_head += '\n';
   std::error_code error;
   if (!continuation || !std::filesystem::exists(m_fileName, error))
      return;
   if (!std::filesystem::is_regular_file(m_fileName, error))
      refuse("it is no file to go on with");
   m_continuation = continuation;
   findEnd(lines);
}

void zqsim::CsvTable::refuse(const std::string& reason) const
{
   throw Failure(InvalidInput, m_fileName + ": --append: " + reason);
}

bool zqsim::CsvTable::isKept(ZqReal time) const
{
   return time < m_continuation->time ||
          (time == m_continuation->time && m_continuation->isRecorded);
}

void zqsim::CsvTable::findEnd(TableLines lines)
{
   errno = 0;
   std::ifstream file(m_fileName, std::ios::binary);
   std::string head;
   const bool hasHead = readLine(file, head);
   if (file.bad() || !file.is_open())
      refuse(std::strerror(errno));
   if (head != m_head && (hasHead || !m_head.starts_with(head)))
      refuse(differenceOf(head, m_head));
   if (hasHead)
      readLines(file, lines);
   // A table that begins with the checkpoint has a line of it.
   if (!hasHead || (!m_lastTime && lines == TableLines::AtEachTime))
      m_continuation.reset();
}

/// What a run that was killed has written last may be torn; all before has to be as a run has written it.
void zqsim::CsvTable::readLines(std::istream& file, TableLines lines)
{
   const std::size_t fieldCount = fieldsOf(m_head).size();
   m_keptSize = m_head.size();
   std::optional<ZqReal> before;
   std::size_t unreadable = 0;
   ZqReal longest = m_continuation->longest;
   std::string line;
   std::size_t number = 2;
   for (; readLine(file, line); ++number)
   {
      const std::string name = "line " + std::to_string(number);
      const auto time = timeOf(line);
      if (!time && unreadable == 0)
         unreadable = number;
      if (!time)
         continue;
      if (unreadable != 0)
         refuse("line " + std::to_string(unreadable) + " cannot be read, but " + name + " can");
      if (const std::size_t count = fieldsOf(line).size(); count != fieldCount)
         refuse(name + " has " + std::to_string(count) + " fields, and not " +
                std::to_string(fieldCount));
      if (before && *time < *before)
         refuse(name + " is of an earlier time than the one before it");
      before = time;
      if (!isKept(*time))
         continue;
      if (m_lastTime)
         longest = std::max(m_continuation->longest, *time - *m_lastTime);
      m_keptSize += line.size();
      m_lastTime = time;
   }
   if (file.bad())
      refuse(std::strerror(errno));
   if (hidesLines(line, fieldCount))
      refuse("line " + std::to_string(number) + " has no end, but lines behind it have");
   const ZqReal roundings = 0.5 * m_continuation->step;
   if (lines == TableLines::AtEachTime && m_lastTime &&
       m_continuation->time - *m_lastTime > longest + roundings)
      refuse("lines are missing between " + exact(*m_lastTime) + " s and the checkpoint at " +
             exact(m_continuation->time) + " s");
}

void zqsim::CsvTable::open()
{
   m_file.emplace(m_fileName, m_keptSize > 0);
   if (m_keptSize == 0)
      m_file->write(m_head);
}

void zqsim::CsvTable::begin()
{
   if (m_keptSize > 0)
      m_file->cut(m_keptSize);
   m_keptSize = 0;
}

bool zqsim::beginsBefore(const std::string& fileName, ZqReal time)
{
   std::error_code error;
   if (!std::filesystem::is_regular_file(fileName, error))
      return false;
   std::ifstream file(fileName, std::ios::binary);
   std::string line;
   return readLine(file, line) && line.starts_with("time,") && readLine(file, line) &&
          timeOf(line).value_or(time) < time;
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
