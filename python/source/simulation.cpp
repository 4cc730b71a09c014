#include "python/source/simulation.h"

#include "python/source/arrays.h"
#include "python/source/failures.h"
#include "zqManipulator/foundation/proximity/ZqShapeCollisionData.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/simulation/step/ZqSimulationCheckpoint.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <optional>
#include <string_view>

namespace
{
using namespace zqPython;
using Place = ZqSimulation::Place;
using Settings = ZqSimulation::Settings;

constexpr std::array<std::pair<const char*, ZqSimulation::Solver>, 2> solvers{
   {{"crbi", ZqSimulation::Solver::Crbi}, {"arbi", ZqSimulation::Solver::Arbi}}};
constexpr std::array<std::pair<const char*, ZqSimulation::Integrator>, 3> integrators{
   {{"euler", ZqSimulation::Integrator::SemiImplicitEuler},
    {"midpoint", ZqSimulation::Integrator::ImplicitMidpoint},
    {"rk4", ZqSimulation::Integrator::RungeKutta}}};

template <class Table>
auto byName(const Table& table, const std::string& name, const char* argument)
{
   std::string known;
   for (const auto& [text, value] : table)
   {
      if (name == text)
         return value;
      known += (known.empty() ? "'" : ", '") + std::string(text) + "'";
   }
   throw py::value_error(std::string(argument) + ": expected one of " + known + ", but received '" +
                         name + "'");
}

template <class Table, class Value>
const char* nameIn(const Table& table, Value value)
{
   for (const auto& [text, known] : table)
      if (known == value)
         return text;
   return "";
}

std::shared_ptr<Simulation> make(const Scene& scene, const std::string& solver,
                                 const std::string& integrator, bool energy, bool contact,
                                 bool coupling, bool loops, bool interactions)
{
   Settings settings;
   settings.solver = byName(solvers, solver, "solver");
   settings.integrator = byName(integrators, integrator, "integrator");
   settings.booksEnergy = energy;
   settings.computesContact = contact;
   settings.couplesAttachments = coupling;
   settings.closesLoops = loops;
   settings.interacts = interactions;
   const ZqStatedSystem copy = scene.stated();
   std::unique_ptr<ZqSimulation> simulation;
   perform("begin a simulation",
           [&]
           {
              simulation = std::make_unique<ZqSimulation>(copy, settings);
              return !simulation->divergence();
           });
   return std::make_shared<Simulation>(std::move(simulation));
}

py::dict settingsOf(Simulation& self)
{
   const Settings& settings = self->settings();
   py::dict result;
   result["solver"] = nameIn(solvers, settings.solver);
   result["integrator"] = nameIn(integrators, settings.integrator);
   result["energy"] = settings.booksEnergy;
   result["contact"] = settings.computesContact;
   result["coupling"] = settings.couplesAttachments;
   result["loops"] = settings.closesLoops;
   result["interactions"] = settings.interacts;
   return result;
}

// Checkpoints

std::shared_ptr<Simulation> resumed(const std::string& doing,
                                    const std::function<bool(ZqSimulationCheckpoint&)>& read)
{
   std::unique_ptr<ZqSimulation> simulation;
   perform(doing,
           [&]
           {
              ZqSimulationCheckpoint checkpoint;
              if (read(checkpoint))
                 simulation = ZqSimulation::resume(checkpoint);
              return simulation != nullptr;
           });
   return std::make_shared<Simulation>(std::move(simulation));
}

std::shared_ptr<Simulation> fromXml(const std::string& document)
{
   return resumed("read a checkpoint", [&](ZqSimulationCheckpoint& checkpoint)
                  { return Zq::fromXml(checkpoint, document); });
}

std::shared_ptr<Simulation> resume(const std::string& path)
{
   return resumed("resume " + path,
                  [&](ZqSimulationCheckpoint& checkpoint) { return Zq::load(checkpoint, path); });
}

std::string toXml(Simulation& self)
{
   const Simulation::Use use(self);
   std::string document;
   perform("write a checkpoint", [&] { return Zq::toXml(self->checkpoint(), document); });
   return document;
}

void save(Simulation& self, const std::string& path)
{
   const Simulation::Use use(self);
   perform("save " + path, [&] { return Zq::save(self->checkpoint(), path); });
}

// Steps

void stepTo(Simulation& self, ZqReal time)
{
   const Simulation::Use use(self);
   if (self.isRunning)
      throw std::runtime_error("step: what a run calls cannot take steps itself");
   bool succeeds = false;
   std::vector<Zq::Diagnostic> diagnostics;
   {
      const py::gil_scoped_release release;
      const Zq::DiagnosticCollector collector;
      succeeds = self->stepTo(time);
      diagnostics = collector.diagnostics();
   }
   if (!succeeds)
      failStep(self, diagnostics);
   warn(diagnostics);
}

// Numbers

/// The answer of a function that appends numbers, by rows of a width; 0 for a list.
template <class Append>
Array listed(Simulation& self, Append append, py::ssize_t width)
{
   const Simulation::Use use(self);
   Simulation::Numbers numbers;
   told([&] { return (self.*append)(numbers), 0; });
   const auto count = static_cast<py::ssize_t>(numbers.size());
   return width > 0 ? readOnly(numbers, {count / width, width}) : readOnly(numbers, {count});
}

std::vector<ZqReal> finiteListOf(const Simulation& self, const Array& array, const char* name)
{
   const std::span numbers = listOf(array, name, self.joints().size());
   return {numbers.begin(), numbers.end()};
}

Array inputsOf(Simulation& self, ZqReal (ZqSimulation::*input)(const Place&) const)
{
   const Simulation::Use use(self);
   Simulation::Numbers numbers;
   for (ZqU32 i = 0; i < self.bodies().size(); ++i)
      for (ZqU32 k = 0; k < self.manipulator(i).jointDof(); ++k)
         numbers.push_back(((*self).*input)({i, k}));
   return readOnly(numbers, {static_cast<py::ssize_t>(numbers.size())});
}

py::dict energyOf(Simulation& self)
{
   const Simulation::Use use(self);
   const ZqSimulation::Energy energy = told([&] { return self->energy(); });
   py::dict result;
   result["kinetic"] = energy.kinetic;
   result["potential"] = energy.potential;
   result["total"] = energy.total();
   return result;
}

/// As the parts are called, by words of small letters.
std::string pythonName(std::string_view key)
{
   std::string name;
   for (const char c : key)
   {
      if (std::isupper(static_cast<unsigned char>(c)) != 0)
         name += '_';
      name += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
   }
   return name;
}

template <class Sum>
py::dict dictOf(const Sum& sum)
{
   py::dict result;
   for (const auto& part : Sum::parts)
      result[py::str(pythonName(part.key))] = sum.*part.value;
   return result;
}

py::dict energyBookOf(Simulation& self)
{
   const Simulation::Use use(self);
   if (!self->settings().booksEnergy)
      throw py::value_error("energy_book: the simulation was made without energy=True");
   const ZqEnergyBook book = told([&] { return self->energyBook(); });
   py::dict result;
   result["held"] = dictOf(book.held);
   result["held_at_start"] = dictOf(book.heldAtStart);
   result["work"] = dictOf(book.work);
   result["lost"] = dictOf(book.lost);
   result["remainder"] = book.remainder();
   return result;
}

// What has happened

py::object namedTuple(py::module_& module, const char* name, const char* fields,
                      const char* documentation)
{
   py::object type = py::module_::import("collections")
                        .attr("namedtuple")(name, fields, py::arg("module") = "zqmanipulator");
   type.attr("__doc__") = documentation;
   module.attr(name) = type;
   return type;
}

/// Each is a class of the module, which lives as long as the interpreter.
PyObject* contactClass = nullptr;

py::object depthOf(const Simulation& self,
                   const std::optional<ZqSimulation::DeepestContact>& deepest)
{
   if (!deepest)
      return py::none();
   py::dict result;
   result["first"] = self.nameOf(deepest->first);
   result["second"] = self.nameOf(deepest->second);
   result["depth"] = deepest->depth;
   result["time"] = deepest->time;
   return result;
}

py::object divergenceDict(Simulation& self)
{
   const Simulation::Use use(self);
   const auto& divergence = self->divergence();
   if (!divergence)
      return py::none();
   py::dict result;
   result["link"] = self.nameOf(divergence->place);
   result["time"] = divergence->time;
   result["quantity"] = divergence->quantity;
   result["deepest_contact"] = depthOf(self, divergence->deepestContact);
   result["contact_step_limit"] = divergence->contactStepLimit;
   return result;
}

py::dict limitHitsOf(Simulation& self)
{
   const Simulation::Use use(self);
   py::dict result;
   for (const ZqSimulation::LimitHit& hit : self->limitHits())
      result[py::str(self.nameOf(hit.place))] = hit.time;
   return result;
}

py::list firedCriteriaOf(Simulation& self)
{
   const Simulation::Use use(self);
   py::list result;
   for (const ZqSimulation::FiredCriterion& fired : self->firedCriteria())
      result.append(
         py::make_tuple(self.bodies()[fired.manipulator], fired.description, fired.time));
   return result;
}

py::object greatestGapOf(Simulation& self)
{
   const Simulation::Use use(self);
   const auto& gap = self->greatestGap();
   if (!gap)
      return py::none();
   py::dict result;
   result["manipulator"] = self.bodies()[gap->manipulator];
   result["constraint"] =
      gap->constraint == ZqNoLinkIndex ? py::object(py::none()) : py::cast(gap->constraint);
   result["size"] = gap->size;
   result["time"] = gap->time;
   return result;
}

Array frame(Simulation& self, const py::object& link)
{
   const Simulation::Use use(self);
   const Place place = self.placeOf(link);
   ZqManipulatorActiveState& state =
      self->present().manipulatorActiveStateVector()[place.manipulator];
   return arrayOf(self->linkAt(place)->primaryFrameInSystem(state.activePositionState()));
}

Array constraintForces(Simulation& self, const py::object& manipulator)
{
   const Simulation::Use use(self);
   const ZqReArray& forces = self->constraintForces(self.manipulatorOf(manipulator));
   return copyOf({forces.data(), forces.rows()}, {forces.rows()});
}

void attach(Simulation& self, const py::object& manipulator, const py::object& carrier,
            const std::optional<Array>& offset, const std::string& name)
{
   const Simulation::Use use(self);
   const ZqU32 index = self.manipulatorOf(manipulator);
   const Place place = self.placeOf(carrier);
   std::optional<ZqCoordinateSystemTransformation> frame;
   if (offset)
      frame = frameOf(*offset, "frame");
   perform("attach", [&] { return self->attach(index, place, frame, name); });
}

void detach(Simulation& self, const py::object& manipulator)
{
   const Simulation::Use use(self);
   const ZqU32 index = self.manipulatorOf(manipulator);
   perform("detach", [&] { return self->detach(index); });
}

std::string pathOf(const py::object& path)
{
   return py::module_::import("os").attr("fspath")(path).cast<std::string>();
}
} // namespace

