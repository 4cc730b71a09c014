#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <cassert>
#include <cstddef>
#include <iosfwd>
#include <span>
#include <vector>

/// A dense matrix of reals, in one contiguous piece, row after row.
///
/// Operations that write a result into an array size it themselves and allocate only when it has
/// never been that large: a loop over settled sizes allocates nothing. A result may be one of the
/// operands (those that cannot work in place then take a temporary copy). Sizes that do not fit are
/// logged; the result is then empty (0 x 0) and a bool operation returns false, while a compound
/// assignment leaves its array as it was.
///
/// Factors: `M.choleskyFactor(L)` gives a lower triangular L; the solving operations are then called
/// on L and never read above its diagonal.
class ZqReArray
{
public:
   ZqReArray() noexcept = default;
   /// Filled with zeros.
   ZqReArray(ZqU32 rows, ZqU32 columns);
   ZqReArray(const ZqReArray& other) = default;
   ZqReArray(ZqReArray&& other) noexcept;
   ZqReArray& operator=(const ZqReArray& other) = default;
   ZqReArray& operator=(ZqReArray&& other) noexcept;
   virtual ~ZqReArray() = default;

   /// A shared empty array.
   static const ZqReArray& nullObject();
   /// The n x n unit matrix.
   static ZqReArray identity(ZqU32 n);

   /// A row, which holds until the array is resized.
   std::span<ZqReal> operator[](std::size_t row) noexcept
   {
      assert(row < m_rows);
      return {m_values.data() + row * m_columns, m_columns};
   }
   std::span<const ZqReal> operator[](std::size_t row) const noexcept
   {
      assert(row < m_rows);
      return {m_values.data() + row * m_columns, m_columns};
   }

   /// The number of rows.
   ZqU32 size() const noexcept { return m_rows; }
   ZqU32 rows() const noexcept { return m_rows; }
   ZqU32 columns() const noexcept { return m_columns; }
   /// All numbers, row after row.
   ZqReal* data() noexcept { return m_values.data(); }
   const ZqReal* data() const noexcept { return m_values.data(); }

   /// Sizes without clearing. Where the number of columns stays, so do the rows that fit; otherwise
   /// the numbers are unspecified.
   void resize(ZqU32 rows, ZqU32 columns);
   /// Keeps the rows that fit and adds copies of the prototype, whose length is the new number of
   /// columns: rows that are kept are cut to it, or filled up with zeros.
   void resize(ZqU32 rows, const ZqRealVector& prototypeRow);

   bool operator==(const ZqReArray& other) const noexcept;
   /// True when the sizes are equal and no element differs by more than the tolerance.
   bool approxEq(const ZqReArray& other, ZqReal tolerance) const noexcept;

   ZqReArray operator+(const ZqReArray& other) const;
   ZqReArray operator-(const ZqReArray& other) const;
   ZqReArray operator-() const;
   ZqReArray operator*(const ZqReArray& other) const;
   ZqReArray operator*(ZqReal factor) const;
   /// The matrix times a column; empty when the sizes do not fit.
   ZqRealVector operator*(const ZqRealVector& column) const;
   ZqReArray& operator+=(const ZqReArray& other);
   ZqReArray& operator-=(const ZqReArray& other);
   ZqReArray& operator*=(ZqReal factor) noexcept;

   virtual void setToZeros(ZqU32 rows, ZqU32 columns);
   /// The transposed matrix, as a new value.
   virtual ZqReArray transpose() const;
   /// result = this a this^T.
   virtual void transform(const ZqReArray& a, ZqReArray& result) const;
   /// result = this^T a this.
   virtual void leftTransposeTransform(const ZqReArray& a, ZqReArray& result) const;

   void transpose(ZqReArray& result) const;
   /// result = this B.
   ZqBoolean multiply(const ZqReArray& B, ZqReArray& result) const;
   /// result = this^T B.
   ZqBoolean leftTransposeMultiply(const ZqReArray& B, ZqReArray& result) const;
   /// result = this B^T.
   ZqBoolean multiplyByTranspose(const ZqReArray& B, ZqReArray& result) const;

