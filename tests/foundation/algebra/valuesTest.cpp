#include "support/logCapture.h"
#include "support/randomValues.h"
#include "zqManipulator/foundation/algebra/ZqAngle.h"
#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/algebra/ZqNonNegReal.h"
#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{
using zqTest::epsilon;
using zqTest::infinity;
using zqTest::nan;

TEST(Vector, LengthAndDirectionAreRightAtAnySize)
{
   for (const ZqReal size : {1e-320, 1e-300, 1e-160, 1e-140, 1.0, 1e140, 1e160, 1e308})
   {
      const ZqVector v(0.6 * size, 0.0, -0.8 * size);
      // Numbers near the smallest one have few digits themselves.
      const ZqReal tolerance = size < 1e-310 ? 1e-3 : 8.0 * epsilon;
      EXPECT_NEAR(v.mag() / size, 1.0, tolerance) << size;
      EXPECT_TRUE(v.unitVector().approxEq({0.6, 0.0, -0.8}, tolerance)) << size;
   }
   EXPECT_EQ(ZqVector().unitVector(), ZqVector());
   EXPECT_EQ(ZqVector(0.0, -infinity, 1.0).mag(), infinity);
   for (const ZqVector& v :
        {ZqVector(nan, 0.0, 0.0), ZqVector(0.0, nan, 0.0), ZqVector(0.0, 0.0, nan)})
   {
      EXPECT_TRUE(std::isnan(v.mag()));
      EXPECT_FALSE(v.approxEq(v, infinity));
   }
   EXPECT_FALSE(ZqVector(1.0, 2.0, 3.0).approxEq({1.0, 2.0, 3.2}, 0.1));
   EXPECT_FALSE(ZqVector(1.0, 2.0, 3.0).approxEq({1.2, 2.0, 3.0}, 0.1));
}

TEST(Math, RoundingResidueNeverYieldsNan)
{
   EXPECT_EQ(ZqMath::sqrt(-1e-17), 0.0);
   EXPECT_EQ(ZqMath::acos(1.0 + epsilon), 0.0);
   EXPECT_EQ(ZqMath::acos(-1.0 - epsilon), ZqMath::pi);
   EXPECT_TRUE(std::isnan(ZqMath::sqrt(nan)) && std::isnan(ZqMath::acos(nan)));
   for (const ZqReal x : {0.0, -0.0, 1e-308, -1e-308, 1e-300})
      EXPECT_EQ(ZqMath::nonZeroPos(x), 1e-300) << x;
   for (const ZqReal x : {-1e-300, 1e-20, -1e-20, 3.0, -infinity})
      EXPECT_EQ(ZqMath::nonZeroPos(x), x);
}

TEST(NonNegReal, StopsAtZero)
{
   zqTest::LogCapture log;
   EXPECT_EQ(ZqNonNegReal(-2.5), 0.0);
   EXPECT_EQ(ZqNonNegReal(nan), 0.0);
   EXPECT_EQ(log.messages().size(), 2U);
   EXPECT_EQ(log.messages()[0].text, "ZqNonNegReal: negative value -2.5 set to zero");
   EXPECT_EQ(log.messages()[0].type, 4U);
   log.clear();

   ZqNonNegReal mass(2.0);
   EXPECT_EQ(ZqNonNegReal(1.0) - mass, 0.0);
   EXPECT_EQ(1.0 - mass, -1.0);
   EXPECT_FALSE(std::signbit(ZqNonNegReal(-0.0)));
   EXPECT_TRUE(log.empty());
   mass *= -1.0;
   EXPECT_EQ(mass, 0.0);
   EXPECT_EQ(log.size(), 1U);
}

} // namespace
