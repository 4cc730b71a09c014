#include "apps/zqsim/commands.h"
#include "apps/zqsim/model.h"
#include "apps/zqsim/output.h"
#include "apps/zqsim/shapes.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <optional>

namespace
{
using namespace zqsim;

Json linkFrame(const ZqManipulatorLink& link, ZqManipulatorActivePositionState& activeState)
{
   Json result{{"link", link.linkLabel()}};
   const ZqCoordinateSystemTransformation& frame = link.primaryFrameInSystem(activeState);
   result.update(toJson(frame));
   result["shapes"] = drawShapes(link, frame);
   return result;
}

Json computeFrames(const ZqStatedSystem& scene)
{
   ZqSystemActiveState active;
   active.setNonredundantState(scene.state());
   Json manipulators = Json::array();
   for (ZqU32 i = 0; i < scene.numberOfManipulators(); ++i)
   {
      const ZqIndividualManipulator& manipulator = scene.system().manipulators()[i];
      auto& activeState = active.manipulatorActiveStateVector()[i].activePositionState();
      Json frames = Json::array({linkFrame(manipulator.concreteReference(), activeState)});
      for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
         frames.push_back(linkFrame(*link, activeState));
      manipulators.push_back({{"label", manipulator.manipulatorLabel()}, {"frames", frames}});
   }
   return manipulators;
}

std::string describe(const Json& data)
{
   constexpr std::array<Column, 8> columns{{{"link", "/link"},
                                            {"x", "/position/0"},
                                            {"y", "/position/1"},
                                            {"z", "/position/2"},
                                            {"qw", "/orientation/0"},
                                            {"qx", "/orientation/1"},
                                            {"qy", "/orientation/2"},
                                            {"qz", "/orientation/3"}}};
   std::string result;
   for (const Json& manipulator : data.at("manipulators"))
      result += text(manipulator.at("label")) + '\n' + table(manipulator.at("frames"), columns);
   return result;
}

/// Whether all numbers within a value are finite.
bool isFinite(const Json& value)
{
   if (value.is_structured())
      return std::all_of(value.begin(), value.end(), isFinite);
   return !value.is_number_float() || std::isfinite(value.get<ZqReal>());
}

void requireFinite(const Json& data)
{
   for (const Json& manipulator : data.at("manipulators"))
      for (const Json& frame : manipulator.at("frames"))
         if (!isFinite(frame))
            throw Failure(NumericalFailure, "the frame of link " + text(frame.at("link")) +
                                               " of manipulator " + text(manipulator.at("label")) +
                                               " is not finite");
}
} // namespace

zqsim::Run zqsim::frames(CLI::App& arguments)
{
   struct Options : ModelArguments
   {
      std::optional<std::string> joints;
   };
   const auto options = std::make_shared<Options>();
   options->declare(arguments);
   arguments
      .add_option("--joints", options->joints,
                  "Positions (rad, m) of all joints of all manipulators in order, in place of "
                  "those of the model's state, as one argument: \"0.1 0.2\"")
      ->type_name("LIST");
   arguments.footer(
      "Frames are the primary frames of the links in the system: the position in m and "
      "the orientation as a unit quaternion. With --json, shapes are told as they are drawn. What "
      "is attached stands where its carrier has it.");
   return [options]
   {
      ZqStatedSystem scene;
      warnOf(readDocument(options->model, scene));
      if (options->joints)
         setJointPositions(scene, "--joints", *options->joints);
      scene.placeAttachedManipulators();
      const Json data{{"model", options->model},
                      {"time", scene.state().time()},
                      {"manipulators", computeFrames(scene)}};
      if (options->json)
         print(data);
      else
         print(describe(data));
      requireFinite(data);
      return Done;
   };
}
