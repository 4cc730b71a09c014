#include "apps/zqsim/sweep/preparedStudy.h"

#include "apps/zqsim/attachmentEvents.h"
#include "apps/zqsim/columns.h"
#include "apps/zqsim/commands.h"
#include "apps/zqsim/energies.h"
#include "apps/zqsim/output.h"
#include "apps/zqsim/runReport.h"
#include "apps/zqsim/runner.h"
#include "zqManipulator/foundation/xml/ZqSha256.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/tools/sampling/ZqModelVariation.h"
#include "zqManipulator/tools/urdf/ZqUrdfReader.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <set>
#include <sstream>
#include <string_view>
#include <utility>

namespace
{
constexpr const char* energyGroup = "energy";

constexpr const char* interrupted = "interrupted";

/// In one word.
std::string outcomeOf(std::string_view end)
{
   if (end == "time reached")
      return "done";
   return end == "stopping criterion" ? "stopped" : std::string(end);
}

/// With the study, what it names: the hash of all follows from these. How many samples there are changes none of them.
std::string hashOf(ZqSweepStudy study)
{
   study.setSampleCount(1);
   ZqString text;
   Zq::toXml(study, text);
   return Zq::sha256(text);
}
} // namespace

/// Shows metrics a simulation.
class zqsim::PreparedStudy::Watcher : public Observer
{
public:
   Watcher(const PreparedStudy& study, std::vector<Trace> traces, MetricGatherer& gatherer)
      : m_study(study), m_traces(std::move(traces)), m_gatherer(gatherer),
        m_numbers(study.m_columns.size())
   {
   }
   void see(ZqSimulation& simulation) override
   {
      ZqSimulation::Energy energy;
      if (m_study.m_usesEnergy)
         energy = simulation.energy();
      if (m_study.m_usesBook)
         takeEnergies(simulation.energyBook(), m_book);
      for (std::size_t i = 0; i < m_numbers.size(); ++i)
      {
         const std::size_t column = m_study.m_columns[i];
         m_numbers[i] = column < m_traces.size() ? m_traces[column].value(simulation, energy)
                                                 : m_book[column - m_traces.size()];
      }
      m_gatherer.see(simulation.state().time(), m_numbers);
   }

private:
   const PreparedStudy& m_study;
   std::vector<Trace> m_traces;
   MetricGatherer& m_gatherer;
   std::vector<ZqReal> m_numbers;
   std::vector<ZqReal> m_book;
};

// Reading

zqsim::PreparedStudy::PreparedStudy(const std::string& studyFile)
{
   read(studyFile, m_study);
   if (const std::string fault = m_study.fault(); !fault.empty())
      throw Failure(InvalidInput, studyFile + ": " + fault);
   const std::filesystem::path folder = std::filesystem::path(studyFile).parent_path();
   std::string hashes = hashOf(m_study);
   readModel((folder / m_study.modelFile()).string());
   hashes += m_modelHash;
   if (!m_study.initialStateFile().empty())
   {
      const std::string name = (folder / m_study.initialStateFile()).string();
      const std::string text = textOfFile(name);
      m_initialStates.emplace(name, text, m_scene);
      hashes += Zq::sha256(text);
   }
   if (!m_study.inputFile().empty())
   {
      const std::string name = (folder / m_study.inputFile()).string();
      m_inputs = Inputs{name, textOfFile(name), {}};
      readTable(*m_inputs, m_scene.system());
      m_inputs->table.setInterpolation(m_study.interpolation());
      hashes += Zq::sha256(m_inputs->text);
   }
   m_hash = Zq::sha256(hashes);
   try
   {
      m_schedule =
         Schedule::lasting(m_study.duration(), m_scene.state().time(), m_study.timeStep());
   }
   catch (const Failure&)
   {
      throw Failure(InvalidInput, studyFile + ": timeStep: steps of " + exact(m_study.timeStep()) +
                                     " s are too short for " + exact(m_study.duration()) +
                                     " s from the time of the model on");
   }
   readMetrics(studyFile);
}

/// Answers the bytes of the document.
std::string zqsim::PreparedStudy::read(const std::string& fileName, ZqXmlObject& object)
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
   m_warnings.insert(m_warnings.end(), diagnostics.begin(), diagnostics.end());
   return text;
}

