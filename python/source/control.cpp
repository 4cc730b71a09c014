#include "python/source/arrays.h"
#include "python/source/failures.h"
#include "python/source/simulation.h"
#include "zqManipulator/tools/control/ZqComputedTorqueController.h"
#include "zqManipulator/tools/control/ZqFifthOrderTrajectory.h"
#include "zqManipulator/tools/control/ZqOperationalSpaceController.h"
#include "zqManipulator/tools/control/ZqPdGravityController.h"
#include "zqManipulator/tools/control/ZqTorquesAlong.h"
#include "zqManipulator/tools/control/ZqTrapezoidalTrajectory.h"

#include <cmath>
#include <map>
#include <string>

namespace
{
using namespace zqPython;
using Optional = std::optional<Array>;

ZqRealVector numbersIn(const Optional& array, const char* name)
{
   if (!array)
      return {};
   require(*array, name, {anyLength});
   const std::span numbers = numbersOf(*array);
   return {numbers.begin(), numbers.end()};
}

/// A number for all joints, or one for each.
ZqRealVector limitsIn(const Array& array, const char* name, py::ssize_t joints)
{
   if (array.ndim() == 0)
      return ZqRealVector(static_cast<std::size_t>(joints), *array.data());
   return numbersIn(array, name);
}

// Trajectories.

py::object namedTuple(const char* name, const char* fields)
{
   return py::module_::import("collections")
      .attr("namedtuple")(name, fields, py::arg("module") = "zqmanipulator");
}

/// At a time, or at k times: (n) or (k x n) each.
py::object evaluate(const ZqBaseTrajectory& trajectory, const Array& time)
{
   if (time.ndim() > 1)
      require(time, "time", {anyLength});
   for (const ZqReal t : numbersOf(time))
      if (std::isnan(t))
         throw py::value_error("time: expected numbers");
   const auto joints = static_cast<py::ssize_t>(trajectory.jointCount());
   const Shape shape = time.ndim() == 0 ? Shape{joints} : Shape{time.size(), joints};
   std::array<Array, 3> result{Array(shape), Array(shape), Array(shape)};
   ZqTrajectoryPoint point;
   std::ptrdiff_t row = 0;
   for (const ZqReal t : numbersOf(time))
   {
      trajectory.evaluate(t, point);
      std::size_t i = 0;
      for (const ZqRealVector* list : {&point.positions, &point.velocities, &point.accelerations})
         std::ranges::copy(*list, numbersOf(result[i++]).begin() + row * joints);
      ++row;
   }
   return py::module_::import("zqmanipulator._core")
      .attr("TrajectoryPoint")(result[0], result[1], result[2]);
}

ZqFifthOrderTrajectory fifthOrder(const Array& start, const Array& end, ZqReal duration,
                                  const Optional& startVelocity, const Optional& endVelocity,
                                  const Optional& startAcceleration,
                                  const Optional& endAcceleration)
{
   ZqFifthOrderTrajectory trajectory;
   const ZqTrajectoryPoint first{numbersIn(start, "start"),
                                 numbersIn(startVelocity, "start_velocity"),
                                 numbersIn(startAcceleration, "start_acceleration")};
   const ZqTrajectoryPoint last{numbersIn(end, "end"), numbersIn(endVelocity, "end_velocity"),
                                numbersIn(endAcceleration, "end_acceleration")};
   performNow("make a trajectory", [&] { return trajectory.set(first, last, duration); });
   return trajectory;
}

ZqReal leastDuration(const Array& start, const Array& end, const Array& velocityLimits,
                     const Array& accelerationLimits)
{
   ZqReal duration = 0.0;
   const ZqRealVector first = numbersIn(start, "start");
   performNow("find the least duration",
              [&]
              {
                 duration = ZqFifthOrderTrajectory::leastDuration(
                    first, numbersIn(end, "end"),
                    limitsIn(velocityLimits, "velocity_limits", start.size()),
                    limitsIn(accelerationLimits, "acceleration_limits", start.size()));
                 return !std::isnan(duration);
              });
   return duration;
}

ZqTrapezoidalTrajectory trapezoidal(const Array& wayPoints, const Array& velocityLimits,
                                    const Array& accelerationLimits)
{
   require(wayPoints, "way_points", {anyLength, anyLength});
   const auto joints = static_cast<std::size_t>(wayPoints.shape(1));
   std::vector<ZqRealVector> points;
   for (std::size_t i = 0; i < static_cast<std::size_t>(wayPoints.shape(0)); ++i)
   {
      const std::span row = numbersOf(wayPoints).subspan(i * joints, joints);
      points.emplace_back(row.begin(), row.end());
   }
   ZqTrapezoidalTrajectory trajectory;
   performNow("make a trajectory",
              [&]
              {
                 return trajectory.set(
                    points, limitsIn(velocityLimits, "velocity_limits", wayPoints.shape(1)),
                    limitsIn(accelerationLimits, "acceleration_limits", wayPoints.shape(1)));
              });
   return trajectory;
}

InputTable torquesAlong(const ZqBaseTrajectory& trajectory, const Manipulator& manipulator,
                        ZqReal dt)
{
   const ZqStatedSystem copy = manipulator.scene->stated();
   const ZqU32 index = manipulator.index();
   InputTable table;
   perform("find the torques along a trajectory",
           [&] { return Zq::torquesAlong(trajectory, copy, index, dt, table.table); });
   table.table.setInterpolation(ZqInputTable::Interpolation::Linear);
   return table;
}

// Controllers.

/// (P, D) of all joints, or a row of them for each.
std::vector<ZqControlGains> gainsOf(const Array& array)
{
   require(array, "gains", {anyLength, 2});
   std::vector<ZqControlGains> gains;
   for (py::ssize_t i = 0; i < array.shape(0); ++i)
      gains.push_back({array.at(i, 0), array.at(i, 1)});
   for (const ZqControlGains& gain : gains)
      if (!std::isfinite(gain.proportional) || !std::isfinite(gain.derivative))
         throw py::value_error("gains: expected finite numbers");
   return gains;
}

ZqControlGains pairOf(const Array& array)
{
   require(array, "gains", {2});
   return gainsOf(array.attr("reshape")(1, 2).cast<Array>()).front();
}

std::vector<ZqControlGains> gainsOfJoints(const Array& array)
{
   return array.ndim() == 1 ? std::vector{pairOf(array)} : gainsOf(array);
}

Array criticallyDamped(const Array& frequency)
{
   Shape shape(frequency.shape(), frequency.shape() + frequency.ndim());
   shape.push_back(2);
   std::vector<ZqReal> numbers;
   for (const ZqReal w : numbersOf(frequency))
   {
      const auto gains = ZqControlGains::criticallyDamped(w);
      numbers.insert(numbers.end(), {gains.proportional, gains.derivative});
   }
   return take(std::move(numbers), shape);
}

/// A controller with the scene that it computes with.
template <class Controller>
struct Control
{
   template <class... Arguments>
   explicit Control(const Manipulator& manipulator, bool compensatesFriction,
                    const Arguments&... arguments)
      : scene(manipulator.scene->stated()), index(manipulator.index()),
        controller(scene, index, arguments...)
   {
      controller.setCompensatesFriction(compensatesFriction);
      position = scene.state().positionStates()[index];
      velocity = scene.state().velocityStates()[index];
   }
   Control(const Control&) = delete;
   Control& operator=(const Control&) = delete;

