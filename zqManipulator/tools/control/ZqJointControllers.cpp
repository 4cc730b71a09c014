#include "zqManipulator/simulation/step/ZqSimulation.h"
#include "zqManipulator/tools/control/ZqComputedTorqueController.h"
#include "zqManipulator/tools/control/ZqPdGravityController.h"

bool ZqComputedTorqueController::update(const ZqPositionState& position,
                                        const ZqVelocityState& velocity,
                                        const ZqTrajectoryPoint& desired)
{
   if (!takeState(position, velocity))
      return false;
   const ZqU32 joints = position.jointPositions().size();
   if (!hasOneOrAll(m_gains))
      return refuse("there are neither gains for each joint nor one for all");
   if (!isOneForEach(desired.positions, joints, false) ||
       !isOneForEach(desired.velocities, joints, true) ||
       !isOneForEach(desired.accelerations, joints, true))
      return refuse("the desired point does not have its joints");
   m_accelerations.resize(joints);
   for (ZqU32 i = 0; i < joints; ++i)
   {
      const ZqControlGains& gains = gainsOf(m_gains, i);
      const ZqReal error = desired.positions[i] - position.jointPositions()[i];
      const ZqReal rate = valueOf(desired.velocities, i) - velocity.jointVelocities()[i];
      m_accelerations[i] =
         valueOf(desired.accelerations, i) + gains.derivative * rate + gains.proportional * error;
   }
   computeJointTorques(m_accelerations);
   return computeMotorTorques();
}

bool ZqComputedTorqueController::drive(ZqSimulation& simulation, const ZqTrajectoryPoint& desired)
{
   const ZqManipulatorSystemState& state = simulation.state();
   const ZqU32 i = manipulatorIndex();
   return isIn(simulation) &&
          update(state.positionStates()[i], state.velocityStates()[i], desired) &&
          applyTo(simulation);
}

bool ZqPdGravityController::update(const ZqPositionState& position, const ZqVelocityState& velocity,
                                   const ZqRealVector& desired)
{
   const ZqU32 joints = position.jointPositions().size();
   m_rest.jointVelocities().assign(velocity.jointVelocities().size(), 0.0);
   if (!takeState(position, m_rest))
      return false;
   if (!hasOneOrAll(m_gains))
      return refuse("there are neither gains for each joint nor one for all");
   if (!isOneForEach(desired, joints, false))
      return refuse("the posture does not have its joints");
   m_noAccelerations.assign(joints, 0.0);
   ZqRealVector& torques = computeJointTorques(m_noAccelerations);
   for (ZqU32 i = 0; i < joints; ++i)
   {
      const ZqControlGains& gains = gainsOf(m_gains, i);
      torques[i] += gains.proportional * (desired[i] - position.jointPositions()[i]) -
                    gains.derivative * velocity.jointVelocities()[i];
   }
   return computeMotorTorques();
}

bool ZqPdGravityController::drive(ZqSimulation& simulation, const ZqRealVector& desired)
{
   const ZqManipulatorSystemState& state = simulation.state();
   const ZqU32 i = manipulatorIndex();
   return isIn(simulation) &&
          update(state.positionStates()[i], state.velocityStates()[i], desired) &&
          applyTo(simulation);
}
