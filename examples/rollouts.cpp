// A thousand rollouts of the PUMA 560 at once, each under torques of its own on top of those that hold it against
// gravity: the one that lifts its tip the highest within half a second. Inverse dynamics of a single state checks
// the last step of it.

#include "zqManipulator/zqManipulator.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <vector>

int main(int argumentCount, char** arguments)
{
   ZqStatedSystem scene;
   if (!Zq::load(scene, argumentCount > 1 ? arguments[1] : "examples/models/puma560.xml"))
      return 1;
   const ZqIndividualManipulator& arm = *scene.manipulatorByIndex(0);
   const std::size_t dof = arm.jointDof();
   constexpr std::size_t rollouts = 1000;
   constexpr ZqReal dt = 1e-3;

   // All begin in the same state, a row of the arrays each.
   const ZqRealVector start{0.0, 0.3, 0.2, 0.0, 0.5, 0.0};
   std::vector<ZqReal> q, v(rollouts * dof), tau(rollouts * dof);
   for (std::size_t i = 0; i < rollouts; ++i)
      q.insert(q.end(), start.begin(), start.end());
   ZqMotionBatch batch(arm, scene.environment().upGravityVector());
   batch.inverseDynamics({q}, {}, {}, {tau});
   for (ZqReal& torque : tau)
      torque += ZqRandom::uniformRandom(-5.0, 5.0);

   std::vector<ZqReal> before;
   for (int step = 0; step < 500; ++step)
   {
      before = v;
      batch.step({q}, {v}, {tau}, dt);
   }

   // Of each frame seven numbers, the third of which is the height of its origin.
   std::vector<ZqReal> frames(rollouts * dof * 7);
   batch.frames({q}, frames);
   const auto height = [&](std::size_t rollout)
   { return frames[(rollout * dof + dof - 1) * 7 + 2]; };
   std::size_t best = 0;
   for (std::size_t i = 1; i < rollouts; ++i)
      best = height(i) > height(best) ? i : best;
   std::cout << "rollout " << best << " lifts its tip to " << height(best) << " m\n";

   // The state before the last step, and its acceleration.
   ZqPositionState position;
   ZqVelocityState velocity;
   ZqAccelerationState acceleration;
   for (std::size_t i = best * dof; i < (best + 1) * dof; ++i)
   {
      position.jointPositions().pushBack(q[i] - dt * v[i]);
      velocity.jointVelocities().pushBack(before[i]);
      acceleration.jointAccelerations().pushBack((v[i] - before[i]) / dt);
   }
   acceleration.setGeneralAcceleration({scene.environment().upGravityVector(), ZqVector()});
   ZqTotalTorqueTool inverseDynamics;
   inverseDynamics.setManipulator(&arm);
   inverseDynamics.setTotalTorqueType(ZqTotalTorqueTool::BodyTorque);
   inverseDynamics.setPositionState(position);
   inverseDynamics.setVelocityState(velocity);
   inverseDynamics.setAccelerationState(acceleration);
   const auto& torques =
      inverseDynamics.torques(ZqManipulatorExternalForce(), nullptr, nullptr).jointTorques();
   ZqReal error = 0.0;
   for (std::size_t i = 0; i < dof; ++i)
      error = std::max(error, std::abs(torques[static_cast<ZqU32>(i)] - tau[best * dof + i]));
   std::cout << "its torques by inverse dynamics differ by " << error << " N m\n";
   return error < 1e-9 ? 0 : 1;
}
