#pragma once

#include "zqManipulator/dynamics/bodies/ZqRigidBodyMassProperties.h"

/// The composite rigid body inertia of one link: that of the link and all its descendants as one rigid
/// body, in the link's DH frame.
class ZqLinkMassState final : public ZqXmlClass<ZqLinkMassState>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqLinkMassStateToken; }
   static constexpr const char* documentation = "the composite rigid body inertia of a link";
   template <class This = ZqLinkMassState>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_crbi, &ZqManip::ZqCrbiToken,
                     "inertia of the link and its descendants as one rigid body, in the DH frame"},
         ZqComponent{&This::m_crbiValid, &ZqManip::ZqCrbiValidToken, "whether it is computed"}};
   }
   bool operator==(const ZqLinkMassState&) const = default;

   virtual const ZqRigidBodyMassProperties& crbi() const { return m_crbi; }
   virtual void setCrbi(const ZqRigidBodyMassProperties& crbi)
   {
      m_crbi = crbi;
      m_crbiValid = true;
   }
   /// For a query that computes it in place, and raises the flag.
   ZqRigidBodyMassProperties& crbiInPlace() { return m_crbi; }
   virtual bool crbiValid() const { return m_crbiValid; }
   virtual void setCrbiValid(bool valid) { m_crbiValid = valid; }
   virtual void invalidateAll() { m_crbiValid = false; }

private:
   bool m_crbiValid = false;
   ZqRigidBodyMassProperties m_crbi = ZqRigidBodyMassProperties::nullObject();
};

extern template class ZqXmlClass<ZqLinkMassState>;
