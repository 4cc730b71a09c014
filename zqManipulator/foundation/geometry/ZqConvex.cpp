#include "zqManipulator/foundation/geometry/ZqConvex.h"

#include "zqManipulator/foundation/algebra/ZqMath.h"

#include <limits>

using zqConvex::Pose;
using zqConvex::Vec3;
using zqConvex::vec3;
using zqConvex::vector;

namespace
{
constexpr ZqReal infiniteExtent = std::numeric_limits<ZqReal>::infinity();

/// Lengths beyond these are as good as endless, and as none: so that no product of lengths, of which there are
/// four at most, overflows or underflows.
constexpr ZqReal longestLength = 1e75;
constexpr ZqReal shortestLength = 1e-75;

ZqReal limitedSize(ZqReal size) noexcept
{
   return size > shortestLength ? std::min(size, longestLength) : 0.0;
}
Vec3 limitedSizes(const ZqVector& v) noexcept
{
   return {limitedSize(v.x()), limitedSize(v.y()), limitedSize(v.z())};
}
Vec3 limitedPlace(const Vec3& v) noexcept
{
   const auto limited = [](ZqReal x) { return std::clamp(x, -longestLength, longestLength); };
   return {limited(v.x), limited(v.y), limited(v.z)};
}
Vec3 limitedPlace(const ZqVector& v) noexcept
{
   return limitedPlace(vec3(v));
}
Pose limitedPose(const ZqCoordinateSystemTransformation& X) noexcept
{
   const Pose Y = zqConvex::pose(X);
   return {Y.R, limitedPlace(Y.t)};
}

bool isIdentity(const Pose& X) noexcept
{
   return largest(X.t) == 0.0 && X.R.c0.x == 1.0 && X.R.c1.y == 1.0 && X.R.c2.z == 1.0;
}

ZqConvex placed(ZqConvex::Core core, const Pose& frame, const Vec3& h, ZqReal radius) noexcept
{
   ZqConvex C;
   C.core = core;
   C.frame = frame;
   C.frameIsIdentity = isIdentity(frame);
   C.h = h;
   C.radius = limitedSize(radius);
   return C;
}

ZqConvex boxCore(const Pose& frame, const Vec3& h, ZqReal radius) noexcept
{
   ZqConvex C = placed(ZqConvex::Core::Box, frame, h, radius);
   C.dimension = static_cast<std::int8_t>((h.x > 0.0) + (h.y > 0.0) + (h.z > 0.0));
   C.size = largest(h);
   C.reach = norm(h);
   if (C.dimension == 1)
   {
      C.axis = frame.R.column(h.x > 0.0 ? 0 : h.y > 0.0 ? 1 : 2);
      C.halfLength = C.size;
   }
   return C;
}
ZqConvex pointCore(const Vec3& place, ZqReal radius) noexcept
{
   return boxCore({{}, place}, {0.0, 0.0, 0.0}, radius);
}
ZqConvex segmentCore(const Vec3& end0, const Vec3& end1, ZqReal radius) noexcept
{
   const Vec3 middle = (end0 + end1) * 0.5;
   const Vec3 half = (end1 - end0) * 0.5;
   const ZqReal length = limitedSize(norm(half));
   if (!(length > 0.0))
      return pointCore(middle, radius);
   return boxCore({zqConvex::frameAbout(unit(half)), middle}, {0.0, 0.0, length}, radius);
}
ZqConvex discCore(const Vec3& center, const Vec3& normal, ZqReal discRadius, ZqReal radius) noexcept
{
   if (!(discRadius > 0.0))
      return pointCore(center, radius);
   const Pose frame{zqConvex::frameAbout(unit(normal)), center};
   ZqConvex C = placed(ZqConvex::Core::Turned, frame, {discRadius, discRadius, 0.0}, radius);
   C.dimension = 2;
   C.size = C.reach = discRadius;
   return C;
}

/// Steiner's terms of a convex body (Steiner 1840): swept by a ball of radius r it has the volume
/// V + S r + M r^2 + 4/3 pi r^3, with the surface S and the integral M of the mean curvature, to which an edge
/// gives half its length times the angle between its faces' normals. A flat body counts both of its sides.
struct Steiner
{
   ZqReal volume = 0.0;
   ZqReal surface = 0.0;
   ZqReal curvature = 0.0;
};
Steiner boxTerms(const Vec3& h) noexcept
{
   const Vec3 e = h * 2.0;
   Steiner terms;
   terms.volume = e.x * e.y * e.z;
   terms.surface = 2.0 * (e.x * e.y + e.y * e.z + e.z * e.x);
   terms.curvature = ZqMath::pi * (e.x + e.y + e.z);
   return terms;
}
Steiner turnedTerms(const Vec3& h) noexcept
{
   constexpr ZqReal pi = ZqMath::pi;
   const ZqReal height = 2.0 * h.z;
   const ZqReal ruling = norm(Vec3{h.y - h.x, height, 0.0});
   Steiner terms;
   terms.volume = pi / 3.0 * height * (h.x * h.x + h.x * h.y + h.y * h.y);
   terms.surface = pi * (h.x * h.x + h.y * h.y + (h.x + h.y) * ruling);
   // The angle from the upper cap's normal to the mantle's; from the lower one's it is the rest of pi.
   const ZqReal angle = ruling > 0.0 ? std::atan2(height, h.x - h.y) : 0.5 * pi;
   terms.curvature = pi * (height + h.y * angle + h.x * (pi - angle));
   return terms;
}
Steiner triangleTerms(const Vec3* corner) noexcept
{
   const Vec3 e = corner[1] - corner[0];
   const Vec3 f = corner[2] - corner[0];
   Steiner terms;
   terms.surface = norm(cross(e, f));
   terms.curvature = 0.5 * ZqMath::pi * (norm(e) + norm(f) + norm(e - f));
   return terms;
}

ZqReal angleBetween(const Vec3& m, const Vec3& n) noexcept
{
   return std::atan2(norm(cross(m, n)), dot(m, n));
}
/// The angle over an edge of a solid from one of its faces to the other.
ZqReal angleOver(const ZqHull& hull, int face, int from, int to) noexcept
{
   for (int k = hull.firstFace[from]; k < hull.firstFace[from + 1]; ++k)
   {
      const ZqHull::Face& other = hull.faces[hull.facesAt[k]];
      const int* corners = &hull.corners[other.firstCorner];
      if (hull.facesAt[k] != face &&
          std::find(corners, corners + other.cornerCount, to) != corners + other.cornerCount)
         return angleBetween(hull.faces[face].normal, other.normal);
   }
   return 0.0;
}
Steiner hullTerms(const ZqHull& hull) noexcept
{
   Steiner terms;
   terms.volume = hull.volume;
   for (int f = 0; f < static_cast<int>(hull.faces.size()); ++f)
   {
      const ZqHull::Face& face = hull.faces[f];
      const int* corners = &hull.corners[face.firstCorner];
      for (int i = 0; i < face.cornerCount; ++i)
      {
         const int from = corners[i];
         const int to = corners[i + 1 == face.cornerCount ? 0 : i + 1];
         const Vec3& p = hull.vertices[from];
         const Vec3& q = hull.vertices[to];
         const Vec3& origin = hull.vertices[corners[0]];
         terms.surface += 0.5 * dot(face.normal, cross(p - origin, q - origin));
         const ZqReal angle = hull.dimension < 3 ? ZqMath::pi : angleOver(hull, f, from, to);
         terms.curvature += 0.25 * angle * norm(q - p); // each edge comes twice
      }
   }
   return terms;
}
} // namespace

