#include "support/randomModels.h"
#include "support/xmlSamples.h"
#include "zqManipulator/foundation/geometry/ZqLineSegment.h"
#include "zqManipulator/foundation/geometry/ZqSphere.h"

namespace
{
using zqTest::infinity;
using zqTest::nan;

ZqSphere united(ZqSphere a, const ZqSphere& b)
{
   a.expandSelfToInclude(b);
   return a;
}

TEST(Sphere, UnionIsTheSmallestThatHoldsBoth)
{
   constexpr ZqReal tolerance = 20.0 * zqTest::epsilon;
   zqTest::RandomValues random(61);
   for (int i = 0; i < 300; ++i)
   {
      const ZqSphere a(random.vector(), random.real(0.0, 1.0));
      const ZqSphere b(random.vector(), random.real(0.0, 1.0));
      const ZqSphere both = united(a, b);
      const ZqReal distance = (b.center() - a.center()).mag();
      for (const ZqSphere& part : {a, b})
         EXPECT_LE((both.center() - part.center()).mag() + part.radius(),
                   both.radius() + tolerance);
      // No smaller one holds the two points that are farthest apart, or the greater of the two.
      const ZqReal least =
         std::max({a.radius(), b.radius(), 0.5 * (distance + a.radius() + b.radius())});
      EXPECT_NEAR(both.radius(), least, tolerance);
      const ZqSphere reversed = united(b, a);
      EXPECT_TRUE(reversed.center().approxEq(both.center(), tolerance));
      EXPECT_EQ(united(both, ZqSphere(a.center(), 0.5 * a.radius())), both);
      EXPECT_EQ(united(ZqSphere::empty(), a), a);
      EXPECT_EQ(united(a, ZqSphere::empty()), a);
      const ZqCoordinateSystemTransformation X = zqTest::randomFrame(random);
      EXPECT_TRUE((X * both).center().approxEq(united(X * a, X * b).center(), 4.0 * tolerance));
   }
   const ZqSphere one({1.0, 2.0, 3.0}, 0.5);
   EXPECT_EQ(united(one, {one.center(), 0.75}), ZqSphere(one.center(), 0.75));
   EXPECT_EQ(united(ZqSphere(), {{2.0, 0.0, 0.0}, 0.0}), ZqSphere({1.0, 0.0, 0.0}, 1.0));
   // Those that hold no point change nothing, and one that holds all takes all.
   for (const ZqSphere& nothing : {ZqSphere({nan, 0.0, 0.0}, 1.0), ZqSphere({}, nan),
                                   ZqSphere({infinity, 0.0, 0.0}, 1.0), ZqSphere({}, -2.0)})
   {
      EXPECT_EQ(united(one, nothing), one);
      EXPECT_EQ(united(nothing, one), one);
   }
   EXPECT_EQ(united(one, {{}, infinity}).radius(), infinity);
   EXPECT_EQ(united({{-1e308, 0.0, 0.0}, 1.0}, {{1e308, 0.0, 0.0}, 1.0}).radius(), infinity);
}

TEST(Sphere, NegativeRadiusInADocumentHoldsNothing)
{
   for (const ZqReal radius : {0.0, -1.0, -4.0})
   {
      const ZqSphere sphere(radius < -1.0 ? ZqVector(1.0, 2.0, 3.0) : ZqVector(), radius);
      zqTest::LogCapture log;
      ZqSphere back({5.0, 6.0, 7.0}, 8.0);
      EXPECT_TRUE(zqTest::readFrom(back, zqTest::written(sphere)));
      EXPECT_EQ(back, radius < 0.0 ? ZqSphere::empty() : sphere);
      EXPECT_EQ(log.empty(), radius >= -1.0) << log.text();
   }
}

TEST(LineSegment, TurnsAndMovesAsAWhole)
{
   ZqLineSegment segment({1.0, 0.0, 0.0}, {3.0, 0.0, 4.0});
   EXPECT_EQ(segment.center(), ZqVector(2.0, 0.0, 2.0));
   segment.transformBy({ZqVector(0.0, 5.0, 0.0), ZqOrientation(0.0, 0.0, 0.0, 1.0)});
   EXPECT_EQ(segment, ZqLineSegment({-1.0, 5.0, 0.0}, {-3.0, 5.0, 4.0}));
   EXPECT_EQ(segment.length(), std::sqrt(20.0));
   EXPECT_EQ(ZqLineSegment::nullObject(), ZqLineSegment());
}
} // namespace
