#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

/// A number that never goes below zero, such as a mass.
///
/// A negative value or NaN is stored as zero, and logged: "ZqNonNegReal: negative value %g set to
/// zero". A difference stops at zero without a message. Comparisons go through the conversion.
class ZqNonNegReal
{
public:
   constexpr ZqNonNegReal() noexcept = default;
   constexpr ZqNonNegReal(ZqReal value)
      : m_value(value >= 0.0 ? positiveZero(value) : repair(value))
   {
   }

   constexpr operator ZqReal() const noexcept { return m_value; }

   friend constexpr ZqNonNegReal operator+(const ZqNonNegReal& a, const ZqNonNegReal& b)
   {
      return a.m_value + b.m_value;
   }
   friend constexpr ZqNonNegReal operator-(const ZqNonNegReal& a, const ZqNonNegReal& b)
   {
      return a.m_value > b.m_value ? a.m_value - b.m_value : 0.0;
   }
   constexpr ZqNonNegReal& operator*=(ZqReal factor) { return *this = m_value * factor; }

   // With a plain number the result is a plain number, which may be negative.
   friend constexpr ZqReal operator+(const ZqNonNegReal& a, ZqReal b) { return a.m_value + b; }
   friend constexpr ZqReal operator+(ZqReal a, const ZqNonNegReal& b) { return a + b.m_value; }
   friend constexpr ZqReal operator-(const ZqNonNegReal& a, ZqReal b) { return a.m_value - b; }
   friend constexpr ZqReal operator-(ZqReal a, const ZqNonNegReal& b) { return a - b.m_value; }

private:
   static constexpr ZqReal positiveZero(ZqReal value) noexcept { return value + 0.0; }
   /// Logs the value and returns zero.
   static ZqReal repair(ZqReal value);

   ZqReal m_value = 0.0;
};
