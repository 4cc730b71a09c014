#pragma once

#include "zqManipulator/foundation/geometry/ZqConvexAlgebra.h"

#include <array>
#include <limits>
#include <span>
#include <utility>
#include <vector>

namespace zqConvex
{
/// A box along the axes of its frame. Empty unless each lower bound is at most the upper one.
struct AlignedBox
{
   Vec3 lower, upper;

   static constexpr AlignedBox empty() noexcept
   {
      constexpr ZqReal inf = std::numeric_limits<ZqReal>::infinity();
      return {{inf, inf, inf}, {-inf, -inf, -inf}};
   }
   bool isEmpty() const noexcept
   {
      return !(lower.x <= upper.x && lower.y <= upper.y && lower.z <= upper.z);
   }
   bool contains(const AlignedBox& b) const noexcept
   {
      return (lower.x <= b.lower.x) & (lower.y <= b.lower.y) & (lower.z <= b.lower.z) &
             (b.upper.x <= upper.x) & (b.upper.y <= upper.y) & (b.upper.z <= upper.z);
   }
};
/// Whether two boxes that are not empty have a point in common.
inline bool overlap(const AlignedBox& a, const AlignedBox& b) noexcept
{
   return (a.lower.x <= b.upper.x) & (b.lower.x <= a.upper.x) & (a.lower.y <= b.upper.y) &
          (b.lower.y <= a.upper.y) & (a.lower.z <= b.upper.z) & (b.lower.z <= a.upper.z);
}

/// A binary tree of boxes over items that are numbered from 0, each with a box. Its shape is made
/// once, by the surface area heuristic in bins (Wald 2007), in n log n; then boxes may change, and
/// the tree is refitted to them. No leaf is deeper than `depthLimit`.
///
/// Nodes stand in one array, each before its left and that before its right subtree, so that a walk
/// is a loop: on to the next node, or over the subtree. Boxes are kept in single precision about an
/// origin amidst them, rounded outwards: the boxes of the tree hold those that were given. Items
/// with empty boxes, or boxes with a NaN, are never visited; unbounded boxes are.
///
/// Walks allocate nothing, and any number of threads may walk at a time.
class BoxHierarchy
{
public:
   static constexpr int depthLimit = 64;
   struct Node
   {
      std::array<float, 3> lower, upper;
      int next; ///< the first node behind the subtree
      int item; ///< of a leaf; -1 else

      bool isEmpty() const noexcept { return !(lower[0] <= upper[0]); }
   };
   /// What an item brings into the building of a tree.
   struct Reference
   {
      std::array<float, 3> lower, upper;
      std::array<float, 3> center; ///< twice the center, finite
      int item;
   };

   /// A new tree over as many items as there are boxes. Who builds again and again keeps the
   /// working space.
   void build(std::span<const AlignedBox> boxes);
   void build(std::span<const AlignedBox> boxes, std::vector<Reference>& space);
   /// New boxes for all items of the same tree.
   void refit(std::span<const AlignedBox> boxes) noexcept;
   /// A new box for one item of the same tree, in time of the order of its depth.
   void setBox(int item, const AlignedBox& box) noexcept;
   /// Whether a box is no further from the place of an item in the tree than the node above it is
   /// large: there, the item does not make the tree much looser.
   bool isNear(int item, const AlignedBox& box) const noexcept;
   /// As `setBox`, for many items: the tree does not hold their boxes until it is refitted as a
   /// whole.
   void setLeaf(int item, const AlignedBox& box) noexcept;
   void refit() noexcept;
   int size() const noexcept { return static_cast<int>(m_leaves.size()); }
   /// Whether new boxes have made walks so long that the tree should be built again.
   bool isLoose() const noexcept { return m_area > 1.6 * m_builtArea; }

   /// The box of the whole; empty without items.
   AlignedBox bounds() const noexcept;
   /// The box that the tree has for an item, which is a little larger than the one that was given.
   AlignedBox box(int item) const noexcept;

   /// Calls `visit(item)` for each item whose box, as the tree has it, overlaps the given one.
   template <class Visit>
   void visitOverlaps(const AlignedBox& box, Visit&& visit) const
   {
      if (box.isEmpty())
         return;
      Node query;
      setRounded(query, box);
      visitFrom(0, query, visit);
   }
   /// Calls `visit(item, other)` once for each two items whose boxes overlap.
   template <class Visit>
   void visitSelfOverlaps(Visit&& visit) const
   {
      for (int i = 0; i < nodeCount(); ++i)
      {
         const Node& leaf = m_nodes[i];
         if (leaf.item >= 0 && !leaf.isEmpty())
            visitFrom(i + 1, leaf, [&](int other) { visit(leaf.item, other); });
      }
   }

