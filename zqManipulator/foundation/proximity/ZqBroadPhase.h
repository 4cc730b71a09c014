#pragma once

#include "zqManipulator/foundation/geometry/ZqBoxHierarchy.h"
#include "zqManipulator/foundation/proximity/ZqPairGraph.h"

namespace zqConvex
{
/// Which of many moving boxes overlap: a tree of boxes that are larger than the true ones (a
/// dynamic bounding volume tree), refitted where a box leaves its larger one; the candidates, which
/// are the pairs of larger boxes that overlap; and the sorted list of pairs whose true boxes
/// overlap, into which changes are merged.
class BroadPhase
{
public:
   using Pair = std::pair<unsigned, unsigned>;
   /// Ids are below this.
   static constexpr unsigned capacity = 1U << 30;

   /// So many empty boxes.
   void reset(std::size_t count);
   void update(unsigned id, const AlignedBox& box)
   {
      AlignedBox& old = m_boxes[id];
      const bool isEmpty = box.isEmpty();
      const AlignedBox& next = isEmpty ? nothing : box;
      if (next.lower == old.lower && next.upper == old.upper)
         return;
      if (!isMarked(id, hasMoved))
         m_moved.push_back(id);
      m_marks[id] |= hasMoved;
      if (!isMarked(id, hasLeft) && (isEmpty || !m_large[id].contains(next)))
         addLeaver(id, old, next);
      old = next;
   }
   /// Brings the pairs up to date.
   void sort();

   unsigned size() const noexcept { return static_cast<unsigned>(m_boxes.size()); }
   const AlignedBox& box(unsigned id) const noexcept { return m_boxes[id]; }
   /// As of the last `sort`: by the lesser id, which is the first, and then by the other.
   const std::vector<Pair>& overlaps() const noexcept { return m_overlaps; }

private:
   /// A pair that has begun or ceased to overlap.
   struct Change
   {
      Pair ids;
      bool isOverlap;
   };
   /// A box that is no longer in its larger one, and its last step.
   struct Leaver
   {
      unsigned id;
      Vec3 step;
   };
   enum class Place : unsigned char
   {
      InTree,
      Jumped,   ///< too far for its place in the tree: apart until that is built again
      Unbounded ///< apart for good
   };

   /// Bits of what a box has done since the last `sort`.
   static constexpr unsigned char hasMoved = 1;
   static constexpr unsigned char hasLeft = 2;
   static constexpr unsigned char isPartner = 4; ///< only within `findCandidates`
   static constexpr AlignedBox nothing = AlignedBox::empty();

   bool isMarked(unsigned id, unsigned char mark) const noexcept
   {
      return (m_marks[id] & mark) != 0;
   }
   void addLeaver(unsigned id, const AlignedBox& from, const AlignedBox& to);
   bool regroup();
   void enlarge(const Leaver& leaver) noexcept;
   void leaveTree(unsigned id, Place place);
   void renewAll();
   void amend();
   void place(unsigned id);
   void buildTree();
   template <class Visit>
   void visitPartners(unsigned id, Visit&& visit) const;
   void findCandidates(unsigned id);
   void test(PairGraph::Pair& candidate);
   void testCandidates(bool all);
   void writeOverlaps();
   void scatter(const std::vector<Pair>& from, std::vector<Pair>& to, unsigned Pair::*id);
   void mergeChanges();
   /// What an apart box searches with: unbounded ones have no larger box.
   const AlignedBox& reach(unsigned id) const noexcept
   {
      return m_place[id] == Place::Unbounded ? m_boxes[id] : m_large[id];
   }

   // By id.
   std::vector<AlignedBox> m_boxes; ///< empty ones are all `AlignedBox::empty()`
   std::vector<AlignedBox> m_large; ///< empty for empty and for unbounded boxes
   std::vector<Place> m_place;
   std::vector<unsigned char> m_marks;

   std::vector<unsigned> m_moved; ///< ids, since the last `sort`
   std::vector<Leaver> m_leavers;
   std::vector<unsigned> m_apart; ///< ids of boxes that are not in the tree
   std::size_t m_jumped = 0;      ///< of those
   std::size_t m_searched = 0;    ///< of jumped ones by leavers, since the tree was built
   BoxHierarchy m_tree;
   PairGraph m_candidates;
   std::vector<Pair> m_overlaps; ///< sorted
   // Working space.
   std::vector<Change> m_changes;
   std::vector<Pair> m_spare;
   std::vector<unsigned> m_starts;
   std::vector<BoxHierarchy::Reference> m_references;
};
} // namespace zqConvex
