#include "support/randomValues.h"

#include "zqManipulator/foundation/proximity/ZqConvexProximity.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

using namespace zqConvex;
using zqTest::RandomValues;

namespace
{
const ZqVector contactOrigin(0.0, 0.0, 0.0);

Mat3 turnedBy(const ZqVector& axis, ZqReal angle)
{
   ZqOrientation q;
   q.setFromAngleAxis(angle, axis.unitVector());
   const ZqRotationMatrix R(q);
   return {vec3(R.column(0)), vec3(R.column(1)), vec3(R.column(2))};
}
Mat3 turnedAboutZ(ZqReal degrees)
{
   return turnedBy({0.0, 0.0, 1.0}, degrees * zqTest::pi / 180.0);
}
Mat3 turnedAboutX(ZqReal degrees)
{
   return turnedBy({1.0, 0.0, 0.0}, degrees * zqTest::pi / 180.0);
}

ZqConvex boxOf(ZqReal x, ZqReal y, ZqReal z, ZqReal radius = 0.0)
{
   return ZqConvex::box(ZqCoordinateSystemTransformation(), {x, y, z}, radius);
}
ZqConvex hullOf(const std::vector<Vec3>& points)
{
   return ZqConvex::polytope(ZqHull::of(points), contactOrigin);
}
ZqConvex prismOf(int sides, ZqReal radius, ZqReal halfHeight)
{
   std::vector<Vec3> points;
   for (int i = 0; i < sides; ++i)
      for (const ZqReal z : {-halfHeight, halfHeight})
         points.push_back({radius * std::cos(2.0 * zqTest::pi * i / sides),
                           radius * std::sin(2.0 * zqTest::pi * i / sides), z});
   return hullOf(points);
}
ZqConvex cylinderOf(ZqReal radius, ZqReal halfHeight, ZqReal topRadius = -1.0)
{
   return ZqConvex::frustum({0.0, 0.0, -halfHeight}, {0.0, 0.0, halfHeight}, radius,
                            topRadius < 0.0 ? radius : topRadius);
}
ZqConvex capsuleOf(ZqReal radius, ZqReal half)
{
   return ZqConvex::capsule({-half, 0.0, 0.0}, {half, 0.0, 0.0}, radius);
}
ZqConvex ballHullOf(RandomValues& random, int count)
{
   std::vector<Vec3> points;
   for (int i = 0; i < count; ++i)
   {
      const ZqVector u = random.unitVector();
      points.push_back({0.5 * u.x(), 0.4 * u.y(), 0.3 * u.z()});
   }
   return hullOf(points);
}

/// One of each core and sweep, of about the size 0.5.
std::vector<std::pair<const char*, ZqConvex>> contactShapes()
{
   RandomValues random(5);
   return {
      {"sphere", ZqConvex::sphere({0.1, 0.0, 0.0}, 0.4)},
      {"capsule", capsuleOf(0.2, 0.4)},
      {"box", boxOf(0.5, 0.4, 0.3)},
      {"rounded box", boxOf(0.4, 0.3, 0.2, 0.1)},
      {"lozenge", ZqConvex::rectangle({-0.4, -0.3, 0.0}, {0.8, 0.0, 0.0}, {0.0, 0.6, 0.0}, 0.1)},
      {"plate", boxOf(0.5, 0.4, 0.0)},
      {"cylinder", cylinderOf(0.4, 0.5)},
      {"cone", cylinderOf(0.4, 0.3, 0.0)},
      {"frustum", cylinderOf(0.3, 0.3, 0.5)},
      {"disc", ZqConvex::disc(contactOrigin, {0.0, 0.0, 1.0}, 0.4, 0.1)},
      {"triangle", ZqConvex::triangle({-0.3, -0.3, 0.0}, {0.9, 0.0, 0.0}, {0.1, 0.8, 0.0})},
      {"prism", prismOf(16, 0.5, 0.3)},
      {"hull", ballHullOf(random, 50)},
      {"ellipsoid", ZqConvex::ellipsoid(ZqCoordinateSystemTransformation(), {0.5, 0.4, 0.3})}};
}

ZqReal signedDistance(const ZqConvex& A, const ZqConvex& B, const Pose& X)
{
   ZqSeparation out;
   distance(A, B, X, nullptr, out);
   return out.distance;
}

/// How far B has to be along u from A to be apart by a gap.
Pose placedApart(const ZqConvex& A, const ZqConvex& B, const Mat3& R, const Vec3& u, ZqReal gap)
{
   ZqReal low = 0.0;
   ZqReal high = 4.0;
   for (int k = 0; k < 50; ++k)
   {
      const ZqReal middle = 0.5 * (low + high);
      (signedDistance(A, B, {R, u * middle}) < gap ? low : high) = middle;
   }
   return {R, u * high};
}

/// What must hold for the contact points of any two shapes. Normals of curved ones are good to 1e-6.
void expectSoundPoints(const ZqConvex& A, const ZqConvex& B, const Pose& X,
                       const ZqContactManifold& m)
{
   const ZqReal d = signedDistance(A, B, X);
   EXPECT_NEAR(m.separation, d, 1e-9);
   ASSERT_GE(m.count, 1);
   ASSERT_LE(m.count, ZqContactManifold::capacity);
   const Vec3 n = vec3(m.normal);
   EXPECT_NEAR(norm(n), 1.0, 1e-12);
   std::set<std::uint64_t> names;
   ZqReal least = 1e300;
   Vec3 middle{0.0, 0.0, 0.0};
   for (int i = 0; i < m.count; ++i)
   {
      const ZqContactPoint& p = m.points[i];
      const Vec3 a = vec3(p.point1);
      const Vec3 b = vec3(p.point2);
      names.insert(p.name);
      least = std::min(least, p.separation);
      middle += a * (1.0 / m.count);
      EXPECT_NEAR(dot(n, b - a), p.separation, 1e-9);
      EXPECT_TRUE(p.normal == m.normal);
      // They face each other, but for edges that run side by side nearly.
      EXPECT_LE(norm(b - a - n * p.separation), m.count <= 2 ? 0.05 : 1e-6);
      // A sweeping ball is left where its core's face leans, by r (1 - cos 30 degrees) at most.
      const ZqConvex dot1 = ZqConvex::sphere(p.point1, 0.0);
      const ZqConvex dot2 = ZqConvex::sphere(vector(inverseTimes(X, b)), 0.0);
      const ZqReal onA = signedDistance(A, dot1, Pose{});
      const ZqReal onB = signedDistance(B, dot2, Pose{});
      EXPECT_LE(onA, 1e-6);
      EXPECT_LE(onB, 1e-6);
      EXPECT_GE(onA, -1e-6 - 0.14 * A.radius);
      EXPECT_GE(onB, -1e-6 - 0.14 * B.radius);
   }
   EXPECT_NEAR(least, m.separation, 1e-6) << "the deepest place is missing";
   EXPECT_EQ(names.size(), static_cast<std::size_t>(m.count));
   for (int i = 0; i < m.count && m.count > 2; ++i)
   {
      const Vec3 p = vec3(m.points[i].point1) - middle;
      const Vec3 q = vec3(m.points[(i + 1) % m.count].point1) - middle;
      EXPECT_GE(dot(cross(p, q), n), -1e-9) << "not around the patch";
   }
}

/// Whether two sets of places are the same.
::testing::AssertionResult samePlaces(const std::vector<ZqVector>& got,
                                      std::vector<ZqVector> expected, ZqReal tolerance)
{
   if (got.size() != expected.size())
      return ::testing::AssertionFailure()
             << got.size() << " places in place of " << expected.size();
   for (const ZqVector& p : got)
   {
      const auto at = std::find_if(expected.begin(), expected.end(),
                                   [&](const ZqVector& q) { return (p - q).mag() <= tolerance; });
      if (at == expected.end())
         return ::testing::AssertionFailure()
                << "a place at " << p.x() << ' ' << p.y() << ' ' << p.z();
      expected.erase(at);
   }
   return ::testing::AssertionSuccess();
}

struct RestingPose
{
   const char* name;
   ZqConvex below, above;
   Pose X;
   std::size_t count;
   std::vector<ZqVector> places = {}; ///< of points of the lower shape, if they are told
};

/// With places by x and y at the height 0.5.
RestingPose rests(const char* name, const ZqConvex& below, const ZqConvex& above, const Mat3& R,
                  const Vec3& t, const std::vector<ZqReal>& xy)
{
   RestingPose pose{name, below, above, {R, t}, xy.size() / 2};
   for (std::size_t i = 0; i < xy.size(); i += 2)
      pose.places.push_back({xy[i], xy[i + 1], 0.5});
   return pose;
}
RestingPose restsOn(std::size_t count, const char* name, const ZqConvex& below,
                    const ZqConvex& above, const Mat3& R, const Vec3& t)
{
   return {name, below, above, {R, t}, count};
}
std::vector<ZqReal> rectangleAt(ZqReal x, ZqReal y)
{
   return {x, y, -x, y, -x, -y, x, -y};
}
std::vector<ZqReal> rimAt(ZqReal r)
{
   const ZqReal q = r * std::sqrt(0.5);
   return {r, 0.0, q, q, 0.0, r, -q, q, -r, 0.0, -q, -q, 0.0, -r, q, -q};
}

std::vector<RestingPose> restingPoses()
{
   const ZqConvex table = boxOf(1.0, 1.0, 0.5);
   const ZqConvex cube = boxOf(0.5, 0.5, 0.5);
   const ZqConvex beam = boxOf(1.0, 0.2, 0.5);
   const ZqConvex can = cylinderOf(0.3, 0.5);
   const ZqConvex pan = cylinderOf(1.0, 0.5);
   const ZqConvex cone = cylinderOf(0.4, 0.3, 0.0);
   const ZqConvex bar = capsuleOf(0.3, 0.5);
   const ZqConvex nut = prismOf(6, 0.5, 0.3);
   const ZqConvex tile =
      ZqConvex::rectangle({-0.3, -0.2, 0.0}, {0.6, 0.0, 0.0}, {0.0, 0.4, 0.0}, 0.1);
   const ZqConvex coin = ZqConvex::disc(contactOrigin, {0.0, 0.0, 1.0}, 0.4, 0.1);
   const ZqConvex sail = ZqConvex::triangle(contactOrigin, {0.5, 0.0, 0.0}, {0.0, 0.5, 0.0});
   const ZqConvex egg = ZqConvex::ellipsoid(ZqCoordinateSystemTransformation(), {0.5, 0.4, 0.3});
   const ZqConvex ball = ZqConvex::sphere(contactOrigin, 0.3);
   const Mat3 upright{};
   const Mat3 lying = turnedAboutX(90.0);
   const Mat3 onEdge = turnedAboutX(45.0);
   const Mat3 acrossEdge = turnedAboutZ(90.0) * onEdge;
   const Mat3 onCorner = turnedBy({1.0, -1.0, 0.0}, std::acos(std::sqrt(1.0 / 3.0)));
   const Mat3 onMantle = turnedBy({0.0, 1.0, 0.0}, -0.5 * zqTest::pi - std::atan2(0.4, 0.6));
   const Vec3 high{0.0, 0.0, 1.0};
   const Vec3 low{0.0, 0.0, 0.8};
   const ZqReal q = std::sqrt(0.5);
   const ZqReal t = std::sqrt(0.75);
   const ZqReal c = 0.5 * t;
   const ZqReal s = 0.3 * q;
   std::vector<RestingPose> poses = {
      rests("box on box", table, cube, upright, high, rectangleAt(0.5, 0.5)),
      rests("box on its like", cube, cube, upright, high, rectangleAt(0.5, 0.5)),
      rests("box on box, turned", table, cube, turnedAboutZ(30.0), high,
            {c - 0.25, c + 0.25, -c - 0.25, c - 0.25, 0.25 - c, -c - 0.25, c + 0.25, 0.25 - c}),
      restsOn(8, "box on its like, turned by an eighth", cube, cube, turnedAboutZ(45.0), high),
      rests("box over an edge", table, cube, upright, {0.8, 0.0, 1.0},
            {0.3, 0.5, 0.3, -0.5, 1.0, 0.5, 1.0, -0.5}),
      rests("box over a corner", table, cube, upright, {0.8, 0.8, 1.0},
            {0.3, 0.3, 1.0, 0.3, 0.3, 1.0, 1.0, 1.0}),
      rests("beam across a beam", beam, beam, turnedAboutZ(90.0), high, rectangleAt(0.2, 0.2)),
      rests("box on its edge", table, cube, onEdge, {0.0, 0.0, 0.5 + q}, {0.5, 0.0, -0.5, 0.0}),
      rests("box on its edge over two edges", beam, cube, acrossEdge, {0.0, 0.0, 0.5 + q},
            {0.0, 0.2, 0.0, -0.2}),
      rests("box on its corner", table, cube, onCorner, {0.0, 0.0, 0.5 + t}, {0.0, 0.0}),
      restsOn(1, "edge across an edge", cube, cube, onEdge * acrossEdge, {0.0, -1.0, 1.0}),
      rests("cylinder", table, can, upright, high, rimAt(0.3)),
      rests("cylinder over an edge", table, can, upright, {1.0, 0.0, 1.0},
            {0.7, 0.0, 1.0 - s, s, 1.0 - s, -s, 1.0, 0.3, 1.0, -0.3}),
      rests("cylinder on its like", can, can, turnedAboutZ(90.0), high, rimAt(0.3)),
      restsOn(8, "cylinder on a wider one", pan, can, upright, {0.5, 0.2, 1.0}),
      restsOn(6, "cylinder over the rim of a wider one", pan, can, upright, {1.0, 0.0, 1.0}),
      restsOn(4, "box on a cylinder", pan, cube, turnedAboutZ(10.0), high),
      rests("box over the rim of a cylinder", pan, cube, upright, {0.7, 0.0, 1.0},
            {0.2, 0.5, 0.2, -0.5, t, 0.5, t, -0.5, 1.0, 0.0}),
      rests("wide box on a cylinder", can, table, upright, high, rimAt(0.3)),
      rests("cylinder on its side", table, can, lying, low, {0.0, 0.5, 0.0, -0.5}),
      rests("cylinder on its side across a beam", beam, can, lying, low, {0.0, 0.2, 0.0, -0.2}),
      rests("cylinder on its side on a cylinder", pan, can, lying, {0.9, 0.0, 0.8},
            {0.9, std::sqrt(0.19), 0.9, -std::sqrt(0.19)}),
      restsOn(2, "cylinder along a cylinder", can, can, upright, {0.6, 0.0, 0.4}),
      restsOn(1, "cylinder across a cylinder", can, can, lying, {0.6, 0.0, 0.0}),
      rests("cylinder on its rim", table, can, onEdge, {0.0, 0.0, 0.5 + 0.8 * q}, {0.0, 0.2 * q}),
      rests("capsule", table, bar, upright, low, {0.5, 0.0, -0.5, 0.0}),
      restsOn(2, "capsules side by side", bar, bar, upright, {0.2, 0.6, 0.0}),
      restsOn(1, "capsules that cross", bar, bar, turnedAboutZ(40.0), {0.0, 0.0, 0.6}),
      rests("cone on its base", table, cone, upright, low, rimAt(0.4)),
      rests("cone on its point", table, cone, turnedAboutX(180.0), low, {0.0, 0.0}),
      restsOn(2, "cone on its side", table, cone, onMantle,
              {0.0, 0.0, 0.5 + 0.12 / std::sqrt(0.52)}),
      restsOn(8, "prism", table, prismOf(16, 0.5, 0.3), upright, {0.1, 0.0, 0.8}),
      restsOn(6, "prism of six", table, nut, upright, {0.1, 0.0, 0.8}),
      restsOn(4, "prism on its side", table, nut, lying, {0.0, 0.0, 0.5 + c}),
      rests("lozenge", table, tile, upright, {0.0, 0.0, 0.6}, rectangleAt(0.3, 0.2)),
      restsOn(8, "disc", table, coin, upright, {0.0, 0.0, 0.6}),
      rests("triangle", table, sail, upright, {0.0, 0.0, 0.5}, {0.0, 0.0, 0.5, 0.0, 0.0, 0.5}),
      rests("ellipsoid", table, egg, upright, {0.2, 0.0, 0.8}, {0.2, 0.0}),
      rests("sphere", table, ball, upright, {0.2, 0.0, 0.8}, {0.2, 0.0})};
   // Whatever stands on the table without reaching over its edge stands so on the ground.
   const std::size_t count = poses.size();
   for (std::size_t i = 0; i < count; ++i)
      if (poses[i].below.h.x == table.h.x && poses[i].below.h.y == table.h.y &&
          std::abs(poses[i].X.t.x) <= 0.2)
      {
         poses.push_back(poses[i]);
         poses.back().below = ZqConvex::halfSpace({0.0, 0.0, 0.5}, {0.0, 0.0, 1.0});
      }
   return poses;
}
} // namespace