   std::size_t joints() const { return scene.manipulatorByIndex(index)->jointDof(); }
   template <class Desired>
   Array update(const Array& q, const Optional& v, const Desired& desired)
   {
      const std::span positions = listOf(q, "q", joints());
      position.jointPositions().values().assign(positions.begin(), positions.end());
      if (v)
      {
         const std::span velocities = listOf(*v, "v", joints());
         velocity.jointVelocities().values().assign(velocities.begin(), velocities.end());
      }
      else
         velocity.jointVelocities().values().assign(joints(), 0.0);
      performNow("control", [&] { return controller.update(position, velocity, desired); });
      return torques(controller.motorTorques());
   }
   static Array torques(const ZqManipulatorTorque& torque)
   {
      const auto& values = torque.jointTorques().values();
      return copyOf(values, {static_cast<py::ssize_t>(values.size())});
   }

   ZqStatedSystem scene;
   ZqU32 index;
   Controller controller;
   ZqPositionState position;
   ZqVelocityState velocity;
};

using ComputedTorque = Control<ZqComputedTorqueController>;
using PdGravity = Control<ZqPdGravityController>;

struct OperationalSpace : Control<ZqOperationalSpaceController>
{
   using Control::Control;
   bool isPosition = false; ///< and not of the orientation
};

ZqTaskMotion motionFor(bool isPosition, const Array& goal, const Optional& velocity,
                       const Optional& acceleration)
{
   ZqTaskMotion motion;
   if (isPosition && goal.ndim() == 1 && goal.size() == 3)
      motion.position = vectorOf(goal, "goal");
   else
   {
      const ZqCoordinateSystemTransformation frame = frameOf(goal, "goal");
      motion.position = frame.translation();
      motion.orientation = frame.orientation();
   }
   if (velocity)
   {
      const ZqGeneralMotion v = motionOf(*velocity, "velocity");
      motion.velocity = v.linear();
      motion.angularVelocity = v.angular();
   }
   if (acceleration)
   {
      const ZqGeneralMotion a = motionOf(*acceleration, "acceleration");
      motion.acceleration = a.linear();
      motion.angularAcceleration = a.angular();
   }
   return motion;
}

std::unique_ptr<OperationalSpace> operationalSpace(const Link& link, const Array& gains,
                                                   const std::string& task, const Optional& point,
                                                   const Optional& posture,
                                                   const Optional& postureGains,
                                                   ZqReal leastEigenvalue, bool compensatesFriction)
{
   using Task = ZqOperationalSpaceController::Task;
   static const std::map<std::string, Task> tasks{
      {"position", Task::Position}, {"orientation", Task::Orientation}, {"pose", Task::Pose}};
   const auto found = tasks.find(task);
   if (found == tasks.end())
      throw py::value_error("task: expected 'position', 'orientation' or 'pose', but received '" +
                            task + "'");
   if (!(leastEigenvalue >= 0.0) || !std::isfinite(leastEigenvalue))
      throw py::value_error("least_eigenvalue: expected a finite number that is not below zero");
   auto result = std::make_unique<OperationalSpace>(link.manipulator, compensatesFriction,
                                                    found->second, link.index(),
                                                    point ? vectorOf(*point, "point") : ZqVector());
   result->isPosition = found->second == Task::Position;
   result->controller.setTaskGains(pairOf(gains));
   result->controller.setLeastEigenvalue(leastEigenvalue);
   ZqRealVector positions;
   if (posture)
   {
      const std::span q = listOf(*posture, "posture", result->joints());
      positions.assign(q.begin(), q.end());
   }
   result->controller.setPosture(postureGains ? pairOf(*postureGains) : ZqControlGains(),
                                 positions);
   return result;
}

void bindTrajectories(py::module_& module)
{
   module.attr("TrajectoryPoint") = namedTuple("TrajectoryPoint", "q v a");
   py::class_<ZqBaseTrajectory>(module, "Trajectory",
                                "A motion of joints over time, in closed form: any time may be "
                                "asked for. It rests before and after.")
      .def_property_readonly("duration", &ZqBaseTrajectory::duration, "In s.")
      .def("__len__", &ZqBaseTrajectory::jointCount)
      .def("__call__", &evaluate, py::arg("time"),
           "Where joints are at a time since the start (s): q, v and a (n each). At k times: k x n "
           "each.");
   py::class_<ZqFifthOrderTrajectory, ZqBaseTrajectory>(
      module, "FifthOrderTrajectory",
      "Joints that go from one point to another by polynomials of fifth order.")
      .def(py::init(&fifthOrder), py::arg("start"), py::arg("end"), py::arg("duration"),
           py::kw_only(), py::arg("start_velocity") = py::none(),
           py::arg("end_velocity") = py::none(), py::arg("start_acceleration") = py::none(),
           py::arg("end_acceleration") = py::none(),
           "Positions (n each; rad, or m), in a time (s). Rates that are left out are zeros.")
      .def_static("least_duration", &leastDuration, py::arg("start"), py::arg("end"),
                  py::arg("velocity_limits"), py::arg("acceleration_limits"),
                  "The least time (s) from rest to rest within limits, a number for all joints or "
                  "one for each.");
   py::class_<ZqTrapezoidalTrajectory, ZqBaseTrajectory>(
      module, "TrapezoidalTrajectory",
      "Joints that go from way point to way point, at rest in each, as fast as limits allow.")
      .def(py::init(&trapezoidal), py::arg("way_points"), py::arg("velocity_limits"),
           py::arg("acceleration_limits"),
           "Way points are k x n; limits a number for all joints or one for each.")
      .def_property_readonly(
         "times",
         [](const ZqTrapezoidalTrajectory& self)
         { return readOnly(self.times(), {static_cast<py::ssize_t>(self.times().size())}); },
         "When it is at each way point (s since the start).");
   module.def("torques_along", &torquesAlong, py::arg("trajectory"), py::arg("manipulator"),
              py::arg("dt") = 1e-3,
              "The torques at the motors that take a manipulator along a trajectory, as inputs of "
              "a run that "
              "begins on it. Nothing corrects errors.");
}

template <class Class>
auto bindController(py::module_& module, const char* name, const char* text)
{
   return py::class_<Class>(module, name, text)
      .def_property_readonly(
         "joint_torques",
         [](const Class& self) { return Class::torques(self.controller.jointTorques()); },
         "Of the last update (n; N m, or N).")
      .def_property_readonly(
         "motor_torques",
         [](const Class& self) { return Class::torques(self.controller.motorTorques()); },
         "Of the last update, before gears and friction (n).");
}

constexpr const char* gainsText =
   "gains: P and D of all joints (2), or a row of them for each (n x 2); see `critically_damped`.\n"
   "compensates_friction: whether motors also bring up the friction of their drives.\n"
   "The scene is kept as it was. Bases have to be fixed, and drives rigid.";
/// A controller of joints, which have gains each.
template <class Controller>
std::unique_ptr<Controller> withGains(const Manipulator& manipulator, const Array& gains,
                                      bool compensatesFriction)
{
   auto result = std::make_unique<Controller>(manipulator, compensatesFriction);
   result->controller.setGains(gainsOfJoints(gains));
   return result;
}
} // namespace

