#pragma once

#include <array>
#include <charconv>
#include <cstdint>
#include <string>
#include <vector>

/// Kinematic and dynamic quantities, in SI units and radians.
using ZqReal = double;
/// Counts and indices.
using ZqU32 = std::uint32_t;
/// Success (true) or failure (false) of an operation.
using ZqBoolean = bool;
using ZqString = std::string;
using ZqRealVector = std::vector<ZqReal>;

/// Names the root link of a manipulator, which stands in no list of links (-2 as a signed index).
inline constexpr ZqU32 ZqBaseLinkIndex = 0xFFFFFFFE;
/// An index not assigned yet.
inline constexpr ZqU32 ZqNoLinkIndex = 0xFFFFFFFF;

/// The text of an unsigned integer. A base outside of 2 to 36 gives an empty string.
inline ZqString ZqINT2STRING(ZqU32 value, int base)
{
   if (base < 2 || base > 36)
      return {};
   std::array<char, 32> text;
   const auto end = std::to_chars(text.data(), text.data() + text.size(), value, base).ptr;
   return {text.data(), end};
}
