#include "apps/zqsim/sweep/sweepTable.h"

#include "apps/zqsim/commands.h"
#include "apps/zqsim/csvTable.h"
#include "apps/zqsim/output.h"
#include "zqManipulator/foundation/log/ZqDiagnostic.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace
{
template <class Number>
bool parse(const std::string& text, Number& number)
{
   const char* end = text.data() + text.size();
   const auto result = std::from_chars(text.data(), end, number);
   return result.ec == std::errc() && result.ptr == end;
}
} // namespace

std::string zqsim::sweepTableHead(const std::vector<std::string>& metricNames)
{
   std::string line = "sample,outcome";
   for (const std::string& name : metricNames)
      line += ',' + csvField(Zq::oneLine(name));
   return line + ",reason\n";
}

std::string zqsim::sweepTableLine(const SampleRow& row)
{
   std::string line = std::to_string(row.sample) + ',' + csvField(row.outcome);
   for (const ZqReal metric : row.metrics)
      line += ',' + (std::isnan(metric) ? std::string() : exact(metric));
   return line + ',' + csvField(Zq::oneLine(row.reason)) + '\n';
}

zqsim::SweepTableReader::SweepTableReader(const std::string& fileName)
   : m_fileName(fileName), m_file(fileName, std::ios::binary)
{
   if (!m_file)
      throw Failure(InvalidInput, fileName + ": cannot be opened: " + std::strerror(errno));
   // Which study it is of stands ahead of its names.
   do
      ++m_lineNumber;
   while (std::getline(m_file, m_line) && m_line.starts_with('#'));
   if (!m_file || m_file.eof() || !splitCsv(m_line, m_fields) || m_fields.size() < 3 ||
       m_fields[0] != "sample" || m_fields[1] != "outcome" || m_fields.back() != "reason")
      refuse("is not the head of a table of samples");
   m_metricNames.assign(m_fields.begin() + 2, m_fields.end() - 1);
}

bool zqsim::SweepTableReader::next(SampleRow& row)
{
   if (!std::getline(m_file, m_line) && m_line.empty())
   {
      if (m_file.bad())
         refuse("cannot be read");
      return false;
   }
   ++m_lineNumber;
   if (m_file.eof())
      refuse("has no end");
   if (!splitCsv(m_line, m_fields) || m_fields.size() != m_metricNames.size() + 3)
      refuse("has not one field for each column");
   if (!parse(m_fields[0], row.sample))
      refuse("does not begin with the number of a sample");
   row.outcome = m_fields[1];
   row.metrics.assign(m_metricNames.size(), std::numeric_limits<ZqReal>::quiet_NaN());
   for (std::size_t i = 0; i < row.metrics.size(); ++i)
      if (!m_fields[i + 2].empty() && !parse(m_fields[i + 2], row.metrics[i]))
         refuse("has a metric that is no number: " + m_fields[i + 2]);
   row.reason = m_fields.back();
   return true;
}

void zqsim::SweepTableReader::refuse(const std::string& reason) const
{
   throw Failure(InvalidInput,
                 m_fileName + ":" + std::to_string(m_lineNumber) + ": the line " + reason);
}
