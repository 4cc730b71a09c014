#include "support/logCapture.h"
#include "support/randomModels.h"

#include <gtest/gtest.h>

#include <sstream>

namespace
{
using zqTest::ReferenceFrame;

/// A few dozen roundings of numbers up to about ten: a length times a number times a few terms.
constexpr ZqReal tolerance = 200.0 * zqTest::epsilon;

ZqReal power(const ZqGeneralForce& force, const ZqGeneralMotion& motion)
{
   return force.force().dot(motion.linear()) + force.moment().dot(motion.angular());
}

TEST(SpatialVectors, KeepTheVelocityAndTheMomentOfEveryPoint)
{
   zqTest::RandomValues random(21);
   for (ZqU32 i = 0; i < 400; ++i)
   {
      const ZqCoordinateSystemTransformation X = zqTest::randomFrame(random, i % 4);
      const ZqVector origin = ReferenceFrame(X) * ZqVector();
      const auto turned = [&](const ZqVector& v) { return ReferenceFrame(X) * v - origin; };
      const ZqVector point = random.vector();
      const ZqVector seenPoint = ReferenceFrame(X) * point;

      const ZqGeneralMotion motion = zqTest::randomMotion(random);
      const ZqGeneralMotion seen = X * motion;
      const ZqVector velocity = motion.linear() + motion.angular().cross(point);
      EXPECT_TRUE(
         (seen.linear() + seen.angular().cross(seenPoint)).approxEq(turned(velocity), tolerance));
      EXPECT_TRUE(seen.angular().approxEq(turned(motion.angular()), tolerance));

      const ZqGeneralForce force = zqTest::randomForce(random);
      const ZqGeneralForce felt = X * force;
      const ZqVector moment = force.moment() - point.cross(force.force());
      EXPECT_TRUE(
         (felt.moment() - seenPoint.cross(felt.force())).approxEq(turned(moment), tolerance));
      EXPECT_TRUE(felt.force().approxEq(turned(force.force()), tolerance));

      // Moving the reference point to c is by -c.
      ZqGeneralMotion atPoint = motion;
      atPoint.transformBy(-point);
      EXPECT_TRUE(atPoint.approxEq({velocity, motion.angular()}, tolerance));
      ZqGeneralForce aboutPoint = force;
      aboutPoint.transformBy(-point);
      EXPECT_TRUE(aboutPoint.approxEq({force.force(), moment}, tolerance));
   }
}

TEST(SpatialVectors, FramesChangeBackAndForthAndKeepThePower)
{
   zqTest::RandomValues random(23);
   for (ZqU32 i = 0; i < 400; ++i)
   {
      const ZqCoordinateSystemTransformation X = zqTest::randomFrame(random, i % 4);
      const ZqCoordinateSystemTransformation Y = zqTest::randomFrame(random, i / 4 % 4);
      const ZqGeneralMotion motion = zqTest::randomMotion(random);
      const ZqGeneralForce force = zqTest::randomForce(random);
      EXPECT_TRUE((X.inverse() * (X * motion)).approxEq(motion, tolerance));
      EXPECT_TRUE((X.inverse() * (X * force)).approxEq(force, tolerance));
      EXPECT_TRUE(((X * Y) * motion).approxEq(X * (Y * motion), 2.0 * tolerance));
      EXPECT_TRUE(((X * Y) * force).approxEq(X * (Y * force), 2.0 * tolerance));
      EXPECT_NEAR(power(X * force, X * motion), power(force, motion), tolerance);
      // Duality: a force is pulled back along a motion that is pushed forth.
      EXPECT_NEAR(power(X.inverse() * force, motion), power(force, X * motion), tolerance);

      const ZqOrientation R = X.orientation();
      EXPECT_EQ(R * motion, ZqCoordinateSystemTransformation(R) * motion);
      EXPECT_EQ(R * force, ZqCoordinateSystemTransformation(R) * force);
      ZqGeneralMotion inPlace = motion;
      inPlace.transformBy(X);
      EXPECT_EQ(inPlace, X * motion);
   }
}

template <class Vector>
class SpatialVectorValues : public testing::Test
{
};
using SpatialVectorTypes = testing::Types<ZqGeneralMotion, ZqGeneralForce>;
TYPED_TEST_SUITE(SpatialVectorValues, SpatialVectorTypes);

TYPED_TEST(SpatialVectorValues, AreSixNumbersTheLinearPartFirst)
{
   const TypeParam a({1.5, -2.5, 3.5}, {4.5, -5.5, 6.5});
   const TypeParam b({0.25, 7.0, -3.0}, {11.0, 0.75, -8.0});
   const ZqReal A[] = {1.5, -2.5, 3.5, 4.5, -5.5, 6.5};
   const ZqReal B[] = {0.25, 7.0, -3.0, 11.0, 0.75, -8.0};
   TypeParam sum = a;
   TypeParam difference = a;
   TypeParam scaled = a;
   sum += b;
   difference -= b;
   scaled *= 3.0;
   EXPECT_TRUE(sum == a + b && difference == a - b && scaled == a * 3.0 && scaled == 3.0 * a);
   for (std::size_t i = 0; i < 6; ++i) // all of these numbers are exact
   {
      EXPECT_EQ(a[i], A[i]);
      EXPECT_EQ(sum[i], A[i] + B[i]);
      EXPECT_EQ(difference[i], A[i] - B[i]);
      EXPECT_EQ(scaled[i], A[i] * 3.0);
      EXPECT_EQ((-a)[i], -A[i]);
      TypeParam changed = a;
      changed.setScalarValue(i, A[i] + 1e-3);
      EXPECT_TRUE(changed.approxEq(a, 1.01e-3));
      EXPECT_FALSE(changed.approxEq(a, 0.99e-3));
      changed.setScalarValue(i, zqTest::nan);
      EXPECT_FALSE(changed.approxEq(a, 1e300));
   }
}

TYPED_TEST(SpatialVectorValues, GoThroughArraysAndBytes)
{
   const TypeParam a({1.5, -2.5, 3.5}, {4.5, -5.5, 6.5});
   ZqReArray array(2, 3); // what it was before does not matter
   a.copyToArray(array);
   TypeParam back;
   EXPECT_TRUE(back.copyFromArray(array));
   EXPECT_EQ(back, a);
   zqTest::LogCapture log;
   EXPECT_FALSE(back.copyFromArray(ZqReArray(5, 1)) || back.copyFromArray(ZqReArray(6, 0)));
   EXPECT_EQ(log.size(), 2U);
   EXPECT_EQ(back, a);

   std::stringstream stream;
   ASSERT_TRUE(a.writeBin(stream));
   const std::string bytes = stream.str();
   ASSERT_EQ(bytes.size(), 6 * sizeof(ZqReal));
   for (std::size_t size = 0; size <= bytes.size(); ++size)
   {
      std::istringstream input(bytes.substr(0, size));
      TypeParam read;
      EXPECT_EQ(read.readBin(input), size == bytes.size());
      EXPECT_EQ(read, size == bytes.size() ? a : TypeParam()) << size;
   }
}
} // namespace
