#include "zqManipulator/foundation/geometry/ZqNearestPoint.h"

#include <limits>

namespace zqConvex
{
namespace
{
/// In the half plane of the distance from the axis, x, and the height, z.
Vec3 nearestInTurned(const ZqConvex& C, const Vec3& p) noexcept
{
   const ZqReal rho = std::sqrt(p.x * p.x + p.y * p.y);
   const Vec3 q{rho, 0.0, p.z};
   const Vec3 low{C.h.x, 0.0, -C.h.z};
   const Vec3 high{C.h.y, 0.0, C.h.z};
   const Vec3 along = high - low;
   const bool isWithinMantle = (q.x - low.x) * along.z <= (q.z - low.z) * along.x;
   Vec3 nearest = q;
   if (q.z > high.z && rho <= high.x)
      nearest.z = high.z;
   else if (q.z < low.z && rho <= low.x)
      nearest.z = low.z;
   else if (!(isWithinMantle && std::abs(q.z) <= C.h.z))
      nearest = nearestOnSegment(low, high, q);
   else
      return p;
   const ZqReal scale = rho > 0.0 ? nearest.x / rho : 0.0;
   return {p.x * scale, p.y * scale, nearest.z};
}

/// The point of a face nearest to p, whose foot on the plane is told.
Vec3 nearestOnFace(const ZqHull& hull, const ZqHull::Face& face, const Vec3& p, const Vec3& foot)
{
   const int* corners = &hull.corners[face.firstCorner];
   Vec3 best = foot;
   ZqReal least = std::numeric_limits<ZqReal>::infinity();
   for (int i = 0; i < face.cornerCount; ++i)
   {
      const Vec3& a = hull.vertices[corners[i]];
      const Vec3& b = hull.vertices[corners[i + 1 == face.cornerCount ? 0 : i + 1]];
      if (!(dot(cross(b - a, face.normal), foot - a) > 0.0))
         continue; // the foot is on the inner side
      const Vec3 q = nearestOnSegment(a, b, p);
      if (const ZqReal squared = norm2(p - q); squared < least)
      {
         least = squared;
         best = q;
      }
   }
   return best;
}

Vec3 nearestInPolytope(const ZqHull& hull, const Vec3& p) noexcept
{
   Vec3 best = p;
   ZqReal least = std::numeric_limits<ZqReal>::infinity();
   for (const ZqHull::Face& face : hull.faces)
   {
      const ZqReal height = dot(face.normal, p) - face.offset;
      if (hull.dimension == 3 && !(height > 0.0))
         continue;
      const Vec3 q = nearestOnFace(hull, face, p, p - face.normal * height);
      if (const ZqReal squared = norm2(p - q); squared < least)
      {
         least = squared;
         best = q;
      }
   }
   return best;
}
} // namespace

Vec3 nearestOnSegment(const Vec3& a, const Vec3& b, const Vec3& p) noexcept
{
   const Vec3 e = b - a;
   const ZqReal along = dot(p - a, e);
   const ZqReal squared = norm2(e);
   if (!(along > 0.0))
      return a;
   if (along >= squared)
      return b;
   // From the nearer end, so that the rounding is that of the shorter way.
   return along + along <= squared ? a + e * (along / squared)
                                   : b - e * ((squared - along) / squared);
}

Vec3 nearestOnTriangle(const Vec3& a, const Vec3& b, const Vec3& c, const Vec3& p) noexcept
{
   const Vec3 n = cross(b - a, c - a);
   const Vec3* corner[3] = {&a, &b, &c};
   Vec3 best = a;
   ZqReal least = std::numeric_limits<ZqReal>::infinity();
   for (int i = 0; i < 3; ++i)
   {
      const Vec3& from = *corner[i];
      const Vec3& to = *corner[(i + 1) % 3];
      if (dot(cross(n, to - from), p - from) > 0.0)
         continue; // on the inner side
      const Vec3 q = nearestOnSegment(from, to, p);
      if (const ZqReal squared = norm2(p - q); squared < least)
      {
         least = squared;
         best = q;
      }
   }
   if (least < std::numeric_limits<ZqReal>::infinity())
      return best;
   const Vec3 normal = unit(n);
   return p - normal * dot(normal, p - a);
}

Vec3 nearestPoint(const ZqConvex& C, const Vec3& p) noexcept
{
   switch (C.core)
   {
   case ZqConvex::Core::Box:
      return {std::clamp(p.x, -C.h.x, C.h.x), std::clamp(p.y, -C.h.y, C.h.y),
              std::clamp(p.z, -C.h.z, C.h.z)};
   case ZqConvex::Core::Turned:
      return nearestInTurned(C, p);
   case ZqConvex::Core::Triangle:
      return nearestOnTriangle(C.corner[0], C.corner[1], C.corner[2], p);
   case ZqConvex::Core::Polytope:
      return nearestInPolytope(*C.hull, p);
   case ZqConvex::Core::Ellipsoid:
   case ZqConvex::Core::HalfSpace:
      break;
   }
   return p;
}
} // namespace zqConvex
