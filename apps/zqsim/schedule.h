#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <cstdint>

namespace zqsim
{
/// The times of steps: multiples of their nominal length, so that a run that goes on where another has
/// ended steps at the same times as one run. A first or last step to or from another time is shorter. There is none when
/// it ends where it starts.
class Schedule
{
public:
   /// \name In s. What cannot be is a `Failure`.
   /// @{
   static Schedule lasting(ZqReal duration, ZqReal start, ZqReal step);
   static Schedule until(ZqReal end, ZqReal start, ZqReal step);
   /// @}

   ZqReal start() const { return m_start; }
   ZqReal end() const { return m_end; }
   std::uint64_t count() const { return m_count; }
   /// After so many steps, and after one more: the multiple that would come next.
   ZqReal time(std::uint64_t steps) const
   {
      if (steps == m_count)
         return m_end;
      return steps < m_count ? (m_startMultiple + static_cast<ZqReal>(steps)) * m_step
                             : m_nextMultiple * m_step;
   }

private:
   Schedule(ZqReal start, ZqReal end, ZqReal step);

   ZqReal m_start;
   ZqReal m_end;
   ZqReal m_step;
   ZqReal m_startMultiple; ///< of the step: the last that is not after the start
   ZqReal m_nextMultiple;  ///< the first after the end
   std::uint64_t m_count = 0;
};
} // namespace zqsim
