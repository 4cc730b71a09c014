// Products of transformations and the transformation of a motion, beside the same arithmetic on plain
// structs.

#include "zqManipulator/foundation/spatial/ZqGeneralMotion.h"

#include <benchmark/benchmark.h>

#include <array>

namespace
{
struct Vector
{
   double x;
   double y;
   double z;
};

struct Quaternion
{
   double w;
   double x;
   double y;
   double z;
};

struct Frame
{
   Vector p;
   Quaternion q;
};

struct Motion
{
   Vector v;
   Vector w;
};

Vector cross(const Vector& a, const Vector& b)
{
   return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

Vector rotate(const Quaternion& q, const Vector& v)
{
   const Vector u{q.x, q.y, q.z};
   Vector t = cross(u, v);
   t = {2.0 * t.x, 2.0 * t.y, 2.0 * t.z};
   const Vector s = cross(u, t);
   return {v.x + t.x * q.w + s.x, v.y + t.y * q.w + s.y, v.z + t.z * q.w + s.z};
}

Frame product(const Frame& a, const Frame& b)
{
   const Vector t = rotate(a.q, b.p);
   return {{a.p.x + t.x, a.p.y + t.y, a.p.z + t.z},
           {a.q.w * b.q.w - a.q.x * b.q.x - a.q.y * b.q.y - a.q.z * b.q.z,
            a.q.w * b.q.x + a.q.x * b.q.w + a.q.y * b.q.z - a.q.z * b.q.y,
            a.q.w * b.q.y - a.q.x * b.q.z + a.q.y * b.q.w + a.q.z * b.q.x,
            a.q.w * b.q.z + a.q.x * b.q.y - a.q.y * b.q.x + a.q.z * b.q.w}};
}

/// By a matrix that is made once for the two vectors.
void transform(Motion& m, const Frame& X)
{
   const Quaternion& q = X.q;
   const double xx = 2 * q.x * q.x, yy = 2 * q.y * q.y, zz = 2 * q.z * q.z;
   const double xy = 2 * q.x * q.y, xz = 2 * q.x * q.z, yz = 2 * q.y * q.z;
   const double wx = 2 * q.w * q.x, wy = 2 * q.w * q.y, wz = 2 * q.w * q.z;
   const double R[3][3] = {{1 - yy - zz, xy - wz, xz + wy},
                           {xy + wz, 1 - xx - zz, yz - wx},
                           {xz - wy, yz + wx, 1 - xx - yy}};
   const auto times = [&](const Vector& v)
   {
      return Vector{R[0][0] * v.x + R[0][1] * v.y + R[0][2] * v.z,
                    R[1][0] * v.x + R[1][1] * v.y + R[1][2] * v.z,
                    R[2][0] * v.x + R[2][1] * v.y + R[2][2] * v.z};
   };
   m.w = times(m.w);
   const Vector v = times(m.v);
   const Vector s = cross(X.p, m.w);
   m.v = {v.x + s.x, v.y + s.y, v.z + s.z};
}

constexpr std::size_t count = 256;

template <class Make>
auto table(Make make)
{
   std::array<decltype(make(0.0)), count> list;
   for (std::size_t i = 0; i < count; ++i)
      list[i] = make(static_cast<double>(i) * 0.37);
   return list;
}

Quaternion quaternion(double angle)
{
   const ZqOrientation q = ZqOrientation::exponential(ZqVector(angle, 0.3, -0.2));
   return {q.w(), q.x(), q.y(), q.z()};
}

ZqCoordinateSystemTransformation libraryFrame(double angle)
{
   return {ZqVector(0.1 * angle, 0.2, -0.3),
           ZqOrientation::exponential(ZqVector(angle, 0.3, -0.2))};
}

void productByHand(benchmark::State& state)
{
   const auto frames = table([](double x) { return Frame{{0.1 * x, 0.2, -0.3}, quaternion(x)}; });
   std::size_t i = 0;
   for (auto _ : state)
   {
      benchmark::DoNotOptimize(product(frames[i & 255U], frames[(i + 7) & 255U]));
      ++i;
   }
}

void productOfLibrary(benchmark::State& state)
{
   const auto frames = table(libraryFrame);
   std::size_t i = 0;
   for (auto _ : state)
   {
      benchmark::DoNotOptimize(frames[i & 255U] * frames[(i + 7) & 255U]);
      ++i;
   }
}

void chainByHand(benchmark::State& state)
{
   const auto frames = table([](double x) { return Frame{{0.1 * x, 0.2, -0.3}, quaternion(x)}; });
   for (auto _ : state)
   {
      Frame X = frames[0];
      for (std::size_t i = 1; i < count; ++i)
         X = product(X, frames[i]);
      benchmark::DoNotOptimize(X);
   }
}

void chainOfLibrary(benchmark::State& state)
{
   const auto frames = table(libraryFrame);
   for (auto _ : state)
   {
      ZqCoordinateSystemTransformation X = frames[0];
      for (std::size_t i = 1; i < count; ++i)
         X *= frames[i];
      benchmark::DoNotOptimize(X);
   }
}

/// Motions in a table are transformed in place, as a sweep over links does it. The rates are tiny, so
/// that the numbers stay in bounds over millions of rounds.
void motionByHand(benchmark::State& state)
{
   const auto frames = table([](double x) { return Frame{{0.1 * x, 0.2, -0.3}, quaternion(x)}; });
   auto motions = table([](double x) { return Motion{{x, 0.2, 0.3}, {1e-9, 2e-9, 3e-9}}; });
   std::size_t i = 0;
   for (auto _ : state)
   {
      transform(motions[i & 255U], frames[(i + 7) & 255U]);
      benchmark::ClobberMemory();
      ++i;
   }
   benchmark::DoNotOptimize(motions);
}

void motionOfLibrary(benchmark::State& state)
{
   const auto frames = table(libraryFrame);
   auto motions = table(
      [](double x) { return ZqGeneralMotion(ZqVector(x, 0.2, 0.3), ZqVector(1e-9, 2e-9, 3e-9)); });
   std::size_t i = 0;
   for (auto _ : state)
   {
      motions[i & 255U].transformBy(frames[(i + 7) & 255U]);
      benchmark::ClobberMemory();
      ++i;
   }
   benchmark::DoNotOptimize(motions);
}

void copyOfLibrary(benchmark::State& state)
{
   const auto frames = table(libraryFrame);
   std::size_t i = 0;
   for (auto _ : state)
   {
      ZqCoordinateSystemTransformation copy(frames[i++ & 255U]);
      benchmark::DoNotOptimize(copy);
   }
}
} // namespace

BENCHMARK(productByHand);
BENCHMARK(productOfLibrary);
BENCHMARK(chainByHand);
BENCHMARK(chainOfLibrary);
BENCHMARK(motionByHand);
BENCHMARK(motionOfLibrary);
BENCHMARK(copyOfLibrary);
