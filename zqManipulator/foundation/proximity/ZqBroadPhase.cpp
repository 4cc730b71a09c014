#include "zqManipulator/foundation/proximity/ZqBroadPhase.h"

namespace zqConvex
{
namespace
{
/// Boxes that reach further than this (m) stand apart: each would make the boxes of the tree above it useless.
constexpr ZqReal farthest = 1e15;

bool isUnbounded(const AlignedBox& box) noexcept
{
   return !(largest(box.lower) <= farthest && largest(box.upper) <= farthest);
}

bool isSame(const AlignedBox& a, const AlignedBox& b) noexcept
{
   return a.lower == b.lower && a.upper == b.upper;
}
} // namespace

void BroadPhase::reset(std::size_t count)
{
   *this = BroadPhase();
   m_boxes.assign(count, AlignedBox::empty());
   m_large.assign(count, AlignedBox::empty());
   m_place.assign(count, Place::InTree);
   m_hasMoved.assign(count, 0);
   m_hasLeft.assign(count, 0);
   m_moved.reserve(count);
   m_leavers.reserve(count);
}

void BroadPhase::update(unsigned id, const AlignedBox& box)
{
   AlignedBox& old = m_boxes[id];
   const bool isEmpty = box.isEmpty();
   const AlignedBox next = isEmpty ? AlignedBox::empty() : box;
   if (isSame(next, old))
      return;
   if (m_hasMoved[id] == 0)
   {
      m_hasMoved[id] = 1;
      m_moved.push_back(id);
   }
   if (m_hasLeft[id] == 0 && (isEmpty || !m_large[id].contains(next)))
   {
      m_hasLeft[id] = 1;
      const bool hasStep = !isEmpty && !old.isEmpty();
      m_leavers.push_back({id, hasStep
                                  ? (next.lower - old.lower) * 0.5 + (next.upper - old.upper) * 0.5
                                  : Vec3{0.0, 0.0, 0.0}});
   }
   old = next;
}

void BroadPhase::sort()
{
   if (m_moved.empty())
      return;
   const bool someAreNew = !m_leavers.empty();
   const bool allAreNew = someAreNew && regroup();
   testCandidates(someAreNew, allAreNew);
   for (const unsigned id : m_moved)
      m_hasMoved[id] = 0;
   m_moved.clear();
}

/// Gives larger boxes to those that left theirs, and finds the candidates: those of the leavers, or, which is
/// then true, all.
bool BroadPhase::regroup()
{
   for (const Leaver& leaver : m_leavers)
      enlarge(leaver);
   m_fresh.clear();
   const bool isAll =
      m_tree.size() != static_cast<int>(m_boxes.size()) || m_leavers.size() * 4 >= m_boxes.size();
   if (isAll)
      renewAll();
   else
      amend();
   for (const Leaver& leaver : m_leavers)
      m_hasLeft[leaver.id] = 0;
   m_leavers.clear();
   return isAll;
}

/// By a tenth of its size, and ahead by some more steps like the last one. Who outruns any margin gets none: it
/// would bring false candidates only.
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
      const ZqReal ahead = std::clamp(8.0 * leaver.step[k], -2.0 * margin, 2.0 * margin);
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
   m_tree.visitSelfOverlaps([this](int a, int b)
                            { addFresh(static_cast<unsigned>(a), static_cast<unsigned>(b)); });
   for (std::size_t k = 0; k < m_apart.size(); ++k)
   {
      const unsigned id = m_apart[k];
      m_tree.visitOverlaps(m_boxes[id],
                           [&](int other) { addFresh(id, static_cast<unsigned>(other)); });
      for (std::size_t l = k + 1; l < m_apart.size(); ++l)
         if (overlap(m_boxes[id], m_boxes[m_apart[l]]))
            addFresh(id, m_apart[l]);
   }
   sortFresh();
   m_candidates.swap(m_fresh);
}

