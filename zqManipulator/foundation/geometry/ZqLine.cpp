#include "zqManipulator/foundation/geometry/ZqLine.h"

#include "zqManipulator/foundation/geometry/ZqShapeNumbers.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"

#include <limits>

template class ZqXmlClass<ZqLine>;

ZqLine::ZqLine(const ZqVector& point, const ZqVector& direction) noexcept
   : m_point(point), m_unitVector(direction)
{
   constexpr ZqReal unitTolerance = 8.0 * std::numeric_limits<ZqReal>::epsilon();
   if (!(std::abs(direction.magSquared() - 1.0) <= unitTolerance))
      m_unitVector = direction.unitVector();
   if (!(m_unitVector.magSquared() > 0.5 && zqConvex::isFinite(m_unitVector)))
      m_unitVector = ZqVector::xVector(1.0);
}

bool ZqLine::read(ZqXmlReader& reader)
{
   const bool succeeded = ZqXmlClass::read(reader);
   if (m_unitVector == ZqVector())
      reader.remark("a line has no direction and is taken along x", "odd-value");
   *this = ZqLine(m_point, m_unitVector);
   return succeeded;
}

ZqReal ZqLine::distanceSquaredToLine(const ZqLine& other, ZqReal& s, ZqReal& t) const noexcept
{
   const ZqVector& u = m_unitVector;
   const ZqVector& v = other.m_unitVector;
   const ZqVector between = other.m_point - m_point;
   // The squared sine of the angle from the cross product: one minus the squared cosine has no digits left
   // where the lines are nearly parallel.
   const ZqVector n = u.cross(v);
   const ZqReal sineSquared = n.magSquared();
   constexpr ZqReal parallel = 1e-24; // an angle of 1e-12, whose axis rounding decides
   if (sineSquared > parallel)
   {
      s = between.cross(v).dot(n) / sineSquared;
      t = between.cross(u).dot(n) / sineSquared;
      const ZqReal alongNormal = between.dot(n);
      return alongNormal * alongNormal / sineSquared;
   }
   // Through the middle between the two points.
   s = 0.5 * u.dot(between);
   t = -0.5 * v.dot(between);
   return (between + v * t - u * s).magSquared();
}
