#include "apps/zqsim/edits.h"
#include "apps/zqsim/numbers.h"
#include "apps/zqsim/outputFile.h"
#include "zqManipulator/tools/posture/ZqInverseKinematicsTool.h"

#include <CLI/CLI.hpp>

#include <array>
#include <memory>
#include <optional>

namespace
{
using namespace zqsim;
using IkTool = ZqInverseKinematicsTool;

struct IkOptions : ModelArguments
{
   std::vector<std::string> links, targets, points;
   std::optional<std::string> joints, posture;
   std::string seed = "1", restarts = "100", tolerance = "1e-9", out;
   bool positionOnly = false, movesBase = false;
};

/// The manipulator that all targets are of, and its targets.
struct Task
{
   ZqU32 manipulator = 0;
   std::vector<IkTool::Target> targets;
};

/// "x y z", with roll, pitch and yaw, or with w, x, y and z of a quaternion.
IkTool::Target parseTarget(ZqU32 link, const std::string& text, const ZqVector& point,
                           bool isPositionOnly)
{
   const std::vector<ZqReal> n = parseNumbers("--target", text);
   const ZqCoordinateSystemTransformation onLink(point);
   if (n.size() == 7)
   {
      const ZqOrientation axes(n[3], n[4], n[5], n[6]);
      const ZqCoordinateSystemTransformation goal(ZqVector(n[0], n[1], n[2]), axes);
      return isPositionOnly ? IkTool::Target::position(link, goal.translation(), point)
                            : IkTool::Target::pose(link, goal, onLink);
   }
   if (n.size() != 3 && n.size() != 6)
      throw Failure(Usage, "--target: expected \"x y z\", \"x y z roll pitch yaw\" or "
                           "\"x y z qw qx qy qz\", but received " +
                              std::to_string(n.size()) + " numbers");
   const ZqCoordinateSystemTransformation goal = parseFrame("--target", text);
   return n.size() == 3 || isPositionOnly
             ? IkTool::Target::position(link, goal.translation(), point)
             : IkTool::Target::pose(link, goal, onLink);
}

Task parseTask(const ZqStatedSystem& scene, const IkOptions& options)
{
   if (options.links.size() != options.targets.size())
      throw Failure(Usage, "--target: each --link needs one");
   if (options.points.size() > 1 && options.points.size() != options.links.size())
      throw Failure(Usage, "--point: expected one, or one for each --link");
   Task task;
   for (std::size_t k = 0; k < options.links.size(); ++k)
   {
      const LinkPlace place = findLink(scene, "--link", options.links[k]);
      if (k > 0 && place.manipulator != task.manipulator)
         throw Failure(Usage, "--link: all links have to be of one manipulator");
      task.manipulator = place.manipulator;
      ZqVector point;
      if (!options.points.empty())
      {
         const std::string& text = options.points[options.points.size() == 1 ? 0 : k];
         const std::vector<ZqReal> n = parseNumbers("--point", text);
         if (n.size() != 3)
            throw Failure(Usage, "--point: expected \"x y z\"");
         point = ZqVector(n[0], n[1], n[2]);
      }
      const ZqU32 link =
         scene.manipulatorByIndex(place.manipulator)->linkIndexByIdentifier(place.link);
      task.targets.push_back(
         parseTarget(link, options.targets[k], point, options.positionOnly));
   }
   return task;
}

ZqU32 parseSmall(const char* option, const std::string& text)
{
   const ZqReal number = parseNumber(option, text);
   if (!(number >= 0.0 && number <= 4294967295.0) || number != static_cast<ZqU32>(number))
      throw Failure(Usage, std::string(option) + ": expected a whole number from 0 to 4294967295");
   return static_cast<ZqU32>(number);
}

IkTool::Settings parseSettings(const IkOptions& options)
{
   IkTool::Settings settings;
   settings.seed = parseSmall("--seed", options.seed);
   settings.maxRestarts = parseSmall("--restarts", options.restarts);
   settings.tolerance = parsePositive("--tolerance", options.tolerance);
   settings.mayBaseMove = options.movesBase;
   if (options.posture)
      settings.posture = parseNumbers("--posture", *options.posture);
   return settings;
}

std::string reasonOf(const IkTool::Answer& answer)
{
   if (answer.isBeyondReach)
      return "out of reach: farther than all links in line";
   switch (answer.obstacle)
   {
   case IkTool::Obstacle::None:
      return "";
   case IkTool::Obstacle::Limits:
      return "limits of joints are in the way";
   case IkTool::Obstacle::Reach:
      return "out of reach, though no limit is in the way";
   case IkTool::Obstacle::Loops:
      return "the constraints between joints cannot be fulfilled";
   case IkTool::Obstacle::Time:
      break;
   }
   return "no start came to rest within the iterations";
}

/// Positions of all joints of all manipulators, as `--joints` takes them.
std::string jointList(const ZqStatedSystem& scene)
{
   std::string list;
   for (const ZqPositionState& position : scene.state().positionStates())
      for (const ZqReal q : position.jointPositions())
         list += (list.empty() ? "" : " ") + exact(q);
   return list;
}

Json collect(const ZqStatedSystem& scene, const IkOptions& options, const Task& task,
             const IkTool::Answer& answer)
{
   Json targets = Json::array();
   for (std::size_t k = 0; k < task.targets.size(); ++k)
      targets.push_back({{"link", options.links[k]},
                         {"positionError", answer.residuals[k].position},
                         {"orientationError", answer.residuals[k].orientation}});
   const ZqIndividualManipulator& manipulator = *scene.manipulatorByIndex(task.manipulator);
   Json limits = Json::array();
   for (const IkTool::JointAtLimit& limit : answer.limits)
      limits.push_back({{"link", manipulator.linkByIndex(limit.joint)->linkLabel()},
                        {"limit", limit.isUpper ? "upper" : "lower"},
                        {"inTheWay", limit.isInTheWay}});
   Json joints = Json::array();
   for (const ZqReal q : answer.position.jointPositions())
      joints.push_back(q);
   Json data{{"model", options.model},
             {"solved", answer.isSolved},
             {"reason", answer.isSolved ? Json() : Json(reasonOf(answer))},
             {"manipulator", manipulator.manipulatorLabel()},
             {"joints", joints},
             {"base", toJson(answer.position.coordSysXForm())},
             {"targets", targets},
             {"limits", limits},
             {"seed", parseSmall("--seed", options.seed)},
             {"iterations", answer.iterations},
             {"restarts", answer.restarts},
             {"allJoints", jointList(scene)}};
   if (options.posture)
      data["postureIsBest"] = answer.isPostureBest;
   return data;
}

std::string describe(const Json& data)
{
   constexpr std::array<Column, 3> targets{{{"link", "/link"},
                                            {"position error (m)", "/positionError"},
                                            {"orientation error (rad)", "/orientationError"}}};
   constexpr std::array<Column, 3> limits{
      {{"at its limit", "/link"}, {"limit", "/limit"}, {"in the way", "/inTheWay"}}};
   std::string result = data.at("solved").get<bool>()
                           ? std::string("solved")
                           : "not solved: " + data.at("reason").get<std::string>();
   result += ", iterations " + text(data.at("iterations")) + ", restarts " +
             text(data.at("restarts")) + ", seed " + text(data.at("seed")) + '\n';
   result += table(data.at("targets"), targets);
   if (!data.at("limits").empty())
      result += table(data.at("limits"), limits);
   if (data.contains("postureIsBest") && !data.at("postureIsBest").get<bool>())
      result += "the posture may be nearer still\n";
   return result + "--joints \"" + data.at("allJoints").get<std::string>() + "\"\n";
}
} // namespace

