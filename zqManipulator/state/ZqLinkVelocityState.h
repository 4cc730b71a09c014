#pragma once

#include "zqManipulator/foundation/spatial/ZqGeneralMotion.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/state/ZqUncopied.h"

/// The velocities and momenta of one link, each with a flag that its setter raises. "Local" values are
/// in the axes of the link's DH frame; velocities are those of the frame's origin, or of the centre of
/// mass. A momentum has the linear part first; the angular part is about the centre of mass.
///
/// The values of the centre of mass and the momenta are not part of the value: a copy starts without
/// them, and an assignment leaves those of the target with their flags.
class ZqLinkVelocityState final : public ZqXmlClass<ZqLinkVelocityState>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqLinkVelocityStateToken; }
   static constexpr const char* documentation = "the velocities of a link";
   template <class This = ZqLinkVelocityState>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_dhFrameVelocityInLocal, &ZqManip::ZqDhFrameVelocityInLocalToken,
                     "velocity of the DH frame, in its own axes"},
         ZqComponent{&This::m_dhFrameVelocityInSystem, &ZqManip::ZqDhFrameVelocityInSystemToken,
                     "velocity of the DH frame, in system axes"},
         ZqComponent{&This::m_primaryFrameVelocityInSystem,
                     &ZqManip::ZqPrimaryFrameVelocityInSystemToken,
                     "velocity of the primary frame, in system axes"},
         ZqComponent{&This::m_localDhValid, &ZqManip::ZqLocalDhValidToken,
                     "whether the first of them is computed"},
         ZqComponent{&This::m_systemDhValid, &ZqManip::ZqSystemDhValidToken,
                     "whether the second of them is computed"},
         ZqComponent{&This::m_systemPrimaryValid, &ZqManip::ZqSystemPrimaryValidToken,
                     "whether the third of them is computed"}};
   }
   bool operator==(const ZqLinkVelocityState&) const = default;

   virtual const ZqGeneralMotion& dhFrameVelocityInLocal() const
   {
      return m_dhFrameVelocityInLocal;
   }
   virtual void setDhFrameVelocityInLocal(const ZqGeneralMotion& motion)
   {
      m_dhFrameVelocityInLocal = motion;
      m_localDhValid = true;
   }
   virtual const ZqGeneralMotion& dhFrameVelocityInSystem() const
   {
      return m_dhFrameVelocityInSystem;
   }
   virtual void setDhFrameVelocityInSystem(const ZqGeneralMotion& motion)
   {
      m_dhFrameVelocityInSystem = motion;
      m_systemDhValid = true;
   }
   virtual const ZqGeneralMotion& primaryFrameVelocityInSystem() const
   {
      return m_primaryFrameVelocityInSystem;
   }
   virtual void setPrimaryFrameVelocityInSystem(const ZqGeneralMotion& motion)
   {
      m_primaryFrameVelocityInSystem = motion;
      m_systemPrimaryValid = true;
   }
   virtual const ZqGeneralMotion& comVelocityInLocal() const { return m_comVelocityInLocal.get(); }
   virtual void setComVelocityInLocal(const ZqGeneralMotion& motion)
   {
      m_comVelocityInLocal.get() = motion;
      m_localComValid.get() = true;
   }
   virtual const ZqGeneralMotion& momentumInLocal() const { return m_momentumInLocal.get(); }
   virtual void setMomentumInLocal(const ZqGeneralMotion& motion)
   {
      m_momentumInLocal.get() = motion;
      m_localMomentumValid.get() = true;
   }
   virtual const ZqGeneralMotion& compositeMomentumInLocal() const
   {
      return m_compositeMomentumInLocal.get();
   }
   virtual void setCompositeMomentumInLocal(const ZqGeneralMotion& motion)
   {
      m_compositeMomentumInLocal.get() = motion;
      m_compositeMomentumValid.get() = true;
   }
   virtual bool localDhValid() const { return m_localDhValid; }
   virtual void setLocalDhValid(bool valid) { m_localDhValid = valid; }
   virtual bool systemDhValid() const { return m_systemDhValid; }
   virtual void setSystemDhValid(bool valid) { m_systemDhValid = valid; }
   virtual bool systemPrimaryValid() const { return m_systemPrimaryValid; }
   virtual void setSystemPrimaryValid(bool valid) { m_systemPrimaryValid = valid; }
   virtual bool localComValid() const { return m_localComValid.get(); }
   virtual void setLocalComValid(bool valid) { m_localComValid.get() = valid; }
   virtual bool localMomentumValid() const { return m_localMomentumValid.get(); }
   virtual void setLocalMomentumValid(bool valid) { m_localMomentumValid.get() = valid; }
   virtual bool compositeMomentumValid() const { return m_compositeMomentumValid.get(); }
   virtual void setCompositeMomentumValid(bool valid) { m_compositeMomentumValid.get() = valid; }
   virtual void invalidateAll()
   {
      m_localDhValid = false;
      m_systemDhValid = false;
      m_systemPrimaryValid = false;
      m_localComValid.get() = false;
      m_localMomentumValid.get() = false;
      m_compositeMomentumValid.get() = false;
   }

private:
   bool m_localDhValid = false;
   bool m_systemDhValid = false;
   bool m_systemPrimaryValid = false;
   ZqUncopied<bool> m_localComValid;
   ZqUncopied<bool> m_localMomentumValid;
   ZqUncopied<bool> m_compositeMomentumValid;
   ZqGeneralMotion m_dhFrameVelocityInLocal;
   ZqGeneralMotion m_dhFrameVelocityInSystem;
   ZqGeneralMotion m_primaryFrameVelocityInSystem;
   ZqUncopied<ZqGeneralMotion> m_comVelocityInLocal;
   ZqUncopied<ZqGeneralMotion> m_momentumInLocal;
   ZqUncopied<ZqGeneralMotion> m_compositeMomentumInLocal;
};

extern template class ZqXmlClass<ZqLinkVelocityState>;