TEST(ContactPoints, RestingBodiesTouchWhereTheyShould)
{
   for (const RestingPose& pose : restingPoses())
      for (const ZqReal gap : {1e-4, 0.0, -1e-4})
      {
         SCOPED_TRACE(std::string(pose.name) +
                      (pose.below.isBounded() ? " at gap " : " on the ground at gap ") +
                      std::to_string(gap));
         ZqContactManifold m;
         Pose X = pose.X;
         ASSERT_TRUE(contact(pose.below, pose.above, X, 0.01, nullptr, m));
         X.t += vec3(m.normal) * (gap - m.separation);
         ASSERT_TRUE(contact(pose.below, pose.above, X, 0.01, nullptr, m));
         EXPECT_NEAR(m.separation, gap, 1e-12);
         EXPECT_EQ(static_cast<std::size_t>(m.count), pose.count);
         expectSoundPoints(pose.below, pose.above, X, m);
         std::vector<ZqVector> places, others;
         for (int i = 0; i < m.count; ++i)
         {
            places.push_back(m.points[i].point1);
            EXPECT_NEAR(m.points[i].separation, gap, 1e-9);
         }
         if (!pose.places.empty())
         {
            EXPECT_TRUE(samePlaces(places, pose.places, 1e-7 + std::abs(gap)));
         }
         ASSERT_TRUE(contact(pose.above, pose.below, inverse(X), 0.01, nullptr, m));
         for (int i = 0; i < m.count; ++i)
            others.push_back(vector(X * vec3(m.points[i].point2)));
         EXPECT_TRUE(samePlaces(others, places, 1e-9)) << "from the other side";
      }
}

