#include "apps/zqsim/plot.h"

#include "apps/zqsim/output.h"
#include "zqManipulator/foundation/log/ZqDiagnostic.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

namespace
{
using namespace zqsim;

constexpr std::size_t mostSamples = 1000;

// In pixels
constexpr ZqReal plotWidth = 620.0;
constexpr ZqReal leftMargin = 76.0;
constexpr ZqReal legendGap = 20.0;
constexpr ZqReal legendLine = 19.0;
constexpr ZqReal legendMark = 20.0;
constexpr ZqReal titleHeight = 40.0;
constexpr ZqReal axisHeight = 52.0;
constexpr ZqReal characterWidth = 7.0; ///< about that of the legend's letters

/// Colors that the color-blind tell apart (M. Okabe, K. Ito 2008), less the yellow, which is pale on
/// white.
constexpr std::array colors{"#0072b2", "#d55e00", "#009e73", "#cc79a7",
                            "#e69f00", "#56b4e9", "#333333"};
/// For lines beyond the colors.
constexpr std::array dashes{"", " stroke-dasharray=\"7 3\"", " stroke-dasharray=\"2 2\"",
                            " stroke-dasharray=\"9 3 2 3\""};

std::string style(std::size_t line)
{
   return std::string(" stroke=\"") + colors[line % colors.size()] + '"' +
          dashes[line / colors.size() % dashes.size()];
}

std::string number(ZqReal value, std::chars_format format, int precision)
{
   std::array<char, 64> digits{};
   const auto end =
      std::to_chars(digits.data(), digits.data() + digits.size(), value, format, precision);
   return {digits.data(), end.ptr};
}

std::string pixels(ZqReal value)
{
   return number(value, std::chars_format::fixed, 1);
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

std::string label(ZqReal x, ZqReal y, const std::string& attributes, const std::string& text)
{
   return "<text x=\"" + pixels(x) + "\" y=\"" + pixels(y) + '"' + attributes + '>' +
          escaped(text) + "</text>\n";
}

std::string segment(ZqReal x1, ZqReal y1, ZqReal x2, ZqReal y2, const std::string& attributes)
{
   return "<line x1=\"" + pixels(x1) + "\" y1=\"" + pixels(y1) + "\" x2=\"" + pixels(x2) +
          "\" y2=\"" + pixels(y2) + '"' + attributes + "/>\n";
}

/// A range of values, its round steps, and where it is in the drawing.
class Axis
{
public:
   Axis(ZqReal low, ZqReal high, ZqReal pixelsLow, ZqReal pixelsHigh)
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

   /// Extends the range to whole steps, with some room for what is at its ends.
   Axis& roundOut()
   {
      constexpr ZqReal largest = std::numeric_limits<ZqReal>::max();
      constexpr ZqReal room = 0.15; // of a step
      m_low = std::max(-largest, std::floor(m_low / m_step - room) * m_step);
      m_high = std::min(largest, std::ceil(m_high / m_step + room) * m_step);
      return *this;
   }
   ZqReal place(ZqReal value) const
   {
      // Halves, as the whole range may be more than the largest number.
      const ZqReal part = (0.5 * value - 0.5 * m_low) / (0.5 * m_high - 0.5 * m_low);
      return m_pixelsLow + part * (m_pixelsHigh - m_pixelsLow);
   }
   std::vector<ZqReal> ticks() const
   {
      std::vector<ZqReal> result;
      constexpr ZqReal tolerance = 1e-6;
      for (ZqReal n = std::ceil(m_low / m_step - tolerance);
           n <= m_high / m_step + tolerance && result.size() < 20; ++n)
         result.push_back(n * m_step);
      return result;
   }
   std::string text(ZqReal tick) const
   {
      constexpr ZqReal large = 1e6;
      if (std::abs(tick) >= large || m_decimals > 6)
         return number(tick, std::chars_format::general, 6);
      // No minus before a zero.
      return number(tick == 0.0 ? 0.0 : tick, std::chars_format::fixed, m_decimals);
   }

private:
   ZqReal m_low, m_high;
   ZqReal m_pixelsLow, m_pixelsHigh;
   ZqReal m_step = 1.0;
   int m_decimals = 0;
};

struct Point
{
   ZqReal x, y;
};

std::string curve(const std::vector<Point>& points, const std::string& attributes)
{
   std::string result = "<polyline" + attributes + " points=\"";
   for (const Point& point : points)
      result += pixels(point.x) + ',' + pixels(point.y) + ' ';
   result.back() = '"';
   return result + "/>\n";
}

/// Of the legend, and so of the panel: more than a few columns would be too wide.
std::size_t rowsOf(std::size_t lines)
{
   return std::max<std::size_t>(13, (lines + 2) / 3);
}

ZqReal widthOf(const std::string& text)
{
   return characterWidth * static_cast<ZqReal>(text.size());
}
} // namespace

zqsim::Plot::Plot(std::string fileName, const std::vector<Trace>& traces)
   : m_fileName(std::move(fileName))
{
   for (const Trace& trace : traces)
   {
      auto panel = std::find_if(m_panels.begin(), m_panels.end(),
                                [&](const Panel& other) { return other.title == trace.panel; });
      if (panel == m_panels.end())
         panel = m_panels.insert(panel, {trace.panel, trace.quantity, {}});
      panel->lines.push_back({trace.label, trace.value, {}});
   }
}

void zqsim::Plot::see(ZqSimulation& simulation)
{
   if (++m_skipped < m_stride && !m_times.empty())
      return;
   take(simulation);
   if (m_times.size() < mostSamples)
      return;
   const auto thin = [](std::vector<ZqReal>& values)
   {
      for (std::size_t i = 0; 2 * i < values.size(); ++i)
         values[i] = values[2 * i];
      values.resize((values.size() + 1) / 2);
   };
   thin(m_times);
   for (Panel& panel : m_panels)
      for (Line& line : panel.lines)
         thin(line.values);
   m_stride *= 2;
}

void zqsim::Plot::finish(ZqSimulation& simulation)
{
   if (!m_times.empty() && m_times.back() < simulation.state().time())
      take(simulation);
   m_file->write(svg());
   m_file->close();
}

void zqsim::Plot::take(ZqSimulation& simulation)
{
   m_skipped = 0;
   m_times.push_back(simulation.state().time());
   const ZqSimulation::Energy energy = simulation.energy();
   for (Panel& panel : m_panels)
      for (Line& line : panel.lines)
         line.values.push_back(line.value(simulation, energy));
}

std::string zqsim::Plot::draw(const Panel& panel, ZqReal top, ZqReal& width) const
{
   const std::size_t rows = rowsOf(panel.lines.size());
   const ZqReal right = leftMargin + plotWidth;
   const ZqReal bottom = top + legendLine * static_cast<ZqReal>(rows);
   // What follows from a state, as a torque, may overflow in the last one before a divergence.
   ZqReal low = std::numeric_limits<ZqReal>::max();
   ZqReal high = -low;
   for (const Line& line : panel.lines)
      for (const ZqReal value : line.values)
         if (std::isfinite(value))
         {
            low = std::min(low, value);
            high = std::max(high, value);
         }
   const Axis times(m_times.front(), m_times.back(), leftMargin, right);
   const Axis positions = Axis(std::min(low, high), high, bottom, top).roundOut();

   std::string result =
      label(leftMargin, top - 14.0, " class=\"title\"", panel.title) +
      label(0.0, 0.0,
            R"( text-anchor="middle" transform="translate(20 )" + pixels(0.5 * (top + bottom)) +
               ") rotate(-90)\"",
            panel.quantity) +
      label(0.5 * (leftMargin + right), bottom + 38.0, " text-anchor=\"middle\"", "time (s)");
   for (const ZqReal tick : positions.ticks())
   {
      const ZqReal y = positions.place(tick);
      result += segment(leftMargin, y, right, y, tick == 0.0 ? " class=\"zero\"" : "") +
                label(leftMargin - 8.0, y + 4.0, " text-anchor=\"end\"", positions.text(tick));
   }
   for (const ZqReal tick : times.ticks())
   {
      const ZqReal x = times.place(tick);
      result += segment(x, top, x, bottom, "") +
                label(x, bottom + 18.0, " text-anchor=\"middle\"", times.text(tick));
   }
   result += "<rect x=\"" + pixels(leftMargin) + "\" y=\"" + pixels(top) + "\" width=\"" +
             pixels(right - leftMargin) + "\" height=\"" + pixels(bottom - top) +
             "\" class=\"frame\"/>\n";

   ZqReal column = right + legendGap;
   ZqReal end = column;
   for (std::size_t i = 0; i < panel.lines.size(); ++i)
   {
      const Line& line = panel.lines[i];
      std::vector<Point> points;
      for (std::size_t k = 0; k < m_times.size(); ++k)
         if (std::isfinite(line.values[k]))
            points.push_back({times.place(m_times[k]), positions.place(line.values[k])});
      if (i > 0 && i % rows == 0)
         column = end;
      const ZqReal y = top + legendLine * (static_cast<ZqReal>(i % rows) + 0.5);
      result += curve(points, style(i)) + curve({{column, y}, {column + legendMark, y}}, style(i)) +
                label(column + legendMark + 6.0, y + 4.0, "", line.label);
      end = std::max(end, column + legendMark + 6.0 + widthOf(line.label) + legendGap);
   }
   width = std::max(width, end);
   return result;
}

std::string zqsim::Plot::svg() const
{
   constexpr const char* styleSheet =
      "<style>\n"
      "text { font: 12px sans-serif; fill: #444 }\n"
      ".title { font-size: 14px; font-weight: bold; fill: #222 }\n"
      "line { stroke: #e6e6e6 }\n"
      ".zero { stroke: #b4b4b4 }\n"
      ".frame { fill: none; stroke: #999 }\n"
      "polyline { fill: none; stroke-width: 1.8; stroke-linejoin: round }\n"
      "</style>\n";

   std::string panels;
   ZqReal width = leftMargin + plotWidth;
   ZqReal height = 0.0;
   const bool isEmpty = m_panels.empty() || m_times.empty();
   if (!isEmpty)
      for (const Panel& panel : m_panels)
      {
         panels += draw(panel, height + titleHeight, width);
         height +=
            titleHeight + legendLine * static_cast<ZqReal>(rowsOf(panel.lines.size())) + axisHeight;
      }
   if (isEmpty)
   {
      panels = label(leftMargin, titleHeight, " class=\"title\"", "nothing to draw");
      height = titleHeight + axisHeight;
   }
   const std::string size = pixels(width) + "\" height=\"" + pixels(height);
   return R"(<svg xmlns="http://www.w3.org/2000/svg" width=")" + size + "\" viewBox=\"0 0 " +
          pixels(width) + ' ' + pixels(height) + "\">\n" + styleSheet + "<rect width=\"" + size +
          "\" fill=\"white\"/>\n" + panels + "</svg>\n";
}
