// Lets the PUMA 560 fall out of its upright pose. Its drives turn without friction here, so that the
// energy has to stay. It does but for the error of the steps, which shrinks in proportion to them.

#include "zqManipulator/zqManipulator.h"

#include <algorithm>
#include <cmath>
#include <iostream>

namespace
{
constexpr ZqReal duration = 1.0; // s

/// In J: kinetic, that of the motors included, and potential.
ZqReal energy(const ZqStatedSystem& scene, ZqManipulatorActiveState& state)
{
   const ZqIndividualManipulator& arm = *scene.manipulatorByIndex(0);
   ZqReal sum = arm.computeKineticEnergy(state, nullptr);
   for (ZqU32 i = 0; i < arm.jointDof(); ++i)
   {
      const ZqReal rate = state.velocityState().jointVelocities()[i];
      sum += 0.5 * arm.linkByIndex(i)->jointActuator().effectiveInertia(0.0) * rate * rate;
   }
   const ZqVector weight = scene.environment().upGravityVector() * arm.crbi(state, nullptr).mass();
   return sum + weight.dot(arm.getCenterOfMassInSystem(state));
}

/// The largest change of the energy (J) during the fall.
ZqReal drift(ZqStatedSystem scene, ZqReal dt)
{
   const ZqIndividualManipulator& arm = *scene.manipulatorByIndex(0);
   const ZqManipulatorTorque noTorque;
   const ZqManipulatorExternalForce noForce;
   ZqArbiAccelerationTool tool;
   ZqAccelerationState acceleration;
   ZqSystemActiveState active;
   active.setNonredundantState(scene.state());
   ZqManipulatorActiveState& state = active.manipulatorActiveStateVector()[0];
   const ZqReal start = energy(scene, state);

   ZqReal largest = 0.0;
   for (int step = 1; step <= std::lround(duration / dt); ++step)
   {
      tool.acceleration(scene, arm, state.positionState(), state.velocityState(), noTorque, noForce,
                        acceleration, nullptr);
      state.setAccelerationState(acceleration);
      scene.propagateSelfTo(step * dt, &active);
      active.setNonredundantState(scene.state());
      largest = std::max(std::abs(energy(scene, state) - start), largest);
   }
   std::cout << "dt = " << dt
             << " s: the upper arm falls to q2 = " << state.positionState().jointPositions()[1]
             << " rad, energy changes by up to " << largest << " J of " << start << " J\n";
   return largest;
}
} // namespace

int main(int argumentCount, char** arguments)
{
   ZqStatedSystem scene;
   if (!Zq::load(scene, argumentCount > 1 ? arguments[1] : "examples/models/puma560.xml"))
      return 1;
   ZqIndividualManipulator arm = *scene.manipulatorByIndex(0);
   for (ZqU32 i = 0; i < arm.jointDof(); ++i)
   {
      ZqJointActuator actuator = arm.linkByIndex(i)->jointActuator();
      actuator.setFrictionCoefficient(0.0);
      arm.linkByIndex(i)->setJointActuator(actuator);
   }
   scene.exchangeManipulator(0, arm, scene.state().positionStates()[0],
                             scene.state().velocityStates()[0]);

   const ZqReal ratio = drift(scene, 1e-3) / drift(scene, 1e-4);
   std::cout << "a tenth of the step: 1/" << ratio << " of the change, should be about 1/10\n";
   return ratio > 8.0 && ratio < 12.0 ? 0 : 1;
}
