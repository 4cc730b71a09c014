#include "support/logCapture.h"
#include "support/loops.h"
#include "support/referenceDynamics.h"
#include "zqManipulator/simulation/constraints/ZqLinearStateEqualityConstraint.h"
#include "zqManipulator/simulation/constraints/ZqPointStateEqualityConstraint.h"
#include "zqManipulator/simulation/constraints/ZqXyStateEqualityConstraint.h"
#include "zqManipulator/state/ZqVelocityState.h"

#include <gtest/gtest.h>

#include <functional>

namespace
{
using Transformation = ZqCoordinateSystemTransformation;
using zqTest::JetFrame;
using zqTest::RandomScene;
using zqTest::ReferenceMotion;
/// A frame whose origin is the gap.
using Gap = std::function<JetFrame(const ReferenceMotion&)>;

/// A tree, on a free base when the seed is odd.
RandomScene randomScene(ZqU32 seed, ZqU32 links)
{
   zqTest::RandomValues random(seed);
   return RandomScene(seed, {zqTest::randomTree(random, links), seed % 2 == 0});
}

/// The primary frame; that of the system for what is no link.
JetFrame frameOf(const RandomScene& scene, const ReferenceMotion& motion, const ZqString& label)
{
   const ZqManipulatorLink* link = scene.manipulator().linkByIdentifier(label);
   return link == nullptr
             ? JetFrame()
             : motion.frames[ReferenceMotion::bodyOf(*link)] * JetFrame(link->primaryFrame());
}

/// Compares with the rates of the gap that the motion of the base opens, and of that of joints.
void expectJacobian(const RandomScene& scene, const ZqBaseStateEqualityConstraint& constraint,
                    const Gap& ofBase, const Gap& ofJoints)
{
   const ZqReArray& G = constraint.jacobian(scene.manipulator(), scene.position);
   const ZqU32 n = scene.jointDof();
   const ZqU32 base = scene.manipulator().totalDof() - n;
   ASSERT_EQ(G.rows(), constraint.doc());
   ASSERT_EQ(G.columns(), base + n);
   for (ZqU32 j = 0; j < G.columns(); ++j)
   {
      zqTest::Coordinates unit(n + 6);
      unit[j < base ? n + j : j - base] = 1.0;
      const ReferenceMotion motion(scene, unit, zqTest::Coordinates(n + 6));
      const JetFrame gap = j < base ? ofBase(motion) : ofJoints(motion);
      for (ZqU32 i = 0; i < G.rows(); ++i)
         EXPECT_NEAR(G[i][j], static_cast<ZqReal>(gap.m[i][3].v), 1e-12) << i << ", " << j;
   }
}

/// Compares the rate of the Jacobian with the difference between states before and after.
void expectRate(const RandomScene& scene, const ZqBaseStateEqualityConstraint& constraint)
{
   constexpr ZqReal h = 1e-5;
   const ZqIndividualManipulator& manipulator = scene.manipulator();
   ZqVelocityState velocity = scene.velocity;
   velocity.setGeneralVelocity(0.2 * velocity.generalVelocity());
   const auto at = [&](ZqReal dt)
   {
      ZqPositionState result = scene.position;
      for (ZqU32 i = 0; i < scene.jointDof(); ++i)
         result.jointPositions()[i] += dt * velocity.jointVelocities()[i];
      // The base is moved once for each joint.
      result.coordSysXForm().integrateReferenceFrameVelocity(velocity.generalVelocity(),
                                                             scene.jointDof() * dt);
      return result;
   };
   ZqReArray expected = constraint.jacobian(manipulator, at(h));
   expected -= constraint.jacobian(manipulator, at(-h));
   expected *= 1.0 / (2.0 * h);
   // What its declaration says, at these rates.
   EXPECT_TRUE(constraint.jacobianDerivative(manipulator, scene.position, velocity)
                  .approxEq(expected, 2e-6));
}

/// Compares gap, velocity and acceleration of the rows, without accelerations of the degrees of freedom,
/// with the motion of the first point in a frame of the second link.
void expectKinematics(const RandomScene& scene,
                      const ZqPointPairStateEqualityConstraint& constraint,
                      const JetFrame& inSecondLink)
{
   const ZqIndividualManipulator& manipulator = scene.manipulator();
   ZqVelocityState velocity = scene.velocity;
   if (manipulator.isFixedBase())
      velocity.setGeneralVelocity(ZqGeneralMotion());
   const zqTest::Coordinates rates = zqTest::coordinates(velocity);
   const ReferenceMotion motion(scene, rates, zqTest::Coordinates(rates.size()));
   const JetFrame second = frameOf(scene, motion, constraint.secondLinkLabel());
   const zqTest::FrameMotion point(inSecondLink.inverse() * second.inverse() *
                                   frameOf(scene, motion, constraint.firstLinkLabel()) *
                                   JetFrame(Transformation(constraint.firstLinkPoint())));
   ZqVector gap = point.p;
   ZqVector rate = point.v;
   ZqVector bias = point.a;
   if (constraint.doc() == 3)
   {
      // In the axes of the system, along which the frame turns.
      const zqTest::FrameMotion frame(second);
      gap = frame.toSystem(gap);
      rate = frame.toSystem(rate);
      bias = frame.toSystem(bias) + frame.w.cross(rate);
   }

   ZqManipulatorActiveState active;
   active.setPositionState(scene.position);
   active.setVelocityState(velocity);
   ZqStateEqualityConstraintVector constraints;
   constraints.pushBack(constraint);
   const ZqConstraintKinematics& found = constraints.kinematics(manipulator, active);
   ZqRealVector v(rates.begin(), rates.end() - 6);
   v.insert(v.begin(), rates.end() - 6, manipulator.isFixedBase() ? rates.end() - 6 : rates.end());
   const ZqRealVector Gv = found.jacobian * v;
   for (ZqU32 i = 0; i < constraint.doc(); ++i)
   {
      EXPECT_TRUE(found.hasGap[i]);
      EXPECT_NEAR(found.gap[i][0], gap[i], 1e-12);
      EXPECT_NEAR(Gv[i], rate[i], 1e-11);
      EXPECT_NEAR(found.bias[i][0], bias[i], 1e-10);
   }
}

TEST(StateEqualityConstraint, JacobianIsTheDerivativeOfTheGapAndHasARate)
{
   const Gap none = [](const ReferenceMotion&) { return JetFrame(); };
   for (ZqU32 seed = 0; seed < 180; ++seed)
   {
      SCOPED_TRACE(seed);
      RandomScene scene = randomScene(seed, 1 + seed % 8);
      const ZqU32 kinds[] = {seed % 3, seed / 3 % 3}; // a link, the base or nothing
      const auto label = [&](ZqU32 kind) -> ZqString
      {
         const ZqU32 i = scene.random.index(0, scene.jointDof() - 1);
         return kind == 0 ? scene.link(i).linkLabel() : kind == 1 ? "base" : "nowhere";
      };
      const ZqString first = label(kinds[0]);
      const ZqString second = label(kinds[1]);
      const ZqVector p1 = scene.random.vector();
      const auto place = [&](const ReferenceMotion& motion, const ZqString& link, const ZqVector& p)
      { return frameOf(scene, motion, link) * JetFrame(Transformation(p)); };
      const auto minus = [](JetFrame a, const JetFrame& b)
      {
         for (std::size_t i = 0; i < 3; ++i)
            a.m[i][3] -= b.m[i][3];
         return a;
      };

      // The loop is closed: otherwise a turn of the base would open it as well.
      const zqTest::Coordinates rest(scene.jointDof() + 6);
      const ReferenceMotion start(scene, rest, rest);
      const ZqVector closing =
         zqTest::FrameMotion(frameOf(scene, start, second).inverse() * place(start, first, p1)).p;
      const Gap gap = [&](const ReferenceMotion& motion)
      { return minus(place(motion, first, p1), place(motion, second, closing)); };
      const auto point = zqTest::pin<ZqPointStateEqualityConstraint>(first, p1, second, closing);
      expectJacobian(scene, point, gap, gap);
      expectRate(scene, point);
      expectKinematics(scene, zqTest::pin<ZqPointStateEqualityConstraint>(first, p1, second, -p1),
                       JetFrame(Transformation(-p1)));

      const ZqVector p2 = scene.random.vector();
      auto xy = zqTest::pin<ZqXyStateEqualityConstraint>(first, p1, second, p2);
      xy.setXyOrientation(scene.random.orientation());
      const Gap inPlane = [&](const ReferenceMotion& motion)
      {
         const JetFrame plane(Transformation(p2, xy.xyOrientation()));
         return (frameOf(scene, motion, second) * plane).inverse() * place(motion, first, p1);
      };
      const Gap inSystem = [&](const ReferenceMotion& motion)
      { return minus(JetFrame(), place(motion, second, closing)); };
      const Gap ofSecond = [&](const ReferenceMotion& motion) {
         return JetFrame(Transformation(xy.xyOrientation().inverse())) * place(motion, second, p2);
      };
      if (kinds[0] == 0)
         expectJacobian(scene, xy, inPlane, kinds[1] == 2 ? none : inPlane);
      else if (kinds[1] == 2)
         expectJacobian(scene, xy, kinds[0] == 1 ? inPlane : none, none);
      else
         expectJacobian(scene, xy, kinds[0] == 1 ? none : ofSecond, inSystem);
      expectRate(scene, xy);
      expectKinematics(scene, xy, JetFrame(Transformation(p2, xy.xyOrientation())));
   }
}

/// Keeps the position that it was asked for last.
class Probe : public ZqPointStateEqualityConstraint
{
public:
   const ZqReArray& jacobian(const ZqIndividualManipulator&,
                             const ZqPositionState& position) const override
   {
      last = position;
      return m_jacobian;
   }
   mutable ZqPositionState last;
};

TEST(StateEqualityConstraint, StepIsShortenedForFastForwardJoints)
{
   const auto manipulator =
      zqTest::makeManipulator(zqTest::chain(2), [](ZqU32) { return ZqManipulatorLink(); });
   ZqPositionState position;
   position.setJointPositions({0.0, 0.0});
   for (const auto& [first, second, dt] : {std::tuple{0.5, 9.0, 1e-8},
                                           {-1e6, 2.0, 1e-8},
                                           {100.0, 20.0, 1e-9},
                                           {20.0, 100.0, 1e-9},
                                           {zqTest::nan, 50.0, 2e-9}})
   {
      ZqVelocityState velocity;
      velocity.setJointVelocities(ZqXmlVectorBasicType<ZqReal>{first, second});
      velocity.setGeneralVelocity({{3.0, 0.0, 0.0}, {}});
      const Probe probe;
      probe.jacobianDerivative(manipulator, position, velocity);
      EXPECT_DOUBLE_EQ(probe.last.jointPositions()[1], dt * second);
      EXPECT_DOUBLE_EQ(probe.last.coordSysXForm().translation().x(), 2.0 * 3.0 * dt);
      // Without a joint the base does not move either.
      probe.jacobianDerivative(ZqIndividualManipulator(), position, velocity);
      EXPECT_EQ(probe.last, position);
   }
}

TEST(StateEqualityConstraint, LinearWeightsAreCutToTheDegreesOfFreedom)
{
   const RandomScene scene = randomScene(73, 2);
   ZqIndividualManipulator manipulator(scene.manipulator());
   ZqLinearStateEqualityConstraint gear;
   gear.setJointWeights({{1.0, 2.0, 3.0}, {4.0}, {5.0, 6.0}});
   gear.setBaseWeights({{7.0, 8.0}, {9.0, 10.0, 11.0, 12.0, 13.0, 14.0, 15.0}});
   gear.setWeightedSums({16.0, 17.0, 18.0});
   using Rows = std::vector<ZqRealVector>;
   const Rows ofFixed{{1, 2}, {4, 0}};
   const Rows ofFree{{7, 8, 0, 0, 0, 0, 1, 2}, {9, 10, 11, 12, 13, 14, 4, 0}};
   for (const bool isFixed : {true, false})
   {
      manipulator.setIsFixedBase(isFixed);
      const ZqReArray& G = gear.jacobian(manipulator, scene.position);
      ASSERT_EQ(G.rows(), 2u);
      for (ZqU32 i = 0; i < 2; ++i)
         EXPECT_EQ(ZqRealVector(G[i].begin(), G[i].end()), (isFixed ? ofFixed : ofFree)[i]);
      EXPECT_EQ(gear.jacobianDerivative(manipulator, scene.position, {}),
                ZqReArray(2, manipulator.totalDof()));
   }
   // Nothing to constrain: what was computed stays, in a copy too.
   ZqLinearStateEqualityConstraint idle(gear);
   idle.setWeightedSums({});
   EXPECT_EQ(idle.doc(), 0u);
   EXPECT_EQ(idle.jacobian(manipulator, {}), gear.jacobian(manipulator, {}));
}

TEST(StateEqualityConstraint, StateOfAnotherSizeIsSurvived)
{
   const RandomScene scene = randomScene(75, 5);
   const zqTest::LogCapture log;
   for (const ZqU32 joints : {0, 3, 9})
   {
      ZqPositionState position;
      position.setJointPositions(ZqXmlVectorBasicType<ZqReal>(joints, 0.5));
      ZqVelocityState velocity;
      velocity.setJointVelocities(ZqXmlVectorBasicType<ZqReal>(9 - joints, 0.5));
      const auto constraint = zqTest::pin<ZqXyStateEqualityConstraint>("label4", {}, "label1", {});
      EXPECT_EQ(constraint.jacobianDerivative(scene.manipulator(), position, velocity).columns(),
                scene.manipulator().totalDof());
   }
   EXPECT_TRUE(log.contains("out of range"));
}
} // namespace
