#include "zqManipulator/contact/forces/ZqMassSpringCollisionForceProcessor.h"
#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/proximity/ZqShapeCollisionData.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>

namespace
{
/// Up to four points of one side: apart from each other, not on one line, and in one plane.
class RegionPoints
{
public:
   explicit RegionPoints(ZqReal tolerance) : m_tolerance(tolerance) {}

   /// Holds on to the point if it fits in. False for one off the plane of three.
   bool take(const ZqVector& point)
   {
      if (m_count == 4 || isHeld(point))
         return true;
      const ZqVector v = point - m_points[0];
      if (m_count == 2)
      {
         const ZqVector u = m_points[1] - m_points[0];
         const ZqVector w = u.cross(v);
         if (!(w.magSquared() / u.magSquared() > 0.0001 &&
               w.magSquared() / v.magSquared() > 0.0001))
            return true;
         m_planeNormal = w.unitVector();
      }
      if (m_count == 3 && !(std::abs(v.dot(m_planeNormal)) < m_tolerance))
         return false;
      m_points[m_count++] = point;
      return true;
   }
   std::span<const ZqVector> points() const { return {m_points.data(), m_count}; }

private:
   bool isHeld(const ZqVector& point) const
   {
      for (const ZqVector& held : points())
         if (point.approxEq(held, m_tolerance))
            return true;
      return false;
   }

   ZqReal m_tolerance;
   std::size_t m_count = 0;
   std::array<ZqVector, 4> m_points;
   ZqVector m_planeNormal;
};

void place(ZqContactRegion& region, const ZqVector& middle, const ZqVector& x, const ZqVector& y,
           const ZqVector& z)
{
   ZqOrientation orientation;
   orientation.setFromDcmColumns(x, y, z);
   region.setContactFrame({middle, orientation});
}

void setMoments(ZqContactRegion& region, ZqReal x, ZqReal y)
{
   region.setMomentX(x);
   region.setMomentY(y);
   region.setMomentZ(0.0);
}

/// The axis along which the vector is least, so that their product is far from zero.
ZqVector axisAcross(const ZqVector& v)
{
   const ZqReal x = std::abs(v.x());
   const ZqReal y = std::abs(v.y());
   const ZqReal z = std::abs(v.z());
   if (z <= std::min(x, y))
      return ZqVector::zVector(1.0);
   return y <= x ? ZqVector::yVector(1.0) : ZqVector::xVector(1.0);
}

void setFromPoint(ZqContactRegion& region, const ZqVector& point, const ZqVector& normal)
{
   const ZqVector y = normal.cross(axisAcross(normal)).unitVector();
   place(region, point, y.cross(normal), y, normal);
   setMoments(region, 0.0, 0.0);
}

/// The z axis is against the normal.
void setFromPair(ZqContactRegion& region, const ZqVector& first, const ZqVector& second,
                 const ZqVector& normal)
{
   const ZqVector e = second - first;
   const ZqVector x = e.unitVector();
   const ZqVector y = x.cross(normal);
   place(region, 0.5 * (first + second), x, y, x.cross(y));
   setMoments(region, e.magSquared() * 0.5, 0.0);
}

void setFromFace(ZqContactRegion& region, std::span<const ZqVector> points, const ZqVector& normal,
                 const ZqMassSpringCollisionForceProcessor& law)
{
   const ZqReal share = 1.0 / static_cast<ZqReal>(points.size());
   ZqVector middle;
   for (const ZqVector& point : points)
      middle += point;
   middle *= share;

   ZqVector z = (points[1] - points[0]).cross(points[2] - points[0]).unitVector();
   if (z.dot(normal) < 0.0)
      z = -z;
   const ZqVector x = (points[1] - points[0]).unitVector();
   const ZqVector y = z.cross(x);
   ZqReal sxx = 0.0;
   ZqReal syy = 0.0;
   ZqReal sxy = 0.0;
   for (const ZqVector& point : points)
   {
      const ZqReal px = (point - middle).dot(x);
      const ZqReal py = (point - middle).dot(y);
      sxx += px * px;
      syy += py * py;
      sxy += py * px;
   }
   ZqReal cosine = 1.0;
   ZqReal sine = 0.0;
   ZqReal m1 = 0.0;
   ZqReal m2 = 0.0;
   law.calculatePrincipalMoments(sxx * share, syy * share, sxy * share, cosine, sine, m1, m2);
   place(region, middle, cosine * x + sine * y, cosine * y - sine * x, z);
   setMoments(region, m1, m2);
}
} // namespace

bool ZqMassSpringCollisionForceProcessor::estimateContactSurface(
   const ZqVector& normal, const Frame& frame1, const Frame& frame2, ZqShapeCollisionData& data,
   ZqContactRegion& region1, ZqContactRegion& region2) const
{
   // Points where the surfaces do not overlap penetrate nothing. A point of side 0 off the plane of its three
   // keeps that of side 1 from being looked at.
   std::array lists{RegionPoints(m_theDefaultDistanceTolerance),
                    RegionPoints(m_theDefaultDistanceTolerance)};
   for (ZqU32 i = 0; i < data.numPenetrationPoints(); ++i)
      for (ZqU32 side = 0; side < 2 && data.contactPoint(i).separation < 0.0; ++side)
         if (!lists[side].take(data.penetrationPointPrimary(side, i)))
            break;

   const std::array normals{frame1.orientation().inverse() * normal,
                            frame2.orientation().inverse() * -normal};
   const std::array regions{&region1, &region2};
   for (std::size_t side = 0; side < 2; ++side)
   {
      const std::span<const ZqVector> points = lists[side].points();
      if (points.size() == 1)
         setFromPoint(*regions[side], points[0], normals[side]);
      else if (points.size() == 2)
         setFromPair(*regions[side], points[0], points[1], normals[side]);
      else if (points.size() > 2)
         setFromFace(*regions[side], points, normals[side], *this);
   }
   return true;
}

void ZqMassSpringCollisionForceProcessor::calculatePrincipalMoments(ZqReal sxx, ZqReal syy,
                                                                    ZqReal sxy, ZqReal& cosine,
                                                                    ZqReal& sine, ZqReal& m1,
                                                                    ZqReal& m2) const
{
   const ZqReal b = -(sxx + syy);
   const ZqReal r = ZqMath::sqrt(b * b - 4.0 * (sxx * syy - sxy * sxy));
   m1 = (r - b) * 0.5;
   m2 = (-b - r) * 0.5;
   if (m2 > m1)
      std::swap(m1, m2);
   cosine = 1.0;
   sine = 0.0;
   if (m1 == m2)
      return;
   // Either row of the matrix less the lesser value is along the direction; the longer one is exact.
   const ZqReal a = sxx - m2;
   const ZqReal d = syy - m2;
   const ZqReal first = sxy * sxy + a * a;
   const ZqReal second = d * d + sxy * sxy;
   const ZqReal h = std::sqrt(std::max(first, second));
   cosine = (first > second ? a : sxy) / h;
   sine = (first > second ? sxy : d) / h;
}
