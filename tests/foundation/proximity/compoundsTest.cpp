#include "support/allocationCount.h"
#include "support/contactScene.h"
#include "support/randomManipulators.h"
#include "support/randomValues.h"

#include "zqManipulator/foundation/geometry/ZqBox.h"
#include "zqManipulator/foundation/geometry/ZqCapsule.h"
#include "zqManipulator/foundation/geometry/ZqConvexHull.h"
#include "zqManipulator/foundation/geometry/ZqCylinder.h"
#include "zqManipulator/foundation/geometry/ZqHalfSpace.h"
#include "zqManipulator/foundation/geometry/ZqShapeUnion.h"
#include "zqManipulator/foundation/geometry/ZqSphere.h"
#include "zqManipulator/foundation/geometry/ZqTriangleMesh.h"
#include "zqManipulator/foundation/proximity/ZqConvexProximity.h"
#include "zqManipulator/foundation/proximity/ZqPartPairs.h"
#include "zqManipulator/foundation/proximity/ZqShapeProximity.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

using namespace zqConvex;
using zqTest::RandomValues;

namespace
{
constexpr ZqReal closeness = 1e-10;

ZqTriangleMesh boxMesh(const ZqVector& h)
{
   return dynamic_cast<const ZqTriangleMesh&>(*zqTest::meshBox(1.0, h).shape);
}

/// A ring about z, of n by m squares; without `whole` a trough that is half of it.
ZqTriangleMesh ring(ZqReal outer, ZqReal inner, ZqU32 n, ZqU32 m, bool isWhole = true)
{
   std::vector<ZqVector> v;
   std::vector<ZqTriangleMesh::Triangle> t;
   for (ZqU32 i = 0; i < n; ++i)
      for (ZqU32 j = 0; j < m; ++j)
      {
         const ZqReal a = 2.0 * zqTest::pi * i / n;
         const ZqReal b = 2.0 * zqTest::pi * j / m;
         const ZqReal r = outer + inner * std::cos(b);
         v.emplace_back(r * std::cos(a), r * std::sin(a), inner * std::sin(b));
      }
   for (ZqU32 i = 0; i < n; ++i)
      for (ZqU32 j = 0; j < (isWhole ? m : m / 2); ++j)
      {
         const ZqU32 k = (i + 1) % n;
         const ZqU32 l = (j + 1) % m;
         t.push_back({i * m + j, k * m + j, k * m + l});
         t.push_back({i * m + j, k * m + l, i * m + l});
      }
   return {v, t};
}
/// A bar whose section is an L, standing on z = 0.
ZqTriangleMesh angleBar()
{
   const ZqVector section[] = {{0.0, 0.0, 0.0}, {0.9, 0.0, 0.0}, {0.9, 0.3, 0.0},
                               {0.3, 0.3, 0.0}, {0.3, 1.0, 0.0}, {0.0, 1.0, 0.0}};
   std::vector<ZqVector> v;
   for (const ZqReal z : {0.0, 1.1})
      for (const ZqVector& p : section)
         v.push_back(p + ZqVector(0.0, 0.0, z));
   std::vector<ZqTriangleMesh::Triangle> t;
   for (ZqU32 i = 0; i < 6; ++i)
   {
      const ZqU32 j = (i + 1) % 6;
      t.push_back({i, j, j + 6});
      t.push_back({i, j + 6, i + 6});
   }
   for (const auto& [a, b, c] :
        {ZqTriangleMesh::Triangle{0, 1, 2}, {0, 2, 3}, {0, 3, 4}, {0, 4, 5}})
   {
      t.push_back({a, c, b});
      t.push_back({a + 6, b + 6, c + 6});
   }
   return {v, t};
}
ZqCoordinateSystemTransformation at(ZqReal x, ZqReal y, ZqReal z)
{
   return ZqCoordinateSystemTransformation(ZqVector(x, y, z));
}
ZqShapeUnion unionOf(std::initializer_list<const ZqShape*> members)
{
   ZqShapeUnion made;
   for (const ZqShape* member : members)
      made.addShapeToUnion(*member);
   return made;
}

/// A box, in every way there is to tell one.
struct SameBoxes
{
   ZqVector h{0.5, 0.4, 0.3};
   ZqBox box{at(0.0, 0.0, 0.0), h};
   ZqTriangleMesh mesh = boxMesh(h);
   ZqConvexHull hull{[this]
                     {
                        std::vector<ZqVector> points;
                        for (ZqU32 i = 0; i < 8; ++i)
                           points.push_back(mesh.vertex(i));
                        return points;
                     }()};
   ZqBox left{at(-0.25, 0.0, 0.0), ZqVector(0.25, 0.4, 0.3)};
   ZqBox right{at(0.25, 0.0, 0.0), ZqVector(0.25, 0.4, 0.3)};
   ZqShapeUnion halves = unionOf({&left, &right});
   std::vector<const ZqShape*> all{&box, &mesh, &hull, &halves};
};
/// Shapes that are not convex, and one that is.
struct Mixed
{
   ZqTriangleMesh solid = ring(1.0, 0.3, 14, 9);
   ZqTriangleMesh trough = ring(1.0, 0.4, 12, 8, false);
   ZqSphere ball{ZqVector(0.3, 1.2, 0.1), 0.25};
   ZqCapsule rod{ZqLineSegment(ZqVector(-0.9, 0.2, 0.0), ZqVector(0.4, -0.5, 0.7)), 0.1};
   ZqBox block{at(0.2, 0.1, -0.4), ZqVector(0.5, 0.2, 0.3)};
   ZqShapeUnion inner = unionOf({&ball, &rod});
   ZqShapeUnion several = unionOf({&block, &inner});
   ZqTriangleMesh small = ring(0.4, 0.1, 9, 6);
   ZqShapeUnion withMesh = unionOf({&small, &ball, &rod});
   std::vector<const ZqShape*> all{&solid, &trough, &several, &withMesh, &block};
};

Pose randomPose(RandomValues& random, ZqReal reach)
{
   return pose(ZqCoordinateSystemTransformation(random.vector(reach), random.orientation()));
}
ZqSeparation separation(const ZqShape& A, const ZqShape& B, const Pose& X,
                        ZqShapePairCache* cache = nullptr)
{
   ZqSeparation out;
   distance(A, B, X, cache, out);
   return out;
}
Pose moved(const Pose& X, const ZqVector& normal, ZqReal length)
{
   return {X.R, X.t + vec3(normal) * length};
}

/// The least distance of all pairs of parts; at most zero where any overlap.
ZqReal leastOfParts(const ZqShape& A, const ZqShape& B, const Pose& X)
{
   const PartSide a(A);
   const PartSide b(B);
   ZqConvex spaceA;
   ZqConvex spaceB;
   ZqReal least = 1e300;
   for (ZqU32 i = 0; i < a.partCount(); ++i)
      for (ZqU32 j = 0; j < b.partCount(); ++j)
      {
         ZqSeparation found;
         distance(a.part(i, spaceA), b.part(j, spaceB), X, nullptr, found);
         least = std::min(least, found.distance);
      }
   return least;
}
} // namespace

