#pragma once

#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"
#include "zqManipulator/foundation/algebra/ZqVector.h"

#include <array>
#include <cstddef>
#include <iosfwd>

/// A 3 x 3 matrix of three rows, a block of a spatial inertia; the zero matrix by default.
///
/// The accessors, products and sums are inline and do not go through the virtual table.
class ZqSpatialMatrix
{
public:
   ZqSpatialMatrix() noexcept = default;
   /// Row by row.
   ZqSpatialMatrix(ZqReal xx, ZqReal xy, ZqReal xz, ZqReal yx, ZqReal yy, ZqReal yz, ZqReal zx,
                   ZqReal zy, ZqReal zz) noexcept
      : m_rows{ZqVector(xx, xy, xz), ZqVector(yx, yy, yz), ZqVector(zx, zy, zz)}
   {
   }
   ZqSpatialMatrix(const ZqVector& row0, const ZqVector& row1, const ZqVector& row2) noexcept
      : m_rows{row0, row1, row2}
   {
   }
   ZqSpatialMatrix(const ZqSpatialMatrix&) noexcept = default;
   ZqSpatialMatrix& operator=(const ZqSpatialMatrix&) noexcept = default;
   virtual ~ZqSpatialMatrix() = default;

   /// Shared constants: the zero matrix and the unit matrix.
   static const ZqSpatialMatrix& nullObject();
   static const ZqSpatialMatrix& identity();
   /// The matrix that multiplies u to v x u.
   static ZqSpatialMatrix crossProductMatrix(const ZqVector& v) noexcept
   {
      return {0.0, -v.z(), v.y(), v.z(), 0.0, -v.x(), -v.y(), v.x(), 0.0};
   }

   ZqVector& operator[](std::size_t row) noexcept { return m_rows[row]; }
   const ZqVector& operator[](std::size_t row) const noexcept { return m_rows[row]; }
   ZqVector column(std::size_t i) const noexcept
   {
      return {m_rows[0][i], m_rows[1][i], m_rows[2][i]};
   }

   ZqSpatialMatrix operator+(const ZqSpatialMatrix& b) const noexcept
   {
      return {m_rows[0] + b[0], m_rows[1] + b[1], m_rows[2] + b[2]};
   }
   ZqSpatialMatrix operator-(const ZqSpatialMatrix& b) const noexcept
   {
      return {m_rows[0] - b[0], m_rows[1] - b[1], m_rows[2] - b[2]};
   }
   ZqSpatialMatrix operator-() const noexcept { return {-m_rows[0], -m_rows[1], -m_rows[2]}; }
   ZqSpatialMatrix& operator+=(const ZqSpatialMatrix& b) noexcept { return *this = *this + b; }
   ZqSpatialMatrix& operator-=(const ZqSpatialMatrix& b) noexcept { return *this = *this - b; }
   ZqSpatialMatrix operator*(const ZqSpatialMatrix& b) const noexcept
   {
      return {b.rowTimes(m_rows[0]), b.rowTimes(m_rows[1]), b.rowTimes(m_rows[2])};
   }
   ZqVector operator*(const ZqVector& v) const noexcept
   {
      return {m_rows[0].dot(v), m_rows[1].dot(v), m_rows[2].dot(v)};
   }
   ZqSpatialMatrix operator*(ZqReal s) const noexcept
   {
      return {m_rows[0] * s, m_rows[1] * s, m_rows[2] * s};
   }
   ZqSpatialMatrix& operator*=(ZqReal s) noexcept { return *this = *this * s; }
   bool operator==(const ZqSpatialMatrix& b) const noexcept
   {
      return m_rows[0] == b[0] && m_rows[1] == b[1] && m_rows[2] == b[2];
   }
   /// True when no element differs by more than the tolerance.
   bool approxEq(const ZqSpatialMatrix& b, ZqReal tolerance) const noexcept
   {
      return m_rows[0].approxEq(b[0], tolerance) && m_rows[1].approxEq(b[1], tolerance) &&
             m_rows[2].approxEq(b[2], tolerance);
   }

   /// The transposed matrix times a vector.
   ZqVector transposeTimes(const ZqVector& v) const noexcept { return rowTimes(v); }
   /// R M R^T: this matrix, given in a frame that R takes to the outer frame, in the outer frame.
   ZqSpatialMatrix rotated(const ZqRotationMatrix& R) const noexcept;
   ZqSpatialMatrix rotated(const ZqOrientation& orientation) const noexcept
   {
      return rotated(ZqRotationMatrix(orientation));
   }

   ZqReal determinant() const noexcept { return m_rows[0].dot(m_rows[1].cross(m_rows[2])); }
   /// The inverse by cofactors. A matrix that is singular or not finite returns false and gives the
   /// zero matrix. The result may be this matrix itself.
   ZqBoolean invert(ZqSpatialMatrix& result) const noexcept;
   /// The inverse; the zero matrix when there is none.
   ZqSpatialMatrix inverse() const noexcept;

   virtual const ZqVector& row0() const { return m_rows[0]; }
   virtual const ZqVector& row1() const { return m_rows[1]; }
   virtual const ZqVector& row2() const { return m_rows[2]; }
   /// The transposed matrix, as a new value.
   virtual ZqSpatialMatrix transpose() const;
   /// Becomes the rotation matrix of an orientation.
   virtual void setToDcm(const ZqOrientation& orientation);
   virtual void setToCrossProductMatrix(const ZqVector& v);
   /// Becomes M [v x] and [v x] M, where M is the old value.
   virtual void multiplyOnRightByCrossProductMatrix(const ZqVector& v);
   virtual void multiplyOnLeftByCrossProductMatrix(const ZqVector& v);
   /// The lower factor L of M = L L^T; the elements above the diagonal of M are not read.
   ///
   /// False when M is not positive definite: pivot j does not exceed 10 j epsilon M[j][j], where it
   /// is nothing but rounding. The column of such a pivot is then zero (NaN where the pivot is), and
   /// the other columns are those of the matrix without it. The result may be this matrix itself.
   virtual ZqBoolean choleskyDecomposition(ZqSpatialMatrix& result) const;

   friend std::ostream& operator<<(std::ostream& stream, const ZqSpatialMatrix& matrix);

private:
   /// The row v^T M.
   ZqVector rowTimes(const ZqVector& v) const noexcept
   {
      return m_rows[0] * v.x() + m_rows[1] * v.y() + m_rows[2] * v.z();
   }

   std::array<ZqVector, 3> m_rows;
};
