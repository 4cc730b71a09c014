#include "support/convexTruth.h"

#include "zqManipulator/foundation/proximity/ZqConvexProximity.h"

#include <gtest/gtest.h>

#include <cstdlib>

using zqConvex::Pose;
using zqConvex::Vec3;
using zqTest::Long;
using zqTest::Long3;
using zqTest::RandomValues;

namespace
{
const char* const distanceSets[] = {"sphere",  "capsule",   "box",     "lozenge",   "cylinder",
                                    "cone",    "frustum",   "disc",    "triangle",  "hull",
                                    "polygon", "ellipsoid", "segment", "half-space"};
constexpr ZqU32 distanceSetCount = std::size(distanceSets);
constexpr ZqU32 halfSpaceSet = distanceSetCount - 1;

/// Makes sets of a size in m, of which each measure is smaller by up to an aspect, in any place and direction.
struct SetMaker
{
   RandomValues& random;
   ZqReal size, aspect;
   ZqVector place;

   ZqReal measure() { return size * std::pow(aspect, -random.real(0.0, 1.0)); }
   ZqVector somewhere() { return place + random.unitVector() * measure(); }
   ZqCoordinateSystemTransformation frame() { return {somewhere(), random.orientation()}; }
   ZqConvex hull(bool isFlat)
   {
      const Vec3 h{measure(), measure(), isFlat ? 0.0 : measure()};
      // On a grid there are coplanar and repeated points.
      const bool isGrid = random.real() < -0.3;
      const ZqU32 count = random.index(4, 40);
      std::vector<Vec3> points;
      for (ZqU32 i = 0; i < count; ++i)
      {
         ZqVector u = random.unitVector();
         if (isGrid)
            u = {std::round(2.0 * u.x()), std::round(2.0 * u.y()), std::round(2.0 * u.z())};
         points.push_back({h.x * u.x(), h.y * u.y(), h.z * u.z()});
      }
      return ZqConvex::polytope(ZqHull::of(points), place, isFlat ? measure() : 0.0);
   }
   ZqConvex make(ZqU32 kind)
   {
      const ZqVector u = random.unitVector();
      const ZqVector v = zqConvex::vector(zqConvex::perpendicular(zqConvex::vec3(u)));
      switch (kind)
      {
      case 0:
         return ZqConvex::sphere(somewhere(), measure());
      case 1:
         return ZqConvex::capsule(somewhere(), somewhere(), measure());
      case 2:
         return ZqConvex::box(frame(), {measure(), measure(), measure()});
      case 3:
         return ZqConvex::rectangle(somewhere(), u * measure(), v * measure(), measure());
      case 4:
      {
         const ZqReal radius = measure();
         return ZqConvex::frustum(somewhere(), somewhere(), radius, radius);
      }
      case 5:
         return ZqConvex::frustum(somewhere(), somewhere(), 0.0, measure());
      case 6:
         return ZqConvex::frustum(somewhere(), somewhere(), measure(), measure());
      case 7:
         return ZqConvex::disc(somewhere(), u, measure(), measure());
      case 8:
         return ZqConvex::triangle(somewhere(), u * measure(), random.unitVector() * measure(),
                                   measure());
      case 9:
      case 10:
         return hull(kind == 10);
      case 11:
         return ZqConvex::ellipsoid(frame(), {measure(), measure(), measure()});
      case 12:
         return ZqConvex::capsule(somewhere(), somewhere(), 0.0);
      default:
         return ZqConvex::halfSpace(somewhere(), u);
      }
   }
};

ZqSeparation separationOf(const ZqConvex& A, const ZqConvex& B, const Pose& X,
                          ZqPairCache* cache = nullptr)
{
   ZqSeparation out;
   zqConvex::distance(A, B, X, cache, out);
   return out;
}
ZqReal sizeOf(const ZqConvex& C)
{
   return C.isBounded() ? C.reach + C.radius : 0.0;
}
Pose poseOf(const ZqOrientation& q, const ZqVector& t)
{
   return zqConvex::pose(ZqCoordinateSystemTransformation(t, q));
}

/// An answer proves itself: points of the sets as far apart as told are a bound from above, and a direction along which
/// the sets are as far apart as told one from below. Of a depth the direction is the bound from above; that no direction needs
/// less has to be looked for.
struct DistanceCheck
{
   RandomValues& random;
   ZqReal rounding = 0.0; ///< of places that are far away, in m

