#include "zqManipulator/foundation/geometry/ZqBasePhysicalExtent.h"

void ZqBasePhysicalExtent::removeRedundancy(ZqReal) {}

bool ZqConvexShape::read(ZqXmlReader& reader)
{
   const bool succeeded = ZqXmlAbstractClass::read(reader);
   if (const ZqString repaired = repair(); !repaired.empty())
      remark(reader, repaired);
   convexChanges();
   return succeeded;
}

ZqVector ZqConvexShape::supportPoint(const ZqVector& direction) const
{
   return m_convex.supportPoint(zqConvex::vector(unit(zqConvex::vec3(direction))));
}
