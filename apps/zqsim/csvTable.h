#pragma once

#include "apps/zqsim/observer.h"
#include "apps/zqsim/outputFile.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace zqsim
{
/// Where a run goes on with the tables of the one before it.
struct Continuation
{
   ZqReal time; ///< of the checkpoint (s)
   /// Whether its step is one of every Nth, which are recorded; otherwise a table has a line of it only where a run ends.
   bool isRecorded;
   ZqReal step;    ///< that led to the checkpoint (s)
   ZqReal longest; ///< how long before the checkpoint the line before it may be (s)
};

/// A text as a field of a table (RFC 4180).
std::string csvField(const std::string& text);
/// The fields of a line that is a whole row, without its end. False when quotation marks do not pair.
bool splitCsv(std::string_view line, std::vector<std::string>& fields);

/// Whether a table has a line at each recorded time.
enum class TableLines
{
   AtEachTime,
   WhereSomethingIs
};

/// A file of lines of fields with commas between them (RFC 4180), of which the first holds names and the first
/// column is the time, which never decreases.
class CsvTable
{
public:
   /// With a continuation, of a file that there is the lines up to it stay, and what follows them goes, as does a line
   /// that was torn. One with other names, or of which more would be lost, is a `Failure`.
   CsvTable(std::string fileName, const std::vector<std::string>& names,
            const std::optional<Continuation>& continuation, TableLines lines);

   /// What the file has that goes on is left until `begin`.
   void open();
   void begin();
   /// Whether the lines that stay tell of this time.
   bool tells(ZqReal time) const { return m_lastTime == time; }
   /// Whether a run that had not ended at this time would have no line of it.
   bool leavesOut(ZqReal time) const
   {
      return m_continuation && !m_continuation->isRecorded && m_continuation->time == time;
   }

   void add(const std::string& text);
   template <class Number>
   requires std::is_arithmetic_v<Number>
   void add(Number number)
   {
      std::array<char, 32> digits{};
      const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number);
      m_line.append(digits.data(), end.ptr);
      m_line += ',';
   }
   void endLine();
   OutputFile& file() { return *m_file; }

private:
   bool isKept(ZqReal time) const;
   void findEnd(TableLines lines);
   void readLines(std::istream& file, TableLines lines);
   [[noreturn]] void refuse(const std::string& reason) const;

   std::string m_fileName;
   std::string m_head;
   std::optional<Continuation> m_continuation; ///< of a file that there is
   std::uintmax_t m_keptSize = 0;              ///< until it has begun
   std::optional<ZqReal> m_lastTime;           ///< in the lines that stay (s)
   std::optional<OutputFile> m_file;
   std::string m_line;
};

/// Whether there is a file of a table whose first line is of an earlier time (s).
bool beginsBefore(const std::string& fileName, ZqReal time);

/// Writes a table of what a simulation goes through.
class TableRecorder : public Observer
{
public:
   TableRecorder(const std::string& fileName, const std::vector<std::string>& names,
                 const std::optional<Continuation>& continuation,
                 TableLines lines = TableLines::AtEachTime)
      : m_table(fileName, names, continuation, lines)
   {
   }

   void open() override { m_table.open(); }
   void record(ZqSimulation& simulation, const ZqSimulation::Energy& energy) final
   {
      const ZqReal time = simulation.state().time();
      m_table.begin();
      m_isLeftOut = m_table.leavesOut(time);
      if (!m_isLeftOut && !m_table.tells(time))
         addLines(m_table, simulation, energy);
   }
   void recordLast(ZqSimulation& simulation, const ZqSimulation::Energy& energy) final
   {
      if (m_isLeftOut)
         addLines(m_table, simulation, energy);
   }
   void flush() override { m_table.file().flush(); }
   void sync() override { m_table.file().sync(); }
   void finish(ZqSimulation&) override { m_table.file().close(); }

protected:
   /// Of the present state.
   virtual void addLines(CsvTable& table, ZqSimulation& simulation,
                         const ZqSimulation::Energy& energy) = 0;

private:
   CsvTable m_table;
   bool m_isLeftOut = false; ///< the present state
};
} // namespace zqsim
