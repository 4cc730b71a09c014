#include "python/source/arrays.h"
#include "python/source/documents.h"
#include "python/source/scene.h"

#include <cmath>

namespace
{
using namespace zqPython;

ZqReal finite(ZqReal number, const char* name)
{
   if (!std::isfinite(number))
      throw py::value_error(std::string(name) + ": expected a finite number");
   return number;
}

// Positions and velocities of a manipulator.

const std::vector<ZqReal>& positionsOf(const Manipulator& manipulator)
{
   return manipulator.position().jointPositions().values();
}

const std::vector<ZqReal>& velocitiesOf(const Manipulator& manipulator)
{
   return manipulator.velocity().jointVelocities().values();
}

Array listOfJoints(const std::vector<ZqReal>& numbers)
{
   return readOnly(numbers, {static_cast<py::ssize_t>(numbers.size())});
}

void setPositions(const Manipulator& manipulator, const Array& q)
{
   const ZqU32 index = manipulator.index();
   const std::span numbers = listOf(q, "q", positionsOf(manipulator).size());
   manipulator.scene->changeState(
      [&](ZqManipulatorSystemState& state)
      {
         state.positionStates()[index].jointPositions().values().assign(numbers.begin(),
                                                                        numbers.end());
      });
}

void setVelocities(const Manipulator& manipulator, const Array& v)
{
   const ZqU32 index = manipulator.index();
   const std::span numbers = listOf(v, "v", velocitiesOf(manipulator).size());
   manipulator.scene->changeState(
      [&](ZqManipulatorSystemState& state)
      {
         state.velocityStates()[index].jointVelocities().values().assign(numbers.begin(),
                                                                         numbers.end());
      });
}

Array baseFrameOf(const Manipulator& manipulator)
{
   return arrayOf(manipulator.model().coordSysXForm() * manipulator.position().coordSysXForm());
}

void requireFreeToPlace(const Manipulator& manipulator)
{
   ZqU32 carrier = 0;
   ZqString link;
   ZqCoordinateSystemTransformation offset;
   if (manipulator.scene->stated().configuration().attachmentMap().getDependentManipulatorInfo(
          manipulator.index(), carrier, link, offset))
      throw py::value_error("The manipulator '" + *manipulator.label +
                            "' is attached: its base goes where its carrier has it");
}

void setBaseFrame(const Manipulator& manipulator, const Array& array)
{
   const ZqCoordinateSystemTransformation frame = frameOf(array, "base_frame");
   const ZqU32 index = manipulator.index();
   requireFreeToPlace(manipulator);
   const ZqCoordinateSystemTransformation inPlace =
      manipulator.model().coordSysXForm().inverse() * frame;
   manipulator.scene->changeState([&](ZqManipulatorSystemState& state)
                                  { state.positionStates()[index].setCoordSysXForm(inPlace); });
}

void setBaseVelocity(const Manipulator& manipulator, const Array& array)
{
   const ZqGeneralMotion velocity = motionOf(array, "base_velocity");
   const ZqU32 index = manipulator.index();
   if (manipulator.model().isFixedBase() && !(velocity == ZqGeneralMotion()))
      throw py::value_error("The base of the manipulator '" + *manipulator.label + "' is fixed");
   manipulator.scene->changeState([&](ZqManipulatorSystemState& state)
                                  { state.velocityStates()[index].setGeneralVelocity(velocity); });
}

// Position and velocity of one joint.

ZqU32 jointOf(const Link& link)
{
   const ZqU32 index = link.index();
   if (index == ZqBaseLinkIndex)
      throw py::value_error("The base '" + *link.label + "' has no joint");
   return index;
}

void setPosition(const Link& link, ZqReal q)
{
   const ZqU32 joint = jointOf(link);
   const ZqU32 index = link.manipulator.index();
   finite(q, "q");
   link.manipulator.scene->changeState(
      [&](ZqManipulatorSystemState& state)
      { state.positionStates()[index].jointPositions()[joint] = q; });
}

void setVelocity(const Link& link, ZqReal v)
{
   const ZqU32 joint = jointOf(link);
   const ZqU32 index = link.manipulator.index();
   finite(v, "v");
   link.manipulator.scene->changeState(
      [&](ZqManipulatorSystemState& state)
      { state.velocityStates()[index].jointVelocities()[joint] = v; });
}

void setState(Scene& scene, const ZqManipulatorSystemState& state)
{
   if (!scene.stated().system().isCompatible(state))
      throw py::value_error("state: expected one of as many manipulators and joints");
   scene.changeState([&](ZqManipulatorSystemState& present) { present = state; });
}

Array gravityOf(const Scene& scene)
{
   const ZqVector up = scene.stated().environment().upGravityVector();
   const ZqVector down = ZqVector() - up;
   return readOnly(std::span(&down[0], 3), {3});
}

void setGravity(Scene& scene, const Array& gravity)
{
   ZqSystemEnvironment environment = scene.stated().environment();
   environment.setUpGravityVector(ZqVector() - vectorOf(gravity, "gravity"));
   scene.model().setEnvironment(environment);
}
} // namespace

