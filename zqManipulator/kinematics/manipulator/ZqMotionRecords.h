#pragma once

#include "zqManipulator/dynamics/motion/ZqMotionTree.h"
#include "zqManipulator/state/ZqLinkPositionState.h"

class ZqArticulatedBodyDynamics;
class ZqGeneralForce;
class ZqGeneralMotion;
class ZqRigidBodyMassProperties;

// From the numbers of the sweeps, which stand in the axis frame of a link, to the records of the link, which
// stand in its DH frame. Where a joint may be null, the base is meant.
namespace zqMotion
{
inline ZqVector vectorOf(const Vec3<ZqReal>& v) noexcept
{
   return {v.x, v.y, v.z};
}

inline void takeFrame(const Frame<ZqReal>& frame, const Joint& joint,
                      const ZqCoordinateSystemTransformation& primaryFrame, bool primaryFrameIsNext,
                      ZqLinkPositionState& record) noexcept
{
   ZqVector origin = vectorOf(frame.p);
   ZqOrientation axes(frame.q.w, frame.q.x, frame.q.y, frame.q.z);
   if (joint.hasDhOffset)
   {
      const auto& [w, x, y, z] = joint.BAsQuat;
      origin = origin + axes * vectorOf(joint.pB);
      axes = axes * ZqOrientation(w, x, y, z);
   }
   record.setLocation(origin, axes, primaryFrame, primaryFrameIsNext);
}
ZqGeneralMotion velocityOfDhFrame(const Joint& joint, const Vec6<ZqReal>& velocity) noexcept;
ZqGeneralMotion accelerationOfDhFrame(const Joint& joint,
                                      const LinkMotion<ZqReal>& motion) noexcept;
/// What torques add.
ZqGeneralMotion addedAccelerationOfDhFrame(const Joint& joint,
                                           const Articulated<ZqReal>& body) noexcept;
ZqGeneralForce forceAtDhFrame(const Joint& joint, const LinkForce<ZqReal>& force) noexcept;
void takeMasses(const Composite<ZqReal>& body, const Joint* joint,
                ZqRigidBodyMassProperties& result);
void takeArticulatedBody(const Articulated<ZqReal>& body, const LinkForce<ZqReal>& bias,
                         const Joint* joint, bool isRigid, ZqArticulatedBodyDynamics& result);
/// The acceleration that a force gives to a free base.
ZqGeneralMotion accelerationOfBase(const Articulated<ZqReal>& body, const LinkForce<ZqReal>& bias,
                                   const ZqGeneralForce& force) noexcept;
} // namespace zqMotion
