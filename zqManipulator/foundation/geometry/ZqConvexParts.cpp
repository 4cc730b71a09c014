#include "zqManipulator/foundation/geometry/ZqConvexParts.h"

#include "zqManipulator/foundation/geometry/ZqBoxHierarchy.h"
#include "zqManipulator/foundation/geometry/ZqShape.h"
#include "zqManipulator/foundation/geometry/ZqTriangleTree.h"

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <tuple>

using zqConvex::AlignedBox;
using zqConvex::BoxHierarchy;
using zqConvex::Mat3;
using zqConvex::Pose;
using zqConvex::Vec3;

namespace
{
AlignedBox boxAround(const Vec3& a, const Vec3& b, const Vec3& c) noexcept
{
   return {{std::min({a.x, b.x, c.x}), std::min({a.y, b.y, c.y}), std::min({a.z, b.z, c.z})},
           {std::max({a.x, b.x, c.x}), std::max({a.y, b.y, c.y}), std::max({a.z, b.z, c.z})}};
}

std::unique_ptr<BoxHierarchy> treeOver(const std::vector<AlignedBox>& boxes,
                                       const BoxHierarchy* before = nullptr)
{
   if (before && before->size() == static_cast<int>(boxes.size()))
   {
      auto tree = std::make_unique<BoxHierarchy>(*before);
      tree->refit(boxes);
      if (!tree->isLoose())
         return tree;
   }
   auto tree = std::make_unique<BoxHierarchy>();
   tree->build(boxes);
   return tree;
}

/// For each vertex the first of those in its place.
std::vector<ZqU32> places(std::span<const Vec3> vertices)
{
   const auto order = [&](ZqU32 i, ZqU32 j)
   {
      const Vec3& a = vertices[i];
      const Vec3& b = vertices[j];
      return std::tie(a.x, a.y, a.z, i) < std::tie(b.x, b.y, b.z, j);
   };
   std::vector<ZqU32> sorted(vertices.size());
   std::iota(sorted.begin(), sorted.end(), 0U);
   std::sort(sorted.begin(), sorted.end(), order);
   std::vector<ZqU32> first(vertices.size());
   for (std::size_t k = 0; k < sorted.size(); ++k)
   {
      const bool isSame = k > 0 && vertices[sorted[k]] == vertices[sorted[k - 1]];
      first[sorted[k]] = isSame ? first[sorted[k - 1]] : sorted[k];
   }
   return first;
}

/// Twice, with its sign, how often the projection of an edge along x goes round the origin: it is counted
/// where the edge crosses z > 0 at y = 0. Both triangles of an edge find the same, and cancel.
int turnsOf(const Vec3& a, const Vec3& b) noexcept
{
   if ((a.y > 0.0) == (b.y > 0.0))
      return 0;
   const bool isDown = a.y > 0.0;
   const Vec3& up = isDown ? a : b;
   const Vec3& down = isDown ? b : a;
   const ZqReal z = up.z * -down.y + down.z * up.y;
   return z > 0.0 ? (isDown ? 1 : -1) : 0;
}
} // namespace

// --------------------------------------------------------------------------------------------------
// Triangles
// --------------------------------------------------------------------------------------------------
ZqTriangles::~ZqTriangles() = default;

std::shared_ptr<const ZqTriangles>
ZqTriangles::of(std::vector<Vec3> vertices, std::vector<Corners> corners, const ZqTriangles* before)
{
   std::shared_ptr<ZqTriangles> made(new ZqTriangles);
   const ZqU32 count = static_cast<ZqU32>(vertices.size());
   std::erase_if(corners,
                 [&](const Corners& c) { return c[0] >= count || c[1] >= count || c[2] >= count; });
   made->m_vertices = std::move(vertices);
   made->m_corners = std::move(corners);
   if (before && before->m_corners == made->m_corners)
   {
      made->m_neighbours = before->m_neighbours;
      made->m_pieces = before->m_pieces;
      made->m_openEdgeCount = before->m_openEdgeCount;
      made->m_isClosed = before->m_isClosed;
   }
   else
   {
      before = nullptr;
      made->findNeighbours();
      made->findPieces();
   }

   std::vector<AlignedBox> boxes(made->size());
   for (ZqU32 t = 0; t < made->size(); ++t)
      boxes[t] = boxAround(made->vertex(t, 0), made->vertex(t, 1), made->vertex(t, 2));
   made->m_tree = treeOver(boxes, before ? before->m_tree.get() : nullptr);

   if (before)
   {
      made->m_surfaceTree = std::make_unique<zqConvex::TriangleTree>(*before->m_surfaceTree);
      made->m_surfaceTree->refit(made->m_vertices, made->m_corners);
   }
   else
   {
      made->m_surfaceTree = std::make_unique<zqConvex::TriangleTree>();
      made->m_surfaceTree->build(made->m_vertices, made->m_corners);
   }

   const AlignedBox bounds = made->m_tree->bounds();
   const Vec3 middle = (bounds.lower + bounds.upper) * 0.5;
   for (ZqU32 t = 0; t < made->size(); ++t)
   {
      const Vec3 a = made->vertex(t, 0) - middle;
      const Vec3 b = made->vertex(t, 1) - middle;
      const Vec3 c = made->vertex(t, 2) - middle;
      made->m_volume += dot(a, cross(b, c)) / 6.0;
   }
   made->m_isConvex = made->m_isClosed && made->m_pieces.size() == 1 && made->hasConvexEdges();
   return made;
}

