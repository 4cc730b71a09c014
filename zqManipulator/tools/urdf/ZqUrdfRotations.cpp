#include "zqManipulator/tools/urdf/ZqUrdfRotations.h"

#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"
#include "zqManipulator/tools/urdf/ZqUrdfPreimage.h"

#include <algorithm>
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

ZqOrientation ZqUrdf::orientationOf(const ZqVector& rollPitchYaw) noexcept
{
   return ZqOrientation::zRotation(rollPitchYaw.z()) * ZqOrientation::yRotation(rollPitchYaw.y()) *
          ZqOrientation::xRotation(rollPitchYaw.x());
}

ZqVector ZqUrdf::anglesOf(const ZqOrientation& orientation) noexcept
{
   if (orientation.isIdentity())
      return {};
   return preimage(orientation, roundedAngles, orientationOf, 1.0, Unit::Angle);
}

ZqVector ZqUrdf::unitAxis(const ZqVector& v) noexcept
{
   const ZqReal largest = std::max({std::abs(v.x()), std::abs(v.y()), std::abs(v.z())});
   if (largest == 0.0)
      return {};
   // Not by the reciprocal, which of the smallest numbers is infinite.
   const ZqVector scaled(v.x() / largest, v.y() / largest, v.z() / largest);
   return scaled * (1.0 / scaled.mag());
}

ZqOrientation ZqUrdf::rotationTo(const ZqVector& axis) noexcept
{
   const bool isBelow = axis.z() < 0.0;
   const ZqReal sign = isBelow ? -1.0 : 1.0;
   ZqOrientation rotation(1.0 + sign * axis.z(), -sign * axis.y(), sign * axis.x(), 0.0);
   rotation.normalize();
   return isBelow ? rotation * ZqOrientation(0.0, 1.0, 0.0, 0.0) : rotation;
}
