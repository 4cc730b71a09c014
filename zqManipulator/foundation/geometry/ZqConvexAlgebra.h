#pragma once

#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"

#include <algorithm>
#include <cmath>

/// What the algorithms on convex sets compute with: vectors that are left as they are when made, so that
/// arrays of points cost nothing to declare (setting them to zero took 10 to 35 % of a query), matrices by
/// columns, and rigid motions.
namespace zqConvex
{
struct Vec3
{
   ZqReal x, y, z;

   ZqReal operator[](int i) const noexcept { return i == 0 ? x : i == 1 ? y : z; }
   ZqReal& operator[](int i) noexcept { return i == 0 ? x : i == 1 ? y : z; }
};

inline Vec3 vec3(const ZqVector& v) noexcept
{
   return {v.x(), v.y(), v.z()};
}
inline ZqVector vector(const Vec3& v) noexcept
{
   return {v.x, v.y, v.z};
}
inline Vec3 operator+(const Vec3& a, const Vec3& b) noexcept
{
   return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline Vec3 operator-(const Vec3& a, const Vec3& b) noexcept
{
   return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline Vec3 operator-(const Vec3& a) noexcept
{
   return {-a.x, -a.y, -a.z};
}
inline Vec3 operator*(const Vec3& a, ZqReal s) noexcept
{
   return {a.x * s, a.y * s, a.z * s};
}
inline Vec3& operator+=(Vec3& a, const Vec3& b) noexcept
{
   return a = a + b;
}
inline bool operator==(const Vec3& a, const Vec3& b) noexcept
{
   return a.x == b.x && a.y == b.y && a.z == b.z;
}
inline ZqReal dot(const Vec3& a, const Vec3& b) noexcept
{
   return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline Vec3 cross(const Vec3& a, const Vec3& b) noexcept
{
   return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline ZqReal norm2(const Vec3& a) noexcept
{
   return dot(a, a);
}
inline ZqReal norm(const Vec3& a) noexcept
{
   return std::sqrt(norm2(a));
}
/// The magnitude of the largest component.
inline ZqReal largest(const Vec3& a) noexcept
{
   return std::max({std::abs(a.x), std::abs(a.y), std::abs(a.z)});
}
/// The vector of length 1 in this direction, also where squares would overflow or underflow; x for zero.
inline Vec3 unit(const Vec3& a) noexcept
{
   const ZqReal squared = norm2(a);
   if (squared > 1e-200 && squared < 1e200)
      return a * (1.0 / std::sqrt(squared));
   const ZqReal most = largest(a);
   if (!(most > 0.0))
      return {1.0, 0.0, 0.0};
   const Vec3 b{a.x / most, a.y / most, a.z / most};
   return b * (1.0 / norm(b));
}
/// Some unit vector perpendicular to a unit vector.
inline Vec3 perpendicular(const Vec3& n) noexcept
{
   const Vec3 e = std::abs(n.x) < 0.6 ? Vec3{1.0, 0.0, 0.0} : Vec3{0.0, 1.0, 0.0};
   return unit(cross(n, e));
}

/// By columns: the images of the axes.
struct Mat3
{
   Vec3 c0{1.0, 0.0, 0.0}, c1{0.0, 1.0, 0.0}, c2{0.0, 0.0, 1.0};

   const Vec3& column(int i) const noexcept { return i == 0 ? c0 : i == 1 ? c1 : c2; }
   Vec3 row(int i) const noexcept { return {c0[i], c1[i], c2[i]}; }
};
inline Vec3 operator*(const Mat3& R, const Vec3& v) noexcept
{
   return R.c0 * v.x + R.c1 * v.y + R.c2 * v.z;
}
/// The transpose times the vector.
inline Vec3 turnBack(const Mat3& R, const Vec3& v) noexcept
{
   return {dot(R.c0, v), dot(R.c1, v), dot(R.c2, v)};
}
inline Mat3 operator*(const Mat3& R, const Mat3& S) noexcept
{
   return {R * S.c0, R * S.c1, R * S.c2};
}
/// A right-handed frame whose z is the unit vector.
inline Mat3 frameAbout(const Vec3& z) noexcept
{
   const Vec3 x = perpendicular(z);
   return {x, cross(z, x), z};
}

/// Maps p to R p + t.
struct Pose
{
   Mat3 R;
   Vec3 t{0.0, 0.0, 0.0};
};
inline Vec3 operator*(const Pose& X, const Vec3& p) noexcept
{
   return X.R * p + X.t;
}
inline Vec3 inverseTimes(const Pose& X, const Vec3& p) noexcept
{
   return turnBack(X.R, p - X.t);
}
inline Pose operator*(const Pose& X, const Pose& Y) noexcept
{
   return {X.R * Y.R, X.R * Y.t + X.t};
}
/// The inverse of X, times Y.
inline Pose inverseTimes(const Pose& X, const Pose& Y) noexcept
{
   return {{turnBack(X.R, Y.R.c0), turnBack(X.R, Y.R.c1), turnBack(X.R, Y.R.c2)},
           turnBack(X.R, Y.t - X.t)};
}
inline Pose inverse(const Pose& X) noexcept
{
   return {{X.R.row(0), X.R.row(1), X.R.row(2)}, -turnBack(X.R, X.t)};
}
inline Pose pose(const ZqCoordinateSystemTransformation& X) noexcept
{
   const ZqRotationMatrix R(X.orientation());
   return {{vec3(R.column(0)), vec3(R.column(1)), vec3(R.column(2))}, vec3(X.translation())};
}
} // namespace zqConvex
