#include "apps/zqsim/sweep/sampleRun.h"

#include "apps/zqsim/attachmentEvents.h"
#include "apps/zqsim/columns.h"
#include "apps/zqsim/energies.h"
#include "apps/zqsim/output.h"
#include "apps/zqsim/outputFile.h"
#include "apps/zqsim/plot.h"
#include "apps/zqsim/recorder.h"
#include "apps/zqsim/replayFile.h"
#include "apps/zqsim/sweep/preparedStudy.h"
#include "zqManipulator/foundation/log/ZqDiagnostic.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>

namespace
{
using namespace zqsim;

std::vector<std::string> groupsOf(const OneSample& options, const char* usual)
{
   return parseGroups("--columns", options.columns.empty() ? usual : options.columns);
}

Observers observersOf(const OneSample& options, ZqSimulation& simulation)
{
   const std::set<ZqU32> carried = findCarried(simulation, {});
   Observers observers;
   if (!options.out.empty())
      observers.push_back(makeRecorder(
         options.out,
         makeTraces(simulation, groupsOf(options, "positions,velocities,base,energy"), carried),
         {}));
   if (!options.contacts.empty())
      observers.push_back(makeContactRecorder(options.contacts, {}));
   if (!options.energy.empty())
      observers.push_back(makeEnergyRecorder(options.energy, {}));
   if (!options.plot.empty())
      observers.push_back(std::make_unique<Plot>(
         options.plot, makeTraces(simulation, groupsOf(options, "positions,base"), carried)));
   if (!options.replay.empty())
      observers.push_back(makeReplay(options.replay,
                                     std::filesystem::path(options.study).filename().string() +
                                        ", sample " + std::to_string(options.sample),
                                     simulation));
   return observers;
}

Json describe(const OneSample& options, const PreparedStudy& study, const SampleRow& row)
{
   Json metrics = Json::object();
   for (std::size_t i = 0; i < row.metrics.size(); ++i)
      metrics[study.metricNames()[i]] = row.metrics[i]; // null for what is not finite
   return {{"study", options.study}, {"sample", row.sample}, {"seed", study.study().seed()},
           {"outcome", row.outcome}, {"metrics", metrics},   {"reason", row.reason}};
}

std::string textOf(const PreparedStudy& study, const SampleRow& row)
{
   std::string lines = "sample " + std::to_string(row.sample) + ": " + row.outcome + '\n';
   for (std::size_t i = 0; i < row.metrics.size() && cameToItsEnd(row.outcome); ++i)
      lines += "  " + Zq::oneLine(study.metricNames()[i]) + ": " +
               (std::isnan(row.metrics[i]) ? "no value" : exact(row.metrics[i])) + '\n';
   return lines;
}

/// Of outcomes of which there are no metrics.
void throwOfFailure(const OneSample& options, const SampleRow& row)
{
   if (cameToItsEnd(row.outcome))
      return;
   const ExitCode code = row.outcome == "diverged"      ? NumericalFailure
                         : row.outcome == "interrupted" ? Interrupted
                                                        : InvalidInput;
   throw Failure(code, options.study + ": sample " + std::to_string(row.sample) + ' ' +
                          describeOutcome(row.outcome, row.reason));
}
} // namespace

zqsim::ExitCode zqsim::runOneSample(const OneSample& options)
{
   const PreparedStudy study(options.study);
   warnOf(study.warnings());
   if (options.sample >= study.study().sampleCount())
      throw Failure(Usage, "--sample: samples of " + options.study + " have numbers up to " +
                              std::to_string(study.study().sampleCount() - 1));
   const SampleRow row = study.run(
      options.sample, {!options.energy.empty() || !options.replay.empty(), true,
                       [&](ZqSimulation& simulation) { return observersOf(options, simulation); }});
   const std::array<const std::string*, 5> files{&options.out, &options.contacts, &options.energy,
                                                 &options.plot, &options.replay};
   const bool printsData = std::any_of(
      files.begin(), files.end(), [](const std::string* file) { return isStandardStream(*file); });
   if (!printsData)
      options.json ? print(describe(options, study, row)) : print(textOf(study, row));
   throwOfFailure(options, row);
   return Done;
}
