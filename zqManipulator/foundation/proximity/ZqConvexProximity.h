#pragma once

#include "zqManipulator/foundation/proximity/ZqCorePair.h"

// The three queries of two convex sets, of which X places B in the frame of A. They always answer, allocate
// nothing, and take a cache or null.
namespace zqConvex
{
/// Signed distance and witness points.
void distance(const ZqConvex& A, const ZqConvex& B, const Pose& X, ZqPairCache* cache,
              ZqSeparation& out) noexcept;
/// Whether they come within a margin (m) of each other; it stops at the first proof.
bool isWithin(const ZqConvex& A, const ZqConvex& B, const Pose& X, ZqReal margin,
              ZqPairCache* cache) noexcept;
/// Signed distance and contact points of sets that are no further apart than the margin (m): the whole patch that
/// the features cover which they turn to each other, or what of it is no further apart than `farthest`. False, and
/// no points, when the sets are further apart; the separation is then one that they have at least. Two half-spaces
/// have no contact points.
bool contact(const ZqConvex& A, const ZqConvex& B, const Pose& X, ZqReal margin, ZqPairCache* cache,
             ZqContactManifold& out, ZqReal farthest = 1e300) noexcept;
} // namespace zqConvex
