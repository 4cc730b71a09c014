#include "support/randomValues.h"
#include "zqManipulator/dynamics/motion/ZqMotionSineCosine.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <vector>

namespace
{
using zqMotion::CosineSine;

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

/// How far a number is from what it should be, in units of its last place.
long double error(ZqReal value, long double exact)
{
   const int exponent = std::ilogb(static_cast<ZqReal>(exact));
   return std::abs((value - exact) / std::ldexp(1.0L, std::max(exponent, -1022) - 52));
}

TEST(MotionSineCosine, AreRightToTheLastPlace)
{
   for (const ZqReal x : angles())
   {
      const CosineSine<ZqReal> full = zqMotion::cosineSine(x);
      EXPECT_LT(error(full.c, std::cos(static_cast<long double>(x))), 0.9L) << x;
      EXPECT_LT(error(full.s, std::sin(static_cast<long double>(x))), 0.9L) << x;

      // That of twice the angle, or less than it; the greater of the two is positive.
      const CosineSine<ZqReal> half = zqMotion::halfCosineSine(2.0 * x);
      EXPECT_TRUE((half.c == full.c && half.s == full.s) ||
                  (half.c == -full.c && half.s == -full.s) || std::isinf(2.0 * x))
         << x;
      const ZqReal excess = std::abs(half.c) - std::abs(half.s);
      EXPECT_TRUE((excess > 0.0 ? half.c : half.s) > 0.0 || !(std::abs(excess) > 1e-11)) << x;
   }
}

/// The bits of a number depend neither on its place nor on its neighbours, be they far or no numbers at all.
TEST(MotionSineCosine, AreTheSameInArraysAndPacks)
{
   std::vector<ZqReal> x = angles();
   for (std::size_t i = 0; i < x.size(); i += 101)
      x[i] = i % 3 == 0 ? NAN : i % 3 == 1 ? -INFINITY : 1e7;
   const auto expectSame = [](ZqReal angle, ZqReal c, ZqReal s)
   {
      const CosineSine<ZqReal> single = zqMotion::halfCosineSine(angle);
      EXPECT_EQ(std::isfinite(angle), std::isfinite(c) && std::isfinite(s)) << angle;
      EXPECT_EQ(std::bit_cast<std::uint64_t>(c), std::bit_cast<std::uint64_t>(single.c)) << angle;
      EXPECT_EQ(std::bit_cast<std::uint64_t>(s), std::bit_cast<std::uint64_t>(single.s)) << angle;
   };
   const ZqReal* at = x.data();
   for (std::size_t n = 0; n < 40; at += ++n)
   {
      std::vector<ZqReal> c(n + 1, 7.0);
      std::vector<ZqReal> s = c;
      zqMotion::halfCosineSines(at, static_cast<int>(n), c.data(), s.data());
      for (std::size_t i = 0; i < n; ++i)
         expectSame(at[i], c[i], s[i]);
      EXPECT_TRUE(c[n] == 7.0 && s[n] == 7.0);

      using Pair = zqMotion::Pack<2>;
      std::vector<Pair> packs(n + 1), cosines(n + 1), sines(n + 1);
      for (std::size_t i = 0; i < n; ++i)
         packs[i] = Pair{at[i], at[2 * i + 50]};
      zqMotion::halfCosineSines(packs.data(), static_cast<int>(n), cosines.data(), sines.data());
      for (std::size_t i = 0; i < 2 * n; ++i)
         expectSame(packs[i / 2][i % 2], cosines[i / 2][i % 2], sines[i / 2][i % 2]);
   }
}
} // namespace
