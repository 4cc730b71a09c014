#pragma once

#include "zqManipulator/foundation/proximity/ZqGjk.h"

// Cores that overlap or nearly touch, seen moved apart along a normal by a margin, where the direction between them
// is sharp.
namespace zqConvex
{
/// The least translation that parts two cores. The height of any unit vector over A - B is a translation that parts
/// them: so whatever rounding does, `depth` is not below the true one.
struct Penetration
{
   ZqReal depth = std::numeric_limits<ZqReal>::infinity();
   ZqReal lower = 0.0; ///< not above the true depth
   Vec3 n{0.0, 0.0, 1.0};
   int supports = 0;

   /// The height of A - B along n, and its furthest point; keeps the normal of the least height.
   ZqReal height(CorePair& pair, const Vec3& along, Vec3& w) noexcept
   {
      Vec3 a, b;
      pair.support(along, a, b);
      ++supports;
      w = a - b;
      const ZqReal h = dot(along, w);
      if (h < depth)
      {
         depth = h;
         n = along;
      }
      return h;
   }
};

/// Sharpens direction and bounds of cores so near that their difference has lost its direction. Every normal proves
/// a lower bound, every pair of points an upper one.
void refineApart(CorePair& pair, GjkResult& result) noexcept;
/// Follows the normal of an overlap downhill until its depth stops falling.
void refineDepth(CorePair& pair, Penetration& penetration, int mostSteps = 24) noexcept;
} // namespace zqConvex