TEST(ContactPoints, AnyTwoShapesTouchInSoundPoints)
{
   const auto shapes = contactShapes();
   RandomValues random(17);
   constexpr int rounds = 24;
   for (const auto& [nameA, A] : shapes)
      for (const auto& [nameB, B] : shapes)
         for (int k = 0; k < rounds; ++k)
         {
            SCOPED_TRACE(std::string(nameA) + " and " + nameB + ", placement " + std::to_string(k));
            const ZqReal gaps[] = {5e-3, 1e-6, 0.0, -1e-6, -1e-3, -0.05};
            // Anyhow, or nearly upright one above the other, or one of them lying.
            const Vec3 u = k % 3 == 0 ? vec3(random.unitVector())
                                      : unit({0.3 * random.real(), 0.3 * random.real(), 1.0});
            const Mat3 R = k % 3 == 0 ? pose(random.orientation()).R
                                      : turnedAboutZ(random.real(0.0, 360.0)) *
                                           turnedBy(random.unitVector(), random.real() * 0.02) *
                                           turnedAboutX(k % 3 == 1 ? 0.0 : 90.0);
            const Pose X = placedApart(A, B, R, u, gaps[random.index(0, 5)]);
            ZqContactManifold m, other;
            ASSERT_TRUE(contact(A, B, X, 0.01, nullptr, m));
            expectSoundPoints(A, B, X, m);
            ASSERT_TRUE(contact(B, A, inverse(X), 0.01, nullptr, other));
            std::vector<ZqVector> places, others;
            for (int i = 0; i < m.count; ++i)
               places.push_back(m.points[i].point1);
            for (int i = 0; i < other.count; ++i)
               others.push_back(vector(X * vec3(other.points[i].point2)));
            if (m.count < ZqContactManifold::capacity)
            {
               EXPECT_TRUE(samePlaces(others, places, 2e-5)) << "from the other side";
            }
         }
}