   void expectProven(const ZqConvex& A, const ZqConvex& B, const Pose& X,
                     const ZqSeparation& s) const
   {
      const ZqReal size = sizeOf(A) + sizeOf(B);
      const ZqReal tolerance = 1e-11 * (size + std::abs(s.distance)) + rounding;
      const ZqVector p2 = zqConvex::vector(X * zqConvex::vec3(s.point2));
      const Long height =
         zqTest::heightAlong(A, B, X, zqTest::unitOf(zqTest::long3(zqConvex::vec3(s.normal))));
      EXPECT_NEAR(s.normal.mag(), 1.0, 1e-14);
      EXPECT_NEAR(static_cast<ZqReal>(height), -s.distance, 10.0 * tolerance) << "along the normal";
      EXPECT_GE(s.error, 0.0);
      EXPECT_LE((p2 - s.point1 - s.normal * s.distance).mag(), 1e5 * tolerance)
         << "points aside of the normal";
      EXPECT_NEAR((p2 - s.point1).mag(), std::abs(s.distance), 10.0 * tolerance);
      // Near touching the balls' points come from the line of the cores' points.
      const ZqReal loose = 100.0 * tolerance;
      const ZqVector line = (p2 - s.point1).mag() > 1e-3 * size
                               ? (p2 - s.point1).unitVector() * (s.distance < 0.0 ? -1.0 : 1.0)
                               : s.normal;
      const ZqVector line2 = zqConvex::vector(turnBack(X.R, zqConvex::vec3(line)));
      EXPECT_LE(zqTest::outsideOf(A, s.point1 - line * A.radius), loose);
      EXPECT_LE(zqTest::outsideOf(B, s.point2 + line2 * B.radius), loose);
   }

   void expectSame(const ZqConvex& A, const ZqConvex& B, const Pose& X, const ZqSeparation& s) const
   {
      const ZqReal tolerance = 1e-10 * (sizeOf(A) + sizeOf(B) + std::abs(s.distance)) + rounding;
      EXPECT_NEAR(separationOf(B, A, zqConvex::inverse(X)).distance, s.distance, tolerance)
         << "sides exchanged";
      for (const ZqReal off : {-10.0 * tolerance, 10.0 * tolerance})
         EXPECT_EQ(zqConvex::isWithin(A, B, X, s.distance + off, nullptr), off > 0.0);
      if (!(s.distance < 0.0))
         return;
      Pose parted = X;
      parted.t += zqConvex::vec3(s.normal) * -s.distance;
      const ZqSeparation touching = separationOf(A, B, parted);
      EXPECT_NEAR(touching.distance, 0.0, tolerance) << "not parted by the depth";
      if (A.isBounded() && B.isBounded())
      {
         EXPECT_LE(-s.distance, zqTest::leastHeight(A, B, X, random) + tolerance);
      }
   }

