#pragma once

#include "zqManipulator/foundation/algebra/ZqOrientation.h"

/// Rotations as URDF tells them: by roll about x, then pitch about y, then yaw about z of the frame that stays
/// (rad), R = Rz(yaw) Ry(pitch) Rx(roll).
namespace ZqRollPitchYaw
{
ZqOrientation orientation(const ZqVector& angles) noexcept;

/// The angles of a rotation, which a quaternion of any length but zero tells: roll and yaw of -pi to pi, pitch of
/// -pi/2 to pi/2. They are as exact as the rotation also in and about the lock of the gimbals, where roll and yaw
/// turn about one axis: yaw is then what it is, and roll is taken from what yaw has left.
///
/// Angles that come from `orientation` of some angles give the same orientation again to the bit, and the same
/// angles whenever they are asked for: repeated changes between the two forms do not drift.
ZqVector angles(const ZqOrientation& orientation) noexcept;
} // namespace ZqRollPitchYaw