zqPython::Simulation::Simulation(std::unique_ptr<ZqSimulation> simulation)
   : m_simulation(std::move(simulation))
{
   for (ZqU32 i = 0; i < m_simulation->system().manipulators().size(); ++i)
   {
      const ZqIndividualManipulator& body = manipulator(i);
      m_bodies.push_back(body.manipulatorLabel());
      m_places.emplace(nameOf({i, ZqBaseLinkIndex}), Place{i, ZqBaseLinkIndex});
      for (ZqU32 k = 0; k < body.jointDof(); ++k)
      {
         m_joints.push_back(nameOf({i, k}));
         m_places.emplace(m_joints.back(), Place{i, k});
      }
   }
}

std::string zqPython::Simulation::nameOf(const Place& place) const
{
   return manipulator(place.manipulator).manipulatorLabel() + '/' +
          m_simulation->linkAt(place)->linkLabel();
}

Place zqPython::Simulation::placeOf(const py::handle& link) const
{
   const std::string name =
      py::isinstance<Link>(link)
         ? *link.cast<const Link&>().manipulator.label + '/' + *link.cast<const Link&>().label
         : link.cast<std::string>();
   if (const auto found = m_places.find(name); found != m_places.end())
      return found->second;
   throw py::key_error("There is no link '" + name + "': they are called 'manipulator/link'");
}

