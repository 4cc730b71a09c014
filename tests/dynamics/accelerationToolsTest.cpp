#include "support/allocationCount.h"
#include "support/logCapture.h"
#include "support/longChain.h"
#include "support/randomScene.h"
#include "zqManipulator/dynamics/tools/ZqArbiAccelerationTool.h"
#include "zqManipulator/dynamics/tools/ZqCrbiAccelerationTool.h"
#include "zqManipulator/dynamics/tools/ZqGravitationalTorqueTool.h"
#include "zqManipulator/simulation/constraints/ZqPointStateEqualityConstraint.h"

#include <gtest/gtest.h>

namespace
{
using zqTest::RandomScene;
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
   constraints.resize(constraintCount + 1); // a place that is null
   manipulator.setStateEqualityConstraints(constraints);
   return manipulator;
}

/// The largest number of a state.
ZqReal largest(const ZqAccelerationState& state)
{
   ZqReal result = 0.0;
   for (const ZqReal value : state.jointAccelerations())
      result = std::max(result, std::abs(value));
   for (std::size_t k = 0; k < 6; ++k)
      result = std::max(result, std::abs(state.generalAcceleration()[k]));
   return result;
}

ZqAccelerationState solveByCrbi(const RandomScene& scene)
{
   ZqCrbiAccelerationTool tool;
   ZqAccelerationState result;
   ZqManipulatorActiveState active = scene.activeState();
   EXPECT_TRUE(tool.acceleration(scene.system, scene.manipulator(), scene.torque, scene.external,
                                 result, active, true));
   return result;
}

ZqAccelerationState solveByArbi(const RandomScene& scene)
{
   ZqArbiAccelerationTool tool;
   ZqAccelerationState result;
   ZqManipulatorActiveState active = scene.activeState();
   EXPECT_TRUE(tool.acceleration(scene.system, scene.manipulator(), scene.position, scene.velocity,
                                 scene.torque, scene.external, result, active));
   return result;
}

TEST(AccelerationTools, TakeGravityFromTheSystemWhenTheyHaveToMakeTheState)
{
   RandomValues random(51);
   for (ZqU32 i = 0; i < 40; ++i)
   {
      SCOPED_TRACE(i);
      RandomScene scene(i, model(random, i, random.index(0, 12)));
      const auto& manipulator = scene.manipulator();
      const ZqAccelerationState expected = solveByCrbi(scene);
      const ZqReal tolerance = 1e-10 * (1.0 + largest(expected));
      // The motors of the tools follow the joints, also after a call at rest.
      ZqAccelerationState byCrbi;
      ZqAccelerationState byArbi;
      ZqCrbiAccelerationTool crbi;
      ZqArbiAccelerationTool arbi;
      ZqVelocityState rest;
      rest.jointVelocities().resize(scene.jointDof());
      for (const ZqVelocityState& velocity : {rest, scene.velocity})
      {
         crbi.acceleration(scene.system, manipulator, scene.position, velocity, scene.torque,
                           scene.external, byCrbi, nullptr, true);
         arbi.acceleration(scene.system, manipulator, scene.position, velocity, scene.torque,
                           scene.external, byArbi, nullptr);
      }
      EXPECT_TRUE(byCrbi.approxEq(expected, tolerance));
      EXPECT_TRUE(byArbi.approxEq(expected, tolerance));

      // Without factors that were there before.
      const zqTest::LogCapture log;
      ZqCrbiAccelerationTool fresh;
      ZqManipulatorActiveState active = scene.activeState();
      EXPECT_TRUE(fresh.acceleration(scene.system, manipulator, scene.torque, scene.external,
                                     byCrbi, active, false));
      EXPECT_EQ(byCrbi.jointAccelerations().size(), scene.jointDof());
   }
}

/// A point of mass off the origin of its base frame: its mass matrix is singular, and it is
/// accelerated as a point is.
TEST(CrbiAcceleration, DoesNotTurnAFreePointOfMass)
{
   ZqIndividualManipulator point =
      zqTest::makeManipulator({}, [](ZqU32) { return ZqManipulatorLink(); });
   ZqRigidBodyMassProperties mass = ZqRigidBodyMassProperties::pointMass(2.0);
   mass.transformBy(ZqVector(0.3, -0.2, 0.5));
   point.setMassProperties(mass);
   point.setIsFixedBase(false);
   RandomScene scene(60, point);
   scene.velocity = {};
   scene.external = {};
   const ZqVector force = scene.random.vector();
   scene.torque.setGeneralForce({force, ZqVector(0.3, -0.2, 0.5).cross(force)});
   const ZqGeneralMotion result = solveByCrbi(scene).generalAcceleration();
   const ZqVector expected = scene.baseAxes() * force * 0.5 - scene.gravity;
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
      const RandomScene scene(i, isClosed ? closedModel(random, i, 2) : model(random, i, 4));
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
                                            scene.torque, scene.external, result, nullptr, true);
      EXPECT_TRUE(result.approxEq(expected, 1e-9 * largest(expected)));
      ZqArbiAccelerationTool().acceleration(scene.system, all[1], scene.position, scene.velocity,
                                            scene.torque, scene.external, result, nullptr);
      EXPECT_TRUE(isClosed || result.approxEq(expected, 1e-9 * largest(expected)));
      const auto torqueOf = [&](const ZqIndividualManipulator& manipulator)
      {
         ZqGravitationalTorqueTool gravity;
         gravity.setGravityVector(scene.gravity);
         gravity.setManipulator(&manipulator);
         gravity.setPositionState(scene.position);
         return gravity.gravitationalTorque(3, nullptr, nullptr);
      };
      EXPECT_NEAR(torqueOf(all[1]), torqueOf(scene.manipulator()), 1e-10);
   }
}

