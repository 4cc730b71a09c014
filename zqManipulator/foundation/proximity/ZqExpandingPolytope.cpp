#include "zqManipulator/foundation/proximity/ZqExpandingPolytope.h"

#include "zqManipulator/foundation/proximity/ZqBalance.h"
#include "zqManipulator/foundation/proximity/ZqGrowingHull.h"

namespace zqConvex
{
namespace
{
constexpr int mostVertices = 200;
constexpr int mostSupports = 160;
constexpr int lastSupports = 60; ///< after curved cores were refined
/// Of the size: below it a face is one of A - B itself. Polytopes end there exactly.
constexpr ZqReal closedGap = 1e-13;
/// Of the depth: where curved cores go over to refinement.
constexpr ZqReal curvedGap = 1e-3;
/// Cosines of the angles within which directions likely lead down to one least, and surely.
constexpr ZqReal alike = 0.98;
constexpr ZqReal same = 0.99998;
constexpr ZqReal sameFlat = 1.0 - 1e-10; ///< of polytopes

struct Expansion
{
   CorePair& pair;
   Penetration best;
   ZqReal size = 0.0;
   GrowingHull<mostVertices> hull;
   bool isClosed[GrowingHull<mostVertices>::maxFaces] = {};

   bool isCurved;

   explicit Expansion(CorePair& of) noexcept
      : pair(of), isCurved(of.A.isCurved() || of.B.isCurved())
   {
   }

   bool isSolid(const Simplex& S) noexcept
   {
      if (S.count != 4)
         return false;
      for (int i = 0; i < 4; ++i)
         size = std::max(size, largest(S.w[i]));
      const ZqReal volume = dot(cross(S.w[1] - S.w[0], S.w[2] - S.w[0]), S.w[3] - S.w[0]);
      return std::abs(volume) > 1e-3 * size * size * size;
   }

   /// Four points that span A - B. False, and the answer found, where it has no volume.
   bool findTetrahedron(Simplex& S) noexcept
   {
      Simplex down, up; // the furthest along the axes
      for (int i = 0; i < 3; ++i)
      {
         Vec3 d{0.0, 0.0, 0.0};
         Vec3 a, b;
         d[i] = 1.0;
         best.height(pair, d, a, b);
         up.set(i, a, b);
         best.height(pair, -d, a, b);
         down.set(i, a, b);
         size = std::max({size, largest(up.w[i]), largest(down.w[i])});
      }
      ZqReal span = -1.0;
      for (int i = 0; i < 3; ++i)
         if (const ZqReal length2 = norm2(up.w[i] - down.w[i]); length2 > span)
         {
            span = length2;
            S.set(0, up.a[i], up.b[i]);
            S.set(1, down.a[i], down.b[i]);
         }
      if (span > 0.0)
         return findThird(S) && findFourth(S);
      best.n = norm2(pair.X.t) > 0.0 ? unit(pair.X.t) : Vec3{0.0, 0.0, 1.0};
      best.depth = 0.0;
      return false;
   }

   bool findThird(Simplex& S) noexcept
   {
      const Vec3 u = unit(S.w[1] - S.w[0]);
      const Vec3 e = perpendicular(u);
      const Vec3 f = cross(u, e);
      ZqReal span = -1.0;
      for (const Vec3& d : {e, -e, f, -f})
      {
         Vec3 a, b;
         best.height(pair, d, a, b);
         if (const ZqReal width2 = norm2(cross(a - b - S.w[0], u)); width2 > span)
         {
            span = width2;
            S.set(2, a, b);
         }
      }
      if (span > 1e-28 * size * size)
         return true;
      // A segment: any perpendicular parts it.
      Vec3 n = unit(pair.X.t - u * dot(pair.X.t, u));
      if (std::abs(dot(n, u)) > 1e-3)
         n = e;
      answerFlat(n);
      return false;
   }

   bool findFourth(Simplex& S) noexcept
   {
      const Vec3 n = unit(cross(S.w[1] - S.w[0], S.w[2] - S.w[0]));
      Vec3 topA, topB, bottomA, bottomB;
      const ZqReal up = best.height(pair, n, topA, topB);
      const ZqReal down = best.height(pair, -n, bottomA, bottomB);
      const ZqReal plane = dot(n, S.w[0]);
      if (up + down > 1e-14 * size)
      {
         const bool isTop = up - plane > plane + down;
         S.set(3, isTop ? topA : bottomA, isTop ? topB : bottomB);
         return true;
      }
      // Flat: its normal, towards B where both sides are alike.
      const bool isEven = std::abs(up - down) <= 1e-14 * size;
      const bool isUp = isEven ? dot(n, pair.X.t) >= 0.0 : up < down;
      answerFlat(isUp ? n : -n);
      return false;
   }

   void answerFlat(const Vec3& n) noexcept
   {
      Vec3 a, b;
      best.depth = std::numeric_limits<ZqReal>::infinity();
      best.height(pair, n, a, b);
      best.depth = std::max(0.0, best.depth);
   }

   bool isAside(int f) const noexcept
   {
      return dot(hull.face[f].normal, best.n) < (isCurved ? same : sameFlat);
   }

   /// The open face that is nearest the origin; -1 if all are closed.
   int nearestFace(bool onlyAside) const noexcept
   {
      int nearest = -1;
      ZqReal low = std::numeric_limits<ZqReal>::infinity();
      for (int k = 0; k < hull.faceCount; ++k)
         if (hull.offset[k] < low && !isClosed[k] && !(onlyAside && !isAside(k)))
         {
            low = hull.offset[k];
            nearest = k;
         }
      return nearest;
   }

