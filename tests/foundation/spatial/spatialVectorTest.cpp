#include "support/logCapture.h"
#include "support/randomModels.h"

#include <gtest/gtest.h>

#include <limits>
#include <sstream>

namespace
{
using zqTest::ReferenceFrame;

constexpr ZqReal epsilon = std::numeric_limits<ZqReal>::epsilon();
/// A few dozen roundings of numbers up to about ten: a length times a number times a few terms.
constexpr ZqReal tolerance = 200.0 * epsilon;

ZqReal power(const ZqGeneralForce& force, const ZqGeneralMotion& motion)
{
   return force.force().dot(motion.linear()) + force.moment().dot(motion.angular());
}

TEST(SpatialVectors, MotionFollowsTheVelocitiesOfPoints)
{
   zqTest::RandomValues random(21);
   for (int i = 0; i < 400; ++i)
   {
      const ZqCoordinateSystemTransformation X =
         zqTest::randomFrame(random, static_cast<ZqU32>(i % 4));
      const ZqGeneralMotion motion = zqTest::randomMotion(random);
      const ZqGeneralMotion seen = X * motion;
      // The velocity field of a rigid body: any point has the same velocity in both frames.
      const ZqVector point = random.vector();
      const ZqVector velocity = motion.linear() + motion.angular().cross(point);
      const ZqVector seenPoint = ReferenceFrame(X) * point;
      const ZqVector origin = ReferenceFrame(X) * ZqVector();
      EXPECT_TRUE((seen.linear() + seen.angular().cross(seenPoint))
                     .approxEq(ReferenceFrame(X) * velocity - origin, tolerance));
      EXPECT_TRUE(
         seen.angular().approxEq(ReferenceFrame(X) * motion.angular() - origin, tolerance));

      // Moving the reference point to c is by -c.
      ZqGeneralMotion atPoint = motion;
      atPoint.transformBy(-point);
      EXPECT_TRUE(atPoint.linear().approxEq(velocity, tolerance));
      EXPECT_EQ(atPoint.angular(), motion.angular());
      EXPECT_TRUE(atPoint.approxEq(ZqCoordinateSystemTransformation(-point) * motion, 0.0));
   }
}

TEST(SpatialVectors, ForceKeepsItsMomentAboutEveryPoint)
{
   zqTest::RandomValues random(22);
   for (int i = 0; i < 400; ++i)
   {
      const ZqCoordinateSystemTransformation X =
         zqTest::randomFrame(random, static_cast<ZqU32>(i % 4));
      const ZqGeneralForce force = zqTest::randomForce(random);
      const ZqGeneralForce seen = X * force;
      const ZqVector point = random.vector();
      const ZqVector moment = force.moment() - point.cross(force.force());
      const ZqVector seenPoint = ReferenceFrame(X) * point;
      const ZqVector origin = ReferenceFrame(X) * ZqVector();
      EXPECT_TRUE((seen.moment() - seenPoint.cross(seen.force()))
                     .approxEq(ReferenceFrame(X) * moment - origin, tolerance));
      EXPECT_TRUE(seen.force().approxEq(ReferenceFrame(X) * force.force() - origin, tolerance));

      ZqGeneralForce aboutPoint = force;
      aboutPoint.transformBy(-point);
      EXPECT_TRUE(aboutPoint.moment().approxEq(moment, tolerance));
      EXPECT_EQ(aboutPoint.force(), force.force());
   }
}

TEST(SpatialVectors, FramesChangeBackAndForthAndKeepThePower)
{
   zqTest::RandomValues random(23);
   for (int i = 0; i < 400; ++i)
   {
      const auto modes = static_cast<ZqU32>(i % 16);
      const ZqCoordinateSystemTransformation X = zqTest::randomFrame(random, modes % 4);
      const ZqCoordinateSystemTransformation Y = zqTest::randomFrame(random, modes / 4);
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
      inPlace = motion;
      inPlace.transformBy(R);
      EXPECT_EQ(inPlace, R * motion);
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
   TypeParam sum = a;
   TypeParam difference = a;
   TypeParam scaled = a;
   sum += b;
   difference -= b;
   scaled *= 3.0;
   EXPECT_EQ(sum, a + b);
   EXPECT_EQ(difference, a - b);
   EXPECT_EQ(scaled, a * 3.0);
   EXPECT_EQ(scaled, 3.0 * a);
   // All of these numbers are exact.
   const ZqReal A[] = {1.5, -2.5, 3.5, 4.5, -5.5, 6.5};
   const ZqReal B[] = {0.25, 7.0, -3.0, 11.0, 0.75, -8.0};
   for (std::size_t i = 0; i < 6; ++i)
   {
      EXPECT_EQ(a[i], A[i]);
      EXPECT_EQ(sum[i], A[i] + B[i]);
      EXPECT_EQ(difference[i], A[i] - B[i]);
      EXPECT_EQ(scaled[i], A[i] * 3.0);
      EXPECT_EQ((-a)[i], -A[i]);
      EXPECT_EQ(TypeParam::nullObject()[i], 0.0);

      TypeParam changed = a;
      changed.setScalarValue(i, A[i] + 1e-3);
      EXPECT_FALSE(changed == a) << i;
      EXPECT_TRUE(changed.approxEq(a, 1.01e-3));
      EXPECT_FALSE(changed.approxEq(a, 0.99e-3));
      changed.setScalarValue(i, std::numeric_limits<ZqReal>::quiet_NaN());
      EXPECT_FALSE(changed.approxEq(a, 1e300));
      changed.setScalarValue(i, A[i]);
      EXPECT_EQ(changed, a);
   }
   sum += sum;
   EXPECT_EQ(sum, (a + b) * 2.0);
}

TYPED_TEST(SpatialVectorValues, GoThroughArraysAndBytes)
{
   const TypeParam a({1.5, -2.5, 3.5}, {4.5, -5.5, 6.5});
   ZqReArray array(2, 3); // what it was before does not matter
   a.copyToArray(array);
   ASSERT_EQ(array.size(), 6U);
   ASSERT_EQ(array[0].size(), 1U);
   TypeParam back;
   EXPECT_TRUE(back.copyFromArray(array));
   EXPECT_EQ(back, a);
   for (const ZqReArray& small : {ZqReArray(), ZqReArray(5, 1), ZqReArray(6, 0)})
   {
      zqTest::LogCapture log;
      EXPECT_FALSE(back.copyFromArray(small));
      EXPECT_EQ(log.size(), 1U);
      EXPECT_EQ(back, a);
   }

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
