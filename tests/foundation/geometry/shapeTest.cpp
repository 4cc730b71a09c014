#include "support/randomModels.h"
#include "support/xmlSamples.h"
#include "zqManipulator/foundation/geometry/ZqAxisAlignedBoundingBox.h"
#include "zqManipulator/foundation/geometry/ZqBox.h"
#include "zqManipulator/foundation/geometry/ZqCapsule.h"
#include "zqManipulator/foundation/geometry/ZqCircularLozenge.h"
#include "zqManipulator/foundation/geometry/ZqCone.h"
#include "zqManipulator/foundation/geometry/ZqConvexHull.h"
#include "zqManipulator/foundation/geometry/ZqCylinder.h"
#include "zqManipulator/foundation/geometry/ZqEllipsoid.h"
#include "zqManipulator/foundation/geometry/ZqHalfSpace.h"
#include "zqManipulator/foundation/geometry/ZqLozenge.h"
#include "zqManipulator/foundation/geometry/ZqShapeContainer.h"
#include "zqManipulator/foundation/geometry/ZqShapeUnion.h"
#include "zqManipulator/foundation/geometry/ZqSphere.h"
#include "zqManipulator/foundation/geometry/ZqTriangleMesh.h"
#include "zqManipulator/foundation/geometry/ZqTriangularLozenge.h"

#include <array>
#include <functional>
#include <numeric>
#include <thread>

namespace
{
using zqTest::RandomValues;

/// How far a point is outside of the segment, rectangle or triangle that is swept.
ZqReal distanceToSegment(const ZqVector& a, const ZqVector& b, const ZqVector& p)
{
   const ZqVector e = b - a;
   const ZqReal t = std::clamp(e.dot(p - a) / std::max(e.magSquared(), 1e-300), 0.0, 1.0);
   return (p - a - e * t).mag();
}
ZqReal distanceToPolygon(const std::vector<ZqVector>& corners, const ZqVector& p)
{
   const ZqVector n = (corners[1] - corners[0]).cross(corners[2] - corners[0]).unitVector();
   ZqReal least = zqTest::infinity;
   bool isAbove = true;
   for (std::size_t i = 0; i < corners.size(); ++i)
   {
      const ZqVector& a = corners[i];
      const ZqVector& b = corners[(i + 1) % corners.size()];
      least = std::min(least, distanceToSegment(a, b, p));
      isAbove &= n.cross(b - a).dot(p - a) >= 0.0;
   }
   return isAbove ? std::abs(n.dot(p - corners[0])) : least;
}

/// A shape, with what its definition says: how far it reaches along a unit vector, how deep a point is in
/// it (of some measure that is zero on the surface and above it inside), and its volume.
struct Known
{
   std::unique_ptr<ZqShape> shape;
   std::function<ZqReal(const ZqVector&)> reach;
   std::function<ZqReal(const ZqVector&)> depth;
   ZqReal volume = 0.0;
   /// Whether the least sphere, capsule or box of a fit is known to be the least.
   bool isSolidOfOwnAxes = true;

