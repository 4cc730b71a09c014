#pragma once

#include "zqManipulator/kinematics/system/ZqStatedSystem.h"

#include <string>
#include <vector>

namespace zqsim
{
/// A drawing of joint positions over time, as SVG. Each manipulator has a panel for its angles and one
/// for its lengths.
///
/// However long a simulation is, about a thousand samples of it are kept: when there are more, every
/// second one goes, and of what comes so many fewer are taken.
class Plot
{
public:
   explicit Plot(const ZqStatedSystem& scene);

   void sample(const ZqManipulatorSystemState& state);
   /// The same, whether or not it is one that would be taken.
   void sampleLast(const ZqManipulatorSystemState& state);
   /// Of at least one sample.
   std::string svg() const;

private:
   struct Line
   {
      std::string label;
      ZqU32 manipulator;
      ZqU32 joint;
      std::vector<ZqReal> values;
   };
   struct Panel
   {
      std::string title;
      const char* quantity; ///< with its unit
      std::vector<Line> lines;
   };

   void take(const ZqManipulatorSystemState& state);
   /// Widens the drawing as it needs to.
   std::string draw(const Panel& panel, ZqReal top, ZqReal& width) const;

   std::vector<ZqReal> m_times;
   std::vector<Panel> m_panels;
   std::size_t m_stride = 1;
   std::size_t m_skipped = 0;
};
} // namespace zqsim
