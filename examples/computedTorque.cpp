// Has the PUMA 560 follow a fifth-order motion by computed torque: the error on the way is that of the steps, and
// shrinks in proportion to them. The motion's torques, written as a table, drive the arm along it without a controller.

#include "zqManipulator/zqManipulator.h"

#include <algorithm>
#include <cmath>
#include <iostream>

namespace
{
/// The largest difference (rad) of a joint to its desired position.
ZqReal distance(const ZqSimulation& simulation, const ZqTrajectoryPoint& desired)
{
   const auto& positions = simulation.state().positionStates()[0].jointPositions();
   ZqReal largest = 0.0;
   for (ZqU32 i = 0; i < positions.size(); ++i)
      largest = std::max(std::abs(positions[i] - desired.positions[i]), largest);
   return largest;
}

/// The largest such difference on the way, in steps of a time (s).
ZqReal follow(const ZqStatedSystem& scene, const ZqBaseTrajectory& trajectory, ZqReal dt)
{
   ZqSimulation simulation(scene);
   ZqComputedTorqueController controller(scene, 0);
   controller.setCompensatesFriction(true);
   controller.setGains({ZqControlGains::criticallyDamped(20.0)});
   ZqTrajectoryPoint desired;
   ZqReal largest = 0.0;
   for (int step = 1; step <= std::lround(trajectory.duration() / dt); ++step)
   {
      trajectory.evaluate((step - 1) * dt, desired);
      controller.drive(simulation, desired);
      simulation.stepTo(step * dt);
      trajectory.evaluate(step * dt, desired);
      largest = std::max(distance(simulation, desired), largest);
   }
   std::cout << "dt = " << dt << " s: the joints leave the motion by up to " << largest << " rad\n";
   return largest;
}
} // namespace

int main(int argumentCount, char** arguments)
{
   ZqStatedSystem scene;
   if (!Zq::load(scene, argumentCount > 1 ? arguments[1] : "examples/models/puma560.xml"))
      return 1;
   const ZqRealVector start = scene.state().positionStates()[0].jointPositions().values();
   ZqRealVector end = start;
   for (std::size_t i = 0; i < end.size(); ++i)
      end[i] += i % 2 == 0 ? 0.6 : -0.4;
   ZqFifthOrderTrajectory trajectory;
   if (!trajectory.set({start, {}, {}}, {end, {}, {}}, 1.5))
      return 1;

   const ZqReal ratio = follow(scene, trajectory, 1e-3) / follow(scene, trajectory, 1e-4);
   std::cout << "a tenth of the step: 1/" << ratio << " of the error, should be about 1/10\n";

   // What zqsim run --inputs reads, in time with steps of 1 ms.
   ZqInputTable table;
   if (!Zq::torquesAlong(trajectory, scene, 0, 1e-3, table) || !table.save("pumaMotion.csv"))
      return 1;
   ZqSimulation simulation(scene);
   for (int step = 1; step <= 1500; ++step)
   {
      table.apply(simulation, step * 1e-3);
      simulation.stepTo(step * 1e-3);
   }
   const ZqReal missed = distance(simulation, {end, {}, {}});
   std::cout << "by pumaMotion.csv alone it ends " << missed << " rad from its end\n";
   return ratio > 8.0 && ratio < 12.0 && missed < 0.02 ? 0 : 1;
}
