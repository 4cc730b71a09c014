#pragma once

#include "zqManipulator/foundation/geometry/ZqConvex.h"
#include "zqManipulator/foundation/proximity/ZqProximity.h"

namespace zqConvex
{
/// Two cores, and the pose of the second in the frame of the first. All solvers work in the first core's
/// frame: their numbers are as small as the shapes and their separation, wherever in the world they are.
struct CorePair
{
   const ZqConvex& A;
   const ZqConvex& B;
   Pose X;
   int atA = 0, atB = 0; ///< where polytopes begin to look

   /// The points furthest along d of A, and furthest against it of B: a - b is the support of A - B.
   void support(const Vec3& d, Vec3& a, Vec3& b) noexcept
   {
      a = A.support(d, atA);
      b = X * B.support(turnBack(X.R, -d), atB);
   }
   ZqReal size() const noexcept { return A.size + B.size; }
};

/// How far apart two cores are: in the first core's frame.
struct CoreAnswer
{
   ZqReal distance; ///< negative where they overlap
   ZqReal error;    ///< as in `ZqSeparation`
   Vec3 n;          ///< unit, from A to B
   Vec3 a, b;       ///< nearest or deepest points
   Vec3 along;      ///< unit, from a to b: near touching it is duller than n
   int iterations;
};

/// A coordinate of which no product with three more overflows or underflows; zero for what is not a number.
inline ZqReal inRange(ZqReal x) noexcept
{
   return std::abs(x) > 1e-75 ? std::clamp(x, -1e75, 1e75) : 0.0;
}
/// The pose of B's core in the frame of A's, of shapes that X places: B in A.
inline Pose corePose(const ZqConvex& A, const ZqConvex& B, const Pose& X) noexcept
{
   const Pose Y = B.frameIsIdentity ? X : X * B.frame;
   const Pose Z = A.frameIsIdentity ? Y : inverseTimes(A.frame, Y);
   return {Z.R, {inRange(Z.t.x), inRange(Z.t.y), inRange(Z.t.z)}};
}
inline Vec3 coreToShape(const ZqConvex& C, const Vec3& p) noexcept
{
   return C.frameIsIdentity ? p : C.frame * p;
}
inline Vec3 coreToShapeTurn(const ZqConvex& C, const Vec3& d) noexcept
{
   return C.frameIsIdentity ? d : C.frame.R * d;
}

/// Signed distance, normal and points of two cores: by a closed form where there is one, else by iteration,
/// from what the cache has, if there is one. Always answers. Without `points` the deepest points of an
/// overlap are left out where the normal does not need them.
void coreDistance(CorePair& pair, ZqPairCache* cache, CoreAnswer& out, bool points = true) noexcept;
/// Nearest or deepest points of B moved out along n by depth + margin, and back; the direction of their line.
Vec3 deepestPoints(CorePair& pair, const Vec3& n, ZqReal depth, ZqReal margin, Vec3& a, Vec3& b,
                   int& supports, ZqPairCache* warm = nullptr) noexcept;
/// The greatest separation of two boxes (of whatever extents) along an axis that could part them, which is
/// negative where they overlap, and the axis, from A to B. Faces win over edges unless edges are better by
/// more than rounding.
ZqReal separatingAxis(const CorePair& pair, Vec3& axis) noexcept;
} // namespace zqConvex
