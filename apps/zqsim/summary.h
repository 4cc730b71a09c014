#pragma once

#include "apps/zqsim/commands.h"
#include "apps/zqsim/output.h"
#include "zqManipulator/simulation/step/ZqSimulation.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zqsim
{
class Schedule;

/// What became of a run.
struct Outcome
{
   const char* end = "time reached";
   std::uint64_t steps = 0;       ///< of this run
   std::uint64_t stepsBefore = 0; ///< of those that it goes on from
   ZqReal wallTime = 0.0;
   ZqSimulation::Energy atStart;
   ZqSimulation::Energy atEnd;
   std::vector<Failure> failures;        ///< of observers, events and checkpoints
   std::optional<ZqReal> checkpointTime; ///< of the last one that was saved (s)
};

/// What a run was asked for, as its summary repeats it.
struct RunHead
{
   std::string model;  ///< empty for a checkpoint's
   std::string resume; ///< empty for a run from the beginning
   ZqReal step;        ///< s
};

/// The data of a summary.
Json summarize(const RunHead& head, const Schedule& schedule, ZqSimulation& simulation,
               const Outcome& outcome);
/// The same for people.
std::string describeRun(const Json& data);
} // namespace zqsim
