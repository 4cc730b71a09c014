#include "zqManipulator/foundation/proximity/ZqRestingFaces.h"

namespace zqConvex
{
namespace
{
/// Of the size: how far off an answer may be.
constexpr ZqReal restPrecision = 1e-12;

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

/// Of the faces of a box that look towards B the one that B is least deep behind.
Vec3 faceOfBoxTowards(CorePair pair) noexcept
{
   const Vec3& h = pair.A.h;
   Vec3 best = {0.0, 0.0, 0.0};
   ZqReal least = 1e300;
   for (int k = 0; k < 3; ++k)
   {
      Vec3 n = {0.0, 0.0, 0.0};
      n[k] = pair.X.t[k] < 0.0 ? -1.0 : 1.0;
      const Vec3 back = turnBack(pair.X.R, n);
      const ZqReal depth = h[k] - n[k] * pair.X.t[k] - dot(back, pair.B.support(-back, pair.atB));
      if (depth < least)
      {
         least = depth;
         best = n;
      }
   }
   return best;
}

/// The direction in which A has the face that B seems to lie at; zero where a search would take too long.
Vec3 faceTowards(const CorePair& pair) noexcept
{
   const ZqConvex& A = pair.A;
   const Vec3& middle = pair.X.t;
   switch (A.core)
   {
   case ZqConvex::Core::Box:
      return faceOfBoxTowards(pair);
   case ZqConvex::Core::Turned:
      return {0.0, 0.0, middle.z < 0.0 ? -1.0 : 1.0};
   case ZqConvex::Core::Triangle:
   {
      const Vec3 n = unit(cross(A.corner[1] - A.corner[0], A.corner[2] - A.corner[0]));
      return dot(n, middle) < 0.0 ? -n : n;
   }
   case ZqConvex::Core::Polytope:
   {
      constexpr int fewFaces = 32;
      const ZqHull& H = *A.hull;
      if (H.faces.empty() || H.faces.size() > fewFaces)
         return {0.0, 0.0, 0.0};
      const ZqHull::Face* best = nullptr;
      for (const ZqHull::Face& f : H.faces)
         if (!best || dot(f.normal, middle) - f.offset > dot(best->normal, middle) - best->offset)
            best = &f;
      return best->normal;
   }
   case ZqConvex::Core::Ellipsoid:
   case ZqConvex::Core::HalfSpace:
      break;
   }
   return unit(middle);
}

/// What is known of A - B about an overlap: along n it reaches `depth` from the origin. About n it has a disc, of
/// radius `width` at the height `height` at least; and a point at the distance `known`, almost along n.
struct KnownOverlap
{
   Vec3 n;
   ZqReal depth, height, width, known;

