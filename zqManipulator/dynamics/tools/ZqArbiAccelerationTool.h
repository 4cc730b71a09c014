#pragma once

#include "zqManipulator/dynamics/tools/ZqNetTorques.h"

class ZqStatedSystem;

/// Forward dynamics in time linear in the number of links, by articulated bodies (Featherstone 1983).
/// State equality constraints play no part; `ZqCrbiAccelerationTool` heeds them.
///
/// Joint accelerations and the acceleration of the base are relative to those in the active state:
/// gravity is an upward acceleration of the base there, and joint accelerations are zero. What the
/// active state has valid is used as it stands, whatever torques and forces it was computed from: for
/// other torques at the same state, set the acceleration state again.
///
/// A torque record that is too short stands for torques of zero.
class ZqArbiAccelerationTool
{
public:
   ZqArbiAccelerationTool() = default;
   ZqArbiAccelerationTool(const ZqArbiAccelerationTool&) = default;
   ZqArbiAccelerationTool& operator=(const ZqArbiAccelerationTool&) = default;
   virtual ~ZqArbiAccelerationTool() = default;
   static ZqArbiAccelerationTool nullObject() { return {}; }

   /// The accelerations of the joints, and that of the base in the axes of the system; zero for a fixed
   /// base. Position and velocity are those of the active state; the ones given play no part. True.
   virtual bool acceleration(const ZqStatedSystem& statedSystem,
                             const ZqIndividualManipulator& manipulator,
                             const ZqPositionState& position, const ZqVelocityState& velocity,
                             const ZqManipulatorTorque& torque,
                             const ZqManipulatorExternalForce& externalForce,
                             ZqAccelerationState& result, ZqManipulatorActiveState& activeState);
   /// The same. Null stands for an active state of the tool's own, which takes the position and the
   /// velocity. **It takes gravity from the system's environment the first time, and keeps it**: another
   /// gravity, or another system, is heeded only when the manipulator has more joints than any before or
   /// none at all, or after `forgetOwnState`.
   virtual bool acceleration(const ZqStatedSystem& statedSystem,
                             const ZqIndividualManipulator& manipulator,
                             const ZqPositionState& position, const ZqVelocityState& velocity,
                             const ZqManipulatorTorque& torque,
                             const ZqManipulatorExternalForce& externalForce,
                             ZqAccelerationState& result, ZqManipulatorActiveState* activeState);
   /// Lets the next call with null begin anew: gravity is taken from the environment, and motors are put
   /// to where their joints are.
   void forgetOwnState() { m_activeState = ZqManipulatorActiveState(); }

protected:
   /// Sizes the net torques for the manipulator and clears them.
   virtual void resize(const ZqIndividualManipulator& manipulator);

private:
   void prepareOwnActiveState(const ZqStatedSystem& statedSystem,
                              const ZqIndividualManipulator& manipulator,
                              const ZqPositionState& position, const ZqVelocityState& velocity);

   ZqManipulatorActiveState m_activeState;
   ZqManipulatorTorque m_netTorque;
   ZqNetTorques m_netTorques;
};
