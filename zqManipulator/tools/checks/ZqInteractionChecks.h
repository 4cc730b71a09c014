#pragma once

#include "zqManipulator/tools/checks/ZqInspection.h"

#include <optional>

class ZqLinkCollisionForce;

namespace zqChecks
{
/// The first interaction that makes forces of contact; null without one, and without a law in it.
const ZqLinkCollisionForce* contactForceOf(const ZqStatedSystem& scene);

/// What acts between links: names, constants, and laws that do nothing.
void checkInteractions(Inspection& inspection);
/// Whether a step (s), or else the usual one, and the stiffness of contacts fit the masses.
void checkContact(Inspection& inspection, std::optional<ZqReal> step);
} // namespace zqChecks
