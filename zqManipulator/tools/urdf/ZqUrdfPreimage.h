#pragma once

#include "zqManipulator/foundation/algebra/ZqVector.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <optional>

/// What is written, read and written again should not drift: numbers that come out of rounded arithmetic are replaced
/// by such that lead to the same value again.
namespace ZqUrdf
{
/// The largest component, for `preimage` of a vector of one unit; 1 of zero.
inline ZqReal scaleOf(const ZqVector& v)
{
   const ZqReal largest = std::max({std::abs(v.x()), std::abs(v.y()), std::abs(v.z())});
   return largest > 0.0 && std::isfinite(largest) ? largest : 1.0;
}

/// A number without the rounding of the arithmetic that it comes from, which is a few times 2^-53 of a scale: the
/// decimal number of ten places next to it, or else the multiple of a step.
struct Candidates
{
   static constexpr std::array steps{0, 1, -1, 2, -2, 3, -3};

   Candidates(ZqReal value, ZqReal scale)
   {
      const ZqReal step = std::ldexp(1.0, std::ilogb(scale) - 52);
      const ZqReal decimal = std::round(value * 1e10) / 1e10;
      const ZqReal multiple = std::round(value / step) * step;
      const bool isDecimal = std::abs(decimal - value) <= 4.0 * step;
      values[0] = isDecimal ? decimal : multiple;
      for (const int k : steps)
         values[++last] = multiple + k * step;
   }

   std::array<ZqReal, steps.size() + 1> values;
   std::size_t last = 0;
};

/// The vector of which `image` makes the target to the bit, if there is one among the candidates next to what
/// `inverse` makes of the target, which is right but for rounding; the first in a fixed order.
template <class Value, class Inverse, class Image>
std::optional<ZqVector> exactPreimage(const Value& target, const Inverse& inverse,
                                      const Image& image, ZqReal scale)
{
   const ZqVector start = inverse(target);
   const std::array c{Candidates(start.x(), scale), Candidates(start.y(), scale),
                      Candidates(start.z(), scale)};
   for (const ZqReal z : c[2].values)
      for (const ZqReal y : c[1].values)
         for (const ZqReal x : c[0].values)
            if (const ZqVector v(x, y, z); image(v) == target)
               return v;
   return std::nullopt;
}

/// The vector of which `image` makes the target, or, where rounding leaves none, its nearest neighbour. For the
/// image of an answer it answers the same again.
template <class Value, class Inverse, class Image>
ZqVector preimage(const Value& target, const Inverse& inverse, const Image& image, ZqReal scale)
{
   if (const auto exact = exactPreimage(target, inverse, image, scale))
      return *exact;
   const ZqVector start = inverse(target);
   const ZqVector nearby(Candidates(start.x(), scale).values[0],
                         Candidates(start.y(), scale).values[0],
                         Candidates(start.z(), scale).values[0]);
   return exactPreimage(image(nearby), inverse, image, scale).value_or(nearby);
}
} // namespace ZqUrdf
