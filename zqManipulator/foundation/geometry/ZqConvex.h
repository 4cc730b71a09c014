#pragma once

#include "zqManipulator/foundation/geometry/ZqHull.h"

#include <memory>

class ZqAxisAlignedBoundingBox;
class ZqEllipsoid;

/// The one model of a convex shape that distances, depths and contact points are computed from: a core, swept
/// by a ball. What the core is decides how it answers for its furthest point, its face and its box; no
/// algorithm knows more than that, but for closed forms where they pay.
///
/// | core     | sizes h                                     | as                                       |
/// |----------|---------------------------------------------|------------------------------------------|
/// | Box      | half extents, of which any may be zero      | point, segment, rectangle, box           |
/// | Turned   | radius at -z, radius at +z, half the height | disc, cylinder, cone, frustum            |
/// | Triangle |                                             | triangle                                 |
/// | Polytope |                                             | convex hull                              |
/// | Ellipsoid| semi-axes, of which one may be zero         | elliptic disc, ellipsoid                 |
/// | HalfSpace|                                             | all with z <= 0 in the core's frame      |
///
/// A core's frame stands at the middle of the core, so that its numbers are as small as it is. All in
/// metres. Sizes are finite and not negative; who makes a record sees to that.
struct ZqConvex
{
   enum class Core : std::uint8_t
   {
      Box,
      Turned,
      Triangle,
      Polytope,
      Ellipsoid,
      HalfSpace
   };

   Core core = Core::Box;
   bool frameIsIdentity = true;
   std::int8_t dimension = 0; ///< of the core: 0 a point, 1 a segment, 2 flat, 3 solid
   ZqReal radius = 0.0;       ///< of the ball
   zqConvex::Vec3 h{0.0, 0.0, 0.0};
   zqConvex::Vec3 corner[3] = {
      {0.0, 0.0, 0.0}, {0.0, 0.0, 0.0}, {0.0, 0.0, 0.0}}; ///< of a triangle
   std::shared_ptr<const ZqHull> hull;
   zqConvex::Pose frame; ///< of the core in the shape's frame
   /// Of a core that is a segment: its direction in the shape's frame, and half its length.
   zqConvex::Vec3 axis{0.0, 0.0, 1.0};
   ZqReal halfLength = 0.0;
   ZqReal size = 0.0; ///< of the core: the largest coordinate in its frame
   ZqReal reach =
      0.0; ///< of the core: the greatest distance of its points from the origin of its frame

   /// The frame is that of the box, of whatever orientation of unit length.
   static ZqConvex box(const ZqCoordinateSystemTransformation& frame, const ZqVector& halfExtents,
                       ZqReal radius = 0.0);
   static ZqConvex sphere(const ZqVector& center, ZqReal radius);
   static ZqConvex capsule(const ZqVector& end0, const ZqVector& end1, ZqReal radius);
   /// Radii at both ends of the axis, either of which may be zero.
   static ZqConvex frustum(const ZqVector& end0, const ZqVector& end1, ZqReal radius0,
                           ZqReal radius1);
   /// A disc that is swept by a ball.
   static ZqConvex disc(const ZqVector& center, const ZqVector& normal, ZqReal discRadius,
                        ZqReal radius);
   /// A rectangle at a corner, with two perpendicular edges, swept by a ball.
   static ZqConvex rectangle(const ZqVector& corner, const ZqVector& edge0, const ZqVector& edge1,
                             ZqReal radius);
   /// The triangle of a corner and two edges from it, swept by a ball.
   static ZqConvex triangle(const ZqVector& corner, const ZqVector& edge0, const ZqVector& edge1,
                            ZqReal radius = 0.0);
   static ZqConvex ellipsoid(const ZqCoordinateSystemTransformation& frame,
                             const ZqVector& semiAxes);
   /// The hull's points stand in the frame that has the axes of the shape's and its origin at `middle`.
   static ZqConvex polytope(std::shared_ptr<const ZqHull> hull, const ZqVector& middle,
                            ZqReal radius = 0.0);
   /// All points x with normal . (x - point) <= 0.
   static ZqConvex halfSpace(const ZqVector& point, const ZqVector& normal);

   /// Whether the core has curved faces or rims.
   bool isCurved() const noexcept { return core == Core::Turned || core == Core::Ellipsoid; }
   bool isBounded() const noexcept { return core != Core::HalfSpace; }

   /// The point of the core furthest along d, which need not be of unit length; both in the core's frame.
   /// `at` is where a polytope begins to look, and receives the answer. Not of a half-space.
   zqConvex::Vec3 support(const zqConvex::Vec3& d, int& at) const noexcept;
   /// The same of the swept core, in the shape's frame, for a direction of unit length.
   ZqVector supportPoint(const ZqVector& d) const noexcept;
   /// The box of the shape, placed by X; unbounded for a half-space.
   void box(const zqConvex::Pose& X, zqConvex::Vec3& lower, zqConvex::Vec3& upper) const noexcept;
   /// In cubic metres; infinite for a half-space.
   ZqReal volume() const noexcept;
};

inline zqConvex::Vec3 ZqConvex::support(const zqConvex::Vec3& d, int& at) const noexcept
{
   using zqConvex::Vec3;
   switch (core)
   {
   case Core::Box:
      return {std::copysign(h.x, d.x), std::copysign(h.y, d.y), std::copysign(h.z, d.z)};
   case Core::Turned:
   {
      const ZqReal rho = std::sqrt(d.x * d.x + d.y * d.y);
      const bool isUp = h.y * rho + h.z * d.z >= h.x * rho - h.z * d.z;
      const ZqReal radiusThere = isUp ? h.y : h.x;
      const ZqReal z = isUp ? h.z : -h.z;
      if (!(rho > 0.0))
         return {radiusThere, 0.0, z};
      const ZqReal s = radiusThere / rho;
      return {d.x * s, d.y * s, z};
   }
   case Core::Triangle:
   {
      const ZqReal a = dot(corner[0], d);
      const ZqReal b = dot(corner[1], d);
      const ZqReal c = dot(corner[2], d);
      if (a >= b)
         return a >= c ? corner[0] : corner[2];
      return b >= c ? corner[1] : corner[2];
   }
   case Core::Polytope:
      return hull->support(d, at);
   case Core::Ellipsoid:
   {
      const Vec3 g{h.x * d.x, h.y * d.y, h.z * d.z};
      const ZqReal length = norm(g);
      if (!(length > 0.0))
         return {h.x, 0.0, 0.0};
      return {h.x * (g.x / length), h.y * (g.y / length), h.z * (g.z / length)};
   }
   case Core::HalfSpace:
      break;
   }
   return {0.0, 0.0, 0.0};
}
