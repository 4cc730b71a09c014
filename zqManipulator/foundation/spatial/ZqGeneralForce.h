#pragma once

#include "zqManipulator/foundation/spatial/ZqSpatialVector.h"

#include <iosfwd>

/// A spatial force: a force (N) and its moment about the reference point (N m). Zero by default.
class ZqGeneralForce : public ZqSpatialVector<ZqGeneralForce>
{
public:
   constexpr ZqGeneralForce() noexcept = default;
   ZqGeneralForce(const ZqVector& force, const ZqVector& moment) noexcept
      : ZqSpatialVector(force, moment)
   {
   }

   static const ZqToken& classToken() { return ZqFoundCommon::ZqGeneralForceToken; }
   static constexpr const char* documentation = "a spatial force at the origin of a frame";
   template <class This = ZqGeneralForce>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_first, &ZqFoundCommon::ZqForceToken, "x y z of the force (N)"},
         ZqComponent{&This::m_second, &ZqFoundCommon::ZqMomentToken,
                     "x y z of the moment about the origin (N m)"}};
   }

   const ZqVector& force() const noexcept { return m_first; }
   const ZqVector& moment() const noexcept { return m_second; }
   void setForce(const ZqVector& force) noexcept { m_first = force; }
   void setMoment(const ZqVector& moment) noexcept { m_second = moment; }

   using ZqSpatialVector::transformBy;
   /// The same force seen in the frame that X maps into, about that frame's origin: f becomes R f, n
   /// becomes R n + p x (R f) (Featherstone 2008, eq. 2.25).
   void transformBy(const ZqCoordinateSystemTransformation& X) noexcept
   {
      transformParts(X, m_first, m_second);
   }
   /// Moves the reference point without turning: n becomes n + p x f.
   void transformBy(const ZqVector& p) noexcept { m_second += p.cross(m_first); }

   bool operator==(const ZqGeneralForce&) const noexcept = default;

   friend std::ostream& operator<<(std::ostream& stream, const ZqGeneralForce& force);
};

extern template class ZqSpatialVector<ZqGeneralForce>;
extern template class ZqXmlClass<ZqGeneralForce>;