   /// A walk of small steps: what the cache kept changes no answer.
   void expectSameOnWalk(const ZqConvex& A, const ZqConvex& B, Pose X, ZqReal step, int count) const
   {
      const ZqReal size = sizeOf(A) + sizeOf(B);
      const ZqOrientation turn = [&]
      {
         ZqOrientation q;
         q.setFromAngleAxis(step, random.unitVector());
         return q;
      }();
      const Pose motion = poseOf(turn, random.unitVector() * (step * size));
      ZqPairCache cache;
      ZqReal last = 0.0;
      for (int k = 0; k < count; ++k)
      {
         const ZqSeparation fresh = separationOf(A, B, X);
         const ZqSeparation kept = separationOf(A, B, X, &cache);
         const ZqReal tolerance = 1e-10 * (size + std::abs(fresh.distance)) + rounding;
         ASSERT_NEAR(kept.distance, fresh.distance, tolerance) << "step " << k;
         const ZqReal moved = step * (size + sizeOf(B) + norm(B.frame.t));
         if (k > 0)
         {
            ASSERT_LE(std::abs(fresh.distance - last), moved + tolerance) << "a jump in step " << k;
         }
         last = fresh.distance;
         X = {motion.R * X.R, X.t + motion.t};
      }
   }
};

/// A number of rounds, more of them where the environment tells so.
int distanceRounds(int usual)
{
   const char* text = std::getenv("ZQ_DISTANCE_ROUNDS");
   return text ? std::atoi(text) : usual;
}
} // namespace

TEST(ConvexDistance, EveryPairIsProvenInAnyPlace)
{
   RandomValues random(31);
   const int rounds = distanceRounds(10);
   for (int round = 0; round < rounds && !HasFailure(); ++round)
      for (ZqU32 i = 0; i < distanceSetCount; ++i)
         for (ZqU32 j = 0; j < distanceSetCount; ++j)
         {
            if (i == halfSpaceSet && j == halfSpaceSet)
               continue;
            // From 1 mm to 1 km, up to 1e4 : 1, some of them 1000 km from the origins of their frames.
            const bool isFar = round % 5 == 4;
            const ZqReal size = round % 2 ? std::pow(10.0, random.real(-3.0, 3.0)) : 1.0;
            const ZqReal aspect = round % 3 == 2 ? 1e4 : round % 3 == 1 ? 100.0 : 3.0;
            const ZqVector place = random.unitVector() * (isFar ? 1e6 : 0.0);
            const ZqVector otherPlace = random.unitVector() * (isFar ? 1e6 : 0.0);
            const ZqConvex A = SetMaker{random, size, aspect, place}.make(i);
            const ZqConvex B =
               SetMaker{random, size * std::pow(10.0, random.real(-1.0, 1.0)), aspect, otherPlace}
                  .make(j);
            const DistanceCheck check{random, isFar ? 4e-9 : 0.0};
            const ZqReal sizes = sizeOf(A) + sizeOf(B);
            const ZqReal gaps[] = {std::pow(10.0, random.real(-6.0, 3.0)),
                                   sizes * std::pow(10.0, random.real(-9.0, 0.0)),
                                   0.0,
                                   -sizes * std::pow(10.0, random.real(-9.0, -1.0)),
                                   -sizes * random.real(0.0, 1.0),
                                   -1e300};
            for (const ZqReal gap : gaps)
            {
               SCOPED_TRACE(std::string(distanceSets[i]) + ", " + distanceSets[j] + ", round " +
                            std::to_string(round) + ", gap " + std::to_string(gap / sizes));
               const bool isHalf = i == halfSpaceSet || j == halfSpaceSet;
               Pose X = poseOf(random.orientation(), {});
               X.t = A.frame.t - X.R * B.frame.t; // the middles in one place
               Vec3 u = zqConvex::vec3(random.unitVector());
               if (isHalf)
                  u = i == halfSpaceSet ? A.frame.R.c2 : -(X.R * B.frame.R.c2);
               if (gap > -1e299)
                  X.t += u * (static_cast<ZqReal>(
                                 zqTest::heightAlong(A, B, X, zqTest::unitOf(zqTest::long3(u)))) +
                              gap);
               const ZqSeparation s = separationOf(A, B, X);
               check.expectProven(A, B, X, s);
               check.expectSame(A, B, X, s);
               if (HasFailure())
                  return;
            }
         }
}

