#include "zqManipulator/foundation/proximity/ZqPartedCores.h"

#include "zqManipulator/foundation/proximity/ZqBalance.h"

namespace zqConvex
{
namespace
{
/// The least radius of the cores' rims, at most their size.
ZqReal leastRimRadius(const CorePair& pair) noexcept
{
   ZqReal radius = pair.size();
   for (const ZqConvex* C : {&pair.A, &pair.B})
      if (C->core == ZqConvex::Core::Turned)
         radius = std::min(radius, std::max(C->h.x, C->h.y));
   return radius;
}
} // namespace

Vec3 deepestPoints(CorePair& pair, const Vec3& n, ZqReal depth, ZqReal margin, Vec3& a, Vec3& b,
                   int& supports, ZqPairCache* warm) noexcept
{
   const Vec3 shift = n * (depth + margin);
   CorePair parted{pair.A, pair.B, {pair.X.R, pair.X.t + shift}, pair.atA, pair.atB};
   GjkResult result;
   GjkOptions options;
   options.gap = 1e-15; // the direction is wanted, whose error is the root of the gap
   options.start = n;
   gjk(parted, warm, options, result);
   supports += result.iterations;
   pair.atA = parted.atA;
   pair.atB = parted.atB;
   if (!(result.distance > 0.0))
   {
      pair.support(n, a, b);
      b = a - n * depth;
      return n;
   }
   if (warm)
      remember(parted, result, *warm);
   a = result.a;
   b = result.b - shift;
   return unit(-result.v);
}

void refineApart(CorePair& pair, GjkResult& result) noexcept
{
   const ZqReal size = pair.size();
   const ZqReal radius = leastRimRadius(pair);
   // The rate is margin / (radius of curvature + distance + margin).
   const ZqReal margins[3] = {0.3 * radius, std::max(1e-2 * radius, 1e-7 * size),
                              std::max(3e-4 * radius, 1e-8 * size)};
   const ZqReal enough = 1e-12 * size;
   Vec3 n = unit(-result.v);
   ZqReal lower = -std::numeric_limits<ZqReal>::infinity();
   for (const ZqReal margin : margins)
   {
      ZqPairCache warm;
      for (int k = 0; k < 20; ++k)
      {
         Vec3 a, b;
         const Vec3 sharper =
            deepestPoints(pair, n, -std::max(lower, 0.0), margin, a, b, result.iterations, &warm);
         const Vec3 w = a - b;
         if (const ZqReal upper = norm(w); upper < result.distance)
         {
            result.distance = upper;
            result.a = a;
            result.b = b;
            result.v = w;
         }
         pair.support(sharper, a, b);
         ++result.iterations;
         const ZqReal low = dot(sharper, b - a);
         const bool isBetter = low > lower + 1e-13 * size;
         if (low > lower)
         {
            lower = low;
            n = sharper;
         }
         if (result.distance - lower <= enough || !isBetter)
            break;
      }
      if (result.distance - lower <= enough)
         break;
   }
   result.lower = std::max(result.lower, std::min(lower, result.distance));
   // The direction of the bound is sharper than that of the points; along it they are at least `lower` apart.
   if (lower > 0.5 * result.distance || result.distance < 1e-9 * size)
      result.v = n * -std::max(result.distance, 1e-300);
}

/// Leaves out the feature of the most negative weight: the height falls away from it. False if there is none.
bool dropPulling(Simplex& S) noexcept
{
   int least = 0;
   for (int i = 1; i < S.count; ++i)
      if (S.weight[i] < S.weight[least])
         least = i;
   if (!(S.weight[least] < -1e-9))
      return false;
   const int last = --S.count;
   S.set(least, S.a[last], S.b[last]);
   return true;
}

bool descend(CorePair& pair, const Simplex& features, Penetration& penetration) noexcept
{
   const ZqReal rounding = 1e-15 * pair.size();
   Simplex S = features;
   Vec3 n = penetration.n;
   for (int k = 0; k < 16; ++k)
   {
      if (!balance(pair, S, n))
         return false;
      if (dropPulling(S))
         continue;
      Vec3 a, b;
      pair.support(n, a, b);
      ++penetration.supports;
      const ZqReal height = dot(n, a - b);
      const ZqReal balanced = dot(n, S.w[0]);
      if (height - balanced <= 4.0 * rounding)
      {
         if (!(height <= penetration.depth + 4.0 * rounding))
            return false;
         penetration.depth = height;
         penetration.n = n;
         penetration.simplex = S;
         return true;
      }
      exchange(S, n, a, b);
   }
   return false;
}

bool descendFrom(CorePair& pair, const ZqPairCache& features, Penetration& penetration) noexcept
{
   Simplex S;
   S.count = features.count;
   for (int i = 0; i < S.count; ++i)
      S.set(i, features.a[i], pair.X * features.b[i]);
   return S.count > 0 && descend(pair, S, penetration);
}
} // namespace zqConvex
