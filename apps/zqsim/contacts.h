#pragma once

#include "apps/zqsim/output.h"
#include "zqManipulator/simulation/step/ZqSimulation.h"

#include <string>

namespace zqsim
{
/// Whether links make forces on each other where they touch.
bool hasContact(const ZqSimulation& simulation);

/// As columns call it: "arm/forearm".
std::string linkName(const ZqSimulation& simulation, const ZqSimulation::Place& place);
const char* nameOf(ZqSimulation::ContactMode mode);

/// Warns when links were so deep in each other as bodies never are.
void warnOfDepth(const ZqSimulation& simulation);

/// A step (s) that contact takes, after one that was too long for it: by the model at the start of the run, else by
/// the contact that went wrong.
ZqReal fitStep(const ZqStatedSystem& start, ZqReal step,
               const ZqSimulation::Divergence& divergence);

/// What a summary tells of contacts; null for a simulation without.
Json summarizeContacts(ZqSimulation& simulation);
/// The same for people.
std::string describeContacts(const Json& data);
} // namespace zqsim
