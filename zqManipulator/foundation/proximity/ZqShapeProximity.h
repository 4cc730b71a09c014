#pragma once

#include "zqManipulator/foundation/proximity/ZqProximity.h"

#include <utility>
#include <vector>

class ZqShape;

/// What a pair of shapes keeps between queries.
struct ZqShapePairCache
{
   ZqPairCache convex; ///< of the shapes, or of the parts that were nearest
   /// The parts that were nearest, with which the next query begins.
   ZqU32 part1 = 0;
   ZqU32 part2 = 0;
   /// The unit direction that parted the shapes by the least, in the first one's frame; zero without one.
   zqConvex::Vec3 parting{0.0, 0.0, 0.0};
};

/// The queries of any two shapes, of which X places the second in the frame of the first; for convex ones
/// those of two convex sets, for compounds through trees of their parts. A cache may be null.
///
/// Compounds that overlap answer by the least of the translations that they tried and that part them: one for
/// each pair of parts that overlap and for the faces of these. It is never below the true one.
///
/// Closed triangles are the surface of a solid, open ones are thin.
namespace zqConvex
{
void distance(const ZqShape& A, const ZqShape& B, const Pose& X, ZqShapePairCache* cache,
              ZqSeparation& out);
bool isWithin(const ZqShape& A, const ZqShape& B, const Pose& X, ZqReal margin,
              ZqShapePairCache* cache);
/// Of compounds that are further apart than the margin the separation stays 1e300.
bool contact(const ZqShape& A, const ZqShape& B, const Pose& X, ZqReal margin,
             ZqShapePairCache* cache, ZqContactManifold& out);
/// The numbers of the members whose boxes are within the margin (m) of each other, in order; {0, 0} for
/// shapes without members.
void nearMembers(const ZqShape& A, const ZqShape& B, const Pose& X, ZqReal margin,
                 std::vector<std::pair<ZqU32, ZqU32>>& members);
} // namespace zqConvex
