#include "zqManipulator/dynamics/tools/ZqOwnActuators.h"

#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

#include <algorithm>

void zqMoveOwnActuators(const ZqIndividualManipulator& manipulator,
                        ZqManipulatorActiveState& activeState, bool areNew)
{
   ZqActuatorState& motors = activeState.actuatorState();
   const auto& positions = activeState.positionState().jointPositions();
   const auto& velocities = activeState.velocityState().jointVelocities();
   for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
   {
      if (link == nullptr)
         continue;
      const ZqJointActuator& actuator = link->jointActuator();
      const ZqU32 j = link->linkIndex();
      const auto count =
         std::min({positions.size(), velocities.size(), motors.motorPositions().size(),
                   motors.motorVelocities().size()});
      if (areNew)
         actuator.initializeActuatorStates(activeState);
      else if (actuator.isRigid() && j < count)
      {
         motors.motorPositions()[j] = actuator.gearRatio() * positions[j];
         motors.motorVelocities()[j] = actuator.gearRatio() * velocities[j];
      }
   }
}
