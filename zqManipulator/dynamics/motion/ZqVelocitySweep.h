#pragma once

#include "zqManipulator/dynamics/motion/ZqMotionAxes.h"

/// How links move: from the base outwards, each link's motion from that of its parent and its own joint
/// (Featherstone 2008, eq. 5.14, taken apart into linear and angular).
namespace zqMotion
{
inline namespace ZQ_MOTION_TARGET
{
template <class Axes, class T>
ZQ_MOTION_INLINE void computeVelocity(const Joint& joint, const Turn<T>& turn, const T& qd,
                                      const Slot<T>* slots, const Vec6<T>& inboard,
                                      Vec6<T>& velocity)
{
   const Axes axes(joint, turn);
   Vec6<T> v{axes.toChild(inboard.linear + cross(inboard.angular, turn.p)),
             axes.toChild(inboard.angular)};
   if (joint.kind == JointKind::Revolute) [[likely]]
      v.angular.z += qd;
   else if (joint.kind == JointKind::Prismatic)
      v.linear.z += qd;
   else
      v += slots[joint.slot].v;
   velocity = v;
}

/// Velocities by link, of the origin of the axis frame and angular (m/s, rad/s), in its axes;
/// `velocities[0]`, that of the base, is given. `qd`: joint velocities (rad/s or m/s).
template <class T>
void computeVelocities(const Tree& tree, const Turn<T>* turns, const T* qd, const Slot<T>* slots,
                       Vec6<T>* velocities)
{
   for (int i = 0; i < tree.count; ++i)
   {
      const Joint& joint = tree.joints[i];
      const Vec6<T>& inboard = velocities[joint.parent + 1];
      if (joint.isTwist)
         computeVelocity<TwistAxes<T>>(joint, turns[i], qd[i], slots, inboard, velocities[i + 1]);
      else
         computeVelocity<GeneralAxes<T>>(joint, turns[i], qd[i], slots, inboard, velocities[i + 1]);
   }
}

ZQ_MOTION_SWEEP template void computeVelocities(const Tree&, const Turn<ZqReal>*, const ZqReal*,
                                                const Slot<ZqReal>*, Vec6<ZqReal>*);
} // namespace ZQ_MOTION_TARGET
} // namespace zqMotion
