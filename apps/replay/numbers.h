#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

namespace zqReplay
{
/// The nearest number of single precision, which a finite number always has here: what is too large becomes the
/// largest one.
inline float single(ZqReal value) noexcept
{
   constexpr ZqReal largest = std::numeric_limits<float>::max();
   return static_cast<float>(std::clamp(value, -largest, largest));
}

/// Numbers by their bytes, the lowest first, in base 64 (RFC 4648).
std::string base64(std::string_view bytes);
template <class Number>
std::string base64(std::span<const Number> numbers)
{
   using Bits = std::conditional_t<sizeof(Number) == 8, std::uint64_t, std::uint32_t>;
   static_assert(sizeof(Number) == sizeof(Bits));
   std::string bytes;
   bytes.reserve(numbers.size_bytes());
   for (const Number number : numbers)
   {
      const auto bits = std::bit_cast<Bits>(number);
      for (std::size_t i = 0; i < sizeof(Bits); ++i)
         bytes += static_cast<char>(bits >> (8 * i) & 0xff);
   }
   return base64(std::string_view(bytes));
}
} // namespace zqReplay
