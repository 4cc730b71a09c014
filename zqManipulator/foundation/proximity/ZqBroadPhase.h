#pragma once

#include "zqManipulator/foundation/geometry/ZqBoxHierarchy.h"

namespace zqConvex
{
/// Which of many moving boxes overlap: a tree of boxes that are larger than the true ones (a dynamic bounding
/// volume tree), refitted where a box leaves its larger one, and a sorted list of candidates, the pairs of
/// larger boxes that overlap.
class BroadPhase
{
public:
   using Pair = std::pair<unsigned, unsigned>;
   /// Ids are below this.
   static constexpr unsigned capacity = 1U << 30;

   /// So many empty boxes.
   void reset(std::size_t count);
   void update(unsigned id, const AlignedBox& box);
   /// Brings the pairs up to date.
   void sort();

   unsigned size() const noexcept { return static_cast<unsigned>(m_boxes.size()); }
   const AlignedBox& box(unsigned id) const noexcept { return m_boxes[id]; }
   /// As of the last `sort`: by the lesser id, which is the first, and then by the other.
   const std::vector<Pair>& overlaps() const noexcept { return m_overlaps; }

private:
   struct Candidate
   {
      unsigned first;
      unsigned second : 31;
      unsigned isOverlap : 1; ///< whether the true boxes overlap
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

   bool regroup();
   void enlarge(const Leaver& leaver) noexcept;
   void leaveTree(unsigned id, Place place);
   void renewAll();
   void amend();
   void buildTree();
   template <class Visit>
   void visitPartners(unsigned id, Visit&& visit) const;
   void addFresh(unsigned a, unsigned b);
   void sortFresh();
   template <class Key>
   void scatter(const std::vector<Candidate>& from, std::vector<Candidate>& to, Key key);
   void mergeFresh();
   void testCandidates(bool rewrite, bool all);
   /// What an apart box searches with: unbounded ones have no larger box.
   const AlignedBox& reach(unsigned id) const noexcept
   {
      return m_place[id] == Place::Unbounded ? m_boxes[id] : m_large[id];
   }

   // By id.
   std::vector<AlignedBox> m_boxes; ///< empty ones are all `AlignedBox::empty()`
   std::vector<AlignedBox> m_large; ///< empty for empty and for unbounded boxes
   std::vector<Place> m_place;
   std::vector<unsigned char> m_hasMoved, m_hasLeft;

   std::vector<unsigned> m_moved; ///< ids, since the last `sort`
   std::vector<Leaver> m_leavers;
   std::vector<unsigned> m_apart; ///< ids of boxes that are not in the tree
   std::size_t m_jumped = 0;      ///< of those
   BoxHierarchy m_tree;
   std::vector<Candidate> m_candidates; ///< sorted
   std::vector<Pair> m_overlaps;
   // Working space.
   std::vector<Candidate> m_fresh, m_spare;
   std::vector<unsigned> m_starts;
   std::vector<BoxHierarchy::Reference> m_references;
};
} // namespace zqConvex