zqsim::Run zqsim::ik(CLI::App& arguments)
{
   const auto options = std::make_shared<IkOptions>();
   options->declare(arguments);
   const auto add = [&](const char* name, auto& value, const char* description, const char* type)
   { return arguments.add_option(name, value, description)->type_name(type); };
   add("--link", options->links,
       "A link that is wanted somewhere, by its label or as MANIPULATOR/LINK; several, each with its "
       "--target, have to be of one manipulator",
       "LINK")
      ->required()
      ->expected(1)
      ->take_all();
   add("--target", options->targets,
       "Where its primary frame is wanted in the system, as one argument: \"x y z\" (m), with any "
       "orientation; \"x y z roll pitch yaw\" (m, rad); or \"x y z qw qx qy qz\", as zqsim frames tells it",
       "LIST")
      ->required()
      ->expected(1)
      ->take_all();
   add("--point", options->points,
       "The point of the link that is wanted there: \"x y z\" (m) in its primary frame; one for all, or "
       "one for each --link",
       "LIST")
      ->expected(1)
      ->take_all();
   arguments.add_flag("--position-only", options->positionOnly, "Take no heed of orientations");
   add("--joints", options->joints,
       "Where to start, as for zqsim frames; if not given, from the model's state", "LIST");
   add("--posture", options->posture,
       "Positions (rad, m) of the joints of this manipulator that it would rather have where the targets "
       "leave freedom",
       "LIST");
   arguments.add_flag("--move-base", options->movesBase, "Let a free base move as well");
   add("--tolerance", options->tolerance, "Error (m and rad) of a target that is met; 1e-9 if not given",
       "NUMBER");
   add("--restarts", options->restarts, "How many more starts to try, drawn at random; 100 if not given",
       "COUNT");
   add("--seed", options->seed, "Seed of the random starts; 1 if not given", "NUMBER");
   add("-o,--out", options->out,
       "Where to write the model with its state at the solution; with -, standard output has it, and nothing "
       "else is told",
       "FILE");
   arguments.footer("Limits of joints are kept, and so are loops, gears and mimics. What cannot be reached is "
                    "approached as near as can be: exit code 5, with the reason. The last line is what zqsim "
                    "frames takes to show the solution. The same seed gives the same answer everywhere.");
   return [options]
   {
      const bool isToldApart = !isStandardStream(options->out);
      if (options->json && !isToldApart)
         throw Failure(Usage, "--json: standard output is where the model goes");
      const IkTool::Settings settings = parseSettings(*options);
      ZqStatedSystem scene;
      warnOf(readDocument(options->model, scene));
      if (options->joints)
         setJointPositions(scene, "--joints", *options->joints);
      scene.placeAttachedManipulators();
      const Task task = parseTask(scene, *options);
      IkTool tool;
      require(
         [&]
         {
            return tool.setManipulator(scene, task.manipulator) && tool.setSettings(settings) &&
                   tool.setTargets(task.targets) && tool.solve();
         });
      const IkTool::Answer& answer = tool.answer();
      scene.setIndividualPositionState(task.manipulator, answer.position);
      scene.placeAttachedManipulators();
      if (!options->out.empty())
         writeScene(scene, options->out, true);
      const Json data = collect(scene, *options, task, answer);
      if (options->json)
         print(data);
      else if (isToldApart)
         print(describe(data));
      return answer.isSolved ? Done : Findings;
   };
}
