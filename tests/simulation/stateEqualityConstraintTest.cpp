#include "support/allocationCount.h"
#include "support/logCapture.h"
#include "support/randomManipulators.h"
#include "zqManipulator/simulation/ZqLinearStateEqualityConstraint.h"
#include "zqManipulator/simulation/ZqPointStateEqualityConstraint.h"
#include "zqManipulator/simulation/ZqXyStateEqualityConstraint.h"
#include "zqManipulator/state/ZqVelocityState.h"

#include <gtest/gtest.h>

#include <functional>

namespace
{
using Transformation = ZqCoordinateSystemTransformation;
using Gap = std::function<ZqVector(const ZqPositionState&)>;

/// A step of central differences: with lengths of 20 m and rates of a few rad/s the truncation is
/// about 20 h^2 and the rounding 20 epsilon / h.
constexpr ZqReal h = 1e-5;
constexpr ZqReal tolerance = 1e-8;

struct Scene
{
   Scene(zqTest::RandomValues& random, ZqU32 links)
      : manipulator(zqTest::randomManipulator(random, links)),
        position(zqTest::randomPosition(random, manipulator))
   {
   }
   /// Of the primary frame; that of the system for what is no link.
   Transformation frameOf(const ZqString& label, const ZqPositionState& at) const
   {
      ZqManipulatorActivePositionState state;
      state.setPositionState(at);
      const ZqManipulatorLink* link = manipulator.linkByIdentifier(label);
      return link != nullptr ? link->primaryFrameInSystem(state) : Transformation();
   }
   ZqU32 baseDof() const { return manipulator.totalDof() - manipulator.jointDof(); }
   ZqPositionState moved(ZqU32 column, ZqReal by) const
   {
      ZqPositionState result = position;
      if (column >= baseDof())
         result.jointPositions()[column - baseDof()] += by;
      else
      {
         ZqGeneralMotion velocity;
         velocity.setScalarValue(column, 1.0);
         Transformation base = manipulator.coordSysXForm() * position.coordSysXForm();
         base.integrateReferenceFrameVelocity(velocity, by);
         result.setCoordSysXForm(manipulator.coordSysXForm().inverse() * base);
      }
      return result;
   }
   /// Compares with differences of the gap that the motion of the base opens, and of that of joints.
   void expectJacobian(const ZqBaseStateEqualityConstraint& constraint, const Gap& ofBase,
                       const Gap& ofJoints) const
   {
      const ZqReArray& G = constraint.jacobian(manipulator, position);
      ASSERT_EQ(G.rows(), constraint.doc());
      ASSERT_EQ(G.columns(), manipulator.totalDof());
      for (ZqU32 j = 0; j < G.columns(); ++j)
      {
         const Gap& gap = j < baseDof() ? ofBase : ofJoints;
         const ZqVector column = (gap(moved(j, h)) - gap(moved(j, -h))) / (2.0 * h);
         for (ZqU32 i = 0; i < G.rows(); ++i)
            EXPECT_NEAR(G[i][j], column[i], tolerance) << "at " << i << ", " << j;
      }
   }
   /// Compares the rate of the Jacobian with the difference between states before and after.
   void expectRate(const ZqBaseStateEqualityConstraint& constraint,
                   zqTest::RandomValues& random) const
   {
      const ZqU32 n = manipulator.jointDof();
      ZqVelocityState velocity;
      for (ZqU32 i = 0; i < n; ++i)
         velocity.jointVelocities().pushBack(random.real(-3.0, 3.0));
      velocity.setGeneralVelocity(0.2 * zqTest::randomMotion(random));
      const auto at = [&](ZqReal dt)
      {
         ZqPositionState result = position;
         for (ZqU32 i = 0; i < n; ++i)
            result.jointPositions()[i] += dt * velocity.jointVelocities()[i];
         // The base is moved once for each joint.
         result.coordSysXForm().integrateReferenceFrameVelocity(velocity.generalVelocity(), n * dt);
         return result;
      };
      ZqReArray expected = constraint.jacobian(manipulator, at(h));
      expected -= constraint.jacobian(manipulator, at(-h));
      expected *= 1.0 / (2.0 * h);
      // What its declaration says, at up to 3 rad/s.
      const ZqReArray& rate = constraint.jacobianDerivative(manipulator, position, velocity);
      EXPECT_TRUE(rate.approxEq(expected, 2e-6));
   }
   /// A link, the base or nothing.
   ZqString label(zqTest::RandomValues& random, ZqU32 kind) const
   {
      return kind == 0
                ? manipulator.linkByIndex(random.index(0, manipulator.jointDof() - 1))->linkLabel()
             : kind == 1 ? "base"
                         : "nowhere";
   }

