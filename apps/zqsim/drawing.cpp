#include "apps/zqsim/drawing.h"

#include "zqManipulator/foundation/log/ZqDiagnostic.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace
{
std::string number(ZqReal value, std::chars_format format, int precision)
{
   std::array<char, 64> digits{};
   const auto end =
      std::to_chars(digits.data(), digits.data() + digits.size(), value, format, precision);
   return {digits.data(), end.ptr};
}

/// Text between tags. A document holds no other characters that would be refused.
std::string escaped(const std::string& text)
{
   std::string result;
   for (const char c : Zq::oneLine(text))
      if (c == '<')
         result += "&lt;";
      else if (c == '&')
         result += "&amp;";
      else
         result += c;
   return result;
}

constexpr const char* styleSheet =
   "<style>\n"
   "text { font: 12px sans-serif; fill: #444 }\n"
   ".title { font-size: 14px; font-weight: bold; fill: #222 }\n"
   "line { stroke: #e6e6e6 }\n"
   ".zero { stroke: #b4b4b4 }\n"
   ".frame { fill: none; stroke: #999 }\n"
   "polyline { fill: none; stroke-width: 1.8; stroke-linejoin: round }\n"
   "</style>\n";
} // namespace

zqsim::Axis::Axis(ZqReal low, ZqReal high, ZqReal pixelsLow, ZqReal pixelsHigh)
   : m_low(low), m_high(high), m_pixelsLow(pixelsLow), m_pixelsHigh(pixelsHigh)
{
   // A range of nothing, or of rounding errors, is no range.
   const ZqReal smallest = std::max(1e-9 * std::max(std::abs(low), std::abs(high)), 1e-12);
   if (!(m_high - m_low > smallest))
   {
      const ZqReal half = std::max(0.5 * std::abs(low), 0.5);
      m_low -= half;
      m_high += half;
   }
   // 1, 2 or 5 times a power of ten, for about six steps
   const ZqReal rough = (m_high / 6.0 - m_low / 6.0);
   const ZqReal power = std::floor(std::log10(rough));
   m_step = std::pow(10.0, power);
   for (const ZqReal factor : {2.0, 2.5, 2.0})
      if (m_step * 1.4 < rough)
         m_step *= factor;
   m_decimals = std::max(0, static_cast<int>(-std::floor(std::log10(m_step) + 1e-6)));
}

zqsim::Axis& zqsim::Axis::roundOut()
{
   constexpr ZqReal largest = std::numeric_limits<ZqReal>::max();
   constexpr ZqReal room = 0.15; // of a step
   m_low = std::max(-largest, std::floor(m_low / m_step - room) * m_step);
   m_high = std::min(largest, std::ceil(m_high / m_step + room) * m_step);
   return *this;
}

ZqReal zqsim::Axis::place(ZqReal value) const
{
   // Halves, as the whole range may be more than the largest number.
   const ZqReal part = (0.5 * value - 0.5 * m_low) / (0.5 * m_high - 0.5 * m_low);
   return m_pixelsLow + part * (m_pixelsHigh - m_pixelsLow);
}

std::vector<ZqReal> zqsim::Axis::ticks() const
{
   std::vector<ZqReal> result;
   constexpr ZqReal tolerance = 1e-6;
   for (ZqReal n = std::ceil(m_low / m_step - tolerance);
        n <= m_high / m_step + tolerance && result.size() < 20; ++n)
      result.push_back(n * m_step);
   return result;
}

std::string zqsim::Axis::text(ZqReal tick) const
{
   constexpr ZqReal large = 1e6;
   if (std::abs(tick) >= large || m_decimals > 6)
      return number(tick, std::chars_format::general, 6);
   // No minus before a zero.
   return number(tick == 0.0 ? 0.0 : tick, std::chars_format::fixed, m_decimals);
}

std::string zqsim::pixels(ZqReal value)
{
   return number(value, std::chars_format::fixed, 1);
}

std::string zqsim::label(ZqReal x, ZqReal y, const std::string& attributes, const std::string& text)
{
   return "<text x=\"" + pixels(x) + "\" y=\"" + pixels(y) + '"' + attributes + '>' +
          escaped(text) + "</text>\n";
}

std::string zqsim::segment(ZqReal x1, ZqReal y1, ZqReal x2, ZqReal y2,
                           const std::string& attributes)
{
   return "<line x1=\"" + pixels(x1) + "\" y1=\"" + pixels(y1) + "\" x2=\"" + pixels(x2) +
          "\" y2=\"" + pixels(y2) + '"' + attributes + "/>\n";
}

std::string zqsim::curve(const std::vector<Point>& points, const std::string& attributes)
{
   std::string result = "<polyline" + attributes + " points=\"";
   for (const Point& point : points)
      result += pixels(point.x) + ',' + pixels(point.y) + ' ';
   result.back() = '"';
   return result + "/>\n";
}

std::string zqsim::rectangle(ZqReal left, ZqReal top, ZqReal right, ZqReal bottom,
                             const std::string& attributes)
{
   return "<rect x=\"" + pixels(left) + "\" y=\"" + pixels(top) + "\" width=\"" +
          pixels(right - left) + "\" height=\"" + pixels(bottom - top) + '"' + attributes + "/>\n";
}

std::string zqsim::panelFrame(const std::string& title, const std::string& xName,
                              const std::string& yName, const Axis& x, const Axis& y, ZqReal top,
                              ZqReal bottom)
{
   const ZqReal right = leftMargin + plotWidth;
   std::string result =
      label(leftMargin, top - 14.0, " class=\"title\"", title) +
      label(0.0, 0.0,
            R"( text-anchor="middle" transform="translate(20 )" + pixels(0.5 * (top + bottom)) +
               ") rotate(-90)\"",
            yName) +
      label(0.5 * (leftMargin + right), bottom + 38.0, " text-anchor=\"middle\"", xName);
   for (const ZqReal tick : y.ticks())
   {
      const ZqReal place = y.place(tick);
      result += segment(leftMargin, place, right, place, tick == 0.0 ? " class=\"zero\"" : "") +
                label(leftMargin - 8.0, place + 4.0, " text-anchor=\"end\"", y.text(tick));
   }
   for (const ZqReal tick : x.ticks())
   {
      const ZqReal place = x.place(tick);
      result += segment(place, top, place, bottom, "") +
                label(place, bottom + 18.0, " text-anchor=\"middle\"", x.text(tick));
   }
   return result + rectangle(leftMargin, top, right, bottom, " class=\"frame\"");
}

std::string zqsim::drawing(const std::string& panels, ZqReal width, ZqReal height)
{
   const std::string size = pixels(width) + "\" height=\"" + pixels(height);
   return R"(<svg xmlns="http://www.w3.org/2000/svg" width=")" + size + "\" viewBox=\"0 0 " +
          pixels(width) + ' ' + pixels(height) + "\">\n" + styleSheet + "<rect width=\"" + size +
          "\" fill=\"white\"/>\n" + panels + "</svg>\n";
}
