#pragma once

#include "zqManipulator/foundation/algebra/ZqVector.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"

/// A ball: the points that are no farther than the radius (m) from the center. The origin alone by
/// default.
///
/// A negative radius, a center that is not finite or a NaN makes a sphere that holds no point. In a
/// document a negative radius is read as `empty()`, with a remark unless it says just that.
class ZqSphere : public ZqXmlClass<ZqSphere>
{
public:
   ZqSphere() noexcept = default;
   /// The level of detail is for drawing: it takes no part in equality and is not written.
   ZqSphere(const ZqVector& center, ZqReal radius, int levelOfDetail = 3) noexcept
      : m_center(center), m_radius(radius), m_levelOfDetail(levelOfDetail)
   {
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

   static ZqSphere nullObject() noexcept { return {}; }
   /// A sphere that holds no point: the start for collecting others.
   static ZqSphere empty() noexcept { return {ZqVector(), -1.0}; }
   bool isEmpty() const noexcept { return !(m_radius >= 0.0 && m_center - m_center == ZqVector()); }
   bool operator==(const ZqSphere& other) const noexcept
   {
      return m_center == other.m_center && m_radius == other.m_radius;
   }

   const ZqVector& center() const noexcept { return m_center; }
   void setCenter(const ZqVector& center) noexcept { m_center = center; }
   const ZqReal& radius() const noexcept { return m_radius; }
   void setRadius(ZqReal radius) noexcept { m_radius = radius; }
   int levelOfDetail() const noexcept { return m_levelOfDetail; }

   /// Grows to the smallest sphere that holds both. The level of detail stays.
   void expandSelfToInclude(const ZqSphere& sphere) noexcept;

   friend ZqSphere operator*(const ZqCoordinateSystemTransformation& X,
                             const ZqSphere& sphere) noexcept
   {
      return {X * sphere.m_center, sphere.m_radius, sphere.m_levelOfDetail};
   }

private:
   ZqVector m_center;
   ZqReal m_radius = 0.0;
   int m_levelOfDetail = 3;
};

extern template class ZqXmlClass<ZqSphere>;
