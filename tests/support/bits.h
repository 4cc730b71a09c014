#pragma once

#include "zqManipulator/foundation/algebra/ZqReArray.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/spatial/ZqGeneralForce.h"
#include "zqManipulator/foundation/spatial/ZqGeneralMotion.h"

#include <bit>
#include <cstdint>
#include <vector>

namespace zqTest
{
/// Numbers that are compared to the last bit.
class Bits
{
public:
   void add(ZqReal x) { m_bits.push_back(std::bit_cast<std::uint64_t>(x)); }
   void add(const std::vector<ZqReal>& values)
   {
      for (const ZqReal x : values)
         add(x);
   }
   void add(const ZqVector& v)
   {
      for (std::size_t i = 0; i < 3; ++i)
         add(v[i]);
   }
   void add(const ZqCoordinateSystemTransformation& X)
   {
      add(X.translation());
      for (std::size_t i = 0; i < 4; ++i)
         add(X.orientation()[i]);
   }
   template <class Derived>
   void add(const ZqSpatialVector<Derived>& v)
   {
      for (std::size_t i = 0; i < 6; ++i)
         add(v[i]);
   }
   void add(const ZqReArray& array)
   {
      for (ZqU32 i = 0; i < array.rows(); ++i)
         for (const ZqReal x : array[i])
            add(x);
   }

   std::size_t size() const { return m_bits.size(); }
   bool operator==(const Bits&) const = default;

   /// By Fowler, Noll and Vo (FNV-1a), byte by byte, the lowest first.
   std::uint64_t digest() const
   {
      std::uint64_t hash = 0xcbf29ce484222325;
      for (const std::uint64_t bits : m_bits)
         for (int shift = 0; shift < 64; shift += 8)
            hash = (hash ^ (bits >> shift & 0xff)) * 0x100000001b3;
      return hash;
   }

private:
   std::vector<std::uint64_t> m_bits;
};
} // namespace zqTest