namespace
{
struct SmallMotion
{
   const char* name;
   ZqConvex below, above;
   Pose X;
   ZqReal angle;      ///< rad a step
   ZqVector axis;     ///< of the turn about the origin of the upper shape
   ZqVector velocity; ///< m a step
   int changes;       ///< steps of 4000 in which names may come or go
   ZqReal speed;      ///< of a place, over the fastest motion of the bodies
};

/// Rocks from 2 mrad on one side to 2 mrad on the other.
SmallMotion rocks(const char* name, const ZqConvex& below, const ZqConvex& above, const Mat3& R,
                  ZqReal height, const ZqVector& axis, int changes = 0)
{
   return {name,       below,   above, {turnedBy(axis, -0.002) * R, {0.0, 0.0, height}}, 1e-6, axis,
           ZqVector(), changes, 1.01};
}
/// Slides, and turns about an axis.
SmallMotion slides(const char* name, const ZqConvex& below, const ZqConvex& above, const Pose& X,
                   ZqReal angle, const ZqVector& axis, int changes = 0, ZqReal speed = 1.01)
{
   return {name, below, above, X, angle, axis, ZqVector(1e-6, 0.0, 0.0), changes, speed};
}

std::vector<SmallMotion> smallMotions()
{
   const ZqConvex table = boxOf(1.0, 1.0, 0.5);
   const ZqConvex cube = boxOf(0.5, 0.5, 0.5);
   const ZqConvex can = cylinderOf(0.3, 0.5);
   const ZqConvex pan = cylinderOf(1.0, 0.5);
   const ZqConvex capsule = capsuleOf(0.3, 0.5);
   const ZqConvex ground = ZqConvex::halfSpace({0.0, 0.0, 0.5}, {0.0, 0.0, 1.0});
   RandomValues random(3);
   const ZqConvex stone = ballHullOf(random, 50);
   const Mat3 upright{};
   const Mat3 lying = turnedAboutX(90.0);
   const Mat3 aside = turnedAboutZ(20.0);
   const ZqVector x(1.0, 0.0, 0.0), y(0.0, 1.0, 0.0), z(0.0, 0.0, 1.0);
   const ZqReal h = 0.9999;
   const ZqReal degree = zqTest::pi / 180.0;
   return {slides("box", table, cube, {aside, {0.0, 0.0, h}}, 1e-6, z),
           slides("box over an edge", table, cube, {aside, {0.6, 0.0, h}}, 1e-6, z, 0, 4.0),
           slides("box comes over an edge", table, cube, {upright, {0.499, 0.0, h}}, 0.0, z, 1),
           rocks("box", table, cube, upright, h, x),
           rocks("box on the ground", ground, cube, upright, h, x),
           rocks("box on its like", cube, cube, upright, h, x, 40),
           rocks("prism", table, prismOf(6, 0.5, 0.3), upright, 0.7999, x),
           rocks("prism of many sides", table, prismOf(16, 0.5, 0.3), upright, 0.7999, x),
           slides("cylinder", table, can, {upright, {0.0, 0.0, h}}, 1e-6, z),
           rocks("cylinder", table, can, upright, h, {1.0, 0.3, 0.0}, 4),
           slides("cylinder that spins on its rim", table, can, {turnedAboutX(1.0), {0.0, 0.0, h}},
                  1e-4, {0.0, -std::sin(degree), std::cos(degree)}, 40, 2.0),
           slides("cylinder over an edge", table, can, {upright, {0.9, 0.0, h}}, 1e-6, z, 2, 4.0),
           slides("cylinder on a cylinder", pan, can, {upright, {0.9, 0.0, h}}, 1e-6, z, 2, 4.0),
           slides("cylinder that rolls", table, can, {lying, {0.0, 0.0, 0.7999}}, 1e-6 / 0.3, y),
           rocks("cylinder on its side", table, can, lying, 0.7999, x),
           rocks("capsule", table, capsule, upright, 0.7999, y),
           slides("capsule along a capsule", capsule, capsule,
                  {turnedBy(z, -0.002), {0.2, 0.0, 0.5999}}, 1e-6, z),
           slides("stone", ground, stone, {upright, {0.0, 0.0, 0.7}}, 1e-6, x)};
}
} // namespace

