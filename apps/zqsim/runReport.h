#pragma once

#include "apps/zqsim/summary.h"

#include <string>
#include <vector>

namespace zqsim
{
class Schedule;
struct RunOptions;
struct RunStart;

/// What has diverged in a run of a scene by steps of a length (s), and the contact that is, or often is, to blame.
std::string describeDivergence(const ZqSimulation& simulation, const ZqStatedSystem& scene,
                               ZqReal step);

/// Saves the model as it ended, prints the summary, and answers what went wrong in the run and here. What fails
/// keeps nothing else from being written.
std::vector<Failure> reportRun(const RunOptions& options, const RunStart& run,
                               const Schedule& schedule, const Outcome& outcome);
} // namespace zqsim