/// Whether no neighbour of a triangle rises above it.
bool ZqTriangles::hasConvexEdges() const noexcept
{
   const AlignedBox bounds = m_tree->bounds();
   const ZqReal rounding = 1e-14 * norm(bounds.upper - bounds.lower);
   for (ZqU32 t = 0; t < size(); ++t)
   {
      const Vec3& a = vertex(t, 0);
      const Vec3 n = cross(vertex(t, 1) - a, vertex(t, 2) - a) * outward();
      const ZqReal tolerance = rounding * norm(n);
      for (const ZqU32 other : m_neighbours[t])
         for (int i = 0; other != none && i < 3; ++i)
            if (dot(n, vertex(other, i) - a) > tolerance)
               return false;
   }
   return true;
}

void ZqTriangles::findNeighbours()
{
   struct HalfEdge
   {
      std::uint64_t ends; // lower, then higher
      ZqU32 place;        // three times the triangle, and the corner where it begins
      bool isUp;          // from the lower to the higher
   };
   m_neighbours.assign(m_corners.size(), {none, none, none});
   const std::vector<ZqU32> place = places(m_vertices);
   std::vector<HalfEdge> edges;
   edges.reserve(3 * m_corners.size());
   for (ZqU32 t = 0; t < size(); ++t)
   {
      const ZqU32 c[3] = {place[m_corners[t][0]], place[m_corners[t][1]], place[m_corners[t][2]]};
      if (c[0] == c[1] || c[1] == c[2] || c[2] == c[0])
         continue;
      for (ZqU32 e = 0; e < 3; ++e)
      {
         const ZqU32 from = c[e];
         const ZqU32 to = c[(e + 1) % 3];
         edges.push_back(
            {std::uint64_t{std::min(from, to)} << 32 | std::max(from, to), 3 * t + e, from < to});
      }
   }
   std::sort(edges.begin(), edges.end(),
             [](const HalfEdge& a, const HalfEdge& b)
             { return std::tie(a.ends, a.isUp, a.place) < std::tie(b.ends, b.isUp, b.place); });

   for (std::size_t begin = 0; begin < edges.size();)
   {
      std::size_t end = begin;
      std::size_t up = 0; // the first that goes up
      for (up = begin; up < edges.size() && edges[up].ends == edges[begin].ends && !edges[up].isUp;)
         ++up;
      for (end = up; end < edges.size() && edges[end].ends == edges[begin].ends;)
         ++end;
      for (std::size_t i = begin, j = up; i < up && j < end; ++i, ++j)
      {
         m_neighbours[edges[i].place / 3][edges[i].place % 3] = edges[j].place / 3;
         m_neighbours[edges[j].place / 3][edges[j].place % 3] = edges[i].place / 3;
      }
      m_openEdgeCount += up - begin != end - up;
      begin = end;
   }
   m_isClosed = m_openEdgeCount == 0 && !edges.empty();
}

void ZqTriangles::findPieces()
{
   std::vector<bool> isReached(size(), false);
   std::vector<ZqU32> open;
   for (ZqU32 t = 0; t < size(); ++t)
   {
      if (isReached[t])
         continue;
      m_pieces.push_back(t);
      isReached[t] = true;
      for (open.push_back(t); !open.empty();)
      {
         const Corners around = m_neighbours[open.back()];
         open.pop_back();
         for (const ZqU32 n : around)
            if (n != none && !isReached[n])
            {
               isReached[n] = true;
               open.push_back(n);
            }
      }
   }
}

Vec3 ZqTriangles::normal(ZqU32 triangle) const noexcept
{
   const Vec3& a = vertex(triangle, 0);
   return unit(cross(vertex(triangle, 1) - a, vertex(triangle, 2) - a));
}

