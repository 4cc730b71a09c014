#include "apps/zqsim/schedule.h"

#include "apps/zqsim/commands.h"
#include "apps/zqsim/output.h"

#include <algorithm>
#include <cmath>
#include <limits>

zqsim::Schedule zqsim::Schedule::lasting(ZqReal duration, ZqReal start, ZqReal step)
{
   if (!(step <= duration))
      throw Failure(Usage, "--dt: a step of " + exact(step) + " s is longer than --time, " +
                              exact(duration) + " s");
   return {start, start + duration, step};
}

zqsim::Schedule zqsim::Schedule::until(ZqReal end, ZqReal start, ZqReal step)
{
   if (!(end > start))
      throw Failure(Usage, "--until: " + exact(end) + " s is not after the start at " +
                              exact(start) + " s");
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
   // What differs from a multiple by rounding is that multiple.
   const ZqReal rounding = 4.0 * std::numeric_limits<ZqReal>::epsilon() * farthest;
   const auto isMultiple = [&](ZqReal time)
   { return std::abs(time - std::round(time / step) * step) <= rounding; };
   m_startMultiple = isMultiple(start) ? std::round(start / step) : std::floor(start / step);
   ZqReal endMultiple = std::ceil(m_end / step);
   m_nextMultiple = endMultiple;
   if (isMultiple(m_end))
   {
      endMultiple = std::round(m_end / step);
      m_end = endMultiple * step;
      m_nextMultiple = endMultiple + 1.0;
   }
   m_count = static_cast<std::uint64_t>(endMultiple - m_startMultiple);
}
