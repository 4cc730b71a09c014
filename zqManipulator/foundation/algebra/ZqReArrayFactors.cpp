#include "zqManipulator/foundation/algebra/ZqReArray.h"

#include "zqManipulator/foundation/algebra/ZqReArrayKernels.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <type_traits>
#include <utility>

using zqReArrayDetail::acceptPivot;
using zqReArrayDetail::addRows;
using zqReArrayDetail::AliasSafeResult;
using zqReArrayDetail::dot;
using zqReArrayDetail::inversePivot;
using zqReArrayDetail::reject;
using zqReArrayDetail::Scratch;

namespace
{
constexpr ZqReal epsilon = std::numeric_limits<ZqReal>::epsilon();

/// Up to this size a column of a matrix is read as fast as a row.
constexpr std::size_t smallSize = 16;

// Both Cholesky factorisations go by way of M = W D W^T, which has no square root in its chain of
// dependences, and may overwrite the matrix.

/// The second half of both: L = W D^(1/2), where the pivots D stand on the diagonal and W, of unit
/// diagonal, below it.
template <typename Size>
void scaleByRoots(ZqReal* L, Size n)
{
   Scratch<ZqReal> roots(n);
   for (std::size_t i = 0; i < n; ++i)
   {
      ZqReal* const row = L + i * n;
      for (std::size_t k = 0; k < i; ++k)
         row[k] *= roots[k];
      roots[i] = row[i] = std::sqrt(row[i]);
      std::fill(row + i + 1, row + n, 0.0);
   }
}

/// Calls the operation with a size of up to `smallSize`. The sizes of a free body and of the common
/// arm are handed over as constants, for which the compiler unrolls the loops.
template <typename Operation>
auto withSmallSize(std::size_t n, Operation operation)
{
   switch (n)
   {
   case 6:
      return operation(std::integral_constant<std::size_t, 6>());
   case 7:
      return operation(std::integral_constant<std::size_t, 7>());
   default:
      return operation(n);
   }
}

/// Column by column with short loops, for matrices that fit into a few cache lines.
template <typename Size>
bool choleskySmall(const ZqReal* M, ZqReal* L, Size n)
{
   if (L != M)
      std::copy_n(M, n * n, L);
   std::array<ZqReal, smallSize> diagonal;
   for (std::size_t i = 0; i < n; ++i)
      diagonal[i] = L[i * n + i];

   bool positiveDefinite = true;
   for (std::size_t k = 0; k < n; ++k)
   {
      ZqReal& pivot = L[k * n + k];
      positiveDefinite = acceptPivot(pivot, k, diagonal[k]) && positiveDefinite;
      const ZqReal inverse = inversePivot(pivot);
      for (std::size_t i = k + 1; i < n; ++i)
      {
         // Row i takes the multiples of column k, whose upper part is W already.
         ZqReal* const row = L + i * n;
         const ZqReal u = row[k];
         for (std::size_t j = k + 1; j < i; ++j)
            row[j] -= u * L[j * n + k];
         row[k] = u * inverse;
         row[i] -= u * row[k];
      }
   }
   scaleByRoots(L, n);
   return positiveDefinite;
}

/// Solves L L^T x = b in place for one column of a small size.
template <typename Size>
void choleskySolveSmall(const ZqReal* L, ZqReal* column, Size n)
{
   std::array<ZqReal, smallSize> x;
   std::array<ZqReal, smallSize> inverse;
   for (std::size_t i = 0; i < n; ++i)
   {
      x[i] = column[i];
      inverse[i] = inversePivot(L[i * n + i]);
   }
   // By columns of L, then by columns of L^T, which makes for the shortest chain of dependences.
   for (std::size_t i = 0; i < n; ++i)
   {
      x[i] *= inverse[i];
      for (std::size_t j = i + 1; j < n; ++j)
         x[j] -= L[j * n + i] * x[i];
   }
   for (std::size_t i = n; i-- > 0;)
   {
      x[i] *= inverse[i];
      column[i] = x[i];
      for (std::size_t j = 0; j < i; ++j)
         x[j] -= L[i * n + j] * x[i];
   }
}

/// Row by row with long contiguous loops.
bool choleskyLarge(const ZqReal* M, ZqReal* L, std::size_t n)
{
   // U = D W^T is built above the diagonal and W below it, where column k of the matrix is no
   // longer needed in step k.
   bool positiveDefinite = true;
   for (std::size_t k = 0; k < n; ++k)
   {
      ZqReal* const row = L + k * n;
      const ZqReal diagonal = M[k * n + k];
      for (std::size_t i = k; i < n; ++i)
         row[i] = M[i * n + k];
      addRows<-1>(row + k, row, 1, L + k, n, k, n - k);
      positiveDefinite = acceptPivot(row[k], k, diagonal) && positiveDefinite;
      const ZqReal inverse = inversePivot(row[k]);
      for (std::size_t i = k + 1; i < n; ++i)
         L[i * n + k] = row[i] * inverse;
   }
   scaleByRoots(L, n);
   return positiveDefinite;
}

/// Elimination with complete pivoting of a matrix in the corner of a square array, whose rows are
/// zero outside of a range of columns each.
///
/// Rows are exchanged in place. Columns stay where they are until the end, so that the ranges stay
/// true, and are listed in the order in which they are eliminated.
class CompletePivoting
{
public:
   CompletePivoting(ZqReArray& array, std::size_t rowCount, std::size_t columnCount,
                    std::vector<ZqU32>& indices)
      : m_array(array), m_size(array.rows()), m_rowCount(rowCount), m_columnCount(columnCount),
        m_first(rowCount), m_last(rowCount), m_eliminated(m_size), m_pivotRow(m_size)
   {
      indices.resize(2 * m_size);
      m_rowOrder = indices.data();
      m_columnOrder = m_rowOrder + m_size;
      std::iota(m_rowOrder, m_columnOrder, ZqU32{0});
      std::fill_n(m_eliminated.data(), m_size, static_cast<unsigned char>(0));
   }

