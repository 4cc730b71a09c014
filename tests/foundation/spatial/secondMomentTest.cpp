#include "support/randomValues.h"
#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/spatial/ZqSecondMoment.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace
{
using zqTest::epsilon;
using zqTest::infinity;
using zqTest::nan;
/// Of a rotation or a decomposition, relative to the largest element.
constexpr ZqReal momentTolerance = 30.0 * epsilon;

ZqSecondMoment diagonal(ZqReal x, ZqReal y, ZqReal z)
{
   return {x, y, z, 0.0, 0.0, 0.0};
}
ZqSecondMoment pointMass(ZqReal m, const ZqVector& r)
{
   const ZqReal r2 = r.magSquared();
   return {m * (r2 - r.x() * r.x()), m * (r2 - r.y() * r.y()), m * (r2 - r.z() * r.z()),
           -m * r.x() * r.y(),       -m * r.x() * r.z(),       -m * r.y() * r.z()};
}
ZqSecondMoment box(ZqReal m, ZqReal a, ZqReal b, ZqReal c)
{
   return diagonal(m * (b * b + c * c) / 12, m * (a * a + c * c) / 12, m * (a * a + b * b) / 12);
}
/// The spread of the mass, the integral of r r^T, which decides whether a moment is possible.
ZqSpatialMatrix spread(const ZqSecondMoment& I)
{
   return ZqSpatialMatrix::identity() * (0.5 * (I.xx() + I.yy() + I.zz())) - I.matrix();
}
ZqReal distance(const ZqSecondMoment& a, const ZqSecondMoment& b)
{
   const ZqSpatialMatrix d = spread(a) - spread(b);
   return std::sqrt(d[0].magSquared() + d[1].magSquared() + d[2].magSquared());
}

TEST(SecondMoment, PrincipalAxesGiveTheMomentBack)
{
   zqTest::RandomValues random(32);
   // Repeated, nearly repeated, vanishing, negative, large and small moments among them.
   std::vector<ZqVector> principal{{0.0, 0.0, 0.0}, {2.0, 2.0, 2.0}, {1.0, 1.0, 2.0}};
   principal.insert(principal.end(), {{1.0, 2.0, 2.0}, {0.0, 3.0, 3.0}, {-1.0, 0.5, 2.0}});
   principal.insert(principal.end(), {{1e-9, 1.0, 1.0}, {1.0, 1.0 + 1e-12, 1.0 + 2e-12}});
   principal.insert(principal.end(), {{1e-200, 2e-200, 3e-200}, {1e200, 2e200, 3e200}});
   for (int i = 0; i < 300; ++i)
   {
      const ZqVector moments = static_cast<std::size_t>(i) < 3 * principal.size()
                                  ? principal[static_cast<std::size_t>(i) / 3]
                                  : random.vector();
      // The first of three is diagonal already, in another order.
      const ZqSecondMoment I =
         i % 3 == 0 ? diagonal(moments.z(), moments.x(), moments.y())
                    : diagonal(moments.x(), moments.y(), moments.z()).rotated(random.orientation());
      SCOPED_TRACE(i);
      ZqVector found(nan, nan, nan);
      ZqOrientation axes;
      ASSERT_TRUE(I.principalAxes(found, axes));
      EXPECT_LE(found.x(), found.y());
      EXPECT_LE(found.y(), found.z());
      std::array<ZqReal, 3> sorted{moments.x(), moments.y(), moments.z()};
      std::sort(sorted.begin(), sorted.end());
      const ZqReal bound = momentTolerance * std::max({std::abs(moments.x()), std::abs(moments.y()),
                                                       std::abs(moments.z())});
      EXPECT_TRUE(found.approxEq({sorted[0], sorted[1], sorted[2]}, bound));
      EXPECT_TRUE(diagonal(found.x(), found.y(), found.z()).rotated(axes).approxEq(I, bound));
      EXPECT_NEAR(axes.w() * axes.w() + axes.vectorPart().magSquared(), 1.0, 8.0 * epsilon);
   }
}

TEST(SecondMoment, WhatMassCanHaveIsValidToTheBoundary)
{
   zqTest::RandomValues random(33);
   EXPECT_TRUE(ZqSecondMoment().isValid()); // a mass at the point itself
   for (int i = 0; i < 300; ++i)
   {
      const ZqReal scale = std::pow(10.0, random.real(-12.0, 12.0));
      const ZqOrientation q = random.orientation();
      // A point and a rod have a moment of zero, and equality of the other two; a plate has
      // equality of the largest with the sum of the others.
      for (const ZqSecondMoment& I :
           {pointMass(scale, random.vector()), diagonal(0.0, scale, scale).rotated(q),
            box(scale, random.real(0.1), random.real(), 0.0).rotated(q),
            box(scale, random.real(), random.real(), random.real())})
         EXPECT_TRUE(I.isValid()) << i;
      // A millionth of the trace beyond either boundary.
      const ZqReal a = random.real(0.1, 1.0) * scale;
      const ZqReal b = random.real(0.1, 1.0) * scale;
      const ZqReal beyond = 1e-6 * scale;
      for (const ZqSecondMoment& I :
           {diagonal(a, b, a + b + 4.0 * beyond).rotated(q), diagonal(-beyond, a, a).rotated(q)})
         EXPECT_TRUE(!I.isValid() && I.isValid(1e-5)) << i;
      EXPECT_FALSE(diagonal(-a, -b, -a).rotated(q).isValid());
   }
   EXPECT_TRUE(diagonal(1e308, 1e308, 1e308).isValid()); // whose sums overflow
   // The diagonal alone would pass.
   EXPECT_FALSE(ZqSecondMoment(1.0, 1.0, 1.0, 0.9, 0.0, 0.0).isValid());
   for (std::size_t i = 0; i < 6; ++i)
      for (const ZqReal bad : {nan, infinity, -infinity})
      {
         std::array<ZqReal, 6> v{2.0, 2.5, 3.0, 0.1, 0.2, 0.3};
         v[i] = bad;
         ZqSecondMoment I(v[0], v[1], v[2], v[3], v[4], v[5]);
         ZqVector moments;
         ZqOrientation axes;
         EXPECT_FALSE(I.isValid() || I.principalAxes(moments, axes)) << i;
         I.makeValid();
         EXPECT_EQ(I, ZqSecondMoment());
      }
}

TEST(SecondMoment, MakeValidGoesToTheNearestValidOne)
{
   zqTest::RandomValues random(34);
   for (int i = 0; i < 300; ++i)
   {
      const ZqReal scale = std::pow(10.0, random.real(-6.0, 6.0));
      ZqSecondMoment valid =
         box(scale, random.real(0.1, 1.0), random.real(0.1, 1.0), random.real(0.1, 1.0))
            .rotated(random.orientation());
      const ZqSecondMoment before = valid;
      valid.makeValid();
      EXPECT_EQ(valid, before); // to the last bit

      const ZqVector d = random.vector(scale);
      const ZqVector o = random.vector(scale);
      const ZqSecondMoment wild(d.x(), d.y(), d.z(), o.x(), o.y(), o.z());
      ZqSecondMoment made = wild;
      made.makeValid();
      EXPECT_TRUE(made.isValid());
      EXPECT_TRUE(made.isValid(100.0 * epsilon));
      const ZqSecondMoment once = made;
      made.makeValid();
      EXPECT_EQ(made, once);
      // Valid moments form a convex cone: none on the way to any other valid one is nearer.
      const ZqSecondMoment other =
         pointMass(scale, random.vector()) + pointMass(scale, random.vector());
      for (const ZqReal step : {1e-6, 1e-3, 0.1, 1.0})
      {
         ZqSecondMoment between = other - once;
         between *= step;
         between += once;
         EXPECT_LE(distance(wild, once), distance(wild, between) + 1000.0 * epsilon * scale);
      }
   }
   // Spreads of (1, -1, 3): the negative one goes.
   ZqSecondMoment I = diagonal(2.0, 4.0, 0.0);
   I.makeValid();
   EXPECT_TRUE(I.approxEq(diagonal(3.0, 4.0, 1.0), 4.0 * epsilon));
}
} // namespace
