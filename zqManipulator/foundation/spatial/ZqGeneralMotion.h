#pragma once

#include "zqManipulator/foundation/spatial/ZqSpatialVector.h"

#include <iosfwd>

/// A spatial motion: the linear velocity (m/s) or acceleration (m/s^2) of the reference point, and the
/// angular one (rad/s, rad/s^2). Link queries also keep momenta in it. Zero by default.
class ZqGeneralMotion : public ZqSpatialVector<ZqGeneralMotion>
{
public:
   constexpr ZqGeneralMotion() noexcept = default;
   ZqGeneralMotion(const ZqVector& linear, const ZqVector& angular) noexcept
      : ZqSpatialVector(linear, angular)
   {
   }

   static const ZqToken& classToken() { return ZqFoundCommon::ZqGeneralVelocityToken; }
   static constexpr const char* documentation =
      "a spatial velocity or acceleration of the origin of a frame";
   template <class This = ZqGeneralMotion>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_first, &ZqFoundCommon::ZqLinearToken,
                                    "x y z of the linear part (m/s, or m/s^2)"},
                        ZqComponent{&This::m_second, &ZqFoundCommon::ZqAngularToken,
                                    "x y z of the angular part (rad/s, or rad/s^2)"}};
   }

   const ZqVector& linear() const noexcept { return m_first; }
   const ZqVector& angular() const noexcept { return m_second; }
   void setLinear(const ZqVector& linear) noexcept { m_first = linear; }
   void setAngular(const ZqVector& angular) noexcept { m_second = angular; }

   using ZqSpatialVector::transformBy;
   /// The same rigid body motion seen in the frame that X maps into, at that frame's origin:
   /// w becomes R w, v becomes R v + p x (R w) (Featherstone 2008, eq. 2.24).
   void transformBy(const ZqCoordinateSystemTransformation& X) noexcept
   {
      transformParts(X, m_second, m_first);
   }
   /// Moves the reference point without turning: v becomes v + p x w. For the motion at a point c of
   /// the body, p is -c.
   void transformBy(const ZqVector& p) noexcept { m_first += p.cross(m_second); }

   bool operator==(const ZqGeneralMotion&) const noexcept = default;

   friend std::ostream& operator<<(std::ostream& stream, const ZqGeneralMotion& motion);
};

extern template class ZqSpatialVector<ZqGeneralMotion>;
extern template class ZqXmlClass<ZqGeneralMotion>;
