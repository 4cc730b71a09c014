#pragma once

#include "zqManipulator/foundation/geometry/ZqBoxHierarchy.h"
#include "zqManipulator/foundation/geometry/ZqConvexParts.h"
#include "zqManipulator/foundation/geometry/ZqShape.h"
#include "zqManipulator/foundation/geometry/ZqTriangleTree.h"
#include "zqManipulator/foundation/proximity/ZqShapeProximity.h"

namespace zqConvex
{
/// A shape as the members that a query goes through: one that is convex, or those of a compound.
class PartSide
{
public:
   explicit PartSide(const ZqShape& shape)
      : m_convex(shape.convex()), m_parts(m_convex ? nullptr : shape.parts())
   {
      takeSoleMember();
   }
   explicit PartSide(const ZqConvex& convex) noexcept : m_convex(&convex), m_parts(nullptr) {}
   explicit PartSide(const ZqConvexParts& parts) noexcept : m_convex(nullptr), m_parts(&parts)
   {
      takeSoleMember();
   }

   /// Null of a compound.
   const ZqConvex* convex() const noexcept { return m_convex; }
   /// Null of a convex shape.
   const ZqConvexParts* parts() const noexcept { return m_parts; }
   int memberCount() const noexcept
   {
      return m_convex ? 1 : m_parts ? static_cast<int>(m_parts->members().size()) : 0;
   }
   /// Of a member that is convex.
   const ZqConvex& convexMember(int member) const noexcept
   {
      return m_convex ? *m_convex : m_parts->members()[member].convex;
   }
   /// Of a member that is a mesh and not convex; else null.
   const ZqTriangles* triangles(int member) const noexcept
   {
      return m_convex || m_parts->members()[member].isConvex
                ? nullptr
                : m_parts->members()[member].triangles.get();
   }
   ZqU32 firstPart(int member) const noexcept
   {
      return m_convex ? 0 : m_parts->members()[member].firstPart;
   }
   int memberOf(ZqU32 part) const noexcept
   {
      return m_convex ? 0 : static_cast<int>(m_parts->memberOf(part));
   }
   ZqU32 partCount() const noexcept { return m_convex ? 1 : m_parts ? m_parts->size() : 0; }
   ZqU32 partCount(int member) const noexcept
   {
      return m_convex ? 1 : m_parts->members()[member].partCount;
   }
   /// A part by number, made in `space` if it is a triangle.
   const ZqConvex& part(ZqU32 number, ZqConvex& space) const noexcept
   {
      const int member = memberOf(number);
      const ZqTriangles* mesh = triangles(member);
      if (!mesh)
         return convexMember(member);
      mesh->set(space, number - firstPart(member));
      return space;
   }
   /// The triangles that a part is one of, and which; null for other parts.
   const ZqTriangles* trianglesOf(ZqU32 number, ZqU32& triangle) const noexcept
   {
      const int member = memberOf(number);
      triangle = number - firstPart(member);
      return triangles(member);
   }

private:
   /// A compound of one convex member, as a mesh around a convex solid, is that member.
   void takeSoleMember() noexcept
   {
      if (!m_parts || m_parts->members().size() != 1)
         return;
      const ZqConvexParts::Member& sole = m_parts->members().front();
      if (!sole.isConvex || sole.partCount != 1)
         return;
      m_convex = &sole.convex;
      m_parts = nullptr;
   }

