#pragma once

#include "apps/zqsim/inputs.h"
#include "apps/zqsim/model.h"
#include "apps/zqsim/observer.h"
#include "apps/zqsim/schedule.h"
#include "apps/zqsim/sweep/initialStates.h"
#include "apps/zqsim/sweep/metrics.h"
#include "apps/zqsim/sweep/sampleRunner.h"
#include "zqManipulator/tools/sampling/ZqSweepStudy.h"

#include <functional>
#include <optional>

namespace zqsim
{
/// What is wanted of a run besides its metrics.
struct SampleWishes
{
   bool booksEnergy = false;
   bool showsProgress = false;
   /// Is given the simulation before its first step, and answers who else is to be shown it.
   std::function<Observers(ZqSimulation&)> observe;
};

/// A study with all that it names.
class PreparedStudy
{
public:
   /// As `SampleRunner`.
   explicit PreparedStudy(const std::string& studyFile);

   const ZqSweepStudy& study() const { return m_study; }
   const std::vector<std::string>& metricNames() const { return m_metricNames; }
   const std::string& hash() const { return m_hash; }
   const Diagnostics& warnings() const { return m_warnings; }
   /// Runs one. What the library tells on the way is dropped but for the reason of a failure. An observer that cannot do its work is a `Failure`.
   SampleRow run(std::uint64_t sample, const SampleWishes& wishes) const;

private:
   class Watcher;

   std::string read(const std::string& fileName, ZqXmlObject& object);
   void readModel(const std::string& fileName);
   void readMetrics(const std::string& studyFile);
   void addMetric(const std::string& studyFile, const ZqSweepMetric& metric,
                  std::span<const std::string> columns);
   void simulate(const ZqStatedSystem& scene, const SampleWishes& wishes, SampleRow& row) const;

   ZqSweepStudy m_study;
   ZqStatedSystem m_scene;
   std::string m_modelName;
   std::string m_modelHash;
   std::optional<Inputs> m_inputs;
   std::optional<InitialStates> m_initialStates;
   std::optional<Schedule> m_schedule;
   std::string m_hash;
   Diagnostics m_warnings;

   std::vector<std::string> m_metricNames;
   Metrics m_metrics;
   std::vector<std::string> m_groups; ///< of columns, that metrics look at
   /// Of each column that metrics look at, its place among those of the groups, and of the energy book behind them.
   std::vector<std::size_t> m_columns;
   bool m_usesEnergy = false;
   bool m_usesBook = false;
};
} // namespace zqsim
