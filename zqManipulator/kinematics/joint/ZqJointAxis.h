#pragma once

#include "zqManipulator/dynamics/motion/ZqMotionTree.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"

class ZqLinkKinematicsContainer;
class ZqGeneralMotion;

/// Where the axis of a joint stands. The axis frame of a link has the joint's axis as z; the link's DH
/// frame is fixed in it.
struct ZqJointAxis
{
   zqMotion::JointKind kind = zqMotion::JointKind::Slot;
   ZqCoordinateSystemTransformation inInboard; ///< the axis frame at joint position 0
   ZqCoordinateSystemTransformation
      dhFrame; ///< in the axis frame; the identity but for Paul's types
   bool hasDhOffset = false;

   /// A joint that is not exactly one of the library's, and known to its last enumeration, is a slot.
   static ZqJointAxis of(const ZqLinkKinematicsContainer& joint);
};

/// The arithmetic of the sweeps for the library's own types.
namespace zqMotion
{
Vec3<ZqReal> plain(const ZqVector& v) noexcept;
Quat<ZqReal> plain(const ZqOrientation& q) noexcept;
Mat3<ZqReal> matrixOf(const ZqOrientation& q) noexcept;
Vec6<ZqReal> plain(const ZqGeneralMotion& motion) noexcept;
/// The DH frame of a link in its axis frame.
ZqCoordinateSystemTransformation dhFrameOf(const Joint& joint) noexcept;

/// \name What a joint of the kind `Slot` does, by its virtual functions
/// @{
/// The transformation and the unit motion. The parent is null for the base.
void place(const ZqLinkKinematicsContainer& joint, const Joint* parent, ZqReal q,
           Slot<ZqReal>& slot);
/// The velocity that it adds.
void move(const ZqLinkKinematicsContainer& joint, ZqReal q, ZqReal qd, Slot<ZqReal>& slot);
/// The accelerations that it adds, in a slot that has been placed.
void accelerate(const ZqLinkKinematicsContainer& joint, ZqReal q, ZqReal qd, ZqReal qdd,
                Slot<ZqReal>& slot);
/// @}
} // namespace zqMotion
