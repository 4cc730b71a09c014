#pragma once

#include "zqManipulator/foundation/algebra/ZqVector.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"

/// The plane through a point (m) that is normal to a vector; the xy plane by default. The normal vector
/// is kept as it comes, of whatever length.
class ZqPlane : public ZqXmlClass<ZqPlane>
{
public:
   ZqPlane() noexcept = default;
   ZqPlane(const ZqVector& basePoint, const ZqVector& normalVector) noexcept
      : m_basePoint(basePoint), m_normalVector(normalVector)
   {
   }

   static const ZqToken& classToken() { return ZqGeom::ZqPlaneToken; }
   static constexpr const char* documentation =
      "the plane through a point that is normal to a vector";
   template <class This = ZqPlane>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_basePoint, &ZqGeom::ZqPointToken, "x y z of a point of it (m)"},
         ZqComponent{&This::m_normalVector, &ZqGeom::ZqNormalToken,
                     "x y z of its normal, of whatever length"}};
   }
   bool operator==(const ZqPlane&) const noexcept = default;

   const ZqVector& basePoint() const noexcept { return m_basePoint; }
   void setBasePoint(const ZqVector& point) noexcept { m_basePoint = point; }
   const ZqVector& normalVector() const noexcept { return m_normalVector; }
   void setNormalVector(const ZqVector& normal) noexcept { m_normalVector = normal; }

   friend ZqPlane operator*(const ZqCoordinateSystemTransformation& X,
                            const ZqPlane& plane) noexcept
   {
      return {X * plane.m_basePoint, X.orientation() * plane.m_normalVector};
   }

private:
   ZqVector m_basePoint;
   ZqVector m_normalVector = ZqVector(0.0, 0.0, 1.0);
};

extern template class ZqXmlClass<ZqPlane>;
