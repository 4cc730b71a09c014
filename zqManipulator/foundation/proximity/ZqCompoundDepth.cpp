#include "zqManipulator/foundation/proximity/ZqConvexProximity.h"
#include "zqManipulator/foundation/proximity/ZqPartPairs.h"

#include <limits>
#include <tuple>

// Shapes that overlap, one of which is not convex, are parted along some direction by the least length that
// clears all pairs of parts. For convex parts that length is exact: a pair is clear once it has left along the
// direction, wherever it stood before. Which directions are tried decides how good the answer is; that it parts
// the shapes is certain, since that is how it was found.
namespace zqConvex
{
namespace
{
/// More pairs are left to the trees.
constexpr std::size_t mostNear = 5000;
constexpr std::size_t all = std::numeric_limits<std::size_t>::max();
/// So many pairs that are met on the way show how far it is to go on, at first.
constexpr std::size_t mostAtOnce = 32;
constexpr ZqReal endless = std::numeric_limits<ZqReal>::infinity();

struct PartPair
{
   ZqU32 part1, part2;
   ZqReal most; ///< what parts them at most, along the direction in question
};
/// A direction to try, and what one pair of parts needs along it at least.
struct Candidate
{
   Vec3 u;
   ZqReal least;
};
/// The end of a motion of B along u by `length`: the last parts to leave each other, there.
struct Parting
{
   Vec3 u{0.0, 0.0, 1.0};
   ZqReal length = endless;
   Vec3 normal{0.0, 0.0, 1.0};
   Vec3 point{0.0, 0.0, 0.0}; ///< of A, in A's frame
   bool isPointKnown = true;
   ZqU32 part1 = 0, part2 = 0;
};
struct DepthSpace
{
   std::vector<PartPair> first; ///< that overlap where the shapes stand
   std::vector<PartPair> near;  ///< that come to overlap if anything does
   std::vector<PartPair> pairs;
   std::vector<Candidate> candidates;
   std::vector<Candidate> needs; ///< what single pairs need along normals of their own
};
DepthSpace& depthSpace()
{
   thread_local DepthSpace space;
   return space;
}

Pose movedAlong(const Pose& X, const Vec3& u, ZqReal length) noexcept
{
   return {X.R, X.t + u * length};
}

/// How far along d a part reaches beyond its lowest point of the other: what parts them along d at most.
ZqReal extentAlong(const ZqConvex& a, const ZqConvex& b, const Pose& X, const Vec3& d) noexcept
{
   const Vec3 top = vec3(a.supportPoint(vector(d)));
   const Vec3 bottom = X * vec3(b.supportPoint(vector(-turnBack(X.R, d))));
   return dot(top - bottom, d);
}

/// What parts two triangles that overlap along u, exactly, and the normal of the plane that does: the length ends at
/// a face of the difference of the two, whose normals are those of the triangles and of pairs of their edges. Any
/// plane tells what parts them at most.
ZqReal exitOfTriangles(const Vec3 (&p)[3], const Vec3 (&q)[3], const Vec3& u, Vec3& normal) noexcept
{
   ZqReal least = endless;
   const Vec3 a[3] = {p[1] - p[0], p[2] - p[1], p[0] - p[2]};
   const Vec3 b[3] = {q[1] - q[0], q[2] - q[1], q[0] - q[2]};
   const Vec3 r[3] = {q[0] - p[0], q[1] - p[0], q[2] - p[0]};
   const auto byPlane = [&](const Vec3& n)
   {
      const ZqReal along = dot(n, u);
      if (!(along * along > 1e-12 * norm2(n)))
         return;
      const ZqReal p1 = dot(n, a[0]);
      const ZqReal p2 = -dot(n, a[2]);
      const ZqReal q0 = dot(n, r[0]);
      const ZqReal q1 = dot(n, r[1]);
      const ZqReal q2 = dot(n, r[2]);
      const ZqReal gap = along > 0.0 ? std::max({0.0, p1, p2}) - std::min({q0, q1, q2})
                                     : std::min({0.0, p1, p2}) - std::max({q0, q1, q2});
      if (gap / along < least)
      {
         least = gap / along;
         normal = along > 0.0 ? n : -n;
      }
   };
   byPlane(cross(a[0], a[1]));
   byPlane(cross(b[0], b[1]));
   for (const Vec3& edge : a)
      for (const Vec3& other : b)
         byPlane(cross(edge, other));
   return least;
}

class Overlap
{
public:
   Overlap(const PartSide& A, const PartSide& B, const Pose& X) : m_A(A), m_B(B), m_X(X) {}

