#pragma once

#include "zqManipulator/dynamics/motion/ZqMotionAxes.h"

/// The torques of a motion: accelerations outwards, forces inwards (Luh, Walker, Paul 1980).
///
/// Gravity is no force here: a base that accelerates upwards by g has the same torques.
namespace zqMotion
{
inline namespace ZQ_MOTION_TARGET
{
/// [alpha]x + [omega]x [omega]x, where [omega]x [omega]x = omega omega^T - |omega|^2 E. A point r of the
/// body accelerates by a + A r, and so does the origin of every child.
template <class T>
ZQ_MOTION_INLINE Mat3<T> accelerationTensor(const Vec3<T>& omega, const Vec3<T>& alpha)
{
   const T xx = omega.x * omega.x, yy = omega.y * omega.y, zz = omega.z * omega.z;
   const T xy = omega.x * omega.y, xz = omega.x * omega.z, yz = omega.y * omega.z;
   return {-(yy + zz),   xy - alpha.z, xz + alpha.y, xy + alpha.z, -(xx + zz),
           yz - alpha.x, xz - alpha.y, yz + alpha.x, -(xx + yy)};
}

template <class Axes, class T>
ZQ_MOTION_INLINE void computeMotion(const Joint& joint, const Turn<T>& turn, const T& qd,
                                    const T* qdd, const Slot<T>* slots,
                                    const LinkMotion<T>& inboard, LinkMotion<T>& motion)
{
   const Axes axes(joint, turn);
   Vec3<T> omega = axes.toChild(inboard.omega);
   Vec3<T> alpha = axes.toChild(inboard.alpha);
   Vec3<T> a = axes.toChild(inboard.a + inboard.A * turn.p);
   if (joint.kind == JointKind::Revolute) [[likely]]
   {
      // omega x z qd is the change of the joint's velocity with the inboard frame.
      alpha.x += omega.y * qd;
      alpha.y -= omega.x * qd;
      omega.z += qd;
      if (qdd)
         alpha.z += *qdd;
   }
   else if (joint.kind == JointKind::Prismatic)
   {
      a.x += 2.0 * (omega.y * qd);
      a.y -= 2.0 * (omega.x * qd);
      if (qdd)
         a.z += *qdd;
   }
   else
   {
      const Slot<T>& slot = slots[joint.slot];
      const Vec6<T>& added = qdd ? slot.a : slot.bias;
      a += added.linear + cross(omega, slot.v.linear) * 2.0;
      alpha += added.angular + cross(omega, slot.v.angular);
      omega += slot.v.angular;
   }
   motion = {omega, alpha, a, accelerationTensor(omega, alpha)};
}

/// Accelerations by link, with velocities; of `motions[0]`, the base, all but A is given, and gravity is
/// an upward part of its a. `qd`, `qdd`: velocities and accelerations of joints (rad/s, rad/s^2 or m/s,
/// m/s^2); no `qdd` stands for zeros.
template <class T>
void computeMotions(const Tree& tree, const Turn<T>* turns, const T* qd, const T* qdd,
                    const Slot<T>* slots, LinkMotion<T>* motions)
{
   motions[0].A = accelerationTensor(motions[0].omega, motions[0].alpha);
   for (int i = 0; i < tree.count; ++i)
   {
      const Joint& joint = tree.joints[i];
      const LinkMotion<T>& inboard = motions[joint.parent + 1];
      const T* const acceleration = qdd ? qdd + i : nullptr;
      if (joint.isTwist)
         computeMotion<TwistAxes<T>>(joint, turns[i], qd[i], acceleration, slots, inboard,
                                     motions[i + 1]);
      else
         computeMotion<GeneralAxes<T>>(joint, turns[i], qd[i], acceleration, slots, inboard,
                                       motions[i + 1]);
   }
}

/// The force that moves a body so: f = m a + A h, and the moment of all (a + A r) dm about the origin,
/// which is h x a and twice the axial vector of A S.
template <class T>
ZQ_MOTION_INLINE LinkForce<T> bodyForce(const Body& body, const LinkMotion<T>& motion)
{
   const Mat3<T>& A = motion.A;
   const Vec3<T> x = body.S * Vec3<T>{A.xx, A.xy, A.xz};
   const Vec3<T> y = body.S * Vec3<T>{A.yx, A.yy, A.yz};
   const Vec3<T> z = body.S * Vec3<T>{A.zx, A.zy, A.zz};
   return {motion.a * body.m + A * body.h,
           Vec3<T>{z.y - y.z, x.z - z.x, y.x - x.y} + cross(body.h, motion.a)};
}

/// The force that each body takes, and the base. `bodies` are those of the tree, or others by link.
template <class T>
void computeBodyForces(const Tree& tree, const Body* bodies, const LinkMotion<T>* motions,
                       LinkForce<T>* forces)
{
   for (int i = 0; i <= tree.count; ++i)
      forces[i] = bodyForce(bodies[i], motions[i]);
}

/// The part of a force along a joint: s . (f, n) (N m or N).
template <class T>
ZQ_MOTION_INLINE T forceAlong(const Joint& joint, const LinkForce<T>& force, const Slot<T>* slots)
{
   if (joint.kind == JointKind::Revolute) [[likely]]
      return force.n.z;
   if (joint.kind == JointKind::Prismatic)
      return force.f.z;
   const Vec6<T>& s = slots[joint.slot].s;
   return dot(s.linear, force.f) + dot(s.angular, force.n);
}

/// Adds a link's force to that of its parent, in the parent's axes and about its origin.
template <class Axes, class T>
ZQ_MOTION_INLINE void passForce(const Joint& joint, const Turn<T>& turn, const LinkForce<T>& force,
                                LinkForce<T>& inboard)
{
   const Axes axes(joint, turn);
   const Vec3<T> f = axes.toParent(force.f);
   inboard.f += f;
   inboard.n += axes.toParent(force.n) + cross(turn.p, f);
}

/// Sums forces of bodies inwards, in place: each link's then is what its joint carries, and `forces[0]` what
/// holds the base. `torques`: its part along each joint, without inertia of drives (N m or N).
template <class T>
void gatherForces(const Tree& tree, const Turn<T>* turns, const Slot<T>* slots,
                  LinkForce<T>* forces, T* torques)
{
   for (int i = tree.count; i-- > 0;)
   {
      const Joint& joint = tree.joints[i];
      const LinkForce<T>& force = forces[i + 1];
      torques[i] = forceAlong(joint, force, slots);
      if (joint.isTwist)
         passForce<TwistAxes<T>>(joint, turns[i], force, forces[joint.parent + 1]);
      else
         passForce<GeneralAxes<T>>(joint, turns[i], force, forces[joint.parent + 1]);
   }
}

ZQ_MOTION_SWEEP template void computeMotions(const Tree&, const Turn<ZqReal>*, const ZqReal*,
                                             const ZqReal*, const Slot<ZqReal>*,
                                             LinkMotion<ZqReal>*);
ZQ_MOTION_SWEEP template void computeBodyForces(const Tree&, const Body*, const LinkMotion<ZqReal>*,
                                                LinkForce<ZqReal>*);
ZQ_MOTION_SWEEP template void gatherForces(const Tree&, const Turn<ZqReal>*, const Slot<ZqReal>*,
                                           LinkForce<ZqReal>*, ZqReal*);
} // namespace ZQ_MOTION_TARGET
} // namespace zqMotion
