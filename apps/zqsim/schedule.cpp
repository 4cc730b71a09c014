#include "apps/zqsim/schedule.h"

#include "apps/zqsim/commands.h"
#include "apps/zqsim/output.h"

#include <algorithm>
#include <cmath>
#include <limits>

zqsim::Schedule::Schedule(ZqReal start, ZqReal duration, ZqReal step)
   : m_start(start), m_end(start + duration), m_step(step)
{
   if (!(step <= duration))
      throw Failure(Usage, "--dt: a step of " + exact(step) + " s is longer than --time, " +
                              exact(duration) + " s");
   constexpr ZqReal most = 1e15;
   const ZqReal farthest = std::max(std::abs(m_start), std::abs(m_end));
   if (!(farthest / step <= most && duration / step <= most))
      throw Failure(Usage, "--dt: steps of " + exact(step) + " s are too short for " +
                              exact(duration) + " s from the time of the state, " + exact(start) +
                              " s");
   // What differs from a multiple by rounding is that multiple.
   const ZqReal rounding = 4.0 * std::numeric_limits<ZqReal>::epsilon() * farthest;
   const auto isMultiple = [&](ZqReal time)
   { return std::abs(time - std::round(time / step) * step) <= rounding; };
   m_startMultiple = isMultiple(start) ? std::round(start / step) : std::floor(start / step);
   ZqReal endMultiple = std::ceil(m_end / step);
   if (isMultiple(m_end))
   {
      endMultiple = std::round(m_end / step);
      m_end = endMultiple * step;
   }
   m_count = static_cast<std::uint64_t>(endMultiple - m_startMultiple);
}
