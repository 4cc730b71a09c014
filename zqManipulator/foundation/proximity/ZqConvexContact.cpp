#include "zqManipulator/foundation/proximity/ZqContactPoints.h"
#include "zqManipulator/foundation/proximity/ZqConvexProximity.h"
#include "zqManipulator/foundation/proximity/ZqSupportingFace.h"

#include <utility>

namespace zqConvex
{
namespace
{
/// How far inside the border of a face, along it, a place lies that is on its plane; negative outside.
ZqReal insideOf(const SupportingFace& face, const Vec3& p) noexcept
{
   if (face.isDisc)
      return face.radius - norm(p - face.middle - face.normal * dot(face.normal, p - face.middle));
   ZqReal least = 1e300;
   for (int i = 0; i < face.count; ++i)
   {
      const Vec3& q = face.corner[i];
      const Vec3 e = face.corner[i + 1 == face.count ? 0 : i + 1] - q;
      const ZqReal inside = dot(face.normal, cross(e, p - q));
      if (!(inside >= 0.0))
         return -1.0;
      least = std::min(least, inside * inside / norm2(e));
   }
   return std::sqrt(least);
}

/// The face of A that B seems to lie at.
bool faceTowards(const ZqConvex& A, const Vec3& middle, int& at, SupportingFace& face) noexcept
{
   Vec3 d = {0.0, 0.0, 0.0};
   switch (A.core)
   {
   case ZqConvex::Core::Box:
   {
      int k = 0;
      for (const int i : {1, 2})
         if (std::abs(middle[i]) - A.h[i] > std::abs(middle[k]) - A.h[k])
            k = i;
      d[k] = middle[k] < 0.0 ? -1.0 : 1.0;
      break;
   }
   case ZqConvex::Core::Turned:
      d.z = middle.z < 0.0 ? -1.0 : 1.0;
      break;
   case ZqConvex::Core::Triangle:
      d = unit(cross(A.corner[1] - A.corner[0], A.corner[2] - A.corner[0]));
      d = dot(d, middle) < 0.0 ? -d : d;
      break;
   case ZqConvex::Core::Polytope:
   {
      constexpr int fewFaces = 32;
      const ZqHull& H = *A.hull;
      d = unit(middle);
      if (H.dimension < 3 || H.faces.size() > fewFaces)
         break;
      const ZqHull::Face* best = nullptr;
      for (const ZqHull::Face& f : H.faces)
         if (!best || dot(f.normal, middle) - f.offset > dot(best->normal, middle) - best->offset)
            best = &f;
      d = best->normal;
      break;
   }
   case ZqConvex::Core::Ellipsoid:
   case ZqConvex::Core::HalfSpace:
      return false;
   }
   supportingFace(A, d, at, face);
   return face.count >= 3;
}

enum class Rest
{
   Unknown,
   Found,
   Apart ///< by more than `reach`; the answer has a lower bound of the distance
};

/// How far apart two cores are of which B stands on a face of A, by three or four supports: if the furthest point
/// of B against the face's normal lies over the face, no direction parts them by less. Of an overlap that is so
/// if a ball of its depth fits into a cone that A - B is known to hold: its base lies on the face of A - B, as
/// wide as the place is inside the face, and its apex comes from the points furthest behind.
Rest restOnFace(CorePair& pair, ZqReal reach, CoreAnswer& answer) noexcept
{
   SupportingFace face;
   if (!faceTowards(pair.A, pair.X.t, pair.atA, face))
      return Rest::Unknown;
   const Vec3& n = face.normal;
   const Vec3 back = turnBack(pair.X.R, n);
   const Vec3 b = pair.X * pair.B.support(-back, pair.atB);
   const ZqReal depth = dot(n, face.corner[0] - b);
   answer.distance = -depth;
   if (-depth > reach)
      return Rest::Apart;
   const ZqReal width = insideOf(face, b);
   if (!(width >= 0.0))
      return Rest::Unknown;
   if (depth > 0.0)
   {
      int other = 0;
      const Vec3 apex = pair.A.support(-n, other) - pair.X * pair.B.support(back, other);
      const ZqReal behind = -dot(n, apex);
      if (!(behind > 0.0))
         return Rest::Unknown;
      const ZqReal aside = norm(apex + n * behind);
      // Where the cone is as high as the origin: its width there, less what its middle is off.
      const ZqReal there = (width * behind - aside * depth) / (behind + depth);
      const ZqReal slope = std::sqrt((there + aside) * (there + aside) + behind * behind);
      if (!(there > 0.0) || !(std::min(there, there * behind / slope) >= depth))
         return Rest::Unknown;
   }
   answer.error = 0.0;
   answer.n = n;
   answer.along = n;
   answer.a = b + n * depth;
   answer.b = b;
   answer.iterations = 0;
   return Rest::Found;
}

/// The same on either of them.
Rest restOnEither(CorePair& pair, ZqReal reach, CoreAnswer& answer) noexcept
{
   if (const Rest rest = restOnFace(pair, reach, answer); rest != Rest::Unknown)
      return rest;
   CorePair exchanged = {pair.B, pair.A, inverse(pair.X), pair.atB, pair.atA};
   const Rest rest = restOnFace(exchanged, reach, answer);
   pair.atA = exchanged.atB;
   pair.atB = exchanged.atA;
   if (rest == Rest::Found)
   {
      const Vec3 a = pair.X * answer.b;
      answer.b = pair.X * answer.a;
      answer.a = a;
      answer.n = -(pair.X.R * answer.n);
      answer.along = answer.n;
   }
   return rest;
}

bool contactWithPlane(const ZqConvex& A, const ZqConvex& B, const Pose& X, ZqReal margin,
                      ZqPairCache* cache, ZqContactManifold& out) noexcept
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
   contactPoints(pair, answer, true, margin, out);
   if (cache)
      cache->atB = pair.atB;
   return true;
}

/// The points as seen from the other shape, of which X gives the pose in the frame of this one; again the one
/// with the lowest name comes first.
void exchange(const Pose& X, ZqContactManifold& out) noexcept
{
   const auto turned = [&](const ZqVector& d) { return vector(-(X.R * vec3(d))); };
   out.normal = turned(out.normal);
   for (int i = 0; i < out.count; ++i)
   {
      ZqContactPoint& p = out.points[i];
      std::swap(p.point1, p.point2);
      p.point1 = vector(X * vec3(p.point1));
      p.point2 = vector(X * vec3(p.point2));
      p.normal = out.normal;
      p.name = p.name << 32 | p.name >> 32;
   }
   ZqContactPoint* const end = out.points + out.count;
   std::reverse(out.points, end);
   std::rotate(out.points,
               std::min_element(out.points, end,
                                [](const ZqContactPoint& p, const ZqContactPoint& q)
                                { return p.name < q.name; }),
               end);
}

/// Two boxes, by the axes that could part them.
Rest overlapOfBoxes(CorePair& pair, ZqReal reach, CoreAnswer& answer) noexcept
{
   answer.distance = separatingAxis(pair, answer.n);
   if (answer.distance > reach)
      return Rest::Apart;
   return answer.distance <= 0.0 ? Rest::Found : Rest::Unknown;
}
} // namespace

