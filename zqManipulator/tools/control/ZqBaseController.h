#pragma once

#include "zqManipulator/dynamics/bodies/ZqManipulatorExternalForce.h"
#include "zqManipulator/dynamics/bodies/ZqManipulatorTorque.h"
#include "zqManipulator/dynamics/tools/ZqTotalTorqueTool.h"
#include "zqManipulator/kinematics/system/ZqStatedSystemStruct.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

#include <vector>

class ZqManipulatorLink;
class ZqSimulation;
class ZqStatedSystem;

/// How an error is brought to zero: by how much of it, and by how much of its rate.
struct ZqControlGains
{
   /// Of an error with the dynamics e'' + derivative e' + proportional e = 0, which then goes to zero as
   /// fast as it can at this frequency (rad/s) without passing beyond.
   static constexpr ZqControlGains criticallyDamped(ZqReal frequency)
   {
      return {frequency * frequency, 2.0 * frequency};
   }

   ZqReal proportional = 0.0;
   ZqReal derivative = 0.0;
};

/// What the controllers have in common: the model that they compute with, and from the torques of joints those of
/// motors.
///
/// The model is a manipulator of a scene, with gravity and what is attached there. It need not be the one that is
/// simulated: a controller may know less, or other things. **The scene is not owned**, and has to live.
///
/// Torques at joints move the bodies, springs, dampers and the inertia of the drives, at their gears. At its motor a
/// joint needs that over gear ratio and efficiency; with `compensatesFriction` the motor also brings up the viscous
/// friction of its drive, and dry friction where it slips. Stoppers are not compensated, nor what contacts and other
/// interactions do. A joint without a drive, or with a gear ratio of zero, moves as it will: its motor has zero.
///
/// A base that is not fixed is refused, with a message, and so is a drive with a flexible shaft, which a torque at
/// the motor does not reach at once; a state or what is wanted with another number of joints; and what leads to
/// torques that are not finite. An update is then false, and torques are zero.
///
/// An update allocates nothing once sizes have settled. A controller serves one thread at a time; several may
/// have the same scene.
class ZqBaseController
{
public:
   virtual ~ZqBaseController() = default;

   ZqU32 manipulatorIndex() const noexcept { return m_index; }
   bool compensatesFriction() const noexcept { return m_compensatesFriction; }
   /// False unless it is set.
   void setCompensatesFriction(bool compensates) noexcept { m_compensatesFriction = compensates; }

   /// \name Of the last update, in the order of the link indices (N m or N)
   /// @{
   const ZqManipulatorTorque& jointTorques() const noexcept { return m_jointTorques; }
   /// As accelerations tools and simulations take them.
   const ZqManipulatorTorque& motorTorques() const noexcept { return m_motorTorques; }
   /// @}
   /// Gives the torques at the motors to the manipulator of the same index in a simulation, for its next steps.
   /// False, with a message, when it does not have the joints.
   bool applyTo(ZqSimulation& simulation) const;

protected:
   using Gains = std::vector<ZqControlGains>;

   ZqBaseController(const ZqStatedSystem& scene, ZqU32 manipulator);
   ZqBaseController(const ZqBaseController&) = default;
   ZqBaseController& operator=(const ZqBaseController&) = default;

   const ZqIndividualManipulator& manipulator() const;
   const ZqStatedSystemStruct& structure() const noexcept { return m_structure; }
   ZqManipulatorActiveState& activeState() noexcept { return m_activeState; }
   /// Whether a simulation has the manipulator; else refused.
   bool isIn(const ZqSimulation& simulation);
   /// Begins an update. False, with a message, when it is refused.
   bool takeState(const ZqPositionState& position, const ZqVelocityState& velocity);
   /// Sets the torques at the joints to those for accelerations (rad/s^2 or m/s^2).
   ZqRealVector& computeJointTorques(const ZqRealVector& accelerations);
   /// Ends an update by those at the motors.
   bool computeMotorTorques();
   /// Logs why an update is false, and sets torques to zero: false.
   bool refuse(const char* what);
   /// Those of a joint: the list has one entry for each, or one for all.
   static const ZqControlGains& gainsOf(const Gains& gains, std::size_t joint)
   {
      return gains[gains.size() == 1 ? 0 : joint];
   }
   bool hasOneOrAll(const Gains& gains) const;
   static bool isOneForEach(const ZqRealVector& numbers, ZqU32 joints, bool mayBeMissing);
   static ZqReal valueOf(const ZqRealVector& numbers, std::size_t joint)
   {
      return numbers.empty() ? 0.0 : numbers[joint];
   }

private:
   bool hasRigidDrives() const;
   ZqReal frictionAt(const ZqManipulatorLink& link, ZqReal load);

   const ZqStatedSystem* m_scene; ///< not owned
   ZqU32 m_index;
   ZqStatedSystemStruct m_structure;
   bool m_compensatesFriction = false;
   ZqManipulatorActiveState m_activeState;
   bool m_areMotorsPlaced = false;
   ZqAccelerationState m_acceleration;
   ZqManipulatorExternalForce m_noForce;
   ZqTotalTorqueTool m_inverseDynamics;
   ZqManipulatorTorque m_jointTorques;
   ZqManipulatorTorque m_motorTorques;
};
