#include "apps/zqsim/commands.h"
#include "apps/zqsim/model.h"
#include "apps/zqsim/output.h"
#include "zqManipulator/contact/proximity/ZqProximityQuery.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <array>
#include <cmath>
#include <memory>
#include <optional>

namespace
{
using namespace zqsim;

struct DistanceOptions : ModelArguments
{
   std::optional<std::string> joints;
   std::optional<ZqReal> margin;
   bool all = false;
};

Json linkOf(const ZqStatedSystem& scene, const ZqLinkKey& key)
{
   const ZqIndividualManipulator& manipulator =
      scene.system().manipulators()[key.manipulatorIndex()];
   return {{"manipulator", manipulator.manipulatorLabel()},
           {"link", manipulator.linkByIndex(key.linkIndex())->linkLabel()}};
}

void requireFiniteFrames(const ZqStatedSystem& scene, ZqSystemActiveState& active)
{
   const auto isFinite = [](const ZqVector& v)
   { return std::isfinite(v.x()) && std::isfinite(v.y()) && std::isfinite(v.z()); };
   for (ZqU32 m = 0; m < scene.numberOfManipulators(); ++m)
   {
      const ZqIndividualManipulator& manipulator = scene.system().manipulators()[m];
      auto& state = active.manipulatorActiveStateVector()[m].activePositionState();
      manipulator.placeBase(state);
      for (ZqU32 i = 0; i <= manipulator.jointDof(); ++i)
      {
         const ZqManipulatorLink& link =
            *manipulator.linkByIndex(i < manipulator.jointDof() ? i : ZqBaseLinkIndex);
         const ZqCoordinateSystemTransformation& frame = link.primaryFrameInSystem(state);
         if (!isFinite(frame.translation()) || !isFinite(frame.orientation().vectorPart()))
            throw Failure(NumericalFailure, "the frame of link " + link.linkLabel() +
                                               " of manipulator " + manipulator.manipulatorLabel() +
                                               " is not finite");
      }
   }
}

Json findPairs(const ZqStatedSystem& scene, const DistanceOptions& options)
{
   ZqSystemActiveState active;
   active.setNonredundantState(scene.state());
   requireFiniteFrames(scene, active);
   ZqProximityQuery query;
   Json pairs = Json::array();
   for (const ZqLinkSeparation& pair : query.closestPairs(
           scene, active, options.margin.value_or(ZqProximityQuery::anyDistance),
           options.all ? ZqProximityQuery::Pairs::All : ZqProximityQuery::Pairs::MayCollide))
   {
      if (!std::isfinite(pair.distance))
         throw Failure(NumericalFailure, "a distance is not finite");
      pairs.push_back({{"distance", bounded(pair.distance)},
                       {"links", {linkOf(scene, pair.link1), linkOf(scene, pair.link2)}},
                       {"points", {toJson(pair.point1), toJson(pair.point2)}},
                       {"normal", toJson(pair.normal)}});
   }
   return pairs;
}

std::string describe(const Json& data)
{
   constexpr std::array<Column, 11> columns{{{"distance", "/distance"},
                                             {"manipulator", "/links/0/manipulator"},
                                             {"link", "/links/0/link"},
                                             {"manipulator", "/links/1/manipulator"},
                                             {"link", "/links/1/link"},
                                             {"x", "/points/0/0"},
                                             {"y", "/points/0/1"},
                                             {"z", "/points/0/2"},
                                             {"x", "/points/1/0"},
                                             {"y", "/points/1/1"},
                                             {"z", "/points/1/2"}}};
   const Json& pairs = data.at("pairs");
   if (!pairs.empty())
      return table(pairs, columns);
   const Json& margin = data.at("margin");
   return margin.is_null() ? "no two links with shapes may collide\n"
                           : "no two links that may collide are within " + text(margin) + " m\n";
}
} // namespace

zqsim::Run zqsim::distance(CLI::App& arguments)
{
   const auto options = std::make_shared<DistanceOptions>();
   options->declare(arguments);
   arguments
      .add_option("--joints", options->joints,
                  "Positions (rad, m) of all joints of all manipulators in order, in place of "
                  "those of the model's state, as one argument: \"0.1 0.2\"")
      ->type_name("LIST");
   arguments
      .add_option("--margin", options->margin,
                  "Tell only pairs that are no further apart (m); 0 tells those that touch or "
                  "overlap")
      ->type_name("NUMBER");
   arguments.add_flag("--all", options->all,
                      "Tell also pairs that are excluded from collisions, as those within a "
                      "manipulator are unless it allows them");
   arguments.footer(
      "The pairs of links with shapes that may collide, the nearest first. A distance (m) below "
      "zero is how far the links must be moved to part. The points, in the system, are the nearest "
      "of the two links, or those deepest in the other one; the normal leads from the first "
      "link to the second. True shapes are compared, not their bounding volumes. What is attached "
      "stands where its carrier has it.");
   return [options]
   {
      if (options->margin && !std::isfinite(*options->margin))
         throw Failure(Usage, "--margin: the margin is not finite");
      ZqStatedSystem scene;
      warnOf(readDocument(options->model, scene));
      if (options->joints)
         setJointPositions(scene, "--joints", *options->joints);
      scene.placeAttachedManipulators();
      const Json data{{"model", options->model},
                      {"time", scene.state().time()},
                      {"margin", options->margin ? Json(*options->margin) : Json()},
                      {"pairs", findPairs(scene, *options)}};
      if (options->json)
         print(data);
      else
         print(describe(data));
      return Done;
   };
}
