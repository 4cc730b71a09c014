#pragma once

#include "zqManipulator/simulation/step/ZqInputTable.h"

#include <set>
#include <string>

namespace zqsim
{
class Schedule;

/// How a place is called in messages: "joint forearm of puma560", "the base of puma560".
std::string nameOf(const ZqSimulation& simulation, const ZqSimulation::Place& place);

/// A table of inputs, and what it was read from.
struct Inputs
{
   std::string name; ///< for people
   std::string text;
   ZqInputTable table;
};

/// Of a file or standard input. What cannot be read is a `Failure`.
std::string textOfFile(const std::string& fileName);
/// With the name and the text of a table, the table for a system. One that cannot be read is a `Failure`.
void readTable(Inputs& inputs, const ZqManipulatorSystem& system);
/// Warns of what is given to a simulation, now or by a table, which may be null, and has no effect. What is carried at
/// some time feels a force on its base.
void warnOfLostInputs(const ZqSimulation& simulation, const ZqInputTable* table,
                      const std::set<ZqU32>& carried);
/// Warns when a table does not tell of all of a run.
void warnOfTimesWithoutInputs(const Inputs& inputs, const Schedule& schedule);
} // namespace zqsim