   /// The lower factor L of this symmetric matrix M = L L^T; only the lower triangle of M is read.
   ///
   /// False when M is not positive definite: pivot j does not exceed 10 j epsilon M[j][j], where it
   /// is nothing but rounding. The column of such a pivot is then zero (NaN where the pivot is),
   /// and the other columns are those of the matrix without it. The solving operations set the
   /// unknown of a zero pivot to zero, which for a consistent semidefinite system (constraints
   /// stated twice) is a solution of the whole. A 0 x 0 matrix succeeds.
   ZqBoolean choleskyFactor(ZqReArray& result) const;
   /// Solves L L^T x = b for each column of b (n x k), where this is L.
   ZqBoolean choleskySolve(const ZqReArray& b, ZqReArray& x) const;
   /// Solves L L^T X = B^T, where this is L and each row of B (k x n) is a right-hand side: X is
   /// n x k.
   ZqBoolean choleskySolveTranspose(const ZqReArray& B, ZqReArray& X) const;

   /// Replaces this square matrix by its factors with partial pivoting: row k of L U is row
   /// indices[k] of the matrix; the unit diagonal of L is not stored. False when a pivot is zero or
   /// not finite; the numbers are then of no use.
   ZqBoolean luFactor(std::vector<ZqU32>& indices);
   /// Solves A x = b for each column of b, where this and the indices come from `luFactor` of A.
   ZqBoolean luSolve(const std::vector<ZqU32>& indices, const ZqReArray& b, ZqReArray& x) const;

   /// Factors this m x m work array A by elimination with complete pivoting, which reveals the rank,
   /// and gives a basis of the kernel of the Jacobian J in its leading rows and columns.
   ///
   /// A is J (rowCount x columnCount) bordered with zeros; what stands outside of J is not read.
   /// - A becomes L U, where element (i, j) of L U is element (indices[i], indices[m + j]) of the
   ///   bordered J; `indices` has 2 m entries. L is below the diagonal, its unit diagonal is not
   ///   stored. Pivots not above m epsilon times the largest are taken for zeros, and so is all that
   ///   is left then: the rank is the number of nonzero diagonal elements.
   /// - `nullSpace` becomes columnCount x (columnCount - rank), its columns a basis of the kernel
   ///   (not orthonormal: each has a 1 where the others have a 0).
   ///
   /// False for an array that is not square, for counts beyond its size and for numbers that are not
   /// finite; `nullSpace` and `indices` are then empty and the array is unchanged.
   ZqBoolean nullSpaceAndLu(ZqReArray& nullSpace, ZqU32 rowCount, std::vector<ZqU32>& indices,
                            ZqU32 columnCount);
   /// The same with as many columns as the array has.
   ZqBoolean nullSpaceAndLu(ZqReArray& nullSpace, ZqU32 rowCount, std::vector<ZqU32>& indices)
   {
      return nullSpaceAndLu(nullSpace, rowCount, indices, m_columns);
   }
   /// The same result to the last bit for a Jacobian with few nonzeros, without visiting the rest.
   ///
   /// Row i may be nonzero in the columns from sparsityIndices[i], the first, to zeroStart[i], one
   /// after the last; what else stands in it is taken for zero. A list that is too short stands for
   /// rows that begin with column 0 and end with the last column.
   ZqBoolean sparseNullSpaceAndLu(ZqReArray& nullSpace, ZqU32 rowCount, std::vector<ZqU32>& indices,
                                  const std::vector<ZqU32>& zeroStart,
                                  const std::vector<ZqU32>& sparsityIndices, ZqU32 columnCount);
   ZqBoolean sparseNullSpaceAndLu(ZqReArray& nullSpace, ZqU32 rowCount, std::vector<ZqU32>& indices,
                                  const std::vector<ZqU32>& zeroStart,
                                  const std::vector<ZqU32>& sparsityIndices)
   {
      return sparseNullSpaceAndLu(nullSpace, rowCount, indices, zeroStart, sparsityIndices,
                                  m_columns);
   }

   friend std::ostream& operator<<(std::ostream& stream, const ZqReArray& array);

private:
   bool hasSizeOf(const ZqReArray& other) const noexcept
   {
      return m_rows == other.m_rows && m_columns == other.m_columns;
   }
   ZqReal* rowData(std::size_t row) noexcept { return m_values.data() + row * m_columns; }
   const ZqReal* rowData(std::size_t row) const noexcept
   {
      return m_values.data() + row * m_columns;
   }
   void choleskySolveInPlace(ZqReArray& X) const noexcept;
   void lowerSolveInPlace(ZqReArray& X) const noexcept;
   void lowerTransposeSolveInPlace(ZqReArray& X) const noexcept;

   ZqU32 m_rows = 0;
   ZqU32 m_columns = 0;
   ZqRealVector m_values;
};

inline ZqReArray operator*(ZqReal factor, const ZqReArray& array)
{
   return array * factor;
}
