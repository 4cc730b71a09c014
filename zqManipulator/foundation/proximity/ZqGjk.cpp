#include "zqManipulator/foundation/proximity/ZqGjk.h"

#include "zqManipulator/foundation/proximity/ZqBalance.h"

namespace zqConvex
{
namespace
{
/// Steps that gain less than this part of the squared distance gain nothing.
constexpr ZqReal leastGain = 1e-14;

struct GjkIteration
{
   CorePair& pair;
   const GjkOptions& options;
   GjkResult& out;
   Simplex& S;
   Vec3 v{0.0, 0.0, 0.0};
   ZqReal squared = 0.0; ///< |v|^2
   ZqReal scale = 0.0;   ///< largest coordinate of the points so far
   // On curved rims every other step only prepares the next one: its gain is below rounding long before the
   // end. Such a step is taken, a few in a row; the best simplex is kept aside.
   Simplex best;
   Vec3 bestV{0.0, 0.0, 0.0};
   ZqReal bestSquared = 0.0;
   int stalls = 0;
   Vec3 n{0.0, 0.0, 1.0}; ///< where the features balance, if it is sharp
   bool isSharp = false;

   GjkIteration(CorePair& of, const GjkOptions& with, GjkResult& result) noexcept
      : pair(of), options(with), out(result), S(result.simplex)
   {
   }

   void begin(const ZqPairCache* warm) noexcept
   {
      if (warm && warm->count > 0)
      {
         pair.atA = warm->atA;
         pair.atB = warm->atB;
         S.count = warm->count;
         for (int i = 0; i < S.count; ++i)
            S.set(i, warm->a[i], pair.X * warm->b[i]);
      }
      else
      {
         const Vec3& d = options.start == Vec3{0.0, 0.0, 0.0} ? pair.X.t : options.start;
         S.count = 1;
         Vec3 a, b;
         pair.support(largest(d) > 0.0 ? d : Vec3{1.0, 0.0, 0.0}, a, b);
         S.set(0, a, b);
      }
      for (int i = 0; i < S.count; ++i)
         scale = std::max({scale, largest(S.a[i]), largest(S.b[i])});
   }

   /// The nearest point of the simplex that it has now; false if the origin is inside.
   bool project() noexcept
   {
      NearestPoint point;
      if (nearest(S, point))
         return false;
      take(point);
      bestSquared = squared;
      return true;
   }

   void take(NearestPoint& point) noexcept
   {
      v = point.v;
      squared = point.squared;
      reduce(S, point);
   }

   /// Whether nothing nearer than v is worth looking for, seen from the support point of -v.
   bool isDone(const Vec3& w) noexcept
   {
      const ZqReal vw = dot(v, w);
      if (vw > 0.0)
      {
         const ZqReal length = std::sqrt(squared);
         out.lower = std::max(out.lower, vw / length);
         if (options.reach >= 0.0 && vw > options.reach * length)
            return true;
      }
      return squared - vw <= options.gap * squared || S.holds(w);
   }

   /// The same, seen from the support point of the sharp direction.
   bool isDoneAlong(const Vec3& w) noexcept
   {
      const ZqReal low = -dot(n, w);
      const ZqReal length = std::sqrt(squared);
      out.lower = std::max(out.lower, low);
      return (options.reach >= 0.0 && low > options.reach) ||
             length - low <= std::max(0.5 * options.gap * length, 1.5e-15 * scale);
   }

   void keepAside() noexcept
   {
      if (best.count > 0 && squared > bestSquared)
         return;
      best = S;
      --best.count;
      bestSquared = squared;
      bestV = v;
   }

   /// Takes in a new point; false when the iteration ends: inside, or without gain.
   bool add(const Vec3& a, const Vec3& b) noexcept
   {
      scale = std::max({scale, largest(a), largest(b)});
      S.set(S.count++, a, b);
      NearestPoint point;
      if (nearest(S, point))
      {
         out.overlaps = true;
         return false;
      }
      if (!point.holds(S.count - 1))
      {
         point = {};
         nearestWithLast(S, point);
      }
      if (point.squared < squared * (1.0 - leastGain))
         stalls = 0;
      else
      {
         if (point.count == 0) // not a number
            return false;
         keepAside();
         if (++stalls > 3)
            return false;
      }
      take(point);
      return true;
   }

