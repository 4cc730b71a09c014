#include "zqManipulator/foundation/geometry/ZqSphere.h"

#include "zqManipulator/foundation/geometry/ZqShapeNumbers.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"

#include <cmath>
#include <limits>

template class ZqXmlClass<ZqSphere, ZqConvexShape>;

bool ZqSphere::read(ZqXmlReader& reader)
{
   const bool succeeded = ZqConvexShape::read(reader);
   if (isEmpty())
   {
      if (m_center != empty().m_center || m_radius != empty().m_radius)
         reader.remark("a sphere of negative radius holds no point", "odd-value");
      m_center = empty().m_center;
      m_radius = empty().m_radius;
      convexChanges();
   }
   return succeeded;
}

ZqConvex ZqSphere::makeConvex() const
{
   return ZqConvex::sphere(zqConvex::finite(m_center), m_radius);
}

ZqString ZqSphere::repair()
{
   return {}; // `read` says what becomes of a negative radius
}

void ZqSphere::transformSelfBy(const ZqCoordinateSystemTransformation& X)
{
   setCenter(X * m_center);
}

void ZqSphere::scaleSelfBy(ZqReal scale)
{
   m_radius *= scale;
   setCenter(m_center * scale);
}

void ZqSphere::truncateSelf(ZqReal tolerance)
{
   m_radius = zqConvex::rounded(m_radius, tolerance);
   setCenter(zqConvex::rounded(m_center, tolerance));
}

void ZqSphere::expandSelfToInclude(const ZqSphere& sphere)
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
      setRadius(sphere.m_radius);
      return;
   }
   // Neither holds the other, so that the distance is not zero.
   const ZqReal radius = 0.5 * distance + 0.5 * m_radius + 0.5 * sphere.m_radius;
   if (!std::isfinite(radius))
   {
      setRadius(std::numeric_limits<ZqReal>::infinity());
      return;
   }
   m_center += between * ((radius - m_radius) / distance);
   setRadius(radius);
}
