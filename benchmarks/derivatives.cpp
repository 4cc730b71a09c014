// Derivatives of motion by the public tool, the setters of a new state included, beside inverse dynamics of
// the same states.

#include "models.h"
#include "zqManipulator/dynamics/bodies/ZqManipulatorExternalForce.h"
#include "zqManipulator/dynamics/tools/ZqMotionDerivativeTool.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>

namespace
{
struct Motion
{
   ZqPositionState position;
   ZqVelocityState velocity;
   ZqAccelerationState acceleration;
};

std::vector<Motion> randomMotions(const ZqIndividualManipulator& manipulator)
{
   zqTest::RandomValues random(manipulator.jointDof());
   const auto reals = [&]
   {
      std::vector<ZqReal> values(manipulator.jointDof());
      for (ZqReal& value : values)
         value = random.real();
      return values;
   };
   std::vector<Motion> motions(64);
   for (Motion& motion : motions)
   {
      motion.position = zqTest::randomPosition(random, manipulator);
      motion.velocity.setJointVelocities(reals());
      motion.velocity.setGeneralVelocity(zqTest::randomMotion(random));
      motion.acceleration.setJointAccelerations(reals());
      motion.acceleration.setGeneralAcceleration(zqTest::randomMotion(random));
   }
   return motions;
}

/// Processor time (us) of one call, the median of many batches.
double microseconds(const std::function<void(std::size_t)>& run)
{
   const auto batch = [&](std::size_t count)
   {
      const std::clock_t start = std::clock();
      for (std::size_t i = 0; i < count; ++i)
         run(i % 64);
      return 1e6 * static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
   };
   batch(64); // sizes settle
   const auto count = static_cast<std::size_t>(4000.0 * 64.0 / std::max(batch(64), 1.0)) + 64;
   std::vector<double> times;
   for (int round = 0; round < 25; ++round)
      times.push_back(batch(count) / static_cast<double>(count));
   std::nth_element(times.begin(), times.begin() + 12, times.end());
   return times[12];
}

void rows(const char* title, const ZqIndividualManipulator& manipulator)
{
   const std::vector<Motion> motions = randomMotions(manipulator);
   ZqManipulatorExternalForce none;
   none.resize(manipulator.jointDof());
   ZqManipulatorActiveState active;
   ZqTotalTorqueTool torques;
   torques.setManipulator(&manipulator);
   torques.setTotalTorqueType(ZqTotalTorqueTool::BodyTorque);
   ZqMotionDerivativeTool tool;
   tool.setManipulator(&manipulator);
   const ZqU32 tip = manipulator.jointDof() - 1;
   const std::pair<const char*, std::function<void()>> operations[] = {
      {"inverse dynamics", [&] { torques.torques(none, active, nullptr); }},
      {"its gradients by q and v", [&] { tool.computeInverseDynamicsGradients(none, active); }},
      {"gradients of forward dynamics",
       [&] { tool.computeForwardDynamicsGradients(none, active); }},
      {"Jacobian of the tip",
       [&] { tool.jacobian(tip, ZqVector(), ZqMotionDerivativeTool::Axes::Mixed, active); }},
      {"centroidal momentum matrix", [&] { tool.centroidalMomentumMatrix(active); }}};
   double unit = 0.0;
   for (const auto& [name, operation] : operations)
   {
      const double time = microseconds(
         [&](std::size_t i)
         {
            active.setPositionState(motions[i].position);
            active.setVelocityState(motions[i].velocity);
            active.setAccelerationState(motions[i].acceleration);
            operation();
         });
      unit = unit > 0.0 ? unit : time;
      std::printf("%-18s %-32s %9.3f %9.2f\n", title, name, time, time / unit);
      std::fflush(stdout);
   }
}
} // namespace

int main()
{
   std::printf("%-51s %9s %9s\n", "", "us", "of inverse dynamics");
   rows("arm of 7", zqBenchmark::arm7());
   rows("free tree of 30", zqBenchmark::tree30());
   rows("chain of 100", zqBenchmark::chain100());
   return 0;
}
