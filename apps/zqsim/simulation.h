#pragma once

#include "zqManipulator/dynamics/ZqArbiAccelerationTool.h"
#include "zqManipulator/dynamics/ZqCrbiAccelerationTool.h"
#include "zqManipulator/kinematics/ZqStatedSystem.h"
#include "zqManipulator/simulation/ZqPropagationResultData.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <optional>
#include <vector>

namespace zqsim
{
enum class Solver
{
   Crbi,
   Arbi
};

/// In J: of the motion of bodies and motors, and of the bodies in gravity.
struct Energy
{
   ZqReal total() const { return kinetic + potential; }

   ZqReal kinetic = 0.0;
   ZqReal potential = 0.0;
};

/// What goes into the drives of all joints, in the order of manipulators and link indices. What is
/// missing is 0.
struct DriveInputs
{
   std::vector<ZqReal> commands; ///< of the power converters
   std::vector<ZqReal> torques;  ///< at the motor, added to those of the power converters (N m)
};

/// The state of a scene on its way through time, by semi-implicit Euler steps.
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
class Simulation
{
public:
   struct Place
   {
      ZqU32 manipulator;
      ZqU32 link; ///< or `ZqBaseLinkIndex`
   };
   struct LimitHit
   {
      Place place;
      ZqReal time;
   };
   struct FiredCriterion
   {
      ZqU32 manipulator;
      ZqString description;
      ZqReal time;
   };
   struct Divergence
   {
      Place place;
      ZqReal time;
      const char* quantity; ///< that is not finite
   };

   /// The scene must outlive the simulation, and not change.
   Simulation(const ZqStatedSystem& scene, Solver solver, const DriveInputs& inputs = {});
   // The drives' states are bound to the place of the active state.
   Simulation(const Simulation&) = delete;
   Simulation& operator=(const Simulation&) = delete;

   const ZqManipulatorSystemState& state() const { return m_state; }
   /// Steps to a time. False when something is not finite: then the state stays.
   bool stepTo(ZqReal time);
   /// Of the present state. One that is not finite is a divergence.
   Energy energy();

   /// The joints that were at a limit, each with the first time.
   const std::vector<LimitHit>& limitHits() const { return m_limitHits; }
   /// The manipulators of which stopping criteria were met, each with the first time.
   const std::vector<FiredCriterion>& firedCriteria() const { return m_firedCriteria; }
   const std::optional<Divergence>& divergence() const { return m_divergence; }

private:
   struct Joint
   {
      const ZqManipulatorLink* link;
      const ZqMechanicalActuatorComponent* driveTrain; ///< or null
      const ZqBasePowerConverter* converter;           ///< or null
      ZqReal gearRatio;
      ZqReal command;
      ZqReal torque;
      ZqReal lowerLimit, upperLimit, maxRate;
      bool isFlexible;
      ZqReal velocityAtLimit = 0.0; ///< while a limit holds it
      bool wasAtLimit = false;
   };
   /// What belongs to one manipulator.
   struct Member
   {
      Member(const ZqStatedSystem& statedSystem, ZqU32 index)
         : manipulator(&statedSystem.system().manipulators()[index])
      {
      }

      const ZqIndividualManipulator* manipulator;
      std::vector<Joint> joints;
      ZqAccelerationState gravity;
      ZqAccelerationState accelerations;
      ZqManipulatorTorque torque;
      ZqManipulatorTorque torqueAtLimits;
      ZqManipulatorExternalForce externalForce;
      ZqCrbiAccelerationTool crbi;
      ZqArbiAccelerationTool arbi;
      std::vector<bool> isFree; ///< of the joints, those that no limit holds
      bool isAnyHeld = false;
      bool hasFiredCriterion = false;
   };

   Member makeMember(ZqU32 index, const DriveInputs& inputs, std::size_t firstJoint);
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
   Solver m_solver;
   ZqManipulatorSystemState m_state;
   ZqManipulatorSystemState m_stateBefore; ///< the present step
   ZqSystemActiveState m_active;
   std::vector<Member> m_members;
   ZqXmlVectorType<ZqPropagationResultData> m_results;
   ZqXmlVectorBasicType<ZqReal> m_derivatives;
   ZqXmlVectorBasicType<ZqReal> m_nearbyDerivatives;
   std::vector<ZqReal> m_nextConverterState;
   std::vector<LimitHit> m_limitHits;
   std::vector<FiredCriterion> m_firedCriteria;
   std::optional<Divergence> m_divergence;
};
} // namespace zqsim
