#include "zqManipulator/tools/variation/ZqVariationStudy.h"

#include <array>
#include <charconv>
#include <type_traits>

template class ZqXmlClass<ZqVariationStudy>;
template class ZqXmlClass<ZqVariationOrigin, ZqVariationStudy>;

namespace
{
ZqString faultOf(ZqReal sigma)
{
   if (sigma >= 0.0 && sigma <= ZqVariationStudy::greatestSigma)
      return {};
   std::array<char, 32> digits{};
   const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), sigma);
   return "expected a number from 0 to 1e30, but received " + ZqString(digits.data(), end.ptr);
}

ZqString faultOf(const ZqString& /*text*/)
{
   return {};
}

/// The fault of a part, if it has one, after its name.
ZqString named(const ZqString& name, const ZqString& fault)
{
   if (fault.empty())
      return {};
   return name + (fault.starts_with("expected") ? ": " : "/") + fault;
}

ZqString faultOf(const ZqXmlVectorBasicType<ZqReal>& sigmas)
{
   for (unsigned i = 0; i < sigmas.size(); ++i)
      if (const ZqString fault = faultOf(sigmas[i]); !fault.empty())
         return named('[' + std::to_string(i) + ']', fault);
   return {};
}

template <class Record>
ZqString faultOf(const Record& record) requires requires
{
   Record::components();
};

template <class T>
ZqString faultOf(const ZqXmlVectorType<T>& list);

template <class T>
ZqString faultOf(const ZqXmlMapType<ZqString, T>& map)
{
   for (const auto& [label, value] : map.mapContainer())
      if (const ZqString fault = faultOf(value); !fault.empty())
         return named("link '" + label + '\'', fault);
   return {};
}

template <class T>
ZqString faultOf(const ZqXmlVectorType<T>& list)
{
   for (unsigned i = 0; i < list.size(); ++i)
      if (const ZqString fault = faultOf(list[i]); !fault.empty())
         return named('[' + std::to_string(i) + ']', fault);
   return {};
}

/// Of all members that a class lists, in their order.
template <class Record>
ZqString faultOf(const Record& record) requires requires
{
   Record::components();
}
{
   ZqString first;
   const auto ask = [&](const auto& component)
   {
      if (first.empty())
         first = named(ZqString(component.token->localName()), faultOf(record.*component.member));
   };
   std::apply([&](const auto&... component) { (ask(component), ...); }, Record::components());
   return first;
}
} // namespace

ZqString ZqVariationStudy::fault() const
{
   return faultOf(*this);
}
