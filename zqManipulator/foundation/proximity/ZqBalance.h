#pragma once

#include "zqManipulator/foundation/proximity/ZqCorePair.h"
#include "zqManipulator/foundation/proximity/ZqSimplex.h"

namespace zqConvex
{
/// Turns n to where the features that the points of a simplex lie on are equally high and their pull to the
/// sides cancels: there the height of A - B has its least near n, if no other feature is higher.
///
/// A feature is a vertex, a rim of a turned core or the surface of an ellipsoid, on either side; the height
/// of each is a smooth function of the direction, with known first and second derivatives, so that Newton's
/// method on the two angles of the direction ends after a few steps. Points on the same features become one.
/// Of cores apart the least height is minus the distance, of those that overlap the depth.
///
/// On return the points are those of the features for n, with the weights that cancel the pull. False, and
/// nothing changed, where there are too many features, or no least.
bool balance(const CorePair& pair, Simplex& S, Vec3& n) noexcept;

enum class Approach : std::uint8_t
{
   None,
   Nearer,
   Balanced
};
/// The same in no more than three steps, and without shortening those that are too long: how far it came.
Approach approachBalance(const CorePair& pair, Simplex& S, Vec3& n) noexcept;

/// Goes down from n to a least of the height, wherever that is, more slowly: returns the height, and the
/// features that nearly balance there.
ZqReal descendSafely(CorePair& pair, Simplex& S, Vec3& n, int& supports) noexcept;

/// Puts a point that is higher along n than the balanced ones among these, of which one goes where there are
/// three: such that the rest still hold the direction of no pull.
void exchange(Simplex& S, const Vec3& n, const Vec3& a, const Vec3& b) noexcept;
} // namespace zqConvex
