#include "python/source/arrays.h"
#include "python/source/failures.h"
#include "python/source/scene.h"
#include "zqManipulator/tools/posture/ZqInverseKinematicsTool.h"

#include <array>
#include <cmath>
#include <memory>
#include <mutex>
#include <string>

namespace
{
using namespace zqPython;
using Tool = ZqInverseKinematicsTool;
using Optional = std::optional<Array>;

/// What is wanted of a link that is told by its label.
struct Target
{
   std::string link;
   Tool::Target wanted;
};

std::string labelOf(const py::handle& link)
{
   return py::isinstance<Link>(link) ? *link.cast<const Link&>().label : link.cast<std::string>();
}

void setWeights(const Optional& numbers, const char* name, ZqVector& weights)
{
   if (!numbers)
      return;
   if (numbers->ndim() == 0)
      weights = ZqVector(*numbers->data(), *numbers->data(), *numbers->data());
   else
      weights = vectorOf(*numbers, name);
}

Target poseTarget(const py::handle& link, const Array& goal, const Optional& on,
                  const Optional& position, const Optional& orientation)
{
   Target target{labelOf(link), Tool::Target::pose(0, frameOf(goal, "goal"))};
   if (on)
      target.wanted.frame = frameOf(*on, "on");
   setWeights(position, "position_weights", target.wanted.positionWeights);
   setWeights(orientation, "orientation_weights", target.wanted.orientationWeights);
   return target;
}

Target positionTarget(const py::handle& link, const Array& goal, const Optional& on,
                      const Optional& weights)
{
   Target target{labelOf(link), Tool::Target::position(0, vectorOf(goal, "goal"),
                                                       on ? vectorOf(*on, "on") : ZqVector())};
   setWeights(weights, "weights", target.wanted.positionWeights);
   return target;
}

Target axisTarget(const py::handle& link, const Array& goal, const Array& on)
{
   return {labelOf(link), Tool::Target::axis(0, vectorOf(on, "on"), vectorOf(goal, "goal"))};
}

/// A list of targets, or a dict of goals by link: 3 numbers are a position, others a frame.
std::vector<Target> targetsOf(const py::object& targets)
{
   std::vector<Target> result;
   if (py::isinstance<Target>(targets))
      return {targets.cast<Target>()};
   if (!py::isinstance<py::dict>(targets))
      return targets.cast<std::vector<Target>>();
   for (const auto& [link, goal] : targets.cast<py::dict>())
   {
      const auto array = goal.cast<Array>();
      result.push_back(array.ndim() == 1 && array.size() == 3
                          ? positionTarget(link, array, {}, {})
                          : poseTarget(link, array, {}, {}, {}));
   }
   return result;
}

const char* nameOf(Tool::Obstacle obstacle)
{
   constexpr std::array names = {"", "limits", "reach", "loops", "time"};
   return names[static_cast<std::size_t>(obstacle)];
}

struct JointAtLimit
{
   std::string link;
   bool isUpper;
   bool isInTheWay;
};

struct Answer
{
   Tool::Answer found;
   ZqCoordinateSystemTransformation baseFrame;
   std::vector<JointAtLimit> limits;

   template <class Part>
   Array residuals(Part part) const
   {
      std::vector<ZqReal> numbers;
      for (const Tool::Residual& residual : found.residuals)
         numbers.push_back(residual.*part);
      return readOnly(numbers, {static_cast<py::ssize_t>(numbers.size())});
   }
};

/// Keeps the scene as it was. One thread at a time; others wait without the interpreter's lock.
class InverseKinematics
{
public:
   InverseKinematics(const Manipulator& manipulator, const py::object& targets,
                     const Tool::Settings& settings)
      : m_scene(manipulator.scene->stated()), m_index(manipulator.index())
   {
      std::vector<Tool::Target> wanted;
      for (const Target& target : targetsOf(targets))
      {
         wanted.push_back(target.wanted);
         wanted.back().link = linkOf(manipulator, target.link).index();
      }
      performNow("inverse kinematics",
                 [&]
                 {
                    return m_tool.setManipulator(m_scene, m_index) &&
                           m_tool.setSettings(settings) && m_tool.setTargets(wanted);
                 });
   }

   void setGoal(ZqU32 target, const Array& array)
   {
      const bool isPoint = array.ndim() == 1 && array.size() == 3;
      const ZqCoordinateSystemTransformation goal =
         isPoint ? ZqCoordinateSystemTransformation(vectorOf(array, "goal"))
                 : frameOf(array, "goal");
      perform("set a goal",
              [&]
              {
                 const std::lock_guard lock(m_mutex);
                 return m_tool.setGoal(target, goal);
              });
   }

