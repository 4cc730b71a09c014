#pragma once

#include "zqManipulator/tools/checks/ZqInspection.h"

#include <optional>

namespace zqChecks
{
/// Whether a step (s), or else the usual one, fits the viscous friction of the drives of a manipulator and the
/// inertia behind their joints: friction that is taken at the start of a step has to stop nothing twice over.
void checkDamping(Inspection& inspection, ZqU32 index, std::optional<ZqReal> step);
} // namespace zqChecks
