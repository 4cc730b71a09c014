#pragma once

#include "zqManipulator/foundation/geometry/ZqBasePhysicalExtent.h"

/// A ball: the points that are no farther than the radius (m) from the center. The origin alone by
/// default.
///
/// A negative radius, a center that is not finite or a NaN makes a sphere that holds no point. In a
/// document a negative radius is read as `empty()`, with a remark unless it says just that. As a shape, one
/// that holds no point is its center.
class ZqSphere final : public ZqXmlClass<ZqSphere, ZqConvexShape>
{
public:
   ZqSphere() { convexChanges(); }
   /// The level of detail is for drawing: it takes no part in equality and is not written.
   ZqSphere(const ZqVector& center, ZqReal radius, int levelOfDetail = 3)
      : m_center(center), m_radius(radius), m_levelOfDetail(levelOfDetail)
   {
      convexChanges();
   }

   static const ZqToken& classToken() { return ZqGeom::ZqSphereToken; }
   static constexpr const char* documentation = "a sphere";
   template <class This = ZqSphere>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_center, &ZqGeom::ZqCenterToken, "x y z of the center (m)"},
         ZqComponent{&This::m_radius, &ZqGeom::ZqRadiusToken, "radius (m)"}};
   }
   bool read(ZqXmlReader& reader) override;

   static ZqSphere nullObject() { return {}; }
   /// A sphere that holds no point: the start for collecting others.
   static ZqSphere empty() { return {ZqVector(), -1.0}; }
   bool isEmpty() const noexcept { return !(m_radius >= 0.0 && m_center - m_center == ZqVector()); }
   bool operator==(const ZqSphere& other) const
   {
      return ZqConvexShape::operator==(other) && m_center == other.m_center &&
             m_radius == other.m_radius;
   }

   ZqU32 shapeType() const override { return SphereShape; }
   const ZqVector& center() const noexcept { return m_center; }
   void setCenter(const ZqVector& center)
   {
      m_center = center;
      convexChanges();
   }
   const ZqReal& radius() const noexcept { return m_radius; }
   void setRadius(ZqReal radius)
   {
      m_radius = radius;
      convexChanges();
   }
   int levelOfDetail() const noexcept { return m_levelOfDetail; }

   /// Grows to the smallest sphere that holds both. The level of detail stays.
   void expandSelfToInclude(const ZqSphere& sphere);

   friend ZqSphere operator*(const ZqCoordinateSystemTransformation& X, const ZqSphere& sphere)
   {
      ZqSphere mapped = sphere;
      mapped.transformBy(X);
      return mapped;
   }

protected:
   ZqConvex makeConvex() const override;
   ZqString repair() override;
   void transformSelfBy(const ZqCoordinateSystemTransformation& X) override;
   void scaleSelfBy(ZqReal scale) override;
   void truncateSelf(ZqReal tolerance) override;

private:
   ZqVector m_center;
   ZqReal m_radius = 0.0;
   int m_levelOfDetail = 3;
};

extern template class ZqXmlClass<ZqSphere, ZqConvexShape>;
