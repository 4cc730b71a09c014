#include "zqManipulator/foundation/proximity/ZqContactPoints.h"
#include "zqManipulator/foundation/proximity/ZqConvexProximity.h"
#include "zqManipulator/foundation/proximity/ZqPartPairs.h"
#include "zqManipulator/foundation/proximity/ZqSupportingFace.h"

#include <cmath>

// Contact points of shapes of which one is not convex: those of the pairs of parts that are near. The shapes are
// looked at a hair's breadth apart, moved there along the direction that parts them; there no parts overlap, so
// that each pair has a normal without doubt, and what a solid's triangle would say of its own thin self does not
// count. The motion is then taken out of the separations.
//
// Parts that touch within the margin keep the whole patch that they cover, and triangles in one plane with one
// that is touched go with it: so a body that rocks on a floor of triangles keeps its points. Of a mesh that is not
// convex only those places count that nothing of it stands out beyond: where its own face leans, what has lifted
// is left out.
namespace zqConvex
{
namespace
{
struct PlacedPoint
{
   ZqContactPoint point;
   Vec3 normal;
   bool isKept;
   /// The parts: what the name leaves out of places within a face, so that it stays where a body slides from one
   /// triangle to the next.
   std::uint64_t parts;
};
std::vector<PlacedPoint>& pointSpace()
{
   thread_local std::vector<PlacedPoint> space;
   return space;
}

std::uint64_t mixed(std::uint64_t x) noexcept
{
   x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ULL;
   x = (x ^ (x >> 27)) * 0x94D049BB133111EBULL;
   return x ^ (x >> 31);
}

/// How far the normals with which triangles may be touched lean.
class Cones
{
public:
   static constexpr ZqReal unlimited = 1e300;

   void begin(const PartSide& side)
   {
      if (m_known.size() < side.partCount())
         m_known.resize(side.partCount());
      ++m_query;
   }
   ZqReal slope(const ZqTriangles& mesh, ZqU32 t, ZqU32 part);

private:
   struct Known
   {
      std::uint64_t query = 0;
      ZqReal slope = 0.0;
   };
   std::vector<Known> m_known; ///< by parts
   std::uint64_t m_query = 0;
};
Cones* coneSpace()
{
   thread_local Cones cones[2];
   return cones;
}

class Touching
{
   /// A patch over more pairs of parts than this is not looked for to its end.
   static constexpr std::size_t mostPairs = 256;

public:
   Touching(const PartSide& A, const PartSide& B, const Pose& X, const Vec3& along, ZqReal travel,
            ZqReal margin)
      : m_A(A), m_B(B), m_X{X.R, X.t + along * travel}, m_along(along), m_travel(travel),
        m_margin(margin)
   {
      m_cones[0].begin(A);
      m_cones[1].begin(B);
   }
   void collect(std::vector<PlacedPoint>& points);

private:
   /// Two parts that touch, and along which normal.
   struct Pair
   {
      ZqU32 part1, part2;
      Vec3 n;
   };

   bool arePast(ZqU32 part1, ZqU32 part2) const;
   int keepOuter(const ZqConvex& a, const ZqConvex& b, const Pair& pair, ZqContactManifold& found,
                 Vec3& middle) const;
   void grow(std::vector<PlacedPoint>& points);
   void take(const ZqContactManifold& found, const Pair& pair,
             std::vector<PlacedPoint>& points) const;
   bool mayTouch(ZqU32 part1, ZqU32 part2, const Vec3& n, ZqReal separation) const;
   bool isOuter(const PartSide& side, ZqU32 part, const Vec3& p, const Vec3& n) const noexcept;
   bool isCovered(const PartSide& side, ZqU32 part, const Vec3& p) const noexcept;
   std::uint64_t featureName(const PartSide& side, ZqU32 part, const ZqConvex& core,
                             std::uint32_t name) const noexcept;

   const PartSide& m_A;
   const PartSide& m_B;
   const Pose m_X;
   const Vec3 m_along;
   const ZqReal m_travel;
   const ZqReal m_margin;
   Cones* const m_cones = coneSpace();
   std::vector<Pair>& m_pairs = pairSpace();

