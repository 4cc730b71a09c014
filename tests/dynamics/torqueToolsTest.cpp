#include "support/allocationCount.h"
#include "support/logCapture.h"
#include "support/movingScene.h"
#include "zqManipulator/dynamics/ZqGravitationalTorqueTool.h"
#include "zqManipulator/dynamics/ZqMassMatrixTool.h"
#include "zqManipulator/foundation/geometry/ZqPlane.h"

#include <gtest/gtest.h>

namespace
{
using zqTest::MovingScene;
using zqTest::RandomValues;

/// The mass matrix by carrying each joint's force from frame to frame towards the base.
ZqReArray carriedMassMatrix(const ZqIndividualManipulator& manipulator,
                            ZqManipulatorActiveState& active)
{
   const auto& q = active.positionState().jointPositions();
   ZqReArray M(manipulator.jointDof(), manipulator.jointDof());
   for (ZqU32 i = 0; i < M.rows(); ++i)
   {
      const ZqManipulatorLink* link = manipulator.linkByIndex(i);
      ZqGeneralForce F =
         link->crbi(active, nullptr)
            .calculateForce(link->linkKinematicsContainer().calculateAcceleration(q[i], 0.0, 1.0));
      for (; link->linkIndex() != ZqBaseLinkIndex; link = link->parentLink())
      {
         const ZqU32 j = link->linkIndex();
         const ZqLinkKinematicsContainer& joint = link->linkKinematicsContainer();
         const ZqGeneralMotion& s = joint.calculateAcceleration(q[j], 0.0, 1.0);
         M[i][j] = M[j][i] = F.force().dot(s.linear()) + F.moment().dot(s.angular());
         F.transformBy(joint.calculateTransform(q[j]));
      }
   }
   return M;
}

/// The largest difference of elements, in units of the diagonal elements beside them.
ZqReal difference(const ZqReArray& a, const ZqReArray& b)
{
   ZqReal result = a.rows() == b.rows() && a.columns() == b.columns() ? 0.0 : 1.0;
   for (ZqU32 i = 0; result < 1.0 && i < a.rows(); ++i)
      for (ZqU32 j = 0; j < a.columns(); ++j)
         result = std::max(result, std::abs(a[i][j] - b[i][j]) / std::sqrt(b[i][i] * b[j][j]));
   return result;
}

/// Whether a link stands between the base and another one.
bool isInboard(const ZqIndividualManipulator& manipulator, ZqU32 inner, ZqU32 outer)
{
   const ZqManipulatorLink* link = manipulator.linkByIndex(outer);
   while (link != nullptr && link->linkIndex() != inner)
      link = link->parentLink();
   return link != nullptr;
}

ZqReal kineticEnergy(const ZqManipulatorLink& link, ZqManipulatorActiveState& active)
{
   const ZqGeneralMotion& V = link.dhFrameVelocityInLocal(active);
   const ZqGeneralForce momentum = link.massPropertiesInDHFrame().calculateForce(V);
   return 0.5 * (V.linear().dot(momentum.force()) + V.angular().dot(momentum.moment()));
}

TEST(MassMatrix, IsThatOfForcesCarriedToTheBaseAndOfInverseDynamics)
{
   RandomValues random(41);
   for (ZqU32 i = 0; i < 100; ++i)
   {
      SCOPED_TRACE(i);
      MovingScene scene(random, zqTest::randomManipulator(random, random.index(0, 30)));
      const ZqIndividualManipulator& manipulator = scene.manipulator();
      ZqMassMatrixTool tool;
      tool.setManipulator(&manipulator);
      tool.setPositionState(scene.position);
      const ZqReArray M = tool.massMatrix(nullptr, nullptr);
      const ZqReArray carried = carriedMassMatrix(manipulator, scene.active);
      EXPECT_LE(difference(M, carried), 1e-12);
      for (ZqU32 k = 0; k < scene.n; ++k)
         for (ZqU32 j = 0; j < k; ++j)
            EXPECT_TRUE(M[k][j] == M[j][k] && (isInboard(manipulator, j, k) || M[k][j] == 0.0));

      const ZqReArray extended = tool.extendedMassMatrixInBase(scene.active, nullptr);
      ZqReArray whole;
      manipulator.crbi(scene.active, nullptr).getArray(whole);
      ASSERT_EQ(extended.rows(), scene.n + 6);
      EXPECT_TRUE(extended == extended.transpose());
      for (ZqU32 k = 0; k < 6; ++k)
         EXPECT_TRUE(
            std::equal(whole[k].begin(), whole[k].end(), extended[scene.n + k].begin() + scene.n));

      ZqReal energy = kineticEnergy(manipulator, scene.active);
      for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
         energy += kineticEnergy(*link, scene.active);
      ZqMassMatrixTool* const given = i % 2 == 0 ? &tool : nullptr;
      EXPECT_NEAR(manipulator.computeKineticEnergy(scene.active, given), energy, 1e-12 * energy);

      // At rest, so that dampers are; the motors' inertia comes on top.
      tool.setIsFixedBase(true);
      ZqReArray byInverseDynamics = tool.nullSpaceTorque(scene.active, ZqReArray());
      for (ZqU32 k = 0; k < scene.n; ++k)
         byInverseDynamics[k][k] -= manipulator.linkByIndex(k)->jointActuator().effectiveInertia(0);
      EXPECT_LE(difference(byInverseDynamics, carried), 1e-12);
      EXPECT_EQ(tool.nullSpaceTorque(scene.active, ZqReArray(scene.n, 2)), ZqReArray(2, scene.n));
   }
}

TEST(TotalTorque, TypeSaysWhatOfTheActuatorCounts)
{
   RandomValues random(42);
   MovingScene scene(random, zqTest::randomManipulator(random, 6));
   scene.accelerate(zqTest::randomAcceleration(random, 6, true));
   ZqTotalTorqueTool tool;
   EXPECT_EQ(tool.totalTorqueType(), ZqTotalTorqueTool::ActuatorOutputSubtracted);
   tool.setManipulator(&scene.manipulator());
   tool.setTotalTorqueType(ZqTotalTorqueTool::BodyTorque);
   const ZqManipulatorTorque body = tool.torques(scene.force, scene.active, nullptr);
   tool.setTotalTorqueType(ZqTotalTorqueTool::LinearTorqueAdded);
   const ZqManipulatorTorque linear = tool.torques(scene.force, scene.active, nullptr);
   tool.setTotalTorqueType(ZqTotalTorqueTool::ActuatorOutputSubtracted);
   const ZqManipulatorTorque net = tool.torques(scene.force, scene.active, nullptr);
   for (ZqU32 i = 0; i < 6; ++i)
   {
      const auto& drive =
         scene.manipulator().linkByIndex(i)->jointActuator().mechanicalComponentContainer();
      const ZqReal tau = body.jointTorques()[i];
      EXPECT_EQ(linear.jointTorques()[i], tau + drive.linearTorque(scene.active));
      EXPECT_EQ(net.jointTorques()[i], tau - drive.outputTorque(0.0, tau, scene.active));
   }

   // A joint beyond the list of accelerations does not accelerate its motor either.
   tool.setTotalTorqueType(ZqTotalTorqueTool::BodyTorque);
   ZqAccelerationState zero = scene.active.accelerationState();
   zero.jointAccelerations()[5] = 0.0;
   scene.active.setAccelerationState(zero);
   const ZqReal still = tool.torque(5, scene.force, scene.active, nullptr);
   zero.resize(5);
   scene.active.setAccelerationState(zero);
   EXPECT_EQ(tool.torque(5, scene.force, scene.active, nullptr), still);
   EXPECT_EQ(tool.torque(6, scene.force, scene.active, nullptr), 0.0);
   EXPECT_EQ(tool.torque(ZqBaseLinkIndex, scene.force, scene.active, nullptr), 0.0);
}

TEST(TotalTorque, NoBaseForceRemainsWhereTheBaseIsNotHeld)
{
   RandomValues random(43);
   ZqIndividualManipulator model = zqTest::randomManipulator(random, 8);
   model.setIsFixedBase(false);
   MovingScene scene(random, model);
   scene.accelerate(zqTest::randomAcceleration(random, 8, false));
   ZqTotalTorqueTool tool;
   tool.setManipulator(&scene.manipulator());
   const ZqGeneralForce held = tool.torques(scene.force, scene.active, nullptr).generalForce();
   EXPECT_GT(held.force().mag(), 1.0);
   EXPECT_TRUE(tool.torquesNoBaseForce(scene.force, scene.active, nullptr)
                  .generalForce()
                  .approxEq(ZqGeneralForce(), 1e-10 * held.force().mag()));
}

TEST(GravitationalTorque, IsThatOfABaseThatIsPushedUpAndHasItsDerivatives)
{
   RandomValues random(44);
   for (ZqU32 i = 0; i < 20; ++i)
   {
      SCOPED_TRACE(i);
      const ZqU32 n = random.index(1, 12);
      MovingScene scene(random, zqTest::randomManipulator(random, n));
      ZqVelocityState rest;
      rest.jointVelocities().resize(n);
      scene.active.setVelocityState(rest);
      ZqTotalTorqueTool total;
      total.setManipulator(&scene.manipulator());
      total.setTotalTorqueType(ZqTotalTorqueTool::BodyTorque);
      ZqManipulatorExternalForce none;
      none.resize(n);
      const auto expected = total.torques(none, scene.active, nullptr).jointTorques();

      ZqGravitationalTorqueTool tool;
      tool.setManipulator(&scene.manipulator());
      tool.setGravityVector(scene.system.environment().upGravityVector());
      const ZqReArray torques = tool.gravitationalTorques(scene.active, nullptr);
      for (ZqU32 j = 0; j < n; ++j)
         EXPECT_NEAR(torques[j][0], expected[j], 1e-10);

      // Central differences: the error of the quotient is of order h^2 and of rounding over h.
      constexpr ZqReal h = 1e-5;
      const ZqU32 joint = random.index(0, n - 1);
      const ZqReArray gradient = tool.gravitationalTorqueGradient(joint, scene.active, nullptr);
      for (ZqU32 j = 0; j < n; ++j)
      {
         const auto torqueAt = [&](ZqReal step)
         {
            ZqPositionState moved = scene.position;
            moved.jointPositions()[j] += step;
            tool.setPositionState(moved);
            return tool.gravitationalTorque(joint, nullptr, nullptr);
         };
         EXPECT_NEAR(gradient[j][0], (torqueAt(h) - torqueAt(-h)) / (2.0 * h), 1e-5);
      }
   }
}

TEST(ZeroMomentPoint, LiesBelowTheCenterOfMassAtRestAndStaysWhereNoForcePresses)
{
   RandomValues random(45);
   MovingScene scene(random, zqTest::randomManipulator(random, 6));
   ZqVelocityState rest;
   rest.jointVelocities().resize(6);
   scene.active.setVelocityState(rest);
   ZqAccelerationState none;
   none.resize(6);
   scene.active.setAccelerationState(none);
   const ZqVector center = scene.manipulator().getCenterOfMassInSystem(scene.active);
   const ZqPlane floor(ZqVector(1.0, 2.0, -3.0), ZqVector(0.0, 0.0, 1.0));
   ZqVector point(7.0, 7.0, 7.0);
   scene.manipulator().computeZeroMomentPoint(floor, scene.active, point, nullptr);
   EXPECT_EQ(point, ZqVector(7.0, 7.0, 7.0));
   scene.manipulator().computeZeroMomentPoint(floor, ZqVector(0.0, 0.0, -9.8), scene.active, point,
                                              nullptr);
   EXPECT_TRUE(point.approxEq(ZqVector(center.x(), center.y(), -3.0), 1e-12));

   // A result in the place of the point does not move it for the outer links.
   scene.active.setAccelerationState(scene.gravity);
   ZqVector moment;
   scene.manipulator().computeMomentFromLinearAcceleration(center, scene.active, moment, nullptr);
   point = center;
   scene.manipulator().computeMomentFromLinearAcceleration(point, scene.active, point, nullptr);
   EXPECT_EQ(point, moment);
}

TEST(TorqueTools, AnswerForNothingWithoutAManipulatorAndForStatesThatDoNotFit)
{
   zqTest::LogCapture log;
   RandomValues random(46);
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
             coupling.matrixD(active, nullptr).rows() +
             total.torques(force, active, nullptr).jointTorques().size() +
             gravity.gravitationalTorques(active, nullptr).rows() +
             gradient.gravitationalTorqueGradient(0, active, nullptr).rows() +
             mass.nullSpaceTorque(active, ZqReArray()).rows() +
             total.torquesNoBaseForce(force, active, nullptr).jointTorques().size();
   };
   EXPECT_EQ(sumOfSizes({}), 0u);
   EXPECT_EQ(total.torque(0, {}, active, nullptr), 0.0);
   EXPECT_EQ(total.generalForce({}, active, nullptr), ZqGeneralForce());
   EXPECT_EQ(gravity.gravitationalTorque(0, active, nullptr), 0.0);
   EXPECT_TRUE(log.empty());

