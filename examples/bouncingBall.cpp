// Drops a ball and compares how high it bounces with what the dissipation c of the contact says: a ball that
// comes at the speed v leaves at R v, where cv - ln(1 + cv) = -cRv - ln(1 - cRv). The faster it comes, the
// more is lost.

#include "zqManipulator/zqManipulator.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <iostream>

namespace
{
constexpr ZqReal radius = 0.05;     // m
constexpr ZqReal dissipation = 0.1; // s/m, as the model has it
constexpr ZqReal gravity = 9.80665; // m/s^2

/// By bisection: the right side grows with R.
ZqReal restitution(ZqReal v)
{
   const ZqReal cv = dissipation * v;
   const ZqReal taken = cv - std::log1p(cv);
   ZqReal low = 0.0;
   ZqReal high = std::min(1.0, 1.0 / cv);
   for (int i = 0; i < 60; ++i)
   {
      const ZqReal R = 0.5 * (low + high);
      (-cv * R - std::log1p(-cv * R) < taken ? low : high) = R;
   }
   return low;
}

ZqReal heightOf(const ZqSimulation& simulation)
{
   return simulation.state().positionStates()[1].coordSysXForm().translation().z() - radius;
}
ZqReal rateOf(const ZqSimulation& simulation)
{
   return simulation.state().velocityStates()[1].generalVelocity().linear().z();
}
} // namespace

int main(int argumentCount, char** arguments)
{
   ZqStatedSystem scene;
   if (!Zq::load(scene, argumentCount > 1 ? arguments[1] : "examples/models/bouncingBall.xml"))
      return 1;
   ZqSimulation::Settings settings;
   settings.integrator = ZqSimulation::Integrator::RungeKutta;
   ZqSimulation simulation(scene, settings);
   constexpr ZqReal dt = 1e-5;
   ZqReal height = heightOf(simulation);
   ZqReal error = 0.0;
   ZqReal rateBefore = 0.0;
   std::cout << "bounce  height (m)  restitution  should be\n";
   int bounce = 0;
   for (int step = 1; bounce < 8; ++step)
   {
      if (!simulation.stepTo(step * dt))
         return 1;
      const ZqReal rate = rateOf(simulation);
      if (rateBefore > 0.0 && rate <= 0.0)
      {
         // The top is within the step before.
         const ZqReal top = heightOf(simulation) + rate * rate / (2.0 * gravity);
         const ZqReal expected = restitution(std::sqrt(2.0 * gravity * height));
         const ZqReal measured = std::sqrt(top / height);
         std::cout << std::setw(6) << ++bounce << std::setw(12) << top << std::setw(13) << measured
                   << std::setw(11) << expected << '\n';
         error = std::max(error, std::abs(measured - expected));
         height = top;
      }
      rateBefore = rate;
   }
   return error < 1e-3 ? 0 : 1;
}