ZqConvex ZqConvex::box(const ZqCoordinateSystemTransformation& frame, const ZqVector& halfExtents,
                       ZqReal radius)
{
   return boxCore(limitedPose(frame), limitedSizes(halfExtents), radius);
}

ZqConvex ZqConvex::sphere(const ZqVector& center, ZqReal radius)
{
   return pointCore(limitedPlace(center), radius);
}

ZqConvex ZqConvex::capsule(const ZqVector& end0, const ZqVector& end1, ZqReal radius)
{
   return segmentCore(limitedPlace(end0), limitedPlace(end1), radius);
}

ZqConvex ZqConvex::frustum(const ZqVector& end0, const ZqVector& end1, ZqReal radius0,
                           ZqReal radius1)
{
   const Vec3 h{limitedSize(radius0), limitedSize(radius1),
                limitedSize(0.5 * norm(limitedPlace(end1) - limitedPlace(end0)))};
   const ZqReal most = std::max(h.x, h.y);
   if (!(most > 0.0))
      return segmentCore(limitedPlace(end0), limitedPlace(end1), 0.0);
   const Vec3 middle = (limitedPlace(end0) + limitedPlace(end1)) * 0.5;
   if (!(h.z > 0.0))
      return discCore(middle, {0.0, 0.0, 1.0}, most, 0.0);
   const Vec3 along = unit(limitedPlace(end1) - limitedPlace(end0));
   ZqConvex C = placed(Core::Turned, {zqConvex::frameAbout(along), middle}, h, 0.0);
   C.dimension = 3;
   C.size = std::max(most, h.z);
   C.reach = norm(Vec3{most, h.z, 0.0});
   return C;
}

