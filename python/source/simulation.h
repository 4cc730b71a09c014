#pragma once

#include "python/source/scene.h"
#include "zqManipulator/foundation/log/ZqDiagnostic.h"
#include "zqManipulator/simulation/step/ZqInputTable.h"
#include "zqManipulator/simulation/step/ZqSimulation.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace zqPython
{
/// A simulation as Python holds it. Its numbers stand by manipulator and link: `joints` are all joints, one after
/// the other, and `bodies` the manipulators. Links are called "manipulator/link".
///
/// Whoever uses it holds a `Use`, which is waited for without the interpreter's lock: one thread at a time.
class Simulation
{
public:
   class Use
   {
   public:
      explicit Use(Simulation& simulation) : m_lock(simulation.m_mutex, std::defer_lock)
      {
         const py::gil_scoped_release release;
         m_lock.lock();
      }

   private:
      std::unique_lock<std::recursive_mutex> m_lock;
   };

   explicit Simulation(std::unique_ptr<ZqSimulation> simulation);

   ZqSimulation& operator*() { return *m_simulation; }
   ZqSimulation* operator->() { return m_simulation.get(); }

   const std::vector<std::string>& joints() const { return m_joints; }
   const std::vector<std::string>& bodies() const { return m_bodies; }
   /// By name or by a `Link` of the scene; otherwise a `KeyError`.
   ZqSimulation::Place placeOf(const py::handle& link) const;
   /// By label, index or `Manipulator`.
   ZqU32 manipulatorOf(const py::handle& manipulator) const;
   std::string nameOf(const ZqSimulation::Place& place) const;
   const ZqIndividualManipulator& manipulator(ZqU32 index) const
   {
      return m_simulation->system().manipulators()[index];
   }

   /// \name Numbers of the present, appended to a list
   /// @{
   using Numbers = std::vector<ZqReal>;
   void appendPositions(Numbers& numbers) const;
   void appendVelocities(Numbers& numbers) const;
   void appendAccelerations(Numbers& numbers);
   void appendMotorTorques(Numbers& numbers);
   /// 7 a body: the frame of its base in the system, x y z, w x y z.
   void appendBases(Numbers& numbers) const;
   /// 6 a body.
   void appendBaseVelocities(Numbers& numbers) const;
   void appendBaseAccelerations(Numbers& numbers);
   /// @}

   /// Set while `run` takes steps: what it calls cannot take some, too.
   bool isRunning = false;

private:
   std::unique_ptr<ZqSimulation> m_simulation;
   std::vector<std::string> m_joints;
   std::vector<std::string> m_bodies;
   std::map<std::string, ZqSimulation::Place> m_places;
   std::recursive_mutex m_mutex;
};

/// A contact of the present as a `Contact`; the same of all of them.
py::list contactsOf(Simulation& simulation);
/// What went wrong, for people; empty when nothing did.
std::string divergenceOf(Simulation& simulation);
/// Raises an `Error` of a step that could not be done.
[[noreturn]] void failStep(Simulation& simulation, std::vector<Zq::Diagnostic> diagnostics);

/// What drives a run over time.
struct InputTable
{
   ZqInputTable table;
};

using SimulationClass = py::class_<Simulation, std::shared_ptr<Simulation>>;
} // namespace zqPython
