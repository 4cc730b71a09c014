#pragma once

#include "zqManipulator/foundation/geometry/ZqConvex.h"
#include "zqManipulator/foundation/proximity/ZqProximity.h"

#include <bit>

// Whether what a pair kept is of the cores that are asked for: features of others would be points
// that these do not have.
namespace zqConvex
{
/// A number that cores of different sizes do not have in common, but by a chance of about 2^-40.
/// Balls and frames do not count: caches stand in the frames of cores. It follows from the numbers
/// of the core alone, so that what is stored is known again by the same shapes elsewhere.
inline std::uint64_t fingerprint(const ZqConvex& C) noexcept
{
   std::uint64_t number = static_cast<std::uint64_t>(C.core) + 1;
   std::uint64_t factor = 0x9E3779B97F4A7C15;
   // Short fractions have their digits in the upper half.
   const auto add = [&](std::uint64_t bits)
   {
      number += (bits ^ bits >> 32) * factor;
      factor += 0xD1B54A32D192ED04;
   };
   const auto addPoint = [&](const Vec3& p)
   {
      for (const ZqReal x : {p.x, p.y, p.z})
         add(std::bit_cast<std::uint64_t>(x));
   };
   addPoint(C.h);
   if (C.core == ZqConvex::Core::Triangle)
      for (const Vec3& corner : C.corner)
         addPoint(corner);
   if (C.core == ZqConvex::Core::Polytope)
      add(C.hull->fingerprint);
   return number ^ number >> 29;
}

/// The cache, emptied unless it is of these two; null for null.
inline ZqPairCache* usable(ZqPairCache* cache, const ZqConvex& A, const ZqConvex& B) noexcept
{
   if (!cache)
      return nullptr;
   const std::uint64_t cores = fingerprint(A) + 3 * fingerprint(B);
   if (cache->cores != cores)
   {
      cache->count = 0;
      cache->overlapped = false;
      cache->atA = cache->atB = 0;
      cache->cores = cores;
   }
   return cache;
}
} // namespace zqConvex
