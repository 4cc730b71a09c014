#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace zqsim
{
/// What becomes of a table that there is.
enum class TableStart : unsigned char
{
   GoOn,
   /// Samples whose process died, or that could not be run, are run again: chance may have had a part in it.
   RunLostAgain,
   Fresh
};

/// The table of a sweep as it grows, in a file that tells by itself how far the sweep has come: a first line that tells
/// which study it is of, names of columns, and one line for each sample in order. What is done ahead of its turn stands
/// in a file beside, ".early", for as long as there is some. No other process can have it at the same time.
class SweepRecord
{
public:
   /// Of samples 0 to count - 1. Of a table that there is with this head, the lines stay, but for a last one that was
   /// torn; with another one it is a `Failure`, unless it is to begin anew. "-" is standard output.
   SweepRecord(std::string fileName, std::string head, std::uint64_t count, TableStart start);
   SweepRecord(const SweepRecord&) = delete;
   SweepRecord& operator=(const SweepRecord&) = delete;
   ~SweepRecord();

   /// How many samples have come to the table.
   std::uint64_t written() const { return m_written; }
   /// How many are done.
   std::uint64_t done() const { return m_written + m_early.size(); }
   /// How many below an end are not.
   std::uint64_t missing(std::uint64_t end) const;
   /// Of what waits for its turn, in bytes.
   std::size_t earlySize() const { return m_earlySize; }
   bool has(std::uint64_t sample) const { return sample < m_written || m_early.contains(sample); }
   /// How many samples have come to each end.
   const std::map<std::string, std::uint64_t>& outcomes() const { return m_outcomes; }

   /// Whether a line has the form of a sample's line.
   bool isLineOf(std::uint64_t sample, std::string_view line) const;
   /// Adds the line of a sample, with its end; one that there is stays.
   void add(std::uint64_t sample, std::string line);
   /// Hands to the system what has its turn.
   void write();
   /// Brings all to the disk.
   void sync();

private:
   [[noreturn]] void fail() const;
   [[noreturn]] void refuse(const std::string& reason) const;
   std::string earlyName() const { return m_fileName + ".early"; }
   void open();
   void removeLeftovers() const;
   bool isKept(std::string_view line) const;
   void keepLines();
   void keepEarlyLines();
   void count(std::string_view line);
   void append(std::string_view text) const;

   std::string m_fileName;
   std::string m_head;
   std::uint64_t m_count;
   TableStart m_start;
   std::size_t m_commas;  ///< of each line
   int m_descriptor = -1; ///< of the table
   bool m_isFile = false; ///< that can be gone on with
   bool m_isEarlyChanged = false;
   std::uint64_t m_written = 0;
   std::map<std::uint64_t, std::string> m_early;
   std::size_t m_earlySize = 0;
   std::map<std::string, std::uint64_t> m_outcomes;
};
} // namespace zqsim
