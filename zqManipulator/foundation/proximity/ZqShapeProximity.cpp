#include "zqManipulator/foundation/proximity/ZqShapeProximity.h"

#include "zqManipulator/foundation/proximity/ZqConvexProximity.h"
#include "zqManipulator/foundation/proximity/ZqPairCacheNumbers.h"
#include "zqManipulator/foundation/proximity/ZqPartPairs.h"

namespace zqConvex
{
namespace
{
/// Whether the spheres around two boxes overlap.
bool mayOverlap(const AlignedBox& a, const AlignedBox& b, const Pose& X) noexcept
{
   const Vec3 between = X * (b.lower + b.upper) - (a.lower + a.upper) + X.t;
   return norm(between) <= norm(a.upper - a.lower) + norm(b.upper - b.lower);
}
/// A point inside a convex set that is bounded: the mean of its furthest points along the axes.
Vec3 innerPoint(const ZqConvex& C) noexcept
{
   Vec3 sum{0.0, 0.0, 0.0};
   int at = 0;
   for (int i = 0; i < 3; ++i)
   {
      Vec3 axis{0.0, 0.0, 0.0};
      axis[i] = 1.0;
      sum += C.support(axis, at) + C.support(-axis, at);
   }
   return C.frame * (sum * (1.0 / 6.0));
}

/// Whether a point is so near a mesh that rounding decides on which side it lies.
bool isOnSurface(const ZqTriangles& mesh, const Vec3& p, ZqReal rounding) noexcept
{
   bool isNear = false;
   const ZqConvex point = ZqConvex::sphere(vector(p), 0.0);
   const Vec3 room{rounding, rounding, rounding};
   const auto look = [&](int triangle)
   {
      ZqConvex part = ZqConvex::triangle({}, ZqVector(1.0, 0.0, 0.0), ZqVector(0.0, 1.0, 0.0));
      mesh.set(part, static_cast<ZqU32>(triangle));
      isNear = isNear || isWithin(part, point, {}, rounding, nullptr);
   };
   mesh.tree().visitOverlaps({p - room, p + room}, look);
   return isNear;
}

/// Whether a closed mesh holds a piece of another surface that it does not cut; X places that one. The first
/// point near the beginning of the piece that does not touch the mesh tells; where all do, the two touch.
bool holdsPieceOf(const ZqTriangles& mesh, const ZqTriangles& other, ZqU32 piece, const Pose& X,
                  ZqReal rounding) noexcept
{
   constexpr int most = 64;
   const AlignedBox bounds = mesh.tree().bounds();
   ZqU32 walked[most] = {piece};
   int count = 1;
   for (int i = 0; i < count; ++i)
   {
      for (int corner = 0; corner < 3; ++corner)
      {
         const Vec3 p = X * other.vertex(walked[i], corner);
         if (!bounds.contains({p, p}))
            return false;
         if (!isOnSurface(mesh, p, rounding))
            return mesh.contains(p);
         const ZqU32 next = other.neighbour(walked[i], corner);
         if (next != ZqTriangles::none && count < most &&
             std::find(walked, walked + count, next) == walked + count)
            walked[count++] = next;
      }
   }
   return false;
}

/// Whether any closed mesh of A holds a piece of B whole, none of which it cuts. X places B in A.
bool holdsPiece(const PartSide& A, const PartSide& B, const Pose& X) noexcept
{
   for (int a = 0; a < A.memberCount(); ++a)
   {
      const ZqTriangles* mesh = A.triangles(a);
      if (!mesh || !mesh->isClosed())
         continue;
      const AlignedBox bounds = mesh->tree().bounds();
      const ZqReal rounding = 1e-13 * (norm(bounds.upper - bounds.lower) + norm(X.t));
      for (int b = 0; b < B.memberCount(); ++b)
      {
         if (const ZqTriangles* other = B.triangles(b))
         {
            if (mayOverlap(bounds, other->tree().bounds(), X))
               for (const ZqU32 piece : other->pieces())
                  if (holdsPieceOf(*mesh, *other, piece, X, rounding))
                     return true;
         }
         else if (B.partCount(b) > 0 && B.convexMember(b).isBounded())
         {
            const Vec3 p = X * innerPoint(B.convexMember(b));
            if (bounds.contains({p, p}) && !isOnSurface(*mesh, p, rounding) && mesh->contains(p))
               return true;
         }
      }
   }
   return false;
}

/// Signed, from a half-space A: nothing parts it from B by less than along its normal.
void fromHalfSpace(const ZqConvex& A, const PartSide& B, const Pose& X, ZqSeparation& out)
{
   const Vec3& n = A.frame.R.c2;
   for (int b = 0; b < B.memberCount(); ++b)
   {
      ZqSeparation found;
      found.part2 = B.firstPart(b);
      if (const ZqTriangles* mesh = B.triangles(b))
      {
         if (mesh->size() == 0)
            continue;
         const Vec3 p = mesh->support(turnBack(X.R, -n), found.part2);
         found.part2 += B.firstPart(b);
         found.distance = dot(n, X * p - A.frame.t);
         found.normal = vector(n);
         found.point1 = vector(X * p - n * found.distance);
         found.point2 = vector(p);
      }
      else if (B.partCount(b) > 0)
      {
         distance(A, B.convexMember(b), X, nullptr, found);
         found.part2 = B.firstPart(b);
      }
      if (found.distance < out.distance)
         out = found;
   }
}
/// The answer with its sides exchanged; X places the second shape of `in` in the frame of the first.
ZqSeparation exchanged(const ZqSeparation& in, const Pose& X) noexcept
{
   ZqSeparation out = in;
   out.normal = vector(-turnBack(X.R, vec3(in.normal)));
   std::swap(out.point1, out.point2);
   std::swap(out.part1, out.part2);
   return out;
}
} // namespace

bool isInside(const PartSide& A, const PartSide& B, const Pose& X) noexcept
{
   return holdsPiece(A, B, X) || holdsPiece(B, A, inverse(X));
}

void nearestParts(const PartSide& A, const PartSide& B, const Pose& X, ZqSeparation& out)
{
   const auto look = [&](ZqU32 part1, const ZqConvex& a, ZqU32 part2, const ZqConvex& b)
   {
      if (out.distance < 1e300 && !isWithin(a, b, X, out.distance, nullptr))
         return out.distance;
      ZqSeparation found;
      distance(a, b, X, nullptr, found);
      if (found.distance < out.distance)
      {
         found.iterations += out.iterations;
         out = found;
         out.part1 = part1;
         out.part2 = part2;
      }
      return out.distance > 0.0 ? out.distance : -1.0;
   };
   visitPartPairs(A, B, X, out.distance, look);
}

void distance(const PartSide& A, const PartSide& B, const Pose& X, ZqShapePairCache* cache,
              ZqSeparation& out)
{
   if (A.convex() && B.convex())
      return distance(*A.convex(), *B.convex(), X, cache ? &cache->convex : nullptr, out);
   out = {};
   if (A.partCount() == 0 || B.partCount() == 0)
      return;
   if (A.convex() && !A.convex()->isBounded())
      return fromHalfSpace(*A.convex(), B, X, out);
   if (B.convex() && !B.convex()->isBounded())
   {
      const Pose Y = inverse(X);
      fromHalfSpace(*B.convex(), A, Y, out);
      out = exchanged(out, Y);
      return;
   }
   // The parts that were nearest are likely so again, and leave little else to look at.
   if (cache && cache->part1 < A.partCount() && cache->part2 < B.partCount())
   {
      ZqConvex spaceA;
      ZqConvex spaceB;
      distance(A.part(cache->part1, spaceA), B.part(cache->part2, spaceB), X, &cache->convex, out);
      out.part1 = cache->part1;
      out.part2 = cache->part2;
   }
   if (out.distance > 0.0)
      nearestParts(A, B, X, out);
   if (cache && (cache->part1 != out.part1 || cache->part2 != out.part2))
   {
      cache->part1 = out.part1;
      cache->part2 = out.part2;
      cache->convex = {};
   }
   if (!(out.distance > 0.0) || isInside(A, B, X))
      leastParting(A, B, X, cache, out);
}

bool isWithin(const PartSide& A, const PartSide& B, const Pose& X, ZqReal margin,
              ZqShapePairCache* cache)
{
   if (A.convex() && B.convex())
      return isWithin(*A.convex(), *B.convex(), X, margin, cache ? &cache->convex : nullptr);
   if (A.partCount() == 0 || B.partCount() == 0 || !(margin >= 0.0))
      return false;
   if (cache && cache->part1 < A.partCount() && cache->part2 < B.partCount())
   {
      ZqConvex spaceA;
      ZqConvex spaceB;
      if (isWithin(A.part(cache->part1, spaceA), B.part(cache->part2, spaceB), X, margin,
                   &cache->convex))
         return true;
   }
   bool isFound = false;
   const auto look = [&](ZqU32 part1, const ZqConvex& a, ZqU32 part2, const ZqConvex& b)
   {
      if (!isWithin(a, b, X, margin, nullptr))
         return margin;
      isFound = true;
      if (cache)
      {
         cache->part1 = part1;
         cache->part2 = part2;
         cache->convex = {};
      }
      return -1.0;
   };
   visitPartPairs(A, B, X, margin, look);
   return isFound || isInside(A, B, X);
}

void distance(const ZqShape& A, const ZqShape& B, const Pose& X, ZqShapePairCache* cache,
              ZqSeparation& out)
{
   distance(PartSide(A), PartSide(B), X, cache, out);
}

bool isWithin(const ZqShape& A, const ZqShape& B, const Pose& X, ZqReal margin,
              ZqShapePairCache* cache)
{
   return isWithin(PartSide(A), PartSide(B), X, margin, cache);
}

bool contact(const ZqShape& A, const ZqShape& B, const Pose& X, ZqReal margin,
             ZqShapePairCache* cache, ZqContactManifold& out)
{
   return contact(PartSide(A), PartSide(B), X, margin, cache, out);
}

bool isSound(const ZqShapePairCache& cache) noexcept
{
   const auto isUnit = [](const Vec3& v) { return std::abs(norm2(v) - 1.0) < 1e-6; };
   ZqShapePairCache copy = cache;
   bool isSmall = cache.convex.count >= 0 && cache.convex.count <= 4;
   if (isSmall)
      visitNumbers(copy, [&](ZqReal x) { isSmall = isSmall && std::abs(x) <= 1e75; });
   return isSmall && (!cache.convex.overlapped || isUnit(cache.convex.normal)) &&
          (norm2(cache.parting) == 0.0 || isUnit(cache.parting));
}

bool isEmpty(const ZqShapePairCache& cache) noexcept
{
   const ZqPairCache& convex = cache.convex;
   return convex.count == 0 && !convex.overlapped && convex.atA == 0 && convex.atB == 0 &&
          cache.part1 == 0 && cache.part2 == 0 && norm2(cache.parting) == 0.0;
}

void nearMembers(const ZqShape& shapeA, const ZqShape& shapeB, const Pose& X, ZqReal margin,
                 std::vector<std::pair<ZqU32, ZqU32>>& members)
{
   members.clear();
   const PartSide A(shapeA);
   const PartSide B(shapeB);
   const auto look = [&](int a, int b)
   {
      members.emplace_back(a, b);
      return margin;
   };
   visitMemberPairs(A, B, X, margin, look);
   std::sort(members.begin(), members.end());
}
} // namespace zqConvex