   /// Grows until no face, or none aside, is nearer than the best height by more than the gap, or the
   /// supports are used up.
   void grow(ZqReal relativeGap, bool onlyAside, int most) noexcept
   {
      const ZqReal least = closedGap * size;
      while (best.supports < most)
      {
         const int f = nearestFace(onlyAside);
         if (f < 0 || hull.offset[f] >= best.depth - std::max(least, relativeGap * best.depth))
            break;
         Vec3 a, b;
         const ZqReal h = best.height(pair, hull.face[f].normal, a, b);
         // A face of A - B, or a point that rounding does not let in: not to be asked again.
         if (h - hull.offset[f] <= least || hull.height(f, a - b) <= 0.0 || !hull.add(a, b, f))
            isClosed[f] = true;
      }
   }

   /// What the faces prove. A motion changes the heights of two directions unevenly by itself times their
   /// difference.
   void prove() noexcept
   {
      best.lower = best.depth;
      best.reliable = size;
      for (int k = 0; k < hull.faceCount; ++k)
      {
         best.lower = std::min(best.lower, hull.offset[k]);
         if (hull.offset[k] < hull.gone && isAside(k))
            best.reliable = std::min(best.reliable, (hull.offset[k] - best.depth) /
                                                       norm(hull.face[k].normal - best.n));
      }
   }

   /// The features of a polytope's face: of several in one plane of those that hold the foot of the origin.
   void findFeatures() noexcept
   {
      const ZqReal high = best.depth + 4.0 * closedGap * size;
      for (int k = 0; k < hull.faceCount; ++k)
      {
         Vec3 n = hull.face[k].normal;
         if (!(hull.offset[k] <= high) || dot(n, best.n) < 1.0 - 1e-9)
            continue;
         Penetration face = best;
         Vec3 a, b;
         face.simplex = hull.features(k);
         if (!balance(pair, face.simplex, n) || !face.points(a, b))
            continue;
         best.simplex = face.simplex;
         return;
      }
   }

   /// Goes down to the least of the height from the nearest few faces that differ: each face nearer than the
   /// best height may hide it.
   void refine() noexcept
   {
      constexpr int mostSeeds = 4;
      int seeds[mostSeeds];
      int count = 0;
      for (int k = 0; k < hull.faceCount; ++k)
      {
         if (!(hull.offset[k] < best.depth))
            continue;
         int place = -1;
         for (int i = 0; i < count; ++i)
            if (dot(hull.face[seeds[i]].normal, hull.face[k].normal) > alike)
               place = i;
         if (place < 0 && count < mostSeeds)
         {
            seeds[count++] = k;
            continue;
         }
         if (place < 0)
            for (int i = 0; i < count; ++i)
               if (place < 0 || hull.offset[seeds[i]] > hull.offset[seeds[place]])
                  place = i;
         if (hull.offset[k] < hull.offset[seeds[place]])
            seeds[place] = k;
      }
      for (int i = 0; i < count; ++i)
         refineFrom(seeds[i]);
   }

   /// The least of the height that is down from n.
   void refineSafely(Penetration& other) noexcept
   {
      Simplex S;
      Vec3 n = other.n;
      const ZqReal height = descendSafely(pair, S, n, other.supports);
      if (!(height <= other.depth + 4e-15 * size))
         return;
      other.depth = height;
      other.n = n;
      other.simplex.count = 0;
      descend(pair, S, other);
   }

   void refineFrom(int f) noexcept
   {
      Penetration other;
      other.n = hull.face[f].normal;
      if (!descend(pair, hull.features(f), other))
      {
         other.depth = std::numeric_limits<ZqReal>::infinity();
         refineSafely(other);
      }
      best.supports += other.supports;
      if (!(other.depth <= best.depth + 4e-15 * size))
         return;
      best.depth = other.depth;
      best.n = other.n;
      best.simplex = other.simplex;
   }
};
} // namespace

Penetration penetrate(CorePair& pair, const Simplex* first) noexcept
{
   Expansion expansion(pair);
   Penetration& best = expansion.best;
   Simplex found;
   const bool isGiven = first && expansion.isSolid(*first);
   if (!isGiven && !expansion.findTetrahedron(found))
   {
      best.lower = best.depth;
      return best;
   }
   expansion.hull.start(isGiven ? *first : found, 1e-15 * expansion.size);
   const bool isCurved = expansion.isCurved;
   expansion.grow(isCurved ? curvedGap : 0.0, false, mostSupports);
   expansion.prove();
   const bool isFace = best.lower >= best.depth - 2.0 * closedGap * expansion.size;
   if (isCurved && !isFace)
   {
      // With the sharp bound other faces may turn out to hide less.
      for (int round = 0; round < 3; ++round)
      {
         expansion.refine();
         const ZqReal depth = best.depth;
         expansion.grow(0.0, true, best.supports + lastSupports);
         if (!(best.depth < depth))
            break;
      }
      // Where no least was found by its features, by the polytope alone.
      if (best.simplex.count == 0)
      {
         expansion.grow(0.0, false, best.supports + lastSupports);
         expansion.refineSafely(best);
      }
      expansion.prove();
   }
   else
      expansion.findFeatures();
   best.depth = std::max(0.0, best.depth);
   best.lower = std::clamp(best.lower, 0.0, best.depth);
   return best;
}
} // namespace zqConvex
