#include "python/source/arrays.h"
#include "python/source/failures.h"
#include "python/source/scene.h"
#include "zqManipulator/contact/proximity/ZqManipulatorProximityTool.h"
#include "zqManipulator/contact/proximity/ZqProximityQuery.h"
#include "zqManipulator/dynamics/tools/ZqMotionDerivativeTool.h"
#include "zqManipulator/kinematics/system/ZqStatedSystemStruct.h"

#include <cmath>
#include <map>
#include <tuple>

namespace
{
using namespace zqPython;
using Axes = ZqMotionDerivativeTool::Axes;

/// One of the numbers that a query of a link answers, with all links below the base in rows.
template <class Write>
Array ofLinks(const Manipulator& manipulator, py::ssize_t length, const Shape& shape, Write write)
{
   const auto& links = manipulator.model().linkPointerVector();
   Shape whole{static_cast<py::ssize_t>(links.size())};
   whole.insert(whole.end(), shape.begin(), shape.end());
   Array array(whole);
   const std::span numbers = numbersOf(array);
   for (std::size_t i = 0; i < links.size(); ++i)
      write(*links[i], numbers.subspan(i * static_cast<std::size_t>(length),
                                       static_cast<std::size_t>(length)));
   return array;
}

Array framesOf(const Manipulator& manipulator)
{
   auto& state = manipulator.active().activePositionState();
   return ofLinks(manipulator, 16, {4, 4},
                  [&](const ZqManipulatorLink& link, std::span<ZqReal> numbers)
                  { writeFrame(link.primaryFrameInSystem(state), numbers); });
}

Array dhFramesOf(const Manipulator& manipulator)
{
   auto& state = manipulator.active().activePositionState();
   return ofLinks(manipulator, 16, {4, 4},
                  [&](const ZqManipulatorLink& link, std::span<ZqReal> numbers)
                  { writeFrame(link.dhFrameInSystem(state), numbers); });
}

void write(const ZqGeneralMotion& motion, std::span<ZqReal> numbers)
{
   for (std::size_t i = 0; i < 3; ++i)
   {
      numbers[i] = motion.linear()[i];
      numbers[3 + i] = motion.angular()[i];
   }
}

Array velocitiesOfLinks(const Manipulator& manipulator)
{
   ZqManipulatorActiveState& state = manipulator.active();
   return ofLinks(manipulator, 6, {6},
                  [&](const ZqManipulatorLink& link, std::span<ZqReal> numbers)
                  { write(link.primaryFrameVelocityInSystem(state), numbers); });
}

/// Of the origin of the primary frame, in the axes of the system.
ZqGeneralMotion accelerationOf(const ZqManipulatorLink& link, ZqManipulatorActiveState& state)
{
   const ZqOrientation& R = link.dhFrameInSystem(state.activePositionState()).orientation();
   const ZqGeneralMotion& local = link.dhFrameAccelerationInLocal(state);
   const ZqVector alpha = R * local.angular();
   const ZqVector omega = link.dhFrameVelocityInSystem(state).angular();
   const ZqVector r = R * link.primaryFrame().translation();
   return {R * local.linear() + alpha.cross(r) + omega.cross(omega.cross(r)), alpha};
}

ZqManipulatorActiveState& accelerated(const Manipulator& manipulator, const Array& joints,
                                      const std::optional<Array>& base)
{
   const std::span numbers = listOf(joints, "a", manipulator.model().jointDof());
   ZqAccelerationState acceleration;
   acceleration.jointAccelerations().values().assign(numbers.begin(), numbers.end());
   if (base)
      acceleration.setGeneralAcceleration(motionOf(*base, "base"));
   ZqManipulatorActiveState& state = manipulator.active();
   state.setAccelerationState(acceleration);
   return state;
}

Array accelerationsOfLinks(const Manipulator& manipulator, const Array& a,
                           const std::optional<Array>& base)
{
   ZqManipulatorActiveState& state = accelerated(manipulator, a, base);
   return ofLinks(manipulator, 6, {6},
                  [&](const ZqManipulatorLink& link, std::span<ZqReal> numbers)
                  { write(accelerationOf(link, state), numbers); });
}

// Jacobians, momentum and energy.

Axes axesOf(const std::string& name)
{
   static const std::map<std::string, Axes> byName{
      {"local", Axes::Local}, {"system", Axes::System}, {"mixed", Axes::Mixed}};
   const auto found = byName.find(name);
   if (found == byName.end())
      throw py::value_error("axes: expected 'local', 'system' or 'mixed', but received '" + name +
                            "'");
   return found->second;
}

Array arrayOfMatrix(const ZqReArray& matrix)
{
   const std::size_t count = std::size_t{matrix.rows()} * matrix.columns();
   return copyOf(std::span(matrix.data(), count), {matrix.rows(), matrix.columns()});
}

using JacobianQuery = const ZqReArray& (ZqMotionDerivativeTool::*)(ZqU32, const ZqVector&, Axes,
                                                                   ZqManipulatorActiveState&);

Array jacobianBy(JacobianQuery query, const Link& link, const std::optional<Array>& point,
                 const std::string& axes)
{
   const ZqVector place = point ? vectorOf(*point, "point") : ZqVector();
   ZqMotionDerivativeTool tool;
   tool.setManipulator(&link.manipulator.model());
   return arrayOfMatrix(
      (tool.*query)(link.index(), place, axesOf(axes), link.manipulator.active()));
}

template <class Query>
Array matrixBy(const Manipulator& manipulator, Query query)
{
   ZqMotionDerivativeTool tool;
   tool.setManipulator(&manipulator.model());
   const ZqStatedSystemStruct context = manipulator.context();
   return arrayOfMatrix((tool.*query)(manipulator.active(), &context));
}

/// Velocities of a free base, along its axes, and of the joints, as the columns of a Jacobian have them.
std::vector<ZqReal> freedomVelocities(const Manipulator& manipulator)
{
   std::vector<ZqReal> velocities;
   if (!manipulator.model().isFixedBase())
   {
      const ZqOrientation toBase = (manipulator.model().coordSysXForm().orientation() *
                                    manipulator.position().coordSysXForm().orientation())
                                      .inverse();
      const ZqGeneralMotion& base = manipulator.velocity().generalVelocity();
      velocities.resize(6);
      write({toBase * base.linear(), toBase * base.angular()}, velocities);
   }
   const auto& joints = manipulator.velocity().jointVelocities().values();
   velocities.insert(velocities.end(), joints.begin(), joints.end());
   return velocities;
}

Array momentumOf(const Manipulator& manipulator)
{
   ZqMotionDerivativeTool tool;
   tool.setManipulator(&manipulator.model());
   const ZqStatedSystemStruct context = manipulator.context();
   const ZqReArray& matrix = tool.centroidalMomentumMatrix(manipulator.active(), &context);
   const std::vector<ZqReal> velocities = freedomVelocities(manipulator);
   Array momentum = zeros({6});
   const std::span numbers = numbersOf(momentum);
   for (ZqU32 i = 0; i < 6; ++i)
      for (ZqU32 j = 0; j < velocities.size(); ++j)
         numbers[i] += matrix[i][j] * velocities[j];
   return momentum;
}

ZqReal massOf(const Manipulator& manipulator)
{
   const ZqIndividualManipulator& model = manipulator.model();
   ZqReal mass = model.linkByIndex(ZqBaseLinkIndex)->massProperties().mass();
   for (const ZqManipulatorLink* link : model.linkPointerVector())
      mass += link->massProperties().mass();
   return mass;
}

ZqReal potentialEnergyOf(const Manipulator& manipulator)
{
   const ZqVector& up = manipulator.scene->stated().environment().upGravityVector();
   return massOf(manipulator) *
          up.dot(manipulator.model().getCenterOfMassInSystem(manipulator.active()));
}

// Distances.

struct Separation
{
   Link first, second;
   ZqLinkSeparation numbers;
};

Link linkOfKey(const std::shared_ptr<Scene>& scene, const ZqLinkKey& key)
{
   const Manipulator manipulator =
      manipulatorAt(scene, static_cast<py::ssize_t>(key.manipulatorIndex()));
   return key.linkIndex() == ZqBaseLinkIndex
             ? baseOf(manipulator)
             : linkAt(manipulator, static_cast<py::ssize_t>(key.linkIndex()));
}

ZqReal margin(ZqReal number)
{
   if (std::isnan(number))
      throw py::value_error("margin: expected a number");
   return number;
}

std::vector<Separation> closestPairs(const std::shared_ptr<Scene>& scene, ZqReal within, bool all)
{
   ZqProximityQuery query;
   std::vector<Separation> pairs;
   for (const ZqLinkSeparation& pair : query.closestPairs(
           scene->stated(), scene->active(), margin(within),
           all ? ZqProximityQuery::Pairs::All : ZqProximityQuery::Pairs::MayCollide))
      pairs.push_back({linkOfKey(scene, pair.link1), linkOfKey(scene, pair.link2), pair});
   return pairs;
}

bool collides(Scene& scene, ZqReal within)
{
   return !ZqProximityQuery().closestPairs(scene.stated(), scene.active(), margin(within)).empty();
}

std::tuple<ZqReal, Array, Array> distanceBetween(const Link& first, const Link& second)
{
   Scene& scene = *first.manipulator.scene;
   if (&scene != second.manipulator.scene.get())
      throw py::value_error("other: expected a link of the same scene");
   ZqManipulatorProximityTool tool;
   tool.setBoundingVolumeLevel(0);
   const ZqU32 one = first.manipulator.index();
   const ZqU32 other = second.manipulator.index();
   ZqReal distance = 0.0;
   ZqVector points[2];
   performNow("measure a distance",
              [&]
              {
                 return tool.linkToLinkDistanceAndWitnessPoints(
                    one, first.index(), other, second.index(), scene.stated().system(),
                    scene.active(one).activePositionState(),
                    scene.active(other).activePositionState(), distance, points[0], points[1]);
              });
   return {distance, arrayOf(points[0]), arrayOf(points[1])};
}

void bindSeparation(py::module_& module)
{
   py::class_<Separation>(module, "Separation", "How near two links are.")
      .def_readonly("first", &Separation::first)
      .def_readonly("second", &Separation::second)
      .def_property_readonly(
         "distance", [](const Separation& self) { return self.numbers.distance; },
         "In m; of links that overlap, minus the least translation that parts them.")
      .def_property_readonly(
         "points",
         [](const Separation& self)
         { return std::pair(arrayOf(self.numbers.point1), arrayOf(self.numbers.point2)); },
         "The point of each that is nearest to the other, or deepest in it, in the system.")
      .def_property_readonly(
         "normal", [](const Separation& self) { return arrayOf(self.numbers.normal); },
         "From the first to the second, in the system: 3 numbers of length 1.")
      .def("__repr__",
           [](const Separation& self)
           {
              return "<Separation of '" + *self.first.label + "' and '" + *self.second.label +
                     "': " + py::repr(py::float_(self.numbers.distance)).cast<std::string>() +
                     " m>";
           });
}

void bindLinks(const py::module_& module)
{
   LinkClass link = linkClass(module);
   link
      .def_property_readonly(
         "frame",
         [](const Link& self)
         {
            return arrayOf(
               self.model().primaryFrameInSystem(self.manipulator.active().activePositionState()));
         },
         "The primary frame in the system, in which masses, shapes and points are told: 4 x 4.")
      .def_property_readonly(
         "dh_frame",
         [](const Link& self) {
            return arrayOf(
               self.model().dhFrameInSystem(self.manipulator.active().activePositionState()));
         },
         "The D-H frame in the system: 4 x 4.")
      .def_property_readonly(
         "velocity",
         [](const Link& self)
         { return arrayOf(self.model().primaryFrameVelocityInSystem(self.manipulator.active())); },
         "Velocity (m/s) of the origin of the primary frame and angular velocity (rad/s), in the "
         "axes of the system: 6 numbers.")
      .def(
         "acceleration",
         [](const Link& self, const Array& a, const std::optional<Array>& base)
         { return arrayOf(accelerationOf(self.model(), accelerated(self.manipulator, a, base))); },
         py::arg("a"), py::arg("base") = py::none(),
         "Acceleration (m/s^2) of the origin of the primary frame and angular acceleration "
         "(rad/s^2), "
         "in the axes of the system: 6 numbers.\n\n"
         "`a` has the accelerations of all n joints, `base` the 6 numbers of the base, which has "
         "none "
         "otherwise. Gravity plays no part.")
      .def(
         "jacobian",
         [](const Link& self, const std::optional<Array>& point, const std::string& axes)
         { return jacobianBy(&ZqMotionDerivativeTool::jacobian, self, point, axes); },
         py::arg("point") = py::none(), py::arg("axes") = "mixed",
         "The matrix (6 x N) from velocities to those of a point of the link, 3 numbers in its "
         "primary frame (m), linear before angular.\n\n"
         "N is `dof`: a free base has the first six columns, along its own axes. The answer is in "
         "the "
         "axes of the system ('mixed'), in those of the D-H frame ('local'), or of the point that "
         "passes the origin of the system ('system').")
      .def(
         "jacobian_rate",
         [](const Link& self, const std::optional<Array>& point, const std::string& axes)
         { return jacobianBy(&ZqMotionDerivativeTool::jacobianRate, self, point, axes); },
         py::arg("point") = py::none(), py::arg("axes") = "mixed",
         "The rate of `jacobian` (1/s): 6 x N.")
      .def("distance", &distanceBetween, py::arg("other"),
           "How far another link is (m), below zero for links that overlap, and the nearest or "
           "deepest "
           "point of each in the system (m). A link without a shape is an `Error`.");
}

void bindManipulators(const py::module_& module)
{
   ManipulatorClass manipulator = manipulatorClass(module);
   manipulator
      .def_property_readonly("frames", &framesOf,
                             "The primary frames of the links in the system: n x 4 x 4.")
      .def_property_readonly("dh_frames", &dhFramesOf,
                             "The D-H frames of the links in the system: n x 4 x 4.")
      .def_property_readonly("velocities", &velocitiesOfLinks, "`velocity` of each link: n x 6.")
      .def("accelerations", &accelerationsOfLinks, py::arg("a"), py::arg("base") = py::none(),
           "`acceleration` of each link: n x 6.")
      .def_property_readonly("mass", &massOf,
                             "Of the base and all links (kg), without what is attached.")
      .def_property_readonly(
         "center_of_mass",
         [](const Manipulator& self)
         { return arrayOf(self.model().getCenterOfMassInSystem(self.active())); },
         "Of the base and all links, in the system (m): 3 numbers.")
      .def_property_readonly(
         "center_of_mass_jacobian",
         [](const Manipulator& self)
         { return matrixBy(self, &ZqMotionDerivativeTool::centerOfMassJacobian); },
         "From velocities to that of the center of mass, in the axes of the system: 3 x N.")
      .def_property_readonly(
         "momentum", &momentumOf,
         "Linear momentum (kg m/s) and angular momentum about the center of mass "
         "(kg m^2/s), in the axes of the system: 6 numbers.")
      .def_property_readonly(
         "momentum_matrix",
         [](const Manipulator& self)
         { return matrixBy(self, &ZqMotionDerivativeTool::centroidalMomentumMatrix); },
         "From velocities to `momentum`: 6 x N.")
      .def_property_readonly(
         "kinetic_energy",
         [](const Manipulator& self)
         { return self.model().computeKineticEnergy(self.active(), nullptr); },
         "Of the bodies, without motors (J).")
      .def_property_readonly("potential_energy", &potentialEnergyOf,
                             "Of the bodies in gravity, zero at the origin of the system (J).");
}
} // namespace

void zqPython::bindKinematics(py::module_& module)
{
   bindSeparation(module);
   bindLinks(module);
   bindManipulators(module);
   sceneClass(module)
      .def(
         "closest_pairs", &closestPairs, py::arg("margin") = ZqProximityQuery::anyDistance,
         py::arg("all") = false,
         "The pairs of links with shapes that are no further apart than a margin (m), the nearest "
         "first: those that may collide, or `all`.")
      .def("collides", &collides, py::arg("margin") = 0.0,
           "Whether two links that may collide are within a margin (m) of each other.");
}
