#include "zqManipulator/foundation/algebra/ZqReArray.h"

#include "zqManipulator/foundation/algebra/ZqReArrayKernels.h"
#include "zqManipulator/foundation/log/ZqPrint.h"

#include <algorithm>
#include <cmath>
#include <utility>

using zqReArrayDetail::addRows;
using zqReArrayDetail::AliasSafeResult;
using zqReArrayDetail::dot;
using zqReArrayDetail::reject;
using zqReArrayDetail::Scratch;

void zqReArrayDetail::reject(const char* operation, const ZqReArray& a, const ZqReArray& b,
                             ZqReArray* result)
{
   Zq::Print::instance().write(Zq::Rejected,
                               "ZqReArray::%s: sizes do not fit, %u x %u with %u x %u", operation,
                               a.rows(), a.columns(), b.rows(), b.columns());
   if (result != nullptr)
      result->resize(0, 0);
}

ZqReArray::ZqReArray(ZqU32 rows, ZqU32 columns)
   : m_rows(rows), m_columns(columns), m_values(static_cast<std::size_t>(rows) * columns)
{
}

ZqReArray::ZqReArray(ZqReArray&& other) noexcept
   : m_rows(std::exchange(other.m_rows, 0)), m_columns(std::exchange(other.m_columns, 0)),
     m_values(std::move(other.m_values))
{
   other.m_values.clear();
}

ZqReArray& ZqReArray::operator=(ZqReArray&& other) noexcept
{
   if (this != &other)
   {
      m_rows = std::exchange(other.m_rows, 0);
      m_columns = std::exchange(other.m_columns, 0);
      m_values.swap(other.m_values);
      other.m_values.clear();
   }
   return *this;
}

const ZqReArray& ZqReArray::nullObject()
{
   static const auto& empty = *new ZqReArray();
   return empty;
}

ZqReArray ZqReArray::identity(ZqU32 n)
{
   ZqReArray result(n, n);
   for (ZqU32 i = 0; i < n; ++i)
      result[i][i] = 1.0;
   return result;
}

void ZqReArray::resize(ZqU32 rows, ZqU32 columns)
{
   m_values.resize(static_cast<std::size_t>(rows) * columns);
   m_rows = rows;
   m_columns = columns;
}

void ZqReArray::resize(ZqU32 rows, const ZqRealVector& prototypeRow)
{
   const auto columns = static_cast<ZqU32>(prototypeRow.size());
   const ZqU32 kept = std::min(rows, m_rows);
   if (columns != m_columns)
   {
      ZqReArray fitted(kept, columns);
      for (ZqU32 i = 0; i < kept; ++i)
         std::copy_n(rowData(i), std::min(columns, m_columns), fitted.rowData(i));
      *this = std::move(fitted);
   }
   resize(rows, columns);
   for (ZqU32 i = kept; i < rows; ++i)
      std::copy(prototypeRow.begin(), prototypeRow.end(), rowData(i));
}

bool ZqReArray::operator==(const ZqReArray& other) const noexcept
{
   return hasSizeOf(other) && m_values == other.m_values;
}

bool ZqReArray::approxEq(const ZqReArray& other, ZqReal tolerance) const noexcept
{
   return hasSizeOf(other) &&
          std::equal(m_values.begin(), m_values.end(), other.m_values.begin(),
                     [tolerance](ZqReal a, ZqReal b) { return std::abs(a - b) <= tolerance; });
}

ZqReArray ZqReArray::operator+(const ZqReArray& other) const
{
   ZqReArray result;
   if (!hasSizeOf(other))
   {
      reject("operator+", *this, other, nullptr);
      return result;
   }
   result = *this;
   result += other;
   return result;
}

ZqReArray ZqReArray::operator-(const ZqReArray& other) const
{
   ZqReArray result;
   if (!hasSizeOf(other))
   {
      reject("operator-", *this, other, nullptr);
      return result;
   }
   result = *this;
   result -= other;
   return result;
}

ZqReArray ZqReArray::operator-() const
{
   return *this * -1.0;
}

ZqReArray ZqReArray::operator*(const ZqReArray& other) const
{
   ZqReArray result;
   multiply(other, result);
   return result;
}

ZqReArray ZqReArray::operator*(ZqReal factor) const
{
   ZqReArray result(*this);
   result *= factor;
   return result;
}

ZqRealVector ZqReArray::operator*(const ZqRealVector& column) const
{
   if (column.size() != m_columns)
   {
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqReArray::operator*: sizes do not fit, %u x %u with %zu x 1",
                                  m_rows, m_columns, column.size());
      return {};
   }
   ZqRealVector result(m_rows);
   for (ZqU32 i = 0; i < m_rows; ++i)
      result[i] = dot(rowData(i), column.data(), m_columns);
   return result;
}

ZqReArray& ZqReArray::operator+=(const ZqReArray& other)
{
   if (!hasSizeOf(other))
   {
      reject("operator+=", *this, other, nullptr);
      return *this;
   }
   std::transform(m_values.begin(), m_values.end(), other.m_values.begin(), m_values.begin(),
                  [](ZqReal a, ZqReal b) { return a + b; });
   return *this;
}

