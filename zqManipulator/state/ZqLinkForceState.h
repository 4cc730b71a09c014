#pragma once

#include "zqManipulator/dynamics/bodies/ZqExternalForceDescription.h"
#include "zqManipulator/state/ZqUncopied.h"

/// The spatial force across the joint of one link, in the axes and at the origin of its DH frame, and
/// the description of the external force on the link, which has a flag of its own and is not part of
/// the value.
class ZqLinkForceState final : public ZqXmlClass<ZqLinkForceState>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqLinkForceStateToken; }
   static constexpr const char* documentation = "the force on a link";
   template <class This = ZqLinkForceState>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_dhFrameForceInLocal,
                                    &ZqManip::ZqDhFrameForceInLocalToken,
                                    "force at the origin of the DH frame, in its axes"},
                        ZqComponent{&This::m_localDhValid, &ZqManip::ZqLocalDhValidToken,
                                    "whether it is computed"}};
   }
   bool operator==(const ZqLinkForceState&) const = default;

   virtual const ZqGeneralForce& dhFrameForceInLocal() const { return m_dhFrameForceInLocal; }
   virtual void setDhFrameForceInLocal(const ZqGeneralForce& force)
   {
      m_dhFrameForceInLocal = force;
      m_localDhValid = true;
   }
   virtual const ZqExternalForceDescription& externalForceDescription() const
   {
      return m_externalForceDescription.get();
   }
   virtual void setExternalForceDescription(const ZqExternalForceDescription& description)
   {
      m_externalForceDescription.get() = description;
   }
   virtual bool externalForceValid() const { return m_externalForceDescription.get().valid(); }
   virtual void setExternalForceValid(bool valid)
   {
      m_externalForceDescription.get().setValid(valid);
   }
   virtual bool localDhValid() const { return m_localDhValid; }
   virtual void setLocalDhValid(bool valid) { m_localDhValid = valid; }
   virtual void invalidateAll()
   {
      m_localDhValid = false;
      m_externalForceDescription.get().setValid(false);
   }

private:
   bool m_localDhValid = false;
   ZqGeneralForce m_dhFrameForceInLocal;
   ZqUncopied<ZqExternalForceDescription> m_externalForceDescription;
};

extern template class ZqXmlClass<ZqLinkForceState>;
