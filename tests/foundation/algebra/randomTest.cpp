#include "zqManipulator/foundation/algebra/ZqRandom.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <thread>

namespace
{
/// The first outputs of MT19937, written down from its definition (Matsumoto and Nishimura 1998).
std::array<std::uint32_t, 8> mersenneTwister(std::uint32_t seed)
{
   std::array<std::uint32_t, 624> state{};
   state[0] = seed;
   for (std::uint32_t i = 1; i < 624; ++i)
      state[i] = 1812433253U * (state[i - 1] ^ (state[i - 1] >> 30)) + i;
   std::array<std::uint32_t, 8> result{};
   for (std::size_t i = 0; i < result.size(); ++i)
   {
      const std::uint32_t bits = (state[i] & 0x80000000U) | (state[i + 1] & 0x7FFFFFFFU);
      std::uint32_t y = state[i + 397] ^ (bits >> 1) ^ ((bits & 1U) * 0x9908B0DFU);
      y ^= y >> 11;
      y ^= (y << 7) & 0x9D2C5680U;
      y ^= (y << 15) & 0xEFC60000U;
      result[i] = y ^ (y >> 18);
   }
   return result;
}

TEST(Random, UniformStreamIsThatOfTheSeed)
{
   for (const ZqU32 seed : {ZqRandom::defaultSeed, 1U, 0xFFFFFFFFU})
   {
      ZqRandom::setSeed(seed);
      const auto raw = mersenneTwister(seed);
      for (std::size_t i = 0; i < raw.size(); i += 2)
      {
         const ZqReal fraction = (raw[i] + raw[i + 1] * 4294967296.0) / 18446744073709551616.0;
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
   std::array<ZqReal, 5> normal{};
   ZqVector mean;
   ZqVector squares;
   for (int i = 0; i < count; ++i)
   {
      const ZqReal x = (ZqRandom::normalRandom(10.0, 0.5) - 10.0) / 0.5;
      for (std::size_t power = 1; power <= 4; ++power)
         normal[power] += std::pow(x, static_cast<ZqReal>(power)) / count;
      const ZqVector u = ZqRandom::randomUnitVector();
      EXPECT_NEAR(u.mag(), 1.0, 1e-15);
      mean += u / count;
      squares += ZqVector(u.x() * u.x(), u.y() * u.y(), u.z() * u.z()) / count;
   }
   EXPECT_NEAR(normal[1], 0.0, tolerance);
   EXPECT_NEAR(normal[2], 1.0, std::sqrt(2.0) * tolerance);
   EXPECT_NEAR(normal[3], 0.0, std::sqrt(15.0) * tolerance);
   EXPECT_NEAR(normal[4], 3.0, std::sqrt(96.0) * tolerance);
   EXPECT_TRUE(mean.approxEq(ZqVector(), tolerance));
   EXPECT_TRUE(squares.approxEq(ZqVector(1.0, 1.0, 1.0) / 3.0, tolerance));
   EXPECT_EQ(ZqRandom::normalRandom(3.5, 0.0), 3.5);
}
} // namespace
