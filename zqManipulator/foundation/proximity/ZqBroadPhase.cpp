#include "zqManipulator/foundation/proximity/ZqBroadPhase.h"

namespace zqConvex
{
namespace
{
/// Boxes that reach further than this (m) stand apart: each would make the boxes of the tree above
/// it useless.
constexpr ZqReal farthest = 1e15;

bool isUnbounded(const AlignedBox& box) noexcept
{
   return !(largest(box.lower) <= farthest && largest(box.upper) <= farthest);
}
} // namespace

void BroadPhase::reset(std::size_t count)
{
   *this = BroadPhase();
   m_boxes.assign(count, AlignedBox::empty());
   m_large.assign(count, AlignedBox::empty());
   m_place.assign(count, Place::InTree);
   m_marks.assign(count, 0);
   m_moved.reserve(count);
   m_leavers.reserve(count);
}

void BroadPhase::addLeaver(unsigned id, const AlignedBox& from, const AlignedBox& to)
{
   m_marks[id] |= hasLeft;
   const bool hasStep = !from.isEmpty() && !to.isEmpty();
   m_leavers.push_back({id, hasStep ? (to.lower - from.lower) * 0.5 + (to.upper - from.upper) * 0.5
                                    : Vec3{0.0, 0.0, 0.0}});
}

void BroadPhase::sort()
{
   if (m_moved.empty())
      return;
   m_changes.clear();
   const bool allAreNew = !m_leavers.empty() && regroup();
   testCandidates(allAreNew);
   if (allAreNew || m_changes.size() * 4 > m_overlaps.size())
      writeOverlaps();
   else if (!m_changes.empty())
      mergeChanges();
   for (const unsigned id : m_moved)
      m_marks[id] = 0;
   m_moved.clear();
}

/// Gives larger boxes to those that left theirs, and finds the candidates: those of the leavers,
/// or, which is then true, all.
bool BroadPhase::regroup()
{
   for (const Leaver& leaver : m_leavers)
      enlarge(leaver);
   const bool isAll =
      m_tree.size() != static_cast<int>(m_boxes.size()) || m_leavers.size() * 4 >= m_boxes.size();
   if (isAll)
      renewAll();
   else
      amend();
   m_leavers.clear();
   return isAll;
}

/// By a tenth of its size, and ahead by some more steps like the last one. Who outruns any margin
/// gets none: it would bring false candidates only.
void BroadPhase::enlarge(const Leaver& leaver) noexcept
{
   const AlignedBox& box = m_boxes[leaver.id];
   AlignedBox& large = m_large[leaver.id];
   large = AlignedBox::empty();
   if (box.isEmpty() || isUnbounded(box))
      return;
   const Vec3 tenth = (box.upper - box.lower) * 0.1;
   const ZqReal least = 0.5 * largest(tenth);
   const bool isFast = largest(leaver.step) > 2.0 * least;
   for (int k = 0; k < 3; ++k)
   {
      const ZqReal margin = isFast ? 0.0 : std::max(tenth[k], least);
      const ZqReal ahead = std::clamp(16.0 * leaver.step[k], -4.0 * margin, 4.0 * margin);
      large.lower[k] = box.lower[k] - margin + std::min(0.0, ahead);
      large.upper[k] = box.upper[k] + margin + std::max(0.0, ahead);
   }
}

void BroadPhase::leaveTree(unsigned id, Place place)
{
   if (m_place[id] == Place::InTree)
      m_apart.push_back(id);
   m_jumped += (place == Place::Jumped ? 1U : 0U) - (m_place[id] == Place::Jumped ? 1U : 0U);
   m_place[id] = place;
}

/// Most have left: the tree is refitted as a whole, or built again, and walked against itself.
void BroadPhase::renewAll()
{
   const bool hasTree = m_tree.size() == static_cast<int>(m_boxes.size());
   for (const auto& [id, step] : m_leavers)
   {
      if (isUnbounded(m_boxes[id]) && !m_boxes[id].isEmpty())
         leaveTree(id, Place::Unbounded);
      else if (m_place[id] == Place::Unbounded)
         leaveTree(id, Place::Jumped);
      if (hasTree && m_place[id] != Place::Jumped)
         m_tree.setLeaf(static_cast<int>(id), m_large[id]);
   }
   if (hasTree)
      m_tree.refit();
   if (!hasTree || m_jumped > 0 || m_tree.isLoose())
      buildTree();
   m_candidates.clear(m_boxes.size());
   m_tree.visitSelfOverlaps(
      [this](int a, int b)
      { m_candidates.add(static_cast<unsigned>(a), static_cast<unsigned>(b)); });
   for (std::size_t k = 0; k < m_apart.size(); ++k)
   {
      const unsigned id = m_apart[k];
      m_tree.visitOverlaps(m_boxes[id],
                           [&](int other) { m_candidates.add(id, static_cast<unsigned>(other)); });
      for (std::size_t l = k + 1; l < m_apart.size(); ++l)
         if (overlap(m_boxes[id], m_boxes[m_apart[l]]))
            m_candidates.add(id, m_apart[l]);
   }
}

/// Some have left: each gets its new place, and its candidates are found.
void BroadPhase::amend()
{
   for (const Leaver& leaver : m_leavers)
      place(leaver.id);
   // Searching those apart has cost as much by then as building does.
   m_searched += m_leavers.size() * m_jumped;
   if (m_tree.isLoose() || m_searched > 64 * m_boxes.size())
      buildTree();
   for (const Leaver& leaver : m_leavers)
      findCandidates(leaver.id);
}

void BroadPhase::place(unsigned id)
{
   const int item = static_cast<int>(id);
   const AlignedBox& large = m_large[id];
   const bool isUnbounded = large.isEmpty() && !m_boxes[id].isEmpty();
   if (m_place[id] == Place::InTree && !isUnbounded &&
       (large.isEmpty() || m_tree.isNear(item, large)))
   {
      m_tree.setBox(item, large);
      return;
   }
   if (m_place[id] == Place::InTree)
      m_tree.setBox(item, AlignedBox::empty());
   leaveTree(id, isUnbounded ? Place::Unbounded : Place::Jumped);
}

void BroadPhase::buildTree()
{
   std::erase_if(m_apart,
                 [this](unsigned id)
                 {
                    const bool hasJumped = m_place[id] == Place::Jumped;
                    if (hasJumped)
                       m_place[id] = Place::InTree;
                    return hasJumped;
                 });
   m_jumped = 0;
   m_searched = 0;
   m_tree.build(m_large, m_references);
}

template <class Visit>
void BroadPhase::visitPartners(unsigned id, Visit&& visit) const
{
   const AlignedBox& box = reach(id);
   if (box.isEmpty())
      return;
   m_tree.visitOverlaps(box, [&](int other) { visit(static_cast<unsigned>(other)); });
   for (const unsigned other : m_apart)
      if (overlap(reach(other), box) && !m_boxes[other].isEmpty())
         visit(other);
}

/// Of those that it had, the ones that it finds again stay as they are.
void BroadPhase::findCandidates(unsigned id)
{
   m_candidates.visitPairsOf(id, [this](int, unsigned other) { m_marks[other] |= isPartner; });
   visitPartners(id,
                 [this, id](unsigned other)
                 {
                    if (isMarked(other, isPartner))
                       m_marks[other] &= static_cast<unsigned char>(~isPartner);
                    else if (other != id)
                       m_candidates.add(id, other);
                 });
   m_candidates.visitPairsOf(
      id,
      [this](int pair, unsigned other)
      {
         if (!isMarked(other, isPartner))
            return;
         m_marks[other] &= static_cast<unsigned char>(~isPartner);
         const PairGraph::Pair& candidate = m_candidates[pair];
         if (candidate.isOverlap)
            m_changes.push_back({{candidate.ids[0], candidate.ids[1]}, false});
         m_candidates.remove(pair);
      });
}

void BroadPhase::test(PairGraph::Pair& candidate)
{
   const auto [a, b] = candidate.ids;
   const bool isOverlap = overlap(m_boxes[a], m_boxes[b]);
   if (isOverlap == candidate.isOverlap)
      return;
   candidate.isOverlap = isOverlap;
   m_changes.push_back({{a, b}, isOverlap});
}

/// Tests all candidates, or those of which a box has moved.
void BroadPhase::testCandidates(bool all)
{
   if (all || m_moved.size() * 4 > m_boxes.size())
   {
      for (PairGraph::Pair& candidate : m_candidates.all())
         if (candidate.isUsed())
            test(candidate);
      return;
   }
   for (const unsigned id : m_moved)
      m_candidates.visitPairsOf(id,
                                [this, id](int pair, unsigned other)
                                {
                                   // Of two that have moved, once.
                                   if (other > id || !isMarked(other, hasMoved))
                                      test(m_candidates[pair]);
                                });
}

/// The whole list: sorted by the second and then, stably, by the first ids.
void BroadPhase::writeOverlaps()
{
   m_overlaps.clear();
   for (const PairGraph::Pair& candidate : m_candidates.all())
      if (candidate.isOverlap && candidate.isUsed())
         m_overlaps.emplace_back(candidate.ids[0], candidate.ids[1]);
   if (m_overlaps.size() * 4 < m_boxes.size())
   {
      std::sort(m_overlaps.begin(), m_overlaps.end());
      return;
   }
   m_spare.resize(m_overlaps.size());
   scatter(m_overlaps, m_spare, &Pair::second);
   scatter(m_spare, m_overlaps, &Pair::first);
}

/// A pass of a radix sort, of which an id is a digit.
void BroadPhase::scatter(const std::vector<Pair>& from, std::vector<Pair>& to, unsigned Pair::*id)
{
   m_starts.assign(m_boxes.size(), 0);
   for (const Pair& pair : from)
      ++m_starts[pair.*id];
   unsigned start = 0;
   for (unsigned& s : m_starts)
      start += std::exchange(s, start);
   for (const Pair& pair : from)
      to[m_starts[pair.*id]++] = pair;
}

void BroadPhase::mergeChanges()
{
   std::sort(m_changes.begin(), m_changes.end(),
             [](const Change& a, const Change& b) { return a.ids < b.ids; });
   m_spare.clear();
   auto from = m_overlaps.cbegin();
   for (const auto& [ids, isOverlap] : m_changes)
   {
      const auto at = std::lower_bound(from, m_overlaps.cend(), ids);
      m_spare.insert(m_spare.end(), from, at);
      from = at;
      if (isOverlap)
         m_spare.push_back(ids);
      else
         ++from;
   }
   m_spare.insert(m_spare.end(), from, m_overlaps.cend());
   m_overlaps.swap(m_spare);
}
} // namespace zqConvex
