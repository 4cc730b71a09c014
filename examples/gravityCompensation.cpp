// Holds the PUMA 560 against gravity, with the arm stretched out: inverse dynamics tells the torques,
// and under these torques forward dynamics leaves the arm where it is.

#include "zqManipulator/zqManipulator.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <iostream>

namespace
{
/// In J. Its slope along a joint is the torque that gravity exerts there.
ZqReal potentialEnergy(ZqStatedSystem scene, const ZqPositionState& position)
{
   scene.setIndividualPositionState(0, position);
   return ZqSimulation(scene).energy().potential;
}
} // namespace

int main(int argumentCount, char** arguments)
{
   ZqStatedSystem scene;
   if (!Zq::load(scene, argumentCount > 1 ? arguments[1] : "examples/models/puma560.xml"))
      return 1;
   const ZqIndividualManipulator& arm = *scene.manipulatorByIndex(0);
   ZqPositionState position;
   position.setJointPositions({0.0, 0.3, 0.2, 0.0, 0.5, 0.0});
   ZqVelocityState velocity = scene.state().velocityStates()[0]; // at rest
   const ZqManipulatorExternalForce noForce;

   ZqTotalTorqueTool inverseDynamics;
   inverseDynamics.setManipulator(&arm);
   inverseDynamics.setTotalTorqueType(ZqTotalTorqueTool::BodyTorque);
   inverseDynamics.setPositionState(position);
   inverseDynamics.setVelocityState(velocity);
   inverseDynamics.setBaseAccelerationFromGravityVector(scene.environment().upGravityVector());
   const auto& torques = inverseDynamics.torques(noForce, nullptr, nullptr).jointTorques();

   ZqManipulatorTorque command;
   ZqReal error = 0.0;
   std::cout << "joint  torque (N m)  slope of the energy (N m)  at the motor (N m)\n";
   for (ZqU32 i = 0; i < arm.jointDof(); ++i)
   {
      command.jointTorques().pushBack(torques[i] / arm.linkByIndex(i)->jointActuator().gearRatio());
      constexpr ZqReal h = 1e-5;
      ZqPositionState before = position;
      ZqPositionState after = position;
      before.jointPositions()[i] -= h;
      after.jointPositions()[i] += h;
      const ZqReal slope =
         (potentialEnergy(scene, after) - potentialEnergy(scene, before)) / (2.0 * h);
      error = std::max(std::abs(torques[i] - slope), error);
      std::cout << std::setw(5) << i + 1 << std::setw(14) << torques[i] << std::setw(27) << slope
                << std::setw(20) << command.jointTorques()[i] << '\n';
   }

   // A second under these torques.
   ZqCrbiAccelerationTool forwardDynamics;
   ZqAccelerationState acceleration;
   const ZqPositionState start = position;
   for (int step = 0; step < 1000; ++step)
   {
      forwardDynamics.acceleration(scene, arm, position, velocity, command, noForce, acceleration,
                                   nullptr, true);
      arm.propagateVelocityState(acceleration, 0.001, velocity);
      arm.propagateState(velocity, 0.001, position);
   }
   ZqReal motion = 0.0;
   for (ZqU32 i = 0; i < arm.jointDof(); ++i)
      motion = std::max(std::abs(position.jointPositions()[i] - start.jointPositions()[i]), motion);
   std::cout << "after 1 s the joints have moved by up to " << motion << " rad, should be 0\n";
   return error < 1e-6 && motion < 1e-9 ? 0 : 1;
}
