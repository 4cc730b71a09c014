#pragma once

#include "zqManipulator/foundation/spatial/ZqGeneralForce.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"

extern template class ZqXmlVectorType<ZqGeneralForce>;

/// The spatial forces that act on one manipulator from outside: on each link, in the order of the
/// link indices, and on the base, each in the DH frame of its link.
class ZqManipulatorExternalForce final : public ZqXmlClass<ZqManipulatorExternalForce>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqManipulatorExternalForceToken; }
   static constexpr const char* documentation =
      "forces that act on a manipulator from outside, each in the DH frame of its link";
   template <class This = ZqManipulatorExternalForce>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_linkForces, &ZqManip::ZqLinkGeneralForcesToken,
                     "force on each link, by link index"},
         ZqComponent{&This::m_baseForce, &ZqManip::ZqBaseGeneralForceToken, "force on the base"}};
   }
   static ZqManipulatorExternalForce nullObject() { return {}; }
   bool operator==(const ZqManipulatorExternalForce&) const = default;

   virtual const ZqXmlVectorType<ZqGeneralForce>& linkForces() const { return m_linkForces; }
   virtual void setLinkForces(const ZqXmlVectorType<ZqGeneralForce>& forces)
   {
      m_linkForces = forces;
   }
   virtual const ZqGeneralForce& baseForce() const { return m_baseForce; }
   virtual void setBaseForce(const ZqGeneralForce& force) { m_baseForce = force; }
   /// The force on the link with this index, which must be below the number of links or
   /// `ZqBaseLinkIndex`.
   virtual ZqGeneralForce& operator[](unsigned int index)
   {
      return index == ZqBaseLinkIndex ? m_baseForce : m_linkForces[index];
   }
   /// The same; another index logs a message and answers a force of zero.
   virtual const ZqGeneralForce& operator[](unsigned int index) const
   {
      if (index < m_linkForces.size())
         return m_linkForces[index];
      return index == ZqBaseLinkIndex ? m_baseForce : outOfRange(index);
   }
   /// The force on a link or on the base; null for any other index.
   const ZqGeneralForce* forceOn(ZqU32 index) const noexcept
   {
      if (index < m_linkForces.size())
         return &m_linkForces[index];
      return index == ZqBaseLinkIndex ? &m_baseForce : nullptr;
   }
   virtual void resize(unsigned int size)
   {
      if (m_linkForces.size() != size)
         m_linkForces.resize(size);
   }
   /// Sets all forces to zero; the size stays.
   virtual void setToZeros();

private:
   static const ZqGeneralForce& outOfRange(unsigned int index);

   ZqXmlVectorType<ZqGeneralForce> m_linkForces;
   ZqGeneralForce m_baseForce;
};

extern template class ZqXmlClass<ZqManipulatorExternalForce>;
