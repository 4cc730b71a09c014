#pragma once

#include "zqManipulator/dynamics/motion/ZqMotionAxes.h"

/// Where links are. Half angles come as arrays by joint, computed beforehand for all revolute joints at once;
/// for any other kind of joint their numbers are not read.
namespace zqMotion
{
inline namespace ZQ_MOTION_TARGET
{
/// The origin of a link's axis frame in that of its parent (m).
template <class T>
ZQ_MOTION_INLINE Vec3<T> originOf(const Joint& joint, const T& q, const Slot<T>* slots)
{
   if (joint.kind == JointKind::Revolute) [[likely]]
      return constant<T>(joint.p);
   if (joint.kind == JointKind::Prismatic)
      return constant<T>(joint.p) + constant<T>(axisZ(joint.E)) * q;
   return slots[joint.slot].p;
}

/// E R_z(q) with the cosine and sine of q.
template <class T>
ZQ_MOTION_INLINE Mat3<T> turnAboutZ(const Mat3<ZqReal>& E, const T& c, const T& s)
{
   return {c * E.xx + s * E.xy, c * E.xy - s * E.xx, Constant<T>::of(E.xz),
           c * E.yx + s * E.yy, c * E.yy - s * E.yx, Constant<T>::of(E.yz),
           c * E.zx + s * E.zy, c * E.zy - s * E.zx, Constant<T>::of(E.zz)};
}

/// Each link's axis frame in that of its parent, as the other sweeps read it.
template <class T>
void turnJoints(const Tree& tree, const T* q, const T* halfCos, const T* halfSin,
                const Slot<T>* slots, Turn<T>* turns)
{
   for (int i = 0; i < tree.count; ++i)
   {
      const Joint& joint = tree.joints[i];
      Turn<T>& turn = turns[i];
      turn.p = originOf(joint, q[i], slots);
      if (joint.kind == JointKind::Revolute) [[likely]]
      {
         const T c = (halfCos[i] - halfSin[i]) * (halfCos[i] + halfSin[i]);
         const T s = (halfCos[i] + halfCos[i]) * halfSin[i];
         turn.c = c;
         turn.s = s;
         if (!joint.isTwist)
            turn.R = turnAboutZ(joint.E, c, s);
      }
      else
      {
         turn.c = Constant<T>::of(1.0);
         turn.s = Constant<T>::of(0.0);
         if (joint.kind == JointKind::Slot)
            turn.R = slots[joint.slot].R;
         else if (!joint.isTwist)
            turn.R = turnAboutZ(joint.E, turn.c, turn.s);
      }
   }
}

/// The turn of a link's axis frame in that of its parent, of the two signs the one of the half angle.
template <class T>
ZQ_MOTION_INLINE Quat<T> turnAsQuat(const Joint& joint, const T& halfCos, const T& halfSin,
                                    const Slot<T>* slots)
{
   const Quat<ZqReal>& E = joint.EAsQuat;
   if (joint.kind == JointKind::Slot) [[unlikely]]
      return slots[joint.slot].RAsQuat;
   if (joint.kind == JointKind::Prismatic) [[unlikely]]
      return {Constant<T>::of(E.w), Constant<T>::of(E.x), Constant<T>::of(E.y),
              Constant<T>::of(E.z)};
   if (joint.isTwist)
      return {E.w * halfCos, E.x * halfCos, -(E.x * halfSin), E.w * halfSin};
   return {E.w * halfCos - E.z * halfSin, E.x * halfCos + E.y * halfSin,
           E.y * halfCos - E.x * halfSin, E.z * halfCos + E.w * halfSin};
}

/// The axis frame of a link in the frame in which that of its parent is given.
template <class T>
ZQ_MOTION_INLINE void placeLink(const Joint& joint, const Frame<T>& parent, const T& q,
                                const T& halfCos, const T& halfSin, const Slot<T>* slots,
                                Frame<T>& frame)
{
   const Vec3<T> p = originOf(joint, q, slots);
   const Quat<T> turn = turnAsQuat(joint, halfCos, halfSin, slots);
   frame = {parent.p + rotate(parent.q, p), parent.q * turn};
}

/// The axis frames of all links; `frames[0]`, that of the base, is given.
template <class T>
void placeLinks(const Tree& tree, const T* q, const T* halfCos, const T* halfSin,
                const Slot<T>* slots, Frame<T>* frames)
{
   for (int i = 0; i < tree.count; ++i)
   {
      const Joint& joint = tree.joints[i];
      placeLink(joint, frames[joint.parent + 1], q[i], halfCos[i], halfSin[i], slots,
                frames[i + 1]);
   }
}

ZQ_MOTION_SWEEP template void turnJoints(const Tree&, const ZqReal*, const ZqReal*, const ZqReal*,
                                         const Slot<ZqReal>*, Turn<ZqReal>*);
ZQ_MOTION_SWEEP template void placeLinks(const Tree&, const ZqReal*, const ZqReal*, const ZqReal*,
                                         const Slot<ZqReal>*, Frame<ZqReal>*);
} // namespace ZQ_MOTION_TARGET
} // namespace zqMotion