TEST(Compounds, AreAsFarApartAsTheirNearestParts)
{
   const Mixed shapes;
   RandomValues random(11);
   int apart = 0;
   for (int k = 0; k < 12; ++k)
      for (const ZqShape* A : shapes.all)
         for (const ZqShape* B : shapes.all)
         {
            const Pose X = randomPose(random, 0.6 + 0.25 * k);
            const ZqReal least = leastOfParts(*A, *B, X);
            ZqShapePairCache cache;
            const ZqSeparation cold = separation(*A, *B, X, &cache);
            const ZqSeparation warm = separation(*A, *B, X, &cache);
            EXPECT_GE(warm.distance, cold.distance - closeness); // or a better way out was found
            const ZqSeparation back = separation(*B, *A, inverse(X));
            if (cold.distance > 0.0)
            {
               ++apart;
               EXPECT_NEAR(cold.distance, least, closeness);
               EXPECT_NEAR(back.distance, least, closeness);
               EXPECT_NEAR(norm(X * vec3(cold.point2) - vec3(cold.point1)), least, closeness);
               EXPECT_TRUE(isWithin(*A, *B, X, least * (1.0 + 1e-6), nullptr));
               EXPECT_FALSE(isWithin(*A, *B, X, least * (1.0 - 1e-6), nullptr));
               continue;
            }
            // Parts meet, or one lies in the other; the translation parts them.
            EXPECT_TRUE(isWithin(*A, *B, X, 0.0, nullptr));
            EXPECT_LE(back.distance, 0.0);
            for (const ZqReal more : {1e-9, 1e-2})
            {
               const Pose Y = moved(X, cold.normal, (1.0 + more) * -cold.distance + 1e-12);
               const ZqSeparation parted = separation(*A, *B, Y);
               EXPECT_TRUE(more > 1e-3 || parted.distance >= 0.0)
                  << cold.distance << " " << parted.distance;
               EXPECT_LT(parted.distance, 0.011 * -cold.distance + 1e-9);
            }
            EXPECT_NEAR(norm(X * vec3(cold.point2) - vec3(cold.point1)), -cold.distance, 1e-9);
         }
   EXPECT_GT(apart, 100);
}