ZqU32 zqPython::Simulation::manipulatorOf(const py::handle& manipulator) const
{
   if (py::isinstance<py::int_>(manipulator))
   {
      const auto index = manipulator.cast<py::ssize_t>();
      const auto count = static_cast<py::ssize_t>(m_bodies.size());
      if (index < -count || index >= count)
         throw py::index_error("There are " + std::to_string(count) + " manipulators");
      return static_cast<ZqU32>(index < 0 ? index + count : index);
   }
   const std::string label = py::isinstance<Manipulator>(manipulator)
                                ? *manipulator.cast<const Manipulator&>().label
                                : manipulator.cast<std::string>();
   const auto found = std::ranges::find(m_bodies, label);
   if (found == m_bodies.end())
      throw py::key_error("There is no manipulator '" + label + "'");
   return static_cast<ZqU32>(found - m_bodies.begin());
}

void zqPython::Simulation::appendPositions(Numbers& numbers) const
{
   for (const ZqPositionState& state : m_simulation->state().positionStates().vectorContainer())
      numbers.insert(numbers.end(), state.jointPositions().begin(), state.jointPositions().end());
}

void zqPython::Simulation::appendVelocities(Numbers& numbers) const
{
   for (const ZqVelocityState& state : m_simulation->state().velocityStates().vectorContainer())
      numbers.insert(numbers.end(), state.jointVelocities().begin(), state.jointVelocities().end());
}

