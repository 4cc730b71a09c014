#pragma once

#include "apps/zqsim/csvTable.h"
#include "apps/zqsim/output.h"

#include <memory>
#include <string>
#include <vector>

namespace zqsim
{
/// A table of the energy book over time: what is held, and what came and went since the beginning.
std::unique_ptr<Observer> makeEnergyRecorder(const std::string& fileName,
                                             const std::optional<Continuation>& continuation);

/// The columns of such a table but for time, and their numbers.
/// @{
std::vector<std::string> energyNames();
void takeEnergies(const ZqEnergyBook& book, std::vector<ZqReal>& numbers);
/// @}

/// What a summary tells of the energy book; null when none is kept.
Json summarizeEnergies(ZqSimulation& simulation);
/// The same for people: where energy came from and went.
std::string describeEnergies(const Json& data);
} // namespace zqsim
