// Lets the PUMA 560 fall out of its upright pose. Its drives turn without friction here, so that the
// energy has to stay. It does but for the error of the steps, which shrinks in proportion to them.

#include "zqManipulator/zqManipulator.h"

#include <algorithm>
#include <cmath>
#include <iostream>

namespace
{
constexpr ZqReal duration = 1.0; // s

/// The largest change of the energy (J) during the fall.
ZqReal drift(const ZqStatedSystem& scene, ZqReal dt)
{
   ZqSimulation simulation(scene);
   const ZqReal start = simulation.energy().total();
   ZqReal largest = 0.0;
   for (int step = 1; step <= std::lround(duration / dt); ++step)
   {
      simulation.stepTo(step * dt);
      largest = std::max(std::abs(simulation.energy().total() - start), largest);
   }
   std::cout << "dt = " << dt << " s: the upper arm falls to q2 = "
             << simulation.state().positionStates()[0].jointPositions()[1]
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
