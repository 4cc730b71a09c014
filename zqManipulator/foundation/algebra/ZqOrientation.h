#pragma once

#include "zqManipulator/foundation/algebra/ZqVector.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <iosfwd>
#include <limits>

/// A rotation as a unit quaternion (w, x, y, z); the identity by default. A plain value.
///
/// As the orientation of a frame B in a frame A it takes coordinates in B to coordinates in A.
/// Nothing normalises behind the caller's back: products of unit quaternions drift from unit length
/// by rounding alone, and `normalize` brings them back. q and -q are the same rotation; operator==
/// tells them apart, `approxEq` does not.
class ZqOrientation
{
public:
   constexpr ZqOrientation() noexcept : m_components{1.0, 0.0, 0.0, 0.0} {}
   constexpr ZqOrientation(ZqReal w, ZqReal x, ZqReal y, ZqReal z) noexcept
      : m_components{w, x, y, z}
   {
   }

   constexpr ZqReal w() const noexcept { return m_components[0]; }
   constexpr ZqReal x() const noexcept { return m_components[1]; }
   constexpr ZqReal y() const noexcept { return m_components[2]; }
   constexpr ZqReal z() const noexcept { return m_components[3]; }
   /// Component i in the order w, x, y, z.
   constexpr const ZqReal& operator[](std::size_t i) const noexcept { return m_components[i]; }
   constexpr ZqVector vectorPart() const noexcept { return {x(), y(), z()}; }

   constexpr void set(ZqReal w, ZqReal x, ZqReal y, ZqReal z) noexcept
   {
      *this = ZqOrientation(w, x, y, z);
   }
   constexpr void setToIdentity() noexcept { *this = ZqOrientation(); }

   constexpr bool operator==(const ZqOrientation& b) const noexcept
   {
      return w() == b.w() && x() == b.x() && y() == b.y() && z() == b.z();
   }
   /// True for exactly (1, 0, 0, 0) and (-1, 0, 0, 0).
   constexpr bool isIdentity() const noexcept
   {
      return (w() == 1.0 || w() == -1.0) && vectorPart() == ZqVector();
   }
   /// True when some sign of b agrees with this to within the tolerance in each component.
   constexpr bool approxEq(const ZqOrientation& b, ZqReal tolerance) const noexcept
   {
      return componentsWithin(b, tolerance) || componentsWithin(-b, tolerance);
   }

   /// The composition: b is applied first.
   constexpr ZqOrientation operator*(const ZqOrientation& b) const noexcept
   {
      return {w() * b.w() - x() * b.x() - y() * b.y() - z() * b.z(),
              w() * b.x() + x() * b.w() + y() * b.z() - z() * b.y(),
              w() * b.y() - x() * b.z() + y() * b.w() + z() * b.x(),
              w() * b.z() + x() * b.y() - y() * b.x() + z() * b.w()};
   }
   constexpr ZqOrientation& operator*=(const ZqOrientation& b) noexcept
   {
      return *this = *this * b;
   }
   /// The rotated vector: v + 2 w (u x v) + 2 u x (u x v) with u the vector part.
   constexpr ZqVector operator*(const ZqVector& v) const noexcept
   {
      const ZqVector u = vectorPart();
      const ZqVector t = u.cross(v) * 2.0;
      return v + t * w() + u.cross(t);
   }
   constexpr void transform(ZqVector& v) const noexcept { v = *this * v; }

   /// The inverse of a unit quaternion, which is its conjugate: exact, and of the same length.
   constexpr ZqOrientation inverse() const noexcept { return {w(), -x(), -y(), -z()}; }
   /// The same rotation with the other sign.
   constexpr ZqOrientation operator-() const noexcept { return {-w(), -x(), -y(), -z()}; }

   /// The images of the axes: the columns of the direction cosine matrix.
   constexpr ZqVector xAxis() const noexcept
   {
      return {1.0 - 2.0 * (y() * y() + z() * z()), 2.0 * (x() * y() + w() * z()),
              2.0 * (x() * z() - w() * y())};
   }
   constexpr ZqVector yAxis() const noexcept
   {
      return {2.0 * (x() * y() - w() * z()), 1.0 - 2.0 * (x() * x() + z() * z()),
              2.0 * (y() * z() + w() * x())};
   }
   constexpr ZqVector zAxis() const noexcept
   {
      return {2.0 * (x() * z() + w() * y()), 2.0 * (y() * z() - w() * x()),
              1.0 - 2.0 * (x() * x() + y() * y())};
   }

   /// Rotations by an angle in radians about an axis of the frame.
   static ZqOrientation xRotation(ZqReal angle) noexcept;
   static ZqOrientation yRotation(ZqReal angle) noexcept;
   static ZqOrientation zRotation(ZqReal angle) noexcept;

   /// The axis need not be of unit length; a zero axis gives the identity.
   void setFromAngleAxis(ZqReal angle, const ZqVector& axis) noexcept;
   /// The angle in [0, pi] and the unit axis; the identity gives 0 and the z axis.
   void getAngleAxis(ZqReal& angle, ZqVector& axis) const noexcept;

   /// From the columns of a direction cosine matrix, by its largest pivot (Shepperd 1978); the
   /// result is of unit length also when the columns are orthonormal only to within rounding.
   void setFromDcmColumns(const ZqVector& x, const ZqVector& y, const ZqVector& z) noexcept;

   /// Scales to unit length. A zero quaternion becomes the identity, one that is not finite becomes
   /// NaN throughout, and both return false. A quaternion that is of unit length to within rounding
   /// stays as it is, so that a second call changes nothing.
   ZqBoolean normalize() noexcept
   {
      // The rounding of one normalisation leaves the squared norm within 6 epsilon of one.
      constexpr ZqReal unitTolerance = 8.0 * std::numeric_limits<ZqReal>::epsilon();
      const ZqReal squared = (w() * w() + x() * x()) + (y() * y() + z() * z());
      if (std::abs(squared - 1.0) <= unitTolerance)
         return true;
      const bool isZero = *this == ZqOrientation(0.0, 0.0, 0.0, 0.0);
      *this = isZero ? ZqOrientation() : scaledToUnitLength(*this, squared);
      return !isZero && !std::isnan(w());
   }

   /// The rotation by |r| radians about r: the exponential map, accurate down to zero.
   static ZqOrientation exponential(const ZqVector& rotationVector) noexcept;
   /// The rotation vector of length 0 to pi whose exponential is this rotation.
   ZqVector logarithm() const noexcept;

   /// Turns at a constant rate from one orientation (fraction 0) to the other (fraction 1), along
   /// the shorter arc (Shoemake 1985). The result is of unit length.
   static ZqOrientation slerp(const ZqOrientation& from, const ZqOrientation& to,
                              ZqReal fraction) noexcept;

   /// Advances by an angular velocity, constant in the outer frame (rad/s), over dt seconds:
   /// exact for that motion. The result is of unit length.
   void integrateReferenceFrameAngularVelocity(const ZqVector& omega, ZqReal dt) noexcept;

   friend std::ostream& operator<<(std::ostream& stream, const ZqOrientation& orientation);

private:
   /// By value, so that the common case of `normalize` keeps the components in registers.
   static ZqOrientation scaledToUnitLength(ZqOrientation q, ZqReal normSquared) noexcept;
   constexpr bool componentsWithin(const ZqOrientation& b, ZqReal tolerance) const noexcept
   {
      return ZqVector(w() - b.w(), 0.0, 0.0).approxEq(ZqVector(), tolerance) &&
             vectorPart().approxEq(b.vectorPart(), tolerance);
   }

   std::array<ZqReal, 4> m_components;
};