ZqConvex ZqConvex::disc(const ZqVector& center, const ZqVector& normal, ZqReal discRadius,
                        ZqReal radius)
{
   return discCore(limitedPlace(center), vec3(normal), limitedSize(discRadius), radius);
}

ZqConvex ZqConvex::rectangle(const ZqVector& corner, const ZqVector& edge0, const ZqVector& edge1,
                             ZqReal radius)
{
   const Vec3 e = limitedPlace(edge0);
   const Vec3 f = limitedPlace(edge1);
   const Vec3 start = limitedPlace(corner);
   const Vec3 h{limitedSize(0.5 * norm(e)), limitedSize(0.5 * norm(f)), 0.0};
   if (!(h.x > 0.0))
      return segmentCore(start, start + f, radius);
   if (!(h.y > 0.0))
      return segmentCore(start, start + e, radius);
   const Vec3 x = unit(e);
   // Of edges that are parallel but for rounding any perpendicular will do.
   const Vec3 v = unit(f);
   const Vec3 aside = v - x * dot(x, v);
   const bool isAside = norm2(aside) > 1e-6;
   const Vec3 z = isAside ? unit(cross(x, aside)) : cross(x, perpendicular(x));
   return boxCore({{x, cross(z, x), z}, start + (e + f) * 0.5}, h, radius);
}

ZqConvex ZqConvex::triangle(const ZqVector& corner, const ZqVector& edge0, const ZqVector& edge1,
                            ZqReal radius)
{
   const Vec3 start = limitedPlace(corner);
   const Vec3 p[3] = {{0.0, 0.0, 0.0}, limitedPlace(edge0), limitedPlace(edge1)};
   int k = 0; // where the longest edge begins
   for (int i = 1; i < 3; ++i)
      if (norm(p[(i + 1) % 3] - p[i]) > norm(p[(k + 1) % 3] - p[k]))
         k = i;
   // Without an area beyond rounding it is its longest edge.
   const Vec3 along = unit(p[(k + 1) % 3] - p[k]);
   const ZqReal longest = norm(p[(k + 1) % 3] - p[k]);
   const ZqReal width = norm(cross(along, p[(k + 2) % 3] - p[k]));
   if (!(limitedSize(width) > 4.0 * std::numeric_limits<ZqReal>::epsilon() * longest))
      return segmentCore(start + p[k], start + p[(k + 1) % 3], radius);
   const Vec3 middle = (p[1] + p[2]) * (1.0 / 3.0);
   ZqConvex C = placed(Core::Triangle, {{}, start + middle}, {0.0, 0.0, 0.0}, radius);
   C.dimension = 2;
   for (int i = 0; i < 3; ++i)
   {
      C.corner[i] = p[i] - middle;
      C.size = std::max(C.size, largest(C.corner[i]));
      C.reach = std::max(C.reach, norm(C.corner[i]));
   }
   return C;
}

