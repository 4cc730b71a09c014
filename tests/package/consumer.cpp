#include <zqManipulator/zqManipulator.h>

#include <iostream>

int main()
{
   // The PUMA 560, straight up and at rest.
   ZqStatedSystem scene;
   if (!Zq::load(scene, "examples/models/puma560.xml"))
      return 1;
   const ZqIndividualManipulator& arm = *scene.manipulatorByIndex(0);
   ZqManipulatorTorque noTorque;
   noTorque.jointTorques().resize(arm.jointDof());
   const ZqManipulatorExternalForce noForce;

   // It falls in steps of 1 ms, until a joint comes to its limit. The solver is made for this scene:
   // without an active state of the caller's it keeps the first gravity that it sees.
   ZqCrbiAccelerationTool solver;
   ZqAccelerationState acceleration;
   ZqSystemActiveState active;
   ZqStatedSystem::PropagationResults results;
   results.resize(1);
   for (int step = 1; step <= 10000 && !results[0].hitJointLimit(); ++step)
   {
      active.setNonredundantState(scene.state());
      ZqManipulatorActiveState& state = active.manipulatorActiveStateVector()[0];
      solver.acceleration(scene, arm, state.positionState(), state.velocityState(), noTorque,
                          noForce, acceleration, nullptr, true);
      state.setAccelerationState(acceleration);
      scene.propagateSelfTo(0.001 * step, results, &active);
   }
   std::cout << arm.linkByIndex(results[0].linkIndexAtJointLimit())->linkLabel()
             << " comes to its limit at " << scene.state().time() << " s\n";
   return results[0].hitJointLimit() ? 0 : 1;
}
