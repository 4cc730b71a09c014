#include "zqManipulator/foundation/geometry/ZqSegmentCast.h"

#include "zqManipulator/foundation/geometry/ZqBoxHierarchy.h"
#include "zqManipulator/foundation/geometry/ZqConvexParts.h"
#include "zqManipulator/foundation/geometry/ZqNearestPoint.h"
#include "zqManipulator/foundation/geometry/ZqShapeNumbers.h"

#include <limits>
#include <optional>

namespace zqConvex
{
namespace
{
constexpr ZqReal castEpsilon = std::numeric_limits<ZqReal>::epsilon();

/// The points a + t d with t from 0 to 1.
struct Ray
{
   Vec3 a, d;

   Vec3 at(ZqReal t) const noexcept { return a + d * t; }
};

/// Those t for which a ray is within all that it was cut by.
struct Within
{
   ZqReal from = 0.0;
   ZqReal to = 1.0;

   bool isAny() const noexcept { return from <= to; }
   void cut(ZqReal first, ZqReal last) noexcept
   {
      from = std::max(from, first);
      to = std::min(to, last);
   }
   void cutAway() noexcept { to = -1.0; }
   /// Where height + t slope <= 0.
   void cutByPlane(ZqReal height, ZqReal slope) noexcept
   {
      if (slope > 0.0)
         to = std::min(to, -height / slope);
      else if (slope < 0.0)
         from = std::max(from, -height / slope);
      else if (!(height <= 0.0))
         cutAway();
   }
   /// Where the ray, of which both vectors are told in radii, is within the unit ball.
   void cutByUnitBall(const Vec3& a, const Vec3& d) noexcept
   {
      const ZqReal squared = norm2(d);
      if (!(squared > 0.0))
      {
         if (!(norm2(a) <= 1.0))
            cutAway();
         return;
      }
      // About the point nearest to the center, which keeps its digits when the ray begins far away.
      const ZqReal middle = -dot(a, d) / squared;
      const ZqReal inside = 1.0 - norm2(a + d * middle);
      if (!(inside >= 0.0))
         return cutAway();
      const ZqReal half = std::sqrt(inside / squared);
      cut(middle - half, middle + half);
   }
   std::optional<ZqReal> entry() const noexcept
   {
      return isAny() ? std::optional<ZqReal>(from) : std::nullopt;
   }
};

std::optional<ZqReal> entryOfEllipsoid(const Vec3& h, const Ray& ray) noexcept
{
   Within within;
   Vec3 a = ray.a;
   Vec3 d = ray.d;
   for (int i = 0; i < 3; ++i)
   {
      if (h[i] > 0.0)
      {
         a[i] /= h[i];
         d[i] /= h[i];
         continue;
      }
      within.cutByPlane(a[i], d[i]);
      within.cutByPlane(-a[i], -d[i]);
      a[i] = d[i] = 0.0;
   }
   within.cutByUnitBall(a, d);
   return within.entry();
}

std::optional<ZqReal> entryOfBox(const Vec3& h, const Ray& ray) noexcept
{
   Within within;
   for (int i = 0; i < 3; ++i)
   {
      within.cutByPlane(ray.a[i] - h[i], ray.d[i]);
      within.cutByPlane(-ray.a[i] - h[i], -ray.d[i]);
   }
   return within.entry();
}

std::optional<ZqReal> entryOfFaces(const ZqHull& hull, const Ray& ray) noexcept
{
   Within within;
   for (const ZqHull::Face& face : hull.faces)
      within.cutByPlane(dot(face.normal, ray.a) - face.offset, dot(face.normal, ray.d));
   return within.entry();
}

/// Goes on along the ray to where it meets the plane that parts the place reached from the shape, as long as
/// there is one (van den Bergen 2004). Each such place is at or before the entry.
std::optional<ZqReal> entryByAdvancing(const ZqConvex& C, const Ray& ray) noexcept
{
   constexpr int mostSteps = 200;
   ZqReal t = 0.0;
   ZqReal gap = 0.0;
   ZqReal scale = 0.0;
   for (int step = 0; step < mostSteps; ++step)
   {
      const Vec3 x = ray.at(t);
      const Vec3 away = x - nearestPoint(C, x);
      const ZqReal distance = norm(away);
      gap = distance - C.radius;
      scale = C.reach + C.radius + largest(x);
      if (!(gap > 8.0 * castEpsilon * scale))
         return t;
      const ZqReal slope = dot(away, ray.d) / distance;
      if (!(slope < 0.0))
         return std::nullopt;
      t -= gap / slope;
      if (!(t <= 1.0))
         return std::nullopt;
   }
   // A ray that grazes comes nearer by less at each step.
   return gap <= 1e-9 * scale ? std::optional<ZqReal>(t) : std::nullopt;
}

std::optional<ZqReal> entryOf(const ZqConvex& C, const Ray& world) noexcept
{
   using Core = ZqConvex::Core;
   const Ray ray{inverseTimes(C.frame, world.a), turnBack(C.frame.R, world.d)};
   if (C.core == Core::HalfSpace)
   {
      Within within;
      within.cutByPlane(ray.a.z, ray.d.z);
      return within.entry();
   }
   if (C.core == Core::Ellipsoid)
      return entryOfEllipsoid(C.h, ray);
   if (C.dimension == 0 && C.radius > 0.0)
      return entryOfEllipsoid({C.radius, C.radius, C.radius}, ray);
   if (C.core == Core::Box && C.radius == 0.0)
      return entryOfBox(C.h, ray);
   if (C.core == Core::Polytope && C.radius == 0.0 && C.dimension == 3)
      return entryOfFaces(*C.hull, ray);
   return entryByAdvancing(C, ray);
}

/// By signed volumes with the edges, so that neighbours agree about their common edge (Plücker 1865).
std::optional<ZqReal> entryOfTriangle(const Vec3& a, const Vec3& b, const Vec3& c,
                                      const Ray& ray) noexcept
{
   const Vec3 p = a - ray.a;
   const Vec3 q = b - ray.a;
   const Vec3 r = c - ray.a;
   const ZqReal u = dot(ray.d, cross(r, q));
   const ZqReal v = dot(ray.d, cross(p, r));
   const ZqReal w = dot(ray.d, cross(q, p));
   const bool isThrough = (u >= 0.0 && v >= 0.0 && w >= 0.0) || (u <= 0.0 && v <= 0.0 && w <= 0.0);
   const Vec3 n = cross(b - a, c - a);
   const ZqReal slope = dot(n, ray.d);
   if (!isThrough || slope == 0.0)
      return std::nullopt;
   const ZqReal t = dot(n, p) / slope;
   return t >= 0.0 && t <= 1.0 ? std::optional<ZqReal>(t) : std::nullopt;
}

/// Piece by piece from the start, so that a long ray meets few boxes.
std::optional<ZqReal> entryOfTriangles(const ZqTriangles& triangles, const Ray& ray)
{
   if (triangles.isClosed() && triangles.contains(ray.a))
      return 0.0;
   constexpr int pieces = 32;
   std::optional<ZqReal> first;
   for (int piece = 0; piece < pieces && !(first && *first * pieces <= piece); ++piece)
   {
      const Vec3 from = ray.at(ZqReal(piece) / pieces);
      const Vec3 to = ray.at(ZqReal(piece + 1) / pieces);
      const ZqReal slack = 8.0 * castEpsilon * std::max(largest(from), largest(to));
      AlignedBox box = AlignedBox::empty();
      for (int i = 0; i < 3; ++i)
      {
         box.lower[i] = std::min(from[i], to[i]) - slack;
         box.upper[i] = std::max(from[i], to[i]) + slack;
      }
      triangles.tree().visitOverlaps(box,
                                     [&](int item)
                                     {
                                        const auto triangle = static_cast<ZqU32>(item);
                                        const std::optional<ZqReal> t =
                                           entryOfTriangle(triangles.vertex(triangle, 0),
                                                           triangles.vertex(triangle, 1),
                                                           triangles.vertex(triangle, 2), ray);
                                        if (t && (!first || *t < *first))
                                           first = t;
                                     });
   }
   return first;
}

/// Nothing for a segment that is not finite, or too long to be squared.
std::optional<Ray> rayOf(const ZqLineSegment& segment) noexcept
{
   const Ray ray{vec3(segment.endpoint0()), vec3(segment.endpoint1() - segment.endpoint0())};
   constexpr ZqReal longest = 1e75;
   return largest(ray.a) < longest && largest(ray.d) < longest && isFinite(segment.endpoint0()) &&
                isFinite(segment.endpoint1())
             ? std::optional<Ray>(ray)
             : std::nullopt;
}

bool answer(const Ray& ray, const std::optional<ZqReal>& t, ZqVector& point) noexcept
{
   if (t)
      point = vector(ray.at(*t));
   return t.has_value();
}
} // namespace

bool castSegment(const ZqConvex& convex, const ZqLineSegment& segment, ZqVector& point)
{
   const std::optional<Ray> ray = rayOf(segment);
   return ray && answer(*ray, entryOf(convex, *ray), point);
}

bool castSegment(const ZqConvexParts& parts, const ZqLineSegment& segment, ZqVector& point)
{
   const std::optional<Ray> ray = rayOf(segment);
   std::optional<ZqReal> first;
   if (!ray)
      return false;
   for (const ZqConvexParts::Member& member : parts.members())
   {
      const std::optional<ZqReal> t = member.triangles != nullptr
                                         ? entryOfTriangles(*member.triangles, *ray)
                                         : entryOf(member.convex, *ray);
      if (t && (!first || *t < *first))
         first = t;
   }
   return answer(*ray, first, point);
}
} // namespace zqConvex
