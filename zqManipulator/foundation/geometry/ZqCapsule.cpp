#include "zqManipulator/foundation/geometry/ZqCapsule.h"

#include "zqManipulator/foundation/geometry/ZqShapeNumbers.h"

template class ZqXmlClass<ZqCapsule, ZqConvexShape>;

ZqConvex ZqCapsule::makeConvex() const
{
   return ZqConvex::capsule(zqConvex::finite(m_lineSegment.endpoint0()),
                            zqConvex::finite(m_lineSegment.endpoint1()),
                            zqConvex::finite(m_radius));
}

ZqString ZqCapsule::repair()
{
   return zqConvex::repairLength(m_radius) ? "its radius is below zero and counts as 0" : "";
}

void ZqCapsule::transformSelfBy(const ZqCoordinateSystemTransformation& X)
{
   m_lineSegment.transformBy(X);
   convexChanges();
}

void ZqCapsule::scaleSelfBy(ZqReal scale)
{
   m_lineSegment.setEndpoint0(m_lineSegment.endpoint0() * scale);
   m_lineSegment.setEndpoint1(m_lineSegment.endpoint1() * scale);
   m_radius *= scale;
   convexChanges();
}

void ZqCapsule::truncateSelf(ZqReal tolerance)
{
   m_lineSegment.setEndpoint0(zqConvex::rounded(m_lineSegment.endpoint0(), tolerance));
   m_lineSegment.setEndpoint1(zqConvex::rounded(m_lineSegment.endpoint1(), tolerance));
   zqConvex::truncate(m_radius, tolerance);
   convexChanges();
}
