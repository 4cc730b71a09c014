#pragma once

#include "zqManipulator/foundation/spatial/ZqGeneralMotion.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/state/ZqUncopied.h"

/// The accelerations and rates of momentum of one link, each with a flag that its setter raises. They
/// are classical accelerations of a point: of the frame's origin, or of the centre of mass. What is not
/// part of the value is as in `ZqLinkVelocityState`.
class ZqLinkAccelerationState final : public ZqXmlClass<ZqLinkAccelerationState>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqLinkAccelerationStateToken; }
   static constexpr const char* documentation = "the accelerations of a link";
   template <class This = ZqLinkAccelerationState>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_dhFrameAccelerationInLocal,
                                    &ZqManip::ZqDhFrameAccelerationInLocalToken,
                                    "acceleration of the DH frame, in its own axes"},
                        ZqComponent{&This::m_dhFrameAccelerationInSystem,
                                    &ZqManip::ZqDhFrameAccelerationInSystemToken,
                                    "acceleration of the DH frame, in system axes"},
                        ZqComponent{&This::m_primaryFrameAccelerationInSystem,
                                    &ZqManip::ZqPrimaryFrameAccelerationInSystemToken,
                                    "acceleration of the primary frame, in system axes"},
                        ZqComponent{&This::m_localDhValid, &ZqManip::ZqLocalDhValidToken,
                                    "whether the first of them is computed"},
                        ZqComponent{&This::m_systemDhValid, &ZqManip::ZqSystemDhValidToken,
                                    "whether the second of them is computed"},
                        ZqComponent{&This::m_systemPrimaryValid,
                                    &ZqManip::ZqSystemPrimaryValidToken,
                                    "whether the third of them is computed"}};
   }
   bool operator==(const ZqLinkAccelerationState&) const = default;

   virtual const ZqGeneralMotion& dhFrameAccelerationInLocal() const
   {
      return m_dhFrameAccelerationInLocal;
   }
   virtual void setDhFrameAccelerationInLocal(const ZqGeneralMotion& motion)
   {
      m_dhFrameAccelerationInLocal = motion;
      m_localDhValid = true;
   }
   virtual const ZqGeneralMotion& dhFrameAccelerationInSystem() const
   {
      return m_dhFrameAccelerationInSystem;
   }
   virtual void setDhFrameAccelerationInSystem(const ZqGeneralMotion& motion)
   {
      m_dhFrameAccelerationInSystem = motion;
      m_systemDhValid = true;
   }
   virtual const ZqGeneralMotion& primaryFrameAccelerationInSystem() const
   {
      return m_primaryFrameAccelerationInSystem;
   }
   virtual void setPrimaryFrameAccelerationInSystem(const ZqGeneralMotion& motion)
   {
      m_primaryFrameAccelerationInSystem = motion;
      m_systemPrimaryValid = true;
   }
   virtual const ZqGeneralMotion& comAccelerationInLocal() const
   {
      return m_comAccelerationInLocal.get();
   }
   virtual void setComAccelerationInLocal(const ZqGeneralMotion& motion)
   {
      m_comAccelerationInLocal.get() = motion;
      m_localComValid.get() = true;
   }
   virtual const ZqGeneralMotion& momentumRateInLocal() const
   {
      return m_momentumRateInLocal.get();
   }
   virtual void setMomentumRateInLocal(const ZqGeneralMotion& motion)
   {
      m_momentumRateInLocal.get() = motion;
      m_localMomentumRateValid.get() = true;
   }
   virtual const ZqGeneralMotion& compositeMomentumRateInLocal() const
   {
      return m_compositeMomentumRateInLocal.get();
   }
   virtual void setCompositeMomentumRateInLocal(const ZqGeneralMotion& motion)
   {
      m_compositeMomentumRateInLocal.get() = motion;
      m_compositeMomentumRateValid.get() = true;
   }
   virtual bool localDhValid() const { return m_localDhValid; }
   virtual void setLocalDhValid(bool valid) { m_localDhValid = valid; }
   virtual bool systemDhValid() const { return m_systemDhValid; }
   virtual void setSystemDhValid(bool valid) { m_systemDhValid = valid; }
   virtual bool systemPrimaryValid() const { return m_systemPrimaryValid; }
   virtual void setSystemPrimaryValid(bool valid) { m_systemPrimaryValid = valid; }
   virtual bool localComValid() const { return m_localComValid.get(); }
   virtual void setLocalComValid(bool valid) { m_localComValid.get() = valid; }
   virtual bool localMomentumRateValid() const { return m_localMomentumRateValid.get(); }
   virtual void setLocalMomentumRateValid(bool valid) { m_localMomentumRateValid.get() = valid; }
   virtual bool compositeMomentumRateValid() const { return m_compositeMomentumRateValid.get(); }
   virtual void setCompositeMomentumRateValid(bool valid)
   {
      m_compositeMomentumRateValid.get() = valid;
   }
   virtual void invalidateAll()
   {
      m_localDhValid = false;
      m_systemDhValid = false;
      m_systemPrimaryValid = false;
      m_localComValid.get() = false;
      m_localMomentumRateValid.get() = false;
      m_compositeMomentumRateValid.get() = false;
   }

private:
   bool m_localDhValid = false;
   bool m_systemDhValid = false;
   bool m_systemPrimaryValid = false;
   ZqUncopied<bool> m_localComValid;
   ZqUncopied<bool> m_localMomentumRateValid;
   ZqUncopied<bool> m_compositeMomentumRateValid;
   ZqGeneralMotion m_dhFrameAccelerationInLocal;
   ZqGeneralMotion m_dhFrameAccelerationInSystem;
   ZqGeneralMotion m_primaryFrameAccelerationInSystem;
   ZqUncopied<ZqGeneralMotion> m_comAccelerationInLocal;
   ZqUncopied<ZqGeneralMotion> m_momentumRateInLocal;
   ZqUncopied<ZqGeneralMotion> m_compositeMomentumRateInLocal;
};

extern template class ZqXmlClass<ZqLinkAccelerationState>;