TEST(ConvexDistance, CachesChangeNoAnswerOnWalks)
{
   RandomValues random(32);
   const int rounds = distanceRounds(3);
   for (int round = 0; round < rounds; ++round)
      for (ZqU32 i = 0; i < halfSpaceSet; ++i)
         for (ZqU32 j = 0; j < halfSpaceSet; ++j)
         {
            SCOPED_TRACE(std::string(distanceSets[i]) + ", " + distanceSets[j] + ", round " +
                         std::to_string(round));
            const ZqReal aspect = round % 3 == 2 ? 1e4 : 10.0;
            const ZqConvex A = SetMaker{random, 1.0, aspect, {}}.make(i);
            const ZqConvex B = SetMaker{random, 1.0, aspect, {}}.make(j);
            const Pose X =
               poseOf(random.orientation(),
                      random.unitVector() * ((sizeOf(A) + sizeOf(B)) * random.real(0.0, 0.6)));
            DistanceCheck{random}.expectSameOnWalk(A, B, X, std::pow(10.0, random.real(-5.0, -1.5)),
                                                   30);
            if (HasFatalFailure())
               return;
         }
}

TEST(ConvexDistance, KnownPlacesHaveKnownAnswers)
{
   const ZqCoordinateSystemTransformation here;
   const ZqConvex ball = ZqConvex::sphere({1.0, 0.0, 0.0}, 0.5);
   const ZqConvex cube = ZqConvex::box(here, {1.0, 1.0, 1.0});
   std::vector<Vec3> corners;
   for (int i = 0; i < 8; ++i)
      corners.push_back({i & 1 ? 1.0 : -1.0, i & 2 ? 1.0 : -1.0, i & 4 ? 1.0 : -1.0});
   const ZqConvex hull = ZqConvex::polytope(ZqHull::of(corners), {});
   const ZqConvex tetrahedron = ZqConvex::polytope(
      ZqHull::of(std::vector<Vec3>{{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}}), {});
   const ZqConvex can = ZqConvex::frustum({0, 0, -1}, {0, 0, 1}, 1.0, 1.0);
   const ZqConvex egg = ZqConvex::ellipsoid(here, {3.0, 2.0, 1.0});
   const ZqConvex floor = ZqConvex::halfSpace({0.0, 0.0, -1.0}, {0.0, 0.0, 2.0});
   const ZqConvex needle = ZqConvex::box(here, {1000.0, 0.1, 0.1});
   const ZqConvex slab = ZqConvex::box(here, {1000.0, 1000.0, 0.1});
   const ZqConvex point = ZqConvex::sphere({}, 0.0);
   const auto at = [](ZqReal x, ZqReal y, ZqReal z) { return Pose{{}, {x, y, z}}; };
   const auto turned = [](const ZqVector& axis, ZqReal angle, const ZqVector& t)
   {
      ZqOrientation q;
      q.setFromAngleAxis(angle, axis);
      return poseOf(q, t);
   };
   const Pose upsideDown = turned({1.0, 0.0, 0.0}, zqTest::pi, {0.0, 0.0, 4.0});
   const struct
   {
      const char* what;
      const ZqConvex &A, &B;
      Pose X;
      ZqReal distance;
   } places[] = {
      {"balls", ball, ball, at(0.0, 3.0, 0.0), 2.0},
      {"cubes overlapping by 0.1", cube, cube, at(0.0, 0.0, 1.9), -0.1},
      {"hulls overlapping by 0.1", hull, hull, at(0.0, 0.0, 1.9), -0.1},
      {"cubes kissing", cube, cube, at(0.0, 0.0, 2.0), 0.0},
      {"cubes kissing, turned by 1e-8", cube, cube, turned({1.0, 0.0, 0.0}, 1e-8, {0.0, 0.0, 2.0}),
       -1e-8},
      {"hulls kissing, turned by 1e-8", hull, hull, turned({1.0, 0.0, 0.0}, 1e-8, {0.0, 0.0, 2.0}),
       -1e-8},
      {"cubes at 1e-9", cube, cube, at(0.3, 0.2, 2.0 + 1e-9), 1e-9},
      {"cubes in one place", cube, cube, at(0.0, 0.0, 0.0), -2.0},
      {"hulls in one place", hull, hull, at(0.0, 0.0, 0.0), -2.0},
      {"cans in one place", can, can, at(0.0, 0.0, 0.0), -2.0},
      {"eggs in one place", egg, egg, at(0.0, 0.0, 0.0), -2.0},
      {"egg on egg", egg, egg, at(0.0, 0.0, 2.0), 0.0},
      {"egg beside a corner", egg, point, at(4.0, 0.0, 0.0), 1.0},
      {"middle of an egg", egg, point, at(0.0, 0.0, 0.0), -1.0},
      {"origin on a face", tetrahedron, point, at(0.2, 0.2, 0.0), 0.0},
      {"origin on an edge", tetrahedron, point, at(0.2, 0.0, 0.0), 0.0},
      {"origin on a corner", tetrahedron, point, at(0.0, 0.0, 0.0), 0.0},
      {"can on a cube", cube, can, at(0.2, 0.1, 2.0), 0.0},
      {"can over a cube, upside down", cube, can, upsideDown, 2.0},
      {"needle across a slab", slab, needle, turned({0.0, 0.0, 1.0}, 0.7, {}), -0.2},
      {"ball over the floor", floor, ball, at(0.0, 0.0, 3.0), 3.5},
      {"can through the floor", can, floor, at(0.0, 0.0, 0.5), -0.5},
      {"floor and ceiling", floor, floor, upsideDown, 6.0},
      {"two floors", floor, floor, at(0.0, 0.0, 3.0), -1e300},
   };
   for (const auto& place : places)
   {
      SCOPED_TRACE(place.what);
      const ZqSeparation s = separationOf(place.A, place.B, place.X);
      EXPECT_NEAR(s.distance, place.distance, 1e-12);
      const ZqVector line = zqConvex::vector(place.X * zqConvex::vec3(s.point2)) - s.point1;
      if (place.distance > -1e299)
      {
         EXPECT_NEAR(line.mag(), std::abs(s.distance), 1e-12);
      }
      for (const ZqReal margin : {1e-11, -1e-11})
         EXPECT_EQ(zqConvex::isWithin(place.A, place.B, place.X, place.distance + margin, nullptr),
                   margin > 0.0 || place.distance < -1e299);
   }
}

