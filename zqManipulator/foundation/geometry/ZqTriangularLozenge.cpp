#include "zqManipulator/foundation/geometry/ZqTriangularLozenge.h"

#include "zqManipulator/foundation/geometry/ZqNearestPoint.h"
#include "zqManipulator/foundation/geometry/ZqShapeNumbers.h"

template class ZqXmlClass<ZqTriangularLozenge, ZqConvexShape>;

ZqConvex ZqTriangularLozenge::makeConvex() const
{
   return ZqConvex::triangle(zqConvex::finite(m_origin), zqConvex::finite(m_edge0),
                             zqConvex::finite(m_edge1), zqConvex::finite(m_radius));
}

ZqString ZqTriangularLozenge::repair()
{
   return zqConvex::repairLength(m_radius) ? "its radius is below zero and counts as 0" : "";
}

void ZqTriangularLozenge::transformSelfBy(const ZqCoordinateSystemTransformation& X)
{
   m_origin = X * m_origin;
   m_edge0 = X.orientation() * m_edge0;
   m_edge1 = X.orientation() * m_edge1;
   convexChanges();
}

void ZqTriangularLozenge::scaleSelfBy(ZqReal scale)
{
   m_origin *= scale;
   m_edge0 *= scale;
   m_edge1 *= scale;
   m_radius *= scale;
   convexChanges();
}

void ZqTriangularLozenge::truncateSelf(ZqReal tolerance)
{
   zqConvex::truncate(m_origin, tolerance);
   zqConvex::truncate(m_edge0, tolerance);
   zqConvex::truncate(m_edge1, tolerance);
   zqConvex::truncate(m_radius, tolerance);
   convexChanges();
}

ZqVector ZqTriangularLozenge::normal() const noexcept
{
   using zqConvex::Vec3;
   const Vec3 e = unit(zqConvex::vec3(zqConvex::finite(m_edge0)));
   const Vec3 f = unit(zqConvex::vec3(zqConvex::finite(m_edge1)));
   const Vec3 n = cross(e, f);
   return zqConvex::vector(norm(n) > 0.0 ? unit(n) : zqConvex::perpendicular(e));
}

bool ZqTriangularLozenge::checkIntersectWithPoint(const ZqVector& point) const noexcept
{
   const ZqConvex& C = *convex();
   const zqConvex::Vec3 p = inverseTimes(C.frame, zqConvex::vec3(point));
   return norm(p - zqConvex::nearestPoint(C, p)) <= C.radius;
}
