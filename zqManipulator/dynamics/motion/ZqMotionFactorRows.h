#pragma once

#include "zqManipulator/dynamics/motion/ZqMotionFactor.h"
#include "zqManipulator/dynamics/motion/ZqMotionPack.h"

/// The elimination of a factor's rows, in packs of columns. The bits do not depend on how many a pack has.
namespace zqMotion
{
inline namespace ZQ_MOTION_TARGET
{
ZQ_MOTION_INLINE ZqReal* rowOf(const Factor& factor, int i)
{
   return factor.rows + static_cast<std::size_t>(i) * factor.width;
}

/// The inverse of a pivot from which so many products have been subtracted; zero where it does not stand above
/// rounding of the element of the diagonal that it was, or has no finite inverse.
ZQ_MOTION_INLINE ZqReal inverseOfPivot(ZqReal pivot, int subtracted, ZqReal diagonal)
{
   if (pivot > 10.0 * subtracted * __DBL_EPSILON__ * diagonal && __builtin_isnormal(pivot))
      return 1.0 / pivot;
   return __builtin_isfinite(pivot) ? 0.0 : __builtin_nan("");
}

/// to -= sum over k of (coefficients of k) times (row k), for some packs of columns of all rows of a stretch.
template <class P, int rows, int packs>
ZQ_MOTION_INLINE void subtractProducts(ZqReal* to, const ZqReal* from, std::size_t width,
                                       const ZqReal* coefficients, int count)
{
   constexpr int lanes = laneCount<P>;
   P sum[rows][packs] = {};
   for (int k = 0; k < count; ++k, from += width, coefficients += rows)
      for (int c = 0; c < packs; ++c)
      {
         const P x = loadPack<P>(from + lanes * c);
         for (int r = 0; r < rows; ++r)
            sum[r][c] += coefficients[r] * x;
      }
   for (int r = 0; r < rows; ++r, to += width)
      for (int c = 0; c < packs; ++c)
         storePack(to + lanes * c, loadPack<P>(to + lanes * c) - sum[r][c]);
}

/// What is outboard of a stretch is done, and takes its share off the stretch's rows. What is computed
/// beyond a row's diagonal is never read.
template <class P, int rows>
void subtractOutboard(const Factor& factor, int first)
{
   constexpr int lanes = laneCount<P>;
   const std::size_t width = factor.width;
   const int next = first + rows;
   const int count = factor.ends[first] - next;
   const int depth = factor.depths[first];
   const ZqReal* const outboard = rowOf(factor, next);
   const ZqReal* from = outboard + depth;
   for (int k = 0; k < count; ++k, from += width)
      for (int r = 0; r < rows; ++r)
         factor.work[k * rows + r] = from[r] * factor.inverse[next + k];
   ZqReal* const to = rowOf(factor, first);
   int column = 0;
   for (; column + lanes < depth + rows; column += 2 * lanes)
      subtractProducts<P, rows, 2>(to + column, outboard + column, width, factor.work, count);
   if (column < depth + rows)
      subtractProducts<P, rows, 1>(to + column, outboard + column, width, factor.work, count);
}

/// Rows of an unbranched stretch, one upon the other: all that is outboard of the last is so of each.
template <class P, int rows>
void eliminateStretch(const Factor& factor, int first)
{
   const int depth = factor.depths[first];
   const int outboard = factor.ends[first] - first - rows;
   ZqReal diagonal[rows];
   for (int r = 0; r < rows; ++r)
      diagonal[r] = rowOf(factor, first + r)[depth + r];
   if (outboard > 0)
      subtractOutboard<P, rows>(factor, first);
   for (int r = rows; r-- > 0;)
   {
      const ZqReal* const from = rowOf(factor, first + r);
      const ZqReal inverse = inverseOfPivot(from[depth + r], outboard + rows - 1 - r, diagonal[r]);
      factor.inverse[first + r] = inverse;
      for (int k = 0; k < r; ++k)
      {
         ZqReal* const to = rowOf(factor, first + k);
         const ZqReal g = from[depth + k] * inverse;
         for (int column = 0; column <= depth + k; column += laneCount<P>)
            storePack(to + column, loadPack<P>(to + column) - g * loadPack<P>(from + column));
      }
   }
}

/// How many rows above and with this one make an unbranched stretch: at most four.
inline int stretchUpFrom(const Factor& factor, int last)
{
   const int depth = factor.depths[last];
   const int end = factor.ends[last];
   int rows = 1;
   while (rows < 4 && rows <= last && factor.ends[last - rows] == end &&
          factor.depths[last - rows] + rows == depth)
      ++rows;
   return rows;
}

/// All rows, from the leaves to the root.
template <class P>
void eliminateRows(const Factor& factor)
{
   for (int last = factor.size - 1; last >= 0;)
   {
      const int rows = stretchUpFrom(factor, last);
      const int first = last + 1 - rows;
      if (rows == 4)
         eliminateStretch<P, 4>(factor, first);
      else if (rows == 3)
         eliminateStretch<P, 3>(factor, first);
      else if (rows == 2)
         eliminateStretch<P, 2>(factor, first);
      else
         eliminateStretch<P, 1>(factor, first);
      last = first - 1;
   }
}
} // namespace ZQ_MOTION_TARGET

/// `eliminate` for processors that have AVX.
void eliminateByAvx(const Factor& factor);
} // namespace zqMotion
