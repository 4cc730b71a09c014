#include "zqManipulator/foundation/geometry/ZqCylinder.h"

#include "zqManipulator/foundation/geometry/ZqShapeNumbers.h"

template class ZqXmlClass<ZqCylinder, ZqConvexShape>;

ZqConvex ZqCylinder::makeConvex() const
{
   return ZqConvex::frustum(zqConvex::finite(m_lineSegment.endpoint0()),
                            zqConvex::finite(m_lineSegment.endpoint1()), zqConvex::finite(m_radius),
                            zqConvex::finite(m_radius));
}

ZqString ZqCylinder::repair()
{
   return zqConvex::repairLength(m_radius) ? "its radius is below zero and counts as 0" : "";
}

void ZqCylinder::transformSelfBy(const ZqCoordinateSystemTransformation& X)
{
   m_lineSegment.transformBy(X);
   convexChanges();
}

void ZqCylinder::scaleSelfBy(ZqReal scale)
{
   m_lineSegment.setEndpoint0(m_lineSegment.endpoint0() * scale);
   m_lineSegment.setEndpoint1(m_lineSegment.endpoint1() * scale);
   m_radius *= scale;
   convexChanges();
}

void ZqCylinder::truncateSelf(ZqReal tolerance)
{
   m_lineSegment.setEndpoint0(zqConvex::rounded(m_lineSegment.endpoint0(), tolerance));
   m_lineSegment.setEndpoint1(zqConvex::rounded(m_lineSegment.endpoint1(), tolerance));
   zqConvex::truncate(m_radius, tolerance);
   convexChanges();
}