   /// False when a number that counts is not finite.
   bool setRanges(const std::vector<ZqU32>& zeroStart, const std::vector<ZqU32>& sparsityIndices)
   {
      for (std::size_t i = 0; i < m_rowCount; ++i)
      {
         m_last[i] = m_columnCount;
         if (i < zeroStart.size())
            m_last[i] = std::min<std::size_t>(zeroStart[i], m_columnCount);
         m_first[i] = 0;
         if (i < sparsityIndices.size())
            m_first[i] = std::min<std::size_t>(sparsityIndices[i], m_last[i]);
         if (!std::all_of(row(i) + m_first[i], row(i) + m_last[i],
                          [](ZqReal value) { return std::isfinite(value); }))
            return false;
      }
      return true;
   }

   void clearOutsideRanges()
   {
      for (std::size_t i = 0; i < m_size; ++i)
      {
         const std::size_t begin = i < m_rowCount ? m_first[i] : 0;
         const std::size_t end = i < m_rowCount ? m_last[i] : 0;
         std::fill(row(i), row(i) + begin, 0.0);
         std::fill(row(i) + end, row(i) + m_size, 0.0);
      }
   }

   void eliminate()
   {
      ZqReal negligible = 0.0;
      for (m_rank = 0; m_rank < std::min(m_rowCount, m_columnCount); ++m_rank)
      {
         if (!bringPivotUp(negligible))
            return;
         if (m_rank == 0)
            negligible = static_cast<ZqReal>(m_size) * epsilon * std::abs(row(0)[m_columnOrder[0]]);
         eliminateBelow();
      }
   }

   /// What no pivot was found in is rounding.
   void clearRemainder()
   {
      for (std::size_t i = m_rank; i < m_rowCount; ++i)
         for (std::size_t j = m_first[i]; j < m_last[i]; ++j)
            if (!m_eliminated[j])
               row(i)[j] = 0.0;
   }

