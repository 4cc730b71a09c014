#include "support/logCapture.h"
#include "support/randomValues.h"
#include "zqManipulator/foundation/algebra/ZqAngle.h"
#include "zqManipulator/foundation/algebra/ZqDataMap.h"
#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/algebra/ZqNonNegReal.h"
#include "zqManipulator/foundation/algebra/ZqPlanarVector.h"
#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <type_traits>

namespace
{
constexpr ZqReal epsilon = std::numeric_limits<ZqReal>::epsilon();
constexpr ZqReal infinity = std::numeric_limits<ZqReal>::infinity();
constexpr ZqReal nan = std::numeric_limits<ZqReal>::quiet_NaN();

// The layout that arrays of vectors and the fast copy of records rely on.
template <typename T>
constexpr bool isPlain = std::is_trivially_copyable_v<T>&& std::is_standard_layout_v<T>;
static_assert(isPlain<ZqVector> && sizeof(ZqVector) == 3 * sizeof(ZqReal));
static_assert(isPlain<ZqOrientation> && sizeof(ZqOrientation) == 4 * sizeof(ZqReal));
static_assert(isPlain<ZqRotationMatrix> && sizeof(ZqRotationMatrix) == 9 * sizeof(ZqReal));

/// The members of records are compared by defaulted comparison, also where they only convert.
struct Record
{
   ZqAngle angle;
   ZqNonNegReal mass;
   bool operator==(const Record&) const = default;
};

TEST(Vector, ProductsObeyTheirIdentities)
{
   EXPECT_EQ(ZqVector::xVector(2.0).cross(ZqVector::yVector(3.0)), ZqVector::zVector(6.0));
   zqTest::RandomValues random(1);
   for (int i = 0; i < 100; ++i)
   {
      const ZqVector a = random.vector(5.0);
      const ZqVector b = random.vector(5.0);
      const ZqVector c = random.vector(5.0);
      // Terms of size 75, a dozen roundings.
      const ZqReal tolerance = 2000.0 * epsilon;
      EXPECT_NEAR(a.dot(b.cross(c)), b.dot(c.cross(a)), tolerance);
      EXPECT_TRUE(a.cross(b.cross(c)).approxEq(b * a.dot(c) - c * a.dot(b), tolerance));
      EXPECT_NEAR(a.mag() * a.mag(), a.magSquared(), tolerance);
      EXPECT_TRUE((2.0 * a - b / 4.0).approxEq(a + a + -b * 0.25, tolerance));
   }
}

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
   EXPECT_EQ(ZqVector().unitVector(), ZqVector::zeroVector());
   EXPECT_EQ(ZqVector().mag(), 0.0);
   EXPECT_EQ(ZqVector(0.0, -infinity, 1.0).mag(), infinity);
   for (const ZqVector& v :
        {ZqVector(nan, 0.0, 0.0), ZqVector(0.0, nan, 0.0), ZqVector(0.0, 0.0, nan)})
   {
      EXPECT_TRUE(std::isnan(v.mag()));
      EXPECT_FALSE(v.unitVector() == v.unitVector());
      EXPECT_FALSE(v.approxEq(v, infinity));
      EXPECT_FALSE(v.approxEq(ZqVector(), infinity));
   }
   EXPECT_FALSE(ZqVector(1.0, 2.0, 3.0).approxEq({1.0, 2.0, 3.2}, 0.1));
   EXPECT_FALSE(ZqVector(1.0, 2.0, 3.0).approxEq({1.2, 2.0, 3.0}, 0.1));
}

TEST(Math, RoundingResidueNeverYieldsNan)
{
   EXPECT_EQ(ZqMath::sqrt(-1e-17), 0.0);
   EXPECT_EQ(ZqMath::sqrt(2.25), 1.5);
   EXPECT_EQ(ZqMath::acos(1.0 + epsilon), 0.0);
   EXPECT_EQ(ZqMath::acos(-1.0 - epsilon), ZqMath::pi);
   EXPECT_TRUE(std::isnan(ZqMath::sqrt(nan)) && std::isnan(ZqMath::acos(nan)) &&
               std::isnan(ZqMath::nonZeroPos(nan)));
   for (const ZqReal x : {0.0, -0.0, 1e-308, -1e-308, 1e-320})
      EXPECT_EQ(ZqMath::nonZeroPos(x), 1e-300) << x;
   for (const ZqReal x : {1e-300, -1e-300, 1e-20, -1e-20, 3.0, -infinity})
      EXPECT_EQ(ZqMath::nonZeroPos(x), x);
}

TEST(Angle, SineAndCosineBelongToTheValue)
{
   const ZqAngle zero;
   EXPECT_TRUE(zero == 0.0 && zero.sin() == 0.0 && zero.cos() == 1.0);
   ZqAngle angle = 100.0;
   angle = angle - 0.5;
   EXPECT_TRUE(angle == 99.5 && angle.sin() == std::sin(99.5) && angle.cos() == std::cos(99.5));
   EXPECT_EQ(&angle.sin(), &angle.sin());
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
   EXPECT_EQ(mass - ZqNonNegReal(0.5), 1.5);
   EXPECT_EQ(1.0 - mass, -1.0);
   EXPECT_EQ(mass + 0.5, 2.5);
   mass *= 4.0;
   EXPECT_EQ(mass, 8.0);
   EXPECT_FALSE(std::signbit(ZqNonNegReal(-0.0)));
   EXPECT_TRUE(log.empty());
   mass *= -1.0;
   EXPECT_EQ(mass, 0.0);
   EXPECT_EQ(log.size(), 1U);

   EXPECT_TRUE((Record{0.5, 2.0} == Record{0.5, 2.0}));
   EXPECT_FALSE((Record{0.5, 2.0} == Record{0.5, 2.5}));
   EXPECT_FALSE((Record{0.5, 2.0} == Record{0.25, 2.0}));
}

TEST(DataMap, NumbersAndTextsAreLookedUpApart)
{
   ZqDataMap map;
   map.add("stiffness", 0.5);
   map.add("stiffness", 2.5);
   map.add("material", "steel");
   ZqReal number = 7.0;
   ZqString text = "as it was";
   EXPECT_FALSE(map.lookup("material", number));
   EXPECT_FALSE(map.lookup("stiffness", text));
   EXPECT_TRUE(number == 7.0 && text == "as it was");
   EXPECT_TRUE(map.lookup("stiffness", number) && map.lookup("material", text));
   EXPECT_TRUE(number == 2.5 && text == "steel");

   ZqDataMap other = map;
   EXPECT_EQ(other, map);
   other.add("material", "wood");
   EXPECT_FALSE(other == map);
   EXPECT_FALSE(ZqDataMap::boundingColor() == ZqDataMap());
}

TEST(PlanarVector, DifferenceAndLength)
{
   const ZqPlanarVector d = ZqPlanarVector(4.0, 1.0) - ZqPlanarVector(1.0, 5.0);
   EXPECT_EQ(d, ZqPlanarVector(3.0, -4.0));
   EXPECT_EQ(d.mag(), 5.0);
}

TEST(Int2String, WritesAnyBase)
{
   EXPECT_EQ(ZqINT2STRING(0, 10), "0");
   EXPECT_EQ(ZqINT2STRING(0xFFFFFFFF, 10), "4294967295");
   EXPECT_EQ(ZqINT2STRING(0xFFFFFFFF, 2), ZqString(32, '1'));
   EXPECT_EQ(ZqINT2STRING(ZqBaseLinkIndex, 16), "fffffffe");
   EXPECT_EQ(ZqINT2STRING(5, 1) + ZqINT2STRING(5, 37), "");
}
} // namespace
