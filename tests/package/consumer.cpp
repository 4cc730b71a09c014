#include <zqManipulator/zqManipulator.h>

#include <iostream>

int main()
{
   // The PUMA 560, straight up and at rest.
   ZqStatedSystem scene;
   if (!Zq::load(scene, "examples/models/puma560.xml"))
      return 1;

   // It falls in steps of 1 ms, until a joint comes to its limit.
   ZqSimulation simulation(scene);
   for (int step = 1; step <= 10000 && simulation.limitHits().empty(); ++step)
      simulation.stepTo(0.001 * step);
   for (const ZqSimulation::LimitHit& hit : simulation.limitHits())
      std::cout << simulation.linkAt(hit.place)->linkLabel() << " comes to its limit at "
                << hit.time << " s\n";
   return simulation.limitHits().empty() ? 1 : 0;
}