TEST(Compounds, ABoxIsTheSameHoweverItIsTold)
{
   const SameBoxes a;
   const ZqBox other(at(0.0, 0.0, 0.0), ZqVector(0.2, 0.3, 0.25));
   const ZqTriangleMesh otherMesh = boxMesh(other.extents());
   RandomValues random(5);
   for (int k = 0; k < 1000; ++k)
   {
      const Pose X = randomPose(random, 0.9);
      const ZqReal expected = separation(a.box, other, X).distance;
      for (const ZqShape* shape : a.all)
         for (const ZqShape* second :
              {static_cast<const ZqShape*>(&other), static_cast<const ZqShape*>(&otherMesh)})
         {
            const ZqReal found = separation(*shape, *second, X).distance;
            // Halves may be parted by more than need be, never by less.
            if (shape == &a.halves && expected < 0.0)
               EXPECT_LE(found, expected + closeness);
            else
               EXPECT_NEAR(found, expected, closeness);
         }
   }
}

TEST(Compounds, ABoxRestsOnTheSameFourPlaces)
{
   const SameBoxes floors;
   const ZqBox box(at(0.0, 0.0, 0.0), ZqVector(0.2, 0.3, 0.25));
   const ZqTriangleMesh mesh = boxMesh(box.extents());
   const ZqTriangleMesh sheet(
      {{-1.0, -1.0, 0.3}, {1.0, -1.0, 0.3}, {1.0, 1.0, 0.3}, {-1.0, 1.0, 0.3}},
      {{0, 1, 2}, {0, 2, 3}});
   std::vector<const ZqShape*> all = floors.all;
   all.push_back(&sheet);
   for (const ZqReal height : {0.5501, 0.55, 0.55 - 1e-9, 0.5499, 0.545})
      for (const ZqReal x : {0.0, 0.05, 0.2, 0.2 + 1e-7, 0.26})
         for (const ZqShape* floor : all)
            for (const ZqShape* body :
                 {static_cast<const ZqShape*>(&box), static_cast<const ZqShape*>(&mesh)})
            {
               ZqContactManifold found;
               ASSERT_TRUE(contact(*floor, *body, {{}, {x, 0.02, height}}, 1e-3, nullptr, found));
               ASSERT_EQ(found.count, 4) << height << " " << x;
               EXPECT_NEAR(found.separation, height - 0.55, closeness);
               for (int i = 0; i < 4; ++i)
               {
                  const ZqContactPoint& p = found.points[i];
                  EXPECT_NEAR(p.separation, height - 0.55, closeness);
                  EXPECT_NEAR(p.normal.z(), 1.0, closeness);
                  EXPECT_NEAR(std::abs(p.point1.x() - x), 0.2, closeness);
                  EXPECT_NEAR(std::abs(p.point1.y() - 0.02), 0.3, closeness);
                  for (int j = 0; j < i; ++j)
                     EXPECT_GT((p.point1 - found.points[j].point1).mag(), 0.3);
               }
            }
}