TEST(ConvexDistance, RecordsOfDegenerateSizesAreOfLowerDimension)
{
   const ZqCoordinateSystemTransformation here;
   const ZqVector o, x(2.0, 0.0, 0.0), y(0.0, 3.0, 0.0);
   const ZqReal pi = zqTest::pi;
   const ZqReal ball = 4.0 / 3.0 * pi;
   const struct
   {
      const char* what;
      ZqConvex C;
      int dimension;
      ZqReal volume;
   } records[] = {
      {"box", ZqConvex::box(here, {1.0, 1.0, 1.0}, 1.0), 3, 8.0 + 24.0 + 6.0 * pi + ball},
      {"plate", ZqConvex::box(here, {1.0, 0.0, 1.0}), 2, 0.0},
      {"stick", ZqConvex::box(here, {0.0, 3.0, 0.0}, 1.0), 1, 6.0 * pi + ball},
      {"no box", ZqConvex::box(here, o, 1.0), 0, ball},
      {"capsule without length", ZqConvex::capsule(x, x, 1.0), 0, ball},
      {"frustum", ZqConvex::frustum(o, x, 1.0, 2.0), 3, 14.0 / 3.0 * pi},
      {"frustum without radii", ZqConvex::frustum(o, x, 0.0, 0.0), 1, 0.0},
      {"frustum without height", ZqConvex::frustum(x, x, 1.0, 2.0), 2, 0.0},
      {"disc", ZqConvex::disc(o, x, 2.0, 1.0), 2, 8.0 * pi + 2.0 * pi * pi + ball},
      {"disc without radius", ZqConvex::disc(o, x, 0.0, 1.0), 0, ball},
      {"rectangle", ZqConvex::rectangle(o, x, y, 1.0), 2, 12.0 + 5.0 * pi + ball},
      {"rectangle without an edge", ZqConvex::rectangle(o, x, o, 1.0), 1, 2.0 * pi + ball},
      {"triangle", ZqConvex::triangle(o, x, y, 1.0), 2,
       6.0 + 0.5 * pi * (5.0 + std::sqrt(13.0)) + ball},
      {"triangle without an area", ZqConvex::triangle(o, x, x * 0.3, 1.0), 1, 2.0 * pi + ball},
      {"triangle in one place", ZqConvex::triangle(x, o, o, 1.0), 0, ball},
      {"ellipsoid", ZqConvex::ellipsoid(here, {1.0, 2.0, 3.0}), 3, 6.0 * ball},
      {"round ellipsoid", ZqConvex::ellipsoid(here, {1.0, 1.0, 1.0}), 0, ball},
      {"thin ellipsoid", ZqConvex::ellipsoid(here, {0.0, 2.0, 0.0}), 1, 0.0},
   };
   for (const auto& record : records)
   {
      SCOPED_TRACE(record.what);
      EXPECT_EQ(record.C.dimension, record.dimension);
      EXPECT_NEAR(record.C.volume(), record.volume, 1e-13 * record.volume);
      // Its box is what it reaches along the axes.
      Vec3 lower, upper;
      record.C.box({}, lower, upper);
      for (int i = 0; i < 3; ++i)
      {
         Long3 u{};
         u[static_cast<std::size_t>(i)] = 1.0L;
         EXPECT_NEAR(upper[i], static_cast<ZqReal>(zqTest::reachAlong(record.C, u)), 1e-14 * 5.0);
         u[static_cast<std::size_t>(i)] = -1.0L;
         EXPECT_NEAR(lower[i], -static_cast<ZqReal>(zqTest::reachAlong(record.C, u)), 1e-14 * 5.0);
      }
   }
   // The volume of a swept hull is that of a swept box.
   std::vector<Vec3> corners;
   for (int i = 0; i < 8; ++i)
      corners.push_back({i & 1 ? 1.0 : -1.0, i & 2 ? 2.0 : -2.0, i & 4 ? 3.0 : -3.0});
   EXPECT_NEAR(ZqConvex::polytope(ZqHull::of(corners), {}, 0.7).volume(),
               ZqConvex::box(here, {1.0, 2.0, 3.0}, 0.7).volume(), 1e-12 * 100.0);
}

