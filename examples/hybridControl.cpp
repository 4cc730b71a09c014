// Swings the upper arm of a two-link arm by a given motion while the forearm hangs free: one joint's
// acceleration is known and its torque sought, the other joint's torque is known, zero, and its
// acceleration sought. Inverse dynamics checks the result.

#include "zqManipulator/zqManipulator.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <iostream>
#include <numbers>
#include <vector>

int main(int argumentCount, char** arguments)
{
   ZqStatedSystem scene;
   if (!Zq::load(scene, argumentCount > 1 ? arguments[1] : "examples/models/planarTwoLink.xml"))
      return 1;
   const ZqIndividualManipulator& arm = *scene.manipulatorByIndex(0);
   const ZqVector& up = scene.environment().upGravityVector();

   // The upper arm's angle is -pi / 2 + swing sin(omega t), about hanging down.
   constexpr ZqReal swing = 0.5; // rad
   constexpr ZqReal omega = 3.0; // rad/s
   constexpr ZqReal dt = 1e-4;
   const ZqReal down = -std::numbers::pi / 2.0;
   ZqPositionState position;
   position.setJointPositions({down, 0.0});
   ZqVelocityState velocity;
   velocity.jointVelocities() = {swing * omega, 0.0};

   const std::vector<bool> torqueIsKnown{false, true};
   const ZqManipulatorExternalForce noForce;
   ZqCrbiAccelerationTool solver;
   ZqTotalTorqueTool inverseDynamics;
   inverseDynamics.setManipulator(&arm);
   inverseDynamics.setTotalTorqueType(ZqTotalTorqueTool::BodyTorque);

   ZqReal torqueError = 0.0;
   ZqReal pathError = 0.0;
   const auto print = [](const auto&... columns)
   { ((std::cout << std::setw(15) << columns), ...) << '\n'; };
   std::cout << "Joint 1 moves the upper arm, joint 2 the forearm; needed: by inverse dynamics.\n";
   print("time (s)", "q1 (rad)", "q2 (rad)", "torque 1 (N m)", "torque 2 (N m)", "needed 1",
         "needed 2");
   for (int step = 0; step <= 20000; ++step)
   {
      const ZqReal time = step * dt;
      ZqAccelerationState acceleration;
      acceleration.jointAccelerations() = {-swing * omega * omega * std::sin(omega * time), 0.0};
      ZqManipulatorTorque torque;
      torque.jointTorques().resize(2);
      solver.hybridTorqueAcceleration(scene, arm, position, velocity, noForce, torqueIsKnown,
                                      torque, acceleration, nullptr, true);

      inverseDynamics.setPositionState(position);
      inverseDynamics.setVelocityState(velocity);
      ZqAccelerationState withGravity = acceleration;
      withGravity.setGeneralAcceleration({up, ZqVector()});
      inverseDynamics.setAccelerationState(withGravity);
      const auto& needed = inverseDynamics.torques(noForce, nullptr, nullptr).jointTorques();
      for (ZqU32 i = 0; i < 2; ++i)
         torqueError = std::max(std::abs(torque.jointTorques()[i] - needed[i]), torqueError);
      const ZqReal path = down + swing * std::sin(omega * time);
      pathError = std::max(std::abs(position.jointPositions()[0] - path), pathError);
      if (step % 2000 == 0)
         print(time, position.jointPositions()[0], position.jointPositions()[1],
               torque.jointTorques()[0], torque.jointTorques()[1], needed[0], needed[1]);

      arm.propagateVelocityState(acceleration, dt, velocity);
      arm.propagateState(velocity, dt, position);
   }
   std::cout << "torques differ by up to " << torqueError << " N m, should be 0\n"
             << "the upper arm leaves its path by up to " << pathError << " rad, should be 0\n";
   return torqueError < 1e-10 && pathError < 1e-6 ? 0 : 1;
}