   /// Calls `limit = visit(item)` for the items whose boxes may be within `limit` (m) of a box, the
   /// near ones first as far as the tree tells. X places the box in the tree's frame; it is not
   /// empty. The visitor returns the limit from there on: at a distance that it found, nothing
   /// further away comes; below zero, nothing more at all.
   template <class Visit>
   void visitNearest(const AlignedBox& box, const Pose& X, ZqReal limit, Visit&& visit) const;
   /// The same for pairs of items of two trees: `limit = visit(itemOfA, itemOfB)`, where X places B
   /// in the frame of A.
   template <class Visit>
   static void visitNearestPairs(const BoxHierarchy& A, const BoxHierarchy& B, const Pose& X,
                                 ZqReal limit, Visit&& visit);

private:
   int nodeCount() const noexcept { return static_cast<int>(m_nodes.size()); }
   static bool overlap(const Node& a, const Node& b) noexcept
   {
      return (a.lower[0] <= b.upper[0]) & (b.lower[0] <= a.upper[0]) & (a.lower[1] <= b.upper[1]) &
             (b.lower[1] <= a.upper[1]) & (a.lower[2] <= b.upper[2]) & (b.lower[2] <= a.upper[2]);
   }
   template <class Visit>
   void visitFrom(int first, const Node& box, Visit&& visit) const
   {
      const int count = nodeCount();
      for (int i = first; i < count;)
      {
         const Node& node = m_nodes[i];
         if (!overlap(node, box))
         {
            i = node.next;
            continue;
         }
         if (node.item >= 0 && !node.isEmpty())
            visit(node.item);
         ++i;
      }
   }
   /// In double precision, still about the origin.
   static AlignedBox widened(const Node& n) noexcept
   {
      return {{n.lower[0], n.lower[1], n.lower[2]}, {n.upper[0], n.upper[1], n.upper[2]}};
   }
   static float girth(const Node& n) noexcept
   {
      return n.upper[0] - n.lower[0] + n.upper[1] - n.lower[1] + n.upper[2] - n.lower[2];
   }
   void setRounded(Node& node, const AlignedBox& box) const noexcept;
   AlignedBox exact(const Node& node) const noexcept;
   void layOut(std::vector<Reference>& references);

   std::vector<Node> m_nodes;
   std::vector<int> m_parents; ///< of nodes; -1 of the root
   std::vector<int> m_leaves;  ///< of items
   Vec3 m_origin{0.0, 0.0, 0.0};
   ZqReal m_area = 0.0; ///< of all inner nodes together
   ZqReal m_builtArea = 0.0;
};

/// Where boxes of one frame, B, stand in another one, A.
class BoxPlacement
{
public:
   explicit BoxPlacement(const Pose& X) noexcept
      : m_X(X), m_magnitudes{magnitude(X.R.c0), magnitude(X.R.c1), magnitude(X.R.c2)},
        m_slack(lastPlaces * largest(X.t))
   {
   }
   /// A box of B: its center in A, and half its extents along the axes of A and along its own. They
   /// are larger than the true ones by a few last places of its largest coordinate, and finite,
   /// though beyond all boxes.
   struct Placed
   {
      Vec3 center, half, ownHalf;
   };
   Placed place(const AlignedBox& box) const noexcept
   {
      const auto bounded = [](ZqReal x) { return std::clamp(x, -1e100, 1e100); };
      const Vec3 lower{bounded(box.lower.x), bounded(box.lower.y), bounded(box.lower.z)};
      const Vec3 upper{bounded(box.upper.x), bounded(box.upper.y), bounded(box.upper.z)};
      const Vec3 center = (lower + upper) * 0.5;
      Vec3 half = (upper - lower) * 0.5;
      const ZqReal rounding = (largest(center) + largest(half)) * lastPlaces;
      half += {rounding, rounding, rounding};
      return {m_X * center, m_magnitudes * half, half};
   }
   /// What the squared distance of a box in A and one in B is at least: by their gaps along the
   /// axes of A, and along those of B. Zero where nothing can be told of an unbounded one. Once it
   /// is above `enough` it need not be the most that can be told.
   ZqReal gapSquared(const AlignedBox& a, const Placed& b, ZqReal enough) const noexcept
   {
      const Vec3& c = b.center;
      const ZqReal inA = squared(std::max(a.lower.x - c.x, c.x - a.upper.x) - b.half.x) +
                         squared(std::max(a.lower.y - c.y, c.y - a.upper.y) - b.half.y) +
                         squared(std::max(a.lower.z - c.z, c.z - a.upper.z) - b.half.z);
      if (inA > enough)
         return inA;
      const Vec3 d = turnBack(m_X.R, (a.lower + a.upper) * 0.5 - c);
      const Vec3 e = turnBack(m_magnitudes, (a.upper - a.lower) * 0.5);
      const ZqReal inB = squared(std::abs(d.x) - b.ownHalf.x - e.x) +
                         squared(std::abs(d.y) - b.ownHalf.y - e.y) +
                         squared(std::abs(d.z) - b.ownHalf.z - e.z);
      return std::max(inA, inB);
   }

private:
   static Vec3 magnitude(const Vec3& v) noexcept
   {
      return {std::abs(v.x), std::abs(v.y), std::abs(v.z)};
   }
   static constexpr ZqReal lastPlaces = 8.0 * std::numeric_limits<ZqReal>::epsilon();
   /// Zero for NaN, too.
   ZqReal squared(ZqReal gap) const noexcept
   {
      const ZqReal clear = std::max(0.0, gap - m_slack);
      return clear * clear;
   }