TEST(ContactPoints, NamesStayAndPlacesFollowThroughSmallSteps)
{
   for (const SmallMotion& motion : smallMotions())
   {
      SCOPED_TRACE(motion.name);
      const ZqReal fastest = motion.velocity.mag() + std::abs(motion.angle) * motion.above.reach;
      Pose X = motion.X;
      const Mat3 turn = motion.angle == 0.0 ? Mat3{} : turnedBy(motion.axis, motion.angle);
      std::map<std::uint64_t, ZqVector> last;
      ZqPairCache cache;
      int changes = -1;
      ZqReal speed = 0.0;
      for (int step = 0; step < 4000; ++step)
      {
         X = {turn * X.R, X.t + vec3(motion.velocity)};
         ZqContactManifold m;
         ASSERT_TRUE(contact(motion.below, motion.above, X, 0.01, &cache, m));
         std::map<std::uint64_t, ZqVector> now;
         for (int i = 0; i < m.count; ++i)
            now[m.points[i].name] = m.points[i].point2;
         bool isSame = now.size() == last.size();
         for (const auto& [name, place] : now)
         {
            const auto at = last.find(name);
            isSame = isSame && at != last.end();
            if (at != last.end())
               speed = std::max(speed, (place - at->second).mag() / fastest);
         }
         changes += isSame ? 0 : 1;
         last = now;
      }
      EXPECT_LE(changes, motion.changes);
      EXPECT_LE(speed, motion.speed);
   }
}

