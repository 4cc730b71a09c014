#pragma once

#include "apps/zqsim/commands.h"
#include "apps/zqsim/output.h"
#include "zqManipulator/simulation/step/ZqSimulation.h"

#include <cstdint>
#include <optional>
#include <string>

namespace zqsim
{
class Schedule;

/// What became of a run.
struct Outcome
{
   const char* end = "time reached";
   std::uint64_t steps = 0;
   ZqReal wallTime = 0.0;
   ZqSimulation::Energy atStart;
   ZqSimulation::Energy atEnd;
   std::optional<Failure> failure; ///< of the recorder
};

/// What a run was asked for, as its summary repeats it.
struct RunHead
{
   std::string model;
   std::string solver;
   std::string integrator;
   ZqReal step; ///< s
};

/// The data of a summary.
Json summarize(const RunHead& head, const Schedule& schedule, ZqSimulation& simulation,
               const Outcome& outcome);
/// The same for people.
std::string describeRun(const Json& data);
} // namespace zqsim