/// A mesh around a convex solid is that solid: on its edge as well it keeps the patch, in order around it.
TEST(Compounds, AMeshOfABoxRocksAsTheBoxDoes)
{
   const ZqBox box(at(0.0, 0.0, 0.0), ZqVector(0.2, 0.3, 0.25));
   const ZqTriangleMesh mesh = boxMesh(box.extents());
   const ZqBox floor(at(0.0, 0.0, -0.5), ZqVector(1.0, 1.0, 0.5));
   for (const ZqReal tilt : {0.0, 1e-5, 1e-3, 0.02, 0.3})
   {
      const ZqOrientation turn(std::cos(0.5 * tilt), std::sin(0.5 * tilt), 0.0, 0.0);
      const ZqCoordinateSystemTransformation X(
         ZqVector(0.0, 0.0, 0.25 * std::cos(tilt) + 0.3 * std::sin(tilt) - 1e-4), turn);
      ZqContactManifold ofBox, ofMesh;
      ASSERT_TRUE(contact(floor, box, pose(X), 1e-3, nullptr, ofBox));
      ASSERT_TRUE(contact(floor, mesh, pose(X), 1e-3, nullptr, ofMesh));
      ASSERT_EQ(ofBox.count, 4);
      ASSERT_EQ(ofMesh.count, 4);
      for (int i = 0; i < 4; ++i)
      {
         const ZqVector& p = ofMesh.points[i].point2;
         ZqReal nearest = 1e300;
         for (int j = 0; j < 4; ++j)
            nearest = std::min(nearest, (ofBox.points[j].point2 - p).mag());
         EXPECT_LE(nearest, 1e-12) << tilt;
         const ZqVector side = ofMesh.points[(i + 1) % 4].point2 - p;
         const ZqVector next =
            ofMesh.points[(i + 2) % 4].point2 - ofMesh.points[(i + 1) % 4].point2;
         EXPECT_GT(side.cross(next).z(), 0.1) << tilt;
      }
   }
}

/// A box that rocks on a floor of triangles keeps its four points, whichever triangles they leave; only where a
/// corner passes a triangle's edge by a hair's breadth may it be the crossing for a moment.
TEST(Compounds, ABoxThatRocksOnTrianglesKeepsItsPatch)
{
   constexpr ZqU32 cells = 4;
   std::vector<ZqVector> places;
   std::vector<std::array<ZqU32, 3>> triangles;
   for (ZqU32 i = 0; i <= cells; ++i)
      for (ZqU32 j = 0; j <= cells; ++j)
         places.emplace_back(0.5 * i - 0.987, 0.5 * j - 0.979, 0.0);
   for (ZqU32 i = 0; i < cells; ++i)
      for (ZqU32 j = 0; j < cells; ++j)
      {
         const ZqU32 a = i * (cells + 1) + j;
         const ZqU32 b = a + cells + 1;
         triangles.push_back({a, b, b + 1});
         triangles.push_back({a, b + 1, a + 1});
      }
   const ZqTriangleMesh floor(places, {triangles.begin(), triangles.end()});
   const ZqVector half(0.2, 0.15, 0.1);
   const ZqBox box(at(0.0, 0.0, 0.0), half);
   ZqShapePairCache cache;
   std::vector<std::uint64_t> last;
   int changes = -1;
   for (ZqReal tilt = -0.5; tilt < 0.5; tilt += 0.003)
   {
      const ZqOrientation turn(std::cos(0.5 * tilt), 0.96 * std::sin(0.5 * tilt),
                               0.28 * std::sin(0.5 * tilt), 0.0);
      const ZqVector up = turn.inverse() * ZqVector(0.0, 0.0, 1.0);
      const ZqReal height = std::abs(up.x()) * half.x() + std::abs(up.y()) * half.y() +
                            std::abs(up.z()) * half.z() - 1e-4;
      const ZqCoordinateSystemTransformation X(ZqVector(0.0, 0.0, height), turn);
      ZqContactManifold found;
      ASSERT_TRUE(contact(floor, box, pose(X), 1e-3, &cache, found));
      std::vector<std::uint64_t> names;
      for (int i = 0; i < found.count; ++i)
         names.push_back(found.points[i].name);
      EXPECT_GE(names.size(), 4U) << tilt;
      changes += names == last ? 0 : 1;
      last = names;
   }
   EXPECT_LE(changes, 2);
}

