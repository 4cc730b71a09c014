#pragma once

#include "apps/zqsim/summary.h"

#include <vector>

namespace zqsim
{
class Schedule;
struct RunOptions;
struct RunStart;

/// Saves the model as it ended, prints the summary, and answers what went wrong in the run and here. What fails
/// keeps nothing else from being written.
std::vector<Failure> reportRun(const RunOptions& options, const RunStart& run,
                               const Schedule& schedule, const Outcome& outcome);
} // namespace zqsim
