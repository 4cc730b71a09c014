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

TEST(Random, MomentsAreThoseOfTheDistributions)
{
   ZqRandom::setSeed(7);
   constexpr int count = 100000;
   // Six standard deviations of a mean of so many samples with variance 1.
   const ZqReal tolerance = 6.0 / std::sqrt(static_cast<ZqReal>(count));
   ZqReal kurtosis = 0.0;
   ZqReal variance = 0.0;
   ZqReal normalMean = 0.0;
   ZqVector mean;
   for (int i = 0; i < count; ++i)
   {
      const ZqReal x = (ZqRandom::normalRandom(10.0, 0.5) - 10.0) / 0.5;
      normalMean += x / count;
      variance += x * x / count;
      kurtosis += x * x * x * x / count;
      const ZqVector u = ZqRandom::randomUnitVector();
      EXPECT_NEAR(u.mag(), 1.0, 1e-15);
      mean += u / count;
   }
   EXPECT_NEAR(normalMean, 0.0, tolerance);
   EXPECT_NEAR(variance, 1.0, std::sqrt(2.0) * tolerance);
   EXPECT_NEAR(kurtosis, 3.0, std::sqrt(96.0) * tolerance);
   EXPECT_TRUE(mean.approxEq(ZqVector(), tolerance));
}
} // namespace
