#pragma once

#include "zqManipulator/dynamics/motion/ZqMotionTree.h"

/// Changes between the axes of a link and those of its parent, R = E R_z(q), in the two forms that a joint
/// can have. Most joints of arms are a twist about x and then a turn about z: that takes half of the
/// products of a general rotation.
namespace zqMotion
{
inline namespace ZQ_MOTION_TARGET
{
/// R = R_x(twist) R_z(angle).
template <class T>
struct TwistAxes
{
   T c, s;
   ZqReal cosTwist, sinTwist;

   ZQ_MOTION_INLINE TwistAxes(const Joint& joint, const Turn<T>& turn)
      : c(turn.c), s(turn.s), cosTwist(joint.cosTwist), sinTwist(joint.sinTwist)
   {
   }
   /// R^T v.
   ZQ_MOTION_INLINE Vec3<T> toChild(const Vec3<T>& v) const
   {
      const T y = cosTwist * v.y + sinTwist * v.z;
      const T z = cosTwist * v.z - sinTwist * v.y;
      return {c * v.x + s * y, c * y - s * v.x, z};
   }
   /// R v.
   ZQ_MOTION_INLINE Vec3<T> toParent(const Vec3<T>& v) const
   {
      const T x = c * v.x - s * v.y;
      const T y = s * v.x + c * v.y;
      return {x, cosTwist * y - sinTwist * v.z, sinTwist * y + cosTwist * v.z};
   }
   /// R S R^T: the trace of each block of two rows and columns that is turned stays as it is.
   ZQ_MOTION_INLINE Sym3<T> toParent(const Sym3<T>& S) const
   {
      const T u = c * S.xx - s * S.xy;
      const T v = c * S.xy - s * S.yy;
      const T xx = c * u - s * v;
      const T xy = s * u + c * v;
      const T yy = (S.xx + S.yy) - xx;
      const T xz = c * S.xz - s * S.yz;
      const T yz = s * S.xz + c * S.yz;
      const T a = cosTwist * yy - sinTwist * yz;
      const T b = cosTwist * yz - sinTwist * S.zz;
      const T turnedYy = cosTwist * a - sinTwist * b;
      return {xx,
              turnedYy,
              (yy + S.zz) - turnedYy,
              cosTwist * xy - sinTwist * xz,
              sinTwist * xy + cosTwist * xz,
              sinTwist * a + cosTwist * b};
   }
   /// R H R^T: R times the columns, then R times the rows.
   ZQ_MOTION_INLINE Mat3<T> toParent(const Mat3<T>& H) const
   {
      const Vec3<T> x = toParent(Vec3<T>{H.xx, H.yx, H.zx});
      const Vec3<T> y = toParent(Vec3<T>{H.xy, H.yy, H.zy});
      const Vec3<T> z = toParent(Vec3<T>{H.xz, H.yz, H.zz});
      const Vec3<T> u = toParent(Vec3<T>{x.x, y.x, z.x});
      const Vec3<T> v = toParent(Vec3<T>{x.y, y.y, z.y});
      const Vec3<T> w = toParent(Vec3<T>{x.z, y.z, z.z});
      return {u.x, u.y, u.z, v.x, v.y, v.z, w.x, w.y, w.z};
   }
   /// Q R, for the axes of the parent in others.
   ZQ_MOTION_INLINE Mat3<T> appendTo(const Mat3<T>& Q) const
   {
      const Vec3<T> u = toChild(Vec3<T>{Q.xx, Q.xy, Q.xz});
      const Vec3<T> v = toChild(Vec3<T>{Q.yx, Q.yy, Q.yz});
      const Vec3<T> w = toChild(Vec3<T>{Q.zx, Q.zy, Q.zz});
      return {u.x, u.y, u.z, v.x, v.y, v.z, w.x, w.y, w.z};
   }
};

/// R as nine numbers.
template <class T>
struct GeneralAxes
{
   const Mat3<T>& R;

   ZQ_MOTION_INLINE GeneralAxes(const Joint&, const Turn<T>& turn) : R(turn.R) {}
   ZQ_MOTION_INLINE Vec3<T> toChild(const Vec3<T>& v) const { return transposeTimes(R, v); }
   ZQ_MOTION_INLINE Vec3<T> toParent(const Vec3<T>& v) const { return R * v; }
   ZQ_MOTION_INLINE Sym3<T> toParent(const Sym3<T>& S) const
   {
      const Vec3<T> u = S * Vec3<T>{R.xx, R.xy, R.xz};
      const Vec3<T> v = S * Vec3<T>{R.yx, R.yy, R.yz};
      const Vec3<T> w = S * Vec3<T>{R.zx, R.zy, R.zz};
      const Vec3<T> y{R.yx, R.yy, R.yz};
      const Vec3<T> z{R.zx, R.zy, R.zz};
      return {
         dot(u, Vec3<T>{R.xx, R.xy, R.xz}), dot(v, y), dot(w, z), dot(u, y), dot(u, z), dot(v, z)};
   }
   ZQ_MOTION_INLINE Mat3<T> toParent(const Mat3<T>& H) const
   {
      const Mat3<T> transposed{R.xx, R.yx, R.zx, R.xy, R.yy, R.zy, R.xz, R.yz, R.zz};
      return (R * H) * transposed;
   }
   ZQ_MOTION_INLINE Mat3<T> appendTo(const Mat3<T>& Q) const { return Q * R; }
};
} // namespace ZQ_MOTION_TARGET
} // namespace zqMotion