/// Wedged between two faces it is parted from both, and touches each with that face's normal.
TEST(Compounds, ABodyInACornerTouchesBothWalls)
{
   const ZqBox floor(at(0.0, 0.0, -0.5), ZqVector(2.0, 2.0, 0.5));
   const ZqBox wall(at(-0.5, 0.0, 1.0), ZqVector(0.5, 2.0, 1.0));
   const ZqShapeUnion corner = unionOf({&floor, &wall});
   const ZqBox body(at(0.0, 0.0, 0.0), ZqVector(0.2, 0.3, 0.25));
   const Pose X{{}, {0.2 - 3e-3, 0.0, 0.25 - 4e-3}};
   EXPECT_NEAR(separation(corner, body, X).distance, -5e-3, closeness);
   ZqContactManifold found;
   ASSERT_TRUE(contact(corner, body, X, 1e-3, nullptr, found));
   ZqReal deepestOn[2] = {0.0, 0.0}; // floor, wall
   for (int i = 0; i < found.count; ++i)
   {
      const ZqContactPoint& p = found.points[i];
      const bool isWall = p.normal.x() > 0.5;
      EXPECT_NEAR(isWall ? p.normal.x() : p.normal.z(), 1.0, 1e-6);
      deepestOn[isWall] = std::min(deepestOn[isWall], p.separation);
   }
   EXPECT_NEAR(deepestOn[0], -4e-3, 1e-9);
   EXPECT_NEAR(deepestOn[1], -3e-3, 1e-9);
}

TEST(Compounds, AClosedSurfaceIsASolidAndAnOpenOneIsNot)
{
   const ZqTriangleMesh solid = ring(1.0, 0.3, 40, 24);
   const ZqTriangleMesh trough = ring(1.0, 0.3, 40, 24, false);
   const ZqSphere ball(ZqVector(0.0, 0.0, 0.0), 0.05);
   const ZqSphere distant(ZqVector(0.0, 0.0, 10.0), 0.05);
   const ZqShapeUnion balls = unionOf({&distant, &ball});
   const Pose inside{{}, {1.0, 0.02, 0.03}};
   for (const ZqShape* body :
        {static_cast<const ZqShape*>(&ball), static_cast<const ZqShape*>(&balls)})
   {
      const ZqSeparation deep = separation(solid, *body, inside);
      EXPECT_LT(deep.distance, -0.25); // to the surface and out of it
      EXPECT_GT(deep.distance, -0.36);
      EXPECT_GE(separation(solid, *body, moved(inside, deep.normal, 1e-9 - deep.distance)).distance,
                0.0);
      EXPECT_GT(separation(trough, *body, inside).distance, 0.1);
      EXPECT_GT(separation(solid, *body, {{}, {0.0, 0.0, 0.0}}).distance, 0.6);
   }
}

/// Where rounding decides whether parts touch, all that is asked of it says the same.
TEST(Compounds, ThatTouchAreNeitherApartNorDeep)
{
   RandomValues random(93);
   const ZqTriangleMesh bar = angleBar();
   ASSERT_TRUE(bar.isClosed());
   const ZqBox left(at(-0.6, 0.0, 0.1), {0.5, 0.8, 0.1});
   const ZqBox right(at(0.6, 0.0, 0.1), {0.7, 0.8, 0.1});
   const ZqShapeUnion halves = unionOf({&left, &right});
   const ZqBox slab(at(0.0, 0.0, -0.2), {2.0, 2.0, 0.2});
   const ZqCylinder drum(ZqLineSegment({0.0, 0.0, -0.5}, {0.0, 0.0, 0.0}), 3.0);
   const ZqTriangleMesh floor = boxMesh({2.0, 2.0, 0.2});
   const ZqTriangleMesh other = angleBar();
   const ZqBox block(at(0.0, 0.0, -0.2), {0.3, 0.2, 0.2});
   for (int i = 0; i < 400; ++i)
   {
      const ZqReal gap = std::array{0.0, 0.0, 1e-15, -1e-15, 1e-9, -1e-9}[i % 6];
      const ZqCoordinateSystemTransformation placed = zqTest::randomFrame(random);
      const ZqCoordinateSystemTransformation X =
         at(random.real(-0.5, 0.5), random.real(-0.5, 0.5), gap) *
         ZqCoordinateSystemTransformation(ZqOrientation::zRotation(random.real(-3.0, 3.0)));
      for (const ZqShape* top :
           {static_cast<const ZqShape*>(&bar), static_cast<const ZqShape*>(&halves)})
         for (const auto& [below, lift] : std::initializer_list<std::pair<const ZqShape*, ZqReal>>{
                 {&slab, 0.0}, {&drum, 0.0}, {&floor, -0.2}, {&other, -1.1}, {&block, 0.0}})
         {
            const Pose Y = pose((placed * at(0.0, 0.0, lift)).inverse() * (placed * X));
            ZqSeparation found;
            distance(*below, *top, Y, nullptr, found);
            EXPECT_GE(found.distance, gap - 1e-13) << lift;
            // What is no larger may stand aside.
            const bool mayMiss = below == &other || below == &block;
            EXPECT_LE(found.distance, mayMiss ? 1.0 : gap + 1e-13) << lift;
         }
   }
}

