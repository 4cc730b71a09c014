#include "zqManipulator/tools/urdf/ZqRollPitchYaw.h"

#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"
#include "zqManipulator/tools/urdf/ZqPreimage.h"

#include <cmath>

namespace
{
/// Yaw and pitch from the image of x, and roll from the rotation that is left when yaw is undone. Next to the lock
/// yaw is known the less the less level x is; it is rounded to what is known of it.
ZqVector roundedAngles(ZqOrientation q) noexcept
{
   constexpr ZqReal nearLock = 0.5;
   q.normalize();
   const ZqRotationMatrix R(q);
   const ZqVector x = R.column(0);
   const ZqReal level = std::hypot(x.x(), x.y());
   const ZqReal pitch = std::atan2(-x.z(), level);
   ZqReal yaw = std::atan2(x.y(), x.x());
   if (level < nearLock)
   {
      const ZqReal step = level > 1e-15 ? std::ldexp(1.0, -50 - std::ilogb(level)) : 8.0;
      yaw = std::round(yaw / step) * step;
   }
   // The second row of Rz(-yaw) R = Ry(pitch) Rx(roll).
   const ZqMath::CosineSine turn = ZqMath::cosineSine(yaw);
   const ZqVector y = R.row(1) * turn.cosine - R.row(0) * turn.sine;
   return {std::atan2(-y.z(), y.y()), pitch, yaw};
}
} // namespace

ZqOrientation ZqRollPitchYaw::orientation(const ZqVector& angles) noexcept
{
   return ZqOrientation::zRotation(angles.z()) * ZqOrientation::yRotation(angles.y()) *
          ZqOrientation::xRotation(angles.x());
}

ZqVector ZqRollPitchYaw::angles(const ZqOrientation& orientation) noexcept
{
   return zqUrdf::preimage(orientation, roundedAngles, ZqRollPitchYaw::orientation, 1.0);
}