   /// Puts the columns in their order: those of the pivots, then the others as they stood.
   void orderColumns()
   {
      for (std::size_t j = 0, next = m_rank; j < m_size; ++j)
         if (!m_eliminated[j])
            m_columnOrder[next++] = static_cast<ZqU32>(j);
      for (std::size_t i = 0; i < m_rowCount; ++i)
      {
         std::copy_n(row(i), m_size, m_pivotRow.data());
         for (std::size_t j = 0; j < m_size; ++j)
            row(i)[j] = m_pivotRow[m_columnOrder[j]];
      }
   }

   /// With U = [U1 U2] the kernel is spanned by [-U1^-1 U2; 1], its rows in the order of columns.
   void writeKernel(ZqReArray& kernel)
   {
      const std::size_t size = m_columnCount - m_rank;
      kernel.setToZeros(static_cast<ZqU32>(m_columnCount), static_cast<ZqU32>(size));
      for (std::size_t j = 0; j < size; ++j)
         kernel[m_columnOrder[m_rank + j]][j] = 1.0;
      for (std::size_t i = m_rank; i-- > 0;)
      {
         ZqReal* const x = kernel[m_columnOrder[i]].data();
         for (std::size_t k = i + 1; k < m_columnCount; ++k)
            addRows<-1>(x, row(i) + k, 1, kernel[m_columnOrder[k]].data(), size, 1, size);
         for (std::size_t j = 0; j < size; ++j)
            x[j] /= row(i)[i];
      }
   }

private:
   ZqReal* row(std::size_t i) { return m_array.data() + i * m_size; }

   /// Brings the row of the largest element that is left to the place of the next pivot; false when
   /// all of them are negligible.
   bool bringPivotUp(ZqReal negligible)
   {
      ZqReal largest = negligible;
      std::size_t pivotRow = m_rowCount;
      std::size_t pivotColumn = 0;
      for (std::size_t i = m_rank; i < m_rowCount; ++i)
         for (std::size_t j = m_first[i]; j < m_last[i]; ++j)
            if (!m_eliminated[j] && std::abs(row(i)[j]) > largest)
            {
               largest = std::abs(row(i)[j]);
               pivotRow = i;
               pivotColumn = j;
            }
      if (pivotRow == m_rowCount)
         return false;
      if (pivotRow != m_rank)
      {
         std::swap_ranges(row(m_rank), row(m_rank) + m_size, row(pivotRow));
         std::swap(m_rowOrder[m_rank], m_rowOrder[pivotRow]);
         std::swap(m_first[m_rank], m_first[pivotRow]);
         std::swap(m_last[m_rank], m_last[pivotRow]);
      }
      m_columnOrder[m_rank] = static_cast<ZqU32>(pivotColumn);
      m_eliminated[pivotColumn] = 1;
      return true;
   }

   void eliminateBelow()
   {
      // A copy of the pivot row without the multipliers that stand in its eliminated columns.
      const std::size_t begin = m_first[m_rank];
      const std::size_t end = m_last[m_rank];
      const std::size_t column = m_columnOrder[m_rank];
      const ZqReal pivot = row(m_rank)[column];
      for (std::size_t j = begin; j < end; ++j)
         m_pivotRow[j] = m_eliminated[j] ? 0.0 : row(m_rank)[j];

      for (std::size_t i = m_rank + 1; i < m_rowCount; ++i)
      {
         ZqReal& multiplier = row(i)[column];
         if (multiplier == 0.0)
            continue;
         const ZqReal factor = multiplier /= pivot;
         addRows<-1>(row(i) + begin, &factor, 1, m_pivotRow.data() + begin, m_size, 1, end - begin);
         m_first[i] = std::min(m_first[i], begin);
         m_last[i] = std::max(m_last[i], end);
      }
   }

