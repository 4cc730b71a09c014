#pragma once

#include "zqManipulator/foundation/proximity/ZqShapeProximity.h"

// What of a pair's cache the next query may begin with: for those who store it.
namespace zqConvex
{
/// Calls a function with each of its real numbers, which it may change, in a fixed order. How many there are
/// hangs on `count` and `overlapped`.
template <class Visit>
void visitNumbers(ZqShapePairCache& cache, Visit&& visit)
{
   const auto visitPoint = [&](Vec3& p)
   {
      visit(p.x);
      visit(p.y);
      visit(p.z);
   };
   ZqPairCache& convex = cache.convex;
   for (int i = 0; i < convex.count; ++i)
   {
      visitPoint(convex.a[i]);
      visitPoint(convex.b[i]);
   }
   if (convex.overlapped)
   {
      visitPoint(convex.normal);
      visit(convex.lower);
      visit(convex.reliable);
      for (Vec3* p : {&convex.pose.R.c0, &convex.pose.R.c1, &convex.pose.R.c2, &convex.pose.t})
         visitPoint(*p);
   }
   visitPoint(cache.parting);
}

/// Whether a query may begin with it, whoever made it: numbers of which no product with three more overflows,
/// and directions of unit length.
bool isSound(const ZqShapePairCache& cache) noexcept;
/// Whether a query begins with it as without it.
bool isEmpty(const ZqShapePairCache& cache) noexcept;
} // namespace zqConvex
