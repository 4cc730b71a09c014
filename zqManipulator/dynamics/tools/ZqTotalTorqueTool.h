#pragma once

#include "zqManipulator/dynamics/bodies/ZqManipulatorTorque.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

class ZqIndividualManipulator;
class ZqManipulatorExternalForce;
class ZqMotionStages;
class ZqStatedSystemStruct;

/// Inverse dynamics: the torque that each joint has to bear so that the manipulator moves with the
/// accelerations in the active state, by the recursion of Newton and Euler (Luh, Walker and Paul 1980).
/// Gravity is part of these accelerations: an upward acceleration of the base.
///
/// Forces that the active state has valid are used as they stand, whatever external forces they were
/// computed from: for other ones at the same state, set the acceleration state again. Forces that the
/// record of external forces does not list are zero.
///
/// The tool does not own the manipulator. Results are references into the tool, which the next call
/// overwrites. The forms with a pointer take null for the tool's own active state.
class ZqTotalTorqueTool
{
public:
   /// What is added to the torque on the bodies, which always includes springs, dampers and the inertia
   /// of the actuators.
   enum ZqTotalTorqueType : ZqU32
   {
      /// The output of the actuator at zero command is subtracted: what remains is to be commanded.
      ActuatorOutputSubtracted = 0,
      /// The linear torque of the actuator (viscous friction, stoppers) is added.
      LinearTorqueAdded = 1,
      /// Nothing is added.
      BodyTorque = 2
   };

   ZqTotalTorqueTool() = default;
   ZqTotalTorqueTool(const ZqTotalTorqueTool&) = default;
   ZqTotalTorqueTool& operator=(const ZqTotalTorqueTool&) = default;
   virtual ~ZqTotalTorqueTool() = default;
   static ZqTotalTorqueTool nullObject() { return {}; }

   virtual const ZqIndividualManipulator* manipulator() const { return m_manipulator; }
   virtual void setManipulator(const ZqIndividualManipulator* manipulator);
   /// Sets the base's acceleration in the tool's own active state to a vector (m/s^2) that points up,
   /// in the axes of the system.
   virtual void setBaseAccelerationFromGravityVector(const ZqVector& gravity);
   /// \name State of the tool's own active state
   /// @{
   virtual void setPositionState(const ZqPositionState& state);
   virtual void setVelocityState(const ZqVelocityState& state);
   virtual void setAccelerationState(const ZqAccelerationState& state);
   /// @}
   virtual const ZqTotalTorqueType& totalTorqueType() const { return m_totalTorqueType; }
   virtual void setTotalTorqueType(const ZqTotalTorqueType& type) { m_totalTorqueType = type; }

   /// The torque of each joint, and the force on the base. Without a manipulator the last result.
   virtual const ZqManipulatorTorque& torques(const ZqManipulatorExternalForce& externalForce,
                                              ZqManipulatorActiveState& activeState,
                                              const ZqStatedSystemStruct* stateStruct);
   virtual const ZqManipulatorTorque& torques(const ZqManipulatorExternalForce& externalForce,
                                              ZqManipulatorActiveState* activeState,
                                              const ZqStatedSystemStruct* stateStruct);
   /// The same for a base that nothing holds. The acceleration that the composite body takes on under
   /// the force on the base is added to the base's in the active state, where it stays. This is done
   /// once, which leaves a rest of that force.
   virtual const ZqManipulatorTorque&
   torquesNoBaseForce(const ZqManipulatorExternalForce& externalForce,
                      ZqManipulatorActiveState& activeState,
                      const ZqStatedSystemStruct* stateStruct);
   virtual const ZqManipulatorTorque&
   torquesNoBaseForce(const ZqManipulatorExternalForce& externalForce,
                      ZqManipulatorActiveState* activeState,
                      const ZqStatedSystemStruct* stateStruct);
   /// The torque of one joint; 0.0 for a joint that is not there. A joint beyond the list of joint
   /// accelerations does not accelerate.
   virtual ZqReal torque(unsigned int index, const ZqManipulatorExternalForce& externalForce,
                         ZqManipulatorActiveState& activeState,
                         const ZqStatedSystemStruct* stateStruct);
   virtual ZqReal torque(unsigned int index, const ZqManipulatorExternalForce& externalForce,
                         ZqManipulatorActiveState* activeState,
                         const ZqStatedSystemStruct* stateStruct);
   /// The force on the base, in its DH frame; zero without a manipulator.
   virtual const ZqGeneralForce& generalForce(const ZqManipulatorExternalForce& externalForce,
                                              ZqManipulatorActiveState& activeState,
                                              const ZqStatedSystemStruct* stateStruct);
   virtual const ZqGeneralForce& generalForce(const ZqManipulatorExternalForce& externalForce,
                                              ZqManipulatorActiveState* activeState,
                                              const ZqStatedSystemStruct* stateStruct);

protected:
   /// Sizes the result for the manipulator.
   virtual void resize();

private:
   ZqManipulatorActiveState& activeStateOr(ZqManipulatorActiveState* activeState)
   {
      return activeState != nullptr ? *activeState : m_activeState;
   }
   ZqReal totalTorque(ZqU32 index, const ZqMotionStages& stages,
                      ZqManipulatorActiveState& activeState) const;

   const ZqIndividualManipulator* m_manipulator = nullptr; ///< not owned
   ZqManipulatorActiveState m_activeState;
   ZqManipulatorTorque m_torques;
   ZqTotalTorqueType m_totalTorqueType = ActuatorOutputSubtracted;
   ZqReArray m_baseForce;
   ZqReArray m_baseAcceleration;
   ZqAccelerationState m_accelerationState;
};
