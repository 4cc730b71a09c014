#include "apps/zqsim/recorder.h"

#include "apps/zqsim/contacts.h"
#include "apps/zqsim/outputFile.h"
#include "zqManipulator/foundation/xml/ZqXmlWriter.h"

#include <cmath>
#include <utility>

namespace
{
using namespace zqsim;

std::vector<std::string> columnsOf(const std::vector<Trace>& traces)
{
   std::vector<std::string> names{"time"};
   for (const Trace& trace : traces)
      names.push_back(trace.name);
   return names;
}

class TraceRecorder : public TableRecorder
{
public:
   TraceRecorder(const std::string& fileName, std::vector<Trace> traces,
                 const std::optional<Continuation>& continuation)
      : TableRecorder(fileName, columnsOf(traces), continuation), m_traces(std::move(traces))
   {
   }

private:
   void addLines(CsvTable& table, ZqSimulation& simulation,
                 const ZqSimulation::Energy& energy) override
   {
      table.add(simulation.state().time());
      for (const Trace& trace : m_traces)
         table.add(trace.value(simulation, energy));
      table.endLine();
   }

   std::vector<Trace> m_traces;
};

class ContactRecorder : public TableRecorder
{
public:
   ContactRecorder(const std::string& fileName, const std::optional<Continuation>& continuation)
      : TableRecorder(fileName,
                      {"time", "first", "first shape", "second", "second shape", "points", "depth",
                       "normal force", "friction force", "mode"},
                      continuation, TableLines::WhereSomethingIs)
   {
   }

private:
   void addLines(CsvTable& table, ZqSimulation& simulation, const ZqSimulation::Energy&) override
   {
      for (const ZqSimulation::Contact& contact : simulation.contacts())
         if (std::isfinite(contact.depth) && std::isfinite(contact.normalForce) &&
             std::isfinite(contact.frictionForce))
         {
            table.add(simulation.state().time());
            table.add(linkName(simulation, contact.first));
            table.add(contact.shape1);
            table.add(linkName(simulation, contact.second));
            table.add(contact.shape2);
            table.add(contact.points);
            table.add(contact.depth);
            table.add(contact.normalForce);
            table.add(contact.frictionForce);
            table.add(std::string(nameOf(contact.mode)));
            table.endLine();
         }
   }
};

class StateRecorder : public Observer
{
public:
   explicit StateRecorder(std::string fileName) : m_fileName(std::move(fileName)) {}
   /// An unfinished document stays as it is.
   ~StateRecorder() override { delete m_writer; }

   void open() override
   {
      m_file.emplace(m_fileName);
      m_file->require(m_states.writeHeaderToStream(m_file->stream(), m_writer, m_fileName,
                                                   decltype(m_states)::classToken()));
   }
   void record(ZqSimulation& simulation, const ZqSimulation::Energy&) override
   {
      m_file->require(m_states.appendElementToStream(m_writer, simulation.state()));
   }
   void flush() override { m_file->require(m_writer->flush()); }
   void sync() override
   {
      flush();
      m_file->sync();
   }
   void finish(ZqSimulation&) override
   {
      m_file->require(m_states.writeFooterToStream(m_writer));
      m_file->close();
   }

private:
   std::string m_fileName;
   std::optional<OutputFile> m_file;
   const ZqXmlVectorType<ZqManipulatorSystemState> m_states; ///< always empty
   ZqXmlWriter* m_writer = nullptr;                          ///< owned until the footer
};
} // namespace

std::unique_ptr<Observer> zqsim::makeRecorder(const std::string& fileName,
                                              std::vector<Trace> traces,
                                              const std::optional<Continuation>& continuation)
{
   if (fileName.ends_with(".xml"))
      return std::make_unique<StateRecorder>(fileName);
   return std::make_unique<TraceRecorder>(fileName, std::move(traces), continuation);
}

std::unique_ptr<Observer>
zqsim::makeContactRecorder(const std::string& fileName,
                           const std::optional<Continuation>& continuation)
{
   return std::make_unique<ContactRecorder>(fileName, continuation);
}