   const ZqConvex* m_convex;
   const ZqConvexParts* m_parts;
};

/// A box in a frame of its own.
struct PlacedBox
{
   AlignedBox box;
   Pose frame;
};

/// The box of a convex set in the frame of its core; that of a half-space reaches around `other`, a box in the
/// frame in which X places the set.
inline PlacedBox boxAlongCore(const ZqConvex& C, const Pose& X, const AlignedBox& other) noexcept
{
   const Pose frame = X * C.frame;
   if (!C.isBounded())
   {
      constexpr ZqReal far = 1e30;
      const Vec3 middle = inverseTimes(frame, (other.lower + other.upper) * 0.5);
      const ZqReal half = 0.5 * norm(other.upper - other.lower);
      if (!(half < far) || !(largest(middle) < far))
         return {{{-far, -far, -far}, {far, far, 0.0}}, frame};
      return {{{middle.x - half, middle.y - half, std::min(0.0, middle.z) - half},
               {middle.x + half, middle.y + half, 0.0}},
              frame};
   }
   int at = 0;
   AlignedBox box;
   for (int i = 0; i < 3; ++i)
   {
      Vec3 d{0.0, 0.0, 0.0};
      d[i] = 1.0;
      box.upper[i] = C.support(d, at)[i] + C.radius;
      box.lower[i] = C.support(-d, at)[i] - C.radius;
   }
   return {box, frame};
}

inline TurnedBox turned(const PlacedBox& box) noexcept
{
   return {box.frame * ((box.box.lower + box.box.upper) * 0.5), box.frame.R,
           (box.box.upper - box.box.lower) * 0.5};
}

/// Whether the plane of one of two triangles, or the line of their middles, shows that they are further apart
/// than the limit.
inline bool areTrianglesApart(const ZqTriangles& A, ZqU32 a, const ZqTriangles& B, ZqU32 b,
                              const Pose& X, ZqReal limit) noexcept
{
   const Vec3 p[3] = {A.vertex(a, 0), A.vertex(a, 1), A.vertex(a, 2)};
   const Vec3 q[3] = {X * B.vertex(b, 0), X * B.vertex(b, 1), X * B.vertex(b, 2)};
   const auto isBeyond = [limit](const Vec3* plane, const Vec3* points)
   {
      const Vec3 n = cross(plane[1] - plane[0], plane[2] - plane[0]);
      const ZqReal d0 = dot(n, points[0] - plane[0]);
      const ZqReal d1 = dot(n, points[1] - plane[0]);
      const ZqReal d2 = dot(n, points[2] - plane[0]);
      const ZqReal gap = std::max(std::min({d0, d1, d2}), -std::max({d0, d1, d2}));
      return gap > 0.0 && gap * gap > limit * limit * norm2(n) * (1.0 + 1e-12);
   };
   const Vec3 along = (q[0] - p[0]) + (q[1] - p[1]) + (q[2] - p[2]);
   const ZqReal most = std::max({dot(along, p[0]), dot(along, p[1]), dot(along, p[2])});
   const ZqReal gap = std::min({dot(along, q[0]), dot(along, q[1]), dot(along, q[2])}) - most;
   return (gap > 0.0 && gap * gap > limit * limit * norm2(along) * (1.0 + 1e-12)) ||
          isBeyond(p, q) || isBeyond(q, p);
}

/// Calls `limit = visit(memberOfA, memberOfB)` for the pairs whose boxes may be within `limit` of each other,
/// the near ones first as far as boxes tell. Below zero ends it.
template <class Visit>
void visitMemberPairs(const PartSide& A, const PartSide& B, const Pose& X, ZqReal limit,
                      Visit&& visit)
{
   if (A.partCount() == 0 || B.partCount() == 0)
      return;
   if (A.memberCount() == 1 && B.memberCount() == 1)
   {
      visit(0, 0);
      return;
   }
   if (A.convex())
   {
      const BoxHierarchy& tree = B.parts()->tree();
      const PlacedBox a = boxAlongCore(*A.convex(), inverse(X), tree.bounds());
      tree.visitNearest(a.box, a.frame, limit, [&](int b) { return visit(0, b); });
   }
   else if (B.convex())
   {
      const BoxHierarchy& tree = A.parts()->tree();
      const PlacedBox b = boxAlongCore(*B.convex(), X, tree.bounds());
      tree.visitNearest(b.box, b.frame, limit, [&](int a) { return visit(a, 0); });
   }
   else
      BoxHierarchy::visitNearestPairs(A.parts()->tree(), B.parts()->tree(), X, limit, visit);
}

/// Calls `limit = visit(partOfA, convexA, partOfB, convexB)` in the same way for pairs of parts.
template <class Visit>
void visitPartPairs(const PartSide& A, const PartSide& B, const Pose& X, ZqReal limit,
                    Visit&& visit)
{
   ZqConvex spaceA;
   ZqConvex spaceB;
   const auto look = [&](int a, int b)
   {
      const ZqTriangles* meshA = A.triangles(a);
      const ZqTriangles* meshB = B.triangles(b);
      const ZqU32 firstA = A.firstPart(a);
      const ZqU32 firstB = B.firstPart(b);
      if (!meshA && !meshB)
         limit = visit(firstA, A.convexMember(a), firstB, B.convexMember(b));
      else if (!meshB)
      {
         const ZqConvex& convexB = B.convexMember(b);
         const PlacedBox box = boxAlongCore(convexB, X, meshA->tree().bounds());
         meshA->surfaceTree().visitNearest(turned(box), limit,
                                           [&](int t)
                                           {
                                              const ZqU32 triangle = static_cast<ZqU32>(t);
                                              meshA->set(spaceA, triangle);
                                              return limit = visit(firstA + triangle, spaceA,
                                                                   firstB, convexB);
                                           });
      }
      else if (!meshA)
      {
         const ZqConvex& convexA = A.convexMember(a);
         const PlacedBox box = boxAlongCore(convexA, inverse(X), meshB->tree().bounds());
         meshB->surfaceTree().visitNearest(turned(box), limit,
                                           [&](int t)
                                           {
                                              const ZqU32 triangle = static_cast<ZqU32>(t);
                                              meshB->set(spaceB, triangle);
                                              return limit = visit(firstA, convexA,
                                                                   firstB + triangle, spaceB);
                                           });
      }
      else
         TriangleTree::visitNearestPairs(
            meshA->surfaceTree(), meshB->surfaceTree(), X, limit,
            [&](int t, int other)
            {
               const ZqU32 triangleA = static_cast<ZqU32>(t);
               const ZqU32 triangleB = static_cast<ZqU32>(other);
               if (areTrianglesApart(*meshA, triangleA, *meshB, triangleB, X, limit))
                  return limit;
               meshA->set(spaceA, triangleA);
               meshB->set(spaceB, triangleB);
               return limit = visit(firstA + triangleA, spaceA, firstB + triangleB, spaceB);
            });
      return limit;
   };
   visitMemberPairs(A, B, X, limit, look);
}

/// The queries of `ZqShapeProximity.h`.
/// @{
void distance(const PartSide& A, const PartSide& B, const Pose& X, ZqShapePairCache* cache,
              ZqSeparation& out);
bool isWithin(const PartSide& A, const PartSide& B, const Pose& X, ZqReal margin,
              ZqShapePairCache* cache);
bool contact(const PartSide& A, const PartSide& B, const Pose& X, ZqReal margin,
             ZqShapePairCache* cache, ZqContactManifold& out);
/// @}
/// Whether a surface lies wholly in a solid of the other side, of shapes whose surfaces do not meet.
bool isInside(const PartSide& A, const PartSide& B, const Pose& X) noexcept;
/// The nearest parts of shapes that are apart; a distance that is not above zero, of whichever parts, when any
/// overlap. `out` holds what is known already, or nothing.
void nearestParts(const PartSide& A, const PartSide& B, const Pose& X, ZqSeparation& out);
/// The least translation found that parts shapes that overlap; the length is that of `out`, with its sign.
void leastParting(const PartSide& A, const PartSide& B, const Pose& X, ZqShapePairCache* cache,
                  ZqSeparation& out);
} // namespace zqConvex