   /// False where the shapes do but touch within rounding: there is nothing to part.
   bool solve(const Vec3& hint);
   const Parting& best() const noexcept { return m_best; }
   /// No translation parts the shapes by less.
   ZqReal lower() const noexcept { return m_lower; }

private:
   void collect(const Pose& Y, std::size_t most, std::vector<PartPair>& pairs) const;
   void collectAlong(const Vec3& u, ZqReal length, std::size_t most, std::vector<PartPair>& pairs);
   void collectCandidates();
   void add(std::vector<Candidate>& to, const Vec3& u, ZqReal least) const;
   bool exitOfFaces(const PartPair& pair, const Vec3& u, Parting& out) const;
   ZqReal exitOfPair(const PartPair& pair, const Vec3& u, Parting& out);
   bool exitOfPairs(std::vector<PartPair>& pairs, const Vec3& u, Parting& out);
   ZqReal lengthFromOutside(const Vec3& u) const;
   bool isBlocked(const Vec3& u);
   bool tryAlong(const Vec3& u);
   void tryAndFollow(const Vec3& u, ZqReal worthwhile);
   Vec3 meanNormal() const;
   bool isOfMany() const noexcept { return m_space.first.size() > 24; }
   void tryCombinations();
   void findPoint();
   /// Of curved surfaces the best alone is followed to its end.
   ZqReal worthwhile() const noexcept
   {
      return isOfMany() && m_best.length < endless ? 1e-3 * m_best.length : 1e-9 * m_size;
   }

