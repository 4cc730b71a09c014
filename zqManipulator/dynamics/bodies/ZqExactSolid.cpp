#include "zqManipulator/dynamics/bodies/ZqExactSolid.h"

#include "zqManipulator/dynamics/bodies/ZqVolumeIntegrals.h"

#include <cmath>

using zqVolume::Integrals;

ZqExactSolid::ZqExactSolid(const ZqShape* shape)
{
   Integrals whole;
   if (!shape || !zqVolume::addShape(*shape, whole))
      return;
   const zqInertiaKernels::Symmetric& S = whole.spread;
   const ZqReal w = 1.0 / whole.volume;
   const ZqSecondMoment moment((S.yy + S.zz) * w, (S.xx + S.zz) * w, (S.xx + S.yy) * w, -S.xy * w,
                               -S.xz * w, -S.yz * w);
   // No volume, or one that is beyond what numbers hold.
   if (!(whole.volume > 0.0 && std::isfinite(whole.volume) && moment.isValid()))
      return;
   m_volume = whole.volume;
   m_center = whole.center;
   m_specificMoment = moment;
}

ZqRigidBodyMassProperties ZqExactSolid::ofMass(ZqReal mass) const
{
   if (!isSolid())
      return ZqRigidBodyMassProperties::nullObject();
   ZqSecondMoment moment = m_specificMoment;
   moment *= mass;
   return ZqRigidBodyMassProperties(mass, ZqVector(), moment).transformBy(m_center);
}

ZqRigidBodyMassProperties ZqExactSolid::ofDensity(ZqReal density) const
{
   return ofMass(density * m_volume);
}
