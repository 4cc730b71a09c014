#pragma once

#include "zqManipulator/foundation/geometry/ZqBasePhysicalExtent.h"

/// A triangle swept by a ball: a three-cornered plate with round edges. The edges lead from the origin, a
/// corner of the triangle, to the other two.
class ZqTriangularLozenge final : public ZqXmlClass<ZqTriangularLozenge, ZqConvexShape>
{
public:
   ZqTriangularLozenge() { convexChanges(); }
   ZqTriangularLozenge(const ZqVector& origin, const ZqVector& edge0, const ZqVector& edge1,
                       ZqReal radius)
      : m_origin(origin), m_edge0(edge0), m_edge1(edge1), m_radius(radius)
   {
      convexChanges();
   }

   static const ZqToken& classToken() { return ZqGeom::ZqTriangularLozengeToken; }
   static constexpr const char* documentation = "a triangle swept by a ball";
   template <class This = ZqTriangularLozenge>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_origin, &ZqGeom::ZqOriginToken,
                     "x y z of a corner of the triangle (m)"},
         ZqComponent{&This::m_edge0, &ZqGeom::ZqEdge0Token,
                     "x y z from there to the second corner (m)"},
         ZqComponent{&This::m_edge1, &ZqGeom::ZqEdge1Token,
                     "x y z from there to the third corner (m)"},
         ZqComponent{&This::m_radius, &ZqGeom::ZqRadiusToken, "radius of the ball (m)"}};
   }
   bool operator==(const ZqTriangularLozenge& other) const
   {
      return ZqConvexShape::operator==(other) && m_origin == other.m_origin &&
             m_edge0 == other.m_edge0 && m_edge1 == other.m_edge1 && m_radius == other.m_radius;
   }

   ZqU32 shapeType() const override { return TriangularLozengeShape; }
   const ZqVector& origin() const noexcept { return m_origin; }
   void setOrigin(const ZqVector& origin)
   {
      m_origin = origin;
      convexChanges();
   }
   const ZqVector& edge0() const noexcept { return m_edge0; }
   void setEdge0(const ZqVector& edge0)
   {
      m_edge0 = edge0;
      convexChanges();
   }
   const ZqVector& edge1() const noexcept { return m_edge1; }
   void setEdge1(const ZqVector& edge1)
   {
      m_edge1 = edge1;
      convexChanges();
   }
   const ZqReal& radius() const noexcept { return m_radius; }
   void setRadius(ZqReal radius)
   {
      m_radius = radius;
      convexChanges();
   }
   /// edge0 x edge1, of length 1; some vector perpendicular to the edges where they are parallel.
   ZqVector normal() const noexcept;
   /// Whether the point is inside or on the surface.
   bool checkIntersectWithPoint(const ZqVector& point) const noexcept;

protected:
   ZqConvex makeConvex() const override;
   ZqString repair() override;
   void transformSelfBy(const ZqCoordinateSystemTransformation& X) override;
   void scaleSelfBy(ZqReal scale) override;
   void truncateSelf(ZqReal tolerance) override;

private:
   ZqVector m_origin;
   ZqVector m_edge0;
   ZqVector m_edge1;
   ZqReal m_radius = 0.0;
};

extern template class ZqXmlClass<ZqTriangularLozenge, ZqConvexShape>;
