// The transformation of a rotational joint with twist, beside a function written by hand that computes
// the same position and quaternion.

#include "zqManipulator/kinematics/joint/ZqDenavitHartenberg.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cmath>

namespace
{
constexpr ZqReal a = 0.43;
constexpr ZqReal d = 0.15;
constexpr ZqReal alpha = 0.7;

ZqDenavitHartenberg joint(ZqU32 dhType)
{
   ZqDenavitHartenberg result;
   result.setDhType(dhType);
   result.setDhA(a);
   result.setDhD(d);
   result.setDhAlpha(alpha);
   return result;
}

struct Frame
{
   std::array<double, 3> p;
   std::array<double, 4> q;
};

/// The floor: half angles, one sincos, everything about the twist computed beforehand.
struct HandWritten
{
   double cosHalfAlpha = std::cos(alpha / 2);
   double sinHalfAlpha = std::sin(alpha / 2);
   double y = -d * std::sin(alpha);
   double z = d * std::cos(alpha);

   [[gnu::noinline]] void craig(double q, Frame& frame) const
   {
      const double s = std::sin(q / 2);
      const double c = std::cos(q / 2);
      frame.p = {a, y, z};
      frame.q = {c * cosHalfAlpha, c * sinHalfAlpha, -s * sinHalfAlpha, s * cosHalfAlpha};
   }
};

/// A thousand joint positions over a whole turn, so that no branch is learnt by heart.
std::array<double, 1024> positions()
{
   std::array<double, 1024> list;
   for (std::size_t i = 0; i < list.size(); ++i)
      list[i] = std::fmod(static_cast<double>(i) * 2.399963, 6.28) - 3.14;
   return list;
}

void craigByHand(benchmark::State& state)
{
   const auto list = positions();
   const HandWritten byHand;
   Frame frame{};
   std::size_t i = 0;
   for (auto _ : state)
   {
      byHand.craig(list[i++ & 1023U], frame);
      benchmark::DoNotOptimize(frame);
   }
}

void freshPosition(benchmark::State& state)
{
   const auto list = positions();
   const ZqDenavitHartenberg object = joint(static_cast<ZqU32>(state.range(0)));
   std::size_t i = 0;
   for (auto _ : state)
      benchmark::DoNotOptimize(object.calculateTransform(list[i++ & 1023U]));
}

void samePosition(benchmark::State& state)
{
   const ZqDenavitHartenberg object = joint(ZqDenavitHartenberg::Craig);
   for (auto _ : state)
      benchmark::DoNotOptimize(object.calculateTransform(0.5));
}

void velocity(benchmark::State& state)
{
   const ZqDenavitHartenberg object = joint(ZqDenavitHartenberg::Paul);
   double qd = 0.5;
   for (auto _ : state)
   {
      benchmark::DoNotOptimize(qd);
      benchmark::DoNotOptimize(object.calculateVelocity(0.5, qd));
   }
}
} // namespace

BENCHMARK(craigByHand);
BENCHMARK(freshPosition)->Arg(ZqDenavitHartenberg::Craig)->Arg(ZqDenavitHartenberg::Paul);
BENCHMARK(samePosition);
BENCHMARK(velocity);
