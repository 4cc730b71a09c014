#include "zqManipulator/foundation/geometry/ZqTriangleTree.h"

#include <numeric>

namespace zqConvex
{
namespace
{
/// The directions of the greatest, the middle and the least spread of what has these second moments, by Jacobi's
/// rotations: after five rounds there is nothing left to turn.
Mat3 spreadAxes(Mat3 S) noexcept
{
   Mat3 V;
   Vec3* s[3] = {&S.c0, &S.c1, &S.c2};
   Vec3* v[3] = {&V.c0, &V.c1, &V.c2};
   for (int k = 0; k < 15; ++k)
   {
      const int p = k % 3;
      const int q = (p + 1) % 3;
      const ZqReal off = (*s[q])[p];
      if (!(std::abs(off) > 0.0))
         continue;
      const ZqReal theta = 0.5 * ((*s[q])[q] - (*s[p])[p]) / off;
      const ZqReal t =
         std::copysign(1.0 / (std::abs(theta) + std::sqrt(theta * theta + 1.0)), theta);
      const ZqReal cosine = 1.0 / std::sqrt(t * t + 1.0);
      const ZqReal sine = t * cosine;
      for (int i = 0; i < 3; ++i)
      {
         const ZqReal a = (*s[p])[i];
         const ZqReal b = (*s[q])[i];
         (*s[p])[i] = cosine * a - sine * b;
         (*s[q])[i] = sine * a + cosine * b;
      }
      for (int i = 0; i < 3; ++i)
      {
         const ZqReal a = (*s[i])[p];
         const ZqReal b = (*s[i])[q];
         (*s[i])[p] = cosine * a - sine * b;
         (*s[i])[q] = sine * a + cosine * b;
      }
      const Vec3 a = *v[p];
      const Vec3 b = *v[q];
      *v[p] = a * cosine - b * sine;
      *v[q] = a * sine + b * cosine;
   }
   int order[3] = {0, 1, 2};
   std::sort(order, order + 3, [&](int i, int j) { return (*s[i])[i] > (*s[j])[j]; });
   const Vec3 x = unit(*v[order[0]]);
   const Vec3 z = unit(cross(x, *v[order[1]]));
   return {x, cross(z, x), z};
}
} // namespace

/// The box of a node's triangles along the directions in which they spread. A thousand of them tell those.
void TriangleTree::fit(Node& node, const Shape& shape) const noexcept
{
   const int step = node.count / 1024 + 1;
   Vec3 sum{0.0, 0.0, 0.0};
   Mat3 S{{0.0, 0.0, 0.0}, {0.0, 0.0, 0.0}, {0.0, 0.0, 0.0}};
   ZqReal points = 0.0;
   const Vec3 about = shape.vertices[shape.corners[m_order[node.first]][0]];
   for (int k = 0; k < node.count; k += step)
      for (const ZqU32 vertex : shape.corners[m_order[node.first + k]])
      {
         const Vec3 p = shape.vertices[vertex] - about;
         sum += p;
         S.c0 += p * p.x;
         S.c1 += p * p.y;
         S.c2 += p * p.z;
         points += 1.0;
      }
   const Vec3 mean = sum * (1.0 / points);
   S.c0 += sum * -mean.x;
   S.c1 += sum * -mean.y;
   S.c2 += sum * -mean.z;
   const Mat3 axes = spreadAxes(S);
   for (int i = 0; i < 9; ++i)
      node.axes[i] = static_cast<float>(axes.column(i / 3)[i % 3]);

   // Along the axes as they were rounded.
   const Mat3 kept = boxOf(node).axes;
   constexpr ZqReal inf = std::numeric_limits<ZqReal>::infinity();
   Vec3 lower{inf, inf, inf};
   Vec3 upper{-inf, -inf, -inf};
   for (int k = 0; k < node.count; ++k)
      for (const ZqU32 vertex : shape.corners[m_order[node.first + k]])
      {
         const Vec3 q = turnBack(kept, shape.vertices[vertex] - m_origin);
         for (int i = 0; i < 3; ++i)
         {
            lower[i] = std::min(lower[i], q[i]);
            upper[i] = std::max(upper[i], q[i]);
         }
      }
   const Vec3 center = kept * ((lower + upper) * 0.5);
   for (int i = 0; i < 3; ++i)
      node.center[i] = static_cast<float>(center[i]);
   const Vec3 at = turnBack(kept, boxOf(node).center);
   // Axes that were rounded are not quite perpendicular, and no sum here is exact.
   const ZqReal slack = 1e-6 * norm(upper - lower) + 1e-13 * norm(center);
   for (int i = 0; i < 3; ++i)
      node.half[i] =
         static_cast<float>((std::max(upper[i] - at[i], at[i] - lower[i]) + slack) * (1.0 + 1e-6));
}

/// Parts a node across its longest axis at the mean, or where that leaves little on one side at the median.
/// Returns how many triangles come first.
int TriangleTree::split(const Node& node, const Shape& shape)
{
   const Vec3 axis = boxOf(node).axes.c0;
   const auto placeOf = [&](int t)
   {
      const Corners& c = shape.corners[t];
      return dot(axis, shape.vertices[c[0]] + shape.vertices[c[1]] + shape.vertices[c[2]]);
   };
   const auto begin = m_order.begin() + node.first;
   const auto end = begin + node.count;
   ZqReal sum = 0.0;
   for (auto it = begin; it != end; ++it)
      sum += placeOf(*it);
   const ZqReal mean = sum / node.count;
   auto middle = std::partition(begin, end, [&](int t) { return placeOf(t) < mean; });
   if (8 * (middle - begin) < node.count || 8 * (end - middle) < node.count)
   {
      middle = begin + node.count / 2;
      std::nth_element(begin, middle, end,
                       [&](int t, int u)
                       {
                          const ZqReal a = placeOf(t);
                          const ZqReal b = placeOf(u);
                          return a < b || (a == b && t < u);
                       });
   }
   return static_cast<int>(middle - begin);
}

void TriangleTree::build(std::span<const Vec3> vertices, std::span<const Corners> corners)
{
   const Shape shape{vertices, corners};
   const int count = static_cast<int>(corners.size());
   m_nodes.clear();
   m_order.resize(corners.size());
   std::iota(m_order.begin(), m_order.end(), 0);
   if (count == 0)
      return;
   m_origin = vertices[corners[0][0]];
   m_nodes.reserve(static_cast<std::size_t>(count) + 1);
   m_nodes.push_back({{}, {}, {}, 0, count, -1});
   fit(m_nodes[0], shape);
   // Nodes are opened in their order, those that come of it stand behind.
   for (std::size_t i = 0; i < m_nodes.size(); ++i)
   {
      if (m_nodes[i].count <= leafSize)
         continue;
      const int first = m_nodes[i].first;
      const int all = m_nodes[i].count;
      const int left = split(m_nodes[i], shape);
      m_nodes[i].child = static_cast<int>(m_nodes.size());
      m_nodes.push_back({{}, {}, {}, first, left, -1});
      m_nodes.push_back({{}, {}, {}, first + left, all - left, -1});
      fit(m_nodes[m_nodes.size() - 2], shape);
      fit(m_nodes.back(), shape);
   }
   m_nodes.shrink_to_fit();
}

void TriangleTree::refit(std::span<const Vec3> vertices, std::span<const Corners> corners)
{
   if (m_nodes.empty())
      return;
   m_origin = vertices[corners[0][0]];
   for (Node& node : m_nodes)
      fit(node, {vertices, corners});
}
} // namespace zqConvex
