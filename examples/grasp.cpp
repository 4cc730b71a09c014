// A gripper closes on a block, lifts it by 0.3 m and holds it: forces of the drives, from a table, and friction
// are all that holds it.

#include "zqManipulator/zqManipulator.h"

#include <cmath>
#include <iomanip>
#include <iostream>

namespace
{
constexpr ZqU32 gripper = 2; // by their places in the scene
constexpr ZqU32 block = 3;

ZqReal liftOf(const ZqSimulation& simulation)
{
   return simulation.state().positionStates()[gripper].jointPositions()[0];
}
ZqVector blockAt(const ZqSimulation& simulation)
{
   return simulation.state().positionStates()[block].coordSysXForm().translation();
}
} // namespace

int main(int argumentCount, char** arguments)
{
   const ZqString folder = argumentCount > 1 ? arguments[1] : "examples/models";
   ZqStatedSystem scene;
   ZqInputTable commands;
   if (!Zq::load(scene, folder + "/grasp.xml") ||
       !commands.load(folder + "/grasp.csv", scene.system()))
      return 1;
   ZqSimulation simulation(scene);
   const ZqVector start = blockAt(simulation);
   constexpr ZqReal dt = 1e-4;
   ZqReal sag = 0.0; // of the block between the fingers, when they have it
   std::cout << "time (s)  lift (m)     block (m)  block against fingers (m)\n";
   for (int step = 1; step <= 200000; ++step)
   {
      commands.apply(simulation, step * dt);
      if (!simulation.stepTo(step * dt))
         return 1;
      const ZqReal way = (blockAt(simulation) - start).z() - liftOf(simulation);
      if (step == 100000)
         sag = way;
      if (step % 10000 == 0)
         std::cout << std::setw(8) << simulation.state().time() << std::setw(10)
                   << liftOf(simulation) << std::setw(14) << (blockAt(simulation) - start).z()
                   << std::setw(27) << way << '\n';
   }
   const ZqReal slip = (blockAt(simulation) - start).z() - liftOf(simulation) - sag;
   std::cout << "from 10 s on the block has moved by " << slip << " m between the fingers\n";
   const bool isLifted = (blockAt(simulation) - start).z() > 0.299;
   return isLifted && std::abs(slip) < 1e-9 ? 0 : 1;
}
