#include "support/allocationCount.h"
#include "support/logCapture.h"
#include "support/randomScene.h"
#include "zqManipulator/dynamics/tools/ZqGravitationalTorqueTool.h"
#include "zqManipulator/dynamics/tools/ZqMassMatrixTool.h"
#include "zqManipulator/foundation/geometry/ZqPlane.h"

#include <gtest/gtest.h>

namespace
{
using zqTest::RandomScene;
using zqTest::RandomValues;

RandomScene randomScene(ZqU32 seed, ZqU32 links, bool isFixedBase = true)
{
   RandomValues random(seed);
   ZqIndividualManipulator model = zqTest::randomManipulator(random, links);
   model.setIsFixedBase(isFixedBase);
   return RandomScene(seed, model);
}

/// In the motion of the scene, with random accelerations on top of gravity.
ZqManipulatorActiveState accelerated(RandomScene& scene)
{
   ZqManipulatorActiveState active = scene.activeState();
   ZqAccelerationState acceleration = scene.randomAcceleration();
   acceleration.generalAcceleration() += ZqGeneralMotion(scene.gravity, ZqVector());
   active.setAccelerationState(acceleration);
   return active;
}

TEST(TotalTorque, NoBaseForceRemainsWhereTheBaseIsNotHeld)
{
   RandomScene scene = randomScene(43, 8, false);
   ZqManipulatorActiveState active = accelerated(scene);
   ZqTotalTorqueTool tool;
   tool.setManipulator(&scene.manipulator());
   const ZqGeneralForce held = tool.torques(scene.external, active, nullptr).generalForce();
   EXPECT_GT(held.force().mag(), 1.0);
   EXPECT_TRUE(tool.torquesNoBaseForce(scene.external, active, nullptr)
                  .generalForce()
                  .approxEq(ZqGeneralForce(), 1e-10 * held.force().mag()));
}

TEST(ZeroMomentPoint, StaysWhereNoForcePresses)
{
   const RandomScene scene = randomScene(45, 6);
   ZqManipulatorActiveState active;
   active.setPositionState(scene.position);
   ZqVelocityState rest;
   rest.jointVelocities().resize(6);
   active.setVelocityState(rest);
   active.setAccelerationState(ZqAccelerationState::zeroCompatibleState(rest));
   const ZqVector center = scene.manipulator().getCenterOfMassInSystem(active);
   const ZqPlane floor(ZqVector(1.0, 2.0, -3.0), ZqVector(0.0, 0.0, 1.0));
   ZqVector point(7.0, 7.0, 7.0);
   scene.manipulator().computeZeroMomentPoint(floor, active, point, nullptr);
   EXPECT_EQ(point, ZqVector(7.0, 7.0, 7.0));
   // A result in the place of the point does not move it for the outer links.
   active = scene.activeState();
   ZqVector moment;
   scene.manipulator().computeMomentFromLinearAcceleration(center, active, moment, nullptr);
   point = center;
   scene.manipulator().computeMomentFromLinearAcceleration(point, active, point, nullptr);
   EXPECT_EQ(point, moment);
}

TEST(TorqueTools, AnswerForNothingWithoutAManipulatorAndForStatesThatDoNotFit)
{
   zqTest::LogCapture log;
   ZqManipulatorActiveState active;
   ZqMassMatrixTool mass;
   ZqMatrixDTool coupling;
   ZqTotalTorqueTool total;
   ZqGravitationalTorqueTool gravity;
   const auto sumOfSizes = [&](const ZqManipulatorExternalForce& force)
   {
      ZqGravitationalTorqueTool gradient = gravity;
      return mass.massMatrix(active, nullptr).rows() +
             mass.extendedMassMatrixInBase(active, nullptr).rows() +
             mass.extendedMassMatrixInSystem(active, nullptr).rows() +
             total.torques(force, active, nullptr).jointTorques().size() +
             coupling.matrixD(active, nullptr).rows() +
             total.torquesNoBaseForce(force, active, nullptr).jointTorques().size() +
             gravity.gravitationalTorques(active, nullptr).rows() +
             gradient.gravitationalTorqueGradient(0, active, nullptr).rows() +
             mass.nullSpaceTorque(active, ZqReArray()).rows();
   };
   EXPECT_EQ(sumOfSizes({}), 0u);
   EXPECT_EQ(total.torque(0, {}, active, nullptr), 0.0);
   EXPECT_EQ(total.totalTorqueType(), ZqTotalTorqueTool::ActuatorOutputSubtracted);
   EXPECT_EQ(total.generalForce({}, active, nullptr), ZqGeneralForce());
   EXPECT_EQ(gravity.gravitationalTorque(0, active, nullptr), 0.0);
   EXPECT_TRUE(log.empty());

   // A state of another size: every joint is answered for, and messages say what is missing.
   const RandomScene scene = randomScene(46, 6);
   const RandomScene smaller = randomScene(47, 3);
   mass.setManipulator(&scene.manipulator());
   coupling.setManipulator(&scene.manipulator());
   total.setManipulator(&scene.manipulator());
   gravity.setManipulator(&scene.manipulator());
   for (const ZqManipulatorActiveState& state : {ZqManipulatorActiveState(), smaller.activeState()})
   {
      active = state;
      EXPECT_EQ(sumOfSizes(smaller.external), 6u + 12 + 12 + 6 + 6 + 6 + 6 + 6 + 6);
   }
   EXPECT_TRUE(log.contains("crbi(): index"));
   active = scene.activeState();
   for (const ZqU32 index : {6U, ZqBaseLinkIndex})
      EXPECT_EQ(total.torque(index, scene.external, active, nullptr), 0.0);

   ZqReArray result;
   coupling.transformMatrixD(ZqReArray(2, 5), ZqOrientation(), result);
   EXPECT_TRUE(log.contains("transformMatrixD(): 5 columns are not 6"));
   EXPECT_EQ(result.rows(), 0u);
}

TEST(TorqueTools, AllocateNothingOnceSizesHaveSettled)
{
   RandomScene scene = randomScene(47, 20);
   ZqManipulatorActiveState active = scene.activeState();
   ZqMassMatrixTool mass;
   ZqTotalTorqueTool total;
   ZqGravitationalTorqueTool gravity;
   std::size_t allocations = 1;
   ZqReal energy = 0.0;
   for (int round = 0; round < 3; ++round)
   {
      const zqTest::AllocationCount count;
      scene.position.jointPositions()[0] += 0.1;
      active.setPositionState(scene.position);
      mass.setManipulator(&scene.manipulator());
      total.setManipulator(&scene.manipulator());
      gravity.setManipulator(&scene.manipulator());
      mass.massMatrix(active, nullptr);
      mass.extendedMassMatrixInSystem(active, nullptr);
      total.torquesNoBaseForce(scene.external, active, nullptr);
      gravity.gravitationalTorques(active, nullptr);
      gravity.gravitationalTorqueGradient(7, active, nullptr);
      energy = scene.manipulator().computeKineticEnergy(active, &mass);
      mass.nullSpaceTorque(active, ZqReArray::nullObject());
      allocations = count.count();
   }
   EXPECT_EQ(allocations, 0u);
   EXPECT_EQ(scene.manipulator().computeKineticEnergy(active, nullptr), energy);
   const ZqReArray M = mass.massMatrix(active, nullptr);
   mass.setPositionState(scene.position);
   EXPECT_EQ(mass.massMatrix(nullptr, nullptr), M);
}
} // namespace
