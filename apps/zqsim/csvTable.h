#pragma once

#include "apps/zqsim/observer.h"
#include "apps/zqsim/outputFile.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

namespace zqsim
{
/// Where a run goes on with the tables of the one before it.
struct Continuation
{
   ZqReal time;     ///< of the checkpoint (s)
   bool isRecorded; ///< whether a run that had not ended there has a line of it
};

/// A file of lines of fields with commas between them (RFC 4180), of which the first holds names and the first
/// column is the time, which never decreases.
class CsvTable
{
public:
   /// With a continuation, of a file that there is the lines up to it stay. One with other names is a `Failure`.
   CsvTable(std::string fileName, const std::vector<std::string>& names,
            const std::optional<Continuation>& continuation);

   /// Until then the file is left as it is.
   void open();
   /// Whether the lines that stay tell of this time, or would if there were something to tell.
   bool tells(ZqReal time) const;

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
   void findEnd();

   std::string m_fileName;
   std::string m_head;
   std::optional<Continuation> m_continuation; ///< of a file that there is
   std::uintmax_t m_keptSize = 0;
   std::optional<ZqReal> m_lastTime; ///< in the lines that stay (s)
   std::optional<OutputFile> m_file;
   std::string m_line;
};

/// Writes a table of what a simulation goes through.
class TableRecorder : public Observer
{
public:
   TableRecorder(const std::string& fileName, const std::vector<std::string>& names,
                 const std::optional<Continuation>& continuation)
      : m_table(fileName, names, continuation)
   {
   }

   void open() override { m_table.open(); }
   void record(ZqSimulation& simulation, const ZqSimulation::Energy& energy) final
   {
      if (!m_table.tells(simulation.state().time()))
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
};
} // namespace zqsim
