#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <algorithm>
#include <cmath>
#include <numbers>

/// Scalar functions that take what rounding leaves over, and those whose bits must not depend on the C
/// library or the processor. NaN passes through each of them.
class ZqMath
{
public:
   static constexpr ZqReal pi = std::numbers::pi;

   /// Below this magnitude `nonZeroPos` replaces a value. Its reciprocal, 1e300, is finite and stands
   /// for "no limit" all over the library, while no time step, length or mass that a model can
   /// state is so small that it would be changed.
   static constexpr ZqReal smallestDivisor = 1e-300;

   /// The square root; 0 for negative values.
   static ZqReal sqrt(ZqReal x) { return x <= 0.0 ? 0.0 : std::sqrt(x); }

   /// The arc cosine in [0, pi], of the value clamped to [-1, 1].
   static ZqReal acos(ZqReal x) { return std::acos(std::clamp(x, -1.0, 1.0)); }

   struct CosineSine
   {
      ZqReal cosine, sine;
   };
   /// Of an angle of any size (rad), within one unit in the last place; the same bits on every processor.
   /// NaN for an angle that is not finite.
   static CosineSine cosineSine(ZqReal angle) noexcept;

   /// A divisor: x itself, or `smallestDivisor` where the magnitude of x is below that.
   static constexpr ZqReal nonZeroPos(ZqReal x) noexcept
   {
      return -smallestDivisor < x && x < smallestDivisor ? smallestDivisor : x;
   }
};
