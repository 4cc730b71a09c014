// Holds a point of the hand of the PUMA 560 where it is, by operational space control, while the joints go to another
// posture as far as that leaves them free. The point stays but for the error of the steps, which shrinks in proportion
// to them.

#include "zqManipulator/zqManipulator.h"

#include <algorithm>
#include <cmath>
#include <iostream>

namespace
{
/// The largest distance (m) of the point from where it is to be, in two seconds.
ZqReal deviation(const ZqStatedSystem& scene, ZqReal dt)
{
   const ZqIndividualManipulator& arm = *scene.manipulatorByIndex(0);
   const ZqU32 hand = arm.jointDof() - 1;
   ZqOperationalSpaceController controller(scene, 0, ZqOperationalSpaceController::Task::Position,
                                           hand, ZqVector(0.0, 0.0, 0.1));
   controller.setCompensatesFriction(true);
   controller.setTaskGains(ZqControlGains::criticallyDamped(20.0));

   ZqSimulation simulation(scene);
   const ZqRealVector start = simulation.state().positionStates()[0].jointPositions().values();
   ZqRealVector posture = start;
   for (ZqReal& position : posture)
      position += 0.5;
   controller.setPosture(ZqControlGains::criticallyDamped(4.0), posture);

   // The first update tells where the point is.
   controller.drive(simulation, {});
   ZqTaskMotion desired;
   desired.position = controller.present().position;
   ZqReal largest = 0.0;
   bool isDamped = false;
   for (int step = 1; step <= std::lround(2.0 / dt); ++step)
   {
      controller.drive(simulation, desired);
      largest = std::max((controller.present().position - desired.position).mag(), largest);
      isDamped = isDamped || controller.isDamped();
      simulation.stepTo(step * dt);
   }
   ZqReal motion = 0.0;
   for (ZqU32 i = 0; i <= hand; ++i)
      motion = std::max(
         std::abs(simulation.state().positionStates()[0].jointPositions()[i] - start[i]), motion);
   std::cout << "dt = " << dt << " s: joints move by up to " << motion
             << " rad, the point of the hand by up to " << largest << " m"
             << (isDamped ? ", singular on the way\n" : "\n");
   return motion > 0.2 && !isDamped ? largest : 1.0;
}
} // namespace

int main(int argumentCount, char** arguments)
{
   ZqStatedSystem scene;
   if (!Zq::load(scene, argumentCount > 1 ? arguments[1] : "examples/models/puma560.xml"))
      return 1;
   ZqPositionState position = scene.state().positionStates()[0];
   position.setJointPositions({0.2, 0.3, 0.4, 0.1, 0.5, 0.0});
   scene.setIndividualPositionState(0, position);
   const ZqReal coarse = deviation(scene, 1e-3);
   const ZqReal ratio = coarse / deviation(scene, 1e-4);
   std::cout << "a tenth of the step: 1/" << ratio << " of the error, should be about 1/10\n";
   return coarse < 1e-3 && ratio > 8.0 && ratio < 12.0 ? 0 : 1;
}
