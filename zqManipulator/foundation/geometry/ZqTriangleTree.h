#pragma once

#include "zqManipulator/foundation/geometry/ZqBoxHierarchy.h"

#include <array>
#include <limits>
#include <span>
#include <vector>

namespace zqConvex
{
/// A box along axes of its own, in the frame of whoever looks at it.
struct TurnedBox
{
   Vec3 center;
   Mat3 axes; ///< of unit length
   Vec3 half;
};
inline TurnedBox operator*(const Pose& X, const TurnedBox& box) noexcept
{
   return {X * box.center, X.R * box.axes, box.half};
}
/// What the squared distance of two boxes is at least: by their gap along the line of their centers, and unless
/// that is above the limit already, by those along the axes of either.
inline ZqReal gapSquared(const TurnedBox& a, const TurnedBox& b, ZqReal limit) noexcept
{
   const Vec3 t = b.center - a.center;
   const Vec3 inA = turnBack(a.axes, t);
   const Vec3 inB = turnBack(b.axes, t);
   const auto magnitudes = [](const Vec3& v) {
      return Vec3{std::abs(v.x), std::abs(v.y), std::abs(v.z)};
   };
   const ZqReal between = norm2(t);
   const ZqReal along = between - dot(magnitudes(inA), a.half) - dot(magnitudes(inB), b.half);
   const ZqReal byCenters = along > 0.0 ? along * along / between * (1.0 - 1e-6) : 0.0;
   if (byCenters > limit)
      return byCenters;
   ZqReal sumA = 0.0;
   Vec3 ofA{0.0, 0.0, 0.0};
   for (int i = 0; i < 3; ++i)
   {
      const Vec3 m = magnitudes(turnBack(b.axes, a.axes.column(i)));
      const ZqReal gap = std::max(0.0, std::abs(inA[i]) - a.half[i] - dot(m, b.half));
      sumA += gap * gap;
      ofA += m * a.half[i];
   }
   ZqReal sumB = 0.0;
   for (int j = 0; j < 3; ++j)
   {
      const ZqReal gap = std::max(0.0, std::abs(inB[j]) - b.half[j] - ofA[j]);
      sumB += gap * gap;
   }
   return std::max({byCenters, sumA * (1.0 - 1e-6), sumB * (1.0 - 1e-6)});
}

/// A binary tree over triangles whose boxes lie along the surface (Gottschalk, Lin and Manocha 1996): they are
/// as thin as the surface is bent, so that near surfaces are told apart by far fewer of them than by boxes
/// along common axes. Leaves hold up to two triangles.
///
/// Numbers are kept in single precision about an origin amidst the triangles, rounded so that boxes hold what
/// they should.
class TriangleTree
{
public:
   using Corners = std::array<ZqU32, 3>;

   void build(std::span<const Vec3> vertices, std::span<const Corners> corners);
   /// The same tree around vertices that moved.
   void refit(std::span<const Vec3> vertices, std::span<const Corners> corners);
   bool isEmpty() const noexcept { return m_nodes.empty(); }

   /// Calls `limit = visit(triangle)` for triangles whose boxes may be within `limit` (m) of a box, the near ones
   /// first as far as boxes tell. Below zero ends it.
   template <class Visit>
   void visitNearest(const TurnedBox& box, ZqReal limit, Visit&& visit) const;
   /// The same for pairs of triangles of two trees, X places B in the frame of A.
   template <class Visit>
   static void visitNearestPairs(const TriangleTree& A, const TriangleTree& B, const Pose& X,
                                 ZqReal limit, Visit&& visit);

private:
   static constexpr int leafSize = 2;
   /// Each part of a node has an eighth of it at least.
   static constexpr int depthLimit = 128;
   struct Node
   {
      float center[3];
      float axes[9];
      float half[3];
      int first, count; ///< in the order of the leaves
      int child;        ///< the first of two that stand side by side; -1 of a leaf
   };

