#pragma once

#include "zqManipulator/foundation/algebra/ZqOrientation.h"
#include "zqManipulator/foundation/algebra/ZqVector.h"

#include <array>
#include <cstddef>
#include <iosfwd>

/// A rotation as a direction cosine matrix; the identity by default. A plain value.
///
/// It is for inner loops that apply one rotation to several vectors: making it from a quaternion
/// costs about as much as one rotation by the quaternion, and applying it half of that.
class ZqRotationMatrix
{
public:
   constexpr ZqRotationMatrix() noexcept : m_elements{1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0}
   {
   }
   /// Row by row.
   constexpr ZqRotationMatrix(ZqReal xx, ZqReal xy, ZqReal xz, ZqReal yx, ZqReal yy, ZqReal yz,
                              ZqReal zx, ZqReal zy, ZqReal zz) noexcept
      : m_elements{xx, xy, xz, yx, yy, yz, zx, zy, zz}
   {
   }
   /// From a unit quaternion.
   constexpr explicit ZqRotationMatrix(const ZqOrientation& q) noexcept
   {
      const ZqReal x2 = q.x() + q.x();
      const ZqReal y2 = q.y() + q.y();
      const ZqReal z2 = q.z() + q.z();
      const ZqReal xx = x2 * q.x();
      const ZqReal yy = y2 * q.y();
      const ZqReal zz = z2 * q.z();
      const ZqReal xy = x2 * q.y();
      const ZqReal xz = x2 * q.z();
      const ZqReal yz = y2 * q.z();
      const ZqReal wx = x2 * q.w();
      const ZqReal wy = y2 * q.w();
      const ZqReal wz = z2 * q.w();
      *this = ZqRotationMatrix(1.0 - (yy + zz), xy - wz, xz + wy, xy + wz, 1.0 - (xx + zz), yz - wx,
                               xz - wy, yz + wx, 1.0 - (xx + yy));
   }
   /// From the images of the axes.
   static constexpr ZqRotationMatrix fromColumns(const ZqVector& x, const ZqVector& y,
                                                 const ZqVector& z) noexcept
   {
      return {x.x(), y.x(), z.x(), x.y(), y.y(), z.y(), x.z(), y.z(), z.z()};
   }

   constexpr const ZqReal& operator()(std::size_t row, std::size_t column) const noexcept
   {
      return m_elements[3 * row + column];
   }
   constexpr ZqReal& operator()(std::size_t row, std::size_t column) noexcept
   {
      return m_elements[3 * row + column];
   }
   constexpr ZqVector row(std::size_t i) const noexcept
   {
      return {m_elements[3 * i], m_elements[3 * i + 1], m_elements[3 * i + 2]};
   }
   constexpr ZqVector column(std::size_t i) const noexcept
   {
      return {m_elements[i], m_elements[3 + i], m_elements[6 + i]};
   }

   constexpr ZqVector operator*(const ZqVector& v) const noexcept
   {
      return {row(0).dot(v), row(1).dot(v), row(2).dot(v)};
   }
   /// The inverse rotation of a vector, without forming the transpose.
   constexpr ZqVector transposeTimes(const ZqVector& v) const noexcept
   {
      return {column(0).dot(v), column(1).dot(v), column(2).dot(v)};
   }
   /// The composition: b is applied first.
   constexpr ZqRotationMatrix operator*(const ZqRotationMatrix& b) const noexcept
   {
      return fromColumns(*this * b.column(0), *this * b.column(1), *this * b.column(2));
   }
   constexpr ZqRotationMatrix transpose() const noexcept
   {
      return fromColumns(row(0), row(1), row(2));
   }
   /// The quaternion of this rotation, of unit length.
   ZqOrientation orientation() const noexcept
   {
      ZqOrientation q;
      q.setFromDcmColumns(column(0), column(1), column(2));
      return q;
   }

   constexpr bool operator==(const ZqRotationMatrix&) const noexcept = default;

   friend std::ostream& operator<<(std::ostream& stream, const ZqRotationMatrix& matrix);

private:
   std::array<ZqReal, 9> m_elements = {};
};
