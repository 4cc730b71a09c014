#include "apps/zqsim/schedule.h"

#include "apps/zqsim/commands.h"
#include "apps/zqsim/output.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace
{
/// Within rounding.
bool isSame(ZqReal time, ZqReal other)
{
   return std::abs(time - other) <=
          4.0 * std::numeric_limits<ZqReal>::epsilon() * std::max(std::abs(time), std::abs(other));
}
} // namespace

zqsim::Schedule zqsim::Schedule::lasting(ZqReal duration, ZqReal start, ZqReal step)
{
   return {start, start + duration, step};
}

zqsim::Schedule zqsim::Schedule::until(ZqReal end, ZqReal start, ZqReal step)
{
   if (!(end > start || isSame(end, start)))
      throw Failure(Usage,
                    "--until: " + exact(end) + " s is before the start at " + exact(start) + " s");
   return {start, end, step};
}

zqsim::Schedule::Schedule(ZqReal start, ZqReal end, ZqReal step)
   : m_start(start), m_end(end), m_step(step)
{
   constexpr ZqReal most = 1e15;
   const ZqReal duration = end - start;
   const ZqReal farthest = std::max(std::abs(m_start), std::abs(m_end));
   if (!(farthest / step <= most && duration / step <= most))
      throw Failure(Usage, "--dt: steps of " + exact(step) + " s are too short from " +
                              exact(start) + " s to " + exact(end) + " s");
   const auto isMultiple = [&](ZqReal time)
   { return isSame(time, std::round(time / step) * step); };
   m_startMultiple = isMultiple(start) ? std::round(start / step) : std::floor(start / step);
   ZqReal endMultiple = std::ceil(m_end / step);
   m_nextMultiple = endMultiple;
   if (isMultiple(m_end))
   {
      endMultiple = std::round(m_end / step);
      m_end = endMultiple * step;
      m_nextMultiple = endMultiple + 1.0;
   }
   if (!isSame(m_end, m_start))
      m_count = static_cast<std::uint64_t>(endMultiple - m_startMultiple);
}
