#include "support/logCapture.h"
#include "support/randomScene.h"
#include "zqManipulator/dynamics/tools/ZqCrbiAccelerationTool.h"
#include "zqManipulator/foundation/function/ZqLinearMultivariableConstraint.h"
#include "zqManipulator/kinematics/joint/ZqScrewTypeLink.h"
#include "zqManipulator/simulation/constraints/ZqConstraintKinematics.h"
#include "zqManipulator/simulation/constraints/ZqMultivariableJointStateConstraint.h"
#include "zqManipulator/simulation/constraints/ZqPointStateEqualityConstraint.h"
#include "zqManipulator/simulation/interactions/ZqSpringAndDamperBetweenLinks.h"
#include "zqManipulator/simulation/records/ZqComPolygonalStoppingCriterion.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <gtest/gtest.h>

namespace
{
using zqTest::RandomScene;
using zqTest::RandomValues;
using Frame = ZqCoordinateSystemTransformation;

/// A scene of a random manipulator that holds lengths in all places, with another one attached at the named
/// point of its last link. Drives have no inertia: that of a motor does not grow as a joint asks.
class LengthsScene : public RandomScene
{
public:
   explicit LengthsScene(ZqU32 seed) : RandomScene(seed, kindOf(seed))
   {
      point = random.vector();
      system.editManipulator(index, [&](ZqIndividualManipulator& m) { fill(m); });
      ZqIndividualManipulator attached;
      attached.setManipulatorLabel("attached");
      system.addManipulator(attached, {}, {});
      EXPECT_TRUE(
         system.attachManipulator("attached", "scaled", last().linkLabel(), {point, {}}, "name"));
   }

   const ZqManipulatorLink& last() const
   {
      return *manipulator().linkByIndex(jointDof() > 0 ? jointDof() - 1 : ZqBaseLinkIndex);
   }
   void resize(ZqReal s)
   {
      const ZqModelScaling scaling = manipulator().scaling(s, {});
      ASSERT_TRUE(system.resizeManipulator(index, s));
      position = system.state().positionStates()[index];
      velocity = system.state().velocityStates()[index];
      const auto scaled = [&](const ZqGeneralForce& f)
      { return ZqGeneralForce(f.force() * scaling.power(4), f.moment() * scaling.power(5)); };
      velocity.setGeneralVelocity(
         {velocity.generalVelocity().linear() * s, velocity.generalVelocity().angular()});
      gravity *= s;
      torque.setGeneralForce(scaled(torque.generalForce()));
      external.setBaseForce(scaled(external.baseForce()));
      for (ZqU32 i = 0; i < jointDof(); ++i)
      {
         torque.jointTorques()[i] *= scaling.power(5) / scaling.jointFactor(i);
         external[i] = scaled(external[i]);
      }
   }
   ZqAccelerationState acceleration() const
   {
      const zqTest::LogCapture contradictions;
      ZqAccelerationState result;
      ZqManipulatorActiveState active = activeState();
      EXPECT_TRUE(ZqCrbiAccelerationTool().acceleration(system, manipulator(), torque, external,
                                                        result, active, true));
      return result;
   }
   /// The gap of the constraint, the vertex of the criterion and the base of what is attached, from the base.
   std::vector<ZqVector> lengths() const
   {
      ZqManipulatorActiveState active = activeState();
      const auto& constraints = manipulator().stateEqualityConstraints();
      const ZqReArray gap = constraints.kinematics(manipulator(), active).gap;
      const auto& criterion = dynamic_cast<const ZqComPolygonalStoppingCriterion&>(
         *manipulator().stoppingCriteria().vectorContainer()[0]);
      const ZqVector base =
         manipulator().dhFrameInSystem(active.activePositionState()).translation();
      ZqVector named;
      EXPECT_TRUE(last().lookupNamedPoint("point", named));
      const ZqVector there = last().primaryFrameInSystem(active.activePositionState()) * named;
      const auto& attached = system.state().positionStates()[system.numberOfManipulators() - 1];
      EXPECT_TRUE(attached.coordSysXForm().translation().approxEq(there, 1e-12 * there.mag()));
      return {{gap[0][0], gap[1][0], gap[2][0]}, criterion.polygonVertices()[0], there - base};
   }