   ZqReArray& m_array;
   std::size_t m_size;
   std::size_t m_rowCount;
   std::size_t m_columnCount;
   std::size_t m_rank = 0;
   ZqU32* m_rowOrder;
   ZqU32* m_columnOrder;
   Scratch<std::size_t> m_first; ///< The first column of a row that may be nonzero ...
   Scratch<std::size_t> m_last;  ///< ... and one after the last.
   Scratch<unsigned char> m_eliminated;
   Scratch<ZqReal> m_pivotRow;
};
} // namespace

ZqBoolean ZqReArray::choleskyFactor(ZqReArray& result) const
{
   if (m_rows != m_columns)
   {
      reject("choleskyFactor", *this, *this, &result);
      return false;
   }
   const ZqU32 n = m_rows;
   result.resize(n, n);
   if (n > smallSize)
      return choleskyLarge(data(), result.data(), n);
   return withSmallSize(n, [&](auto size) { return choleskySmall(data(), result.data(), size); });
}

/// X = L^-T L^-1 X, where this is L.
void ZqReArray::choleskySolveInPlace(ZqReArray& X) const noexcept
{
   if (X.m_columns == 1 && m_rows <= smallSize)
   {
      withSmallSize(m_rows, [&](auto n) { choleskySolveSmall(data(), X.data(), n); });
      return;
   }
   lowerSolveInPlace(X);
   lowerTransposeSolveInPlace(X);
}

/// X = L^-1 X, where this is L.
void ZqReArray::lowerSolveInPlace(ZqReArray& X) const noexcept
{
   const std::size_t n = m_rows;
   const std::size_t columns = X.m_columns;
   for (std::size_t i = 0; i < n; ++i)
   {
      const ZqReal* const row = rowData(i);
      ZqReal* const x = X.rowData(i);
      if (columns == 1)
         *x -= dot(row, X.data(), i);
      else
         addRows<-1>(x, row, 1, X.data(), columns, i, columns);
      const ZqReal inverse = inversePivot(row[i]);
      for (std::size_t j = 0; j < columns; ++j)
         x[j] *= inverse;
   }
}

/// X = L^-T X, where this is L.
void ZqReArray::lowerTransposeSolveInPlace(ZqReArray& X) const noexcept
{
   const std::size_t n = m_rows;
   const std::size_t columns = X.m_columns;
   for (std::size_t i = n; i-- > 0;)
   {
      ZqReal* const x = X.rowData(i);
      if (columns != 1)
         addRows<-1>(x, rowData(i) + n + i, n, x + columns, columns, n - 1 - i, columns);
      const ZqReal inverse = inversePivot(rowData(i)[i]);
      for (std::size_t j = 0; j < columns; ++j)
         x[j] *= inverse;
      // For a single column the rows of L are the better order: they are contiguous.
      if (columns == 1)
         addRows<-1>(X.data(), x, 1, rowData(i), n, 1, i);
   }
}

ZqBoolean ZqReArray::choleskySolve(const ZqReArray& b, ZqReArray& x) const
{
   if (m_rows != m_columns || b.m_rows != m_rows)
   {
      reject("choleskySolve", *this, b, &x);
      return false;
   }
   AliasSafeResult target(x, {&*this});
   ZqReArray& solution = target.array();
   solution = b;
   choleskySolveInPlace(solution);
   return true;
}

ZqBoolean ZqReArray::choleskySolveTranspose(const ZqReArray& B, ZqReArray& X) const
{
   if (m_rows != m_columns || B.m_columns != m_rows)
   {
      reject("choleskySolveTranspose", *this, B, &X);
      return false;
   }
   AliasSafeResult target(X, {&*this});
   ZqReArray& solution = target.array();
   B.transpose(solution);
   choleskySolveInPlace(solution);
   return true;
}