   Answer solve(const Optional& start)
   {
      ZqPositionState position = m_scene.state().positionStates()[m_index];
      if (start)
      {
         const std::span q = listOf(*start, "start", model().jointDof());
         position.jointPositions().values().assign(q.begin(), q.end());
      }
      Answer answer;
      perform("inverse kinematics",
              [&]
              {
                 const std::lock_guard lock(m_mutex);
                 if (!m_tool.solve(position))
                    return false;
                 answer.found = m_tool.answer();
                 return true;
              });
      answer.baseFrame = model().coordSysXForm() * answer.found.position.coordSysXForm();
      for (const Tool::JointAtLimit& limit : answer.found.limits)
         answer.limits.push_back(
            {model().linkByIndex(limit.joint)->linkLabel(), limit.isUpper, limit.isInTheWay});
      return answer;
   }

private:
   const ZqIndividualManipulator& model() const { return *m_scene.manipulatorByIndex(m_index); }

   ZqStatedSystem m_scene;
   ZqU32 m_index;
   Tool m_tool;
   std::mutex m_mutex;
};

Tool::Settings settingsOf(const Optional& posture, const Optional& jointWeights, ZqU32 seed,
                          ZqU32 restarts, ZqU32 iterations, ZqReal tolerance, bool moveBase)
{
   Tool::Settings settings;
   settings.tolerance = tolerance;
   settings.maxIterations = iterations;
   settings.maxRestarts = restarts;
   settings.seed = seed;
   settings.mayBaseMove = moveBase;
   const auto take = [](const Optional& array, const char* name, std::vector<ZqReal>& list)
   {
      if (!array)
         return;
      require(*array, name, {anyLength});
      const std::span numbers = numbersOf(*array);
      list.assign(numbers.begin(), numbers.end());
   };
   take(posture, "posture", settings.posture);
   take(jointWeights, "joint_weights", settings.jointWeights);
   return settings;
}

constexpr const char* settingsText =
   "targets: a list of `Target`s, or a dict of goals by link, each a position (3 numbers) or a "
   "frame.\n"
   "posture: positions that joints would rather have where the targets leave freedom (n).\n"
   "joint_weights: how much a joint is spared in comparison to others (n), infinite for one that "
   "stays.\n"
   "seed, restarts: of random starts, which follow when the first one leads nowhere.\n"
   "tolerance: error (m and rad) of a target that is met.\n"
   "move_base: whether a free base moves, too.\n\n"
   "Limits of joints are kept to the bit, loops are closed, and gears and mimics keep their sums. "
   "What "
   "cannot be met is met as well as weights allow, and is no failure: see `solved` of the answer.";

template <class Class>
void bindAnswer(Class&& answer)
{
   answer
      .def_property_readonly(
         "solved", [](const Answer& self) { return self.found.isSolved; },
         "Whether all targets are met.")
      .def("__bool__", [](const Answer& self) { return self.found.isSolved; })
      .def_property_readonly(
         "q",
         [](const Answer& self)
         {
            const std::vector<ZqReal>& q = self.found.position.jointPositions().values();
            return readOnly(q, {static_cast<py::ssize_t>(q.size())});
         },
         "Positions of the joints (rad, or m): n numbers.")
      .def_property_readonly(
         "base_frame", [](const Answer& self) { return arrayOf(self.baseFrame); },
         "The D-H frame of the base in the system: 4 x 4.")
      .def_property_readonly(
         "obstacle",
         [](const Answer& self) -> std::optional<std::string>
         {
            if (self.found.obstacle == Tool::Obstacle::None)
               return std::nullopt;
            return nameOf(self.found.obstacle);
         },
         "Why targets are not met: 'limits' of joints, 'reach' (too far, or they contradict), "
         "'loops' that "
         "cannot be closed, 'time' (more iterations or restarts may do); None when they are.")
      .def_property_readonly(
         "beyond_reach", [](const Answer& self) { return self.found.isBeyondReach; },
         "Certain: some target is farther from the base than all links in line.")
      .def_property_readonly(
         "position_errors",
         [](const Answer& self) { return self.residuals(&Tool::Residual::position); },
         "By target (m), of what has a weight.")
      .def_property_readonly(
         "orientation_errors",
         [](const Answer& self) { return self.residuals(&Tool::Residual::orientation); },
         "By target (rad), likewise.")
      .def_property_readonly(
         "limits",
         [](const Answer& self)
         {
            py::dict result;
            for (const JointAtLimit& limit : self.limits)
               result[py::str(limit.link)] =
                  py::make_tuple(limit.isUpper ? "upper" : "lower", limit.isInTheWay);
            return result;
         },
         "Joints at a limit, by link: 'lower' or 'upper', and whether it is in the way.")
      .def_property_readonly(
         "cost", [](const Answer& self) { return self.found.cost; },
         "Half of the sum of weighted squares of errors.")
      .def_property_readonly(
         "constraint_gap", [](const Answer& self) { return self.found.constraintGap; },
         "Of equality constraints, the greatest.")
      .def_property_readonly(
         "posture_best", [](const Answer& self) { return self.found.isPostureBest; },
         "Whether the posture is as near as the targets allow.")
      .def_property_readonly(
         "iterations", [](const Answer& self) { return self.found.iterations; }, "Over all starts.")
      .def_property_readonly("restarts", [](const Answer& self) { return self.found.restarts; })
      .def("__repr__",
           [](const Answer& self)
           {
              return std::string("<InverseKinematicsAnswer: ") +
                     (self.found.isSolved
                         ? "solved"
                         : std::string("not solved, obstacle ") + nameOf(self.found.obstacle)) +
                     ">";
           });
}
} // namespace

