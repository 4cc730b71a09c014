#include "support/logCapture.h"
#include "support/randomModels.h"
#include "zqManipulator/dynamics/bodies/ZqExactSolid.h"
#include "zqManipulator/foundation/geometry/ZqBox.h"
#include "zqManipulator/foundation/geometry/ZqCapsule.h"
#include "zqManipulator/foundation/geometry/ZqCircularLozenge.h"
#include "zqManipulator/foundation/geometry/ZqCone.h"
#include "zqManipulator/foundation/geometry/ZqConvexHull.h"
#include "zqManipulator/foundation/geometry/ZqCylinder.h"
#include "zqManipulator/foundation/geometry/ZqEllipsoid.h"
#include "zqManipulator/foundation/geometry/ZqHalfSpace.h"
#include "zqManipulator/foundation/geometry/ZqLozenge.h"
#include "zqManipulator/foundation/geometry/ZqShapeUnion.h"
#include "zqManipulator/foundation/geometry/ZqSphere.h"
#include "zqManipulator/foundation/geometry/ZqTriangleMesh.h"
#include "zqManipulator/foundation/geometry/ZqTriangularLozenge.h"

#include <boost/math/quadrature/gauss.hpp>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <memory>

namespace
{
using Mass = ZqRigidBodyMassProperties;
using zqTest::epsilon;
using zqTest::pi;

struct Node
{
   ZqReal at, weight;
};
/// Gauss and Legendre's of [0, 1].
const std::vector<Node>& gaussNodes()
{
   static const std::vector<Node> nodes = []
   {
      using Rule = boost::math::quadrature::gauss<ZqReal, 20>;
      std::vector<Node> made;
      for (std::size_t i = 0; i < Rule::abscissa().size(); ++i)
         for (const ZqReal sign : {-0.5, 0.5})
            made.push_back({0.5 + sign * Rule::abscissa()[i], 0.5 * Rule::weights()[i]});
      return made;
   }();
   return nodes;
}

/// The surface of a convex body, as smooth maps of the unit square.
struct Surface
{
   using Patch = std::function<ZqVector(ZqReal, ZqReal)>;
   std::vector<Patch> patches;

   void addTriangle(const ZqVector& a, const ZqVector& b, const ZqVector& c)
   {
      patches.push_back([=](ZqReal u, ZqReal v) { return a + (b - a) * u + (c - b) * (u * v); });
   }
   /// A line in the plane of x and z, or an arc of a circle, turned about z and stretched.
   void addTurned(const ZqVector& from, const ZqVector& to, ZqReal radius = 0.0,
                  const ZqVector& stretch = {1.0, 1.0, 1.0})
   {
      patches.push_back(
         [=](ZqReal u, ZqReal v)
         {
            const ZqReal psi = pi * (u - 0.5);
            const ZqVector round(radius * std::cos(psi), 0.0, radius * std::sin(psi));
            const ZqVector p =
               ZqOrientation::zRotation(2.0 * pi * v) * (from + (to - from) * u + round);
            return ZqVector(stretch.x() * p.x(), stretch.y() * p.y(), stretch.z() * p.z());
         });
   }
   /// A polygon in the plane of x and y, counter-clockwise, swept by a ball.
   void addSwept(const std::vector<ZqVector>& corners, ZqReal r)
   {
      const ZqVector z = ZqVector::zVector(1.0);
      const auto round = [=](const ZqVector& n, ZqReal v)
      { return n * (r * std::cos(pi * (v - 0.5))) + z * (r * std::sin(pi * (v - 0.5))); };
      const auto corner = [&](std::size_t i) { return corners[i % corners.size()]; };
      const auto outward = [&](std::size_t i)
      { return (corner(i + 1) - corner(i)).cross(z).unitVector(); };
      for (std::size_t i = 0; i < corners.size(); ++i)
      {
         const ZqVector a = corner(i);
         const ZqVector b = corner(i + 1);
         const ZqVector m = outward(i);
         const ZqReal turn =
            std::atan2(std::abs(m.cross(outward(i + 1)).z()), m.dot(outward(i + 1)));
         patches.push_back([=](ZqReal u, ZqReal v) { return a + (b - a) * u + round(m, v); });
         patches.push_back([=](ZqReal u, ZqReal v)
                           { return b + round(ZqOrientation::zRotation(turn * u) * m, v); });
         for (const ZqReal side : {-r, r})
            addTriangle(corner(0) + z * side, a + z * side, b + z * side);
      }
   }

