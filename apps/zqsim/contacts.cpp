#include "apps/zqsim/contacts.h"

#include "zqManipulator/contact/response/ZqContactEstimate.h"
#include "zqManipulator/foundation/geometry/ZqAxisAlignedBoundingBox.h"
#include "zqManipulator/simulation/interactions/ZqLinkCollisionForce.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

bool zqsim::hasContact(const ZqSimulation& simulation)
{
   if (!simulation.settings().interacts || !simulation.settings().computesContact)
      return false;
   const ZqLinkInteractionsVector& interactions = simulation.system().linkInteractionsVector();
   for (unsigned i = 0; i < interactions.size(); ++i)
      if (dynamic_cast<const ZqLinkCollisionForce*>(&interactions[i]) != nullptr)
         return true;
   return false;
}

std::string zqsim::linkName(const ZqSimulation& simulation, const ZqSimulation::Place& place)
{
   return simulation.system().manipulators()[place.manipulator].manipulatorLabel() + '/' +
          simulation.linkAt(place)->linkLabel();
}

const char* zqsim::nameOf(ZqSimulation::ContactMode mode)
{
   constexpr std::array names{"frictionless", "sticks", "slips"};
   return names[static_cast<std::size_t>(mode)];
}

void zqsim::warnOfDepth(const ZqSimulation& simulation)
{
   const auto& deepest = simulation.greatestDepth();
   const auto& divergence = simulation.divergence();
   if (!deepest || (divergence && divergence->quantity == std::string_view("contact")))
      return;
   ZqReal extent = std::numeric_limits<ZqReal>::infinity();
   for (const ZqSimulation::Place& place : {deepest->first, deepest->second})
   {
      const ZqVector extents =
         simulation.linkAt(place)->shape()->axisAlignedBoundingBox({}).extents();
      extent = std::min({extent, extents.x(), extents.y(), extents.z()});
   }
   if (deepest->depth > ZqContactEstimate::deepRest * extent)
      complain("warning: " + linkName(simulation, deepest->first) + " and " +
               linkName(simulation, deepest->second) + " were " + text(deepest->depth) +
               " m deep in each other at " + text(deepest->time) +
               " s: the step is too long, or contact too soft, for what they did");
}

ZqReal zqsim::fitStep(const ZqStatedSystem& start, ZqReal step,
                      const ZqSimulation::Divergence& divergence)
{
   ZqReal limit = divergence.contactStepLimit;
   ZqSystemActiveState active;
   active.setNonredundantState(start.state());
   const ZqLinkInteractionsVector& interactions = start.system().linkInteractionsVector();
   for (unsigned i = 0; i < interactions.size(); ++i)
   {
      const auto* contact = dynamic_cast<const ZqLinkCollisionForce*>(&interactions[i]);
      const ZqBaseCollisionForceProcessor* law =
         contact != nullptr ? contact->collisionForceContainer().topElement() : nullptr;
      if (law == nullptr)
         continue;
      const auto estimate = ZqContactEstimate::of(start, active, *law).step;
      if (estimate && estimate->longest < step)
         limit = estimate->longest;
   }
   // To two digits.
   const ZqReal fit = ZqContactEstimate::safePart * limit;
   const ZqReal unit = std::pow(10.0, std::floor(std::log10(fit)) - 1.0);
   return std::floor(fit / unit) * unit;
}

zqsim::Json zqsim::summarizeContacts(ZqSimulation& simulation)
{
   if (!hasContact(simulation))
      return nullptr;
   Json greatest;
   if (const auto& deepest = simulation.greatestDepth())
      greatest = {{"first", linkName(simulation, deepest->first)},
                  {"second", linkName(simulation, deepest->second)},
                  {"depth", bounded(deepest->depth)},
                  {"time", deepest->time}};
   return {{"touchingPairs", simulation.contacts().size()},
           {"greatestDepth", greatest},
           {"slips", simulation.slips()}};
}

std::string zqsim::describeContacts(const Json& data)
{
   if (data.is_null())
      return "";
   std::string result = "touching pairs at the end " + text(data.at("touchingPairs")) + ", slips " +
                        text(data.at("slips")) + '\n';
   if (const Json& greatest = data.at("greatestDepth"); !greatest.is_null())
      result += "greatest depth " + text(greatest.at("depth")) + " m, at " +
                text(greatest.at("time")) + " s: " + text(greatest.at("first")) + " and " +
                text(greatest.at("second")) + '\n';
   return result;
}