void zqPython::Simulation::appendAccelerations(Numbers& numbers)
{
   for (const auto& active : m_simulation->present().manipulatorActiveStateVector())
   {
      const auto& joints = active.accelerationState().jointAccelerations();
      numbers.insert(numbers.end(), joints.begin(), joints.end());
   }
}

void zqPython::Simulation::appendMotorTorques(Numbers& numbers)
{
   for (ZqU32 i = 0; i < m_bodies.size(); ++i)
   {
      const auto& torques = m_simulation->motorTorques(i).jointTorques();
      numbers.insert(numbers.end(), torques.begin(), torques.end());
   }
}

void zqPython::Simulation::appendBases(Numbers& numbers) const
{
   for (ZqU32 i = 0; i < m_bodies.size(); ++i)
   {
      const auto frame =
         manipulator(i).coordSysXForm() * m_simulation->state().positionStates()[i].coordSysXForm();
      const ZqVector& p = frame.translation();
      const ZqOrientation& q = frame.orientation();
      numbers.insert(numbers.end(), {p.x(), p.y(), p.z(), q.w(), q.x(), q.y(), q.z()});
   }
}

namespace
{
void append(const ZqGeneralMotion& motion, Simulation::Numbers& numbers)
{
   for (const ZqVector& v : {motion.linear(), motion.angular()})
      numbers.insert(numbers.end(), {v.x(), v.y(), v.z()});
}
} // namespace

void zqPython::Simulation::appendBaseVelocities(Numbers& numbers) const
{
   for (const ZqVelocityState& state : m_simulation->state().velocityStates().vectorContainer())
      append(state.generalVelocity(), numbers);
}

void zqPython::Simulation::appendBaseAccelerations(Numbers& numbers)
{
   for (const auto& active : m_simulation->present().manipulatorActiveStateVector())
      append(active.accelerationState().generalAcceleration(), numbers);
}

