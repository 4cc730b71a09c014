#include "support/randomValues.h"
#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/algebra/ZqOrientation.h"
#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace
{
constexpr ZqReal epsilon = std::numeric_limits<ZqReal>::epsilon();
constexpr ZqReal nan = std::numeric_limits<ZqReal>::quiet_NaN();
/// A few dozen roundings of numbers up to one.
constexpr ZqReal tolerance = 20.0 * epsilon;

ZqReal norm(const ZqOrientation& q)
{
   return std::sqrt(q.w() * q.w() + q.vectorPart().magSquared());
}

/// Angles where formulas lose digits: next to nothing, half a turn and about that.
const ZqReal delicateAngles[] = {0.0, 1e-300, 1e-160,           1e-12, 1e-8, 0.0099, 0.0101, 1.0,
                                 2.0, 3.0,    ZqMath::pi - 1e-9};

TEST(Orientation, RotatesByRodriguesFormula)
{
   EXPECT_TRUE((ZqOrientation::xRotation(0.5) * ZqVector::yVector(1.0))
                  .approxEq({0.0, std::cos(0.5), std::sin(0.5)}, tolerance));
   EXPECT_TRUE((ZqOrientation::yRotation(0.5) * ZqVector::zVector(1.0))
                  .approxEq({std::sin(0.5), 0.0, std::cos(0.5)}, tolerance));
   EXPECT_TRUE((ZqOrientation::zRotation(0.5) * ZqVector::xVector(1.0))
                  .approxEq({std::cos(0.5), std::sin(0.5), 0.0}, tolerance));
   zqTest::RandomValues random(5);
   for (int i = 0; i < 100; ++i)
   {
      const ZqVector axis = random.unitVector();
      const ZqReal angle = random.real(-10.0, 10.0);
      const ZqVector v = random.vector();
      ZqOrientation q;
      q.setFromAngleAxis(angle, axis * 3.0);
      const ZqVector expected = v * std::cos(angle) + axis.cross(v) * std::sin(angle) +
                                axis * (axis.dot(v) * (1.0 - std::cos(angle)));
      EXPECT_TRUE((q * v).approxEq(expected, tolerance));
      ZqVector inPlace = v;
      q.transform(inPlace);
      EXPECT_EQ(inPlace, q * v);
   }
}

TEST(Orientation, CompositionAgreesWithMatrices)
{
   zqTest::RandomValues random(6);
   for (int i = 0; i < 100; ++i)
   {
      const ZqOrientation a = random.orientation();
      const ZqOrientation b = random.orientation();
      const ZqVector v = random.vector();
      const ZqRotationMatrix A(a);
      const ZqRotationMatrix B(b);
      EXPECT_TRUE(((a * b) * v).approxEq(a * (b * v), tolerance));
      EXPECT_TRUE(((A * B) * v).approxEq((a * b) * v, tolerance));
      EXPECT_TRUE((a.inverse() * (a * v)).approxEq(v, tolerance));
      EXPECT_TRUE(A.transposeTimes(v).approxEq(a.inverse() * v, tolerance));
      EXPECT_EQ(A.transpose() * v, A.transposeTimes(v));
      EXPECT_TRUE(a.xAxis().approxEq(A.column(0), tolerance));
      EXPECT_TRUE(a.yAxis().approxEq(A.column(1), tolerance));
      EXPECT_TRUE(a.zAxis().approxEq(A.column(2), tolerance));
      EXPECT_TRUE((A * B).orientation().approxEq(a * b, tolerance));
   }
}

TEST(Orientation, AngleAxisIsAccurateAtBothEnds)
{
   zqTest::RandomValues random(7);
   for (const ZqReal expected : delicateAngles)
   {
      const ZqVector expectedAxis = random.unitVector();
      ZqOrientation q;
      q.setFromAngleAxis(expected, expectedAxis);
      for (const ZqOrientation& sign : {q, -q})
      {
         ZqReal angle = nan;
         ZqVector axis;
         sign.getAngleAxis(angle, axis);
         // Relative, down to the smallest angle.
         EXPECT_NEAR(angle, expected, 4.0 * epsilon * expected);
         EXPECT_TRUE(axis.approxEq(expected == 0.0 ? ZqVector::zVector(1.0) : expectedAxis,
                                   expected == 0.0 ? 0.0 : tolerance));
         EXPECT_TRUE(ZqOrientation::exponential(sign.logarithm()).approxEq(q, tolerance));
      }
      const ZqVector r = expectedAxis * expected;
      EXPECT_TRUE(ZqOrientation::exponential(r).approxEq(q, tolerance));
      EXPECT_TRUE(ZqOrientation::exponential(r).logarithm().approxEq(r, 8.0 * epsilon * expected));
   }
   ZqOrientation q(0.5, 0.5, 0.5, 0.5);
   q.setFromAngleAxis(1.0, ZqVector());
   EXPECT_TRUE(q.isIdentity());
}

TEST(Orientation, DcmColumnsGiveTheOrientationBack)
{
   zqTest::RandomValues random(8);
   for (int i = 0; i < 200; ++i)
   {
      // Half of them are within rounding of half a turn, where the scalar part vanishes.
      ZqOrientation q = random.orientation();
      if (i % 2 == 0)
         q.setFromAngleAxis(ZqMath::pi, random.unitVector());
      ZqOrientation back;
      back.setFromDcmColumns(q.xAxis(), q.yAxis(), q.zAxis());
      EXPECT_TRUE(back.approxEq(q, tolerance));
      EXPECT_NEAR(norm(back), 1.0, 2.0 * epsilon);
   }
   for (const ZqVector& axis :
        {ZqVector::xVector(1.0), ZqVector::yVector(1.0), ZqVector::zVector(1.0)})
   {
      const ZqOrientation halfTurn(0.0, axis.x(), axis.y(), axis.z());
      EXPECT_TRUE(ZqRotationMatrix(halfTurn).orientation().approxEq(halfTurn, 0.0));
   }
}

TEST(Orientation, NormalizeReachesUnitLengthOnceAndForAll)
{
   zqTest::RandomValues random(9);
   for (int i = 0; i < 300; ++i)
   {
      const ZqReal scale = std::pow(10.0, random.real(-310.0, 308.0));
      const ZqOrientation direction = random.orientation();
      ZqOrientation q(direction.w() * scale, direction.x() * scale, direction.y() * scale,
                      direction.z() * scale);
      ASSERT_TRUE(q.normalize());
      EXPECT_NEAR(norm(q), 1.0, 4.0 * epsilon);
      EXPECT_TRUE(q.approxEq(direction, scale < 1e-300 ? 1e-5 : tolerance));
      const ZqOrientation once = q;
      q.normalize();
      EXPECT_EQ(q, once);
   }
   ZqOrientation zero(0.0, 0.0, 0.0, 0.0);
   EXPECT_FALSE(zero.normalize());
   EXPECT_TRUE(zero.isIdentity());
   for (const ZqReal bad : {nan, std::numeric_limits<ZqReal>::infinity()})
   {
      ZqOrientation q(1.0, 0.0, bad, 0.0);
      EXPECT_FALSE(q.normalize());
      EXPECT_TRUE(std::isnan(q.w()) && std::isnan(q.z()));
      EXPECT_FALSE(q.approxEq(q, 1.0));
   }
}

TEST(Orientation, SlerpTurnsAtAConstantRateAlongTheShorterArc)
{
   zqTest::RandomValues random(10);
   for (const ZqReal angle : delicateAngles)
      for (const ZqReal fraction : {0.0, 0.25, 0.5, 0.9, 1.0})
      {
         const ZqOrientation from = random.orientation();
         const ZqVector r = random.unitVector() * angle;
         const ZqOrientation to = ZqOrientation::exponential(r) * from;
         const ZqOrientation expected = ZqOrientation::exponential(r * fraction) * from;
         for (const ZqOrientation& sign : {to, -to})
         {
            const ZqOrientation q = ZqOrientation::slerp(from, sign, fraction);
            EXPECT_TRUE(q.approxEq(expected, tolerance)) << angle << ' ' << fraction;
            EXPECT_NEAR(norm(q), 1.0, 4.0 * epsilon);
         }
         EXPECT_EQ(ZqOrientation::slerp(from, to, 0.0), from);
      }
}

TEST(Orientation, IntegrationFollowsTheOuterFramesAngularVelocity)
{
   zqTest::RandomValues random(11);
   for (int i = 0; i < 50; ++i)
   {
      const ZqOrientation start = random.orientation();
      const ZqVector omega = random.vector(4.0);
      // A constant rate is followed exactly, however the time is divided.
      ZqOrientation whole = start;
      whole.integrateReferenceFrameAngularVelocity(omega, 0.5);
      ZqOrientation steps = start;
      for (int k = 0; k < 500; ++k)
         steps.integrateReferenceFrameAngularVelocity(omega, 1e-3);
      EXPECT_TRUE(steps.approxEq(whole, 500.0 * epsilon));

      // An axis fixed in the body moves with omega x axis; a central difference errs by h^2.
      const ZqReal h = 1e-5;
      ZqOrientation before = start;
      ZqOrientation after = start;
      before.integrateReferenceFrameAngularVelocity(omega, -h);
      after.integrateReferenceFrameAngularVelocity(omega, h);
      EXPECT_TRUE(
         ((after.xAxis() - before.xAxis()) / (2.0 * h)).approxEq(omega.cross(start.xAxis()), 1e-8));
   }
}
} // namespace
