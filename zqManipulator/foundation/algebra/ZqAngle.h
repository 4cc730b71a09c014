#pragma once

#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <iosfwd>

/// An angle in radians with its sine and cosine, which are computed once, when the value is set.
/// Any real number is kept as it is: nothing wraps. Angles compare by value, through the conversion.
class ZqAngle
{
public:
   constexpr ZqAngle() noexcept = default;
   ZqAngle(ZqReal value) noexcept : ZqAngle(value, ZqMath::cosineSine(value)) {}

   constexpr operator ZqReal() const noexcept { return m_value; }
   constexpr const ZqReal& sin() const noexcept { return m_sin; }
   constexpr const ZqReal& cos() const noexcept { return m_cos; }

   friend std::ostream& operator<<(std::ostream& stream, const ZqAngle& angle);

private:
   ZqAngle(ZqReal value, const ZqMath::CosineSine& numbers) noexcept
      : m_value(value), m_sin(numbers.sine), m_cos(numbers.cosine)
   {
   }

   ZqReal m_value = 0.0;
   ZqReal m_sin = 0.0;
   ZqReal m_cos = 1.0;
};
