#include "benchmarks/proximityLibrary.h"
#include "support/randomValues.h"

#include "zqManipulator/foundation/proximity/ZqConvexProximity.h"

#include <gtest/gtest.h>

using namespace zqBenchmark;
using namespace zqConvex;

namespace
{
struct PeerBody
{
   const char* name;
   Solid solid;
   ZqConvex ours;
};

std::vector<PeerBody> peerBodies()
{
   const ZqVector low(0.0, 0.0, -0.5);
   const ZqVector high(0.0, 0.0, 0.5);
   std::vector<PeerBody> bodies = {
      {"sphere", {}, ZqConvex::sphere(ZqVector(), 0.4)},
      {"capsule", {}, ZqConvex::capsule(low, high, 0.2)},
      {"box", {}, ZqConvex::box(ZqCoordinateSystemTransformation(), {0.5, 0.4, 0.3})},
      {"cylinder", {}, ZqConvex::frustum(low, high, 0.4, 0.4)},
      {"hull", {}, {}}};
   for (std::size_t i = 0; i < bodies.size(); ++i)
   {
      Solid& solid = bodies[i].solid;
      solid.kind = static_cast<Solid::Kind>(i);
      solid.radius = i == 1 ? 0.2 : 0.4;
      solid.halfLength = 0.5;
      solid.halfExtents = {0.5, 0.4, 0.3};
   }
   zqTest::RandomValues random(4);
   std::vector<Vec3> points;
   for (int i = 0; i < 40; ++i)
      points.push_back(vec3(random.unitVector()) * 0.5);
   const auto hull = ZqHull::of(points);
   PeerBody& last = bodies.back();
   last.ours = ZqConvex::polytope(hull, ZqVector());
   for (const Vec3& v : hull->vertices)
      last.solid.vertices.emplace_back(v.x, v.y, v.z);
   for (const ZqHull::Face& face : hull->faces)
   {
      const auto first = hull->corners.begin() + face.firstCorner;
      last.solid.faces.emplace_back(first, first + face.cornerCount);
   }
   return bodies;
}
} // namespace

// The peer stops at a gain of 1e-6, which on bodies of this size leaves it off by some 1e-4.
TEST(PeerDistance, FclAgreesWithinItsTolerance)
{
   constexpr ZqReal tolerance = 1e-3;
   constexpr int count = 200;
   const auto peer = std::move(fclPeers().front());
   const auto bodies = peerBodies();
   zqTest::RandomValues random(9);
   for (const PeerBody& A : bodies)
      for (const PeerBody& B : bodies)
      {
         SCOPED_TRACE(std::string(A.name) + " and " + B.name);
         Placements placements;
         std::vector<Pose> poses;
         for (int i = 0; i < count; ++i)
         {
            const ZqVector t = random.vector(1.5);
            poses.push_back(pose(ZqCoordinateSystemTransformation(t, random.orientation())));
            const Pose& X = poses.back();
            Eigen::Isometry3d Y = Eigen::Isometry3d::Identity();
            for (int j = 0; j < 3; ++j)
               Y.linear().col(j) << X.R.column(j).x, X.R.column(j).y, X.R.column(j).z;
            Y.translation() << t.x(), t.y(), t.z();
            placements.push_back(Y);
         }
         peer->take(A.solid, B.solid, placements, {});
         for (int i = 0; i < count; ++i)
         {
            ZqSeparation separation;
            const Pose& X = poses[static_cast<std::size_t>(i)];
            distance(A.ours, B.ours, X, nullptr, separation);
            if (separation.distance > tolerance)
            {
               EXPECT_NEAR(peer->distance(i), separation.distance, tolerance);
            }
            if (std::abs(separation.distance) > tolerance)
            {
               EXPECT_EQ(peer->overlap(i), separation.distance < 0.0);
               EXPECT_EQ(isWithin(A.ours, B.ours, X, 0.0, nullptr), separation.distance < 0.0);
            }
         }
      }
}
