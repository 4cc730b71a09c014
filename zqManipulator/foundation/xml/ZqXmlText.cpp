#include "zqManipulator/foundation/xml/ZqXmlText.h"

#include "zqManipulator/foundation/xml/ZqXmlWhiteSpace.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace
{
template <class Number>
bool parseNumber(std::string_view text, Number& value)
{
   text = ZqXmlWhiteSpace::trimmed(text);
   // A plus sign is part of a number in XML, but not for from_chars.
   if (text.size() > 1 && text[0] == '+' && text[1] != '-')
      text.remove_prefix(1);
   Number number{};
   const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
   if (error != std::errc() || end != text.data() + text.size())
      return false;
   value = number;
   return true;
}

template <class Number>
void appendNumber(ZqString& out, Number value)
{
   std::array<char, 32> digits;
   const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), value);
   out.append(digits.data(), result.ptr);
}

/// Exactly so many reals, apart by white space.
template <std::size_t count>
bool parseReals(std::string_view text, std::array<ZqReal, count>& values)
{
   const bool allRead =
      std::all_of(values.begin(), values.end(),
                  [&](ZqReal& value)
                  { return ZqXmlText<ZqReal>::parse(ZqXmlWhiteSpace::takeWord(text), value); });
   return allRead && ZqXmlWhiteSpace::isAllSpace(text);
}

template <std::size_t count>
bool appendReals(ZqString& out, const std::array<ZqReal, count>& values)
{
   for (std::size_t i = 0; i < count; ++i)
   {
      if (i > 0)
         out += ' ';
      if (!ZqXmlText<ZqReal>::append(out, values[i]))
         return false;
   }
   return true;
}
} // namespace

bool ZqXmlText<ZqReal>::parse(std::string_view text, ZqReal& value)
{
   ZqReal number = 0.0;
   if (!parseNumber(text, number) || !std::isfinite(number))
      return false;
   value = number;
   return true;
}

bool ZqXmlText<ZqReal>::append(ZqString& out, ZqReal value)
{
   if (!std::isfinite(value))
      return false;
   appendNumber(out, value);
   return true;
}

bool ZqXmlText<ZqU32>::parse(std::string_view text, ZqU32& value)
{
   return parseNumber(text, value);
}

bool ZqXmlText<ZqU32>::append(ZqString& out, ZqU32 value)
{
   appendNumber(out, value);
   return true;
}

bool ZqXmlText<int>::parse(std::string_view text, int& value)
{
   return parseNumber(text, value);
}

bool ZqXmlText<int>::append(ZqString& out, int value)
{
   appendNumber(out, value);
   return true;
}

bool ZqXmlText<bool>::parse(std::string_view text, bool& value)
{
   text = ZqXmlWhiteSpace::trimmed(text);
   const bool yes = text == "true" || text == "1";
   if (!yes && text != "false" && text != "0")
      return false;
   value = yes;
   return true;
}

bool ZqXmlText<bool>::append(ZqString& out, bool value)
{
   out += value ? "true" : "false";
   return true;
}

bool ZqXmlText<ZqString>::parse(std::string_view text, ZqString& value)
{
   value = text;
   return true;
}

bool ZqXmlText<ZqString>::append(ZqString& out, const ZqString& value)
{
   out += value;
   return true;
}

bool ZqXmlText<ZqAngle>::parse(std::string_view text, ZqAngle& value)
{
   ZqReal number = 0.0;
   if (!ZqXmlText<ZqReal>::parse(text, number))
      return false;
   value = ZqAngle(number);
   return true;
}

bool ZqXmlText<ZqAngle>::append(ZqString& out, const ZqAngle& value)
{
   return ZqXmlText<ZqReal>::append(out, value);
}

bool ZqXmlText<ZqNonNegReal>::parse(std::string_view text, ZqNonNegReal& value)
{
   ZqReal number = 0.0;
   if (!ZqXmlText<ZqReal>::parse(text, number) || number < 0.0)
      return false;
   value = ZqNonNegReal(number);
   return true;
}

bool ZqXmlText<ZqNonNegReal>::append(ZqString& out, const ZqNonNegReal& value)
{
   return ZqXmlText<ZqReal>::append(out, value);
}

bool ZqXmlText<ZqVector>::parse(std::string_view text, ZqVector& value)
{
   std::array<ZqReal, 3> v;
   if (!parseReals(text, v))
      return false;
   value = ZqVector(v[0], v[1], v[2]);
   return true;
}

bool ZqXmlText<ZqVector>::append(ZqString& out, const ZqVector& value)
{
   return appendReals(out, std::array{value[0], value[1], value[2]});
}

bool ZqXmlText<ZqOrientation>::parse(std::string_view text, ZqOrientation& value)
{
   std::array<ZqReal, 4> q;
   if (!parseReals(text, q) || (q[0] == 0.0 && q[1] == 0.0 && q[2] == 0.0 && q[3] == 0.0))
      return false;
   value = ZqOrientation(q[0], q[1], q[2], q[3]);
   return true;
}

bool ZqXmlText<ZqOrientation>::append(ZqString& out, const ZqOrientation& value)
{
   return appendReals(out, std::array{value[0], value[1], value[2], value[3]});
}

bool ZqXmlText<ZqSpatialMatrix>::parse(std::string_view text, ZqSpatialMatrix& value)
{
   std::array<ZqReal, 9> m;
   if (!parseReals(text, m))
      return false;
   value = ZqSpatialMatrix(m[0], m[1], m[2], m[3], m[4], m[5], m[6], m[7], m[8]);
   return true;
}

bool ZqXmlText<ZqSpatialMatrix>::append(ZqString& out, const ZqSpatialMatrix& value)
{
   return appendReals(out,
                      std::array{value[0][0], value[0][1], value[0][2], value[1][0], value[1][1],
                                 value[1][2], value[2][0], value[2][1], value[2][2]});
}