void zqPython::bindState(py::module_& module)
{
   py::class_<ZqManipulatorSystemState>(
      module, "State",
      "Positions and velocities of all manipulators of a scene at a time, as a value.")
      .def_property_readonly("time", &ZqManipulatorSystemState::time, "In s.")
      .def("__len__",
           [](const ZqManipulatorSystemState& self) { return self.positionStates().size(); })
      .def(
         "__eq__",
         [](const ZqManipulatorSystemState& self, const ZqManipulatorSystemState& other)
         { return self == other; },
         py::is_operator())
      .def("__repr__",
           [](const ZqManipulatorSystemState& self)
           {
              return "<State of " + std::to_string(self.positionStates().size()) +
                     " manipulators at " + py::repr(py::float_(self.time())).cast<std::string>() +
                     " s>";
           })
      .def(documentPickle<ZqManipulatorSystemState>());

   sceneClass(module)
      .def_property(
         "time", [](const Scene& self) { return self.stated().state().time(); },
         [](Scene& self, ZqReal time)
         {
            finite(time, "time");
            self.changeState([&](ZqManipulatorSystemState& state) { state.setTime(time); });
         },
         "The time of the state (s).")
      .def_property(
         "state", [](const Scene& self) { return self.stated().state(); }, &setState,
         "A copy of the state, to be kept and to be set again.")
      .def_property("gravity", &gravityOf, &setGravity,
                    "The acceleration of what falls (m/s^2): 3 numbers, which point down.");

   manipulatorClass(module)
      .def_property(
         "q", [](const Manipulator& self) { return listOfJoints(positionsOf(self)); },
         &setPositions,
         "Positions of the joints (rad, or m): n numbers. What is answered is a copy that cannot "
         "be "
         "written: set the whole, or `q` of a link.")
      .def_property(
         "v", [](const Manipulator& self) { return listOfJoints(velocitiesOf(self)); },
         &setVelocities, "Velocities of the joints (rad/s, or m/s): n numbers, as `q`.")
      .def_property("base_frame", &baseFrameOf, &setBaseFrame,
                    "The D-H frame of the base in the system: 4 x 4.")
      .def_property(
         "base_velocity",
         [](const Manipulator& self) { return arrayOf(self.velocity().generalVelocity()); },
         &setBaseVelocity,
         "Velocity (m/s) and angular velocity (rad/s) of the base, in the axes of the system: 6 "
         "numbers.");

   linkClass(module)
      .def_property(
         "q",
         [](const Link& self)
         {
            const ZqU32 joint = jointOf(self);
            return positionsOf(self.manipulator)[joint];
         },
         &setPosition, "The position of the joint (rad, or m).")
      .def_property(
         "v",
         [](const Link& self)
         {
            const ZqU32 joint = jointOf(self);
            return velocitiesOf(self.manipulator)[joint];
         },
         &setVelocity, "The velocity of the joint (rad/s, or m/s).");
}
