#include "apps/zqsim/columns.h"

#include "apps/zqsim/commands.h"
#include "zqManipulator/simulation/step/ZqInputTable.h"

#include <algorithm>
#include <array>
#include <sstream>

namespace
{
using namespace zqsim;
using Energy = ZqSimulation::Energy;

/// Adds the traces of one manipulator.
class Adder
{
public:
   Adder(const ZqSimulation& simulation, ZqU32 index, bool isCarried, std::vector<Trace>& traces)
      : m_simulation(simulation), m_index(index), m_isCarried(isCarried), m_traces(traces)
   {
   }

   const ZqSimulation& simulation() const { return m_simulation; }
   ZqU32 index() const { return m_index; }
   bool isBaseMoving() const { return m_isCarried || !manipulator().isFixedBase(); }
   const ZqIndividualManipulator& manipulator() const
   {
      return m_simulation.system().manipulators()[m_index];
   }
   const ZqManipulatorLink& base() const { return manipulator().concreteReference(); }
   std::string nameOf(const ZqManipulatorLink& link) const
   {
      return manipulator().manipulatorLabel() + '/' + link.linkLabel();
   }
   void add(const std::string& name, const std::string& panel, const char* quantity,
            const std::string& label, Trace::Value value)
   {
      m_traces.push_back({name, manipulator().manipulatorLabel() + ": " + panel, quantity, label,
                          std::move(value)});
   }
   /// What each joint has one of. Angles and lengths stand in panels of their own.
   void addOfJoints(const std::string& name, const std::array<const char*, 2>& panels,
                    const std::array<const char*, 2>& quantities,
                    const std::function<ZqReal(ZqSimulation&, ZqU32 joint)>& value)
   {
      for (const ZqManipulatorLink* link : manipulator().linkPointerVector())
      {
         const std::size_t kind = link->linkKinematicsContainer().unitType() == 0 ? 1 : 0;
         add(nameOf(*link) + ' ' + name, panels[kind], quantities[kind], link->linkLabel(),
             [value, joint = link->linkIndex()](ZqSimulation& simulation, const Energy&)
             { return value(simulation, joint); });
      }
   }
   /// The numbers of a vector or a quaternion of a link, by their names.
   template <class Numbers>
   void addNumbers(const ZqManipulatorLink& link, const std::string& name, const char* quantity,
                   const char* components, Numbers numbers)
   {
      for (std::size_t k = 0; components[k] != '\0'; ++k)
         add(nameOf(link) + ' ' + name + ' ' + components[k], link.linkLabel() + ' ' + name,
             quantity, std::string(1, components[k]),
             [numbers, k](ZqSimulation& simulation, const Energy&)
             { return numbers(simulation)[k]; });
   }

private:
   const ZqSimulation& m_simulation;
   ZqU32 m_index;
   bool m_isCarried; ///< at some time
   std::vector<Trace>& m_traces;
};

std::array<ZqReal, 3> numbersOf(const ZqVector& v)
{
   return {v.x(), v.y(), v.z()};
}

std::array<ZqReal, 4> numbersOf(const ZqOrientation& q)
{
   return {q.w(), q.x(), q.y(), q.z()};
}

ZqManipulatorActiveState& presentOf(ZqSimulation& simulation, ZqU32 manipulator)
{
   return simulation.present().manipulatorActiveStateVector()[manipulator];
}

/// Position and orientation of a frame of a link in the system.
void addFrame(Adder& adder, const ZqManipulatorLink& link, const std::string& prefix,
              const std::function<ZqCoordinateSystemTransformation(ZqSimulation&)>& frame)
{
   adder.addNumbers(link, prefix + "position", "position (m)", "xyz",
                    [frame](ZqSimulation& simulation)
                    { return numbersOf(frame(simulation).translation()); });
   adder.addNumbers(link, prefix + "orientation", "quaternion", "wxyz",
                    [frame](ZqSimulation& simulation)
                    { return numbersOf(frame(simulation).orientation()); });
}

void addPositions(Adder& adder)
{
   adder.addOfJoints("position", {"joint angles", "joint displacements"},
                     {"angle (rad)", "displacement (m)"},
                     [i = adder.index()](ZqSimulation& simulation, ZqU32 joint)
                     { return simulation.state().positionStates()[i].jointPositions()[joint]; });
}

void addVelocities(Adder& adder)
{
   adder.addOfJoints("velocity", {"joint rates", "joint velocities"},
                     {"rate (rad/s)", "velocity (m/s)"},
                     [i = adder.index()](ZqSimulation& simulation, ZqU32 joint)
                     { return simulation.state().velocityStates()[i].jointVelocities()[joint]; });
}

/// Of a base that is free, or carried at some time.
void addBase(Adder& adder)
{
   const ZqU32 i = adder.index();
   if (!adder.isBaseMoving())
      return;
   addFrame(adder, adder.base(), "",
            [i](ZqSimulation& simulation)
            {
               return simulation.system().manipulators()[i].coordSysXForm() *
                      simulation.state().positionStates()[i].coordSysXForm();
            });
   adder.addNumbers(
      adder.base(), "linear velocity", "velocity (m/s)", "xyz",
      [i](ZqSimulation& simulation)
      { return numbersOf(simulation.state().velocityStates()[i].generalVelocity().linear()); });
   adder.addNumbers(
      adder.base(), "angular velocity", "rate (rad/s)", "xyz",
      [i](ZqSimulation& simulation)
      { return numbersOf(simulation.state().velocityStates()[i].generalVelocity().angular()); });
}

void addPoses(Adder& adder)
{
   const auto add = [&](const ZqManipulatorLink& link)
   {
      addFrame(
         adder, link, "frame ",
         [i = adder.index(), &link](ZqSimulation& simulation) -> ZqCoordinateSystemTransformation
         { return link.primaryFrameInSystem(presentOf(simulation, i).activePositionState()); });
   };
   add(adder.base());
   for (const ZqManipulatorLink* link : adder.manipulator().linkPointerVector())
      add(*link);
}

void addTorques(Adder& adder)
{
   const ZqU32 i = adder.index();
   adder.addOfJoints("joint torque", {"torques of drives at joints", "forces of drives at joints"},
                     {"torque (N m)", "force (N)"},
                     [i](ZqSimulation& simulation, ZqU32 joint)
                     { return presentOf(simulation, i).actuatorState().outputTorques()[joint]; });
   adder.addOfJoints("motor torque", {"torques at motors", "forces at motors"},
                     {"torque (N m)", "force (N)"},
                     [i](ZqSimulation& simulation, ZqU32 joint)
                     { return simulation.motorTorques(i).jointTorques()[joint]; });
}

void addMotors(Adder& adder)
{
   const ZqU32 i = adder.index();
   adder.addOfJoints("motor position", {"motors of angles", "motors of displacements"},
                     {"position (rad)", "position (m)"},
                     [i](ZqSimulation& simulation, ZqU32 joint)
                     { return presentOf(simulation, i).actuatorState().motorPositions()[joint]; });
   adder.addOfJoints("motor velocity",
                     {"velocities of motors of angles", "velocities of motors of displacements"},
                     {"rate (rad/s)", "velocity (m/s)"},
                     [i](ZqSimulation& simulation, ZqU32 joint)
                     { return presentOf(simulation, i).actuatorState().motorVelocities()[joint]; });
   for (const ZqManipulatorLink* link : adder.manipulator().linkPointerVector())
   {
      const ZqBasePowerConverter* converter =
         link->jointActuator().powerConverterContainer().topElement();
      const ZqU32 states = converter != nullptr ? converter->numStateVariables() : 0;
      for (ZqU32 k = 0; k < states; ++k)
      {
         const std::string name = "converter state " + std::to_string(k + 1);
         adder.add(
            adder.nameOf(*link) + ' ' + name, "power converters", "state",
            link->linkLabel() + ' ' + name,
            [i, joint = link->linkIndex(), k](ZqSimulation& simulation, const Energy&)
            { return presentOf(simulation, i).actuatorState().powerConverterStates()[joint][k]; });
      }
   }
}

void addConstraints(Adder& adder)
{
   const ZqStateEqualityConstraintVector& constraints =
      adder.manipulator().stateEqualityConstraints();
   ZqU32 rowOfConstraint = 0;
   for (ZqU32 row = 0; row < constraints.doc(); ++row)
   {
      const ZqU32 constraint = constraints.constraintOfRow(row);
      rowOfConstraint =
         row > 0 && constraints.constraintOfRow(row - 1) == constraint ? rowOfConstraint + 1 : 1;
      const std::string name =
         "constraint " + std::to_string(constraint) + " force " + std::to_string(rowOfConstraint);
      adder.add(adder.manipulator().manipulatorLabel() + '/' + name, "forces of constraints",
                "force (N)", name,
                [i = adder.index(), row](ZqSimulation& simulation, const Energy&)
                {
                   const ZqReArray& forces = simulation.constraintForces(i);
                   return row < forces.rows() ? forces[row][0] : 0.0;
                });
   }
}

void addInputs(Adder& adder)
{
   for (const ZqInputTable::Input& input : ZqInputTable::inputsOf(adder.simulation().system()))
      if (input.place.manipulator == adder.index())
         adder.add(input.name, "inputs", "SI units", input.name,
                   [input](ZqSimulation& simulation, const Energy&)
                   { return ZqInputTable::valueOf(input, simulation); });
}

void addEnergy(std::vector<Trace>& traces)
{
   const auto add = [&](const std::string& name, const Trace::Value& value) {
      traces.push_back({name + " energy", "energy", "energy (J)", name, value});
   };
   add("kinetic", [](ZqSimulation&, const Energy& energy) { return energy.kinetic; });
   add("potential", [](ZqSimulation&, const Energy& energy) { return energy.potential; });
   add("total", [](ZqSimulation&, const Energy& energy) { return energy.total(); });
}

struct Group
{
   const char* name;
   void (*addOfManipulator)(Adder&); ///< null for what is of the whole system
};
constexpr std::array<Group, 9> allGroups{{{"positions", addPositions},
                                          {"velocities", addVelocities},
                                          {"base", addBase},
                                          {"poses", addPoses},
                                          {"torques", addTorques},
                                          {"motors", addMotors},
                                          {"constraints", addConstraints},
                                          {"inputs", addInputs},
                                          {"energy", nullptr}}};
} // namespace

