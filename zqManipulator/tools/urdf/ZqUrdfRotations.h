#pragma once

#include "zqManipulator/foundation/algebra/ZqOrientation.h"

/// Rotations as documents in URDF tell them, for reader and writer alike.
namespace ZqUrdf
{
/// Of roll about x, then pitch about y, then yaw about z of the frame that stays (rad).
ZqOrientation orientationOf(const ZqVector& rollPitchYaw) noexcept;
/// The angles of a rotation: roll and yaw of -pi to pi, pitch of -pi/2 to pi/2. They are as exact as the rotation
/// also in and next to the lock of the gimbals, where roll and yaw turn about one axis: yaw is then rounded to
/// what is known of it, and roll is taken from the rotation that yaw leaves.
///
/// Of several angles that are as good, decimal numbers of few places come first, and those of which
/// `orientationOf` makes the same orientation to the bit.
ZqVector anglesOf(const ZqOrientation& orientation) noexcept;

/// Of length 1; zero for zero.
ZqVector unitAxis(const ZqVector& v) noexcept;
/// A rotation, the least one, that takes z to a unit vector; from beyond a right angle it is the least one from
/// -z after half a turn about x.
ZqOrientation rotationTo(const ZqVector& axis) noexcept;
} // namespace ZqUrdf
