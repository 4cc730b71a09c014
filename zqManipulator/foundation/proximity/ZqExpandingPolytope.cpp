#include "zqManipulator/foundation/proximity/ZqExpandingPolytope.h"

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

struct Expansion
{
   CorePair& pair;
   Penetration best;
   ZqReal size = 0.0;
   GrowingHull<mostVertices> hull;
   bool isClosed[GrowingHull<mostVertices>::maxFaces] = {};

   explicit Expansion(CorePair& of) noexcept : pair(of) {}

   bool takeSimplex(const Simplex& S, Vec3* p) noexcept
   {
      if (S.count != 4)
         return false;
      for (int i = 0; i < 4; ++i)
      {
         p[i] = S.w[i];
         size = std::max(size, largest(p[i]));
      }
      const ZqReal volume = dot(cross(p[1] - p[0], p[2] - p[0]), p[3] - p[0]);
      return std::abs(volume) > 1e-3 * size * size * size;
   }

   /// Four points that span A - B. False, and the answer found, where it has no volume.
   bool findTetrahedron(Vec3* p) noexcept
   {
      Vec3 ends[6];
      for (int i = 0; i < 6; ++i)
      {
         Vec3 d{0.0, 0.0, 0.0};
         d[i % 3] = i < 3 ? 1.0 : -1.0;
         best.height(pair, d, ends[i]);
         size = std::max(size, largest(ends[i]));
      }
      ZqReal span = -1.0;
      for (int i = 0; i < 3; ++i)
         if (const ZqReal length2 = norm2(ends[i] - ends[i + 3]); length2 > span)
         {
            span = length2;
            p[0] = ends[i];
            p[1] = ends[i + 3];
         }
      if (!(span > 0.0))
      {
         best.n = norm2(pair.X.t) > 0.0 ? unit(pair.X.t) : Vec3{0.0, 0.0, 1.0};
         best.depth = 0.0;
         return false;
      }
      return findThird(p) && findFourth(p);
   }

   bool findThird(Vec3* p) noexcept
   {
      const Vec3 u = unit(p[1] - p[0]);
      const Vec3 e = perpendicular(u);
      const Vec3 f = cross(u, e);
      ZqReal span = -1.0;
      for (const Vec3& d : {e, -e, f, -f})
      {
         Vec3 w;
         best.height(pair, d, w);
         if (const ZqReal width2 = norm2(cross(w - p[0], u)); width2 > span)
         {
            span = width2;
            p[2] = w;
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

   bool findFourth(Vec3* p) noexcept
   {
      const Vec3 n = unit(cross(p[1] - p[0], p[2] - p[0]));
      Vec3 top, bottom;
      const ZqReal up = best.height(pair, n, top);
      const ZqReal down = best.height(pair, -n, bottom);
      const ZqReal plane = dot(n, p[0]);
      if (up + down > 1e-14 * size)
      {
         p[3] = up - plane > plane + down ? top : bottom;
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
      Vec3 w;
      best.depth = std::numeric_limits<ZqReal>::infinity();
      best.height(pair, n, w);
      best.depth = std::max(0.0, best.depth);
   }

   /// Grows until no face is nearer than the best height by more than the gap, or the supports are used up.
   void grow(ZqReal relativeGap, int most) noexcept
   {
      const ZqReal least = closedGap * size;
      while (best.supports < most)
      {
         int f = -1;
         ZqReal low = std::numeric_limits<ZqReal>::infinity();
         for (int k = 0; k < hull.faceCount; ++k)
            if (hull.offset[k] < low && !isClosed[k])
            {
               low = hull.offset[k];
               f = k;
            }
         if (f < 0 || low >= best.depth - std::max(least, relativeGap * best.depth))
            break;
         Vec3 w;
         const ZqReal h = best.height(pair, hull.face[f].normal, w);
         // A face of A - B, or a point that rounding does not let in: not to be asked again.
         if (h - low <= least || hull.height(f, w) <= 0.0 || !hull.add(w, f))
            isClosed[f] = true;
      }
      best.lower = best.depth;
      for (int k = 0; k < hull.faceCount; ++k)
         best.lower = std::min(best.lower, hull.offset[k]);
   }

   /// Refines the best height, and from the nearest few faces that differ: each face nearer than the best height may
   /// hide the least.
   void refine() noexcept
   {
      struct Seed
      {
         ZqReal offset;
         Vec3 n;
      };
      Seed seeds[3];
      int count = 0;
      const Vec3 first = best.n;
      for (int k = 0; k < hull.faceCount; ++k)
      {
         if (!(hull.offset[k] < best.depth))
            continue;
         const Vec3& n = hull.face[k].normal;
         int place = -1;
         for (int i = 0; i < count; ++i)
            if (dot(seeds[i].n, n) > 0.98)
               place = i;
         if (place < 0 && count < 3)
         {
            place = count++;
            seeds[place].offset = std::numeric_limits<ZqReal>::infinity();
         }
         if (place < 0)
            for (int i = 0; i < count; ++i)
               if (place < 0 || seeds[i].offset > seeds[place].offset)
                  place = i;
         if (hull.offset[k] < seeds[place].offset)
            seeds[place] = {hull.offset[k], n};
      }
      refineDepth(pair, best);
      for (int i = 0; i < count; ++i)
      {
         if (dot(seeds[i].n, best.n) > 0.98 || dot(seeds[i].n, first) > 0.98)
            continue;
         Penetration other;
         Vec3 w;
         other.height(pair, seeds[i].n, w);
         refineDepth(pair, other);
         best.supports += other.supports;
         if (other.depth < best.depth)
         {
            best.depth = other.depth;
            best.n = other.n;
         }
      }
   }
};
} // namespace

Penetration penetrate(CorePair& pair, const Simplex* first) noexcept
{
   Expansion expansion(pair);
   Penetration& best = expansion.best;
   Vec3 p[4];
   if (!(first && expansion.takeSimplex(*first, p)) && !expansion.findTetrahedron(p))
   {
      best.lower = best.depth;
      return best;
   }
   expansion.hull.start(p, 1e-15 * expansion.size);
   const bool isCurved = pair.A.isCurved() || pair.B.isCurved();
   expansion.grow(isCurved ? curvedGap : 0.0, mostSupports);
   const bool isFace = best.lower >= best.depth - 2.0 * closedGap * expansion.size;
   if (isCurved && !isFace)
   {
      expansion.refine();
      // The rest of the way with the sharp bound: flat rulings between curved parts stop the refinement at about 1e-7.
      expansion.grow(0.0, best.supports + lastSupports);
   }
   best.depth = std::max(0.0, best.depth);
   best.lower = std::clamp(best.lower, 0.0, best.depth);
   return best;
}
} // namespace zqConvex
