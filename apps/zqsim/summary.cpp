#include "apps/zqsim/summary.h"

#include "apps/zqsim/contacts.h"
#include "apps/zqsim/energies.h"
#include "apps/zqsim/runOptions.h"
#include "apps/zqsim/schedule.h"

#include <nlohmann/json.hpp>

#include <array>

namespace
{
using namespace zqsim;

Json energyData(const ZqSimulation::Energy& energy)
{
   return {{"kinetic", bounded(energy.kinetic)},
           {"potential", bounded(energy.potential)},
           {"total", bounded(energy.total())}};
}

Json placeData(const ZqSimulation& simulation, const ZqSimulation::Place& place)
{
   const ZqIndividualManipulator& manipulator =
      simulation.system().manipulators()[place.manipulator];
   const ZqManipulatorLink* link = simulation.linkAt(place);
   return {{"manipulator", manipulator.manipulatorLabel()},
           {"link", link != nullptr ? link->linkLabel() : ""}};
}
} // namespace

zqsim::Json zqsim::summarize(const RunHead& head, const Schedule& schedule,
                             ZqSimulation& simulation, const Outcome& outcome)
{
   Json limits = Json::array();
   for (const ZqSimulation::LimitHit& hit : simulation.limitHits())
   {
      limits.push_back(placeData(simulation, hit.place));
      limits.back()["time"] = hit.time;
   }
   Json criteria = Json::array();
   for (const ZqSimulation::FiredCriterion& fired : simulation.firedCriteria())
   {
      const auto& manipulator = simulation.system().manipulators()[fired.manipulator];
      criteria.push_back({{"manipulator", manipulator.manipulatorLabel()},
                          {"description", fired.description},
                          {"time", fired.time}});
   }
   Json gap;
   // Gears have no gap that could be measured.
   if (const auto& greatest = simulation.greatestGap();
       greatest && greatest->constraint != ZqNoLinkIndex)
   {
      const auto& manipulator = simulation.system().manipulators()[greatest->manipulator];
      gap = {
         {"manipulator", manipulator.manipulatorLabel()},
         {"constraint", manipulator.stateEqualityConstraints().description(greatest->constraint)},
         {"size", bounded(greatest->size)},
         {"time", greatest->time}};
   }
   Json divergence;
   if (simulation.divergence())
   {
      divergence = placeData(simulation, simulation.divergence()->place);
      divergence["quantity"] = simulation.divergence()->quantity;
      divergence["time"] = simulation.divergence()->time;
   }
   const ZqReal simulated = simulation.state().time() - schedule.start();
   const auto perWallTime = [&](ZqReal value)
   { return outcome.wallTime > 0.0 ? Json(value / outcome.wallTime) : Json(); };
   const auto nameOrNone = [](const std::string& name)
   { return name.empty() ? Json() : Json(name); };
   return {{"model", nameOrNone(head.model)},
           {"resumed", nameOrNone(head.resume)},
           {"solver", nameOf(simulation.settings().solver)},
           {"integrator", nameOf(simulation.settings().integrator)},
           {"step", head.step},
           {"start", schedule.start()},
           {"time", simulation.state().time()},
           {"end", outcome.end},
           {"steps", outcome.steps},
           {"stepsBefore", outcome.stepsBefore},
           {"substitutedSteps", simulation.substitutedSteps()},
           {"wallTime", outcome.wallTime},
           {"stepsPerSecond", perWallTime(static_cast<ZqReal>(outcome.steps))},
           {"timesRealTime", perWallTime(simulated)},
           {"energy", {{"start", energyData(outcome.atStart)}, {"end", energyData(outcome.atEnd)}}},
           {"energyBook", summarizeEnergies(simulation)},
           {"contact", summarizeContacts(simulation)},
           {"greatestGap", gap},
           {"limits", limits},
           {"criteria", criteria},
           {"divergence", divergence}};
}

std::string zqsim::describeRun(const Json& data)
{
   constexpr std::array<Column, 4> energyColumns{{{"energy (J)", "/name"},
                                                  {"kinetic", "/kinetic"},
                                                  {"potential", "/potential"},
                                                  {"total", "/total"}}};
   constexpr std::array<Column, 3> limitColumns{
      {{"joint at a limit", "/link"}, {"of", "/manipulator"}, {"first at (s)", "/time"}}};
   constexpr std::array<Column, 3> criterionColumns{
      {{"stopping criterion", "/description"}, {"of", "/manipulator"}, {"at (s)", "/time"}}};

   Json energies = Json::array();
   for (const auto& [time, energy] : data.at("energy").items())
   {
      energies.push_back({{"name", "at the " + time}});
      energies.back().update(energy);
   }
   const Json& resumed = data.at("resumed");
   std::string result = text(resumed.is_null() ? data.at("model") : resumed) + ": from " +
                        text(data.at("start")) + " s to " + text(data.at("time")) +
                        " s in steps of " + text(data.at("step")) + " s, solver " +
                        text(data.at("solver")) + ", integrator " + text(data.at("integrator")) +
                        ": " + text(data.at("end")) + '\n';
   const std::string before =
      resumed.is_null() ? "" : " after " + text(data.at("stepsBefore")) + " before";
   result += "steps " + text(data.at("steps")) + before + ", wall time " +
             text(data.at("wallTime")) + " s, steps per second " + text(data.at("stepsPerSecond")) +
             ", " + text(data.at("timesRealTime")) + " x real time\n";
   if (data.at("substitutedSteps") != 0)
      result += text(data.at("substitutedSteps")) +
                " of the steps by euler: at limits, or where the integrator found no end\n";
   result += data.at("energyBook").is_null() ? table(energies, energyColumns)
                                             : describeEnergies(data.at("energyBook"));
   result += describeContacts(data.at("contact"));
   if (const Json& gap = data.at("greatestGap"); !gap.is_null())
      result += "greatest gap of a loop " + text(gap.at("size")) + " m, at " +
                text(gap.at("time")) + " s: " + text(gap.at("constraint")) + " of " +
                text(gap.at("manipulator")) + '\n';
   if (data.at("limits").empty())
      result += "no joint at a limit\n";
   else
      result += table(data.at("limits"), limitColumns);
   if (data.at("criteria").empty())
      result += "no stopping criterion met\n";
   else
      result += table(data.at("criteria"), criterionColumns);
   return result;
}