std::string zqPython::divergenceOf(Simulation& simulation)
{
   const auto& divergence = simulation->divergence();
   if (!divergence)
      return "";
   const auto& deepest = divergence->deepestContact;
   const std::string start = "diverged at " + std::to_string(divergence->time) + " s: ";
   if (divergence->quantity == std::string_view("contact") && deepest)
      return start + "the step is far too long for the contact of " +
             simulation.nameOf(deepest->first) + " and " + simulation.nameOf(deepest->second) +
             ", which is stable with steps of up to " +
             std::to_string(divergence->contactStepLimit) + " s";
   return start + "the " + divergence->quantity + " of " + simulation.nameOf(divergence->place) +
          " is not finite";
}

void zqPython::failStep(Simulation& simulation, std::vector<Zq::Diagnostic> diagnostics)
{
   if (const std::string text = divergenceOf(simulation); !text.empty())
      diagnostics.push_back({Zq::Severity::Error, "diverged", "", 0, "", text});
   fail("take a step", diagnostics);
}

py::list zqPython::contactsOf(Simulation& simulation)
{
   constexpr std::array modes{"frictionless", "sticks", "slips"};
   py::list result;
   for (const ZqSimulation::Contact& contact : simulation->contacts())
   {
      const ZqShapeCollisionData& record = *contact.record;
      ZqManipulatorActiveState& state =
         simulation->present().manipulatorActiveStateVector()[contact.first.manipulator];
      const auto frame =
         simulation->linkAt(contact.first)->primaryFrameInSystem(state.activePositionState());
      const ZqContactResponse& response = record.response();
      result.append(py::reinterpret_borrow<py::object>(contactClass)(
         simulation.nameOf(contact.first), simulation.nameOf(contact.second),
         py::make_tuple(contact.shape1, contact.shape2), contact.points,
         arrayOf(frame * record.contactPointRel1()), arrayOf(record.collisionNormal()),
         contact.depth, contact.normalForce, contact.frictionForce,
         arrayOf(-(response.normalForce + response.frictionForce)),
         modes[static_cast<std::size_t>(contact.mode)]));
   }
   return result;
}