ZqConvex ZqConvex::ellipsoid(const ZqCoordinateSystemTransformation& frame,
                             const ZqVector& semiAxes)
{
   const Vec3 h = limitedSizes(semiAxes);
   const Pose X = limitedPose(frame);
   if (h.x == h.y && h.y == h.z)
      return pointCore(X.t, h.x);
   const int dimension = (h.x > 0.0) + (h.y > 0.0) + (h.z > 0.0);
   if (dimension == 1)
      return boxCore(X, h, 0.0);
   ZqConvex C = placed(Core::Ellipsoid, X, h, 0.0);
   C.dimension = static_cast<std::int8_t>(dimension);
   C.size = C.reach = largest(h);
   return C;
}

ZqConvex ZqConvex::polytope(std::shared_ptr<const ZqHull> hull, const ZqVector& middle,
                            ZqReal radius)
{
   const Vec3 place = limitedPlace(middle);
   if (hull->dimension == 0)
      return pointCore(place + hull->vertices[0], radius);
   if (hull->dimension == 1)
      return segmentCore(place + hull->vertices[0], place + hull->vertices[1], radius);
   ZqConvex C = placed(Core::Polytope, {{}, place}, {0.0, 0.0, 0.0}, radius);
   C.dimension = static_cast<std::int8_t>(hull->dimension);
   for (const Vec3& p : hull->vertices)
      C.size = std::max(C.size, largest(p));
   C.reach = hull->radius;
   C.hull = std::move(hull);
   return C;
}

ZqConvex ZqConvex::halfSpace(const ZqVector& point, const ZqVector& normal)
{
   const Vec3 z = unit(vec3(normal));
   // Floors are level mostly: they need no frame.
   const zqConvex::Mat3 level;
   const Pose frame{z == level.c2 ? level : zqConvex::frameAbout(z), limitedPlace(point)};
   ZqConvex C = placed(Core::HalfSpace, frame, {0.0, 0.0, 0.0}, 0.0);
   C.dimension = 3;
   C.reach = infiniteExtent;
   return C;
}

ZqVector ZqConvex::supportPoint(const ZqVector& d) const noexcept
{
   int at = 0;
   const Vec3 u = vec3(d);
   return vector(frame * support(turnBack(frame.R, u), at) + u * radius);
}

void ZqConvex::box(const Pose& X, Vec3& lower, Vec3& upper) const noexcept
{
   const Pose Y = frameIsIdentity ? X : X * frame;
   if (core == Core::HalfSpace)
   {
      const Vec3& n = Y.R.c2;
      lower = {-infiniteExtent, -infiniteExtent, -infiniteExtent};
      upper = {infiniteExtent, infiniteExtent, infiniteExtent};
      for (int i = 0; i < 3; ++i)
         if (n[(i + 1) % 3] == 0.0 && n[(i + 2) % 3] == 0.0)
            (n[i] > 0.0 ? upper : lower)[i] = Y.t[i];
      return;
   }
   int at = 0;
   for (int i = 0; i < 3; ++i)
   {
      const Vec3 d = Y.R.row(i);
      const ZqReal up = dot(d, support(d, at)) + radius;
      const bool isSymmetric = core == Core::Box || core == Core::Ellipsoid;
      lower[i] = Y.t[i] - (isSymmetric ? up : radius - dot(d, support(-d, at)));
      upper[i] = Y.t[i] + up;
   }
}

ZqReal ZqConvex::volume() const noexcept
{
   Steiner terms;
   switch (core)
   {
   case Core::Box:
      terms = boxTerms(h);
      break;
   case Core::Turned:
      terms = turnedTerms(h);
      break;
   case Core::Triangle:
      terms = triangleTerms(corner);
      break;
   case Core::Polytope:
      terms = hullTerms(*hull);
      break;
   case Core::Ellipsoid: // no ball sweeps it
      return dimension == 3 ? 4.0 / 3.0 * ZqMath::pi * h.x * h.y * h.z : 0.0;
   case Core::HalfSpace:
      return infiniteExtent;
   }
   if (!(radius > 0.0))
      return terms.volume;
   return terms.volume +
          radius * (terms.surface + radius * (terms.curvature + radius * (4.0 / 3.0 * ZqMath::pi)));
}
