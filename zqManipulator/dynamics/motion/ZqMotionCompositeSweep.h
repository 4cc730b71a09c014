#pragma once

#include "zqManipulator/dynamics/motion/ZqMotionAxes.h"
#include "zqManipulator/dynamics/motion/ZqMotionPack.h"

/// Composite bodies and the mass matrix (Walker, Orin 1982, method 3; Featherstone 2008, section 6.2).
///
/// Bodies are summed in the frames of links, where a joint's axis is z. Motions and forces then stand in
/// the base's axes about its origin, where an element of the mass matrix is one product of six numbers.
namespace zqMotion
{
inline namespace ZQ_MOTION_TARGET
{
/// Adds a subtree's body to that of the parent. With the origin at p, the integral of (p + r)(p + r)^T dm is
/// S + p h^T + h p^T + m p p^T.
template <class Axes, class T>
ZQ_MOTION_INLINE void passBody(const Joint& joint, const Turn<T>& turn, const Composite<T>& body,
                               Composite<T>& inboard)
{
   const Axes axes(joint, turn);
   const Vec3<T> h = axes.toParent(body.h);
   const Sym3<T> S = axes.toParent(body.S);
   const Vec3<T>& p = turn.p;
   const Vec3<T> mp = p * body.m;
   const Vec3<T> g = h + mp * 0.5; // p g^T + g p^T has half of m p p^T in each
   inboard.m = inboard.m + body.m;
   inboard.h += h + mp;
   inboard.S += Sym3<T>{S.xx + 2.0 * (p.x * g.x),       S.yy + 2.0 * (p.y * g.y),
                        S.zz + 2.0 * (p.z * g.z),       S.xy + (p.x * g.y + p.y * g.x),
                        S.xz + (p.x * g.z + p.z * g.x), S.yz + (p.y * g.z + p.z * g.y)};
}

/// Of each link all that lies outboard of its joint taken as one rigid body; `bodies[0]` is the whole.
template <class T>
void composeBodies(const Tree& tree, const Turn<T>* turns, Composite<T>* bodies)
{
   for (int i = 0; i <= tree.count; ++i)
   {
      const Body& body = tree.bodies[i];
      bodies[i] = {Constant<T>::of(body.m), constant<T>(body.h), constant<T>(body.S)};
   }
   for (int i = tree.count; i-- > 0;)
   {
      const Joint& joint = tree.joints[i];
      if (joint.isTwist)
         passBody<TwistAxes<T>>(joint, turns[i], bodies[i + 1], bodies[joint.parent + 1]);
      else
         passBody<GeneralAxes<T>>(joint, turns[i], bodies[i + 1], bodies[joint.parent + 1]);
   }
}

/// Links' axis frames in the base, of which `places[0]` is the base itself.
template <class T>
void placeInBase(const Tree& tree, const Turn<T>* turns, Place<T>* places)
{
   const T one = Constant<T>::of(1.0);
   const T zero = Constant<T>::of(0.0);
   places[0] = {{one, zero, zero, zero, one, zero, zero, zero, one}, zeroVec3<T>()};
   for (int i = 0; i < tree.count; ++i)
   {
      const Joint& joint = tree.joints[i];
      const Place<T>& parent = places[joint.parent + 1];
      const Vec3<T> p = parent.p + parent.R * turns[i].p;
      if (joint.isTwist)
         places[i + 1] = {TwistAxes<T>(joint, turns[i]).appendTo(parent.R), p};
      else
         places[i + 1] = {GeneralAxes<T>(joint, turns[i]).appendTo(parent.R), p};
   }
}

/// The momentum of a body, or the force that gives it this acceleration from rest: m v + omega x h, and
/// I omega + h x v with I = trace(S) E - S.
template <class T>
ZQ_MOTION_INLINE Vec6<T> inertiaTimes(const Composite<T>& body, const Vec6<T>& motion)
{
   const Vec3<T>& omega = motion.angular;
   const T trace = (body.S.xx + body.S.yy) + body.S.zz;
   return {motion.linear * body.m + cross(omega, body.h),
           (omega * trace - body.S * omega) + cross(body.h, motion.linear)};
}

/// A joint's unit motion, and the force that gives it to the link's composite body: about the link's origin,
/// in the axes to which R turns those of the link.
template <class T>
ZQ_MOTION_INLINE void axisAndForce(const Joint& joint, const Composite<T>& body, const Mat3<T>& R,
                                   const Slot<T>* slots, Vec6<T>& axis, Vec6<T>& force)
{
   const Vec3<T> x{R.xx, R.yx, R.zx};
   const Vec3<T> y{R.xy, R.yy, R.zy};
   const Vec3<T> z{R.xz, R.yz, R.zz};
   const Sym3<T>& S = body.S;
   if (joint.kind == JointKind::Revolute) [[likely]]
   {
      axis = {zeroVec3<T>(), z};
      force = {y * body.h.x - x * body.h.y, z * (S.xx + S.yy) - (x * S.xz + y * S.yz)};
   }
   else if (joint.kind == JointKind::Prismatic)
   {
      axis = {z, zeroVec3<T>()};
      force = {z * body.m, x * body.h.y - y * body.h.x};
   }
   else
   {
      const Vec6<T>& s = slots[joint.slot].s;
      const Vec6<T> F = inertiaTimes(body, s);
      axis = {R * s.linear, R * s.angular};
      force = {R * F.linear, R * F.angular};
   }
}

/// Of each joint the unit motion s, and the force F that gives it to all that lies outboard of the joint:
/// component k of joint i stands at [k width + i], linear ones first, about the base's origin and in its
/// axes. The forces are the coupling between joints and base, too.
template <class T>
void computeAxesAndForces(const Tree& tree, const Place<T>* places, const Composite<T>* bodies,
                          const Slot<T>* slots, T* axes, T* forces, std::size_t width)
{
   for (int i = 0; i < tree.count; ++i)
   {
      Vec6<T> s, F;
      axisAndForce(tree.joints[i], bodies[i + 1], places[i + 1].R, slots, s, F);
      // A motion of the link's origin is another one at the base's, and a force has another moment there.
      const Vec3<T>& p = places[i + 1].p;
      const Vec3<T> v = s.linear + cross(p, s.angular);
      const Vec3<T> n = F.angular + cross(p, F.linear);
      const T axis[6] = {v.x, v.y, v.z, s.angular.x, s.angular.y, s.angular.z};
      const T force[6] = {F.linear.x, F.linear.y, F.linear.z, n.x, n.y, n.z};
      T* const axisOfJoint = axes + i;
      T* const forceOfJoint = forces + i;
      for (std::size_t k = 0; k < 6; ++k)
      {
         axisOfJoint[k * width] = axis[k];
         forceOfJoint[k * width] = force[k];
      }
   }
}

/// The inertia of a body from motions to forces, both linear first: 6 x 6, row by row.
template <class T>
ZQ_MOTION_INLINE void writeInertia(const Composite<T>& body, T* inertia)
{
   const T o = Constant<T>::of(0.0);
   const T& m = body.m;
   const Vec3<T>& h = body.h;
   const Sym3<T>& S = body.S;
   const T rows[36] = {m,    o,    o,    o,           h.z,         -h.y,  //
                       o,    m,    o,    -h.z,        o,           h.x,   //
                       o,    o,    m,    h.y,         -h.x,        o,     //
                       o,    -h.z, h.y,  S.yy + S.zz, -S.xy,       -S.xz, //
                       h.z,  o,    -h.x, -S.xy,       S.xx + S.zz, -S.yz, //
                       -h.y, h.x,  o,    -S.xz,       -S.yz,       S.xx + S.yy};
   for (int k = 0; k < 36; ++k)
      inertia[k] = rows[k];
}

/// The mass matrix, both triangles, over the leading rows of an array of so many columns: element [i][j] is
/// the motion of joint i times the force of joint j, where j lies outboard of i. Those of joints on
/// different branches are zero and are left alone. Inertia of drives is not part of it.
void writeMassMatrix(const Tree& tree, const ZqReal* axes, const ZqReal* forces, std::size_t width,
                     ZqReal* M, std::size_t columns);

/// The same for packs, element by element.
template <IsPack P>
void writeMassMatrix(const Tree& tree, const P* axes, const P* forces, std::size_t width, P* M,
                     std::size_t columns)
{
   for (int j = 0; j < tree.count; ++j)
   {
      const P* const F = forces + j;
      for (int i = j; i >= 0; i = tree.joints[i].parent)
      {
         const P* const s = axes + i;
         const P element = (s[0] * F[0] + s[width] * F[width]) +
                           (s[2 * width] * F[2 * width] + s[3 * width] * F[3 * width]) +
                           (s[4 * width] * F[4 * width] + s[5 * width] * F[5 * width]);
         M[static_cast<std::size_t>(i) * columns + j] = element;
         M[static_cast<std::size_t>(j) * columns + i] = element;
      }
   }
}

ZQ_MOTION_SWEEP template void composeBodies(const Tree&, const Turn<ZqReal>*, Composite<ZqReal>*);
ZQ_MOTION_SWEEP template void placeInBase(const Tree&, const Turn<ZqReal>*, Place<ZqReal>*);
ZQ_MOTION_SWEEP template void computeAxesAndForces(const Tree&, const Place<ZqReal>*,
                                                   const Composite<ZqReal>*, const Slot<ZqReal>*,
                                                   ZqReal*, ZqReal*, std::size_t);
} // namespace ZQ_MOTION_TARGET
} // namespace zqMotion
