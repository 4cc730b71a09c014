#include "zqManipulator/foundation/geometry/ZqSphere.h"

#include "zqManipulator/foundation/xml/ZqXmlReader.h"

#include <cmath>
#include <limits>

template class ZqXmlClass<ZqSphere>;

bool ZqSphere::read(ZqXmlReader& reader)
{
   const bool succeeded = ZqXmlCompoundType::read(reader);
   if (isEmpty())
   {
      if (!(*this == empty()))
         reader.remark("a sphere of negative radius holds no point", "odd-value");
      *this = ZqSphere(empty().m_center, empty().m_radius, m_levelOfDetail);
   }
   return succeeded;
}

void ZqSphere::expandSelfToInclude(const ZqSphere& sphere) noexcept
{
   if (sphere.isEmpty())
      return;
   const ZqVector between = sphere.m_center - m_center;
   const ZqReal distance = between.mag();
   if (!isEmpty() && distance + sphere.m_radius <= m_radius)
      return;
   if (isEmpty() || distance + m_radius <= sphere.m_radius)
   {
      m_center = sphere.m_center;
      m_radius = sphere.m_radius;
      return;
   }
   // Neither holds the other, so that the distance is not zero.
   const ZqReal radius = 0.5 * distance + 0.5 * m_radius + 0.5 * sphere.m_radius;
   if (!std::isfinite(radius))
   {
      m_radius = std::numeric_limits<ZqReal>::infinity();
      return;
   }
   m_center += between * ((radius - m_radius) / distance);
   m_radius = radius;
}
