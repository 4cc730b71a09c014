#pragma once

#include "zqManipulator/foundation/proximity/ZqProximity.h"

#include <vector>

class ZqShape;

/// What a pair of shapes keeps between queries: for compounds, what each pair of near parts keeps.
struct ZqShapePairCache
{
   ZqPairCache convex;
   struct Parts
   {
      ZqU32 part1, part2;
      ZqPairCache cache;
   };
   std::vector<Parts> parts; ///< sorted by part1, then part2
};

/// The three queries of any two shapes, of which X places the second in the frame of the first; for convex ones
/// those of two convex sets, for compounds through trees of their parts. A cache may be null.
///
/// Compounds that overlap answer by the least of the translations that they tried and that part them: one for
/// each pair of parts that overlap and for the faces of these. It is never below the true one.
namespace zqConvex
{
void distance(const ZqShape& A, const ZqShape& B, const Pose& X, ZqShapePairCache* cache,
              ZqSeparation& out);
bool isWithin(const ZqShape& A, const ZqShape& B, const Pose& X, ZqReal margin,
              ZqShapePairCache* cache);
bool contact(const ZqShape& A, const ZqShape& B, const Pose& X, ZqReal margin,
             ZqShapePairCache* cache, ZqContactManifold& out);
} // namespace zqConvex