void zqsim::PreparedStudy::readModel(const std::string& fileName)
{
   m_modelName = std::filesystem::path(fileName).filename().string();
   // What it names, as meshes, would be no part of the hash.
   if (ZqUrdfReader::recognizes(fileName))
      throw Failure(InvalidInput, fileName + ": is a robot in URDF, and a study takes what zqsim "
                                             "convert makes of it");
   m_modelHash = Zq::sha256(read(fileName, m_scene));
   const Diagnostics found = checkModel(
      fileName, m_scene,
      m_study.settings().computesContact ? std::optional(m_study.timeStep()) : std::nullopt);
   m_warnings.insert(m_warnings.end(), found.begin(), found.end());
}

void zqsim::PreparedStudy::readMetrics(const std::string& studyFile)
{
   const ZqSimulation simulation(m_scene, m_study.settings());
   const std::set<ZqU32> carried = findCarried(simulation, {});
   std::vector<std::string> names;
   std::vector<std::string> groups; // of each name; none of those of the energy book
   std::istringstream allGroups(groupNames());
   for (std::string group; std::getline(allGroups >> std::ws, group, ',');)
      for (const Trace& trace : makeTraces(simulation, {group}, carried))
      {
         names.push_back(trace.name);
         groups.push_back(group);
      }
   const std::size_t traceCount = names.size();
   for (const std::string& name : energyNames())
      names.push_back(name);

   for (const ZqSweepMetric& metric : m_study.metrics())
   {
      addMetric(studyFile, metric, names);
      m_metricNames.push_back(metric.metricName());
   }
   std::set<std::string> used;
   for (const std::size_t column : m_metrics.columns())
      if (column < traceCount)
         used.insert(groups[column]);
   m_groups.assign(used.begin(), used.end());
   m_usesEnergy = used.contains(energyGroup);

   const std::vector<Trace> traces = makeTraces(simulation, m_groups, carried);
   for (const std::size_t column : m_metrics.columns())
   {
      const auto found =
         std::find_if(traces.begin(), traces.end(),
                      [&](const Trace& trace) { return trace.name == names[column]; });
      m_usesBook = m_usesBook || found == traces.end();
      m_columns.push_back(found == traces.end() ? traces.size() + column - traceCount
                                                : static_cast<std::size_t>(found - traces.begin()));
   }
}

void zqsim::PreparedStudy::addMetric(const std::string& studyFile, const ZqSweepMetric& metric,
                                     std::span<const std::string> columns)
{
   try
   {
      m_metrics.add(metric.expression(), columns);
   }
   catch (const ExpressionFault& fault)
   {
      throw Failure(InvalidInput,
                    studyFile + ": metric '" + metric.metricName() + "', " + fault.what());
   }
}

// Running

zqsim::SampleRow zqsim::PreparedStudy::run(std::uint64_t sample, const SampleWishes& wishes) const
{
   SampleRow row;
   row.sample = sample;
   row.metrics.assign(m_metricNames.size(), std::numeric_limits<ZqReal>::quiet_NaN());
   ZqVariationOrigin origin = m_study.originOf(static_cast<ZqU32>(sample));
   origin.setSource(m_modelName, m_modelHash);
   ZqStatedSystem scene = m_scene;
   if (m_initialStates)
      m_initialStates->apply(sample, scene);
   const Zq::DiagnosticCollector collector;
   if (Zq::varyModel(scene, origin, scene))
      simulate(scene, wishes, row);
   else
   {
      row.outcome = "refused";
      row.reason = reason(m_modelName, collector.diagnostics());
   }
   return row;
}

void zqsim::PreparedStudy::simulate(const ZqStatedSystem& scene, const SampleWishes& wishes,
                                    SampleRow& row) const
{
   ZqSimulation::Settings settings = m_study.settings();
   settings.booksEnergy = m_usesBook || wishes.booksEnergy;
   ZqSimulation simulation(scene, settings);
   MetricGatherer gatherer(m_metrics);
   Observers observers;
   if (wishes.observe)
      observers = wishes.observe(simulation);
   const std::uint64_t every = observers.empty() ? std::numeric_limits<std::uint64_t>::max() : 1;
   observers.push_back(std::make_unique<Watcher>(
      *this, makeTraces(simulation, m_groups, findCarried(simulation, {})), gatherer));
   const Outcome outcome = Runner(simulation, *m_schedule, m_inputs ? &m_inputs->table : nullptr,
                                  {}, std::move(observers), every, {})
                              .run(wishes.showsProgress);
   if (!outcome.failures.empty())
      throw Failure(outcome.failures.back());
   row.outcome = outcomeOf(outcome.end);
   if (simulation.divergence())
      row.reason = describeDivergence(simulation, scene, m_study.timeStep());
   else if (row.outcome != interrupted)
      row.metrics = gatherer.results();
}