namespace
{
/// The share of each point in a patch: half of the two sides that meet there, over the way round it.
std::map<std::uint64_t, ZqReal> sharesOf(const ZqContactManifold& m)
{
   std::map<std::uint64_t, ZqReal> shares;
   ZqReal around = 0.0;
   for (int i = 0; i < m.count; ++i)
   {
      const ZqContactPoint& p = m.points[i];
      const ZqContactPoint& q = m.points[(i + 1) % m.count];
      const ZqVector e = q.point1 - p.point1;
      const ZqReal side = (e - m.normal * m.normal.dot(e)).mag();
      around += side;
      shares[p.name] += 0.5 * side;
      shares[q.name] += 0.5 * side;
   }
   for (auto& [name, share] : shares)
      share = m.count == 1 ? 1.0 : share / around;
   return shares;
}
} // namespace

// However far an edge has lifted: until another feature faces the other body, no share jumps.
TEST(ContactPoints, APatchKeepsItsSharesWhileABodyRocks)
{
   const struct
   {
      const char* name;
      ZqConvex shape;
      int count;
      ZqVector axis;
      ZqReal degrees; ///< to either side
   } bodies[] = {{"box", boxOf(0.4, 0.3, 0.2), 4, {1.0, 0.3, 0.0}, 29.9},
                 {"rounded box", boxOf(0.3, 0.2, 0.1, 0.1), 4, {1.0, 0.3, 0.0}, 29.9},
                 {"prism", prismOf(6, 0.5, 0.3), 6, {1.0, 0.2, 0.0}, 29.9},
                 {"capsule", capsuleOf(0.2, 0.4), 2, {0.0, 1.0, 0.0}, 14.9}};
   for (const ZqConvex& below :
        {ZqConvex::halfSpace(contactOrigin, {0.0, 0.0, 1.0}), boxOf(2.0, 2.0, 0.5)})
      for (const auto& body : bodies)
      {
         SCOPED_TRACE(body.name);
         constexpr int steps = 600;
         ZqPairCache cache;
         std::map<std::uint64_t, ZqReal> last;
         for (int k = 0; k <= steps; ++k)
         {
            const ZqReal tilt = body.degrees * (2.0 * k / steps - 1.0) * zqTest::pi / 180.0;
            Pose X{turnedBy(body.axis, tilt), {0.0, 0.0, 3.0}};
            X.t.z -= signedDistance(below, body.shape, X) + 1e-4;
            ZqContactManifold m;
            ASSERT_TRUE(contact(below, body.shape, X, 1e-3, &cache, m));
            ASSERT_EQ(m.count, body.count) << k;
            const auto shares = sharesOf(m);
            for (const auto& [name, share] : shares)
            {
               // A side's length over that of the way round turns by less than the tilt does.
               const auto at = last.find(name);
               EXPECT_TRUE(last.empty() ||
                           (at != last.end() && std::abs(share - at->second) <
                                                   2.0 * body.degrees / steps * zqTest::pi / 180.0))
                  << k;
            }
            last = shares;
         }
      }
}