   Pose m_X;
   Mat3 m_magnitudes; ///< of the components of the rotation
   ZqReal m_slack;    ///< for the rounding of the translation
};

/// The nodes, or pairs of them, that a walk has still to look at, of which it takes the nearer one
/// of two first.
template <class Nodes, int capacity>
class NearestFirst
{
public:
   /// Those of the two that are within the limit. Gaps are squared, and NaN where there is nothing.
   void push(const Nodes& a, ZqReal gapA, const Nodes& b, ZqReal gapB, ZqReal limitSquared) noexcept
   {
      const bool isFirstNearer = gapA < gapB;
      if (isFirstNearer)
         push(b, gapB, limitSquared);
      push(a, gapA, limitSquared);
      if (!isFirstNearer)
         push(b, gapB, limitSquared);
   }
   void push(const Nodes& nodes, ZqReal gap, ZqReal limitSquared) noexcept
   {
      if (gap <= limitSquared)
         m_steps[m_count++] = {nodes, gap};
   }
   /// The next that are within the limit (m). False when there are none.
   bool pop(Nodes& nodes, ZqReal limit) noexcept
   {
      const ZqReal limitSquared = limit >= 0.0 ? limit * limit : -1.0;
      while (m_count > 0)
      {
         const Step& step = m_steps[--m_count];
         if (step.gap <= limitSquared)
         {
            nodes = step.nodes;
            return true;
         }
      }
      return false;
   }

private:
   struct Step
   {
      Nodes nodes;
      ZqReal gap;
   };
   std::array<Step, capacity> m_steps;
   int m_count = 0;
};

template <class Visit>
void BoxHierarchy::visitNearest(const AlignedBox& box, const Pose& X, ZqReal limit,
                                Visit&& visit) const
{
   if (m_nodes.empty())
      return;
   const BoxPlacement placement({X.R, X.t - m_origin});
   const BoxPlacement::Placed placed = placement.place(box);
   const auto gap = [&](int i, ZqReal enough)
   {
      return m_nodes[i].isEmpty() ? std::numeric_limits<ZqReal>::quiet_NaN()
                                  : placement.gapSquared(widened(m_nodes[i]), placed, enough);
   };
   NearestFirst<int, depthLimit + 2> steps;
   steps.push(0, gap(0, limit * limit), limit * limit);
   for (int i = 0; steps.pop(i, limit);)
      if (m_nodes[i].item >= 0)
         limit = visit(m_nodes[i].item);
      else
      {
         const ZqReal enough = limit * limit;
         const int left = i + 1;
         const int right = m_nodes[left].next;
         steps.push(left, gap(left, enough), right, gap(right, enough), enough);
      }
}

template <class Visit>
void BoxHierarchy::visitNearestPairs(const BoxHierarchy& A, const BoxHierarchy& B, const Pose& X,
                                     ZqReal limit, Visit&& visit)
{
   if (A.m_nodes.empty() || B.m_nodes.empty())
      return;
   const BoxPlacement placement({X.R, X * B.m_origin - A.m_origin});
   const auto placed = [&](int b) { return placement.place(widened(B.m_nodes[b])); };
   const auto gap = [&](int a, int b, const BoxPlacement::Placed& box, ZqReal enough)
   {
      return A.m_nodes[a].isEmpty() || B.m_nodes[b].isEmpty()
                ? std::numeric_limits<ZqReal>::quiet_NaN()
                : placement.gapSquared(widened(A.m_nodes[a]), box, enough);
   };
   using Nodes = std::pair<int, int>;
   NearestFirst<Nodes, 2 * depthLimit + 2> steps;
   steps.push({0, 0}, gap(0, 0, placed(0), limit * limit), limit * limit);
   for (Nodes nodes; steps.pop(nodes, limit);)
   {
      const auto [a, b] = nodes;
      const Node& nodeA = A.m_nodes[a];
      const Node& nodeB = B.m_nodes[b];
      const ZqReal enough = limit * limit;
      if (nodeA.item >= 0 && nodeB.item >= 0)
         limit = visit(nodeA.item, nodeB.item);
      // The larger one is opened.
      else if (nodeB.item >= 0 || (nodeA.item < 0 && girth(nodeA) >= girth(nodeB)))
      {
         const BoxPlacement::Placed box = placed(b);
         const int right = A.m_nodes[a + 1].next;
         steps.push({a + 1, b}, gap(a + 1, b, box, enough), {right, b}, gap(right, b, box, enough),
                    enough);
      }
      else
      {
         const int right = B.m_nodes[b + 1].next;
         steps.push({a, b + 1}, gap(a, b + 1, placed(b + 1), enough), {a, right},
                    gap(a, right, placed(right), enough), enough);
      }
   }
}
} // namespace zqConvex