   /// How much less than the depth another direction may need; 1e300 where that cannot be told.
   ///
   /// A direction at an angle u from n needs width sin u + height cos u for the disc, which is as much as the
   /// depth from a small angle on; below that, known cos u. Behind the origin, a cone from the disc to the point
   /// of A - B that is furthest behind has to hold a ball of the depth.
   ZqReal error(CorePair& pair) const noexcept
   {
      if (!(height > 0.0) || !(width >= depth))
         return 1e300;
      const ZqReal tangent = 2.0 * std::max(depth - height, 0.0) / width;
      if (!(width * tangent + height >= depth * (1.0 + 0.5 * tangent * tangent)) && tangent > 0.0)
         return 1e300;
      int at = 0;
      const Vec3 apex =
         pair.A.support(-n, pair.atA) - pair.X * pair.B.support(turnBack(pair.X.R, n), at);
      const ZqReal behind = -dot(n, apex);
      if (!(behind > 0.0))
         return 1e300;
      const ZqReal aside = norm(apex + n * behind);
      // Where the cone is as high as the origin: its width there, less what its middle is off.
      const ZqReal there = (width * behind - aside * height) / (behind + height);
      const ZqReal slope = std::sqrt((there + aside) * (there + aside) + behind * behind);
      if (!(there > 0.0) || !(std::min(there, there * behind / slope) >= depth))
         return 1e300;
      return std::max(0.0, depth - known * (1.0 - 0.5 * tangent * tangent));
   }
};

Rest answerRest(const Vec3& n, ZqReal distance, ZqReal error, const Vec3& middle,
                CoreAnswer& answer) noexcept
{
   answer.distance = distance;
   answer.error = error;
   answer.n = answer.along = n;
   answer.a = middle - n * (0.5 * distance);
   answer.b = middle + n * (0.5 * distance);
   answer.iterations = 0;
   return Rest::Found;
}

/// A face of one of the cores, `isA` or not, in the frame of A; n looks from A to B.
struct RestFace
{
   const SupportingFace& face;
   bool isA;
   Vec3 n;
};

/// The other core's furthest point against the face lies over the face: then no direction needs less.
Rest restOfPoint(CorePair& pair, const RestFace& rest, ZqReal reach, CoreAnswer& answer) noexcept
{
   const Vec3& n = rest.n;
   const Vec3 p = rest.isA ? pair.X * pair.B.support(turnBack(pair.X.R, -n), pair.atB)
                           : pair.A.support(n, pair.atA);
   const ZqReal depth = dot(rest.face.normal, rest.face.corner[0] - p);
   answer.distance = -depth;
   if (-depth > reach)
      return Rest::Apart;
   const ZqReal width = insideOf(rest.face, p);
   if (!(width >= 0.0))
      return Rest::Unknown;
   if (depth > 0.0 && KnownOverlap{n, depth, depth, width, depth}.error(pair) > 0.0)
      return Rest::Unknown;
   return answerRest(n, -depth, 0.0, p + rest.face.normal * (0.5 * depth), answer);
}

/// Two faces that look at each other almost: what meets at the deepest corner of the patch that both cover has the
/// normal.
Rest restOfFaces(CorePair& pair, const RestFace& rest, FacingFeatures& features,
                 CoreAnswer& answer) noexcept
{
   SupportingFace& other = rest.isA ? features.b : features.a;
   if (rest.isA)
   {
      supportingFace(pair.B, turnBack(pair.X.R, -rest.n), pair.atB, other);
      placeFace(pair.X, other);
   }
   else
      supportingFace(pair.A, rest.n, pair.atA, other);
   // What leans more does not rest.
   if (other.count < 2 || dot(rest.face.normal, other.normal) > -0.99)
      return Rest::Unknown;
   features.cutPatch(pair, rest.n);
   PatchFoot foot;
   if (!features.patch->foot(foot))
      return Rest::Unknown;
   const Vec3& n = foot.n;
   const Vec3 a = pair.A.support(n, pair.atA);
   const Vec3 b = pair.X * pair.B.support(turnBack(pair.X.R, -n), pair.atB);
   const ZqReal depth = dot(n, a - b);
   const Vec3 middle = (foot.a + foot.b) * 0.5;
   const ZqReal precision = restPrecision * pair.size();
   if (foot.gap >= 0.0)
      return depth <= 0.0 && foot.gap + depth <= precision
                ? answerRest(n, -depth, foot.gap + depth, middle, answer)
                : Rest::Unknown;
   if (!(depth > 0.0))
      return Rest::Unknown;
   const ZqReal width = std::max(insideOf(rest.face, foot.middle),
                                 other.count > 2 ? insideOf(other, foot.middle) : -1.0);
   const ZqReal height = -foot.middleGap - foot.slope * width;
   const ZqReal error = KnownOverlap{rest.n, depth, height, width, -foot.gap}.error(pair);
   return error <= precision ? answerRest(n, -depth, error, middle, answer) : Rest::Unknown;
}

Rest restOn(CorePair& pair, bool isA, const Vec3* normal, ZqReal reach, FacingFeatures& features,
            CoreAnswer& answer) noexcept
{
   const ZqConvex& C = isA ? pair.A : pair.B;
   SupportingFace& face = isA ? features.a : features.b;
   if (C.dimension < 2 || C.core == ZqConvex::Core::Ellipsoid)
      return Rest::Unknown;
   features.patch.reset();
   Vec3 d;
   if (normal)
      d = isA ? *normal : -turnBack(pair.X.R, *normal);
   else
      d = faceTowards(isA ? pair : CorePair{pair.B, pair.A, inverse(pair.X), pair.atB, pair.atA});
   if (d == Vec3{0.0, 0.0, 0.0})
      return Rest::Unknown;
   supportingFace(C, d, isA ? pair.atA : pair.atB, face);
   if (face.count < 3 || dot(face.normal, d) < 0.999)
      return Rest::Unknown;
   if (!isA)
      placeFace(pair.X, face);
   const RestFace known = {face, isA, isA ? face.normal : -face.normal};
   const Rest rest = restOfPoint(pair, known, reach, answer);
   return rest == Rest::Unknown ? restOfFaces(pair, known, features, answer) : rest;
}
} // namespace

Rest restOnFaces(CorePair& pair, const Vec3* normal, ZqReal reach, FacingFeatures& features,
                 CoreAnswer& answer) noexcept
{
   const Rest rest = restOn(pair, true, normal, reach, features, answer);
   return rest == Rest::Unknown ? restOn(pair, false, normal, reach, features, answer) : rest;
}

Rest restOfBoxes(CorePair& pair, ZqReal reach, CoreAnswer& answer) noexcept
{
   answer.distance = separatingAxis(pair, answer.n);
   if (answer.distance > reach)
      return Rest::Apart;
   return answer.distance <= 0.0 ? Rest::Found : Rest::Unknown;
}
} // namespace zqConvex
