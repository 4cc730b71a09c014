#include "support/randomModels.h"
#include "support/xmlSamples.h"
#include "zqManipulator/foundation/geometry/ZqLine.h"
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

TEST(Line, IsNearestWhereTheWayIsPerpendicularToBoth)
{
   zqTest::RandomValues random(62);
   for (int i = 0; i < 300; ++i)
   {
      // Down to lines that are parallel but for rounding.
      const ZqVector u = random.unitVector();
      const ZqReal angle = std::pow(10.0, -random.real(0.0, 20.0));
      const ZqLine a(random.vector(), u * random.real(0.1, 9.0));
      const ZqLine b(random.vector(), u + random.unitVector() * angle);
      ZqReal s = 0.0;
      ZqReal t = 0.0;
      const ZqReal squared = a.distanceSquaredToLine(b, s, t);
      const ZqVector way = b.point() + b.unitVector() * t - a.point() - a.unitVector() * s;
      // The parameters have the digits that the angle leaves them.
      const ZqReal sine = a.unitVector().cross(b.unitVector()).mag();
      const ZqReal tolerance = 1e-14 * (1.0 + std::abs(s) + std::abs(t)) / std::max(sine, 1e-14);
      EXPECT_NEAR(way.mag(), std::sqrt(squared), tolerance) << angle;
      EXPECT_NEAR(way.dot(a.unitVector()), 0.0, tolerance) << angle;
      EXPECT_NEAR(way.dot(b.unitVector()), 0.0, tolerance) << angle;
      EXPECT_LE(squared, (b.point() - a.point()).magSquared() * (1.0 + 1e-14));
      const ZqCoordinateSystemTransformation X = zqTest::randomFrame(random);
      if (angle > 1e-3)
      {
         EXPECT_NEAR((X * a).distanceSquaredToLine(X * b, s, t), squared, 1e-11);
      }
   }
   EXPECT_EQ(ZqLine({}, {zqTest::nan, 0.0, 1.0}).unitVector(), ZqVector(1.0, 0.0, 0.0));
   ZqReal s = 0.0;
   ZqReal t = 0.0;
   EXPECT_EQ(
      ZqLine({}, {0.0, 0.0, 3.0}).distanceSquaredToLine({{3.0, 4.0, 10.0}, {0.0, 0.0, -2.0}}, s, t),
      25.0);
   EXPECT_EQ(s, 5.0);
   EXPECT_EQ(t, 5.0);
}

} // namespace
