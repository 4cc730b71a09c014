#include "support/randomValues.h"
#include "zqManipulator/dynamics/motion/ZqMotionSineCosine.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace
{
using zqMotion::CosineSine;

/// How far a number is from what it should be, in units of its last place.
long double error(ZqReal value, long double exact)
{
   const int exponent = std::ilogb(static_cast<ZqReal>(exact));
   return std::abs((value - exact) / std::ldexp(1.0L, std::max(exponent, -1022) - 52));
}

/// Angles of all sizes, and those next to multiples of a quarter turn, where a reduction loses its digits.
std::vector<ZqReal> angles()
{
   zqTest::RandomValues random(81);
   std::vector<ZqReal> result{0.0, 5e-324, 1e-310, 6381956970095103.0 * 0x1p+797, 1e308};
   for (const ZqReal size : {1.0, 4.0, 100.0, 49999.0, 1e5, 1e9, 1e18})
      for (int i = 0; i < 4000; ++i)
         result.push_back(random.real(-size, size));
   for (int k = 1; k < 70000; k += 7)
   {
      const auto x = static_cast<ZqReal>(k * 1.5707963267948966192313L);
      result.insert(result.end(), {x, -x, std::nextafter(x, 0.0), std::nextafter(x, 1e9)});
   }
   return result;
}

TEST(MotionSineCosine, AreRightToTheLastPlace)
{
   long double worst = 0.0L;
   for (const ZqReal x : angles())
   {
      const CosineSine<ZqReal> result = zqMotion::cosineSine(x);
      worst = std::max({worst, error(result.c, std::cos(static_cast<long double>(x))),
                        error(result.s, std::sin(static_cast<long double>(x)))});
   }
   EXPECT_LT(worst, 1.0L);
   for (const ZqReal x :
        {std::numeric_limits<ZqReal>::quiet_NaN(), std::numeric_limits<ZqReal>::infinity()})
   {
      EXPECT_TRUE(std::isnan(zqMotion::cosineSine(x).c) && std::isnan(zqMotion::cosineSine(x).s));
      EXPECT_TRUE(std::isnan(zqMotion::halfCosineSine(-x).c));
   }
}

TEST(MotionSineCosine, OfHalfAnglesHaveTheGreaterOnePositive)
{
   for (const ZqReal x : angles())
   {
      const CosineSine<ZqReal> half = zqMotion::halfCosineSine(x);
      const CosineSine<ZqReal> full = zqMotion::cosineSine(x / 2);
      const bool isSame = half.c == full.c && half.s == full.s;
      EXPECT_TRUE(isSame || (half.c == -full.c && half.s == -full.s)) << x;
      const ZqReal ofTie = std::abs(std::abs(half.c) - std::abs(half.s));
      EXPECT_TRUE(ofTie < 1e-11 || (std::abs(half.c) > std::abs(half.s) ? half.c : half.s) > 0.0)
         << x;
   }
}

/// The bits of a number depend neither on its place nor on its neighbours, be they far or no numbers at all.
TEST(MotionSineCosine, AreTheSameInArraysAndPacks)
{
   std::vector<ZqReal> x = angles();
   for (std::size_t i = 0; i < x.size(); i += 101)
      x[i] = i % 2 == 0 ? NAN : 1e7;
   const auto isSame = [](ZqReal a, ZqReal b)
   { return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b); };
   std::size_t at = 0;
   for (int n = 0; n < 40; ++n)
   {
      std::vector<ZqReal> c(static_cast<std::size_t>(n) + 1, 7.0);
      std::vector<ZqReal> s = c;
      const std::size_t first = at += 31;
      zqMotion::halfCosineSines(x.data() + first, n, c.data(), s.data());
      for (std::size_t i = 0; i < c.size() - 1; ++i)
      {
         const CosineSine<ZqReal> single = zqMotion::halfCosineSine(x[first + i]);
         EXPECT_TRUE(isSame(c[i], single.c) && isSame(s[i], single.s)) << x[first + i];
      }
      EXPECT_TRUE(c.back() == 7.0 && s.back() == 7.0);
   }
   using Pair = zqMotion::Pack<2>;
   std::vector<Pair> packs(20), c(20), s(20);
   for (std::size_t i = 0; i < 20; ++i)
      packs[i] = Pair{x[i + 90], x[i + 900]};
   zqMotion::halfCosineSines(packs.data(), 20, c.data(), s.data());
   for (std::size_t i = 0; i < 20; ++i)
   {
      const CosineSine<ZqReal> single = zqMotion::halfCosineSine(x[i + 90]);
      EXPECT_TRUE(isSame(c[i][0], single.c) && isSame(s[i][0], single.s));
   }
}
} // namespace
