#include "support/allocationCount.h"
#include "support/logCapture.h"
#include "support/longChain.h"
#include "support/movingScene.h"
#include "zqManipulator/dynamics/ZqArbiAccelerationTool.h"
#include "zqManipulator/dynamics/ZqCrbiAccelerationTool.h"
#include "zqManipulator/dynamics/ZqGravitationalTorqueTool.h"
#include "zqManipulator/simulation/ZqPointStateEqualityConstraint.h"

#include <gtest/gtest.h>

namespace
{
using zqTest::largest;
using zqTest::MovingScene;
using zqTest::RandomValues;

/// Random trees, every other one with a free base.
ZqIndividualManipulator model(RandomValues& random, ZqU32 i, ZqU32 links)
{
   ZqIndividualManipulator manipulator = zqTest::randomManipulator(random, links);
   manipulator.setIsFixedBase(i % 2 == 0);
   return manipulator;
}

/// Chains that are closed by a point constraint to themselves, and by a second one to the surroundings.
ZqIndividualManipulator closedModel(RandomValues& random, ZqU32 i, ZqU32 constraintCount)
{
   ZqIndividualManipulator manipulator =
      zqTest::makeManipulator(zqTest::chain(16), [&](ZqU32) { return zqTest::randomLink(random); });
   manipulator.setIsFixedBase(i % 2 == 0);
   manipulator.setCoordSysXForm(zqTest::randomFrame(random));
   ZqStateEqualityConstraintVector constraints;
   for (ZqU32 k = 0; k < constraintCount; ++k)
   {
      ZqPointStateEqualityConstraint constraint;
      constraint.setFirstLinkLabel(k == 0 ? "label15" : "label7");
      constraint.setSecondLinkLabel(k == 0 ? "label8" : "surroundings");
      constraint.setFirstLinkPoint(random.vector());
      constraint.setSecondLinkPoint(random.vector());
      constraints.pushBack(constraint);
   }
   manipulator.setStateEqualityConstraints(constraints);
   return manipulator;
}

ZqAccelerationState solveByCrbi(MovingScene& scene)
{
   ZqCrbiAccelerationTool tool;
   ZqAccelerationState result;
   EXPECT_TRUE(tool.acceleration(scene.system, scene.manipulator(), scene.torque, scene.force,
                                 result, scene.active, true));
   return result;
}

ZqAccelerationState solveByArbi(MovingScene& scene)
{
   ZqArbiAccelerationTool tool;
   ZqAccelerationState result;
   EXPECT_TRUE(tool.acceleration(scene.system, scene.manipulator(), scene.position, scene.velocity,
                                 scene.torque, scene.force, result, scene.active));
   return result;
}

/// The largest number of G a + G' v, where the base's part of a stands in the axes of the system.
ZqReal constraintError(const MovingScene& scene, const ZqAccelerationState& acceleration)
{
   const auto& manipulator = scene.manipulator();
   const auto& constraints = manipulator.stateEqualityConstraints();
   const ZqReArray G = constraints.jacobian(manipulator, scene.position);
   const ZqReArray rate =
      constraints.jacobianDerivative(manipulator, scene.position, scene.velocity);
   const ZqU32 base = manipulator.isFixedBase() ? 0 : 6;
   ZqReal result = 0.0;
   for (ZqU32 i = 0; i < G.rows(); ++i)
   {
      ZqReal sum = 0.0;
      for (ZqU32 j = 0; j < G.columns(); ++j)
         sum += j < base ? G[i][j] * acceleration.generalAcceleration()[j] +
                              rate[i][j] * scene.velocity.generalVelocity()[j]
                         : G[i][j] * acceleration.jointAccelerations()[j - base] +
                              rate[i][j] * scene.velocity.jointVelocities()[j - base];
      result = std::max(result, std::abs(sum));
   }
   return result;
}

TEST(AccelerationTools, AgreeAndTakeGravityFromTheSystemWhenTheyHaveToMakeTheState)
{
   RandomValues random(51);
   for (ZqU32 i = 0; i < 40; ++i)
   {
      SCOPED_TRACE(i);
      MovingScene scene(random, model(random, i, random.index(0, 12)));
      const ZqAccelerationState expected = solveByCrbi(scene);
      const ZqReal tolerance = 1e-10 * (1.0 + largest(expected));
      EXPECT_TRUE(solveByArbi(scene).approxEq(expected, tolerance));

      const auto& manipulator = scene.manipulator();
      ZqAccelerationState result;
      // The motors of the tools follow the joints, also after a call at rest.
      ZqVelocityState rest;
      rest.jointVelocities().resize(scene.n);
      ZqCrbiAccelerationTool crbi;
      crbi.acceleration(scene.system, manipulator, scene.position, rest, scene.torque, scene.force,
                        result, nullptr, true);
      crbi.acceleration(scene.system, manipulator, scene.position, scene.velocity, scene.torque,
                        scene.force, result, nullptr, true);
      EXPECT_TRUE(result.approxEq(expected, tolerance));
      ZqArbiAccelerationTool arbi;
      arbi.acceleration(scene.system, manipulator, scene.position, rest, scene.torque, scene.force,
                        result, nullptr);
      arbi.acceleration(scene.system, manipulator, scene.position, scene.velocity, scene.torque,
                        scene.force, result, nullptr);
      EXPECT_TRUE(result.approxEq(expected, tolerance));

      // Other torques with the factors that are there, then with none at all.
      scene.torque.jointTorques().assign(scene.n + 2, 3.0);
      scene.torque.setGeneralForce(zqTest::randomForce(random));
      crbi.acceleration(scene.system, manipulator, scene.torque, scene.force, result, scene.active,
                        false);
      EXPECT_TRUE(result.approxEq(solveByCrbi(scene), tolerance));
      zqTest::LogCapture log;
      ZqCrbiAccelerationTool fresh;
      EXPECT_TRUE(fresh.acceleration(scene.system, manipulator, scene.torque, scene.force, result,
                                     scene.active, false));
      EXPECT_EQ(result.jointAccelerations().size(), scene.n);
   }
}

TEST(AccelerationTools, TakeTorquesThatAreNotGivenForZero)
{
   RandomValues random(52);
   MovingScene scene(random, model(random, 1, 5));
   for (ZqU32 i = 2; i < 5; ++i)
      scene.torque.jointTorques()[i] = 0.0;
   const ZqAccelerationState expected = solveByCrbi(scene);
   scene.torque.jointTorques().resize(2);
   EXPECT_EQ(solveByCrbi(scene), expected);
   EXPECT_TRUE(solveByArbi(scene).approxEq(expected, 1e-10 * largest(expected)));
}

/// A point of mass off the origin of its base frame: its mass matrix is singular, and it is
/// accelerated as a point is.
TEST(CrbiAcceleration, DoesNotTurnAFreePointOfMass)
{
   RandomValues random(60);
   ZqIndividualManipulator point =
      zqTest::makeManipulator({}, [](ZqU32) { return ZqManipulatorLink(); });
   ZqRigidBodyMassProperties mass = ZqRigidBodyMassProperties::pointMass(2.0);
   mass.transformBy(ZqVector(0.3, -0.2, 0.5));
   point.setMassProperties(mass);
   point.setIsFixedBase(false);
   MovingScene scene(random, point);
   ZqVelocityState rest;
   scene.active.setVelocityState(rest);
   scene.force = {};
   const ZqVector force = random.vector();
   scene.torque.setGeneralForce({force, ZqVector(0.3, -0.2, 0.5).cross(force)});
   const ZqGeneralMotion result = solveByCrbi(scene).generalAcceleration();
   const ZqVector expected =
      scene.manipulator().dhFrameInSystem(scene.active.activePositionState()).orientation() *
         force * 0.5 -
      scene.gravity.generalAcceleration().linear();
   EXPECT_TRUE(result.approxEq({expected, ZqVector()}, 1e-13));
}

/// Links of a reference lead to the base of its model, which stands elsewhere and has another mass.
TEST(AccelerationTools, AnswerForAReferenceWhereItStands)
{
   RandomValues random(60);
   for (ZqU32 i = 0; i < 6; ++i)
   {
      SCOPED_TRACE(i);
      const bool isClosed = i >= 4;
      MovingScene scene(random, isClosed ? closedModel(random, i, 2) : model(random, i, 4));
      ZqIndividualManipulator::Manipulators all(2, scene.manipulator());
      all[0].setManipulatorLabel("model");
      all[0].setCoordSysXForm(zqTest::randomFrame(random));
      all[0].setMassProperties(zqTest::randomMass(random));
      ZqManipulatorReferenceDescription description;
      description.setIsManipulatorReferenced(true);
      description.setReferencedManipulatorLabel("model");
      all[1].setManipulatorReferenceDescription(description);
      all[1].clearChildLinks();
      ASSERT_TRUE(all[1].configureManipulatorReference(all));

      const ZqAccelerationState expected = solveByCrbi(scene);
      ZqAccelerationState result;
      ZqCrbiAccelerationTool().acceleration(scene.system, all[1], scene.position, scene.velocity,
                                            scene.torque, scene.force, result, nullptr, true);
      EXPECT_TRUE(result.approxEq(expected, 1e-9 * largest(expected)));
      ZqArbiAccelerationTool().acceleration(scene.system, all[1], scene.position, scene.velocity,
                                            scene.torque, scene.force, result, nullptr);
      EXPECT_TRUE(isClosed || result.approxEq(expected, 1e-9 * largest(expected)));
      ZqGravitationalTorqueTool gravity;
      gravity.setManipulator(&scene.manipulator());
      const ZqReal torque = gravity.gravitationalTorque(3, scene.active, nullptr);
      gravity.setManipulator(&all[1]);
      gravity.setPositionState(scene.position);
      EXPECT_NEAR(gravity.gravitationalTorque(3, nullptr, nullptr), torque, 1e-10);
   }
}

TEST(CrbiAcceleration, KeepsConstraintsAlsoWhenTheyAreStatedTwice)
{
   RandomValues random(53);
   for (ZqU32 i = 0; i < 40; ++i)
   {
      SCOPED_TRACE(i);
      ZqIndividualManipulator constrained = closedModel(random, i, 1 + i / 2 % 2);
      MovingScene scene(random, constrained);
      const ZqAccelerationState once = solveByCrbi(scene);
      EXPECT_LE(constraintError(scene, once), 1e-8 * (1.0 + largest(once)));

      ZqStateEqualityConstraintVector constraints = constrained.stateEqualityConstraints();
      constraints.pushBack(constrained.stateEqualityConstraints()[0]);
      constrained.setStateEqualityConstraints(constraints);
      scene.system.setFromManipulator(constrained);
      EXPECT_TRUE(solveByCrbi(scene).approxEq(once, 1e-6 * (1.0 + largest(once))));
   }
}

/// A solution for a random mask: with the torques that come out as commands, all accelerations are those
/// that came out.
TEST(HybridControl, CommandsBringAboutTheGivenAccelerations)
{
   RandomValues random(54);
   for (ZqU32 i = 0; i < 60; ++i)
   {
      SCOPED_TRACE(i);
      const bool isClosed = i % 3 == 0;
      const ZqIndividualManipulator manipulator =
         isClosed ? closedModel(random, i, 1) : model(random, i, random.index(0, 12));
      MovingScene scene(random, manipulator);
      const ZqU32 n = scene.n;
      // What is missing has its torque given, what is beyond has no effect.
      std::vector<bool> mask(random.index(0, n + 10));
      for (std::size_t k = 0; k < mask.size(); ++k)
         mask[k] = random.index(0, 2) != 0 || (isClosed && k > 4);
      const auto isGiven = [&](ZqU32 k) { return k < mask.size() && !mask[k]; };

      const ZqManipulatorTorque before = scene.torque;
      const ZqAccelerationState wanted =
         zqTest::randomAcceleration(random, n, manipulator.isFixedBase());
      ZqAccelerationState result = wanted;
      ZqCrbiAccelerationTool tool;
      EXPECT_TRUE(tool.hybridTorqueAcceleration(scene.system, scene.manipulator(), scene.force,
                                                mask, scene.torque, result, scene.active, true));
      for (ZqU32 k = 0; k < n; ++k)
      {
         EXPECT_TRUE(!isGiven(k) ||
                     result.jointAccelerations()[k] == wanted.jointAccelerations()[k]);
         EXPECT_TRUE(isGiven(k) || scene.torque.jointTorques()[k] == before.jointTorques()[k]);
      }
      const ZqAccelerationState check = solveByCrbi(scene);
      if (!manipulator.isFixedBase())
         result.setGeneralAcceleration(
            scene.manipulator().dhFrameInSystem(scene.active.activePositionState()).orientation() *
            result.generalAcceleration());
      EXPECT_TRUE(check.approxEq(result, 1e-8 * (1.0 + largest(check))));

      // With the factors that are there, the given accelerations and torques of then still hold.
      ZqManipulatorTorque again = before;
      ZqAccelerationState second = wanted;
      tool.hybridTorqueAcceleration(scene.system, scene.manipulator(), scene.force, {}, again,
                                    second, scene.active, false);
      EXPECT_EQ(again, scene.torque);
   }
}

TEST(HybridControl, JointWithoutAGearKeepsItsCommandAndLeavesItsTorqueToTheNext)
{
   RandomValues random(55);
   ZqIndividualManipulator geared =
      zqTest::makeManipulator(zqTest::chain(3), [&](ZqU32) { return zqTest::randomLink(random); });
   const std::vector<bool> mask(3, false);
   const auto commands = [&](ZqReal ratio)
   {
      for (ZqU32 i = 0; i < 3; ++i)
      {
         // Without the motor's inertia the torques do not depend on the gear.
         ZqJointActuator actuator = geared.linkByIndex(i)->jointActuator();
         actuator.setInertia(0.0);
         actuator.setFrictionCoefficient(0.0);
         actuator.setGearRatio(i == 1 ? ratio : 2.0);
         geared.linkByIndex(i)->setJointActuator(actuator);
      }
      RandomValues same(56);
      MovingScene scene(same, geared);
      scene.torque.jointTorques().assign(3, 0.0);
      ZqAccelerationState acceleration = zqTest::randomAcceleration(same, 3, true);
      ZqCrbiAccelerationTool tool;
      tool.hybridTorqueAcceleration(scene.system, scene.manipulator(), scene.force, mask,
                                    scene.torque, acceleration, scene.active, true);
      return scene.torque.jointTorques().values();
   };
   const std::vector<ZqReal> all = commands(2.0);
   const std::vector<ZqReal> skipped = commands(0.0);
   EXPECT_EQ(skipped[0], all[0]);
   EXPECT_EQ(skipped[1], 0.0);
   EXPECT_NE(skipped[2], all[2]);
}

TEST(HybridControl, TurnsGravityIntoTheAxesOfTheBase)
{
   RandomValues random(57);
   MovingScene scene(random, model(random, 0, 4));
   ZqCrbiAccelerationTool tool;
   ZqAccelerationState result;
   tool.hybridTorqueAcceleration(scene.system, scene.manipulator(), scene.position, scene.velocity,
                                 scene.force, {}, scene.torque, result, nullptr, true);
   scene.gravity.setGeneralAcceleration({scene.position.coordSysXForm().orientation().inverse() *
                                            scene.system.environment().upGravityVector(),
                                         ZqVector()});
   scene.active.setAccelerationState(scene.gravity);
   const ZqAccelerationState expected = solveByCrbi(scene);
   EXPECT_TRUE(result.approxEq(expected, 1e-10 * largest(expected)));
}

TEST(AccelerationTools, GoThroughLongChainsWithoutDeepRecursion)
{
   constexpr ZqU32 n = zqTest::longChain;
   RandomValues random(58);
   MovingScene scene(random,
                     zqTest::makeManipulator(zqTest::chain(n),
                                             [&](ZqU32)
                                             {
                                                ZqManipulatorLink link;
                                                ZqDenavitHartenberg joint;
                                                joint.setDhA(0.001);
                                                joint.setDhAlpha(random.real());
                                                link.setLinkKinematics(joint);
                                                link.setMassProperties(zqTest::randomMass(random));
                                                return link;
                                             }));
   scene.accelerate(solveByArbi(scene));
   ZqTotalTorqueTool tool;
   tool.setManipulator(&scene.manipulator());
   const auto& torques = tool.torques(scene.force, scene.active, nullptr).jointTorques();
   ZqReal sum = 0.0;
   for (const ZqReal torque : torques)
      sum += torque * torque;
   // Passive joints; the forces grow to 1e5 along the chain.
   EXPECT_LE(std::sqrt(sum / n), 1e-4);
}

TEST(AccelerationTools, AllocateNothingOnceSizesHaveSettled)
{
   RandomValues random(59);
   for (ZqU32 i = 0; i < 4; ++i)
   {
      MovingScene scene(random, i < 2 ? model(random, i, 20) : closedModel(random, i, 2));
      scene.system.addManipulator(zqTest::randomManipulator(random, 0));
      ZqManipulatorAttachmentMap attachments;
      ASSERT_TRUE(attachments.attachManipulator(1, 0, "label3", {}, "grip"));
      scene.system.setManipulatorAttachmentMap(attachments);
      ZqCrbiAccelerationTool crbi;
      ZqArbiAccelerationTool arbi;
      ZqAccelerationState result;
      const std::vector<bool> mask{true, false, true};
      std::size_t allocations = 1;
      for (int round = 0; round < 3; ++round)
      {
         const zqTest::AllocationCount count;
         scene.position.jointPositions()[0] += 0.1;
         scene.active.setPositionState(scene.position);
         crbi.acceleration(scene.system, scene.manipulator(), scene.torque, scene.force, result,
                           scene.active, true);
         crbi.hybridTorqueAcceleration(scene.system, scene.manipulator(), scene.force, mask,
                                       scene.torque, result, scene.active, true);
         arbi.acceleration(scene.system, scene.manipulator(), scene.position, scene.velocity,
                           scene.torque, scene.force, result, nullptr);
         allocations = count.count();
      }
      EXPECT_EQ(allocations, 0u) << i;
   }
}
} // namespace
