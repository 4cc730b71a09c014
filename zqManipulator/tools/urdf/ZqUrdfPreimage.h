#pragma once

#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/algebra/ZqVector.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <optional>

/// What is written, read and written again should not drift: numbers that come out of rounded arithmetic are replaced
/// by such that lead to the same value again.
namespace ZqUrdf
{
/// The length of a vector as a scale, which is the same in all axes; 1 of zero.
inline ZqReal sizeOf(const ZqVector& v)
{
   const ZqReal length = v.mag();
   return length > 0.0 && std::isfinite(length) ? length : 1.0;
}

enum class Unit
{
   Length, ///< or any other
   Angle   ///< rad
};

/// The number that somebody may have meant by one next to it: of ten decimal places, or of an angle of whole
/// degrees. None within the tolerance is none.
inline std::optional<ZqReal> numberMeant(ZqReal value, ZqReal tolerance, Unit unit)
{
   const ZqReal decimal = std::round(value * 1e10) / 1e10;
   if (std::abs(decimal - value) <= tolerance)
      return decimal;
   const ZqReal degrees = std::round(value * (180.0 / ZqMath::pi)) * ZqMath::pi / 180.0;
   if (unit == Unit::Angle && std::abs(degrees - value) <= tolerance)
      return degrees;
   return std::nullopt;
}

/// A number without the rounding of the arithmetic that it comes from, which is a few times 2^-52 of a scale: first
/// the one that may be meant, then multiples of a step.
struct Candidates
{
   static constexpr std::array steps{0, 1, -1, 2, -2, 3, -3};

   Candidates(ZqReal value, ZqReal scale, Unit unit)
   {
      const ZqReal step = std::ldexp(1.0, std::ilogb(scale) - 50);
      const ZqReal multiple = std::round(value / step) * step;
      values[0] = numberMeant(value, 4.0 * step, unit).value_or(multiple);
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
                                      const Image& image, ZqReal scale, Unit unit = Unit::Length)
{
   const ZqVector start = inverse(target);
   const std::array c{Candidates(start.x(), scale, unit), Candidates(start.y(), scale, unit),
                      Candidates(start.z(), scale, unit)};
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
ZqVector preimage(const Value& target, const Inverse& inverse, const Image& image, ZqReal scale,
                  Unit unit = Unit::Length)
{
   if (const auto exact = exactPreimage(target, inverse, image, scale, unit))
      return *exact;
   const ZqVector start = inverse(target);
   const ZqVector nearby(Candidates(start.x(), scale, unit).values[0],
                         Candidates(start.y(), scale, unit).values[0],
                         Candidates(start.z(), scale, unit).values[0]);
   return exactPreimage(image(nearby), inverse, image, scale, unit).value_or(nearby);
}
} // namespace ZqUrdf
