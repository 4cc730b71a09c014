#pragma once

#include "apps/zqsim/columns.h"
#include "apps/zqsim/observer.h"
#include "apps/zqsim/outputFile.h"

#include <optional>
#include <string>
#include <vector>

namespace zqsim
{
/// A drawing of traces over time, as SVG, each in its panel.
///
/// However long a simulation is, about a thousand samples of it are kept: when there are more, every
/// second one goes, and of what comes so many fewer are taken.
class Plot : public Observer
{
public:
   Plot(std::string fileName, const std::vector<Trace>& traces);

   void open() override { m_file.emplace(m_fileName); }
   void see(ZqSimulation& simulation) override;
   /// The last state is among the samples.
   void finish(ZqSimulation& simulation) override;

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
   std::string svg() const;
   /// Widens the drawing as it needs to.
   std::string draw(const Panel& panel, ZqReal top, ZqReal& width) const;

   std::string m_fileName;
   std::optional<OutputFile> m_file;
   std::vector<ZqReal> m_times;
   std::vector<Panel> m_panels;
   std::size_t m_stride = 1;
   std::size_t m_skipped = 0;
};
} // namespace zqsim
