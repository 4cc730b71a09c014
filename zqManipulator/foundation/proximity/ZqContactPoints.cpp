#include "zqManipulator/foundation/proximity/ZqContactPoints.h"

#include "zqManipulator/foundation/proximity/ZqContactPatch.h"

namespace zqConvex
{
namespace
{
/// Edges that lean by less than this (rad, about) run side by side.
constexpr ZqReal sideBySide = 0.05;

/// The deepest points of flat cores that overlap: at a vertex, where two edges cross, or by moving the cores apart.
void findDeepest(CorePair& pair, const SupportingFace& fa, const SupportingFace& fb,
                 CoreAnswer& answer) noexcept
{
   const Vec3 across = answer.n * answer.distance;
   if (fb.count == 1)
   {
      answer.b = fb.corner[0];
      answer.a = answer.b - across;
      return;
   }
   if (fa.count == 1)
   {
      answer.a = fa.corner[0];
      answer.b = answer.a + across;
      return;
   }
   if (fa.count == 2 && fb.count == 2)
   {
      const Vec3 u = fa.corner[1] - fa.corner[0];
      const Vec3 v = fb.corner[1] - fb.corner[0];
      const Vec3 m = cross(u, v);
      const ZqReal m2 = norm2(m);
      if (m2 > 1e-6 * norm2(u) * norm2(v))
      {
         const Vec3 d = fb.corner[0] - fa.corner[0];
         answer.a = fa.corner[0] + u * (dot(cross(d, v), m) / m2);
         answer.b = fb.corner[0] + v * (dot(cross(d, u), m) / m2);
         return;
      }
   }
   int supports = 0;
   deepestPoints(pair, answer.n, -answer.distance, 1e-3 * pair.size(), answer.a, answer.b,
                 supports);
}

/// The name of the deepest place where the supporting faces tell no more: of a vertex and nothing, or two edges
/// that cross.
std::uint64_t nameOfDeepest(const CorePair& pair, const SupportingFace& fa,
                            const SupportingFace& fb) noexcept
{
   if (fa.count == 1 && fb.count == 1)
      return contactName(vertexName(fa.vertex[0]), vertexName(fb.vertex[0]));
   if (fa.count == 1)
      return contactName(vertexName(fa.vertex[0]), 0);
   if (fb.count == 1)
      return contactName(0, vertexName(fb.vertex[0]));
   if (fa.count == 2 && fb.count == 2)
      return contactName(edgeName(pair.A, fa.vertex[0], fa.vertex[1]),
                         edgeName(pair.B, fb.vertex[0], fb.vertex[1]));
   return contactName(unknownName, unknownName);
}

/// Two edges: the ends of what they have in common along the line between them, if they run side by side.
void meetAlongEdges(const CorePair& pair, const CoreAnswer& answer, const SupportingFace& fa,
                    const SupportingFace& fb, ZqReal reach, ZqContactManifold& out) noexcept
{
   const Vec3 u = unit(fa.corner[1] - fa.corner[0]);
   const Vec3 v = unit(fb.corner[1] - fb.corner[0]);
   if (norm2(cross(u, v)) > sideBySide * sideBySide)
      return;
   const bool isAgainst = dot(u, v) < 0.0;
   const Vec3 w = unit(isAgainst ? u - v : u + v);
   const int b0 = isAgainst ? 1 : 0;
   const ZqReal a0At = dot(w, fa.corner[0]);
   const ZqReal a1At = dot(w, fa.corner[1]);
   const ZqReal b0At = dot(w, fb.corner[b0]);
   const ZqReal b1At = dot(w, fb.corner[1 - b0]);
   const ZqReal low = std::max(a0At, b0At);
   const ZqReal high = std::min(a1At, b1At);
   if (!(high - low > 1e-9 * std::min(a1At - a0At, b1At - b0At)))
      return;
   const auto end = [&](ZqReal at, std::uint64_t name)
   {
      const Vec3 a = fa.corner[0] + (fa.corner[1] - fa.corner[0]) * ((at - a0At) / (a1At - a0At));
      const Vec3 b =
         fb.corner[b0] + (fb.corner[1 - b0] - fb.corner[b0]) * ((at - b0At) / (b1At - b0At));
      if (const ZqReal gap = dot(answer.n, b - a); gap <= reach)
         putContact(pair, answer.n, a, b, gap, name, out);
   };
   end(low, b0At >= a0At ? contactName(0, vertexName(fb.vertex[b0]))
                         : contactName(vertexName(fa.vertex[0]), 0));
   end(high, b1At <= a1At ? contactName(0, vertexName(fb.vertex[1 - b0]))
                          : contactName(vertexName(fa.vertex[1]), 0));
}
} // namespace

namespace
{
/// What the cores turn towards each other along the normal.
void findFaces(CorePair& pair, const Vec3& n, FacingFeatures& features) noexcept
{
   features.patch.reset();
   features.a.count = SupportingFace::capacity;
   features.a.isDisc = false;
   if (pair.A.isBounded())
      supportingFace(pair.A, n, pair.atA, features.a);
   supportingFace(pair.B, turnBack(pair.X.R, -n), pair.atB, features.b);
   placeFace(pair.X, features.b);
}

/// A face on the plane of A: its corners are the patch. False where that is not all: a rim may be deepest between
/// its points, and patches that are tiny or have many corners want more thought.
bool standsOnPlane(const CorePair& pair, const CoreAnswer& answer, const SupportingFace& face,
                   ZqReal reach, ZqContactManifold& out) noexcept
{
   const ZqReal tolerance = ContactPatch::toleranceOf(pair);
   const int count = face.count;
   const Vec3* const corner = face.corner;
   if (face.isDisc || count < 3 || count > ZqContactManifold::capacity ||
       !(largest(corner[count / 2] - corner[0]) > 20.0 * tolerance))
      return false;
   int first = 0;
   ZqReal least = corner[0].z;
   for (int i = 1; i < count; ++i)
   {
      first = face.vertex[i] < face.vertex[first] ? i : first;
      least = std::min(least, corner[i].z);
   }
   if (!(least <= answer.distance + tolerance))
      return false;
   // The corners run clockwise, seen from above.
   for (int i = 0; i < count; ++i)
   {
      const int k = i <= first ? first - i : first - i + count;
      if (!(corner[k].z <= reach))
         continue;
      ZqContactPoint& p = out.points[out.count++];
      p.separation = corner[k].z - pair.B.radius;
      p.normal = out.normal;
      p.point2 = vector(coreToShape(pair.A, corner[k] - answer.n * pair.B.radius));
      p.point1 = p.point2 - p.normal * p.separation;
      p.name = contactName(0, vertexName(face.vertex[k]));
   }
   return true;
}

/// Of points, as which spheres roll over all features.
bool touchesAsPoint(const ZqConvex& C) noexcept
{
   return C.dimension == 0 || C.core == ZqConvex::Core::Ellipsoid;
}
} // namespace

void contactPoints(CorePair& pair, CoreAnswer& answer, bool hasPoints, ZqReal farthest,
                   FacingFeatures& features, ZqContactManifold& out) noexcept
{
   const ZqReal reach = farthest + pair.A.radius + pair.B.radius;
   out.count = 0;
   const bool isPointA = touchesAsPoint(pair.A);
   const bool isPointB = touchesAsPoint(pair.B);
   if (isPointA || isPointB)
      return putContact(pair, answer.n, answer.a, answer.b, answer.distance,
                        contactName(isPointA ? vertexName(0) : 0, isPointB ? vertexName(0) : 0),
                        out);
   const SupportingFace& fa = features.a;
   const SupportingFace& fb = features.b;
   if (!features.patch || !features.patch->turnTo(answer.n))
   {
      findFaces(pair, answer.n, features);
      if (!pair.A.isBounded() && standsOnPlane(pair, answer, fb, reach, out))
         return;
      if (features.havePatch())
         features.cutPatch(pair, answer.n);
   }
   const auto findPoints = [&]
   {
      if (!hasPoints)
         findDeepest(pair, fa, fb, answer);
   };
   if (features.patch)
   {
      ContactPatch& patch = *features.patch;
      if (!patch.measure(reach, answer.distance))
      {
         findPoints();
         patch.addDeepest(answer);
      }
      patch.thin(ZqContactManifold::capacity);
      patch.write(out);
      return;
   }
   if (fa.count == 2 && fb.count == 2)
      meetAlongEdges(pair, answer, fa, fb, reach, out);
   if (out.count > 0)
      return;
   findPoints();
   putContact(pair, answer.n, answer.a, answer.b, answer.distance, nameOfDeepest(pair, fa, fb),
              out);
}

void seeFromOther(const Pose& X, ZqContactManifold& out) noexcept
{
   const auto turned = [&](const ZqVector& d) { return vector(-(X.R * vec3(d))); };
   out.normal = turned(out.normal);
   for (int i = 0; i < out.count; ++i)
   {
      ZqContactPoint& p = out.points[i];
      std::swap(p.point1, p.point2);
      p.point1 = vector(X * vec3(p.point1));
      p.point2 = vector(X * vec3(p.point2));
      p.normal = out.normal;
      p.name = p.name << 32 | p.name >> 32;
   }
   ZqContactPoint* const end = out.points + out.count;
   std::reverse(out.points, end);
   std::rotate(out.points,
               std::min_element(out.points, end,
                                [](const ZqContactPoint& p, const ZqContactPoint& q)
                                { return p.name < q.name; }),
               end);
}

void patchAlong(const ZqConvex& A, const ZqConvex& B, const Pose& X, const Vec3& n,
                ZqContactManifold& out) noexcept
{
   constexpr ZqReal any = 1e300;
   out.count = 0;
   out.normal = vector(n);
   if (touchesAsPoint(A) || touchesAsPoint(B))
      return;
   const bool isTurned = !B.isBounded();
   if (isTurned && !A.isBounded())
      return;
   if (isTurned)
   {
      patchAlong(B, A, inverse(X), turnBack(X.R, -n), out);
      return seeFromOther(X, out);
   }
   CorePair pair{A, B, corePose(A, B, X)};
   FacingFeatures features;
   const Vec3 along = A.frameIsIdentity ? n : turnBack(A.frame.R, n);
   findFaces(pair, along, features);
   if (!features.havePatch())
      return;
   features.cutPatch(pair, along);
   features.patch->measure(any, any);
   features.patch->thin(ZqContactManifold::capacity);
   features.patch->write(out);
}
} // namespace zqConvex
