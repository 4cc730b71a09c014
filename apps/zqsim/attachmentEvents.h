#pragma once

#include "zqManipulator/simulation/step/ZqSimulation.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace zqsim
{
/// At a time of a run a manipulator is attached to a link, as it stands then, or released.
struct AttachmentEvent
{
   ZqReal time; ///< s
   ZqU32 manipulator;
   std::optional<ZqSimulation::Place> carrier; ///< none to release it
   std::string text;                           ///< as it was asked for, with the option

   /// Times of steps are multiples of their length, to rounding.
   bool isDue(ZqReal now) const { return time <= now + 1e-12 * std::max(1.0, std::abs(now)); }
   /// What cannot be is a `Failure`.
   void apply(ZqSimulation& simulation) const;
};

/// Reads "TIME MANIPULATOR CARRIER/LINK" and "TIME MANIPULATOR", by their names, in the order of their times. What
/// does not exist is a `Failure`.
std::vector<AttachmentEvent> parseEvents(const std::vector<std::string>& attachments,
                                         const std::vector<std::string>& releases,
                                         const ZqManipulatorSystem& system);
/// The manipulators that are carried now, or that events name: at some time of the whole run they may be.
std::set<ZqU32> findCarried(const ZqSimulation& simulation,
                            const std::vector<AttachmentEvent>& events);
/// What cannot be, one after the other from some attachments on, is a `Failure`.
void requirePossible(const std::vector<AttachmentEvent>& events,
                     ZqManipulatorAttachmentMap attachments, const ZqManipulatorSystem& system);
} // namespace zqsim