bool contact(const ZqConvex& A, const ZqConvex& B, const Pose& X, ZqReal margin, ZqPairCache* cache,
             ZqContactManifold& out) noexcept
{
   out.count = 0;
   if (!A.isBounded())
      return contactWithPlane(A, B, X, margin, cache, out);
   if (!B.isBounded())
   {
      ZqPairCache seen;
      if (cache)
         seen.atB = cache->atA;
      const bool isNear = contactWithPlane(B, A, inverse(X), margin, &seen, out);
      exchange(X, out);
      if (cache)
         cache->atA = seen.atB;
      return isNear;
   }
   CorePair pair = {A, B, corePose(A, B, X), cache ? cache->atA : 0, cache ? cache->atB : 0};
   CoreAnswer answer;
   const ZqReal reach = margin + A.radius + B.radius;
   const bool isFlat = !A.isCurved() && !B.isCurved();
   const bool areBoxes = A.core == ZqConvex::Core::Box && B.core == ZqConvex::Core::Box;
   bool hasPoints = true;
   Rest rest = Rest::Unknown;
   if (areBoxes && A.dimension > 1 && B.dimension > 1)
   {
      rest = overlapOfBoxes(pair, reach, answer);
      hasPoints = rest != Rest::Found;
   }
   if (rest == Rest::Unknown && A.dimension > 0 && B.dimension > 0)
      rest = restOnEither(pair, reach, answer);
   if (rest == Rest::Unknown)
   {
      coreDistance(pair, cache, answer, !isFlat);
      hasPoints = !isFlat || answer.distance > 0.0;
   }
   out.separation = answer.distance - A.radius - B.radius;
   if (rest == Rest::Apart || !(out.separation <= margin))
      return false;
   out.normal = vector(coreToShapeTurn(A, answer.n));
   contactPoints(pair, answer, hasPoints, margin, out);
   return true;
}
} // namespace zqConvex
