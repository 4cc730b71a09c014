#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace zqConvex
{
/// Pairs of things that are numbered from 0: one array of all, and for each thing a chain through
/// those that it is in. To add and to remove a pair takes the same time however many there are.
class PairGraph
{
public:
   struct Pair
   {
      unsigned ids[2];          ///< the lesser one first; equal where there is no pair
      bool isOverlap = false;   ///< the user's own
      int next[2], previous[2]; ///< in the chains of both; `none` at the ends

      bool isUsed() const noexcept { return ids[0] != ids[1]; }
   };

   /// No pairs of so many things. It keeps its memory.
   void clear(std::size_t count);
   /// A pair that is not there yet.
   void add(unsigned a, unsigned b);
   void remove(int pair) noexcept;
   /// The pair may be removed in passing.
   template <class Visit>
   void visitPairsOf(unsigned id, Visit&& visit)
   {
      for (int pair = m_first[id]; pair != none;)
      {
         const Pair& p = m_pairs[pair];
         const int side = sideOf(p, id);
         const int next = p.next[side];
         visit(pair, p.ids[1 - side]);
         pair = next;
      }
   }
   Pair& operator[](int pair) noexcept { return m_pairs[pair]; }
   /// With places that are not used.
   std::span<Pair> all() noexcept { return m_pairs; }

private:
   static constexpr int none = -1;
   static int sideOf(const Pair& pair, unsigned id) noexcept { return pair.ids[1] == id ? 1 : 0; }

   std::vector<Pair> m_pairs;
   std::vector<int> m_first; ///< by thing
   int m_free = none;        ///< chained by the first `next`
};
} // namespace zqConvex