TEST(Compounds, AHalfSpaceIsLeftAlongItsNormal)
{
   const ZqHalfSpace ground(ZqPlane(ZqVector(0.0, 0.0, 0.1), ZqVector(0.0, 0.0, 1.0)));
   const Mixed shapes;
   RandomValues random(7);
   for (int k = 0; k < 20; ++k)
      for (const ZqShape* shape : shapes.all)
      {
         const Pose X = randomPose(random, 2.0);
         const ZqSeparation found = separation(ground, *shape, X);
         const PartSide side(*shape);
         ZqConvex space;
         ZqReal least = 1e300;
         for (ZqU32 i = 0; i < side.partCount(); ++i)
            least = std::min(
               least,
               (X * vec3(side.part(i, space).supportPoint(vector(turnBack(X.R, {0.0, 0.0, -1.0})))))
                     .z -
                  0.1);
         EXPECT_NEAR(found.distance, least, closeness);
         EXPECT_NEAR(separation(*shape, ground, inverse(X)).distance, least, closeness);
      }
}

/// Over a touch the distance changes by no more than the motion, and so do the answers from the last step's.
TEST(Compounds, WalkWithoutJumpsAcrossTouching)
{
   const Mixed shapes;
   const ZqTriangleMesh solid = ring(1.0, 0.3, 24, 16);
   RandomValues random(3);
   for (int walk = 0; walk < 12; ++walk)
   {
      const ZqShape& A = *shapes.all[walk % 4];
      const ZqShape& B = walk % 3 == 0 ? static_cast<const ZqShape&>(solid) : shapes.block;
      Pose X = randomPose(random, 1.0);
      // From apart towards each other until they just touch.
      X.t = vec3(random.unitVector()) * 4.0;
      const Vec3 home = X.t * -0.25;
      for (int k = 0; k < 60 && separation(A, B, X).distance > 1e-4; ++k)
         X.t += unit(home) * (separation(A, B, X).distance * 0.9);
      ZqShapePairCache cache;
      ZqReal last = separation(A, B, X, &cache).distance;
      for (int k = 0; k < 150; ++k)
      {
         const Vec3 step =
            (vec3(random.unitVector()) * 0.3 + unit(home) * (last > 0.0 ? 1.0 : -1.0)) * 2e-5;
         X.t += step;
         const ZqReal found = separation(A, B, X, &cache).distance;
         EXPECT_NEAR(found, last, norm(step) * (1.0 + 1e-6) + 1e-9) << walk << " " << k;
         last = found;
      }
   }
}

TEST(Compounds, SettleToNoAllocation)
{
   const Mixed shapes;
   std::size_t allocated = 0;
   for (int round = 0; round < 2; ++round)
   {
      RandomValues random(9);
      const zqTest::AllocationCount allocations;
      for (int k = 0; k < 40; ++k)
         for (const ZqShape* A : shapes.all)
         {
            const Pose X = randomPose(random, 1.0);
            ZqContactManifold found;
            ZqShapePairCache cache;
            contact(*A, shapes.several, X, 1e-2, &cache, found);
            contact(shapes.solid, *A, X, 1e-2, nullptr, found);
            EXPECT_LE(found.count, ZqContactManifold::capacity);
         }
      allocated = allocations.count();
   }
   EXPECT_EQ(allocated, 0U);
}
