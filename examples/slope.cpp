// Three blocks on boards: hands hold them and let go within two seconds. Up to the angle of friction a block stays
// where it is, to nanometres; beyond it slides, with g (sin - mu cos).

#include "zqManipulator/zqManipulator.h"

#include <array>
#include <cmath>
#include <iomanip>
#include <iostream>

namespace
{
constexpr ZqReal dt = 1e-3;              // s
constexpr ZqReal kineticFriction = 0.35; // of wood on wood, as the model has it

struct Sample
{
   ZqVector position; // m
   ZqVector velocity; // m/s
};
using Samples = std::array<Sample, 3>;

/// Each ramp is followed by its block.
Samples blocksAt(ZqSimulation& simulation, const ZqInputTable& hands, ZqReal time)
{
   for (int step = static_cast<int>(std::lround(simulation.state().time() / dt)) + 1;
        step * dt < time + 0.5 * dt; ++step)
   {
      hands.apply(simulation, step * dt);
      simulation.stepTo(step * dt);
   }
   Samples samples;
   for (ZqU32 i = 0; i < samples.size(); ++i)
   {
      const ZqU32 block = 2 * i + 1;
      samples[i] = {simulation.state().positionStates()[block].coordSysXForm().translation(),
                    simulation.state().velocityStates()[block].generalVelocity().linear()};
   }
   return samples;
}
} // namespace

int main(int argumentCount, char** arguments)
{
   const ZqString folder = argumentCount > 1 ? arguments[1] : "examples/models";
   ZqStatedSystem scene;
   ZqInputTable hands;
   if (!Zq::load(scene, folder + "/slope.xml") ||
       !hands.load(folder + "/slope.csv", scene.system()))
      return 1;
   hands.setInterpolation(ZqInputTable::Interpolation::Linear);

   ZqSimulation simulation(scene);
   const Samples start = blocksAt(simulation, hands, 2.8);
   const Samples later = blocksAt(simulation, hands, 3.8);
   const Samples end = blocksAt(simulation, hands, 20.0);
   bool isRight = true;
   std::cout << "slope (degrees)  acceleration (m/s^2)  should be  creep in 16.2 s (m)\n";
   for (ZqU32 i = 0; i < start.size(); ++i)
   {
      const ZqVector down =
         scene.state().positionStates()[2 * i].coordSysXForm().orientation() * ZqVector(1, 0, 0);
      const ZqReal angle = std::asin(-down.z());
      const ZqReal acceleration = (later[i].velocity - start[i].velocity).dot(down) / 1.0;
      const bool slides = std::tan(angle) > 0.45;
      const ZqReal expected =
         slides ? 9.80665 * (std::sin(angle) - kineticFriction * std::cos(angle)) : 0.0;
      std::cout << std::setw(15) << angle * 180.0 / ZqMath::pi << std::setw(22) << acceleration
                << std::setw(11) << expected;
      if (!slides)
      {
         const ZqReal creep = (end[i].position - later[i].position).mag();
         std::cout << std::setw(21) << creep;
         isRight = isRight && creep < 1e-9;
      }
      std::cout << '\n';
      isRight = isRight && std::abs(acceleration - expected) < 1e-4 * 9.80665;
   }
   return isRight ? 0 : 1;
}
