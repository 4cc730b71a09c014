#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <cmath>
#include <limits>

/// What contacts ask of the step of one body. Its motion x'' = -w2 x - w2 T x' is stable by explicit steps with
/// dt^2 w2 / 4 + dt w2 T / 2 < 1, and contacts add up to such a motion: w2 is their sum, and T their mean, weighted
/// by w2.
struct ZqContactLoad
{
   /// A contact of a stiffness (N/m) and a ratio of damper to stiffness (s) between bodies of the mass
   /// m1 m2 / (m1 + m2) (kg). The 4 is what a cube adds at a corner: 1 / m for its translation and
   /// (a^2 / 2) / (m a^2 / 6) for its turn.
   static ZqContactLoad of(ZqReal stiffness, ZqReal dampingTime, ZqReal mass) noexcept
   {
      if (!(stiffness > 0.0 && mass > 0.0 && mass < std::numeric_limits<ZqReal>::infinity()))
         return {};
      const ZqReal rate = 4.0 * stiffness / mass;
      return {rate, rate * dampingTime};
   }
   void operator+=(const ZqContactLoad& other) noexcept
   {
      rate += other.rate;
      damping += other.damping;
   }
   /// sqrt(T^2 + 4 / w2) - T (s), without loss of digits; infinite without contacts.
   ZqReal longestStep() const noexcept
   {
      if (!(rate > 0.0))
         return std::numeric_limits<ZqReal>::infinity();
      const ZqReal T = damping / rate;
      const ZqReal r = 4.0 / rate;
      return r / (std::sqrt(T * T + r) + T);
   }

   ZqReal rate = 0.0;    ///< w2 (1/s^2)
   ZqReal damping = 0.0; ///< w2 T (1/s)
};
