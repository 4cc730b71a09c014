#include "apps/zqsim/sweep/sampleRunner.h"

#include "apps/zqsim/attachmentEvents.h"
#include "apps/zqsim/columns.h"
#include "apps/zqsim/commands.h"
#include "apps/zqsim/inputs.h"
#include "apps/zqsim/model.h"
#include "apps/zqsim/observer.h"
#include "apps/zqsim/runner.h"
#include "apps/zqsim/schedule.h"
#include "zqManipulator/foundation/xml/ZqSha256.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/tools/sampling/ZqModelVariation.h"
#include "zqManipulator/tools/sampling/ZqSweepStudy.h"

#include <filesystem>
#include <limits>
#include <optional>
#include <sstream>

namespace
{
using namespace zqsim;

/// A document and its bytes, once.
std::string readText(const std::string& fileName, ZqXmlObject& object)
{
   const std::string text = textOfFile(fileName);
   bool isRead = false;
   const Diagnostics diagnostics = diagnosticsOf(
      [&]
      {
         std::istringstream stream(text);
         ZqXmlReader reader(stream, fileName);
         isRead = Zq::read(object, reader);
      });
   if (!isRead)
      throw Failure(InvalidInput, reason(fileName, diagnostics));
   warnOf(diagnostics);
   return text;
}

/// Until there are expressions: the last value of a column.
class MetricObserver : public Observer
{
public:
   MetricObserver(std::vector<Trace> traces, const std::vector<std::size_t>& columns,
                  std::vector<ZqReal>& values)
      : m_traces(std::move(traces)), m_columns(columns), m_values(values)
   {
   }
   void see(ZqSimulation& simulation) override
   {
      const ZqSimulation::Energy energy = simulation.energy();
      for (std::size_t i = 0; i < m_columns.size(); ++i)
         m_values[i] = m_traces[m_columns[i]].value(simulation, energy);
   }

private:
   std::vector<Trace> m_traces;
   const std::vector<std::size_t>& m_columns;
   std::vector<ZqReal>& m_values;
};

const std::vector<std::string> allColumns{"positions", "velocities",  "base",   "poses", "torques",
                                          "motors",    "constraints", "inputs", "energy"};
} // namespace

struct zqsim::SampleRunner::Contents
{
   ZqSweepStudy study;
   ZqStatedSystem scene;
   std::string modelName;
   std::string modelHash;
   std::string hash;
   std::optional<Inputs> inputs;
   std::optional<Schedule> schedule;
   std::vector<std::string> metricNames;
   std::vector<std::size_t> columns;
};

zqsim::SampleRunner::SampleRunner(const std::string& studyFile)
{
   auto contents = std::make_unique<Contents>();
   ZqSweepStudy& study = contents->study;
   std::string all = Zq::sha256(readText(studyFile, study));
   if (const std::string fault = study.fault(); !fault.empty())
      throw Failure(InvalidInput, studyFile + ": " + fault);
   const std::filesystem::path folder = std::filesystem::path(studyFile).parent_path();
   contents->modelName = study.modelFile();
   contents->modelHash =
      Zq::sha256(readText((folder / study.modelFile()).string(), contents->scene));
   all += contents->modelHash;
   if (!study.inputFile().empty())
   {
      const std::string name = (folder / study.inputFile()).string();
      contents->inputs = Inputs{name, textOfFile(name), {}};
      readTable(*contents->inputs, contents->scene.system());
      contents->inputs->table.setInterpolation(study.interpolation());
      all += Zq::sha256(contents->inputs->text);
   }
   contents->hash = Zq::sha256(all);
   contents->schedule =
      Schedule::lasting(study.duration(), contents->scene.state().time(), study.timeStep());
   const ZqSimulation simulation(contents->scene, study.settings());
   const std::vector<Trace> traces =
      makeTraces(simulation, allColumns, findCarried(simulation, {}));
   for (const ZqSweepMetric& metric : study.metrics())
   {
      contents->metricNames.push_back(metric.metricName());
      std::size_t i = 0;
      while (i < traces.size() && metric.expression() != "final(" + traces[i].name + ")")
         ++i;
      if (i == traces.size())
         throw Failure(InvalidInput, studyFile + ": metric '" + metric.metricName() +
                                        "': unknown expression " + metric.expression());
      contents->columns.push_back(i);
   }
   m_contents = std::move(contents);
}

zqsim::SampleRunner::~SampleRunner() = default;

std::uint64_t zqsim::SampleRunner::sampleCount() const
{
   return m_contents->study.sampleCount();
}

const std::vector<std::string>& zqsim::SampleRunner::metricNames() const
{
   return m_contents->metricNames;
}

std::string zqsim::SampleRunner::hash() const
{
   return m_contents->hash;
}

zqsim::SampleRow zqsim::SampleRunner::run(std::uint64_t sample) const
{
   const Contents& contents = *m_contents;
   SampleRow row;
   row.sample = sample;
   row.metrics.assign(contents.metricNames.size(), std::numeric_limits<ZqReal>::quiet_NaN());
   const Zq::DiagnosticCollector collector;
   ZqVariationOrigin origin = contents.study.originOf(static_cast<ZqU32>(sample));
   origin.setSource(contents.modelName, contents.modelHash);
   ZqStatedSystem scene;
   if (!Zq::varyModel(contents.scene, origin, scene))
   {
      row.outcome = "refused";
      row.reason = reason(contents.modelName, collector.diagnostics());
      return row;
   }
   ZqSimulation simulation(scene, contents.study.settings());
   std::vector<ZqReal> values(row.metrics.size());
   Observers observers;
   observers.push_back(std::make_unique<MetricObserver>(
      makeTraces(simulation, allColumns, findCarried(simulation, {})), contents.columns, values));
   const Outcome outcome =
      Runner(simulation, *contents.schedule, contents.inputs ? &contents.inputs->table : nullptr,
             {}, std::move(observers), std::numeric_limits<std::uint64_t>::max(), {})
         .run(false);
   row.outcome = outcome.end;
   if (row.outcome == "time reached")
      row.outcome = "done";
   if (simulation.divergence())
      row.reason = std::string(simulation.divergence()->quantity) + " is not finite";
   else
      row.metrics = values;
   return row;
}
