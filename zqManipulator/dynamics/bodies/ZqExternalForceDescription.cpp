#include "zqManipulator/dynamics/bodies/ZqExternalForceDescription.h"

template class ZqXmlClass<ZqExternalForceDescription>;

const ZqLineSegment& ZqExternalForceDescription::representativeForceVector() const
{
   const ZqVector& f = m_externalLinkForce.force();
   const ZqReal squared = f.magSquared();
   if (!(squared > 0.0) || !valid())
      return ZqLineSegment::nullObject();
   m_lineIsValid.ensure(
      [&]
      {
         const ZqVector point = f.cross(m_externalLinkForce.moment()) / squared;
         m_representativeLine = ZqLineSegment(point, point + f);
      });
   return m_representativeLine;
}