   static std::vector<Pair>& pairSpace()
   {
      thread_local std::vector<Pair> space;
      space.clear();
      return space;
   }
};

/// The tangent of the widest angle between the normals of a triangle and of those around it, found once a query:
/// from further off its normal no place of the triangle is the furthest of the surface.
ZqReal Cones::slope(const ZqTriangles& mesh, ZqU32 t, ZqU32 part)
{
   if (m_known[part].query == m_query)
      return m_known[part].slope;
   const Vec3 normal = mesh.normal(t);
   ZqReal least = 1.0;
   for (int i = 0; i < 3; ++i)
   {
      const Vec3& corner = mesh.vertex(t, i);
      ZqU32 at = t;
      ZqU32 next = mesh.neighbour(t, i);
      for (int k = 0; k < 64 && next != ZqTriangles::none && next != t; ++k)
      {
         least = std::min(least, dot(normal, mesh.normal(next)));
         ZqU32 onward = ZqTriangles::none;
         for (int edge = 0; edge < 3; ++edge)
            if (mesh.neighbour(next, edge) != at &&
                (mesh.vertex(next, edge) == corner ||
                 mesh.vertex(next, edge == 2 ? 0 : edge + 1) == corner))
               onward = mesh.neighbour(next, edge);
         at = next;
         next = onward;
      }
      if (next != t)
         least = 0.0;
   }
   least -= 1e-3;
   m_known[part] = {m_query, least > 0.5 ? std::sqrt(1.0 - least * least) / least : unlimited};
   return m_known[part].slope;
}

/// Whether the normals with which a triangle p of a solid may be touched lead past the triangle q. `m` points
/// outwards.
bool leadsPast(const Vec3* p, const Vec3& m, const Vec3* q, ZqReal slope, ZqReal slack) noexcept
{
   const ZqReal height = std::max({dot(m, q[0] - p[0]), dot(m, q[1] - p[0]), dot(m, q[2] - p[0])});
   if (height < -slack)
      return true;
   if (!(slope < Cones::unlimited))
      return false;
   const ZqReal aside = slope * std::max(0.0, height) + slack;
   for (int i = 0; i < 3; ++i)
   {
      const Vec3& a = p[i];
      Vec3 out = cross(p[i == 2 ? 0 : i + 1] - a, m);
      if (dot(out, p[i == 0 ? 2 : i - 1] - a) > 0.0)
         out = -out;
      const ZqReal off = std::min({dot(out, q[0] - a), dot(out, q[1] - a), dot(out, q[2] - a)});
      if (off > 0.0 && off * off > aside * aside * norm2(out))
         return true;
   }
   return false;
}

/// Whether two triangles, of which at least one is of a solid, cannot touch for where they stand.
bool Touching::arePast(ZqU32 part1, ZqU32 part2) const
{
   ZqU32 t = 0;
   ZqU32 other = 0;
   const ZqTriangles* meshA = m_A.trianglesOf(part1, t);
   const ZqTriangles* meshB = m_B.trianglesOf(part2, other);
   if (!meshA || !meshB)
      return false;
   const Vec3 p[3] = {meshA->vertex(t, 0), meshA->vertex(t, 1), meshA->vertex(t, 2)};
   const Vec3 q[3] = {m_X * meshB->vertex(other, 0), m_X * meshB->vertex(other, 1),
                      m_X * meshB->vertex(other, 2)};
   const ZqReal slack = 2e-4 * (m_travel + m_margin);
   return (meshA->isClosed() && leadsPast(p, meshA->normal(t) * meshA->outward(), q,
                                          m_cones[0].slope(*meshA, t, part1), slack)) ||
          (meshB->isClosed() && leadsPast(q, m_X.R * meshB->normal(other) * meshB->outward(), p,
                                          m_cones[1].slope(*meshB, other, part2), slack));
}

/// Whether parts with this normal and separation may have a point that counts.
bool Touching::mayTouch(ZqU32 part1, ZqU32 part2, const Vec3& n, ZqReal separation) const
{
   if (separation - m_travel * dot(n, m_along) > m_margin + 1e-9 * m_travel)
      return false;
   const auto isOff = [](const PartSide& side, ZqU32 part, const Vec3& d, Cones& cones)
   {
      ZqU32 t = 0;
      const ZqTriangles* mesh = side.trianglesOf(part, t);
      if (!mesh || !mesh->isClosed())
         return false;
      const ZqReal cosine = dot(mesh->normal(t), d) * mesh->outward();
      const ZqReal slope = cones.slope(*mesh, t, part);
      return cosine < -2e-4 ||
             (slope < Cones::unlimited &&
              (1.0 - cosine * cosine) > (1.0 + 1e-3) * slope * slope * cosine * cosine);
   };
   return !isOff(m_A, part1, n, m_cones[0]) && !isOff(m_B, part2, -turnBack(m_X.R, n), m_cones[1]);
}

/// Names a feature alike in all triangles that share it.
std::uint64_t Touching::featureName(const PartSide& side, ZqU32 part, const ZqConvex& core,
                                    std::uint32_t name) const noexcept
{
   ZqU32 t = 0;
   const ZqTriangles* mesh = side.trianglesOf(part, t);
   if (mesh && core.core == ZqConvex::Core::Triangle)
   {
      const std::uint64_t first = std::uint64_t{part - t} << 32;
      if (name == 0)
         return mixed(first) + 3;
      for (int i = 0; i < 3; ++i)
      {
         const int j = i == 2 ? 0 : i + 1;
         const ZqU32 v = mesh->corners()[t][i];
         const ZqU32 w = mesh->corners()[t][j];
         if (name == vertexName(i))
            return mixed(first + v) + 1;
         if (name == edgeName(core, i, j))
            return mixed(mixed(first + std::min(v, w)) + std::max(v, w)) + 2;
      }
   }
   return mixed(std::uint64_t{part} << 32 | name);
}

/// Whether a place of a triangle is the furthest along n of the surface around it, so that a body may touch it
/// from there: over the edges at the place the surface does not go on beyond it. What a neighbour in the same
/// plane would be touched by first is left to the neighbour.
bool Touching::isOuter(const PartSide& side, ZqU32 part, const Vec3& p,
                       const Vec3& n) const noexcept
{
   constexpr ZqReal leaning = 1e-4;
   ZqU32 t = 0;
   const ZqTriangles* mesh = side.trianglesOf(part, t);
   if (!mesh)
      return true;
   const Vec3 m = mesh->normal(t) * (mesh->isClosed() ? mesh->outward() : 1.0);
   const ZqReal facing = dot(m, n);
   if (mesh->isClosed() ? facing > 1.0 - 1e-8 : std::abs(facing) > 1.0 - 1e-8)
      return true;
   const auto isBeyond = [&](ZqU32 triangle)
   {
      for (int i = 0; i < 3; ++i)
      {
         const Vec3 q = mesh->vertex(triangle, i) - p;
         const ZqReal beyond = dot(n, q);
         if (beyond > 0.0 && beyond > leaning * norm(q))
            return true;
      }
      return false;
   };
   if (mesh->isClosed() && facing < -leaning)
      return false;
   ZqReal longest = 0.0;
   for (int i = 0; i < 3; ++i)
      longest = std::max(longest, norm(mesh->vertex(t, i) - p));
   for (int i = 0; i < 3; ++i)
   {
      const int j = i == 2 ? 0 : i + 1;
      const Vec3& a = mesh->vertex(t, i);
      const Vec3 e = mesh->vertex(t, j) - a;
      const Vec3 off = cross(e, p - a);
      if (!(norm2(off) <= 1e-14 * longest * longest * norm2(e)))
         continue;
      // Around the corner that is nearer, as far as it goes.
      ZqU32 at = t;
      ZqU32 next = mesh->neighbour(t, i);
      if (next == ZqTriangles::none)
         continue;
      if (isBeyond(next))
         return false;
      const bool isAtA = norm(p - a) <= 1e-7 * longest;
      const bool isAtB = norm(p - mesh->vertex(t, j)) <= 1e-7 * longest;
      if (!isAtA && !isAtB)
         continue;
      const Vec3 corner = isAtA ? a : mesh->vertex(t, j);
      for (int k = 0; k < 64 && next != ZqTriangles::none && next != t; ++k)
      {
         if (isBeyond(next))
            return false;
         ZqU32 onward = ZqTriangles::none;
         for (int edge = 0; edge < 3; ++edge)
         {
            const ZqU32 other = mesh->neighbour(next, edge);
            if (other == at || other == ZqTriangles::none)
               continue;
            if (mesh->vertex(next, edge) == corner ||
                mesh->vertex(next, edge == 2 ? 0 : edge + 1) == corner)
               onward = other;
         }
         at = next;
         next = onward;
      }
   }
   return true;
}

/// Whether a point lies in or on another member than that of the part: then the part's surface is none of the
/// union there.
bool Touching::isCovered(const PartSide& side, ZqU32 part, const Vec3& p) const noexcept
{
   const int member = side.memberOf(part);
   const ZqConvex point = ZqConvex::sphere(vector(p), 0.0);
   bool isFound = false;
   const auto look = [&](int other)
   {
      if (other == member || isFound)
         return;
      if (const ZqTriangles* mesh = side.triangles(other))
         isFound = mesh->contains(p);
      else
         isFound = isWithin(side.convexMember(other), point, {}, 0.0, nullptr);
   };
   side.parts()->tree().visitOverlaps({p, p}, look);
   return isFound;
}

/// Keeps the points of a pair from which bodies may touch, with their names in the compounds and without the
/// motion. Answers how many are within the margin, and their middle.
int Touching::keepOuter(const ZqConvex& a, const ZqConvex& b, const Pair& pair,
                        ZqContactManifold& found, Vec3& middle) const
{
   const Vec3 nInB = turnBack(m_X.R, pair.n);
   const ZqReal taken = m_travel * dot(pair.n, m_along);
   middle = {0.0, 0.0, 0.0};
   int near = 0;
   int count = 0;
   for (int i = 0; i < found.count; ++i)
   {
      ZqContactPoint& p = found.points[i];
      p.separation -= taken;
      if (!isOuter(m_A, pair.part1, vec3(p.point1), pair.n) ||
          !isOuter(m_B, pair.part2, inverseTimes(m_X, vec3(p.point2)), -nInB))
         continue;
      if (p.separation <= m_margin)
      {
         middle += vec3(p.point1);
         ++near;
      }
      p.name = mixed(featureName(m_A, pair.part1, a, static_cast<std::uint32_t>(p.name >> 32))) +
               featureName(m_B, pair.part2, b, static_cast<std::uint32_t>(p.name));
      found.points[count++] = p;
   }
   found.count = count;
   middle = middle * (1.0 / std::max(near, 1));
   return near;
}

void Touching::take(const ZqContactManifold& found, const Pair& pair,
                    std::vector<PlacedPoint>& points) const
{
   for (int i = 0; i < found.count; ++i)
   {
      points.push_back(
         {found.points[i], pair.n, true, mixed(std::uint64_t{pair.part1} << 32 | pair.part2)});
      points.back().point.point2 = vector(vec3(found.points[i].point2) - m_along * m_travel);
   }
}

/// The triangles in one plane with one that is touched go with it, as far as the patch reaches: so it does not
/// shrink where the other shape has lifted off some of them.
void Touching::grow(std::vector<PlacedPoint>& points)
{
   ZqConvex spaceA;
   ZqConvex spaceB;
   for (std::size_t i = 0; i < m_pairs.size() && m_pairs.size() < mostPairs; ++i)
      for (const bool isA : {true, false})
      {
         const Pair pair = m_pairs[i];
         const PartSide& side = isA ? m_A : m_B;
         ZqU32 t = 0;
         const ZqU32 part = isA ? pair.part1 : pair.part2;
         const ZqTriangles* mesh = side.trianglesOf(part, t);
         for (int edge = 0; mesh && edge < 3; ++edge)
         {
            const ZqU32 next = mesh->neighbour(t, edge);
            if (next == ZqTriangles::none || dot(mesh->normal(t), mesh->normal(next)) < 1.0 - 1e-12)
               continue;
            Pair other = pair;
            (isA ? other.part1 : other.part2) = part - t + next;
            const auto isOther = [&](const Pair& known)
            {
               return known.part1 == other.part1 && known.part2 == other.part2 &&
                      dot(known.n, other.n) > 1.0 - 1e-8;
            };
            if (std::any_of(m_pairs.begin(), m_pairs.end(), isOther))
               continue;
            const ZqConvex& a = m_A.part(other.part1, spaceA);
            const ZqConvex& b = m_B.part(other.part2, spaceB);
            ZqContactManifold found;
            patchAlong(a, b, m_X, other.n, found);
            Vec3 middle;
            keepOuter(a, b, other, found, middle);
            if (found.count < 3)
               continue;
            take(found, other, points);
            m_pairs.push_back(other);
         }
      }
}

void Touching::collect(std::vector<PlacedPoint>& points)
{
   const ZqReal reach = m_margin + m_travel;
   // What is no further apart along n than the margin once the motion is taken out is nearer yet half-way: there the
   // difference of two such places lies in a ball whose diameter is the motion, widened by the margin.
   const ZqReal close = (0.5 * m_travel + m_margin) * (1.0 + 1e-9);
   const Pose halfWay{m_X.R, m_X.t - m_along * (0.5 * m_travel)};
   const auto look = [&](ZqU32 part1, const ZqConvex& a, ZqU32 part2, const ZqConvex& b)
   {
      if (arePast(part1, part2))
         return close;
      // Most pairs within the reach are no deeper than the margin once the motion is taken out.
      ZqSeparation apart;
      distance(a, b, m_X, nullptr, apart);
      if (apart.distance > 0.0 &&
          !mayTouch(part1, part2, vec3(apart.normal), apart.distance - apart.error))
         return close;
      ZqContactManifold found;
      if (!contact(a, b, m_X, reach, nullptr, found))
         return close;
      const Pair pair{part1, part2, vec3(found.normal)};
      const Vec3& n = pair.n;
      Vec3 middle1;
      if (keepOuter(a, b, pair, found, middle1) == 0)
         return close;
      // A hair beyond the middle of what they share nothing else of the shape may be.
      const ZqReal hair = 0.25 * std::max(0.0, found.separation);
      if ((m_A.memberCount() > 1 && isCovered(m_A, part1, middle1 + n * hair)) ||
          (m_B.memberCount() > 1 &&
           isCovered(m_B, part2, inverseTimes(m_X, middle1 + n * (found.separation - hair)))))
         return close;
      take(found, pair, points);
      m_pairs.push_back(pair);
      return close;
   };
   visitPartPairs(m_A, m_B, halfWay, close, look);
   grow(points);
}

/// Points in one place become the one with the lowest name of the deepest.
void mergePlaces(std::vector<PlacedPoint>& points, ZqReal tolerance)
{
   std::sort(points.begin(), points.end(),
             [](const PlacedPoint& p, const PlacedPoint& q)
             { return p.point.point1.x() < q.point.point1.x(); });
   for (std::size_t i = 0; i < points.size(); ++i)
      for (std::size_t j = i + 1; j < points.size() && points[j].point.point1.x() <=
                                                          points[i].point.point1.x() + tolerance;
           ++j)
      {
         PlacedPoint& p = points[i];
         PlacedPoint& q = points[j];
         if (!p.isKept || !q.isKept || dot(p.normal, q.normal) < 0.9 ||
             largest(vec3(p.point.point1) - vec3(q.point.point1)) > tolerance)
            continue;
         const ZqReal deeper = p.point.separation - q.point.separation;
         const bool isFirstBetter =
            std::abs(deeper) > 1e-8 * tolerance ? deeper < 0.0 : p.point.name < q.point.name;
         (isFirstBetter ? q : p).isKept = false;
      }
   std::erase_if(points, [](const PlacedPoint& p) { return !p.isKept; });
}

struct Planar
{
   ZqReal x, y;
   PlacedPoint* point;
};
/// Twice the area of the triangle, above zero when it goes counter-clockwise.
ZqReal turnOf(const Planar& a, const Planar& b, const Planar& c) noexcept
{
   return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

/// The convex hull of points by its two chains (Andrew 1979), less the corners that stand out by no more than the
/// tolerance. The points are sorted.
void findHull(std::vector<Planar>& points, ZqReal tolerance, std::vector<Planar>& hull)
{
   std::sort(points.begin(), points.end(),
             [](const Planar& p, const Planar& q)
             { return p.x < q.x || (p.x == q.x && p.y < q.y); });
   hull.clear();
   for (int side = 0; side < 2; ++side)
   {
      const std::size_t start = hull.size();
      for (const Planar& p : points)
      {
         while (hull.size() >= start + 2 && !(turnOf(hull[hull.size() - 2], hull.back(), p) > 0.0))
            hull.pop_back();
         hull.push_back(p);
      }
      hull.pop_back(); // the other chain begins with it
      std::reverse(points.begin(), points.end());
   }
   for (std::size_t k = 0, passed = 0; hull.size() > 2 && passed < hull.size();)
   {
      const std::size_t count = hull.size();
      k %= count;
      const Planar& a = hull[(k + count - 1) % count];
      const Planar& c = hull[(k + 1) % count];
      const ZqReal length = std::sqrt((c.x - a.x) * (c.x - a.x) + (c.y - a.y) * (c.y - a.y));
      const bool standsOut = turnOf(a, hull[k], c) > tolerance * length;
      passed = standsOut ? passed + 1 : 0;
      if (standsOut)
         ++k;
      else
         hull.erase(hull.begin() + static_cast<std::ptrdiff_t>(k));
   }
}

/// Of points with one normal, those that the others surround are left out, but for the deepest.
void leaveOutSurrounded(std::vector<PlacedPoint>& points, ZqReal tolerance)
{
   thread_local std::vector<Planar> group;
   thread_local std::vector<Planar> hull;
   for (auto begin = points.begin(); begin != points.end();)
   {
      const Vec3 n = begin->normal;
      const auto end = std::partition(
         begin, points.end(), [&](const PlacedPoint& p) { return dot(p.normal, n) > 1.0 - 1e-5; });
      const Mat3 frame = frameAbout(n);
      const bool isFew = end - begin < 3;
      group.clear();
      PlacedPoint* deepest = &*begin;
      for (auto p = begin; p != end; ++p)
      {
         const Vec3 place = vec3(p->point.point1);
         p->isKept = isFew;
         deepest = p->point.separation < deepest->point.separation ? &*p : deepest;
         group.push_back({dot(frame.c0, place), dot(frame.c1, place), &*p});
      }
      begin = end;
      if (isFew)
         continue;
      findHull(group, tolerance, hull);
      ZqReal least = 1e300;
      for (const Planar& p : hull)
      {
         p.point->isKept = true;
         least = std::min(least, p.point->point.separation);
      }
      if (deepest->point.separation < least - tolerance)
         deepest->isKept = true;
   }
   std::erase_if(points, [](const PlacedPoint& p) { return !p.isKept; });
}

/// The deepest, then always the one furthest from those chosen.
void thin(std::vector<PlacedPoint>& points, std::size_t most)
{
   if (points.size() <= most)
      return;
   for (std::size_t k = 0; k < most; ++k)
   {
      std::size_t best = k;
      ZqReal bestRank = -1e300;
      for (std::size_t i = k; i < points.size(); ++i)
      {
         ZqReal rank = -points[i].point.separation;
         if (k > 0)
         {
            rank = 1e300;
            for (std::size_t j = 0; j < k; ++j)
               rank = std::min(rank,
                               norm2(vec3(points[i].point.point1) - vec3(points[j].point.point1)));
         }
         if (rank > bestRank)
         {
            bestRank = rank;
            best = i;
         }
      }
      std::swap(points[k], points[best]);
   }
   points.resize(most);
}

/// A corner that touches two faces has two points: then the parts tell them apart.
void tellApart(std::vector<PlacedPoint>& points)
{
   for (PlacedPoint& p : points)
      p.isKept =
         std::count_if(points.begin(), points.end(),
                       [&](const PlacedPoint& q) { return q.point.name == p.point.name; }) == 1;
   for (PlacedPoint& p : points)
      p.point.name += p.isKept ? 0 : p.parts;
}

/// Patch by patch, each by its lowest name: the points with one normal go round it, counter-clockwise, from the one
/// with that name.
void goAround(std::vector<PlacedPoint>& points)
{
   const auto isNamedBefore = [](const PlacedPoint& p, const PlacedPoint& q)
   { return p.point.name < q.point.name; };
   for (auto begin = points.begin(); begin != points.end();)
   {
      std::sort(begin, points.end(), isNamedBefore);
      const Vec3 n = begin->normal;
      const auto end = std::partition(
         begin, points.end(), [&](const PlacedPoint& p) { return dot(p.normal, n) > 1.0 - 1e-5; });
      const Mat3 frame = frameAbout(n);
      Vec3 middle{0.0, 0.0, 0.0};
      for (auto p = begin; p != end; ++p)
         middle += vec3(p->point.point1) * (1.0 / static_cast<ZqReal>(end - begin));
      // From 0 to 4 once around.
      const auto turn = [&](const PlacedPoint& p)
      {
         const Vec3 d = vec3(p.point.point1) - middle;
         const ZqReal x = dot(frame.c0, d);
         const ZqReal y = dot(frame.c1, d);
         const ZqReal sum = std::abs(x) + std::abs(y);
         const ZqReal s = sum > 0.0 ? y / sum : 0.0;
         return x < 0.0 ? 2.0 - s : y < 0.0 ? 4.0 + s : s;
      };
      std::sort(begin, end,
                [&](const PlacedPoint& p, const PlacedPoint& q) { return turn(p) < turn(q); });
      std::rotate(begin, std::min_element(begin, end, isNamedBefore), end);
      begin = end;
   }
}

ZqReal sizeOf(const PartSide& side) noexcept
{
   if (side.convex())
      return side.convex()->reach + side.convex()->radius;
   const AlignedBox box = side.parts()->tree().bounds();
   return 0.5 * norm(box.upper - box.lower);
}
} // namespace

bool contact(const PartSide& A, const PartSide& B, const Pose& X, ZqReal margin,
             ZqShapePairCache* cache, ZqContactManifold& out)
{
   if (A.convex() && B.convex())
      return contact(*A.convex(), *B.convex(), X, margin, cache ? &cache->convex : nullptr, out);
   if (!isWithin(A, B, X, margin, cache))
   {
      out = {};
      return false;
   }
   ZqSeparation apart;
   distance(A, B, X, cache, apart);
   out.count = 0;
   out.separation = apart.distance;
   out.normal = apart.normal;
   if (!(apart.distance <= margin) || !(apart.distance > -1e299))
      return apart.distance <= margin;

   const ZqReal size = std::min(sizeOf(A), sizeOf(B));
   const Vec3 along = vec3(apart.normal);
   const ZqReal travel = std::max(0.0, 1e-6 * size - apart.distance);
   std::vector<PlacedPoint>& points = pointSpace();
   points.clear();
   Touching(A, B, X, along, travel, margin).collect(points);
   mergePlaces(points, 1e-4 * size);
   leaveOutSurrounded(points, 1e-5 * size);
   // In an order that hangs on names alone, so that it is the same in the next step.
   std::sort(points.begin(), points.end(),
             [](const PlacedPoint& p, const PlacedPoint& q)
             { return p.point.name < q.point.name; });
   thin(points, ZqContactManifold::capacity);
   tellApart(points);
   goAround(points);
   for (const PlacedPoint& p : points)
   {
      out.points[out.count] = p.point;
      out.points[out.count++].normal = vector(p.normal);
   }
   if (out.count == 0)
   {
      ZqContactPoint& p = out.points[out.count++];
      p.point1 = apart.point1;
      p.point2 = vector(X * vec3(apart.point2));
      p.normal = apart.normal;
      p.separation = apart.distance;
      p.name = mixed(std::uint64_t{apart.part1} << 32 | apart.part2);
   }
   return true;
}
} // namespace zqConvex
