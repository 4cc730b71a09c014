#include "support/randomValues.h"
#include "zqManipulator/foundation/geometry/ZqHull.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace
{
using zqConvex::Vec3;
using zqTest::RandomValues;
using Points = std::vector<Vec3>;

Vec3 randomPoint(RandomValues& random)
{
   return zqConvex::vec3(random.vector());
}

/// Sets of points that hulls fall over.
struct Cloud
{
   const char* name;
   Points (*make)(RandomValues& random);
};
template <int count>
Points inCube(RandomValues& random)
{
   Points points(count);
   for (Vec3& p : points)
      p = randomPoint(random);
   return points;
}
template <int count>
Points onSphere(RandomValues& random)
{
   Points points(count);
   for (Vec3& p : points)
      p = zqConvex::vec3(random.unitVector());
   return points;
}
template <int nx, int ny, int nz>
Points lattice(RandomValues& random)
{
   // Turned, so that rounding moves points out of their planes.
   const zqConvex::Pose X = zqConvex::pose({ZqVector(), random.orientation()});
   Points points;
   for (int i = 0; i < nx; ++i)
      for (int j = 0; j < ny; ++j)
         for (int k = 0; k < nz; ++k)
            points.push_back(X * Vec3{0.1 * i - 0.2, 0.3 * j - 0.5, 0.7 * k - 0.9});
   return points;
}
Points prism(RandomValues& random)
{
   const zqConvex::Pose X = zqConvex::pose({ZqVector(), random.orientation()});
   Points points;
   for (int i = 0; i < 120; ++i)
   {
      const ZqReal angle = 2.0 * zqTest::pi * (i % 60) / 60;
      points.push_back(X * Vec3{std::cos(angle), std::sin(angle), i < 60 ? -0.3 : 0.4});
   }
   return points;
}
Points twiceEach(RandomValues& random)
{
   Points points = inCube<40>(random);
   const Points copy = points;
   points.insert(points.end(), copy.begin(), copy.end());
   for (const Vec3& p : copy) // and once more, apart by rounding
      points.push_back(p * (1.0 + zqTest::epsilon));
   return points;
}
template <int thin>
Points stretched(RandomValues& random)
{
   // 1 : 1e-4 : 10^-thin
   const zqConvex::Pose X = zqConvex::pose({ZqVector(), random.orientation()});
   Points points = inCube<60>(random);
   for (Vec3& p : points)
      p = X * Vec3{p.x, 1e-4 * p.y, std::pow(10.0, -thin) * p.z};
   return points;
}

constexpr Cloud clouds[] = {{"tetrahedron", inCube<4>},
                            {"few", inCube<9>},
                            {"cube", inCube<300>},
                            {"sphere", onSphere<700>},
                            {"lattice", lattice<5, 5, 5>},
                            {"bar", lattice<2, 2, 9>},
                            {"prism", prism},
                            {"copies", twiceEach},
                            {"slab", stretched<4>},
                            {"needle", stretched<9>},
                            {"needle near rounding", stretched<11>},
                            {"needle of rounding", stretched<13>}};

ZqReal sizeOf(const Points& points)
{
   ZqReal size = 0.0;
   for (const Vec3& p : points)
      size = std::max(size, norm(p - points[0]));
   return size;
}
ZqReal mostAlong(const Vec3& d, const Points& points)
{
   ZqReal most = -zqTest::infinity;
   for (const Vec3& p : points)
      most = std::max(most, dot(d, p));
   return most;
}

TEST(Hull, HoldsItsPointsAndAnswersForTheFurthest)
{
   RandomValues random(71);
   for (const Cloud& cloud : clouds)
      for (const ZqReal scale : {1.0, 1e-3, 1e4})
         for (int round = 0; round < 4; ++round)
         {
            SCOPED_TRACE(testing::Message() << cloud.name << ", " << scale << ", " << round);
            Points points = cloud.make(random);
            for (Vec3& p : points)
               p = p * scale;
            const auto hull = ZqHull::of(points);
            // Rounding of coordinates that are about as large as the set is long.
            const ZqReal tolerance = 1e-12 * sizeOf(points);
            ASSERT_GE(hull->dimension, 2);
            for (const ZqHull::Face& face : hull->faces)
            {
               EXPECT_NEAR(norm(face.normal), 1.0, 1e-14);
               EXPECT_LE(mostAlong(face.normal, points), face.offset + tolerance);
               for (int i = 0; i < face.cornerCount; ++i)
                  EXPECT_NEAR(dot(face.normal, hull->vertices[hull->corners[face.firstCorner + i]]),
                              face.offset, 300.0 * tolerance);
            }
            int at = 0;
            for (int k = 0; k < 300; ++k)
            {
               const Vec3 d = unit(randomPoint(random));
               const Vec3 p = hull->support(d, at);
               EXPECT_NEAR(dot(d, p), mostAlong(d, points), tolerance);
               EXPECT_EQ(p, hull->vertices[at]);
               at =
                  static_cast<int>(random.index(0, static_cast<ZqU32>(hull->vertices.size()) - 1));
            }
         }
}

/// Euler's formula for the faces with their rims, and the two ways through each edge.
TEST(Hull, FacesCloseTheSurface)
{
   RandomValues random(72);
   for (const Cloud& cloud : clouds)
      for (int round = 0; round < 10; ++round)
      {
         SCOPED_TRACE(testing::Message() << cloud.name << ", " << round);
         const auto hull = ZqHull::of(cloud.make(random));
         std::vector<std::pair<int, int>> edges;
         std::vector<int> onRims;
         for (std::size_t f = 0; f < hull->faces.size(); ++f)
         {
            const ZqHull::Face& face = hull->faces[f];
            for (int i = 0; i < face.cornerCount; ++i)
            {
               const int from = hull->corners[face.firstCorner + i];
               const int to =
                  hull->corners[face.firstCorner + (i + 1 == face.cornerCount ? 0 : i + 1)];
               edges.emplace_back(from, to);
               onRims.push_back(from);
               const auto first = hull->facesAt.begin() + hull->firstFace[from];
               const auto last = hull->facesAt.begin() + hull->firstFace[from + 1];
               EXPECT_NE(std::find(first, last, static_cast<int>(f)), last);
            }
         }
         std::sort(onRims.begin(), onRims.end());
         onRims.erase(std::unique(onRims.begin(), onRims.end()), onRims.end());
         // A polygon has two faces, and no solid's fewer edges.
         EXPECT_EQ(onRims.size() + hull->faces.size(), edges.size() / 2 + 2);
         std::sort(edges.begin(), edges.end());
         for (const auto& [from, to] : edges)
            EXPECT_TRUE(std::binary_search(edges.begin(), edges.end(), std::pair(to, from)));
         for (int v = 0; v < static_cast<int>(hull->vertices.size()); ++v)
            for (int k = hull->firstNeighbour[v]; k < hull->firstNeighbour[v + 1]; ++k)
            {
               const int w = hull->neighbours[k];
               const auto first = hull->neighbours.begin() + hull->firstNeighbour[w];
               const auto last = hull->neighbours.begin() + hull->firstNeighbour[w + 1];
               EXPECT_NE(std::find(first, last, v), last);
            }
      }
}

TEST(Hull, JoinsWhatLiesInOnePlane)
{
   RandomValues random(73);
   for (int round = 0; round < 20; ++round)
   {
      const auto box = ZqHull::of(lattice<5, 5, 5>(random));
      EXPECT_EQ(box->faces.size(), 6U);
      EXPECT_EQ(box->vertices.size(), 8U);
      EXPECT_NEAR(box->volume, 0.4 * 1.2 * 2.8, 1e-14);
      const auto round60 = ZqHull::of(prism(random));
      EXPECT_EQ(round60->faces.size(), 62U);
      EXPECT_EQ(round60->vertices.size(), 120U);
      EXPECT_NEAR(round60->volume, 0.7 * 30.0 * std::sin(2.0 * zqTest::pi / 60), 1e-13);
   }
}

TEST(Hull, OfPointsInAPlaneOnALineAndInOnePlace)
{
   RandomValues random(74);
   EXPECT_EQ(ZqHull::of({})->vertices, Points({{0.0, 0.0, 0.0}}));
   const Vec3 p{0.3, -0.2, 0.7};
   EXPECT_EQ(ZqHull::of(Points{p, p, p})->vertices, Points{p});
   for (int round = 0; round < 50; ++round)
   {
      const Vec3 u = unit(randomPoint(random));
      Points line = {p + u * 2.0, p - u * 3.0};
      for (int i = 0; i < 20; ++i)
         line.insert(line.begin(), p + u * random.real(-3.0, 2.0));
      const auto segment = ZqHull::of(line);
      EXPECT_EQ(segment->dimension, 1);
      EXPECT_EQ(segment->vertices, Points({line[20], line[21]}));
      const auto polygon = ZqHull::of(lattice<6, 4, 1>(random));
      EXPECT_EQ(polygon->dimension, 2);
      EXPECT_EQ(polygon->vertices.size(), 4U);
      EXPECT_EQ(polygon->faces.size(), 2U);
      EXPECT_EQ(polygon->faces[0].normal, -polygon->faces[1].normal);
      EXPECT_EQ(polygon->volume, 0.0);
   }
}

} // namespace
