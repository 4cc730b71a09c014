#pragma once

#include "zqManipulator/foundation/algebra/ZqReArray.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <limits>
#include <utility>
#include <vector>

/// What the sources of ZqReArray share, and others that work on rows of numbers.
namespace zqReArrayDetail
{
/// Work space that is taken from the heap only for large sizes. It starts out unspecified.
template <typename Value>
class Scratch
{
public:
   explicit Scratch(std::size_t size)
   {
      if (size > m_local.size())
      {
         m_heap.resize(size);
         m_data = m_heap.data();
      }
   }
   Scratch(const Scratch&) = delete;
   Scratch& operator=(const Scratch&) = delete;

   Value* data() noexcept { return m_data; }
   Value& operator[](std::size_t i) noexcept { return m_data[i]; }

private:
   std::array<Value, 128> m_local;
   std::vector<Value> m_heap;
   Value* m_data = m_local.data();
};

/// The dot product of two rows, in four independent sums.
inline ZqReal dot(const ZqReal* a, const ZqReal* b, std::size_t n)
{
   ZqReal s0 = 0.0;
   ZqReal s1 = 0.0;
   ZqReal s2 = 0.0;
   ZqReal s3 = 0.0;
   std::size_t i = 0;
   for (; i + 4 <= n; i += 4)
   {
      s0 += a[i] * b[i];
      s1 += a[i + 1] * b[i + 1];
      s2 += a[i + 2] * b[i + 2];
      s3 += a[i + 3] * b[i + 3];
   }
   for (; i < n; ++i)
      s0 += a[i] * b[i];
   return (s0 + s2) + (s1 + s3);
}

/// y += sign * (sum over k of coefficient k times row k), for rows of n numbers that do not overlap
/// y. All products of matrices and all solving of several columns come down to this.
template <int sign>
void addRows(ZqReal* __restrict y, const ZqReal* coefficients, std::size_t coefficientStride,
             const ZqReal* rows, std::size_t rowStride, std::size_t count, std::size_t n)
{
   std::size_t k = 0;
   // Four rows at a time, so that y is loaded and stored once for the four.
   for (; k + 4 <= count; k += 4)
   {
      const ZqReal c0 = sign * coefficients[k * coefficientStride];
      const ZqReal c1 = sign * coefficients[(k + 1) * coefficientStride];
      const ZqReal c2 = sign * coefficients[(k + 2) * coefficientStride];
      const ZqReal c3 = sign * coefficients[(k + 3) * coefficientStride];
      const ZqReal* __restrict r0 = rows + k * rowStride;
      const ZqReal* __restrict r1 = r0 + rowStride;
      const ZqReal* __restrict r2 = r1 + rowStride;
      const ZqReal* __restrict r3 = r2 + rowStride;
      for (std::size_t j = 0; j < n; ++j)
         y[j] += (c0 * r0[j] + c1 * r1[j]) + (c2 * r2[j] + c3 * r3[j]);
   }
   for (; k < count; ++k)
   {
      const ZqReal c = sign * coefficients[k * coefficientStride];
      const ZqReal* __restrict r = rows + k * rowStride;
      for (std::size_t j = 0; j < n; ++j)
         y[j] += c * r[j];
   }
}

/// The reciprocal of a diagonal element of a factor; zero for that of a dropped column.
inline ZqReal inversePivot(ZqReal pivot)
{
   return pivot == 0.0 ? 0.0 : 1.0 / pivot;
}

/// Whether pivot k of a Cholesky factor stands above rounding and has a finite reciprocal. One that
/// does not is set to zero, so that its column is dropped, or to NaN.
inline bool acceptPivot(ZqReal& pivot, std::size_t k, ZqReal diagonal)
{
   if (pivot > 10.0 * static_cast<ZqReal>(k) * std::numeric_limits<ZqReal>::epsilon() * diagonal &&
       std::isnormal(pivot))
      return true;
   pivot = std::isfinite(pivot) ? 0.0 : std::numeric_limits<ZqReal>::quiet_NaN();
   return false;
}

/// Stands in for a result that is one of the operands as well: the temporary array that is written
/// then replaces the result in the end.
class AliasSafeResult
{
public:
   AliasSafeResult(ZqReArray& result, std::initializer_list<const ZqReArray*> operands)
      : m_result(result),
        m_aliased(std::find(operands.begin(), operands.end(), &result) != operands.end())
   {
   }
   AliasSafeResult(const AliasSafeResult&) = delete;
   AliasSafeResult& operator=(const AliasSafeResult&) = delete;
   ~AliasSafeResult()
   {
      if (m_aliased)
         m_result = std::move(m_temporary);
   }

   ZqReArray& array() noexcept { return m_aliased ? m_temporary : m_result; }

private:
   ZqReArray& m_result;
   ZqReArray m_temporary;
   bool m_aliased;
};

/// Logs that the sizes of an operation do not fit, and empties its result, if there is one.
void reject(const char* operation, const ZqReArray& a, const ZqReArray& b, ZqReArray* result);
} // namespace zqReArrayDetail