ZqBoolean ZqReArray::luFactor(std::vector<ZqU32>& indices)
{
   indices.resize(m_rows);
   std::iota(indices.begin(), indices.end(), ZqU32{0});
   if (m_rows != m_columns)
   {
      reject("luFactor", *this, *this, nullptr);
      return false;
   }
   const std::size_t n = m_rows;
   for (std::size_t k = 0; k < n; ++k)
   {
      // The largest element of the column; NaN is never the largest, so it is sought by itself.
      std::size_t pivotRow = k;
      for (std::size_t i = k; i < n; ++i)
      {
         if (std::isnan(rowData(i)[k]))
            return false;
         if (std::abs(rowData(i)[k]) > std::abs(rowData(pivotRow)[k]))
            pivotRow = i;
      }
      const ZqReal pivot = rowData(pivotRow)[k];
      if (pivot == 0.0 || std::isinf(pivot))
         return false;
      if (pivotRow != k)
      {
         std::swap_ranges(rowData(k), rowData(k) + n, rowData(pivotRow));
         std::swap(indices[k], indices[pivotRow]);
      }
      for (std::size_t i = k + 1; i < n; ++i)
      {
         ZqReal* const row = rowData(i);
         row[k] /= pivot;
         addRows<-1>(row + k + 1, row + k, 1, rowData(k) + k + 1, n, 1, n - k - 1);
      }
   }
   return true;
}

ZqBoolean ZqReArray::luSolve(const std::vector<ZqU32>& indices, const ZqReArray& b,
                             ZqReArray& x) const
{
   const ZqU32 n = m_rows;
   if (n != m_columns || b.m_rows != n || indices.size() < n ||
       std::any_of(indices.begin(), indices.begin() + n, [n](ZqU32 i) { return i >= n; }))
   {
      reject("luSolve", *this, b, &x);
      return false;
   }
   AliasSafeResult target(x, {&*this, &b});
   ZqReArray& solution = target.array();
   const std::size_t columns = b.m_columns;
   solution.resize(n, b.m_columns);
   for (std::size_t i = 0; i < n; ++i)
   {
      ZqReal* const row = solution.rowData(i);
      std::copy_n(b.rowData(indices[i]), columns, row);
      addRows<-1>(row, rowData(i), 1, solution.data(), columns, i, columns);
   }
   for (std::size_t i = n; i-- > 0;)
   {
      ZqReal* const row = solution.rowData(i);
      addRows<-1>(row, rowData(i) + i + 1, 1, row + columns, columns, n - 1 - i, columns);
      const ZqReal pivot = rowData(i)[i];
      for (std::size_t j = 0; j < columns; ++j)
         row[j] /= pivot;
   }
   return true;
}

ZqBoolean ZqReArray::nullSpaceAndLu(ZqReArray& nullSpace, ZqU32 rowCount,
                                    std::vector<ZqU32>& indices, ZqU32 columnCount)
{
   return sparseNullSpaceAndLu(nullSpace, rowCount, indices, {}, {}, columnCount);
}

ZqBoolean ZqReArray::sparseNullSpaceAndLu(ZqReArray& nullSpace, ZqU32 rowCount,
                                          std::vector<ZqU32>& indices,
                                          const std::vector<ZqU32>& zeroStart,
                                          const std::vector<ZqU32>& sparsityIndices,
                                          ZqU32 columnCount)
{
   if (m_rows != m_columns || rowCount > m_rows || columnCount > m_rows || &nullSpace == this)
   {
      reject("nullSpaceAndLu", *this, *this, &nullSpace == this ? nullptr : &nullSpace);
      indices.clear();
      return false;
   }
   CompletePivoting elimination(*this, rowCount, columnCount, indices);
   if (!elimination.setRanges(zeroStart, sparsityIndices))
   {
      nullSpace.resize(0, 0);
      indices.clear();
      return false;
   }
   elimination.clearOutsideRanges();
   elimination.eliminate();
   elimination.clearRemainder();
   elimination.orderColumns();
   elimination.writeKernel(nullSpace);
   return true;
}