void zqPython::bindSimulation(py::module_& module)
{
   contactClass =
      namedTuple(
         module, "Contact",
         "first second shapes points point normal depth normal_force friction_force force mode",
         "Two shapes that touch: the links, 'manipulator/link'; the numbers of their shapes; how "
         "many points "
         "overlap; their middle, and the unit normal from the first to the second, in the system; "
         "the depth "
         "(m); the sizes of the forces (N); the force on the second (N, in the system); and "
         "whether the "
         "contact is 'frictionless', 'sticks' or 'slips'.")
         .release()
         .ptr();

   SimulationClass simulation(
      module, "Simulation",
      "The state of a scene on its way through time: one call, one step.\n\n"
      "It begins at the state of the scene, which it copies. Arrays of joints (rad or m) have "
      "those of all "
      "manipulators one after the other, as `joints` names them; arrays of bases have a row for "
      "each manipulator. "
      "Links are told by 'manipulator/link', or as a `Link` of the scene. What drives it, "
      "commands, torques and "
      "forces, is set between steps and holds until it is set anew.\n\n"
      "solver: 'crbi', which heeds constraints, or 'arbi', for long chains. integrator: 'euler' "
      "(semi-implicit), "
      "'midpoint' (implicit) or 'rk4'. energy: whether `energy_book` is kept. contact, "
      "interactions: whether links "
      "touch, and whether anything acts between them. coupling: whether what is attached acts "
      "back. loops: whether "
      "loops of constraints are held closed.\n\n"
      "Steps release the interpreter's lock. A simulation serves one thread at a time; others "
      "wait.");
   simulation
      .def(py::init(&make), py::arg("scene"), py::kw_only(), py::arg("solver") = "crbi",
           py::arg("integrator") = "euler", py::arg("energy") = false, py::arg("contact") = true,
           py::arg("coupling") = true, py::arg("loops") = true, py::arg("interactions") = true)
      .def_property_readonly("settings", &settingsOf, "As the arguments.")
      .def_property_readonly("joints", &Simulation::joints,
                             "The names of all joints, 'manipulator/link'.")
      .def_property_readonly("bodies", &Simulation::bodies, "The labels of the manipulators.")
      .def_property_readonly(
         "scene",
         [](Simulation& self)
         {
            const Simulation::Use use(self);
            return std::make_shared<Scene>(self->scene());
         },
         "A new scene, with the state as it is now.");

   simulation
      .def(
         "step",
         [](Simulation& self, ZqReal dt)
         {
            const Simulation::Use use(self);
            stepTo(self, self->state().time() + dt);
         },
         py::arg("dt"),
         "Steps by a length of time (s). What diverges raises an `Error`, and the state stays.")
      .def("step_to", &stepTo, py::arg("time"), "Steps to a later time (s), likewise.")
      .def_property_readonly(
         "time",
         [](Simulation& self)
         {
            const Simulation::Use use(self);
            return self->state().time();
         },
         "In s.")
      .def_property_readonly(
         "steps",
         [](Simulation& self)
         {
            const Simulation::Use use(self);
            return self->steps();
         },
         "That were done.")
      .def_property_readonly(
         "substituted_steps",
         [](Simulation& self)
         {
            const Simulation::Use use(self);
            return self->substitutedSteps();
         },
         "Those that the integrator has left to 'euler'.");

   const auto list =
      [&](const char* name, auto append, py::ssize_t width, const char* documentation)
   {
      simulation.def_property_readonly(
         name, [=](Simulation& self) { return listed(self, append, width); }, documentation);
   };
   list("q", &Simulation::appendPositions, 0, "Positions of joints (rad or m).");
   list("v", &Simulation::appendVelocities, 0, "Velocities of joints (rad/s or m/s).");
   list("a", &Simulation::appendAccelerations, 0,
        "Accelerations of joints (rad/s^2 or m/s^2), which takes an evaluation of the present. A "
        "joint that rests "
        "in a limit accelerates here as if it were free.");
   list("motor_torques", &Simulation::appendMotorTorques, 0,
        "Torques at the motors (N m or N): of power converters and given ones.");
   list("base", &Simulation::appendBases, 7,
        "The frame of each base in the system (x y z, w x y z).");
   list("base_velocity", &Simulation::appendBaseVelocities, 6,
        "Of the origin of each base, linear before angular, in the axes of the system.");
   list("base_acceleration", &Simulation::appendBaseAccelerations, 6, "Likewise.");

   simulation
      .def_property(
         "torques", [](Simulation& self) { return inputsOf(self, &ZqSimulation::torque); },
         [](Simulation& self, const Array& torques)
         {
            const Simulation::Use use(self);
            const auto values = finiteListOf(self, torques, "torques");
            told([&] { return self->setTorques(values); });
         },
         "What acts at the motors beside the power converters (N m or N): before the gears.")
      .def_property(
         "commands", [](Simulation& self) { return inputsOf(self, &ZqSimulation::command); },
         [](Simulation& self, const Array& commands)
         {
            const Simulation::Use use(self);
            const auto values = finiteListOf(self, commands, "commands");
            told([&] { return self->setCommands(values); });
         },
         "To the power converters: a voltage, a valve opening, a torque.")
      .def(
         "set_torque",
         [](Simulation& self, const py::object& joint, ZqReal torque)
         {
            const Simulation::Use use(self);
            const Place place = self.placeOf(joint);
            perform("set a torque", [&] { return self->setTorque(place, torque); });
         },
         py::arg("joint"), py::arg("torque"), "As `torques`, of one joint.")
      .def(
         "set_command",
         [](Simulation& self, const py::object& joint, ZqReal command)
         {
            const Simulation::Use use(self);
            const Place place = self.placeOf(joint);
            perform("set a command", [&] { return self->setCommand(place, command); });
         },
         py::arg("joint"), py::arg("command"), "As `commands`, of one joint.")
      .def(
         "set_force",
         [](Simulation& self, const py::object& link, const Array& force)
         {
            const Simulation::Use use(self);
            const Place place = self.placeOf(link);
            const ZqGeneralForce six = forceOf(force, "force");
            perform("set a force", [&] { return self->setExternalForce(place, six); });
         },
         py::arg("link"), py::arg("force"),
         "The external force on a link or base: six numbers (N, N m), in its D-H frame.")
      .def(
         "force",
         [](Simulation& self, const py::object& link)
         {
            const Simulation::Use use(self);
            return arrayOf(self->externalForce(self.placeOf(link)));
         },
         py::arg("link"), "The external force that was set.")
      .def("attach", &attach, py::arg("manipulator"), py::arg("link"),
           py::arg("frame") = py::none(), py::arg("name") = "",
           "Hangs a manipulator, with all that hangs on it, on a link of another one: as it "
           "stands, or with an "
           "in the primary frame of the link.")
      .def("detach", &detach, py::arg("manipulator"),
           "Releases a manipulator, which goes on as it moves.");

   simulation
      .def("frame", &frame, py::arg("link"), "The primary frame of a link in the system (4 x 4).")
      .def(
         "contacts",
         [](Simulation& self)
         {
            const Simulation::Use use(self);
            return contactsOf(self);
         },
         "What touches and may move, as `Contact`s.")
      .def_property_readonly(
         "contact_step_limit",
         [](Simulation& self)
         {
            const Simulation::Use use(self);
            return told([&] { return self->contactStepLimit(); });
         },
         "The longest step (s) for which the contacts of the present are stable; infinite without "
         "any.")
      .def("constraint_forces", &constraintForces, py::arg("manipulator") = 0,
           "One number for each row of the constraints of a manipulator.")
      .def_property_readonly("energy", &energyOf, "kinetic, potential (in gravity) and total (J).")
      .def_property_readonly(
         "energy_book", &energyBookOf,
         "Where the energy is, where it came from and went (J): held, held_at_start, work, "
         "lost, each by its parts, and the remainder, which is the integrator's.")
      .def_property_readonly("limit_hits", &limitHitsOf,
                             "The joints that were at a limit, each with the first time (s).")
      .def_property_readonly("fired_criteria", &firedCriteriaOf,
                             "Stopping criteria that were met: manipulator, description, time (s).")
      .def_property_readonly("divergence", &divergenceDict,
                             "What was not finite, and when; or None.")
      .def_property_readonly("greatest_gap", &greatestGapOf,
                             "The greatest gap of a loop so far, or None.")
      .def_property_readonly(
         "greatest_depth",
         [](Simulation& self)
         {
            const Simulation::Use use(self);
            return depthOf(self, self->greatestDepth());
         },
         "The deepest contact so far, or None.")
      .def_property_readonly(
         "slips",
         [](Simulation& self)
         {
            const Simulation::Use use(self);
            return self->slips();
         },
         "How often a contact that stuck began to slip.");

   simulation
      .def(
         "save", [](Simulation& self, const py::object& path) { save(self, pathOf(path)); },
         py::arg("path"), "Writes a checkpoint: all that the next step depends on.")
      .def_static(
         "resume", [](const py::object& path) { return resume(pathOf(path)); }, py::arg("path"),
         "A simulation that goes on from a checkpoint, to the same bits as if it had never ended.")
      .def("to_xml", &toXml, "The text of a checkpoint.")
      .def_static("from_xml", &fromXml, py::arg("document"),
                  "Goes on from the text of a checkpoint.")
      .def(py::pickle(&toXml, &fromXml))
      .def("__copy__", [](Simulation& self) { return fromXml(toXml(self)); })
      .def(
         "__deepcopy__", [](Simulation& self, const py::dict&) { return fromXml(toXml(self)); },
         py::arg("memo"))
      .def("__repr__",
           [](Simulation& self)
           {
              const Simulation::Use use(self);
              return "<Simulation of " + std::to_string(self.bodies().size()) +
                     " manipulators with " + std::to_string(self.joints().size()) + " joints at " +
                     std::to_string(self->state().time()) + " s>";
           });
}
