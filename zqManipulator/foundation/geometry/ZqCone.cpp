#include "zqManipulator/foundation/geometry/ZqCone.h"

#include "zqManipulator/foundation/geometry/ZqShapeNumbers.h"

template class ZqXmlClass<ZqCone, ZqConvexShape>;

ZqConvex ZqCone::makeConvex() const
{
   return ZqConvex::frustum(zqConvex::finite(m_lineSegment.endpoint0()),
                            zqConvex::finite(m_lineSegment.endpoint1()),
                            zqConvex::finite(m_firstRadius), zqConvex::finite(m_secondRadius));
}

ZqString ZqCone::repair()
{
   const bool isBad = zqConvex::repairLength(m_firstRadius);
   return zqConvex::repairLength(m_secondRadius) || isBad ? "a radius is below zero and counts as 0"
                                                          : "";
}

void ZqCone::transformSelfBy(const ZqCoordinateSystemTransformation& X)
{
   m_lineSegment.transformBy(X);
   convexChanges();
}

void ZqCone::scaleSelfBy(ZqReal scale)
{
   m_lineSegment.setEndpoint0(m_lineSegment.endpoint0() * scale);
   m_lineSegment.setEndpoint1(m_lineSegment.endpoint1() * scale);
   m_firstRadius *= scale;
   m_secondRadius *= scale;
   convexChanges();
}

void ZqCone::truncateSelf(ZqReal tolerance)
{
   m_lineSegment.setEndpoint0(zqConvex::rounded(m_lineSegment.endpoint0(), tolerance));
   m_lineSegment.setEndpoint1(zqConvex::rounded(m_lineSegment.endpoint1(), tolerance));
   zqConvex::truncate(m_firstRadius, tolerance);
   zqConvex::truncate(m_secondRadius, tolerance);
   convexChanges();
}
