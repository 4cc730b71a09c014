#pragma once

#include "zqManipulator/foundation/algebra/ZqReArray.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/spatial/ZqSpatialBinary.h"

#include <algorithm>
#include <cstdint>

/// What the stored states do with their joint values.
namespace ZqStateValues
{
/// True when the larger one is at most the smaller one plus the tolerance; NaN agrees with nothing.
inline bool approxEq(ZqReal a, ZqReal b, ZqReal tolerance)
{
   return a <= b + tolerance && b <= a + tolerance;
}

inline bool approxEq(const ZqRealVector& a, const ZqRealVector& b, ZqReal tolerance)
{
   return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                     [tolerance](ZqReal x, ZqReal y) { return approxEq(x, y, tolerance); });
}

/// The value between two; a factor outside [0, 1] extrapolates.
inline ZqReal blend(ZqReal first, ZqReal second, ZqReal factor)
{
   return (1.0 - factor) * first + factor * second;
}

/// The same of as many values as the result has, which may be either of the two.
inline void blend(const ZqRealVector& first, const ZqRealVector& second, ZqReal factor,
                  ZqRealVector& result)
{
   for (std::size_t i = 0; i < result.size(); ++i)
      result[i] = blend(first[i], second[i], factor);
}

/// Takes the first column of an array; rows without a column are rejected with a message.
inline void copyColumn(const ZqReArray& array, ZqRealVector& values, const char* caller)
{
   if (array.columns() == 0 && array.rows() != 0)
   {
      Zq::Print::instance().write(Zq::Rejected, "%s: the array has no column\n", caller);
      return;
   }
   values.resize(array.rows());
   for (ZqU32 i = 0; i < array.rows(); ++i)
      values[i] = array[i][0];
}

/// Reads a count of 32 bits; one that is negative when taken as signed stands for zero.
inline bool readCount(std::istream& stream, std::size_t& count)
{
   std::int32_t value = 0;
   stream.read(reinterpret_cast<char*>(&value), sizeof(value));
   count = value > 0 ? static_cast<std::size_t>(value) : 0;
   return stream.gcount() == sizeof(value);
}

inline bool writeCount(std::ostream& stream, std::size_t count)
{
   const auto value = static_cast<ZqU32>(count);
   stream.write(reinterpret_cast<const char*>(&value), sizeof(value));
   return stream.good();
}

/// Reads a count and so many numbers. Memory is taken as the numbers arrive; when they end early, the
/// vector keeps those that were whole.
inline bool readValues(std::istream& stream, ZqRealVector& values)
{
   constexpr std::size_t blockSize = 1024;
   std::size_t count = 0;
   if (!readCount(stream, count))
      return false;
   std::size_t done = 0;
   do
   {
      const std::size_t wanted = std::min(blockSize, count - done);
      values.resize(done + wanted);
      stream.read(reinterpret_cast<char*>(values.data() + done),
                  static_cast<std::streamsize>(wanted * sizeof(ZqReal)));
      const std::size_t taken = static_cast<std::size_t>(stream.gcount()) / sizeof(ZqReal);
      done += taken;
      if (taken < wanted)
      {
         values.resize(done);
         return false;
      }
   } while (done < count);
   return true;
}

inline bool writeValues(std::ostream& stream, const ZqRealVector& values)
{
   if (!writeCount(stream, values.size()))
      return false;
   stream.write(reinterpret_cast<const char*>(values.data()),
                static_cast<std::streamsize>(values.size() * sizeof(ZqReal)));
   return stream.good();
}
} // namespace ZqStateValues