   /// The body of density 1, placed by X: of the cones from a point inside to the surface, with tangents by
   /// differences.
   Mass body(const ZqCoordinateSystemTransformation& X) const
   {
      const std::vector<Node>& nodes = gaussNodes();
      std::vector<std::pair<ZqVector, ZqVector>> elements; // places and areas
      ZqVector middle;
      for (const Patch& patch : patches)
         for (const auto& [u, wu] : nodes)
            for (const auto& [v, wv] : nodes)
            {
               const auto tangent = [&, u = u, v = v](ZqReal du, ZqReal dv)
               {
                  constexpr ZqReal h = 3e-4;
                  const auto across = [&](ZqReal s)
                  { return patch(u + s * du, v + s * dv) - patch(u - s * du, v - s * dv); };
                  return (across(h) * 8.0 - across(2.0 * h)) / (12.0 * h);
               };
               elements.emplace_back(patch(u, v),
                                     tangent(1.0, 0.0).cross(tangent(0.0, 1.0)) * (wu * wv));
               middle += elements.back().first;
            }
      middle /= static_cast<ZqReal>(elements.size());
      ZqReal V = 0.0;
      ZqVector h;
      ZqSpatialMatrix I;
      for (const auto& [place, area] : elements)
      {
         const ZqVector r = place - middle;
         const ZqReal w = std::abs(r.dot(area));
         const ZqSpatialMatrix P = ZqSpatialMatrix::crossProductMatrix(r);
         V += w / 3.0;
         h += r * (w / 4.0);
         I -= P * P * (w / 5.0);
      }
      return Mass(V, h, ZqSecondMoment::fromMatrix(I)).transformBy(middle).transformBy(X);
   }
};

struct Sample
{
   std::unique_ptr<ZqShape> shape;
   Surface surface;
};

/// Its triangles make the surface, too.
ZqTriangleMesh meshOf(const ZqConvexHull& hull, bool isInsideOut, Surface& surface)
{
   const ZqHull& made = *hull.hull();
   std::vector<ZqVector> vertices;
   for (const zqConvex::Vec3& vertex : made.vertices)
      vertices.push_back(zqConvex::vector(hull.convex()->frame * vertex));
   std::vector<ZqTriangleMesh::Triangle> triangles;
   for (const ZqHull::Face& face : made.faces)
      for (int i = 1; i + 1 < face.cornerCount; ++i)
      {
         const int* const corners = &made.corners[static_cast<std::size_t>(face.firstCorner)];
         const auto a = static_cast<ZqU32>(corners[0]);
         const auto b = static_cast<ZqU32>(corners[isInsideOut ? i + 1 : i]);
         const auto c = static_cast<ZqU32>(corners[isInsideOut ? i : i + 1]);
         triangles.push_back({a, b, c});
         surface.addTriangle(vertices[a], vertices[b], vertices[c]);
      }
   return {vertices, triangles};
}

constexpr ZqU32 sampleKinds = 12;

/// A shape of each kind in turn, of sizes from thin to round.
Sample makeSample(zqTest::RandomValues& random, ZqU32 kind)
{
   const auto size = [&] { return std::exp(random.real(-4.0, 0.5)); };
   const ZqReal r = size();
   const ZqReal s = size();
   const ZqVector start = random.vector();
   const ZqVector flatStart(start.x(), start.y(), 0.0);
   const ZqVector e(size(), 0.0, 0.0);
   const ZqVector f(kind == 3 ? random.real() : 0.0, size(), 0.0);
   const ZqVector low = ZqVector::zVector(start.z());
   const ZqVector high = ZqVector::zVector(start.z() + size());
   const ZqVector stretch(r, s, e.x());

   Sample sample;
   Surface& surface = sample.surface;
   const auto take = [&](const auto& shape)
   { sample.shape = std::make_unique<std::decay_t<decltype(shape)>>(shape); };
   switch (kind)
   {
   case 0:
      take(ZqSphere(low, r));
      surface.addTurned(low, low, r);
      break;
   case 1:
      take(ZqCapsule({flatStart, flatStart + f}, r));
      surface.addSwept({flatStart, flatStart + f}, r);
      break;
   case 2:
      take(ZqLozenge(flatStart, e, f, r));
      surface.addSwept({flatStart, flatStart + e, flatStart + e + f, flatStart + f}, r);
      break;
   case 3:
      take(ZqTriangularLozenge(flatStart, e, f, r));
      surface.addSwept({flatStart, flatStart + e, flatStart + f}, r);
      break;
   case 4:
      take(ZqCircularLozenge(low, ZqVector::zVector(2.0), s, r));
      surface.addTurned(low + ZqVector::xVector(s), low + ZqVector::xVector(s), r);
      for (const ZqReal z : {-r, r})
         surface.addTurned(low + ZqVector::zVector(z), low + ZqVector(s, 0.0, z));
      break;
   case 5:
   case 6:
   case 7:
   {
      const ZqReal upper = kind == 5 ? r : kind == 6 ? 0.0 : s;
      if (kind == 5)
         take(ZqCylinder({low, high}, r));
      else
         take(ZqCone({low, high}, r, upper));
      surface.addTurned(low, low + ZqVector::xVector(r));
      surface.addTurned(low + ZqVector::xVector(r), high + ZqVector::xVector(upper));
      surface.addTurned(high, high + ZqVector::xVector(upper));
      break;
   }
   case 8:
      take(ZqEllipsoid(stretch.x(), stretch.y(), stretch.z(), {}));
      surface.addTurned({}, {}, 1.0, stretch);
      break;
   default:
   {
      std::vector<ZqVector> points;
      for (ZqU32 i = 0; i < (kind == 9 ? 8u : 20u); ++i)
      {
         const ZqVector corner(i & 1 ? 1.0 : -1.0, i & 2 ? 1.0 : -1.0, i & 4 ? 1.0 : -1.0);
         const ZqVector p = kind == 9 ? corner : random.unitVector();
         points.push_back({stretch.x() * p.x(), stretch.y() * p.y(), stretch.z() * p.z()});
      }
      const ZqConvexHull hull(points);
      const ZqTriangleMesh mesh = meshOf(hull, random.real() > 0.0, surface);
      if (kind == 9)
         take(ZqBox({}, stretch));
      else if (kind == 10)
         take(hull);
      else
         take(mesh);
   }
   }
   return sample;
}

::testing::AssertionResult agree(const Mass& a, const Mass& b, ZqReal limit)
{
   // Moments relative to what a body of this size and place has.
   const ZqReal trace = b.secondMoment().xx() + b.secondMoment().yy() + b.secondMoment().zz();
   const ZqReal scale = std::max(b.mass() + 0.0, trace);
   if (a.approxEq(b, limit * scale))
      return ::testing::AssertionSuccess();
   return ::testing::AssertionFailure() << a << " is not " << b;
}

TEST(ExactSolids, AreTheIntegralsOverTheSurface)
{
   zqTest::RandomValues random(17);
   ZqShapeUnion all;
   Mass sum;
   for (ZqU32 i = 0; i < 20 * sampleKinds; ++i)
   {
      SCOPED_TRACE(i);
      const Sample sample = makeSample(random, i % sampleKinds);
      const auto X = zqTest::randomFrame(random);
      const Mass expected = sample.surface.body(X);
      sample.shape->transformBy(X);
      const ZqExactSolid solid(*sample.shape);
      ASSERT_TRUE(solid.isSolid());
      // Tangents by differences are good for some 1e-11.
      EXPECT_NEAR(solid.volume(), expected.mass(), 1e-10 * expected.mass());
      EXPECT_NEAR(solid.volume(), std::abs(sample.shape->volume()), 1e-13 * solid.volume());
      EXPECT_TRUE(agree(solid.ofDensity(1.0), expected, 1e-10));
      Mass centered = expected;
      centered.transformBy(-solid.center());
      Mass own = solid.ofMass(expected.mass());
      own.transformBy(-solid.center());
      EXPECT_TRUE(agree(own, centered, 1e-9)) << "about the center";
      all.addShapeToUnion(*sample.shape);
      sum += expected;
   }
   EXPECT_TRUE(agree(ZqExactSolid(all).ofDensity(1.0), sum, 1e-10));
   // Nothing is lost for bodies that are far away.
   const ZqExactSolid near(all);
   all.transformBy(ZqVector(3e5, -1e6, 2e5));
   EXPECT_TRUE(ZqExactSolid(all).specificMoment().approxEq(near.specificMoment(), 1e-8));
}

TEST(ExactSolids, AreNoneWithoutAKnownVolume)
{
   const ZqVector x(1.0, 0.0, 0.0);
   const ZqVector y(0.0, 1.0, 0.0);
   ZqShapeUnion withFloor;
   withFloor.addShapeToUnion(ZqSphere(x, 1.0));
   EXPECT_TRUE(ZqExactSolid(withFloor).isSolid());
   withFloor.addShapeToUnion(ZqHalfSpace());
   const ZqTriangleMesh open({{}, x, y, x + y}, {{0, 1, 2}, {0, 2, 3}, {0, 3, 1}});
   const ZqSphere point;
   const ZqConvexHull flat({{}, x, y, x + y});
   const std::initializer_list<const ZqShape*> shapes{nullptr, &withFloor, &open, &flat, &point};
   for (const ZqShape* shape : shapes)
   {
      const ZqExactSolid solid(shape);
      EXPECT_FALSE(solid.isSolid());
      EXPECT_EQ(solid.volume(), 0.0);
      EXPECT_EQ(solid.ofMass(2.0), Mass::nullObject());
      EXPECT_EQ(solid.ofDensity(2.0), Mass::nullObject());
   }
}

/// The axis of a turned shape, and what the solid of the formulas has too much across it: a capsule and a
/// circular lozenge have terms for one kilogram.
ZqVector axisAndExcess(const ZqShape& shape, ZqReal mass, ZqReal& excess)
{
   excess = 0.0;
   if (const auto* capsule = dynamic_cast<const ZqCapsule*>(&shape))
   {
      const ZqLineSegment& axis = capsule->lineSegment();
      const ZqReal r = capsule->radius();
      const ZqReal cap = mass * 2.0 / 3.0 * pi * r * r * r / capsule->volume();
      excess = 0.75 * r * axis.length() * (1.0 - cap);
      return (axis.endpoint1() - axis.endpoint0()).unitVector();
   }
   if (const auto* lozenge = dynamic_cast<const ZqCircularLozenge*>(&shape))
   {
      const ZqVector n = lozenge->normal().unitVector();
      const ZqSecondMoment I = ZqExactSolid(shape).specificMoment();
      excess = (1.0 - mass) * (0.5 * (I.xx() + I.yy() + I.zz()) - n.dot(I * n));
      return n;
   }
   return {};
}

TEST(UniformSolids, OfShapesAreExactButForTermsOfOneKilogram)
{
   zqTest::RandomValues random(23);
   for (ZqU32 i = 0; i < 20 * sampleKinds; ++i)
   {
      SCOPED_TRACE(i);
      const Sample sample = makeSample(random, i % sampleKinds);
      const ZqReal mass = i % 5 == 0 ? 1.0 : random.real(0.3, 5.0);
      const auto X = zqTest::randomFrame(random);
      // Along z and against it there is no unique turn.
      if (i % 3 == 0)
         sample.shape->transformBy(ZqOrientation(0.0, 1.0, 0.0, 0.0));
      else
         sample.shape->transformBy(X);
      const Mass body = Mass::massPropertiesFromShape(mass, sample.shape.get());
      if (!Mass::isShapeSupported(sample.shape.get()))
      {
         EXPECT_EQ(body, Mass::defaultObject());
         continue;
      }
      if (sample.shape->shapeType() == ZqShape::LozengeShape ||
          sample.shape->shapeType() == ZqShape::TriangularLozengeShape)
         continue;
      ZqReal excess = 0.0;
      const ZqVector u = axisAndExcess(*sample.shape, mass, excess);
      Mass expected = ZqExactSolid(*sample.shape).ofMass(mass);
      const ZqSecondMoment across(1.0 - u.x() * u.x(), 1.0 - u.y() * u.y(), 1.0 - u.z() * u.z(),
                                  -u.x() * u.y(), -u.x() * u.z(), -u.y() * u.z());
      ZqSecondMoment I = across;
      I *= excess;
      I += expected.secondMoment();
      expected.set(mass, expected.firstMoment(), I, false);
      // The angle of the turn comes from its cosine.
      EXPECT_TRUE(agree(body, expected, 1e-11));
   }
   EXPECT_FALSE(Mass::isShapeSupported(nullptr));
   EXPECT_EQ(Mass::massPropertiesFromShape(7.0, nullptr), Mass::defaultObject());
}

TEST(UniformSolids, WithoutAShapeAreTheirIntegrals)
{
   constexpr ZqReal limit = 20.0 * epsilon;
   const ZqReal m = 1.7;
   EXPECT_TRUE(Mass::uniformSolidAxisAlignedEllipsoid(m, 0.3, 0.7, 0.5)
                  .approxEq(ZqExactSolid(ZqEllipsoid(0.3, 0.7, 0.5, {})).ofMass(m), limit));
   // Two hemispheres are a ball, and each has 3/8 of the radius as first moment, whatever its mass.
   const Mass half = Mass::uniformSolidHemisphere(m, 0.4);
   EXPECT_TRUE(half.firstMoment().approxEq(ZqVector(0.0, 0.0, 0.375 * 0.4), limit));
   Mass other = half;
   other.transformBy(ZqOrientation(0.0, 1.0, 0.0, 0.0));
   EXPECT_TRUE((half + other).approxEq(Mass::uniformSolidSphere(2.0 * m, 0.4), limit));
   // A shell is what a ball gains by a little more of radius, and a torus its circle, turned about z.
   const ZqReal r = 0.6;
   const ZqReal d = 1e-5;
   const Mass shell = ZqExactSolid(ZqSphere({}, r + d)).ofDensity(1.0) -
                      ZqExactSolid(ZqSphere({}, r - d)).ofDensity(1.0);
   EXPECT_NEAR(Mass::uniformSphericalShell(m, r).secondMoment().xx() / m,
               shell.secondMoment().xx() / shell.mass(), 1e-9);
   const ZqReal R = 1.1;
   ZqReal area = 0.0;
   ZqReal aboutAxis = 0.0;
   ZqReal along = 0.0;
   for (const auto& [u, wu] : gaussNodes())
      for (const auto& [v, wv] : gaussNodes())
      {
         const ZqReal x = R + r * u * std::cos(2.0 * pi * v);
         const ZqReal z = r * u * std::sin(2.0 * pi * v);
         const ZqReal w = wu * wv * u * x;
         area += w;
         aboutAxis += w * x * x;
         along += w * z * z;
      }
   const ZqSecondMoment torus = Mass::uniformSolidAxisAlignedTorus(m, R, r).secondMoment();
   EXPECT_NEAR(torus.zz(), m * aboutAxis / area, 1e-12);
   EXPECT_NEAR(torus.xx(), m * (0.5 * aboutAxis + along) / area, 1e-12);
   EXPECT_EQ(torus.xx(), torus.yy());
}

/// The sum of the absolute differences of the second moments.
ZqReal momentDifference(const Mass& a, const Mass& b)
{
   const ZqSecondMoment D = a.secondMoment() - b.secondMoment();
   return std::abs(D.xx()) + std::abs(D.yy()) + std::abs(D.zz()) + std::abs(D.xy()) +
          std::abs(D.xz()) + std::abs(D.yz());
}

TEST(UniformSolids, OfLozengesConvergeWithTheirCells)
{
   const ZqVector origin(0.3, -0.2, 0.5);
   const ZqVector e(0.4, 0.3, 0.0);
   const ZqVector f(-0.3, 0.4, 0.2);
   const ZqLozenge lozenge(origin, e, e.cross(f), 0.15);
   const ZqTriangularLozenge triangle(origin, e, f, 0.15);
   EXPECT_EQ(Mass::massPropertiesFromShape(2.0, &lozenge),
             Mass::uniformSolidLozenge(2.0, lozenge, 20));
   EXPECT_EQ(Mass::massPropertiesFromShape(2.0, &triangle),
             Mass::uniformSolidTriangularLozenge(2.0, triangle, 100));
   // Values at the corners of cells, and not at their middles, leave errors of first order.
   const auto ratio = [](const auto& made, const ZqShape& shape)
   {
      const Mass exact = ZqExactSolid(shape).ofMass(2.0);
      return momentDifference(made(100), exact) / momentDifference(made(200), exact);
   };
   EXPECT_NEAR(
      ratio([&](unsigned int n) { return Mass::uniformSolidLozenge(2.0, lozenge, n); }, lozenge),
      2.0, 0.3);
   EXPECT_NEAR(ratio([&](unsigned int n)
                     { return Mass::uniformSolidTriangularLozenge(2.0, triangle, n); },
                     triangle),
               2.0, 0.3);

   // Each point of the grid counts if it is in the shape, in the order of the grid.
   const ZqTriangularLozenge flat({}, {0.5, 0.0, 0.0}, {0.1, 0.4, 0.0}, 0.2);
   constexpr unsigned int n = 17;
   const ZqVector low(flat.supportPoint({-1.0, 0.0, 0.0}).x(),
                      flat.supportPoint({0.0, -1.0, 0.0}).y(), 0.0);
   const ZqVector d((flat.supportPoint({1.0, 0.0, 0.0}).x() - low.x()) / n,
                    (flat.supportPoint({0.0, 1.0, 0.0}).y() - low.y()) / n, 0.2 / n);
   const ZqReal w = 3.0 / flat.volume() * d.x() * d.y() * d.z() * 2.0;
   ZqReal Izz = 0.0;
   ZqReal hx = 0.0;
   for (unsigned int i = 0; i < n * n * n; ++i)
   {
      const ZqVector p(low.x() + i / (n * n) * d.x(), low.y() + i / n % n * d.y(), i % n * d.z());
      if (flat.checkIntersectWithPoint(p))
      {
         Izz += (p.x() * p.x() + p.y() * p.y()) * w;
         hx += p.x() * w;
      }
   }
   const Mass body = Mass::uniformSolidTriangularLozenge(3.0, flat, n);
   EXPECT_EQ(body.secondMoment().zz(), Izz);
   EXPECT_EQ(body.firstMoment().x(), hx);
}

TEST(UniformSolids, AreValidForSizesThatNoBodyHas)
{
   zqTest::LogCapture log;
   for (const ZqReal size : {0.0, zqTest::nan, zqTest::infinity, -1.0, 1e-160, 1e120})
      for (const ZqReal mass : {1.0, 0.0, zqTest::nan, -1.0, zqTest::infinity})
      {
         const ZqVector e = ZqVector::xVector(size);
         const ZqVector f = ZqVector::yVector(size);
         const ZqCapsule capsule({e, -e}, size);
         const ZqLozenge lozenge(e, e, f, size);
         const ZqTriangularLozenge triangle(e, e, f, size);
         const ZqCircularLozenge disc(e, f, size, size);
         const ZqCone cone({e, f}, size, size);
         for (const ZqShape* shape :
              std::initializer_list<const ZqShape*>{&capsule, &lozenge, &disc, &cone})
         {
            EXPECT_TRUE(Mass::massPropertiesFromShape(mass, shape).isValid());
            EXPECT_TRUE(ZqExactSolid(shape).ofMass(mass).isValid());
         }
         EXPECT_TRUE(Mass::uniformSolidTriangularLozenge(mass, triangle, 3).isValid());
         EXPECT_TRUE(ZqExactSolid(triangle).ofDensity(mass).isValid());
         EXPECT_TRUE(Mass::uniformSolidAxisAlignedTorus(mass, size, 1.0).isValid());
      }
}
} // namespace
