#pragma once

#include "apps/zqsim/sweep/sampleRunner.h"

#include <fstream>
#include <string>
#include <vector>

namespace zqsim
{
/// \name The table of a sweep
/// Lines of fields with commas between them (RFC 4180): "sample", "outcome", one column for each metric, "reason". Numbers
/// read back as the same bits; a metric that has no value is an empty field. Each line stays in its line.
/// @{
std::string sweepTableHead(const std::vector<std::string>& metricNames);
std::string sweepTableLine(const SampleRow& row);
/// @}

/// Reads such a table row by row. What is none is a `Failure`, which names the line.
class SweepTableReader
{
public:
   explicit SweepTableReader(const std::string& fileName);

   const std::vector<std::string>& metricNames() const { return m_metricNames; }
   /// False at the end.
   bool next(SampleRow& row);

private:
   [[noreturn]] void refuse(const std::string& reason) const;

   std::string m_fileName;
   std::ifstream m_file;
   std::vector<std::string> m_metricNames;
   std::vector<std::string> m_fields; ///< of the line
   std::string m_line;
   std::uint64_t m_lineNumber = 0;
};
} // namespace zqsim
