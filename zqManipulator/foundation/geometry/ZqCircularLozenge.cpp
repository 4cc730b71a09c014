#include "zqManipulator/foundation/geometry/ZqCircularLozenge.h"

#include "zqManipulator/foundation/geometry/ZqShapeNumbers.h"

template class ZqXmlClass<ZqCircularLozenge, ZqConvexShape>;

ZqConvex ZqCircularLozenge::makeConvex() const
{
   ZqVector normal = m_normal;
   zqConvex::repairNormal(normal);
   return ZqConvex::disc(zqConvex::finite(m_center), normal, zqConvex::finite(m_discRadius),
                         zqConvex::finite(m_radius));
}

ZqString ZqCircularLozenge::repair()
{
   const bool isTurned = zqConvex::repairNormal(m_normal);
   const bool isThin = zqConvex::repairLength(m_radius);
   const bool isSmall = zqConvex::repairLength(m_discRadius);
   return zqConvex::bothOf(isTurned, "its normal has no direction and counts as z",
                           isThin || isSmall, "a radius is below zero and counts as 0");
}

void ZqCircularLozenge::transformSelfBy(const ZqCoordinateSystemTransformation& X)
{
   m_center = X * m_center;
   m_normal = X.orientation() * m_normal;
   convexChanges();
}

void ZqCircularLozenge::scaleSelfBy(ZqReal scale)
{
   m_center *= scale;
   m_discRadius *= scale;
   m_radius *= scale;
   convexChanges();
}

void ZqCircularLozenge::truncateSelf(ZqReal tolerance)
{
   zqConvex::truncate(m_center, tolerance);
   zqConvex::truncate(m_discRadius, tolerance);
   zqConvex::truncate(m_radius, tolerance);
   convexChanges();
}
