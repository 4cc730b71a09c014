#pragma once

#include "zqManipulator/foundation/algebra/ZqVector.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"

/// The plane through a point (m) that is normal to a vector; the xy plane by default. The normal vector
/// is kept as it comes, of whatever length. A plain value.
class ZqPlane
{
public:
   constexpr ZqPlane() noexcept = default;
   constexpr ZqPlane(const ZqVector& basePoint, const ZqVector& normalVector) noexcept
      : m_basePoint(basePoint), m_normalVector(normalVector)
   {
   }
   constexpr bool operator==(const ZqPlane&) const noexcept = default;

   constexpr const ZqVector& basePoint() const noexcept { return m_basePoint; }
   constexpr void setBasePoint(const ZqVector& point) noexcept { m_basePoint = point; }
   constexpr const ZqVector& normalVector() const noexcept { return m_normalVector; }
   constexpr void setNormalVector(const ZqVector& normal) noexcept { m_normalVector = normal; }

   friend ZqPlane operator*(const ZqCoordinateSystemTransformation& X,
                            const ZqPlane& plane) noexcept
   {
      return {X * plane.m_basePoint, X.orientation() * plane.m_normalVector};
   }

private:
   ZqVector m_basePoint;
   ZqVector m_normalVector = ZqVector(0.0, 0.0, 1.0);
};
