#include "apps/zqsim/sweep/samplesToDo.h"

#include <algorithm>

zqsim::SampleRange zqsim::SamplesToDo::take(std::uint64_t count, std::uint64_t limit)
{
   if (!m_returned.empty())
   {
      const auto [first, end] = *m_returned.begin();
      m_returned.erase(m_returned.begin());
      const SampleRange taken{first, std::min(end, first + count)};
      giveBack({taken.end, end});
      return taken;
   }
   while (!m_new.isEmpty() && m_isDone(m_new.first))
      ++m_new.first;
   SampleRange taken{m_new.first, m_new.first};
   const std::uint64_t last = std::min(m_new.end, limit);
   while (taken.end < last && taken.size() < count && !m_isDone(taken.end))
      ++taken.end;
   m_new.first = taken.end;
   return taken;
}

void zqsim::SamplesToDo::giveBack(SampleRange samples)
{
   if (!samples.isEmpty())
      m_returned.emplace(samples.first, samples.end);
}
