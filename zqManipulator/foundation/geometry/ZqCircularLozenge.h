#pragma once

#include "zqManipulator/foundation/geometry/ZqBasePhysicalExtent.h"

/// A disc swept by a ball: a round plate with a round rim. The normal is of whatever length; without length,
/// it counts as z.
class ZqCircularLozenge final : public ZqXmlClass<ZqCircularLozenge, ZqConvexShape>
{
public:
   ZqCircularLozenge() { convexChanges(); }
   ZqCircularLozenge(const ZqVector& center, const ZqVector& normal, ZqReal discRadius,
                     ZqReal radius)
      : m_center(center), m_normal(normal), m_discRadius(discRadius), m_radius(radius)
   {
      convexChanges();
   }

   static const ZqToken& classToken() { return ZqGeom::ZqCircularLozengeToken; }
   static constexpr const char* documentation = "a disc swept by a ball";
   template <class This = ZqCircularLozenge>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_center, &ZqGeom::ZqCenterToken, "x y z of the middle (m)"},
         ZqComponent{&This::m_normal, &ZqGeom::ZqNormalToken, "x y z of the normal of the disc"},
         ZqComponent{&This::m_discRadius, &ZqGeom::ZqDiscRadiusToken, "radius of the disc (m)"},
         ZqComponent{&This::m_radius, &ZqGeom::ZqRadiusToken, "radius of the ball (m)"}};
   }
   bool operator==(const ZqCircularLozenge& other) const
   {
      return ZqConvexShape::operator==(other) && m_center == other.m_center &&
             m_normal == other.m_normal && m_discRadius == other.m_discRadius &&
             m_radius == other.m_radius;
   }

   ZqU32 shapeType() const override { return CircularLozengeShape; }
   const ZqVector& center() const noexcept { return m_center; }
   void setCenter(const ZqVector& center)
   {
      m_center = center;
      convexChanges();
   }
   const ZqVector& normal() const noexcept { return m_normal; }
   void setNormal(const ZqVector& normal)
   {
      m_normal = normal;
      convexChanges();
   }
   const ZqReal& discRadius() const noexcept { return m_discRadius; }
   void setDiscRadius(ZqReal discRadius)
   {
      m_discRadius = discRadius;
      convexChanges();
   }
   const ZqReal& radius() const noexcept { return m_radius; }
   void setRadius(ZqReal radius)
   {
      m_radius = radius;
      convexChanges();
   }

protected:
   ZqConvex makeConvex() const override;
   ZqString repair() override;
   void transformSelfBy(const ZqCoordinateSystemTransformation& X) override;
   void scaleSelfBy(ZqReal scale) override;
   void truncateSelf(ZqReal tolerance) override;

private:
   ZqVector m_center;
   ZqVector m_normal = ZqVector(0.0, 0.0, 1.0);
   ZqReal m_discRadius = 0.0;
   ZqReal m_radius = 0.0;
};

extern template class ZqXmlClass<ZqCircularLozenge, ZqConvexShape>;
