#pragma once

#include "zqManipulator/simulation/step/ZqInputTable.h"

#include <memory>
#include <string>

namespace zqsim
{
class Schedule;

/// How a place is called in messages: "joint forearm of puma560", "the base of puma560".
std::string nameOf(const ZqSimulation& simulation, const ZqSimulation::Place& place);

/// Reads a table of inputs from a file or standard input. One that cannot be read is a `Failure`.
std::unique_ptr<ZqInputTable> readInputs(const std::string& fileName,
                                         const ZqManipulatorSystem& system);
/// Warns of what is given to a simulation, now or by a table, which may be null, and has no effect.
void warnOfLostInputs(const ZqSimulation& simulation, const ZqInputTable* table);
/// Warns when a table does not tell of all of a run.
void warnOfTimesWithoutInputs(const ZqInputTable& table, const std::string& fileName,
                              const Schedule& schedule);
} // namespace zqsim
