#include "zqManipulator/foundation/geometry/ZqConvexHull.h"

#include "zqManipulator/foundation/geometry/ZqPlaceIndex.h"
#include "zqManipulator/foundation/geometry/ZqShapeNumbers.h"

template class ZqXmlClass<ZqConvexHull, ZqConvexShape>;

namespace
{
/// Of the box around points; the origin without any.
zqConvex::Vec3 middleOf(const std::vector<zqConvex::Vec3>& points) noexcept
{
   if (points.empty())
      return {0.0, 0.0, 0.0};
   zqConvex::Vec3 lower = points[0];
   zqConvex::Vec3 upper = points[0];
   for (const zqConvex::Vec3& point : points)
      for (int i = 0; i < 3; ++i)
      {
         lower[i] = std::min(lower[i], point[i]);
         upper[i] = std::max(upper[i], point[i]);
      }
   return lower * 0.5 + upper * 0.5;
}
} // namespace

ZqConvex ZqConvexHull::makeConvex() const
{
   std::vector<zqConvex::Vec3> points;
   points.reserve(m_points.size());
   for (const ZqVector& point : m_points)
      if (zqConvex::isFinite(point))
         points.push_back(zqConvex::vec3(zqConvex::finite(point)));
   const zqConvex::Vec3 middle = middleOf(points);
   for (zqConvex::Vec3& point : points)
      point = point - middle;
   return ZqConvex::polytope(ZqHull::of(points), zqConvex::vector(middle));
}

ZqString ZqConvexHull::repair()
{
   return m_points.size() == 0 ? "it has no points and counts as the origin" : "";
}

void ZqConvexHull::transformSelfBy(const ZqCoordinateSystemTransformation& X)
{
   for (ZqVector& point : m_points)
      point = X * point;
   convexChanges();
}

void ZqConvexHull::scaleSelfBy(ZqReal scale)
{
   for (ZqVector& point : m_points)
      point *= scale;
   convexChanges();
}

void ZqConvexHull::truncateSelf(ZqReal tolerance)
{
   for (ZqVector& point : m_points)
      zqConvex::truncate(point, tolerance);
   convexChanges();
}

void ZqConvexHull::removeRedundancy(ZqReal tolerance)
{
   const ZqConvex& C = *convex();
   if (C.hull == nullptr)
      return;
   std::vector<ZqVector> corners;
   for (const zqConvex::Vec3& vertex : C.hull->vertices)
      corners.push_back(zqConvex::vector(C.frame * vertex));
   zqConvex::PlaceIndex index(tolerance, corners);
   std::vector<ZqVector> kept;
   for (const ZqVector& corner : corners)
      index.placeOf(corner, kept);
   setPoints(std::move(kept));
}
