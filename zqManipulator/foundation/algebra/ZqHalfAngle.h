#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <cmath>
#include <iosfwd>

/// The cosine and sine of half an angle, from those of the angle and without trigonometry; half of
/// zero by default.
///
/// Of the two, the one that is not the smaller is taken by a square root, which is therefore never
/// taken of a small number, and is positive; the other follows from sin(x) = 2 sin(x/2) cos(x/2). The
/// pair may thus be the negative of that of the angle, which as a quaternion is the same rotation.
struct ZqHalfAngle
{
   constexpr ZqHalfAngle() noexcept = default;
   ZqHalfAngle(ZqReal cosine, ZqReal sine) noexcept
   {
      // The quotient and the root do not wait for one another.
      const ZqReal u = 1.0 + std::abs(cosine);
      const ZqReal larger = std::sqrt(0.5 * u);
      const ZqReal smaller = larger * (sine / u);
      const bool positive = cosine > 0.0;
      cos = positive ? larger : smaller;
      sin = positive ? smaller : larger;
   }

   ZqReal cos = 1.0;
   ZqReal sin = 0.0;

   friend std::ostream& operator<<(std::ostream& stream, const ZqHalfAngle& angle);
};
