// Brings the PUMA 560 to a posture by PD control with gravity compensation. Springs, dampers and friction are all that
// acts then: the energy of the motion and of the springs of the controller may only fall, until the arm rests.

#include "zqManipulator/zqManipulator.h"

#include <algorithm>
#include <cmath>
#include <iostream>

int main(int argumentCount, char** arguments)
{
   ZqStatedSystem scene;
   if (!Zq::load(scene, argumentCount > 1 ? arguments[1] : "examples/models/puma560.xml"))
      return 1;
   ZqPdGravityController controller(scene, 0);
   controller.setGains({{200.0, 60.0}}); // N m/rad, N m s/rad
   const ZqRealVector posture{0.5, 0.3, 0.4, 0.2, 0.5, -0.3};

   ZqSimulation simulation(scene);
   ZqReal error = 0.0;
   ZqReal energyBefore = 0.0;
   ZqReal gained = 0.0;
   for (int step = 0; step <= 5000; ++step)
   {
      if (step > 0)
         simulation.stepTo(1e-3 * step);
      const auto& positions = simulation.state().positionStates()[0].jointPositions();
      ZqReal energy = simulation.energy().kinetic;
      error = 0.0;
      for (ZqU32 i = 0; i < posture.size(); ++i)
      {
         const ZqReal e = posture[i] - positions[i];
         energy += 0.5 * controller.gains()[0].proportional * e * e;
         error = std::max(std::abs(e), error);
      }
      if (step > 0)
         gained = std::max(energy - energyBefore, gained);
      energyBefore = energy;
      if (step % 1000 == 0)
         std::cout << "at " << step / 1000 << " s " << error << " rad from the posture, energy "
                   << energy << " J\n";
      controller.drive(simulation, posture);
   }
   std::cout << "the energy rises by no more than " << gained << " J a step, should be 0\n";
   return error < 1e-6 && gained < 1e-12 ? 0 : 1;
}