TEST(ConvexDistance, NoFiniteSizesMakeNumbersThatAreNone)
{
   RandomValues random(33);
   const ZqReal sizes[] = {0.0, 1e-310, 1e-160, 1e-20, 1.0, 1e30, 1e160, 1.7e308};
   for (ZqU32 i = 0; i < distanceSetCount; ++i)
      for (ZqU32 j = 0; j < distanceSetCount; ++j)
         for (const ZqReal first : sizes)
            for (const ZqReal second : sizes)
            {
               // Of a hull the points are taken as they are.
               const auto sizeFor = [](ZqU32 kind, ZqReal size)
               { return kind == 9 || kind == 10 ? std::clamp(size, 1e-60, 1e60) : size; };
               const ZqConvex A = SetMaker{random, sizeFor(i, first), 1.0, {}}.make(i);
               const ZqConvex B = SetMaker{random, sizeFor(j, second), 10.0, {}}.make(j);
               const Pose X =
                  poseOf(random.orientation(), random.unitVector() * std::min(first, 1e75));
               const ZqSeparation s = separationOf(A, B, X);
               ASSERT_TRUE(std::isfinite(s.distance) && std::isfinite(s.error) &&
                           std::isfinite(s.point1.mag()) && std::isfinite(s.point2.mag()) &&
                           std::abs(s.normal.mag() - 1.0) < 1e-14)
                  << distanceSets[i] << ' ' << first << ", " << distanceSets[j] << ' ' << second
                  << ": " << s.distance << " error " << s.error << " normal " << s.normal.mag();
            }
}