   struct Shape
   {
      std::span<const Vec3> vertices;
      std::span<const Corners> corners;
   };
   void fit(Node& node, const Shape& shape) const noexcept;
   int split(const Node& node, const Shape& shape);
   static TurnedBox boxOf(const Node& node) noexcept
   {
      const auto vec = [](const float* p) { return Vec3{p[0], p[1], p[2]}; };
      return {vec(node.center),
              {vec(node.axes), vec(node.axes + 3), vec(node.axes + 6)},
              vec(node.half)};
   }
   static ZqReal reachOf(const TurnedBox& box) noexcept
   {
      return box.half.x + box.half.y + box.half.z;
   }

   std::vector<Node> m_nodes;
   std::vector<int> m_order; ///< triangles, as the leaves have them
   Vec3 m_origin{0.0, 0.0, 0.0};
};

template <class Visit>
void TriangleTree::visitNearest(const TurnedBox& box, ZqReal limit, Visit&& visit) const
{
   struct Step
   {
      int node;
      ZqReal gap; // squared
   };
   std::array<Step, depthLimit + 2> stack;
   int count = 0;
   const TurnedBox other{box.center - m_origin, box.axes, box.half};
   const auto push = [&](int node)
   {
      const ZqReal gap = gapSquared(boxOf(m_nodes[node]), other, limit * limit);
      if (gap <= limit * limit)
         stack[count++] = {node, gap};
   };
   if (!m_nodes.empty())
      push(0);
   while (count > 0)
   {
      const auto [i, gap] = stack[--count];
      if (!(limit >= 0.0 && gap <= limit * limit))
         continue;
      const Node& node = m_nodes[i];
      if (node.child < 0)
      {
         for (int k = 0; k < node.count && limit >= 0.0; ++k)
            limit = visit(m_order[node.first + k]);
         continue;
      }
      const int before = count;
      push(node.child);
      push(node.child + 1);
      if (count == before + 2 && stack[count - 1].gap > stack[count - 2].gap)
         std::swap(stack[count - 1], stack[count - 2]);
   }
}

template <class Visit>
void TriangleTree::visitNearestPairs(const TriangleTree& A, const TriangleTree& B, const Pose& X,
                                     ZqReal limit, Visit&& visit)
{
   struct Step
   {
      int a, b;
      ZqReal gap; // squared
   };
   if (A.m_nodes.empty() || B.m_nodes.empty())
      return;
   const Pose placement{X.R, X * B.m_origin - A.m_origin};
   std::array<Step, 2 * depthLimit + 2> stack;
   int count = 0;
   const auto push = [&](int a, const TurnedBox& boxA, int b, const TurnedBox& boxB)
   {
      const ZqReal gap = gapSquared(boxA, boxB, limit * limit);
      if (gap <= limit * limit)
         stack[count++] = {a, b, gap};
   };
   push(0, boxOf(A.m_nodes[0]), 0, placement * boxOf(B.m_nodes[0]));
   while (count > 0)
   {
      const auto [a, b, gap] = stack[--count];
      if (!(limit >= 0.0 && gap <= limit * limit))
         continue;
      const Node& nodeA = A.m_nodes[a];
      const Node& nodeB = B.m_nodes[b];
      if (nodeA.child < 0 && nodeB.child < 0)
      {
         for (int i = 0; i < nodeA.count; ++i)
            for (int j = 0; j < nodeB.count && limit >= 0.0; ++j)
               limit = visit(A.m_order[nodeA.first + i], B.m_order[nodeB.first + j]);
         continue;
      }
      // The larger one is opened.
      const int before = count;
      const TurnedBox boxA = boxOf(nodeA);
      const TurnedBox boxB = boxOf(nodeB);
      if (nodeB.child < 0 || (nodeA.child >= 0 && reachOf(boxA) >= reachOf(boxB)))
      {
         const TurnedBox other = placement * boxB;
         push(nodeA.child, boxOf(A.m_nodes[nodeA.child]), b, other);
         push(nodeA.child + 1, boxOf(A.m_nodes[nodeA.child + 1]), b, other);
      }
      else
      {
         push(a, boxA, nodeB.child, placement * boxOf(B.m_nodes[nodeB.child]));
         push(a, boxA, nodeB.child + 1, placement * boxOf(B.m_nodes[nodeB.child + 1]));
      }
      if (count == before + 2 && stack[count - 1].gap > stack[count - 2].gap)
         std::swap(stack[count - 1], stack[count - 2]);
   }
}
} // namespace zqConvex