   const PartSide& m_A;
   const PartSide& m_B;
   const Pose m_X;
   Parting m_best;
   ZqReal m_lower = 0.0;
   ZqReal m_reach = -1.0;     ///< of the list of near pairs
   ZqReal m_tooFar = endless; ///< a reach at which the list is too long
   ZqReal m_size = 0.0;       ///< of the smaller side
   ZqReal m_alike = 1.0;      ///< the cosine from which two directions count as one
   DepthSpace& m_space = depthSpace();
   ZqConvex m_spaceA;
   ZqConvex m_spaceB;
};

void Overlap::collect(const Pose& Y, std::size_t most, std::vector<PartPair>& pairs) const
{
   pairs.clear();
   const auto look = [&](ZqU32 part1, const ZqConvex& a, ZqU32 part2, const ZqConvex& b)
   {
      if (isWithin(a, b, Y, 0.0, nullptr))
         pairs.push_back({part1, part2, endless});
      return pairs.size() < most ? 0.0 : -1.0;
   };
   visitPartPairs(m_A, m_B, Y, 0.0, look);
}

/// Pairs that overlap once B has moved along u, if there are any. Only what was within that length can do so: of
/// shapes with few such pairs these are listed once for all short ways.
void Overlap::collectAlong(const Vec3& u, ZqReal length, std::size_t most,
                           std::vector<PartPair>& pairs)
{
   const Pose Y = movedAlong(m_X, u, length);
   if (!isOfMany() && length > m_reach && length < m_tooFar)
   {
      m_reach = std::min(1.5 * length, m_tooFar);
      m_space.near.clear();
      const auto list = [&](ZqU32 part1, const ZqConvex&, ZqU32 part2, const ZqConvex&)
      {
         m_space.near.push_back({part1, part2, endless});
         return m_space.near.size() < mostNear ? m_reach : -1.0;
      };
      visitPartPairs(m_A, m_B, m_X, m_reach, list);
      if (m_space.near.size() >= mostNear)
      {
         m_tooFar = length;
         m_reach = -1.0;
      }
   }
   if (isOfMany() || length > m_reach)
      return collect(Y, most, pairs);
   pairs.clear();
   for (const PartPair& pair : m_space.near)
   {
      ZqU32 t = 0;
      ZqU32 other = 0;
      const ZqTriangles* meshA = m_A.trianglesOf(pair.part1, t);
      const ZqTriangles* meshB = m_B.trianglesOf(pair.part2, other);
      if ((!meshA || !meshB || !areTrianglesApart(*meshA, t, *meshB, other, Y, 0.0)) &&
          isWithin(m_A.part(pair.part1, m_spaceA), m_B.part(pair.part2, m_spaceB), Y, 0.0, nullptr))
         pairs.push_back(pair);
      if (pairs.size() >= most)
         return;
   }
}

/// Grows `out` to what parts two triangles along u; false of other parts.
bool Overlap::exitOfFaces(const PartPair& pair, const Vec3& u, Parting& out) const
{
   ZqU32 t = 0;
   ZqU32 other = 0;
   const ZqTriangles* meshA = m_A.trianglesOf(pair.part1, t);
   const ZqTriangles* meshB = m_B.trianglesOf(pair.part2, other);
   if (!meshA || !meshB)
      return false;
   const Vec3 p[3] = {meshA->vertex(t, 0), meshA->vertex(t, 1), meshA->vertex(t, 2)};
   const Vec3 q[3] = {m_X * meshB->vertex(other, 0), m_X * meshB->vertex(other, 1),
                      m_X * meshB->vertex(other, 2)};
   Vec3 normal{0.0, 0.0, 0.0};
   const ZqReal length = exitOfTriangles(p, q, u, normal);
   if (!(length < endless))
      return false; // of triangles in a plane with u no plane of theirs tells
   if (length > out.length || out.length == endless)
   {
      out.length = length;
      out.normal = unit(normal);
      out.part1 = pair.part1;
      out.part2 = pair.part2;
      out.isPointKnown = false;
   }
   return true;
}

/// What parts a pair along u, exactly: from a length that does, back to the plane that still parts them, again
/// and again.
ZqReal Overlap::exitOfPair(const PartPair& pair, const Vec3& u, Parting& out)
{
   if (Parting own; exitOfFaces(pair, u, own))
   {
      exitOfFaces(pair, u, out);
      return own.length;
   }
   const ZqConvex& a = m_A.part(pair.part1, m_spaceA);
   const ZqConvex& b = m_B.part(pair.part2, m_spaceB);
   ZqSeparation found;
   ZqReal length = pair.most;
   if (!a.isBounded() || !b.isBounded())
   {
      distance(a, b, m_X, nullptr, found);
      const ZqReal along = dot(vec3(found.normal), u);
      length = along > 1e-9 ? -found.distance / along : endless;
      found.point1 = vector(vec3(found.point1) + vec3(found.normal) * -found.distance);
   }
   else
   {
      ZqPairCache cache;
      const ZqReal tolerance = 1e-14 * (a.reach + a.radius + b.reach + b.radius);
      for (int k = 0; k < 48; ++k)
      {
         distance(a, b, movedAlong(m_X, u, length), &cache, found);
         const ZqReal along = dot(vec3(found.normal), u);
         if (!(found.distance > tolerance) || !(along > 0.0))
            break;
         const ZqReal next = std::max(0.0, length - found.distance / along);
         if (!(next < length - tolerance))
            break;
         length = next;
      }
   }
   if (length > out.length || out.length == endless)
   {
      out.length = length;
      out.normal = vec3(found.normal);
      out.point = vec3(found.point1);
      out.isPointKnown = true;
      out.part1 = pair.part1;
      out.part2 = pair.part2;
   }
   return length;
}

/// Grows `out` to the greatest exit of all pairs; false once that is no better than the best so far.
bool Overlap::exitOfPairs(std::vector<PartPair>& pairs, const Vec3& u, Parting& out)
{
   std::size_t count = 0; // of pairs that are not of triangles
   for (std::size_t i = 0; i < pairs.size(); ++i)
   {
      PartPair& pair = pairs[count++] = pairs[i];
      if (exitOfFaces(pair, u, out))
      {
         if (!(out.length < m_best.length))
            return false;
         --count;
         continue;
      }
      const ZqConvex& a = m_A.part(pair.part1, m_spaceA);
      const ZqConvex& b = m_B.part(pair.part2, m_spaceB);
      if (!a.isBounded() || !b.isBounded())
      {
         pair.most = endless;
         continue;
      }
      pair.most = extentAlong(a, b, m_X, u);
      const auto byPlane = [&](const Vec3& n)
      {
         const ZqReal along = dot(n, u);
         if (std::abs(along) > 1e-6)
            pair.most =
               std::min(pair.most, extentAlong(a, b, m_X, along > 0.0 ? n : -n) / std::abs(along));
      };
      if (a.core == ZqConvex::Core::Triangle)
         byPlane(unit(cross(a.corner[1] - a.corner[0], a.corner[2] - a.corner[0])));
      if (b.core == ZqConvex::Core::Triangle)
         byPlane(m_X.R * unit(cross(b.corner[1] - b.corner[0], b.corner[2] - b.corner[0])));
   }
   pairs.resize(count);
   const auto isLess = [](const PartPair& p, const PartPair& q) { return p.most < q.most; };
   for (std::make_heap(pairs.begin(), pairs.end(), isLess);
        !pairs.empty() && (out.length == endless || pairs.front().most > out.length);)
   {
      exitOfPair(pairs.front(), u, out);
      if (!(out.length < m_best.length))
         return false;
      std::pop_heap(pairs.begin(), pairs.end(), isLess);
      pairs.pop_back();
   }
   return true;
}

/// A length that parts the shapes with nothing in the way beyond it, but for what a coarse step leaves.
ZqReal Overlap::lengthFromOutside(const Vec3& u) const
{
   const auto furthest = [](const PartSide& side, const Vec3& d) {
      return side.convex() ? vec3(side.convex()->supportPoint(vector(d)))
                           : side.parts()->support(d);
   };
   ZqReal length = dot(furthest(m_A, u) - m_X * furthest(m_B, -turnBack(m_X.R, u)), u);
   for (int k = 0; k < 100; ++k)
   {
      ZqSeparation found;
      nearestParts(m_A, m_B, movedAlong(m_X, u, length), found);
      if (!(found.distance > 1e-4 * m_size))
         break;
      length -= found.distance;
   }
   return std::max(0.0, length - 2e-4 * m_size);
}

/// Whether something is in the way of curved surfaces at each of some lengths along u up to the best: then u is taken
/// to be no better. What parts them only between two of these lengths is lost.
bool Overlap::isBlocked(const Vec3& u)
{
   constexpr int lengths = 8;
   if (!isOfMany() || !(m_best.length < endless))
      return false;
   // Parts that overlap from the start are in the way until their exit.
   Parting met;
   met.length = 0.0;
   const std::size_t step = m_space.first.size() / 32 + 1;
   for (std::size_t i = 0; i < m_space.first.size(); i += step)
      exitOfFaces(m_space.first[i], u, met);
   for (int k = lengths; k > 0; --k)
   {
      const ZqReal length = (m_best.length - 1e-13 * m_size) * k / lengths;
      if (length < met.length)
         break;
      collect(movedAlong(m_X, u, length), 1, m_space.pairs);
      if (m_space.pairs.empty())
         return false;
   }
   return true;
}

/// Moves B out along u until all pairs that are met on the way are clear. Keeps what is better than the best.
bool Overlap::tryAlong(const Vec3& u)
{
   Parting out;
   out.u = u;
   out.length = 0.0;
   bool isMet = false;
   bool isFromOutside = false;
   if (isBlocked(u))
      return false;
   constexpr int hasty = 24;
   int stuck = 0;
   for (int k = 0; k < 2 * hasty; ++k)
   {
      if (k == 0)
         m_space.pairs = m_space.first;
      else
         collectAlong(u, out.length + 1e-13 * m_size, k < hasty ? mostAtOnce : all, m_space.pairs);
      if (!m_space.pairs.empty())
      {
         const ZqReal before = out.length;
         if (!isMet)
            out.length = endless;
         isMet = true;
         if (!exitOfPairs(m_space.pairs, u, out))
            return false;
         // A touch that rounding does not let go.
         if (k > 0 && !(out.length > before))
            out.length = before + std::ldexp(1e-13, ++stuck) * m_size;
         continue;
      }
      if (isMet && !isInside(m_A, m_B, movedAlong(m_X, u, out.length + 1e-13 * m_size)))
      {
         m_best = out;
         return true;
      }
      if (isFromOutside)
         return false;
      isFromOutside = true;
      out.length = lengthFromOutside(u);
      isMet = false;
      if (!(out.length < m_best.length))
         return false;
   }
   return false;
}

/// Tries u, and goes down from there to where the last parts to leave each other do so along the motion, as long as
/// a step is worthwhile (m).
void Overlap::tryAndFollow(const Vec3& u, ZqReal worthwhile)
{
   ZqReal before = m_best.length;
   bool isBetter = tryAlong(u);
   for (int k = 0; k < 16 && isBetter && dot(m_best.normal, m_best.u) < 1.0 - 1e-14; ++k)
   {
      isBetter = before == endless || m_best.length < before - worthwhile;
      before = m_best.length;
      isBetter = isBetter && tryAlong(m_best.normal);
   }
}

void Overlap::add(std::vector<Candidate>& to, const Vec3& u, ZqReal least) const
{
   for (Candidate& c : to)
      if (dot(c.u, u) > m_alike)
      {
         if (dot(c.u, u) > 1.0 - 1e-12)
            c.least = std::max(c.least, least);
         return;
      }
   if (to.size() < 32)
      to.push_back({u, least});
}

void Overlap::collectCandidates()
{
   m_space.candidates.clear();
   m_space.needs.clear();
   const std::size_t step = m_space.first.size() / 24 + 1;
   // Of many pairs those of a curved surface look much the same way: one of each is enough, the rest follows.
   m_alike = m_space.first.size() > 24 ? 0.97 : 1.0 - 1e-12;
   for (std::size_t i = 0; i < m_space.first.size(); i += step)
   {
      const PartPair& pair = m_space.first[i];
      const ZqConvex& a = m_A.part(pair.part1, m_spaceA);
      const ZqConvex& b = m_B.part(pair.part2, m_spaceB);
      ZqU32 triangle = 0;
      bool isOfFace = false;
      const auto addFace = [&](const Vec3& u, bool isOwn)
      {
         // What a plane through the face leaves to clear is what the pair needs at most.
         ZqReal least = extentAlong(a, b, m_X, u);
         Parting exit;
         if (least < m_best.length)
            least = exitOfPair({pair.part1, pair.part2, least}, u, exit);
         add(m_space.candidates, u, least);
         if (isOwn)
            add(m_space.needs, u, least);
         isOfFace = isOfFace || isOwn;
      };
      if (a.isBounded() && b.isBounded())
      {
         if (const ZqTriangles* mesh = m_A.trianglesOf(pair.part1, triangle);
             mesh && mesh->isClosed())
            addFace(mesh->normal(triangle) * mesh->outward(), true);
         if (const ZqTriangles* mesh = m_B.trianglesOf(pair.part2, triangle);
             mesh && mesh->isClosed())
            addFace(m_X.R * mesh->normal(triangle) * -mesh->outward(), true);
      }
      // What parts the two parts by the least; of a solid's thin triangle it may lead the wrong way.
      if (isOfFace && i % (4 * step) != 0)
         continue;
      ZqSeparation found;
      distance(a, b, m_X, nullptr, found);
      m_lower = std::max(m_lower, -found.distance - found.error);
      add(m_space.candidates, vec3(found.normal), -found.distance);
      if (!isOfFace)
         add(m_space.needs, vec3(found.normal), -found.distance);
      if (isOfFace || m_space.first.size() > 16)
         continue;
      for (int k = 0; k < 6; ++k)
      {
         const ZqReal sign = k < 3 ? 1.0 : -1.0;
         if (a.core == ZqConvex::Core::Box || a.core == ZqConvex::Core::Turned)
            addFace(a.frame.R.column(k % 3) * sign, false);
         if (b.core == ZqConvex::Core::Box || b.core == ZqConvex::Core::Turned)
            addFace(m_X.R * b.frame.R.column(k % 3) * sign, false);
      }
   }
   if (m_space.first.empty())
   {
      // One is inside the other: out through the nearest place, or along an axis.
      ZqSeparation found;
      nearestParts(m_A, m_B, m_X, found);
      add(m_space.candidates, -vec3(found.normal), 0.0);
      for (int i = 0; i < 3; ++i)
      {
         Vec3 u{0.0, 0.0, 0.0};
         u[i] = 1.0;
         add(m_space.candidates, u, 0.0);
         add(m_space.candidates, -u, 0.0);
      }
   }
   for (std::vector<Candidate>* list : {&m_space.candidates, &m_space.needs})
      std::sort(list->begin(), list->end(),
                [](const Candidate& p, const Candidate& q) {
                   return std::tie(p.least, p.u.x, p.u.y, p.u.z) <
                          std::tie(q.least, q.u.x, q.u.y, q.u.z);
                });
}

/// Shapes that are wedged between faces are parted best along none of their normals: by the least translation
/// that goes far enough along two or three of them.
void Overlap::tryCombinations()
{
   const std::vector<Candidate>& c = m_space.needs;
   const std::size_t count = std::min<std::size_t>(4, c.size());
   const auto tryTranslation = [&](const Vec3& t)
   {
      const ZqReal length = norm(t);
      if (length > 0.0 && length < m_best.length * (1.0 - 1e-9))
         tryAndFollow(t * (1.0 / length), worthwhile());
   };
   for (std::size_t i = 0; i < count; ++i)
      for (std::size_t j = 0; j < i; ++j)
      {
         const ZqReal cosine = dot(c[i].u, c[j].u);
         const ZqReal sine2 = 1.0 - cosine * cosine;
         if (sine2 < 0.03)
            continue;
         tryTranslation(c[i].u * ((c[i].least - cosine * c[j].least) / sine2) +
                        c[j].u * ((c[j].least - cosine * c[i].least) / sine2));
         for (std::size_t k = 0; k < j; ++k)
         {
            const Vec3 jk = cross(c[j].u, c[k].u);
            const ZqReal volume = dot(c[i].u, jk);
            if (std::abs(volume) > 0.03)
               tryTranslation((jk * c[i].least + cross(c[k].u, c[i].u) * c[j].least +
                               cross(c[i].u, c[j].u) * c[k].least) *
                              (1.0 / volume));
         }
      }
}

/// The mean of the outward normals of the triangles that overlap, by their areas; zero without any.
Vec3 Overlap::meanNormal() const
{
   Vec3 sum{0.0, 0.0, 0.0};
   const auto add = [&sum](const ZqTriangles* mesh, ZqU32 t, const Mat3& R, ZqReal sign)
   {
      if (mesh && mesh->isClosed())
         sum += R *
                cross(mesh->vertex(t, 1) - mesh->vertex(t, 0),
                      mesh->vertex(t, 2) - mesh->vertex(t, 0)) *
                (sign * mesh->outward());
   };
   for (const PartPair& pair : m_space.first)
   {
      ZqU32 t = 0;
      const ZqTriangles* mesh = m_A.trianglesOf(pair.part1, t);
      add(mesh, t, {}, 1.0);
      mesh = m_B.trianglesOf(pair.part2, t);
      add(mesh, t, m_X.R, -1.0);
   }
   return norm2(sum) > 0.0 ? unit(sum) : sum;
}

bool Overlap::solve(const Vec3& hint)
{
   const auto sizeOf = [](const PartSide& side)
   {
      Vec3 lower, upper;
      if (side.convex())
         side.convex()->box({}, lower, upper);
      else
      {
         const AlignedBox box = side.parts()->tree().bounds();
         lower = box.lower;
         upper = box.upper;
      }
      return norm(upper - lower);
   };
   m_size = std::min(sizeOf(m_A), sizeOf(m_B));
   collect(m_X, all, m_space.first);
   if (m_space.first.empty() && !isInside(m_A, m_B, m_X))
      return false;
   m_space.near.clear();
   for (const Vec3& u : {hint, meanNormal()})
      if (norm2(u) > 0.0)
         tryAndFollow(u, worthwhile());
   collectCandidates();
   for (std::size_t i = 0; i < m_space.candidates.size(); ++i)
      if (m_space.candidates[i].least < m_best.length)
         tryAndFollow(m_space.candidates[i].u, worthwhile());
   tryCombinations();
   if (isOfMany() && m_best.length < endless)
      tryAndFollow(m_best.normal, 1e-9 * m_size);
   findPoint();
   return true;
}

/// Where the last parts to leave each other do so.
void Overlap::findPoint()
{
   if (m_best.isPointKnown || !(m_best.length < endless))
      return;
   ZqSeparation found;
   distance(m_A.part(m_best.part1, m_spaceA), m_B.part(m_best.part2, m_spaceB),
            movedAlong(m_X, m_best.u, m_best.length + 1e-12 * m_size), nullptr, found);
   m_best.point = vec3(found.point1);
}
} // namespace

void leastParting(const PartSide& A, const PartSide& B, const Pose& X, ZqShapePairCache* cache,
                  ZqSeparation& out)
{
   Overlap overlap(A, B, X);
   if (!overlap.solve(cache ? cache->parting : Vec3{0.0, 0.0, 0.0}))
      return;
   const Parting& best = overlap.best();
   if (cache)
   {
      cache->parting = best.length < endless ? best.u : Vec3{0.0, 0.0, 0.0};
      cache->part1 = best.part1;
      cache->part2 = best.part2;
      cache->convex = {};
   }
   out.part1 = best.part1;
   out.part2 = best.part2;
   if (!(best.length < endless))
   {
      out.distance = -1e300;
      out.error = 1e300;
      return;
   }
   out.distance = -best.length;
   out.error = std::max(0.0, best.length - overlap.lower());
   out.normal = vector(best.u);
   out.point1 = vector(best.point);
   out.point2 = vector(inverseTimes(X, best.point - best.u * best.length));
}
} // namespace zqConvex