void zqPython::bindPosture(py::module_& module)
{
   py::class_<Target>(module, "Target", "What is wanted of a link in inverse kinematics.")
      .def_static(
         "pose", &poseTarget, py::arg("link"), py::arg("goal"), py::kw_only(),
         py::arg("on") = py::none(), py::arg("position_weights") = py::none(),
         py::arg("orientation_weights") = py::none(),
         "A frame on the link, by default its primary frame, comes to a frame in the system (4 x 4 "
         "each).\n\n"
         "Weights are a number or 3, along and about the axes of the goal: how much errors count, "
         "with "
         "1 m as 1 rad; zero for a direction that is free.")
      .def_static(
         "position", &positionTarget, py::arg("link"), py::arg("goal"), py::kw_only(),
         py::arg("on") = py::none(), py::arg("weights") = py::none(),
         "A point of the link (m, in its primary frame) comes to one of the system, whatever the "
         "orientation.")
      .def_static("axis", &axisTarget, py::arg("link"), py::arg("goal"), py::kw_only(),
                  py::arg("on"),
                  "A direction of the link (`on`, in its primary frame) comes along one of the "
                  "system, whatever "
                  "the position.")
      .def_readonly("link", &Target::link)
      .def("__repr__", [](const Target& self) { return "<Target of '" + self.link + "'>"; });

   bindAnswer(
      py::class_<Answer>(module, "InverseKinematicsAnswer",
                         "What inverse kinematics has found: true when all targets are met."));

   const auto make = [](const Manipulator& manipulator, const py::object& targets,
                        const Optional& posture, const Optional& jointWeights, ZqU32 seed,
                        ZqU32 restarts, ZqU32 iterations, ZqReal tolerance, bool moveBase)
   {
      return std::make_unique<InverseKinematics>(
         manipulator, targets,
         settingsOf(posture, jointWeights, seed, restarts, iterations, tolerance, moveBase));
   };
   const auto define = [&](auto&& add)
   {
      add(py::arg("targets"), py::kw_only(), py::arg("posture") = py::none(),
          py::arg("joint_weights") = py::none(), py::arg("seed") = 1, py::arg("restarts") = 100,
          py::arg("iterations") = 100, py::arg("tolerance") = 1e-9, py::arg("move_base") = false);
   };
   py::class_<InverseKinematics> tool(
      module, "InverseKinematics",
      "Finds positions of joints that bring links of a manipulator to targets, again and again.\n\n"
      "It keeps the scene as it was when it was made. What it answers follows from model, targets, "
      "start, "
      "settings and seed alone, to the bit.");
   define([&](auto&&... arguments)
          { tool.def(py::init(make), py::arg("manipulator"), arguments..., settingsText); });
   tool
      .def("set_goal", &InverseKinematics::setGoal, py::arg("target"), py::arg("goal"),
           "Moves the goal of a target, by its number: a position or a frame. Weights stay.")
      .def("solve", &InverseKinematics::solve, py::arg("start") = py::none(),
           "From joints at a start (n), or as they are in the scene. The interpreter's lock is "
           "released.");
   define(
      [&](auto&&... arguments)
      {
         manipulatorClass(module).def(
            "inverse_kinematics",
            [make](const Manipulator& self, const py::object& targets, const Optional& posture,
                   const Optional& jointWeights, ZqU32 seed, ZqU32 restarts, ZqU32 iterations,
                   ZqReal tolerance, bool moveBase, const Optional& start)
            {
               return make(self, targets, posture, jointWeights, seed, restarts, iterations,
                           tolerance, moveBase)
                  ->solve(start);
            },
            arguments..., py::arg("start") = py::none(),
            (std::string(
                "Positions of joints that bring links to targets; nothing moves until `q` is set "
                "to those of the answer.\n\nstart: positions to start from, else those of the "
                "scene.\n") +
             settingsText)
               .c_str());
      });
}