/// Some have left: each gets its new place, and its candidates take the place of its old ones.
void BroadPhase::amend()
{
   for (const auto& [id, step] : m_leavers)
   {
      const int item = static_cast<int>(id);
      const AlignedBox& large = m_large[id];
      if (large.isEmpty() && !m_boxes[id].isEmpty())
      {
         leaveTree(id, Place::Unbounded);
         m_tree.setBox(item, large);
      }
      else if (m_place[id] != Place::InTree)
         leaveTree(id, Place::Jumped);
      else if (large.isEmpty() || overlap(large, m_tree.box(item)))
         m_tree.setBox(item, large);
      else
      {
         leaveTree(id, Place::Jumped);
         m_tree.setBox(item, AlignedBox::empty());
      }
   }
   for (const auto& [id, step] : m_leavers)
      visitPartners(id,
                    [this, id = id](unsigned other)
                    {
                       // Of two that left, each finds the other.
                       if (other > id || (other < id && m_hasLeft[other] == 0))
                          addFresh(id, other);
                    });
   sortFresh();
   mergeFresh();
   // Searching those apart costs as much by then as building has cost.
   if (m_tree.isLoose() || m_jumped * m_jumped > 16 * m_boxes.size())
      buildTree();
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

void BroadPhase::addFresh(unsigned a, unsigned b)
{
   m_fresh.push_back({std::min(a, b), std::max(a, b) % capacity, 0U});
}

/// By the first and then by the second id: a radix sort of two digits, where they are not few.
void BroadPhase::sortFresh()
{
   if (m_fresh.size() * 4 < m_boxes.size())
   {
      std::sort(m_fresh.begin(), m_fresh.end(),
                [](const Candidate& a, const Candidate& b)
                { return a.first != b.first ? a.first < b.first : a.second < b.second; });
      return;
   }
   m_spare.resize(m_fresh.size());
   scatter(m_fresh, m_spare, [](const Candidate& c) { return c.second; });
   scatter(m_spare, m_fresh, [](const Candidate& c) { return c.first; });
}

template <class Key>
void BroadPhase::scatter(const std::vector<Candidate>& from, std::vector<Candidate>& to, Key key)
{
   m_starts.assign(m_boxes.size(), 0);
   for (const Candidate& c : from)
      ++m_starts[key(c)];
   unsigned start = 0;
   for (unsigned& s : m_starts)
      start += std::exchange(s, start);
   for (const Candidate& c : from)
      to[m_starts[key(c)]++] = c;
}

/// Takes the fresh candidates in, and out those of boxes that left.
void BroadPhase::mergeFresh()
{
   m_spare.clear();
   auto fresh = m_fresh.cbegin();
   for (const Candidate& c : m_candidates)
   {
      if ((m_hasLeft[c.first] | m_hasLeft[c.second]) != 0)
         continue;
      while (fresh != m_fresh.cend() &&
             (fresh->first < c.first || (fresh->first == c.first && fresh->second < c.second)))
         m_spare.push_back(*fresh++);
      m_spare.push_back(c);
   }
   m_spare.insert(m_spare.end(), fresh, m_fresh.cend());
   m_candidates.swap(m_spare);
}

/// Tests the candidates of which a box has moved, or all, and writes the pairs if that changes them.
void BroadPhase::testCandidates(bool rewrite, bool all)
{
   std::size_t count = 0;
   for (Candidate& c : m_candidates)
   {
      if (all || (m_hasMoved[c.first] | m_hasMoved[c.second]) != 0)
      {
         const bool isOverlap = overlap(m_boxes[c.first], m_boxes[c.second]);
         rewrite |= isOverlap != (c.isOverlap != 0);
         c.isOverlap = isOverlap ? 1 : 0;
      }
      count += c.isOverlap;
   }
   if (!rewrite)
      return;
   // One place more, where those that do not count are written.
   m_overlaps.resize(count + 1);
   auto out = m_overlaps.begin();
   for (const Candidate& c : m_candidates)
   {
      *out = {c.first, c.second};
      out += c.isOverlap;
   }
   m_overlaps.resize(count);
}
} // namespace zqConvex
