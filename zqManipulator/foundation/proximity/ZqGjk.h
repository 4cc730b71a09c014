#pragma once

#include "zqManipulator/foundation/proximity/ZqCorePair.h"
#include "zqManipulator/foundation/proximity/ZqSimplex.h"

namespace zqConvex
{
struct GjkOptions
{
   ZqReal gap = 1e-12; ///< relative duality gap of the squared distance that ends the iteration
   int mostIterations = 128;
   /// Not below zero: ends once the distance is known to be above this, or not.
   ZqReal reach = -1.0;
   /// From A to B, where to begin without a simplex; where it is zero, along the line of the middles.
   Vec3 start{0.0, 0.0, 0.0};
};

struct GjkResult
{
   bool overlaps = false;
   ZqReal distance = 0.0; ///< not below the true one
   ZqReal lower = 0.0;    ///< not above the true one
   Vec3 v;                ///< nearest point of A - B; of an overlap the last one outside
   Vec3 a, b;             ///< nearest points
   int iterations = 0;
   Simplex simplex;
};

/// The distance of two cores, from the simplex that the cache has of cores apart, if there is one (Gilbert,
/// Johnson and Keerthi 1988).
void gjk(CorePair& pair, const ZqPairCache* warm, const GjkOptions& options,
         GjkResult& out) noexcept;
/// Keeps the simplex of cores apart, and forgets an overlap.
void remember(const CorePair& pair, const GjkResult& result, ZqPairCache& cache) noexcept;
} // namespace zqConvex