   ZqVector point;

private:
   static zqTest::SceneKind kindOf(ZqU32 seed)
   {
      zqTest::SceneKind kind = zqTest::SceneKind::ofSeed(seed);
      kind.hasLosses = false;
      return kind;
   }
   void fill(ZqIndividualManipulator& m)
   {
      m.setManipulatorLabel("scaled");
      for (ZqU32 i = 0; i < m.jointDof(); ++i)
      {
         ZqManipulatorLink& link = *m.linkByIndex(i);
         ZqJointActuator actuator = link.jointActuator();
         actuator.setInertia(0.0);
         link.setJointActuator(actuator);
         ZqDamperProperties damper;
         damper.setDamperConstant(random.real(0.1, 2.0));
         damper.setWeightingFactors(ZqRealVector{1.0, 0.5});
         damper.setAssociatedJoints({link.linkLabel(), m.linkByIndex(0)->linkLabel()});
         link.setDamperProperties(damper);
      }
      if (m.jointDof() > 1)
      {
         ZqScrewTypeLink screw;
         screw.setPitch(random.real(0.2, 0.8));
         screw.setPrecursor(zqTest::randomFrame(random));
         screw.setPrimaryFrame(zqTest::randomFrame(random));
         m.linkByIndex(1)->setLinkKinematics(screw);
         ZqLinearMultivariableConstraint sum;
         sum.setConstantTerm(random.real(1.0, 2.0));
         sum.setCoefficient(0, random.real(0.5, 1.0));
         sum.setCoefficient(1, random.real(0.5, 1.0));
         m.linkByIndex(1)->setUpperLimitConstraint(ZqMultivariableJointStateConstraint(sum));
      }
      ZqManipulatorLink& link =
         *m.linkByIndex(m.jointDof() > 0 ? m.jointDof() - 1 : ZqBaseLinkIndex);
      link.addNamedPoint("point", point);
      ZqPointStateEqualityConstraint toGround;
      toGround.setFirstLinkLabel(link.linkLabel());
      toGround.setFirstLinkPoint(random.vector());
      toGround.setSecondLinkLabel("no link");
      toGround.setSecondLinkPoint(random.vector());
      ZqStateEqualityConstraintVector constraints;
      constraints.pushBack(toGround);
      m.setStateEqualityConstraints(constraints);
      ZqComPolygonalStoppingCriterion polygon;
      polygon.setPolygonVertices({random.vector()});
      polygon.setReferenceLinkLabel(link.linkLabel());
      ZqStoppingCriterionVector criteria;
      criteria.pushBack(polygon);
      m.setStoppingCriteria(criteria);
   }
};

TEST(Scaling, AResizedManipulatorMovesAlike)
{
   for (ZqU32 seed = 0; seed < 60; ++seed)
   {
      SCOPED_TRACE(seed);
      LengthsScene scene(seed);
      const std::vector<ZqVector> lengths = scene.lengths();
      const LengthsScene before = scene;
      const ZqReal s = scene.random.real(0.2, 4.0);
      scene.resize(s);
      const std::vector<ZqVector> resized = scene.lengths();
      for (std::size_t i = 0; i < lengths.size(); ++i)
         EXPECT_TRUE(resized[i].approxEq(lengths[i] * s, 1e-11 * (1.0 + s))) << i;
      if (scene.jointDof() > 1)
      {
         EXPECT_NEAR(scene.link(1).upperLimitConstraint().evaluate(scene.position),
                     before.link(1).upperLimitConstraint().evaluate(before.position), 1e-13);
      }
      const ZqAccelerationState expected = before.acceleration();
      const ZqAccelerationState result = scene.acceleration();
      const ZqModelScaling scaling = scene.manipulator().scaling(s, {});
      // A loop that is closed with little room to move loses up to 9 digits.
      ZqReal largest = 1.0;
      for (ZqU32 i = 0; i < scene.jointDof(); ++i)
         largest = std::max(largest, std::abs(expected.jointAccelerations()[i]));
      for (ZqU32 i = 0; i < scene.jointDof(); ++i)
         EXPECT_NEAR(result.jointAccelerations()[i] / scaling.jointFactor(i),
                     expected.jointAccelerations()[i], 1e-7 * largest)
            << i;
      EXPECT_TRUE(result.generalAcceleration().linear().approxEq(
         expected.generalAcceleration().linear() * s, 1e-7 * s * largest));
   }
}

TEST(Scaling, WhatIsRefusedChangesNothing)
{
   LengthsScene scene(3);
   ZqStatedSystem& system = scene.system;
   const ZqU32 index = scene.index;
   const ZqString link = scene.last().linkLabel();
   const Frame bad(ZqVector(zqTest::nan, 0.0, 0.0), ZqOrientation());
   const auto attach = [&](const char* what, const char* to, const ZqString& at, const Frame& X)
   { return [=, &system] { return system.attachManipulator(what, to, at, X, ""); }; };
   const auto scale = [&](ZqReal factor)
   { return [=, &system] { return system.resizeManipulator(index, factor); }; };
   const struct
   {
      std::function<bool()> edit;
      const char* why;
   } cases[]{
      {scale(0.0), "0 is no scale for manipulator \"scaled\""},
      {scale(-2.0), "-2 is no scale for manipulator \"scaled\""},
      {scale(zqTest::nan), "nan is no scale for manipulator \"scaled\""},
      {scale(zqTest::infinity), "inf is no scale for manipulator \"scaled\""},
      {scale(1e70), "1e+70 is no scale"},
      {scale(1e-70), "1e-70 is no scale"},
      {[&] { return system.scaleManipulatorBy(index, -1.0); },
       "scaleManipulatorBy(): -1 is no scale for manipulator \"scaled\""},
      {attach("attached", "scaled", "nowhere", {}),
       "manipulator \"attached\" cannot be attached to link \"nowhere\" of \"scaled\": there is no "
       "such link"},
      {attach("ghost", "scaled", link, {}), "there is no manipulator \"ghost\""},
      {attach("attached", "ghost", link, {}), "there is no manipulator \"ghost\""},
      {attach("scaled", "scaled", link, {}), "it would hang on itself"},
      {attach("scaled", "attached", "", {}), "\"attached\" hangs on it"},
      {attach("attached", "scaled", link, bad), "the offset is not finite"},
      {[&] { return system.detachManipulator("ghost"); }, "there is none"},
      {[&] { return system.detachManipulator("scaled"); }, "it is not attached"}};
   const ZqStatedSystem before(system, ZqFoundCommon::CopyAll);
   for (const auto& [edit, why] : cases)
   {
      const zqTest::LogCapture log;
      EXPECT_FALSE(edit()) << why;
      EXPECT_TRUE(log.contains(why)) << log.text();
      EXPECT_EQ(system, before) << why;
   }
}

TEST(Scaling, AnAppendedSceneKeepsWhatActsInIt)
{
   ZqStatedSystem first = LengthsScene(4).system;
   ZqStatedSystem second = LengthsScene(5).system;
   const ZqU32 count = first.numberOfManipulators();
   ZqSpringAndDamperBetweenLinks spring;
   spring.setManipulatorTwoIndex(second.numberOfManipulators() - 1);
   spring.setLinkOneIndex(-2);
   spring.setLinkTwoIndex(-2);
   ZqLinkInteractionsVector interactions;
   interactions.pushBack(spring);
   second.setLinkInteractionsVector(interactions);
   ZqSystemCollisionExclusionMap excluded;
   excluded.excludeManipulatorCollisionCandidates(0, spring.manipulatorTwoIndex());
   second.setCollisionExclusionMap(excluded);
   const ZqManipulatorSystemState state = second.state();

   const zqTest::LogCapture log;
   first.append(second);
   EXPECT_TRUE(log.contains("differ in their environment")); // gravity is random
   spring.setManipulatorOneIndex(count);
   spring.setManipulatorTwoIndex(spring.manipulatorTwoIndex() + count);
   const auto& all = first.system().linkInteractionsVector().vectorContainer();
   ASSERT_EQ(all.size(), 1U);
   EXPECT_TRUE(all[0]->equality(&spring));
   EXPECT_FALSE(first.canCollide(count, ZqBaseLinkIndex, spring.manipulatorTwoIndex(),
                                 ZqBaseLinkIndex, false));
   EXPECT_EQ(first.state().positionStates()[count], state.positionStates()[0]);
   EXPECT_EQ(first.configuration().attachmentMap().baseNodes().size(), 2U);
}
} // namespace
