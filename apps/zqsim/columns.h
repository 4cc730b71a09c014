#pragma once

#include "zqManipulator/simulation/step/ZqSimulation.h"

#include <functional>
#include <set>
#include <string>
#include <vector>

namespace zqsim
{
/// A number of a simulation over time: a column of a table, and a line in a panel of a plot.
struct Trace
{
   using Value = std::function<ZqReal(ZqSimulation&, const ZqSimulation::Energy&)>;

   std::string name;     ///< in a table
   std::string panel;    ///< title of the panel
   const char* quantity; ///< along its axis, with the unit
   std::string label;    ///< of the line
   Value value;
};

/// The names of groups of traces, with commas between them, as one asks for them. One that there is not is a
/// `Failure`.
std::vector<std::string> parseGroups(std::string_view option, const std::string& text);
/// The names of all groups, for people.
std::string groupNames();

/// Those of some groups, manipulator by manipulator, in the order of the groups; with the bases of manipulators that are
/// carried at some time, also where they are fixed.
std::vector<Trace> makeTraces(const ZqSimulation& simulation,
                              const std::vector<std::string>& groups,
                              const std::set<ZqU32>& carried);
} // namespace zqsim
