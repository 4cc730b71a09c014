#pragma once

#include "zqManipulator/foundation/function/ZqBaseScalarFunction.h"

/// A straight line from the start value at 0 to the end value at 1, and on beyond both.
class ZqLinearScalarFunction : public ZqXmlClass<ZqLinearScalarFunction, ZqBaseScalarFunction>
{
public:
   static const ZqToken& classToken() { return ZqFunction::ZqLinearScalarFunctionToken; }
   static constexpr const char* documentation = "a straight line over the variable";
   template <class This = ZqLinearScalarFunction>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_startValue, &ZqFunction::ZqStartValueToken, "value at 0"},
         ZqComponent{&This::m_endValue, &ZqFunction::ZqEndValueToken, "value at 1"}};
   }
   bool operator==(const ZqLinearScalarFunction&) const = default;

   ZqLinearScalarFunction() = default;
   ZqLinearScalarFunction(ZqReal startValue, ZqReal endValue)
      : m_startValue(startValue), m_endValue(endValue)
   {
   }

   /// Exactly the start value at 0 and the end value at 1, also where they are of very different size.
   ZqReal evaluate(ZqReal t) const override;
   ZqReal startValue() const noexcept { return m_startValue; }
   void setStartValue(ZqReal value) noexcept { m_startValue = value; }
   ZqReal endValue() const noexcept { return m_endValue; }
   void setEndValue(ZqReal value) noexcept { m_endValue = value; }

private:
   ZqReal m_startValue = 0.0;
   ZqReal m_endValue = 0.0;
};

extern template class ZqXmlClass<ZqLinearScalarFunction, ZqBaseScalarFunction>;
