#pragma once

#include "apps/zqsim/columns.h"

#include <string>
#include <vector>

namespace zqsim
{
/// A drawing of traces over time, as SVG, each in its panel.
///
/// However long a simulation is, about a thousand samples of it are kept: when there are more, every
/// second one goes, and of what comes so many fewer are taken.
class Plot
{
public:
   explicit Plot(const std::vector<Trace>& traces);

   void sample(ZqSimulation& simulation);
   /// The same, whether or not it is one that would be taken.
   void sampleLast(ZqSimulation& simulation);
   /// Of at least one sample.
   std::string svg() const;

private:
   struct Line
   {
      std::string label;
      Trace::Value value;
      std::vector<ZqReal> values;
   };
   struct Panel
   {
      std::string title;
      const char* quantity; ///< with its unit
      std::vector<Line> lines;
   };

   void take(ZqSimulation& simulation);
   /// Widens the drawing as it needs to.
   std::string draw(const Panel& panel, ZqReal top, ZqReal& width) const;

   std::vector<ZqReal> m_times;
   std::vector<Panel> m_panels;
   std::size_t m_stride = 1;
   std::size_t m_skipped = 0;
};
} // namespace zqsim
