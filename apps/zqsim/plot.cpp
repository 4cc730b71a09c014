#include "apps/zqsim/plot.h"

#include "apps/zqsim/drawing.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

namespace
{
using namespace zqsim;

constexpr std::size_t mostSamples = 1000;

// In pixels
constexpr ZqReal legendGap = 20.0;
constexpr ZqReal legendLine = 19.0;
constexpr ZqReal legendMark = 20.0;
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
      panelFrame(panel.title, "time (s)", panel.quantity, times, positions, top, bottom);

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
   return drawing(panels, width, height);
}