void ZqTriangles::set(ZqConvex& convex, ZqU32 triangle) const noexcept
{
   const Vec3& a = vertex(triangle, 0);
   const Vec3 e = vertex(triangle, 1) - a;
   const Vec3 f = vertex(triangle, 2) - a;
   const ZqReal longest = std::max({norm2(e), norm2(f), norm2(f - e)});
   // One that is all but a segment is looked at by who knows how to make it.
   if (!(norm2(cross(e, f)) > 1e-28 * longest * longest) || !(longest < 1e100))
   {
      convex = ZqConvex::triangle(vector(a), vector(e), vector(f));
      return;
   }
   if (convex.core != ZqConvex::Core::Triangle)
   {
      convex = {};
      convex.core = ZqConvex::Core::Triangle;
      convex.dimension = 2;
      convex.frameIsIdentity = false;
   }
   const Vec3 middle = (e + f) * (1.0 / 3.0);
   convex.frame.t = a + middle;
   convex.corner[0] = -middle;
   convex.corner[1] = e - middle;
   convex.corner[2] = f - middle;
   convex.size =
      std::max({largest(convex.corner[0]), largest(convex.corner[1]), largest(convex.corner[2])});
   convex.reach = std::sqrt(
      std::max({norm2(convex.corner[0]), norm2(convex.corner[1]), norm2(convex.corner[2])}));
}

/// The sum of the turns of all triangles ahead of the point along x (the winding number). Edges that two
/// triangles share are decided alike in both, so that the ray slips through no seam.
bool ZqTriangles::contains(const Vec3& point) const noexcept
{
   if (!m_isClosed)
      return false;
   int turns = 0;
   const auto look = [&](int item)
   {
      const ZqU32 t = static_cast<ZqU32>(item);
      const Vec3 a = vertex(t, 0) - point;
      const Vec3 b = vertex(t, 1) - point;
      const Vec3 c = vertex(t, 2) - point;
      const int around = turnsOf(a, b) + turnsOf(b, c) + turnsOf(c, a);
      if (around == 0)
         return;
      const Vec3 n = cross(b - a, c - a);
      const bool isAhead = n.x != 0.0 ? dot(n, a) * n.x > 0.0 : a.x + b.x + c.x > 0.0;
      turns += isAhead ? around : 0;
   };
   constexpr ZqReal far = std::numeric_limits<ZqReal>::infinity();
   m_tree->visitOverlaps({point, {far, point.y, point.z}}, look);
   return turns != 0;
}

Vec3 ZqTriangles::support(const Vec3& d, ZqU32& triangle) const noexcept
{
   triangle = 0;
   // The triangles nearest to a wide slab that lies beyond them all.
   const AlignedBox bounds = m_tree->bounds();
   if (bounds.isEmpty())
      return {0.0, 0.0, 0.0};
   const Vec3 u = unit(d);
   const Vec3 middle = (bounds.lower + bounds.upper) * 0.5;
   const ZqReal reach = norm(bounds.upper - bounds.lower);
   const Pose X{zqConvex::frameAbout(u), middle + u * (2.0 * reach)};
   const ZqReal level = dot(u, X.t);
   Vec3 best = m_vertices[m_corners[0][0]];
   ZqReal gap = level - dot(u, best);
   const auto look = [&](int item)
   {
      const ZqU32 t = static_cast<ZqU32>(item);
      for (int i = 0; i < 3; ++i)
         if (const ZqReal g = level - dot(u, vertex(t, i)); g < gap)
         {
            gap = g;
            best = vertex(t, i);
            triangle = t;
         }
      return gap;
   };
   m_tree->visitNearest({{-reach, -reach, 0.0}, {reach, reach, 0.0}}, X, gap, look);
   return best;
}

