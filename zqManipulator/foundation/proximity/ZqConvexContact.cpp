#include "zqManipulator/foundation/proximity/ZqContactPoints.h"
#include "zqManipulator/foundation/proximity/ZqConvexProximity.h"
#include "zqManipulator/foundation/proximity/ZqPairCacheOwner.h"
#include "zqManipulator/foundation/proximity/ZqRestingFaces.h"

#include <utility>

namespace zqConvex
{
namespace
{
bool contactWithPlane(const ZqConvex& A, const ZqConvex& B, const Pose& X, ZqReal margin,
                      ZqPairCache* cache, ZqContactManifold& out, ZqReal farthest) noexcept
{
   if (!B.isBounded())
   {
      ZqSeparation separation;
      distance(A, B, X, nullptr, separation);
      out.separation = separation.distance;
      out.normal = separation.normal;
      return false;
   }
   CorePair pair = {A, B, corePose(A, B, X), 0, cache ? cache->atB : 0};
   CoreAnswer answer;
   answer.n = answer.along = {0.0, 0.0, 1.0};
   answer.b = pair.X * B.support(turnBack(pair.X.R, -answer.n), pair.atB);
   answer.distance = answer.b.z;
   answer.a = {answer.b.x, answer.b.y, 0.0};
   out.separation = answer.distance - B.radius;
   out.normal = vector(coreToShapeTurn(A, answer.n));
   if (!(out.separation <= margin))
      return false;
   FacingFeatures features;
   contactPoints(pair, answer, true, farthest, features, out);
   if (cache)
      cache->atB = pair.atB;
   return true;
}
} // namespace

bool contact(const ZqConvex& A, const ZqConvex& B, const Pose& X, ZqReal margin, ZqPairCache* cache,
             ZqContactManifold& out, ZqReal farthest) noexcept
{
   out.count = 0;
   cache = usable(cache, A, B);
   if (!A.isBounded())
      return contactWithPlane(A, B, X, margin, cache, out, farthest);
   if (!B.isBounded())
   {
      ZqPairCache seen;
      if (cache)
         seen.atB = cache->atA;
      const bool isNear = contactWithPlane(B, A, inverse(X), margin, &seen, out, farthest);
      seeFromOther(X, out);
      if (cache)
         cache->atA = seen.atB;
      return isNear;
   }
   CorePair pair = {A, B, corePose(A, B, X), cache ? cache->atA : 0, cache ? cache->atB : 0};
   CoreAnswer answer;
   FacingFeatures features;
   const ZqReal reach = margin + A.radius + B.radius;
   const bool isFlat = !A.isCurved() && !B.isCurved();
   const bool areBoxes = A.core == ZqConvex::Core::Box && B.core == ZqConvex::Core::Box;
   bool hasPoints = true;
   Rest rest = Rest::Unknown;
   if (areBoxes && A.dimension > 1 && B.dimension > 1)
   {
      rest = restOfBoxes(pair, reach, answer);
      hasPoints = rest != Rest::Found;
   }
   if (rest == Rest::Unknown && A.dimension > 0 && B.dimension > 0)
      rest = restOnFaces(pair, cache && cache->overlapped ? &cache->normal : nullptr, reach,
                         features, answer);
   if (rest == Rest::Unknown)
   {
      features.patch.reset();
      coreDistance(pair, cache, answer, !isFlat);
      hasPoints = !isFlat || answer.distance > 0.0;
   }
   out.separation = answer.distance - A.radius - B.radius;
   if (rest == Rest::Apart || !(out.separation <= margin))
      return false;
   out.normal = vector(coreToShapeTurn(A, answer.n));
   contactPoints(pair, answer, hasPoints, farthest, features, out);
   return true;
}
} // namespace zqConvex