   ZqIndividualManipulator manipulator;
   ZqPositionState position;
};

template <class Constraint>
Constraint between(const ZqString& first, const ZqVector& p1, const ZqString& second,
                   const ZqVector& p2)
{
   Constraint constraint;
   constraint.setFirstLinkLabel(first);
   constraint.setSecondLinkLabel(second);
   constraint.setFirstLinkPoint(p1);
   constraint.setSecondLinkPoint(p2);
   return constraint;
}

TEST(StateEqualityConstraint, JacobianIsTheDerivativeOfTheGapAndHasARate)
{
   zqTest::RandomValues random(71);
   const Gap none = [](const ZqPositionState&) { return ZqVector(); };
   for (ZqU32 trial = 0; trial < 360; ++trial)
   {
      SCOPED_TRACE(trial);
      const Scene scene(random, random.index(1, 8));
      const ZqU32 kinds[] = {trial % 3, trial / 3 % 3};
      const ZqString first = scene.label(random, kinds[0]);
      const ZqString second = scene.label(random, kinds[1]);
      const ZqVector p1 = random.vector();

      // The loop is closed: otherwise a turn of the base would open it as well.
      const auto place = [&](const ZqString& label, const ZqVector& p) {
         return [&scene, &label, p](const ZqPositionState& at)
         { return scene.frameOf(label, at) * p; };
      };
      const ZqVector start = place(first, p1)(scene.position);
      const ZqVector closing = scene.frameOf(second, scene.position).inverse() * start;
      const Gap gap = [&](const ZqPositionState& at)
      { return place(first, p1)(at) - place(second, closing)(at); };
      const auto point = between<ZqPointStateEqualityConstraint>(first, p1, second, closing);
      scene.expectJacobian(point, gap, gap);
      scene.expectRate(point, random);

      const ZqVector p2 = random.vector();
      auto xy = between<ZqXyStateEqualityConstraint>(first, p1, second, p2);
      xy.setXyOrientation(random.orientation());
      const Gap inPlane = [&](const ZqPositionState& at)
      {
         const Transformation plane(p2, xy.xyOrientation());
         return (scene.frameOf(second, at) * plane).inverse() * place(first, p1)(at);
      };
      const Gap inSystem = [&](const ZqPositionState& at) { return -place(second, closing)(at); };
      const Gap ofSecond = [&](const ZqPositionState& at)
      { return xy.xyOrientation().inverse() * place(second, p2)(at); };
      if (kinds[0] == 0)
         scene.expectJacobian(xy, inPlane, kinds[1] == 2 ? none : inPlane);
      else if (kinds[1] == 2)
         scene.expectJacobian(xy, kinds[0] == 1 ? inPlane : none, none);
      else
         scene.expectJacobian(xy, kinds[0] == 1 ? none : ofSecond, inSystem);
      scene.expectRate(xy, random);
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
   struct Case
   {
      std::vector<ZqReal> rates;
      ZqReal dt;
   };
   const std::vector<Case> cases{{{0.5, 9.0}, 1e-8},
                                 {{-1e6, 2.0}, 1e-8},
                                 {{100.0, 20.0}, 1e-9},
                                 {{20.0, 100.0}, 1e-9},
                                 {{zqTest::nan, 50.0}, 2e-9}};
   const auto manipulator =
      zqTest::makeManipulator(zqTest::chain(2), [](ZqU32) { return ZqManipulatorLink(); });
   ZqPositionState position;
   position.setJointPositions({0.0, 0.0});
   for (const Case& test : cases)
   {
      ZqVelocityState velocity;
      velocity.setJointVelocities(ZqXmlVectorBasicType<ZqReal>(test.rates));
      velocity.setGeneralVelocity({{3.0, 0.0, 0.0}, {}});
      const Probe probe;
      probe.jacobianDerivative(manipulator, position, velocity);
      EXPECT_DOUBLE_EQ(probe.last.jointPositions()[1], test.dt * test.rates[1]);
      EXPECT_DOUBLE_EQ(probe.last.coordSysXForm().translation().x(), 2.0 * 3.0 * test.dt);
      // Without a joint the base does not move either.
      probe.jacobianDerivative(ZqIndividualManipulator(), position, velocity);
      EXPECT_EQ(probe.last, position);
   }
}

TEST(StateEqualityConstraint, LinearWeightsAreCutToTheDegreesOfFreedom)
{
   zqTest::RandomValues random(73);
   Scene scene(random, 2);
   ZqLinearStateEqualityConstraint gear;
   gear.setJointWeights({{1.0, 2.0, 3.0}, {4.0}, {5.0, 6.0}});
   gear.setBaseWeights({{7.0, 8.0}, {9.0, 10.0, 11.0, 12.0, 13.0, 14.0, 15.0}});
   gear.setWeightedSums({16.0, 17.0, 18.0});
   using Rows = std::vector<ZqRealVector>;
   const Rows ofFixed{{1, 2}, {4, 0}};
   const Rows ofFree{{7, 8, 0, 0, 0, 0, 1, 2}, {9, 10, 11, 12, 13, 14, 4, 0}};
   for (const bool isFixed : {true, false})
   {
      scene.manipulator.setIsFixedBase(isFixed);
      const ZqReArray& G = gear.jacobian(scene.manipulator, scene.position);
      ASSERT_EQ(G.rows(), 2u);
      for (ZqU32 i = 0; i < 2; ++i)
         EXPECT_EQ(ZqRealVector(G[i].begin(), G[i].end()), (isFixed ? ofFixed : ofFree)[i]);
      EXPECT_EQ(gear.jacobianDerivative(scene.manipulator, scene.position, {}),
                ZqReArray(2, scene.manipulator.totalDof()));
   }
   // Nothing to constrain: what was computed stays, in a copy too.
   ZqLinearStateEqualityConstraint idle(gear);
   idle.setWeightedSums({});
   EXPECT_EQ(idle.doc(), 0u);
   EXPECT_EQ(idle.jacobian(scene.manipulator, {}), gear.jacobian(scene.manipulator, {}));
}

TEST(StateEqualityConstraint, RowsOfAllConstraintsAreStackedWithoutAllocation)
{
   zqTest::RandomValues random(74);
   Scene scene(random, 6);
   ZqStateEqualityConstraintVector constraints;
   EXPECT_EQ(constraints.jacobian(scene.manipulator, scene.position).rows(), 0u);

   ZqLinearStateEqualityConstraint gear;
   gear.setJointWeights({{0.5, 2.0}});
   gear.setBaseWeights({{}});
   gear.setWeightedSums({0.0});
   const ZqVector p = random.vector();
   constraints.pushBack(between<ZqPointStateEqualityConstraint>("label5", p, "label2", {}));
   constraints.pushBack(gear);
   constraints.resize(3); // a place that is null
   constraints.pushBack(between<ZqXyStateEqualityConstraint>("label4", p, "label3", {}));
   ZqVelocityState velocity;
   velocity.setJointVelocities(ZqXmlVectorBasicType<ZqReal>(6, 1.5));
   constraints.jacobian(scene.manipulator, scene.position);
   constraints.jacobianDerivative(scene.manipulator, scene.position, velocity);

   scene.position.jointPositions()[0] += 0.1;
   const zqTest::AllocationCount allocations;
   const ZqReArray& G = constraints.jacobian(scene.manipulator, scene.position);
   const ZqReArray& rate =
      constraints.jacobianDerivative(scene.manipulator, scene.position, velocity);
   EXPECT_EQ(allocations.count(), 0u);
   ASSERT_EQ(G.rows(), 6u);
   ASSERT_EQ(rate.rows(), 6u);
   ZqU32 row = 0;
   for (const ZqBaseStateEqualityConstraint* constraint : constraints.vectorContainer())
      for (ZqU32 i = 0; constraint != nullptr && i < constraint->doc(); ++i, ++row)
      {
         EXPECT_TRUE(std::ranges::equal(
            rate[row],
            constraint->jacobianDerivative(scene.manipulator, scene.position, velocity)[i]));
         EXPECT_TRUE(
            std::ranges::equal(G[row], constraint->jacobian(scene.manipulator, scene.position)[i]));
      }
}

TEST(StateEqualityConstraint, StateOfAnotherSizeIsSurvived)
{
   zqTest::RandomValues random(75);
   const Scene scene(random, 5);
   const zqTest::LogCapture log;
   for (const ZqU32 joints : {0, 3, 9})
   {
      ZqPositionState position;
      position.setJointPositions(ZqXmlVectorBasicType<ZqReal>(joints, 0.5));
      ZqVelocityState velocity;
      velocity.setJointVelocities(ZqXmlVectorBasicType<ZqReal>(9 - joints, 0.5));
      const auto constraint = between<ZqXyStateEqualityConstraint>("label4", {}, "label1", {});
      EXPECT_EQ(constraint.jacobianDerivative(scene.manipulator, position, velocity).columns(),
                scene.manipulator.totalDof());
   }
   EXPECT_TRUE(log.contains("out of range"));
}
} // namespace
