#include "zqManipulator/foundation/proximity/ZqPairGraph.h"

#include <algorithm>

namespace zqConvex
{
void PairGraph::clear(std::size_t count)
{
   m_pairs.clear();
   m_first.assign(count, none);
   m_free = none;
}

void PairGraph::add(unsigned a, unsigned b)
{
   int pair = m_free;
   if (pair == none)
   {
      pair = static_cast<int>(m_pairs.size());
      m_pairs.emplace_back();
   }
   else
      m_free = m_pairs[pair].next[0];
   Pair& p = m_pairs[pair];
   p = {{std::min(a, b), std::max(a, b)}, false, {none, none}, {none, none}};
   for (int side = 0; side < 2; ++side)
   {
      int& first = m_first[p.ids[side]];
      p.next[side] = first;
      if (first != none)
         m_pairs[first].previous[sideOf(m_pairs[first], p.ids[side])] = pair;
      first = pair;
   }
}

void PairGraph::remove(int pair) noexcept
{
   Pair& p = m_pairs[pair];
   for (int side = 0; side < 2; ++side)
   {
      const unsigned id = p.ids[side];
      const int next = p.next[side];
      const int previous = p.previous[side];
      if (next != none)
         m_pairs[next].previous[sideOf(m_pairs[next], id)] = previous;
      if (previous != none)
         m_pairs[previous].next[sideOf(m_pairs[previous], id)] = next;
      else
         m_first[id] = next;
   }
   p.ids[1] = p.ids[0];
   p.next[0] = m_free;
   m_free = pair;
}
} // namespace zqConvex