std::string zqsim::groupNames()
{
   std::string result;
   for (const Group& group : allGroups)
      result += (result.empty() ? "" : ", ") + std::string(group.name);
   return result;
}

std::vector<std::string> zqsim::parseGroups(std::string_view option, const std::string& text)
{
   std::vector<std::string> names;
   std::string name;
   for (std::istringstream list(text); std::getline(list, name, ',');)
   {
      if (std::none_of(allGroups.begin(), allGroups.end(),
                       [&](const Group& group) { return name == group.name; }))
         throw Failure(Usage,
                       std::string(option) + ": \"" + name + "\" is none of " + groupNames());
      names.push_back(name);
   }
   if (names.empty())
      throw Failure(Usage, std::string(option) + ": there is none of " + groupNames());
   return names;
}

std::vector<Trace> zqsim::makeTraces(const ZqSimulation& simulation,
                                     const std::vector<std::string>& groups,
                                     const std::set<ZqU32>& carried)
{
   const auto isChosen = [&](const Group& group)
   { return std::find(groups.begin(), groups.end(), group.name) != groups.end(); };
   std::vector<Trace> traces;
   for (ZqU32 i = 0; i < simulation.system().numberOfManipulators(); ++i)
   {
      Adder adder(simulation, i, carried.contains(i), traces);
      for (const Group& group : allGroups)
         if (group.addOfManipulator != nullptr && isChosen(group))
            group.addOfManipulator(adder);
   }
   if (isChosen(allGroups.back()))
      addEnergy(traces);
   return traces;
}
