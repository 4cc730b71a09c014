#pragma once

#include "zqManipulator/foundation/proximity/ZqGjk.h"

// Cores that overlap or nearly touch, seen moved apart along a normal by a margin, where the direction
// between them is sharp.
namespace zqConvex
{
/// The least translation that parts two cores. The height of any unit vector over A - B is a translation that
/// parts them: so whatever rounding does, `depth` is not below the true one.
struct Penetration
{
   ZqReal depth = std::numeric_limits<ZqReal>::infinity();
   ZqReal lower = 0.0;    ///< not above the true depth
   ZqReal reliable = 0.0; ///< motion until another direction, not near n, may need less
   Vec3 n{0.0, 0.0, 1.0};
   int supports = 0;
   Simplex simplex; ///< the features that balance at the depth, if they are known

   /// The height of A - B along a unit vector, and its furthest point; keeps the normal of the least height.
   ZqReal height(CorePair& pair, const Vec3& along, Vec3& a, Vec3& b) noexcept
   {
      pair.support(along, a, b);
      ++supports;
      const ZqReal h = dot(along, a - b);
      // Of a direction that was lost nothing is known.
      if (h < depth && norm2(along) > 0.5)
      {
         depth = h;
         n = along;
         simplex.count = 0;
      }
      return h;
   }
   /// Whether the simplex holds the deepest points: then these.
   bool points(Vec3& a, Vec3& b) const noexcept
   {
      a = b = {0.0, 0.0, 0.0};
      for (int i = 0; i < simplex.count; ++i)
      {
         if (!(simplex.weight[i] >= -1e-9))
            return false;
         a += simplex.a[i] * simplex.weight[i];
         b += simplex.b[i] * simplex.weight[i];
      }
      return simplex.count > 0;
   }
};

/// Sharpens direction and bounds of cores so near that their difference has lost its direction. Every normal
/// proves a lower bound, every pair of points an upper one.
void refineApart(CorePair& pair, GjkResult& result) noexcept;
/// Follows the normal of an overlap downhill to the next least of the height: from features of which points
/// are given, by balancing them and exchanging them for higher ones. False if that ends elsewhere.
bool descend(CorePair& pair, const Simplex& features, Penetration& penetration) noexcept;
/// The same from the points that a cache has.
bool descendFrom(CorePair& pair, const ZqPairCache& features, Penetration& penetration) noexcept;
} // namespace zqConvex
