#include "zqManipulator/foundation/proximity/ZqClosedForms.h"
#include "zqManipulator/foundation/proximity/ZqConvexProximity.h"
#include "zqManipulator/foundation/proximity/ZqExpandingPolytope.h"
#include "zqManipulator/foundation/proximity/ZqPairCacheOwner.h"

namespace zqConvex
{
namespace
{
/// How far cores are moved apart, of their size, to see the direction between them.
constexpr ZqReal partingMargin = 1e-3;

bool areBoxes(const CorePair& pair) noexcept
{
   return pair.A.core == ZqConvex::Core::Box && pair.B.core == ZqConvex::Core::Box;
}

/// A bound of how differently two points of B's core may have moved in the frame of A's since it stood at X.
ZqReal motionSince(const CorePair& pair, const Pose& X) noexcept
{
   const Mat3& R = pair.X.R;
   const ZqReal turn2 = norm2(R.c0 - X.R.c0) + norm2(R.c1 - X.R.c1) + norm2(R.c2 - X.R.c2);
   return norm(pair.X.t - X.t) + 2.0 * std::sqrt(turn2) * pair.B.reach;
}

/// The points of an overlap, centred on their middle, so that they are as far apart as told. On curved cores
/// they come a little aside of the normal.
void answerOverlap(const Vec3& n, ZqReal depth, ZqReal lower, const Vec3& a, const Vec3& b,
                   CoreAnswer& out) noexcept
{
   const Vec3 middle = (a + b) * 0.5;
   out.distance = -depth;
   out.error = depth - lower;
   out.n = out.along = n;
   out.a = middle + n * (0.5 * depth);
   out.b = middle - n * (0.5 * depth);
}

/// Keeps what an overlap leaves to the next query.
void rememberOverlap(const CorePair& pair, const Penetration& penetration,
                     ZqPairCache& cache) noexcept
{
   cache.overlapped = true;
   cache.atA = pair.atA;
   cache.atB = pair.atB;
   cache.normal = penetration.n;
   if (penetration.simplex.count == 0)
      return;
   cache.count = static_cast<std::int8_t>(penetration.simplex.count);
   for (int i = 0; i < cache.count; ++i)
   {
      cache.a[i] = penetration.simplex.a[i];
      cache.b[i] = inverseTimes(pair.X, penetration.simplex.b[i]);
   }
}

/// An overlap that moved a little: the normal follows its features. False if the last full solution no longer
/// proves that no other direction needs less, or if the features have changed too much.
bool followOverlap(CorePair& pair, ZqPairCache& cache, CoreAnswer& out) noexcept
{
   const ZqReal motion = motionSince(pair, cache.pose);
   if (!(motion <= cache.reliable))
      return false;
   Penetration now;
   now.n = cache.normal;
   const bool isLeast = descendFrom(pair, cache, now);
   out.iterations = now.supports;
   Vec3 a, b;
   if (!isLeast || !(now.depth > 0.0) || !now.points(a, b))
      return false;
   now.lower = std::clamp(cache.lower - motion, 0.0, now.depth);
   answerOverlap(now.n, now.depth, now.lower, a, b, out);
   rememberOverlap(pair, now, cache);
   return true;
}

/// Cores so near that the iteration has not closed its bounds. Apart is said only with a direction in hand
/// that parts the cores: a tiny distance without one can be a point deep inside that the iteration cannot
/// enclose.
void settle(CorePair& pair, GjkResult& result) noexcept
{
   const ZqReal size = pair.size();
   if (result.overlaps ||
       (result.distance - result.lower <= 1e-11 * (result.distance + size) && result.lower > 0.0))
      return;
   refineApart(pair, result);
   if (result.distance - result.lower <= 1e-11 * size && result.lower > 0.0)
      return;
   const Penetration penetration = penetrate(pair, nullptr);
   result.iterations += penetration.supports;
   if (penetration.depth > 0.0)
   {
      result.overlaps = true;
      result.simplex.count = 0;
   }
}

void answerApart(const CorePair& pair, const GjkResult& result, CoreAnswer& out) noexcept
{
   out.distance = result.distance;
   out.error = result.distance - result.lower;
   out.n = unit(-result.v);
   out.a = result.a;
   out.b = result.b;
   const Vec3 line = result.b - result.a;
   const ZqReal length = norm(line);
   // Of points that touch but for rounding the line between them leads anywhere.
   const bool isTold = length > 1e-9 * pair.size() && dot(line, out.n) > 0.99 * length;
   out.along = isTold ? line * (1.0 / length) : out.n;
}

/// Answers an overlap and keeps it.
void answerPenetration(CorePair& pair, Penetration& penetration, ZqPairCache* cache, bool points,
                       CoreAnswer& out) noexcept
{
   Vec3 a{0.0, 0.0, 0.0};
   Vec3 b = a;
   ZqPairCache none;
   ZqPairCache& kept = cache ? *cache : none;
   if ((points || cache) && !penetration.points(a, b))
      deepestPoints(pair, penetration.n, penetration.depth, partingMargin * pair.size(), a, b,
                    penetration.supports, &kept);
   answerOverlap(penetration.n, penetration.depth, penetration.lower, a, b, out);
   out.iterations += penetration.supports;
   rememberOverlap(pair, penetration, kept);
   kept.lower = penetration.lower;
   kept.reliable = penetration.reliable;
   kept.pose = pair.X;
}

/// Boxes overlap where no axis parts them; else the best axis is where to begin.
bool overlappingBoxes(CorePair& pair, ZqPairCache* cache, bool points, Vec3& axis,
                      CoreAnswer& out) noexcept
{
   const ZqReal separation = separatingAxis(pair, axis);
   if (separation > 0.0)
   {
      if (cache && cache->overlapped)
         cache->count = 0; // the axis is better than what is left of an overlap
      return false;
   }
   if (cache && !cache->overlapped)
      cache->count = 0;
   Penetration penetration;
   penetration.n = axis;
   penetration.depth = penetration.lower = -separation;
   answerPenetration(pair, penetration, cache, points, out);
   return true;
}
} // namespace

void coreDistance(CorePair& pair, ZqPairCache* cache, CoreAnswer& out, bool points) noexcept
{
   if (closedForm(pair, out))
      return;
   out.iterations = 0;
   GjkOptions options;
   if (cache && cache->overlapped && cache->count > 0)
   {
      pair.atA = cache->atA;
      pair.atB = cache->atB;
      if (areBoxes(pair) ? overlappingBoxes(pair, cache, points, options.start, out)
                         : followOverlap(pair, *cache, out))
         return;
   }
   GjkResult result;
   gjk(pair, cache, options, result);
   settle(pair, result);
   out.iterations += result.iterations;
   if (!result.overlaps)
   {
      if (cache)
         remember(pair, result, *cache);
      return answerApart(pair, result, out);
   }
   if (areBoxes(pair) && overlappingBoxes(pair, cache, points, options.start, out))
      return;
   if (cache)
      cache->count = 0;
   Penetration penetration = penetrate(pair, &result.simplex);
   answerPenetration(pair, penetration, cache, points, out);
}

void distance(const ZqConvex& A, const ZqConvex& B, const Pose& X, ZqPairCache* cache,
              ZqSeparation& out) noexcept
{
   if (isThin(A) && isThin(B))
      return thinSeparation(A, B, X, out);
   cache = usable(cache, A, B);
   CoreAnswer core;
   CorePair pair{A, B, corePose(A, B, X)};
   coreDistance(pair, cache, core);
   out.distance = core.distance - A.radius - B.radius;
   out.error = core.error;
   out.iterations = core.iterations;
   out.normal = vector(coreToShapeTurn(A, core.n));
   out.point1 = vector(coreToShape(A, core.a + core.along * A.radius));
   out.point2 = vector(coreToShape(B, inverseTimes(pair.X, core.b - core.along * B.radius)));
}

bool isWithin(const ZqConvex& A, const ZqConvex& B, const Pose& X, ZqReal margin,
              ZqPairCache* cache) noexcept
{
   const ZqReal reach = A.radius + B.radius + margin;
   if (isThin(A) && isThin(B))
      return thinDistance(A, B, X) <= reach;
   CoreAnswer core;
   CorePair pair{A, B, corePose(A, B, X)};
   if (closedForm(pair, core))
      return core.distance <= reach;
   if (reach <= 0.0 && areBoxes(pair))
   {
      Vec3 axis;
      return separatingAxis(pair, axis) <= reach;
   }
   cache = usable(cache, A, B);
   if (reach < 0.0)
   {
      coreDistance(pair, cache, core, false);
      return core.distance <= reach;
   }
   GjkResult result;
   GjkOptions options;
   options.reach = reach;
   gjk(pair, cache, options, result);
   if (cache)
      remember(pair, result, *cache);
   return result.overlaps || (result.distance <= reach && result.lower <= reach);
}
} // namespace zqConvex