   /// Curved cores: the direction and the points at which the features of the simplex balance. The iteration
   /// alone halves the angle at each step; with this it ends in a few.
   void sharpen() noexcept
   {
      Simplex balanced = S;
      NearestPoint point;
      Vec3 along = v * (-1.0 / std::sqrt(squared));
      const Approach approach = approachBalance(pair, balanced, along);
      if (approach == Approach::None || nearest(balanced, point) ||
          !(point.squared <= squared * (1.0 + 1e-12)))
         return;
      S = balanced;
      take(point);
      // With a negative weight v leads elsewhere.
      isSharp = approach == Approach::Balanced &&
                norm2(v + along * std::sqrt(squared)) <= 1e-12 * squared + 1e-28 * scale * scale;
      n = along;
   }

   /// Whether the sharp direction led nowhere: the support point along it brings the simplex no nearer.
   bool isBlunted(const Vec3& w) noexcept
   {
      const bool wasSharp = isSharp;
      isSharp = false;
      return wasSharp && !(dot(v, w) < squared);
   }

   void run(bool isWarm) noexcept
   {
      const bool isCurved = pair.A.isCurved() || pair.B.isCurved();
      // A mere yes or no comes before it pays.
      const int sharpensAfter = options.reach >= 0.0 ? 6 : 1;
      bool isLast = false;
      if (isWarm && isCurved && options.reach < 0.0)
         sharpen();
      while (out.iterations < options.mostIterations)
      {
         // Rounding of the points hides anything nearer than this: touching.
         const ZqReal floor = 4e-16 * scale;
         if (squared <= floor * floor)
         {
            out.overlaps = true;
            return;
         }
         if (options.reach > 0.0 && squared <= options.reach * options.reach)
            return;
         ++out.iterations;
         Vec3 a, b;
         pair.support(isSharp ? n : -v, a, b);
         const Vec3 w = a - b;
         if (isSharp ? isDoneAlong(w) : isDone(w))
         {
            // The direction is the root of the gap off, if it is not sharp.
            if (isSharp || isLast || !isCurved || options.reach >= 0.0)
               return;
            isLast = true;
            sharpen();
            if (!isSharp)
               return;
            continue;
         }
         if (isBlunted(w))
            continue;
         const bool hasBound = dot(v, w) > 0.0;
         if (!add(a, b))
            return;
         if (isCurved && hasBound && out.iterations > sharpensAfter)
            sharpen();
      }
   }

   void finish() noexcept
   {
      if (!out.overlaps && best.count > 0 && bestSquared <= squared * (isSharp ? 1.0 - 1e-13 : 1.0))
      {
         S = best;
         v = bestV;
         squared = bestSquared;
         isSharp = false;
      }
      out.distance = std::sqrt(squared);
      out.v = isSharp && squared > 0.0 ? n * -out.distance : v;
      // A distance in the noise that no bound supports says that the origin is in A - B, not that it is near
      // its surface: how deep it lies is for others to say.
      out.overlaps |= squared <= 1e-24 * scale * scale && out.lower < 0.5 * out.distance;
      out.a = out.b = {0.0, 0.0, 0.0};
      if (out.overlaps)
      {
         out.distance = out.lower = 0.0;
         return;
      }
      out.lower = std::min(out.lower, out.distance);
      for (int i = 0; i < S.count; ++i)
      {
         out.a += S.a[i] * S.weight[i];
         out.b += S.b[i] * S.weight[i];
      }
   }
};
} // namespace

void gjk(CorePair& pair, const ZqPairCache* warm, const GjkOptions& options,
         GjkResult& out) noexcept
{
   out.overlaps = false;
   out.lower = 0.0;
   out.iterations = 0;
   GjkIteration iteration(pair, options, out);
   iteration.begin(warm);
   if (!iteration.project())
   {
      out.overlaps = true;
      iteration.v = {0.0, 0.0, 0.0};
   }
   else
      iteration.run(warm && warm->count > 0);
   iteration.finish();
}

void remember(const CorePair& pair, const GjkResult& result, ZqPairCache& cache) noexcept
{
   cache.count = result.overlaps ? 0 : static_cast<std::int8_t>(result.simplex.count);
   cache.overlapped = false;
   cache.atA = pair.atA;
   cache.atB = pair.atB;
   for (int i = 0; i < cache.count; ++i)
   {
      cache.a[i] = result.simplex.a[i];
      cache.b[i] = inverseTimes(pair.X, result.simplex.b[i]);
   }
}
} // namespace zqConvex
