#include "apps/zqsim/recorder.h"

#include "apps/zqsim/outputFile.h"
#include "zqManipulator/foundation/xml/ZqXmlWriter.h"

#include <array>
#include <charconv>
#include <utility>

namespace
{
using namespace zqsim;

class CsvRecorder : public Recorder
{
public:
   CsvRecorder(const std::string& fileName, std::vector<Trace> traces)
      : m_file(fileName), m_traces(std::move(traces))
   {
      m_line = "time";
      for (const Trace& trace : m_traces)
         m_line += ',' + csvField(trace.name);
      m_line += '\n';
      m_file.write(m_line);
   }

   void record(ZqSimulation& simulation, const ZqSimulation::Energy& energy) override
   {
      m_line.clear();
      append(simulation.state().time());
      for (const Trace& trace : m_traces)
         append(trace.value(simulation, energy));
      m_line.back() = '\n';
      m_file.write(m_line);
   }
   void flush() override { m_file.require(m_file.stream().flush().good()); }
   void finish() override { m_file.close(); }

private:
   void append(ZqReal number)
   {
      std::array<char, 32> digits{};
      const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number);
      m_line.append(digits.data(), end.ptr);
      m_line += ',';
   }
   OutputFile m_file;
   std::vector<Trace> m_traces;
   std::string m_line;
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
