#include "zqManipulator/foundation/algebra/ZqRandom.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <thread>

namespace
{
TEST(Random, UniformStreamIsThatOfTheSeed)
{
   for (const ZqU32 seed : {ZqRandom::defaultSeed, 1U, 0xFFFFFFFFU})
   {
      ZqRandom::setSeed(seed);
      std::mt19937 engine(seed);
      for (int i = 0; i < 4; ++i)
      {
         const auto low = static_cast<ZqReal>(engine());
         const auto high = static_cast<ZqReal>(engine());
         const ZqReal fraction = (low + high * 4294967296.0) / 18446744073709551616.0;
         EXPECT_EQ(ZqRandom::uniformRandom(-3.0, 5.0), -3.0 + 8.0 * fraction);
      }
   }
   // A thread starts from the default seed, wherever the others are.
   ZqReal fromThread = 0.0;
   std::thread([&] { fromThread = ZqRandom::uniformRandom(0.0, 1.0); }).join();
   ZqRandom::setSeed(ZqRandom::defaultSeed);
   EXPECT_EQ(ZqRandom::uniformRandom(0.0, 1.0), fromThread);
}

// The draws of the polar method, with the logarithm of the C library; and of a key, by the standard's sequence of
// seeds.
TEST(Random, NormalStreamIsThatOfTheKey)
{
   ZqRandom::setSeed(3);
   const ZqReal outside = ZqRandom::uniformRandom(0.0, 1.0);
   const ZqReal next = ZqRandom::uniformRandom(0.0, 1.0);
   ZqRandom::setSeed(3);
   EXPECT_EQ(ZqRandom::uniformRandom(0.0, 1.0), outside);
   {
      const ZqRandom::Stream stream{7, 0, 4294967295};
      std::seed_seq key{7U, 0U, 4294967295U};
      std::mt19937 engine(key);
      const auto uniform = [&]
      {
         const auto low = static_cast<ZqReal>(engine());
         const auto high = static_cast<ZqReal>(engine());
         return -1.0 + 2.0 * ((low + high * 4294967296.0) / 18446744073709551616.0);
      };
      for (int i = 0; i < 10000; ++i)
      {
         ZqReal x = 0.0;
         ZqReal square = 0.0;
         do
         {
            x = uniform();
            const ZqReal y = uniform();
            square = x * x + y * y;
         } while (square >= 1.0);
         const ZqReal expected = x * std::sqrt(-2.0 * std::log(square) / square);
         // A logarithm that is off by two units in the last place.
         EXPECT_NEAR(ZqRandom::normalRandom(0.0, 1.0), expected, 1e-15 * std::abs(expected));
      }
      {
         const ZqRandom::Stream inner{1};
         ZqRandom::uniformRandom(0.0, 1.0);
      }
      EXPECT_EQ(ZqRandom::uniformRandom(-1.0, 1.0), uniform());
   }
   EXPECT_EQ(ZqRandom::uniformRandom(0.0, 1.0), next);
}

TEST(Random, FoldedNumbersStayInTheirRange)
{
   struct Case
   {
      ZqReal value, low, high, folded;
   };
   for (const auto& [value, low, high, folded] :
        {Case{-0.0, -1.0, 1.0, -0.0}, Case{1.25, -1.0, 1.0, 0.75}, Case{-3.5, -1.0, 1.0, 0.5},
         Case{5.5, 0.0, 2.0, 1.5}, Case{7.0, 3.0, 3.0, 3.0}, Case{-2.0, -1.0, 1e300, 0.0},
         Case{3.0, -1e300, 2.0, 1.0}, Case{3.0, -HUGE_VAL, 2.0, 1.0}})
      EXPECT_EQ(ZqRandom::folded(value, low, high), folded) << value;
}

TEST(Random, UnitVectorsFavourNoDirection)
{
   constexpr int count = 100000;
   // Six standard deviations of a mean of so many samples with variance 1.
   const ZqReal tolerance = 6.0 / std::sqrt(static_cast<ZqReal>(count));
   ZqVector mean;
   ZqVector squares;
   for (int i = 0; i < count; ++i)
   {
      const ZqVector u = ZqRandom::randomUnitVector();
      EXPECT_NEAR(u.mag(), 1.0, 1e-15);
      mean += u / count;
      squares += ZqVector(u.x() * u.x(), u.y() * u.y(), u.z() * u.z()) / count;
   }
   EXPECT_TRUE(mean.approxEq({}, tolerance));
   EXPECT_TRUE(squares.approxEq(ZqVector(1.0, 1.0, 1.0) / 3.0, tolerance));
}
} // namespace