void zqPython::bindControl(py::module_& module)
{
   bindTrajectories(module);
   module.def(
      "critically_damped", &criticallyDamped, py::arg("frequency"),
      "The gains (P, D) = (f^2, 2 f) of errors that go to zero as fast as they can at a frequency "
      "(rad/s) without passing beyond; of n frequencies, n x 2.");

   bindController<ComputedTorque>(
      module, "ComputedTorque",
      "Has joints follow a motion by inverse dynamics: errors obey e'' + D e' + P e = 0.")
      .def(py::init(&withGains<ComputedTorque>), py::arg("manipulator"), py::arg("gains"),
           py::kw_only(), py::arg("compensates_friction") = false, gainsText)
      .def(
         "update",
         [](ComputedTorque& self, const Array& q, const Optional& v, const Array& goal,
            const Optional& velocity, const Optional& acceleration)
         {
            return self.update(q, v,
                               ZqTrajectoryPoint{numbersIn(goal, "goal"),
                                                 numbersIn(velocity, "goal_velocity"),
                                                 numbersIn(acceleration, "goal_acceleration")});
         },
         py::arg("q"), py::arg("v"), py::arg("goal"), py::arg("goal_velocity") = py::none(),
         py::arg("goal_acceleration") = py::none(),
         "The torques at the motors for a state and where joints are to be (n each): what `run` "
         "takes from a "
         "function. `update(q, v, *trajectory(time))` follows a trajectory.");

   bindController<PdGravity>(module, "PdGravity",
                             "Brings joints to a posture by springs and dampers (N m/rad, N m "
                             "s/rad), while gravity is held.")
      .def(py::init(&withGains<PdGravity>), py::arg("manipulator"), py::arg("gains"), py::kw_only(),
           py::arg("compensates_friction") = false, gainsText)
      .def(
         "update",
         [](PdGravity& self, const Array& q, const Optional& v, const Array& goal)
         { return self.update(q, v, numbersIn(goal, "goal")); },
         py::arg("q"), py::arg("v"), py::arg("goal"),
         "The torques at the motors for a state and a posture (n each).");

   bindController<OperationalSpace>(module, "OperationalSpace",
                                    "Moves a point of a link in the space of its task, with joints "
                                    "led to a posture in the null space.")
      .def(py::init(&operationalSpace), py::arg("link"), py::arg("gains"), py::kw_only(),
           py::arg("task") = "pose", py::arg("point") = py::none(), py::arg("posture") = py::none(),
           py::arg("posture_gains") = py::none(), py::arg("least_eigenvalue") = 1e-3,
           py::arg("compensates_friction") = false,
           "gains, posture_gains: P (1/s^2) and D (1/s) of the task, and of the joints behind it.\n"
           "task: 'position', 'orientation' or 'pose' of a point of the link (m, in its primary "
           "frame).\n"
           "posture: where joints are to be as far as the task lets them (n).\n"
           "least_eigenvalue: below which a direction next to a singularity is damped, of a mean "
           "of 1.\n"
           "The scene is kept as it was. Bases have to be fixed, and drives rigid.")
      .def(
         "update",
         [](OperationalSpace& self, const Array& q, const Optional& v, const Array& goal,
            const Optional& velocity, const Optional& acceleration)
         { return self.update(q, v, motionFor(self.isPosition, goal, velocity, acceleration)); },
         py::arg("q"), py::arg("v"), py::arg("goal"), py::arg("goal_velocity") = py::none(),
         py::arg("goal_acceleration") = py::none(),
         "The torques at the motors for a state (n each), and a frame, or a position where the "
         "task is no more, "
         "for the point; its velocity and acceleration (6 each, along the axes of the system).")
      .def_property_readonly(
         "damped", [](const OperationalSpace& self) { return self.controller.isDamped(); },
         "Whether a direction was damped in the last update.");
}
