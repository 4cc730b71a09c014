#pragma once

#include "zqManipulator/dynamics/ZqArbiAccelerationTool.h"
#include "zqManipulator/dynamics/ZqCrbiAccelerationTool.h"
#include "zqManipulator/simulation/step/ZqSimulation.h"

#include <vector>

/// A joint with its drive, and what goes into it.
struct ZqSimulation::Joint
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
struct ZqSimulation::Member
{
   explicit Member(const ZqIndividualManipulator& ofWhich) : manipulator(&ofWhich) {}

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
