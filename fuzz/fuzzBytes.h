#pragma once

#include "zqManipulator/foundation/algebra/ZqVector.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace zqFuzz
{
inline void require(bool condition, int line = __builtin_LINE())
{
   if (condition)
      return;
   std::fprintf(stderr, "line %d\n", line);
   std::abort();
}

/// Numbers out of bytes; zeros when these have come to an end.
class Bytes
{
public:
   Bytes(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}
   std::uint8_t byte()
   {
      if (m_size == 0)
         return 0;
      --m_size;
      return *m_data++;
   }
   /// Often a small whole number, so that faces and edges coincide; else any finite one, up to a limit.
   ZqReal real(ZqReal limit)
   {
      const std::uint8_t kind = byte();
      if (kind < 192)
         return (kind % 64 - 32) / 16.0;
      ZqReal value = 0.0;
      std::uint8_t raw[sizeof value];
      for (std::uint8_t& b : raw)
         b = byte();
      std::memcpy(&value, raw, sizeof value);
      if (!std::isfinite(value))
         return 0.0;
      return std::fmod(value, limit);
   }
   ZqReal size() { return std::abs(real(1e3)); }
   ZqVector vector(ZqReal limit)
   {
      const ZqReal x = real(limit);
      const ZqReal y = real(limit);
      return {x, y, real(limit)};
   }
   /// From 0 to 1.
   ZqReal share() { return byte() / 255.0; }
   /// Of all orders of magnitude between two.
   ZqReal magnitude(ZqReal least, ZqReal most) { return least * std::pow(most / least, share()); }

private:
   const std::uint8_t* m_data;
   std::size_t m_size;
};
} // namespace zqFuzz