TEST(CrbiAcceleration, SolvesConstraintsThatAreStatedTwice)
{
   RandomValues random(53);
   for (ZqU32 i = 0; i < 40; ++i)
   {
      SCOPED_TRACE(i);
      ZqIndividualManipulator constrained = closedModel(random, i, 1 + i / 2 % 2);
      const ZqAccelerationState once = solveByCrbi(RandomScene(i, constrained));
      ZqStateEqualityConstraintVector constraints = constrained.stateEqualityConstraints();
      constraints.pushBack(constrained.stateEqualityConstraints()[0]);
      constrained.setStateEqualityConstraints(constraints);
      EXPECT_TRUE(
         solveByCrbi(RandomScene(i, constrained)).approxEq(once, 1e-6 * (1.0 + largest(once))));
   }
}

TEST(HybridControl, JointWithoutAGearKeepsItsCommandAndLeavesItsTorqueToTheNext)
{
   RandomValues random(55);
   ZqIndividualManipulator geared =
      zqTest::makeManipulator(zqTest::chain(3), [&](ZqU32) { return zqTest::randomLink(random); });
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
      RandomScene scene(56, geared);
      ZqManipulatorTorque torque;
      torque.jointTorques().assign(3, 0.0);
      ZqAccelerationState acceleration = scene.randomAcceleration();
      ZqManipulatorActiveState active = scene.activeState();
      ZqCrbiAccelerationTool tool;
      tool.hybridTorqueAcceleration(scene.system, scene.manipulator(), scene.external,
                                    {false, false, false}, torque, acceleration, active, true);
      return torque.jointTorques().values();
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
   RandomScene scene(57, model(random, 0, 4));
   ZqCrbiAccelerationTool tool;
   ZqAccelerationState result;
   tool.hybridTorqueAcceleration(scene.system, scene.manipulator(), scene.position, scene.velocity,
                                 scene.external, {}, scene.torque, result, nullptr, true);
   scene.gravity = scene.position.coordSysXForm().orientation().inverse() * scene.gravity;
   const ZqAccelerationState expected = solveByCrbi(scene);
   EXPECT_TRUE(result.approxEq(expected, 1e-10 * largest(expected)));
}

TEST(AccelerationTools, GoThroughLongChainsWithoutDeepRecursion)
{
   // The mass matrix of the longest would not fit.
   for (const ZqU32 n : {zqTest::longChain / 10, zqTest::longChain})
   {
      RandomValues random(58);
      const auto makeLink = [&](ZqU32)
      {
         ZqManipulatorLink link;
         ZqDenavitHartenberg joint;
         joint.setDhA(0.001);
         joint.setDhAlpha(random.real());
         link.setLinkKinematics(joint);
         link.setMassProperties(zqTest::randomMass(random));
         return link;
      };
      const RandomScene scene(58, zqTest::makeManipulator(zqTest::chain(n), makeLink));
      ZqManipulatorActiveState active = scene.activeState();
      ZqAccelerationState acceleration =
         n == zqTest::longChain ? solveByArbi(scene) : solveByCrbi(scene);
      acceleration.generalAcceleration() += ZqGeneralMotion(scene.gravity, ZqVector());
      active.setAccelerationState(acceleration);
      ZqTotalTorqueTool tool;
      tool.setManipulator(&scene.manipulator());
      const auto& torques = tool.torques(scene.external, active, nullptr).jointTorques();
      ZqReal sum = 0.0;
      for (const ZqReal torque : torques)
         sum += torque * torque;
      // Passive joints; the forces grow to 1e5 along the chain.
      EXPECT_LE(std::sqrt(sum / n), 1e-4) << n;
   }
}

TEST(AccelerationTools, AllocateNothingOnceSizesHaveSettled)
{
   RandomValues random(59);
   for (ZqU32 i = 0; i < 4; ++i)
   {
      RandomScene scene(i, i < 2 ? model(random, i, 20) : closedModel(random, i, 2));
      const ZqU32 held = scene.system.numberOfManipulators();
      scene.system.addManipulator(zqTest::randomManipulator(random, 0));
      ZqManipulatorAttachmentMap attachments;
      ASSERT_TRUE(attachments.attachManipulator(held, scene.index, "label3", {}, "grip"));
      scene.system.setManipulatorAttachmentMap(attachments);
      ZqManipulatorActiveState active = scene.activeState();
      ZqCrbiAccelerationTool crbi;
      ZqArbiAccelerationTool arbi;
      ZqAccelerationState result;
      const std::vector<bool> mask{true, false, true};
      std::size_t allocations = 1;
      for (int round = 0; round < 3; ++round)
      {
         const zqTest::AllocationCount count;
         scene.position.jointPositions()[0] += 0.1;
         active.setPositionState(scene.position);
         crbi.acceleration(scene.system, scene.manipulator(), scene.torque, scene.external, result,
                           active, true);
         crbi.hybridTorqueAcceleration(scene.system, scene.manipulator(), scene.external, mask,
                                       scene.torque, result, active, true);
         arbi.acceleration(scene.system, scene.manipulator(), scene.position, scene.velocity,
                           scene.torque, scene.external, result, nullptr);
         allocations = count.count();
      }
      EXPECT_EQ(allocations, 0u) << i;
   }
}
} // namespace