ZqReArray& ZqReArray::operator-=(const ZqReArray& other)
{
   if (!hasSizeOf(other))
   {
      reject("operator-=", *this, other, nullptr);
      return *this;
   }
   std::transform(m_values.begin(), m_values.end(), other.m_values.begin(), m_values.begin(),
                  [](ZqReal a, ZqReal b) { return a - b; });
   return *this;
}

ZqReArray& ZqReArray::operator*=(ZqReal factor) noexcept
{
   for (ZqReal& value : m_values)
      value *= factor;
   return *this;
}

void ZqReArray::setToZeros(ZqU32 rows, ZqU32 columns)
{
   resize(rows, columns);
   std::fill(m_values.begin(), m_values.end(), 0.0);
}

ZqReArray ZqReArray::transpose() const
{
   ZqReArray result;
   transpose(result);
   return result;
}

void ZqReArray::transpose(ZqReArray& result) const
{
   AliasSafeResult target(result, {&*this});
   ZqReArray& transposed = target.array();
   transposed.resize(m_columns, m_rows);
   for (ZqU32 i = 0; i < m_rows; ++i)
   {
      const ZqReal* const row = rowData(i);
      ZqReal* element = transposed.data() + i;
      for (ZqU32 j = 0; j < m_columns; ++j, element += m_rows)
         *element = row[j];
   }
}

void ZqReArray::transform(const ZqReArray& a, ZqReArray& result) const
{
   if (a.m_rows != m_columns || a.m_columns != m_columns)
   {
      reject("transform", *this, a, &result);
      return;
   }
   AliasSafeResult target(result, {&*this, &a});
   ZqReArray& product = target.array();
   product.resize(m_rows, m_rows);
   Scratch<ZqReal> row(m_columns);
   for (ZqU32 i = 0; i < m_rows; ++i)
   {
      // Row i of this a, which is then multiplied by the rows of this.
      std::fill_n(row.data(), m_columns, 0.0);
      addRows<1>(row.data(), rowData(i), 1, a.data(), m_columns, m_columns, m_columns);
      for (ZqU32 j = 0; j < m_rows; ++j)
         product[i][j] = dot(row.data(), rowData(j), m_columns);
   }
}

void ZqReArray::leftTransposeTransform(const ZqReArray& a, ZqReArray& result) const
{
   if (a.m_rows != m_rows || a.m_columns != m_rows)
   {
      reject("leftTransposeTransform", *this, a, &result);
      return;
   }
   AliasSafeResult target(result, {&*this, &a});
   ZqReArray& product = target.array();
   product.setToZeros(m_columns, m_columns);
   Scratch<ZqReal> row(m_columns);
   for (ZqU32 k = 0; k < m_rows; ++k)
   {
      // Row k of a this adds its multiples to all rows of the result.
      std::fill_n(row.data(), m_columns, 0.0);
      addRows<1>(row.data(), a.rowData(k), 1, data(), m_columns, m_rows, m_columns);
      for (ZqU32 i = 0; i < m_columns; ++i)
         addRows<1>(product.rowData(i), rowData(k) + i, 1, row.data(), m_columns, 1, m_columns);
   }
}

ZqBoolean ZqReArray::multiply(const ZqReArray& B, ZqReArray& result) const
{
   if (m_columns != B.m_rows)
   {
      reject("multiply", *this, B, &result);
      return false;
   }
   AliasSafeResult target(result, {&*this, &B});
   ZqReArray& product = target.array();
   product.setToZeros(m_rows, B.m_columns);
   for (ZqU32 i = 0; i < m_rows; ++i)
   {
      if (B.m_columns == 1)
         product.m_values[i] = dot(rowData(i), B.data(), m_columns);
      else
         addRows<1>(product.rowData(i), rowData(i), 1, B.data(), B.m_columns, m_columns,
                    B.m_columns);
   }
   return true;
}

ZqBoolean ZqReArray::leftTransposeMultiply(const ZqReArray& B, ZqReArray& result) const
{
   if (m_rows != B.m_rows)
   {
      reject("leftTransposeMultiply", *this, B, &result);
      return false;
   }
   AliasSafeResult target(result, {&*this, &B});
   ZqReArray& product = target.array();
   product.setToZeros(m_columns, B.m_columns);
   if (B.m_columns == 1)
   {
      addRows<1>(product.data(), B.data(), 1, data(), m_columns, m_rows, m_columns);
      return true;
   }
   for (ZqU32 i = 0; i < m_columns; ++i)
      addRows<1>(product.rowData(i), data() + i, m_columns, B.data(), B.m_columns, m_rows,
                 B.m_columns);
   return true;
}

ZqBoolean ZqReArray::multiplyByTranspose(const ZqReArray& B, ZqReArray& result) const
{
   if (m_columns != B.m_columns)
   {
      reject("multiplyByTranspose", *this, B, &result);
      return false;
   }
   AliasSafeResult target(result, {&*this, &B});
   ZqReArray& product = target.array();
   product.resize(m_rows, B.m_rows);
   for (ZqU32 i = 0; i < m_rows; ++i)
      for (ZqU32 j = 0; j < B.m_rows; ++j)
         product[i][j] = dot(rowData(i), B.rowData(j), m_columns);
   return true;
}