   const ZqBasePhysicalExtent& extent() const
   {
      return dynamic_cast<const ZqBasePhysicalExtent&>(*shape);
   }
};

Known knownHull(RandomValues& random, bool asMesh)
{
   std::vector<ZqVector> points;
   for (int i = 0; i < 40; ++i)
      points.push_back(random.vector() + ZqVector(3.0, -2.0, 1.0));
   const auto hull = ZqConvexHull(points);
   const ZqVector middle = hull.convex()->frame.t.x * ZqVector(1.0, 0.0, 0.0) +
                           hull.convex()->frame.t.y * ZqVector(0.0, 1.0, 0.0) +
                           hull.convex()->frame.t.z * ZqVector(0.0, 0.0, 1.0);
   const auto polytope = hull.hull();
   Known known;
   known.reach = [points](const ZqVector& d)
   {
      ZqReal most = -zqTest::infinity;
      for (const ZqVector& p : points)
         most = std::max(most, d.dot(p));
      return most;
   };
   known.depth = [polytope, middle](const ZqVector& p)
   {
      ZqReal least = zqTest::infinity;
      for (const ZqHull::Face& face : polytope->faces)
         least = std::min(least, face.offset - dot(face.normal, zqConvex::vec3(p - middle)));
      return least;
   };
   known.volume = polytope->volume;
   known.isSolidOfOwnAxes = false;
   if (!asMesh)
   {
      known.shape = std::make_unique<ZqConvexHull>(hull);
      return known;
   }
   std::vector<ZqVector> vertices;
   for (const zqConvex::Vec3& v : polytope->vertices)
      vertices.push_back(zqConvex::vector(v) + middle);
   std::vector<ZqTriangleMesh::Triangle> triangles;
   for (const ZqHull::Face& face : polytope->faces)
      for (int i = 1; i + 1 < face.cornerCount; ++i)
      {
         const int* corners = &polytope->corners[face.firstCorner];
         triangles.push_back({static_cast<ZqU32>(corners[0]), static_cast<ZqU32>(corners[i]),
                              static_cast<ZqU32>(corners[i + 1])});
      }
   known.shape = std::make_unique<ZqTriangleMesh>(vertices, triangles);
   return known;
}

/// One of each class but the half-space.
std::vector<Known> someOfEach(RandomValues& random)
{
   constexpr ZqReal pi = zqTest::pi;
   std::vector<Known> all;
   const ZqVector a = random.vector();
   const ZqVector b = a + random.unitVector() * random.real(0.5, 2.0);
   const ZqVector u = (b - a).unitVector();
   const ZqReal length = (b - a).mag();
   const ZqReal r = random.real(0.1, 0.6);
   const ZqReal R = random.real(0.1, 0.9);
   const ZqCoordinateSystemTransformation X = zqTest::randomFrame(random);
   const ZqVector h(random.real(0.1, 1.0), random.real(0.1, 1.0), random.real(0.1, 1.0));
   const auto across = [u](const ZqVector& d) { return (d - u * u.dot(d)).mag(); };
   const auto height = [a, u](const ZqVector& p) { return u.dot(p - a); };
   const auto furthest = [](const std::vector<ZqVector>& points, const ZqVector& d)
   {
      ZqReal most = -zqTest::infinity;
      for (const ZqVector& p : points)
         most = std::max(most, d.dot(p));
      return most;
   };
   const ZqReal ball = 4.0 / 3.0 * pi * r * r * r;

   all.push_back({std::make_unique<ZqSphere>(a, r), [=](const ZqVector& d) { return d.dot(a) + r; },
                  [=](const ZqVector& p) { return r - (p - a).mag(); }, ball});
   all.push_back({std::make_unique<ZqCapsule>(ZqLineSegment(a, b), r),
                  [=](const ZqVector& d) {
                     return furthest({a, b}, d) + r;
                  },
                  [=](const ZqVector& p) { return r - distanceToSegment(a, b, p); },
                  ball + pi * r * r * length});
   all.push_back({std::make_unique<ZqBox>(X, h),
                  [=](const ZqVector& d)
                  {
                     const ZqVector e = X.orientation().inverse() * d;
                     return d.dot(X.translation()) + std::abs(e.x()) * h.x() +
                            std::abs(e.y()) * h.y() + std::abs(e.z()) * h.z();
                  },
                  [=](const ZqVector& p)
                  {
                     const ZqVector q = X.inverse() * p;
                     return std::min({h.x() - std::abs(q.x()), h.y() - std::abs(q.y()),
                                      h.z() - std::abs(q.z())});
                  },
                  8.0 * h.x() * h.y() * h.z()});
   const auto frustumReach = [=](ZqReal r0, ZqReal r1)
   {
      return [=](const ZqVector& d)
      { return std::max(d.dot(a) + r0 * across(d), d.dot(b) + r1 * across(d)); };
   };
   const auto frustumDepth = [=](ZqReal r0, ZqReal r1)
   {
      return [=](const ZqVector& p)
      {
         const ZqReal z = height(p);
         return std::min({z, length - z, r0 + (r1 - r0) * z / length - across(p - a)});
      };
   };
   all.push_back({std::make_unique<ZqCylinder>(ZqLineSegment(a, b), r), frustumReach(r, r),
                  frustumDepth(r, r), pi * r * r * length});
   all.push_back({std::make_unique<ZqCone>(ZqLineSegment(a, b), r, R), frustumReach(r, R),
                  frustumDepth(r, R), pi * (r * r + r * R + R * R) * length / 3.0});
   all.push_back({std::make_unique<ZqCone>(ZqLineSegment(a, b), 0.0, R), frustumReach(0.0, R),
                  frustumDepth(0.0, R), pi * R * R * length / 3.0});
   const ZqVector v = u.cross(random.unitVector()).unitVector() * R;
   const std::vector<ZqVector> rectangle = {a, b, b + v, a + v};
   all.push_back({std::make_unique<ZqLozenge>(a, b - a, v, r),
                  [=](const ZqVector& d) { return furthest(rectangle, d) + r; },
                  [=](const ZqVector& p) { return r - distanceToPolygon(rectangle, p); },
                  2.0 * length * R * r + pi * r * r * (length + R) + ball});
   all.push_back({std::make_unique<ZqCircularLozenge>(a, u * 3.0, R, r),
                  [=](const ZqVector& d) { return d.dot(a) + R * across(d) + r; },
                  [=](const ZqVector& p)
                  { return r - ZqVector(std::max(across(p - a) - R, 0.0), height(p), 0.0).mag(); },
                  pi * R * R * 2.0 * r + pi * pi * R * r * r + ball});
   const std::vector<ZqVector> triangle = {a, b, a + v * 1.5 + (b - a) * 0.3};
   const ZqReal edges = (triangle[1] - triangle[0]).mag() + (triangle[2] - triangle[1]).mag() +
                        (triangle[0] - triangle[2]).mag();
   const ZqReal area = 0.5 * (triangle[1] - a).cross(triangle[2] - a).mag();
   all.push_back({std::make_unique<ZqTriangularLozenge>(a, triangle[1] - a, triangle[2] - a, r),
                  [=](const ZqVector& d) { return furthest(triangle, d) + r; },
                  [=](const ZqVector& p) { return r - distanceToPolygon(triangle, p); },
                  2.0 * area * r + 0.5 * pi * r * r * edges + ball, false});
   all.push_back({std::make_unique<ZqEllipsoid>(h.x(), h.y(), h.z(), X),
                  [=](const ZqVector& d)
                  {
                     const ZqVector e = X.orientation().inverse() * d;
                     return d.dot(X.translation()) +
                            ZqVector(e.x() * h.x(), e.y() * h.y(), e.z() * h.z()).mag();
                  },
                  [=](const ZqVector& p)
                  {
                     const ZqVector q = X.inverse() * p;
                     return 1.0 - ZqVector(q.x() / h.x(), q.y() / h.y(), q.z() / h.z()).mag();
                  },
                  4.0 / 3.0 * pi * h.x() * h.y() * h.z()});
   all.push_back(knownHull(random, false));
   all.push_back(knownHull(random, true));

   ZqShapeUnion whole;
   ZqShapeUnion inner;
   Known known;
   std::vector<std::function<ZqReal(const ZqVector&)>> reaches;
   std::vector<std::function<ZqReal(const ZqVector&)>> depths;
   for (std::size_t i : {1U, 4U, 9U, 11U})
   {
      (i < 5 ? whole : inner).addShapeToUnion(*all[i].shape);
      reaches.push_back(all[i].reach);
      depths.push_back(all[i].depth);
      known.volume += all[i].volume;
   }
   whole.addShapeToUnion(inner);
   const auto most = [](const auto& functions)
   {
      return [functions](const ZqVector& x)
      {
         ZqReal value = -zqTest::infinity;
         for (const auto& function : functions)
            value = std::max(value, function(x));
         return value;
      };
   };
   known.shape = std::make_unique<ZqShapeUnion>(whole);
   known.reach = most(reaches);
   known.depth = most(depths);
   known.isSolidOfOwnAxes = false;
   all.push_back(std::move(known));
   return all;
}

TEST(Shape, ReachesAndHoldsWhatItsDefinitionSays)
{
   constexpr ZqReal tolerance = 1e-14 * 16.0; // of numbers of a few metres
   RandomValues random(81);
   for (int round = 0; round < 30; ++round)
      for (const Known& known : someOfEach(random))
      {
         const ZqShape& shape = *known.shape;
         SCOPED_TRACE(testing::Message() << shape.token().token() << ", " << round);
         for (int i = 0; i < 50; ++i)
         {
            const ZqVector d = random.unitVector();
            const ZqVector p = known.extent().supportPoint(d * random.real(1e-3, 1e3));
            EXPECT_NEAR(d.dot(p), known.reach(d), tolerance);
            EXPECT_NEAR(known.depth(p), 0.0, 8.0 * tolerance);
         }
         const ZqCoordinateSystemTransformation X = zqTest::randomFrame(random);
         const ZqAxisAlignedBoundingBox box = shape.axisAlignedBoundingBox(X);
         for (std::size_t i = 0; i < 3; ++i)
         {
            ZqVector axis;
            axis[i] = 1.0;
            const ZqVector d = X.orientation().inverse() * axis;
            const ZqReal upper = X.translation()[i] + known.reach(d);
            const ZqReal lower = X.translation()[i] - known.reach(-d);
            // Boxes of parts are rounded outward to single precision.
            const ZqReal slack = shape.convex() != nullptr ? tolerance : 1e-5;
            EXPECT_GE(box.upper()[i], upper - tolerance);
            EXPECT_LE(box.lower()[i], lower + tolerance);
            if (shape.convex() != nullptr)
            {
               EXPECT_LE(box.upper()[i], upper + slack);
               EXPECT_GE(box.lower()[i], lower - slack);
            }
         }
         EXPECT_NEAR(shape.volume(), known.volume, 1e-13 * (1.0 + known.volume));
      }
}

/// Moved, enlarged and rounded shapes are those that the definition makes of moved and enlarged points.
TEST(Shape, MovesAndGrowsAsItsPointsDo)
{
   constexpr ZqReal tolerance = 1e-13;
   RandomValues random(82);
   for (int round = 0; round < 10; ++round)
      for (const Known& known : someOfEach(random))
      {
         SCOPED_TRACE(testing::Message() << known.shape->token().token() << ", " << round);
         const ZqCoordinateSystemTransformation X = zqTest::randomFrame(random);
         const ZqReal scale = random.real(0.2, 5.0);
         const std::unique_ptr<ZqShape> moved(known.shape->clonedShape());
         moved->addBoundingVolume(ZqShape::SphereShape);
         moved->transformBy(X);
         moved->scaleBy(scale);
         const auto& extent = dynamic_cast<const ZqBasePhysicalExtent&>(*moved);
         const auto& volume = dynamic_cast<const ZqBasePhysicalExtent&>(*moved->coarserVolume());
         for (int i = 0; i < 20; ++i)
         {
            const ZqVector d = random.unitVector();
            const ZqReal reach =
               scale * (d.dot(X.translation()) + known.reach(X.orientation().inverse() * d));
            EXPECT_NEAR(d.dot(extent.supportPoint(d)), reach, scale * tolerance);
            EXPECT_GE(d.dot(volume.supportPoint(d)), reach - scale * tolerance);
         }
         const std::unique_ptr<ZqShape> rounded(known.shape->clonedShape());
         rounded->truncateValues(1e-3);
         const auto& near = dynamic_cast<const ZqBasePhysicalExtent&>(*rounded);
         for (int i = 0; i < 20; ++i)
         {
            const ZqVector d = random.unitVector();
            // Two ends and two lengths, each off by half a step along each axis at most.
            EXPECT_NEAR(d.dot(near.supportPoint(d)), known.reach(d), 4.0 * 1e-3);
         }
      }
}

/// Nobody has asked for the parts that copies share: threads ask at once, while another copy changes.
TEST(Shape, CopiesOfAUnionAreAskedAndChangedAtOnce)
{
   RandomValues random(86);
   for (int round = 0; round < 50; ++round)
   {
      ZqShapeUnion whole;
      for (int i = 0; i < 40; ++i)
         whole.addShapeToUnion(ZqSphere(random.vector(), 0.1));
      const ZqVector d = random.unitVector();
      ZqReal reach = -zqTest::infinity;
      for (ZqU32 i = 0; i < whole.memberCount(); ++i)
         reach = std::max(reach, d.dot(whole.member(i)->convex()->supportPoint(d)));
      ZqShapeUnion asked = whole;
      ZqShapeUnion moved = whole;
      ZqShapeUnion edited = whole;
      std::array<ZqReal, 4> reaches{};
      {
         const std::jthread first([&] { reaches[0] = d.dot(whole.supportPoint(d)); });
         const std::jthread second([&] { reaches[1] = d.dot(asked.supportPoint(d)); });
         moved.transformBy(ZqCoordinateSystemTransformation(d));
         reaches[2] = d.dot(moved.supportPoint(d)) - 1.0;
         for (ZqU32 i = 0; i < edited.ownMemberCount(); ++i)
            edited.ownMember(i).transformBy(ZqCoordinateSystemTransformation(d * 2.0));
         edited.membersChanged();
         reaches[3] = d.dot(edited.supportPoint(d)) - 2.0;
      }
      for (const ZqReal found : reaches)
         EXPECT_NEAR(found, reach, 1e-14);
   }
}

TEST(Shape, SegmentsEnterWhereTheSurfaceIs)
{
   constexpr ZqReal tolerance = 1e-9; // of rays that graze; else rounding
   RandomValues random(83);
   int hits = 0;
   for (int round = 0; round < 30; ++round)
      for (const Known& known : someOfEach(random))
      {
         SCOPED_TRACE(testing::Message() << known.shape->token().token() << ", " << round);
         for (int i = 0; i < 30; ++i)
         {
            const ZqVector target =
               known.extent().supportPoint(random.unitVector()) + random.vector(0.3);
            const ZqVector from = target + random.unitVector() * random.real(0.0, 4.0);
            const ZqVector to = target + (target - from) * random.real(0.0, 2.0);
            ZqVector entry;
            const bool isHit = known.shape->intersectSegment(ZqLineSegment(from, to), entry);
            const ZqReal end = isHit ? (entry - from).mag() : (to - from).mag();
            const ZqVector along = (to - from).unitVector();
            // Nothing of the segment before the entry is inside.
            for (int k = 0; k < 100 && end > 0.0; ++k)
               EXPECT_LE(known.depth(from + along * (end * k / 100.0)), tolerance);
            if (!isHit)
               continue;
            ++hits;
            EXPECT_LE(distanceToSegment(from, to, entry), tolerance);
            EXPECT_TRUE(known.depth(from) > 0.0 ? entry == from
                                                : std::abs(known.depth(entry)) <= tolerance)
               << known.depth(from) << ' ' << known.depth(entry);
         }
      }
   EXPECT_GT(hits, 2000);
   ZqVector entry;
   const ZqHalfSpace floor(ZqPlane({0.0, 0.0, 2.0}, {0.0, 0.0, 7.0}));
   EXPECT_TRUE(floor.intersectSegment({{1.0, 1.0, 4.0}, {3.0, 1.0, 0.0}}, entry));
   EXPECT_EQ(entry, ZqVector(2.0, 1.0, 2.0));
   EXPECT_FALSE(floor.intersectSegment({{1.0, 1.0, 4.0}, {3.0, 1.0, 2.5}}, entry));
   EXPECT_FALSE(ZqSphere().intersectSegment({{zqTest::nan, 0.0, 0.0}, {}}, entry));
}

TEST(Shape, BoundingVolumesHoldItClosely)
{
   RandomValues random(84);
   for (int round = 0; round < 6; ++round)
      for (const Known& known : someOfEach(random))
         for (const ZqU32 type : {ZqShape::BoxShape, ZqShape::CapsuleShape, ZqShape::SphereShape,
                                  ZqShape::ConvexHullShape})
         {
            SCOPED_TRACE(testing::Message()
                         << known.shape->token().token() << ", " << type << ", " << round);
            ASSERT_TRUE(known.shape->addBoundingVolume(type));
            const ZqShape& coarsest = known.shape->coarsestVolume();
            ASSERT_EQ(coarsest.shapeType(), type);
            const auto& volume = dynamic_cast<const ZqBasePhysicalExtent&>(coarsest);
            ZqReal closest = zqTest::infinity;
            for (int i = 0; i < 400; ++i)
            {
               const ZqVector d = random.unitVector();
               const ZqReal room = d.dot(volume.supportPoint(d)) - known.reach(d);
               EXPECT_GE(room, type == ZqShape::ConvexHullShape ? -1e-14 : 0.0);
               closest = std::min(closest, room);
            }
            EXPECT_LT(closest, 0.2);
            if (const auto* sphere = dynamic_cast<const ZqSphere*>(&coarsest))
            {
               // No ball of the same size elsewhere holds the shape, nor a smaller one here, but for the
               // polygons that stand for circles and ellipses.
               const ZqReal slack = known.shape->convex() != nullptr ? 1e-9 : 0.03;
               for (int i = 0; i < 20; ++i)
               {
                  const ZqVector center =
                     sphere->center() + random.unitVector() * (0.3 * sphere->radius());
                  ZqReal out = -zqTest::infinity;
                  for (int k = 0; k < 3000; ++k)
                  {
                     const ZqVector d = random.unitVector();
                     out = std::max(out, known.reach(d) - d.dot(center));
                  }
                  EXPECT_GT(out, sphere->radius() * (1.0 - slack));
               }
            }
         }
   ZqHalfSpace floor;
   ZqTriangleMesh nothing;
   for (ZqShape* shape : std::initializer_list<ZqShape*>{&floor, &nothing})
      for (ZqU32 type = 0; type < 15; ++type)
         EXPECT_FALSE(shape->addBoundingVolume(type));
}
} // namespace