// --------------------------------------------------------------------------------------------------
// Parts
// --------------------------------------------------------------------------------------------------
namespace
{
/// Hulls of more points take their time, and are left to the tree.
constexpr std::size_t mostHullPoints = 50000;

/// A solid that its triangles show to be convex is taken as such. It must have the same volume: surfaces that
/// go round twice are no solid.
ZqConvexParts::Member memberOfTriangles(std::shared_ptr<const ZqTriangles> triangles)
{
   ZqConvexParts::Member member;
   member.isConvex = false;
   member.partCount = triangles->size();
   if (triangles->isConvex() && triangles->vertices().size() <= mostHullPoints)
   {
      const AlignedBox bounds = triangles->tree().bounds();
      const Vec3 middle = (bounds.lower + bounds.upper) * 0.5;
      std::vector<Vec3> points;
      for (ZqU32 t = 0; t < triangles->size(); ++t)
         for (int i = 0; i < 3; ++i)
            points.push_back(triangles->vertex(t, i) - middle);
      const std::shared_ptr<const ZqHull> hull = ZqHull::of(points);
      if (hull->dimension == 3 &&
          std::abs(hull->volume - std::abs(triangles->volume())) < 1e-10 * hull->volume)
      {
         member.convex = ZqConvex::polytope(hull, zqConvex::vector(middle));
         member.isConvex = true;
         member.partCount = 1;
      }
   }
   member.triangles = std::move(triangles);
   return member;
}
} // namespace

ZqConvexParts::~ZqConvexParts() = default;

std::shared_ptr<const ZqConvexParts>
ZqConvexParts::ofTriangles(std::shared_ptr<const ZqTriangles> triangles)
{
   std::shared_ptr<ZqConvexParts> made(new ZqConvexParts);
   const AlignedBox box = triangles->tree().bounds();
   made->m_members.push_back(memberOfTriangles(std::move(triangles)));
   made->m_size = made->m_members[0].partCount;
   made->m_tree = treeOver({box});
   return made;
}

std::shared_ptr<const ZqConvexParts> ZqConvexParts::ofShapes(std::span<const ZqShape* const> shapes)
{
   std::shared_ptr<ZqConvexParts> made(new ZqConvexParts);
   std::vector<AlignedBox> boxes;
   for (const ZqShape* shape : shapes)
   {
      Member member;
      AlignedBox box = AlignedBox::empty();
      member.firstPart = made->m_size;
      if (const ZqConvex* convex = shape->convex())
      {
         member.convex = *convex;
         member.convex.box({}, box.lower, box.upper);
         member.partCount = 1;
      }
      else if (const ZqConvexParts* parts = shape->parts();
               parts && parts->m_members.size() == 1 && parts->m_members[0].triangles)
      {
         member = parts->m_members[0];
         member.firstPart = made->m_size;
         box = member.triangles->tree().bounds();
      }
      made->m_size += member.partCount;
      made->m_members.push_back(std::move(member));
      boxes.push_back(box);
   }
   made->m_tree = treeOver(boxes);
   return made;
}

ZqU32 ZqConvexParts::memberOf(ZqU32 part) const noexcept
{
   const auto after = std::upper_bound(m_members.begin(), m_members.end(), part,
                                       [](ZqU32 p, const Member& m) { return p < m.firstPart; });
   return after == m_members.begin() ? 0 : static_cast<ZqU32>(after - m_members.begin() - 1);
}

void ZqConvexParts::box(const Pose& X, Vec3& lower, Vec3& upper) const noexcept
{
   AlignedBox all = AlignedBox::empty();
   for (const Member& member : m_members)
   {
      if (member.partCount == 0)
         continue;
      AlignedBox box = AlignedBox::empty();
      if (!member.triangles)
         member.convex.box(X, box.lower, box.upper);
      else
         for (int i = 0; i < 3; ++i)
         {
            const Vec3 d = X.R.row(i);
            box.lower[i] = X.t[i] + dot(d, member.triangles->support(-d));
            box.upper[i] = X.t[i] + dot(d, member.triangles->support(d));
         }
      for (int i = 0; i < 3; ++i)
      {
         all.lower[i] = std::min(all.lower[i], box.lower[i]);
         all.upper[i] = std::max(all.upper[i], box.upper[i]);
      }
   }
   lower = all.lower;
   upper = all.upper;
}

Vec3 ZqConvexParts::support(const Vec3& d) const noexcept
{
   const Vec3 u = unit(d);
   Vec3 best{0.0, 0.0, 0.0};
   ZqReal most = -std::numeric_limits<ZqReal>::infinity();
   for (const Member& member : m_members)
   {
      if (member.partCount == 0 || !member.convex.isBounded())
         continue;
      const Vec3 p = member.triangles
                        ? member.triangles->support(u)
                        : zqConvex::vec3(member.convex.supportPoint(zqConvex::vector(u)));
      if (const ZqReal along = dot(p, u); along > most)
      {
         most = along;
         best = p;
      }
   }
   return best;
}

ZqReal ZqConvexParts::volume() const noexcept
{
   ZqReal sum = 0.0;
   for (const Member& member : m_members)
      if (member.partCount > 0)
         sum += member.triangles ? member.triangles->volume() : member.convex.volume();
   return sum;
}
