#pragma once

#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"

#include <algorithm>
#include <cmath>

/// What becomes of numbers that shapes are given.
namespace zqConvex
{
/// Zero for what is not finite, and no more than products of four lengths bear.
inline ZqReal finite(ZqReal value) noexcept
{
   constexpr ZqReal longest = 1e75;
   return std::isfinite(value) ? std::clamp(value, -longest, longest) : 0.0;
}
inline ZqVector finite(const ZqVector& v) noexcept
{
   return {finite(v.x()), finite(v.y()), finite(v.z())};
}
inline bool isFinite(const ZqVector& v) noexcept
{
   return v - v == ZqVector();
}
/// With an orientation of unit length, and a place.
inline ZqCoordinateSystemTransformation
properFrame(const ZqCoordinateSystemTransformation& X) noexcept
{
   ZqOrientation orientation = X.orientation();
   if (!orientation.normalize())
      orientation.setToIdentity();
   return {finite(X.translation()), orientation};
}

/// Makes a length above or equal to zero; true when it was none.
inline bool repairLength(ZqReal& length) noexcept
{
   const bool isBad = !(length >= 0.0 && std::isfinite(length));
   if (isBad)
      length = 0.0;
   return isBad;
}
inline bool repairFrame(ZqCoordinateSystemTransformation& X) noexcept
{
   const ZqCoordinateSystemTransformation proper = properFrame(X);
   const bool isBad = !(proper == X);
   if (isBad)
      X = proper;
   return isBad;
}
/// Makes a normal that has a direction; true when it had none.
inline bool repairNormal(ZqVector& normal) noexcept
{
   const bool isBad = !(normal.mag() > 0.0 && std::isfinite(normal.mag()));
   if (isBad)
      normal = ZqVector::zVector(1.0);
   return isBad;
}
/// What a shape tells of two repairs, of which it may need either.
inline ZqString bothOf(bool first, const char* firstText, bool second, const char* secondText)
{
   return (first ? ZqString(firstText) : ZqString()) + (first && second ? ", and " : "") +
          (second ? secondText : "");
}

/// The nearest multiple of a tolerance, which is above zero.
inline ZqReal rounded(ZqReal value, ZqReal tolerance) noexcept
{
   const ZqReal result = std::round(value / tolerance) * tolerance;
   return std::isfinite(result) ? result : value;
}
inline ZqVector rounded(const ZqVector& v, ZqReal tolerance) noexcept
{
   return {rounded(v.x(), tolerance), rounded(v.y(), tolerance), rounded(v.z(), tolerance)};
}
inline void truncate(ZqReal& value, ZqReal tolerance) noexcept
{
   value = rounded(value, tolerance);
}
inline void truncate(ZqVector& v, ZqReal tolerance) noexcept
{
   v = rounded(v, tolerance);
}
inline void truncate(ZqCoordinateSystemTransformation& X, ZqReal tolerance) noexcept
{
   X.setTranslation(rounded(X.translation(), tolerance));
}
} // namespace zqConvex
