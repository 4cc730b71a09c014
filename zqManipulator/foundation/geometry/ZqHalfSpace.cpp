#include "zqManipulator/foundation/geometry/ZqHalfSpace.h"

#include "zqManipulator/foundation/geometry/ZqShapeNumbers.h"

template class ZqXmlClass<ZqHalfSpace, ZqShape>;

bool ZqHalfSpace::read(ZqXmlReader& reader)
{
   const bool succeeded = ZqXmlClass::read(reader);
   ZqVector normal = m_plane.normalVector();
   if (zqConvex::repairNormal(normal))
   {
      m_plane.setNormalVector(normal);
      remark(reader, "its normal has no direction and counts as z");
   }
   convexChanges();
   return succeeded;
}

void ZqHalfSpace::convexChanges()
{
   ZqVector normal = m_plane.normalVector();
   zqConvex::repairNormal(normal);
   m_convex = ZqConvex::halfSpace(zqConvex::finite(m_plane.basePoint()), normal);
}

void ZqHalfSpace::transformSelfBy(const ZqCoordinateSystemTransformation& X)
{
   setPlane(X * m_plane);
}

void ZqHalfSpace::scaleSelfBy(ZqReal scale)
{
   setPlane({m_plane.basePoint() * scale, m_plane.normalVector()});
}

void ZqHalfSpace::truncateSelf(ZqReal tolerance)
{
   setPlane({zqConvex::rounded(m_plane.basePoint(), tolerance), m_plane.normalVector()});
}
