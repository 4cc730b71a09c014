#include "apps/zqsim/recorder.h"

#include "apps/zqsim/contacts.h"
#include "apps/zqsim/outputFile.h"
#include "zqManipulator/foundation/xml/ZqXmlWriter.h"

#include <array>
#include <charconv>
#include <cmath>
#include <type_traits>
#include <utility>

namespace
{
using namespace zqsim;

/// A file of lines of fields with commas between them.
class Table
{
public:
   explicit Table(const std::string& fileName) : m_file(fileName) {}

   void add(const std::string& text) { m_line += csvField(text) + ','; }
   template <class Number>
   requires std::is_arithmetic_v<Number>
   void add(Number number)
   {
      std::array<char, 32> digits{};
      const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number);
      m_line.append(digits.data(), end.ptr);
      m_line += ',';
   }
   void endLine()
   {
      m_line.back() = '\n';
      m_file.write(m_line);
      m_line.clear();
   }
   void flush() { m_file.require(m_file.stream().flush().good()); }
   void finish() { m_file.close(); }

private:
   OutputFile m_file;
   std::string m_line;
};

class CsvRecorder : public Recorder
{
public:
   CsvRecorder(const std::string& fileName, std::vector<Trace> traces)
      : m_table(fileName), m_traces(std::move(traces))
   {
      m_table.add("time");
      for (const Trace& trace : m_traces)
         m_table.add(trace.name);
      m_table.endLine();
   }

   void record(ZqSimulation& simulation, const ZqSimulation::Energy& energy) override
   {
      m_table.add(simulation.state().time());
      for (const Trace& trace : m_traces)
         m_table.add(trace.value(simulation, energy));
      m_table.endLine();
   }
   void flush() override { m_table.flush(); }
   void finish() override { m_table.finish(); }

private:
   Table m_table;
   std::vector<Trace> m_traces;
};

class ContactRecorder : public Recorder
{
public:
   explicit ContactRecorder(const std::string& fileName) : m_table(fileName)
   {
      for (const char* name : {"time", "first", "first shape", "second", "second shape", "points",
                               "depth", "normal force", "friction force", "mode"})
         m_table.add(name);
      m_table.endLine();
   }

   void record(ZqSimulation& simulation, const ZqSimulation::Energy&) override
   {
      for (const ZqSimulation::Contact& contact : simulation.contacts())
         if (std::isfinite(contact.depth) && std::isfinite(contact.normalForce) &&
             std::isfinite(contact.frictionForce))
         {
            m_table.add(simulation.state().time());
            m_table.add(linkName(simulation, contact.first));
            m_table.add(contact.shape1);
            m_table.add(linkName(simulation, contact.second));
            m_table.add(contact.shape2);
            m_table.add(contact.points);
            m_table.add(contact.depth);
            m_table.add(contact.normalForce);
            m_table.add(contact.frictionForce);
            m_table.add(nameOf(contact.mode));
            m_table.endLine();
         }
   }
   void flush() override { m_table.flush(); }
   void finish() override { m_table.finish(); }

private:
   Table m_table;
};

class StateRecorder : public Recorder
{
public:
   explicit StateRecorder(const std::string& fileName) : m_file(fileName)
   {
      m_file.require(m_states.writeHeaderToStream(m_file.stream(), m_writer, fileName,
                                                  decltype(m_states)::classToken()));
   }
   /// An unfinished document stays as it is.
   ~StateRecorder() override { delete m_writer; }
   void record(ZqSimulation& simulation, const ZqSimulation::Energy&) override
   {
      m_file.require(m_states.appendElementToStream(m_writer, simulation.state()));
   }
   void flush() override { m_file.require(m_writer->flush()); }
   void finish() override
   {
      m_file.require(m_states.writeFooterToStream(m_writer));
      m_file.close();
   }

private:
   OutputFile m_file;
   const ZqXmlVectorType<ZqManipulatorSystemState> m_states; ///< always empty
   ZqXmlWriter* m_writer = nullptr;                          ///< owned until the footer
};
} // namespace

std::unique_ptr<Recorder> zqsim::makeRecorder(const std::string& fileName,
                                              std::vector<Trace> traces)
{
   if (isStandardStream(fileName) || fileName.ends_with(".csv"))
      return std::make_unique<CsvRecorder>(fileName, std::move(traces));
   if (fileName.ends_with(".xml"))
      return std::make_unique<StateRecorder>(fileName);
   return nullptr;
}

std::unique_ptr<Recorder> zqsim::makeContactRecorder(const std::string& fileName)
{
   return std::make_unique<ContactRecorder>(fileName);
}

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
