#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <string>
#include <vector>

/// Parts of drawings as SVG. Lengths are in pixels.
namespace zqsim
{
constexpr ZqReal plotWidth = 620.0;
constexpr ZqReal leftMargin = 76.0;
constexpr ZqReal titleHeight = 40.0;
constexpr ZqReal axisHeight = 52.0;

struct Point
{
   ZqReal x, y;
};

/// A range of values, its round steps, and where it is in the drawing.
class Axis
{
public:
   Axis(ZqReal low, ZqReal high, ZqReal pixelsLow, ZqReal pixelsHigh);

   /// Extends the range to whole steps, with some room for what is at its ends.
   Axis& roundOut();
   ZqReal place(ZqReal value) const;
   std::vector<ZqReal> ticks() const;
   std::string text(ZqReal tick) const;

private:
   ZqReal m_low, m_high;
   ZqReal m_pixelsLow, m_pixelsHigh;
   ZqReal m_step = 1.0;
   int m_decimals = 0;
};

std::string pixels(ZqReal value);
std::string label(ZqReal x, ZqReal y, const std::string& attributes, const std::string& text);
std::string segment(ZqReal x1, ZqReal y1, ZqReal x2, ZqReal y2, const std::string& attributes);
std::string curve(const std::vector<Point>& points, const std::string& attributes);
std::string rectangle(ZqReal left, ZqReal top, ZqReal right, ZqReal bottom,
                      const std::string& attributes);
/// What a panel from `leftMargin` on has around and behind its values: title, names of the axes, and lines at round
/// values.
std::string panelFrame(const std::string& title, const std::string& xName, const std::string& yName,
                       const Axis& x, const Axis& y, ZqReal top, ZqReal bottom);
/// The whole of a drawing around its parts.
std::string drawing(const std::string& parts, ZqReal width, ZqReal height);
} // namespace zqsim
