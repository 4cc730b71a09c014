#pragma once

#include "zqManipulator/kinematics/ZqStatedSystem.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <optional>
#include <vector>

/// The state of a scene on its way through time: one call, one step.
///
/// In a step, for each manipulator,
/// - the state goes into the active state, with gravity as the acceleration of the base and all joint
///   accelerations zero,
/// - motors of rigid joints follow their joints by the gear ratio,
/// - the states of the power converters advance by their derivatives at the present motor position and
///   velocity, linearly implicit: a circuit faster than the step does not diverge,
/// - the motor torques are what the power converters put out and the torques that are given,
/// - the solver answers the accelerations, and
/// - where the step would take a joint beyond a limit, the joint is brought to rest in it, and the
///   others accelerate as they do beside a joint at rest (an inelastic stop);
///
/// then the motors of flexible joints advance, and `ZqStatedSystem::propagateTo` moves everything.
/// Manipulators that are attached to others ride on them, and load them with the masses of their bases;
/// the motion of their links does not act back, and they do not feel the acceleration of their carrier.
///
/// A step allocates nothing once sizes have settled, and nothing throws. A simulation serves one thread
/// at a time, and so does its scene.
class ZqSimulation
{
public:
   enum class Solver
   {
      Crbi, ///< `ZqCrbiAccelerationTool`, which heeds constraints
      Arbi  ///< `ZqArbiAccelerationTool`, for long chains without constraints
   };

   /// What goes into the drives of all joints stands in the order of manipulators and link indices. What
   /// is missing is 0.
   struct Settings
   {
      Solver solver = Solver::Crbi;
      std::vector<ZqReal>
         commands; ///< of the power converters: a voltage, a valve opening, a torque
      std::vector<ZqReal> torques; ///< at the motor, added to those of the power converters (N m)
   };

   /// In J: of the motion of bodies and motors, and of the bodies in gravity, zero at the origin of the
   /// system.
   struct Energy
   {
      ZqReal total() const { return kinetic + potential; }

      ZqReal kinetic = 0.0;
      ZqReal potential = 0.0;
   };

   struct Place
   {
      ZqU32 manipulator;
      ZqU32 link; ///< or `ZqBaseLinkIndex`
   };
   struct LimitHit
   {
      Place place;
      ZqReal time; ///< s
   };
   struct FiredCriterion
   {
      ZqU32 manipulator;
      ZqString description;
      ZqReal time; ///< s
   };
   struct Divergence
   {
      Place place;
      ZqReal time;          ///< s
      const char* quantity; ///< that is not finite
   };

   /// Begins at the state of the scene. The scene must outlive the simulation, and not change.
   explicit ZqSimulation(const ZqStatedSystem& scene) : ZqSimulation(scene, Settings()) {}
   ZqSimulation(const ZqStatedSystem& scene, const Settings& settings);
   ZqSimulation(const ZqSimulation&) = delete;
   ZqSimulation& operator=(const ZqSimulation&) = delete;
   ~ZqSimulation();

   const ZqManipulatorSystemState& state() const { return m_state; }
   /// Steps to a time (s). False when something is not finite: then the state stays.
   bool stepTo(ZqReal time);
   /// Of the present state. One that is not finite is a divergence.
   Energy energy();

   /// The joints that were at a limit, each with the first time.
   const std::vector<LimitHit>& limitHits() const { return m_limitHits; }
   /// The manipulators of which stopping criteria were met, each with the first time.
   const std::vector<FiredCriterion>& firedCriteria() const { return m_firedCriteria; }
   const std::optional<Divergence>& divergence() const { return m_divergence; }

private:
   struct Joint;
   struct Member;

   Member makeMember(ZqU32 index, const Settings& settings, std::size_t firstJoint);
   ZqManipulatorActiveState& activeState(ZqU32 index)
   {
      return m_active.manipulatorActiveStateVector()[index];
   }
   void driveMotors(ZqU32 index, ZqReal dt);
   void advanceConverter(const Joint& joint, ZqReal dt, ZqActuatorState& drives);
   void solve(ZqU32 index, ZqReal dt);
   bool findJointsAtLimits(ZqU32 index, ZqReal dt);
   void solveAtLimits(ZqU32 index, ZqReal dt);
   std::optional<Place> firstNotFinite(ZqU32 index, ZqReal dt);
   void advanceMotors(ZqU32 index, ZqReal dt);
   bool isStateFinite();
   bool isStateFarFromOverflow();
   Place fastest(const Place& otherwise) const;
   void collectResults();
   void noteLimit(ZqU32 manipulator, ZqU32 joint);
   Energy energyOfBody(ZqU32 index, const ZqManipulatorLink& link);
   Energy energyOfMotor(ZqU32 index, ZqU32 jointIndex);

   const ZqStatedSystem& m_scene;
   Settings m_settings;
   ZqManipulatorSystemState m_state;
   ZqManipulatorSystemState m_stateBefore; ///< the present step
   ZqSystemActiveState m_active;
   std::vector<Member> m_members; ///< one a manipulator
   ZqStatedSystem::PropagationResults m_results;
   ZqXmlVectorBasicType<ZqReal> m_derivatives;
   ZqXmlVectorBasicType<ZqReal> m_nearbyDerivatives;
   std::vector<ZqReal> m_nextConverterState;
   std::vector<LimitHit> m_limitHits;
   std::vector<FiredCriterion> m_firedCriteria;
   std::optional<Divergence> m_divergence;
};
