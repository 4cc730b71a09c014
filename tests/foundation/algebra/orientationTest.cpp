#include "support/randomValues.h"
#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/algebra/ZqOrientation.h"
#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"

#include <gtest/gtest.h>

namespace
{
using zqTest::epsilon;
using zqTest::nan;
/// A few dozen roundings of numbers up to one.
constexpr ZqReal tolerance = 20.0 * epsilon;

ZqReal norm(const ZqOrientation& q)
{
   return std::sqrt(q.w() * q.w() + q.vectorPart().magSquared());
}

TEST(Orientation, RotatesByRodriguesFormula)
{
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
      const ZqVector axes[] = {{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}};
      const ZqOrientation turns[] = {ZqOrientation::xRotation(angle),
                                     ZqOrientation::yRotation(angle),
                                     ZqOrientation::zRotation(angle)};
      for (std::size_t k = 0; k < 3; ++k)
      {
         q.setFromAngleAxis(angle, axes[k]);
         EXPECT_TRUE(turns[k].approxEq(q, tolerance));
      }
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
      const ZqRotationMatrix product = A * ZqRotationMatrix(b);
      EXPECT_TRUE((product * v).approxEq(a * (b * v), tolerance));
      EXPECT_TRUE(product.orientation().approxEq(a * b, tolerance));
      EXPECT_TRUE(A.transposeTimes(a * v).approxEq(v, tolerance));
      EXPECT_EQ(A.transpose() * v, A.transposeTimes(v));
   }
}

TEST(Orientation, AngleAxisIsAccurateAtBothEnds)
{
   zqTest::RandomValues random(7);
   // Angles where formulas lose digits: next to nothing, half a turn and about that.
   for (const ZqReal expected :
        {0.0, 1e-300, 1e-160, 1e-12, 1e-8, 0.0099, 0.0101, 2.0, 3.0, ZqMath::pi - 1e-9})
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
   EXPECT_NEAR(norm(ZqOrientation::exponential(ZqVector(1e200, -1e300, 0.0))), 1.0, 2.0 * epsilon);
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
   ZqOrientation q(1.0, 0.0, nan, 0.0);
   EXPECT_FALSE(q.normalize());
   EXPECT_TRUE(std::isnan(q.w()) && std::isnan(q.z()));
   EXPECT_FALSE(q.approxEq(q, 1.0));
}
} // namespace
