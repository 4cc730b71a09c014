#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

/// The arithmetic of the sweeps on plain numbers: vectors and matrices of three, for any scalar T that
/// has + - * and can be made from a real number: a number, a pack of numbers (one a state), a dual number.
///
/// Whoever compiles a source for another instruction set defines `ZQ_MOTION_TARGET` as a name of its own,
/// so that no function of one set is taken for that of another: functions stand in a namespace of that name,
/// types do not. For the same reason nothing here is of the standard library.
#ifndef ZQ_MOTION_TARGET
#define ZQ_MOTION_TARGET baseline
#endif
#define ZQ_MOTION_INLINE [[gnu::always_inline]] inline

/// Before the instantiations of a sweep for real numbers, which are compiled once, in ZqMotionSweeps.cpp.
#ifndef ZQ_MOTION_SWEEP
#define ZQ_MOTION_SWEEP extern
#endif

namespace zqMotion
{
template <class T>
struct Vec3
{
   T x, y, z;
};

/// Row by row.
template <class T>
struct Mat3
{
   T xx, xy, xz, yx, yy, yz, zx, zy, zz;
};

template <class T>
struct Sym3
{
   T xx, yy, zz, xy, xz, yz;
};

/// A motion (m/s, rad/s) or acceleration, or a force (N) with its moment (N m).
template <class T>
struct Vec6
{
   Vec3<T> linear, angular;
};

/// w + x i + y j + z k.
template <class T>
struct Quat
{
   T w, x, y, z;
};

inline namespace ZQ_MOTION_TARGET
{
/// A scalar of the kind T from a real number: the same in each state.
template <class T>
struct Constant
{
   ZQ_MOTION_INLINE static T of(ZqReal x) { return T(x); }
};

template <class T>
ZQ_MOTION_INLINE Vec3<T> zeroVec3()
{
   return {Constant<T>::of(0.0), Constant<T>::of(0.0), Constant<T>::of(0.0)};
}
template <class T>
ZQ_MOTION_INLINE Vec3<T> constant(const Vec3<ZqReal>& v)
{
   return {Constant<T>::of(v.x), Constant<T>::of(v.y), Constant<T>::of(v.z)};
}
template <class T>
ZQ_MOTION_INLINE Sym3<T> constant(const Sym3<ZqReal>& S)
{
   return {Constant<T>::of(S.xx), Constant<T>::of(S.yy), Constant<T>::of(S.zz),
           Constant<T>::of(S.xy), Constant<T>::of(S.xz), Constant<T>::of(S.yz)};
}

template <class T>
ZQ_MOTION_INLINE Vec3<T> operator+(const Vec3<T>& a, const Vec3<T>& b)
{
   return {a.x + b.x, a.y + b.y, a.z + b.z};
}
template <class T>
ZQ_MOTION_INLINE Vec3<T> operator-(const Vec3<T>& a, const Vec3<T>& b)
{
   return {a.x - b.x, a.y - b.y, a.z - b.z};
}
template <class T>
ZQ_MOTION_INLINE Vec3<T> operator-(const Vec3<T>& a)
{
   return {-a.x, -a.y, -a.z};
}
template <class T, class S>
ZQ_MOTION_INLINE Vec3<T> operator*(const Vec3<T>& a, const S& s)
{
   return {a.x * s, a.y * s, a.z * s};
}
template <class T>
ZQ_MOTION_INLINE Vec3<T>& operator+=(Vec3<T>& a, const Vec3<T>& b)
{
   a = a + b;
   return a;
}
template <class T>
ZQ_MOTION_INLINE Vec3<T>& operator-=(Vec3<T>& a, const Vec3<T>& b)
{
   a = a - b;
   return a;
}

/// One of the two may be of real numbers where the other is not.
template <class A, class B>
ZQ_MOTION_INLINE auto dot(const Vec3<A>& a, const Vec3<B>& b)
{
   return (a.x * b.x + a.y * b.y) + a.z * b.z;
}
template <class A, class B>
ZQ_MOTION_INLINE auto cross(const Vec3<A>& a, const Vec3<B>& b)
{
   return Vec3<decltype(a.x * b.x)>{a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z,
                                    a.x * b.y - a.y * b.x};
}

template <class T>
ZQ_MOTION_INLINE Vec6<T> operator+(const Vec6<T>& a, const Vec6<T>& b)
{
   return {a.linear + b.linear, a.angular + b.angular};
}
template <class T>
ZQ_MOTION_INLINE Vec6<T>& operator+=(Vec6<T>& a, const Vec6<T>& b)
{
   a = a + b;
   return a;
}
template <class T, class S>
ZQ_MOTION_INLINE Vec6<T> operator*(const Vec6<T>& a, const S& s)
{
   return {a.linear * s, a.angular * s};
}
/// The power of a force on a motion.
template <class T>
ZQ_MOTION_INLINE T dot(const Vec6<T>& a, const Vec6<T>& b)
{
   return dot(a.linear, b.linear) + dot(a.angular, b.angular);
}

template <class A, class B>
ZQ_MOTION_INLINE auto operator*(const Mat3<A>& M, const Vec3<B>& v)
{
   return Vec3<decltype(M.xx * v.x)>{(M.xx * v.x + M.xy * v.y) + M.xz * v.z,
                                     (M.yx * v.x + M.yy * v.y) + M.yz * v.z,
                                     (M.zx * v.x + M.zy * v.y) + M.zz * v.z};
}
template <class A, class B>
ZQ_MOTION_INLINE auto transposeTimes(const Mat3<A>& M, const Vec3<B>& v)
{
   return Vec3<decltype(M.xx * v.x)>{(M.xx * v.x + M.yx * v.y) + M.zx * v.z,
                                     (M.xy * v.x + M.yy * v.y) + M.zy * v.z,
                                     (M.xz * v.x + M.yz * v.y) + M.zz * v.z};
}
template <class A, class B>
ZQ_MOTION_INLINE auto operator*(const Sym3<A>& S, const Vec3<B>& v)
{
   return Vec3<decltype(S.xx * v.x)>{(S.xx * v.x + S.xy * v.y) + S.xz * v.z,
                                     (S.xy * v.x + S.yy * v.y) + S.yz * v.z,
                                     (S.xz * v.x + S.yz * v.y) + S.zz * v.z};
}
template <class A, class B>
ZQ_MOTION_INLINE auto operator*(const Mat3<A>& M, const Mat3<B>& N)
{
   using T = decltype(M.xx * N.xx);
   const Vec3<T> x = M * Vec3<B>{N.xx, N.yx, N.zx};
   const Vec3<T> y = M * Vec3<B>{N.xy, N.yy, N.zy};
   const Vec3<T> z = M * Vec3<B>{N.xz, N.yz, N.zz};
   return Mat3<T>{x.x, y.x, z.x, x.y, y.y, z.y, x.z, y.z, z.z};
}
template <class T>
ZQ_MOTION_INLINE Mat3<T>& operator+=(Mat3<T>& a, const Mat3<T>& b)
{
   a = {a.xx + b.xx, a.xy + b.xy, a.xz + b.xz, a.yx + b.yx, a.yy + b.yy,
        a.yz + b.yz, a.zx + b.zx, a.zy + b.zy, a.zz + b.zz};
   return a;
}
template <class T>
ZQ_MOTION_INLINE Sym3<T>& operator+=(Sym3<T>& a, const Sym3<T>& b)
{
   a = {a.xx + b.xx, a.yy + b.yy, a.zz + b.zz, a.xy + b.xy, a.xz + b.xz, a.yz + b.yz};
   return a;
}

/// The third column of a rotation: the axis of a joint in the axes of its parent.
template <class T>
ZQ_MOTION_INLINE Vec3<T> axisZ(const Mat3<T>& R)
{
   return {R.xz, R.yz, R.zz};
}
/// A vector turned by a unit quaternion: v + 2 (w r x v + r x (r x v)).
template <class T>
ZQ_MOTION_INLINE Vec3<T> rotate(const Quat<T>& q, const Vec3<T>& v)
{
   const Vec3<T> r{q.x, q.y, q.z};
   const Vec3<T> t = cross(r, v);
   return v + (t * q.w + cross(r, t)) * 2.0;
}
/// v turned back: by the conjugate.
template <class T>
ZQ_MOTION_INLINE Vec3<T> rotateBack(const Quat<T>& q, const Vec3<T>& v)
{
   return rotate(Quat<T>{q.w, -q.x, -q.y, -q.z}, v);
}
template <class A, class B>
ZQ_MOTION_INLINE auto operator*(const Quat<A>& p, const Quat<B>& q)
{
   return Quat<decltype(p.w * q.w)>{(p.w * q.w - p.x * q.x) - (p.y * q.y + p.z * q.z),
                                    (p.w * q.x + p.x * q.w) + (p.y * q.z - p.z * q.y),
                                    (p.w * q.y + p.y * q.w) + (p.z * q.x - p.x * q.z),
                                    (p.w * q.z + p.z * q.w) + (p.x * q.y - p.y * q.x)};
}
} // namespace ZQ_MOTION_TARGET
} // namespace zqMotion