   // A state of another size: every joint is answered for, and messages say what is missing.
   MovingScene scene(random, zqTest::randomManipulator(random, 6));
   MovingScene smaller(random, zqTest::randomManipulator(random, 3));
   mass.setManipulator(&scene.manipulator());
   coupling.setManipulator(&scene.manipulator());
   total.setManipulator(&scene.manipulator());
   gravity.setManipulator(&scene.manipulator());
   for (const ZqManipulatorActiveState& state : {ZqManipulatorActiveState(), smaller.active})
   {
      active = state;
      EXPECT_EQ(sumOfSizes(smaller.force), 6u + 12 + 12 + 6 + 6 + 6 + 6 + 6 + 6);
   }
   EXPECT_TRUE(log.contains("crbi(): index"));

   ZqReArray result;
   coupling.transformMatrixD(ZqReArray(2, 5), ZqOrientation(), result);
   EXPECT_TRUE(log.contains("transformMatrixD(): 5 columns are not 6"));
   EXPECT_EQ(result.rows(), 0u);
}

TEST(TorqueTools, AllocateNothingOnceSizesHaveSettled)
{
   RandomValues random(47);
   MovingScene scene(random, zqTest::randomManipulator(random, 20));
   ZqMassMatrixTool mass;
   ZqTotalTorqueTool total;
   ZqGravitationalTorqueTool gravity;
   std::size_t allocations = 1;
   for (int round = 0; round < 3; ++round)
   {
      const zqTest::AllocationCount count;
      scene.position.jointPositions()[0] += 0.1;
      scene.active.setPositionState(scene.position);
      mass.setManipulator(&scene.manipulator());
      total.setManipulator(&scene.manipulator());
      gravity.setManipulator(&scene.manipulator());
      mass.massMatrix(scene.active, nullptr);
      mass.extendedMassMatrixInSystem(scene.active, nullptr);
      total.torquesNoBaseForce(scene.force, scene.active, nullptr);
      gravity.gravitationalTorques(scene.active, nullptr);
      gravity.gravitationalTorqueGradient(7, scene.active, nullptr);
      scene.manipulator().computeKineticEnergy(scene.active, &mass);
      mass.nullSpaceTorque(scene.active, ZqReArray::nullObject());
      allocations = count.count();
   }
   EXPECT_EQ(allocations, 0u);
}
} // namespace
