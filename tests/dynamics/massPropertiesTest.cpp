#include "support/randomBodies.h"
#include "support/xmlSamples.h"
#include "zqManipulator/foundation/geometry/ZqEllipsoid.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace
{
using zqTest::epsilon;
using zqTest::infinity;
using zqTest::nan;
using zqTest::PointMasses;
/// Of sums over a few masses of a few kg within a few m.
constexpr ZqReal tolerance = 2000.0 * epsilon;

ZqSecondMoment diagonal(ZqReal x, ZqReal y, ZqReal z)
{
   return {x, y, z, 0.0, 0.0, 0.0};
}

TEST(MassProperties, AreThoseOfThePointsAndFollowNewton)
{
   zqTest::RandomValues random(71);
   for (ZqU32 i = 0; i < 200; ++i)
   {
      SCOPED_TRACE(i);
      const auto X = zqTest::randomFrame(random, i % 4);
      PointMasses points(random);
      ZqRigidBodyMassProperties byFrame = points.body();
      ZqRigidBodyMassProperties byParts = points.body();
      for (auto& [m, r] : points.points)
         r = X * r;
      const ZqRigidBodyMassProperties body = points.body();
      EXPECT_TRUE(byFrame.transformBy(X).approxEq(body, tolerance));
      byParts.transformBy(X.orientation()).transformBy(X.translation());
      EXPECT_TRUE(byParts.approxEq(byFrame, tolerance));
      // One body with another is that of all points.
      const PointMasses others(random);
      PointMasses all(points);
      all.points.insert(all.points.end(), others.points.begin(), others.points.end());
      EXPECT_TRUE((body + others.body()).approxEq(all.body(), tolerance));
      EXPECT_TRUE((all.body() - others.body()).approxEq(body, tolerance));

      const ZqGeneralMotion v = zqTest::randomMotion(random);
      const ZqGeneralMotion a = zqTest::randomMotion(random);
      const ZqGeneralForce F = points.force({}, a);
      const ZqGeneralForce Fv = points.force(v, a);
      ZqReArray M;
      body.getArray(M);
      EXPECT_TRUE(zqTest::product(M, a).approxEq(F, tolerance));
      EXPECT_TRUE(body.calculateForce(a).approxEq(F, tolerance));
      EXPECT_TRUE(body.calculateForce(v, a).approxEq(Fv, tolerance));
      // An inverse multiplies the error by the condition of the inertia.
      EXPECT_TRUE(body.calculateAcceleration(F).approxEq(a, 1000.0 * tolerance));
      EXPECT_TRUE(body.calculateAcceleration(v, Fv).approxEq(a, 1000.0 * tolerance));
      const ZqReArray& L = body.spatialCholeskyDecomposition();
      EXPECT_TRUE((L * L.transpose()).approxEq(M, tolerance));
      const ZqSpatialMatrix unit = body.invSecondMoment() * body.secondMoment().matrix();
      EXPECT_TRUE(unit.approxEq(ZqSpatialMatrix::identity(), 100.0 * tolerance));
   }
   // Without inertia nothing is divided by zero.
   EXPECT_EQ(ZqRigidBodyMassProperties().calculateAcceleration(ZqGeneralForce()),
             ZqGeneralMotion());
}

/// The least pivot of the pseudo-inertia [S, h; h^T, m], from m on: none is negative when it is positive
/// semidefinite.
ZqReal leastPivot(const ZqRigidBodyMassProperties& body)
{
   const ZqVector& h = body.firstMoment();
   const ZqSpatialMatrix I = body.secondMoment().matrix();
   const ZqReal halfTrace = 0.5 * (I[0][0] + I[1][1] + I[2][2]);
   ZqReal J[4][4] = {{body.mass(), h.x(), h.y(), h.z()}};
   for (std::size_t i = 1; i < 4; ++i)
   {
      J[i][0] = J[0][i];
      for (std::size_t j = 1; j < 4; ++j)
         J[i][j] = (i == j ? halfTrace : 0.0) - I[i - 1][j - 1];
   }
   ZqReal least = J[0][0];
   for (std::size_t k = 0; k < 3; ++k)
      for (std::size_t i = k + 1; i < 4; ++i)
      {
         const ZqReal factor = J[i][k] / J[k][k];
         for (std::size_t j = k + 1; j < 4; ++j)
            J[i][j] -= factor * J[k][j];
         if (i == k + 1)
            least = std::min(least, J[i][i]);
      }
   return least;
}

TEST(MassProperties, APossibleBodyIsOneWithAPseudoInertia)
{
   zqTest::RandomValues random(72);
   int counts[2] = {};
   for (int i = 0; i < 400; ++i)
   {
      const ZqRigidBodyMassProperties real = PointMasses(random).body();
      EXPECT_TRUE(real.isPossible());
      ZqRigidBodyMassProperties body;
      body.set(real.mass(), real.firstMoment() * random.real(0.0, 2.0), real.secondMoment(), false);
      const ZqReal pivot = leastPivot(body);
      if (std::abs(pivot) < 1e-6) // too close to call
         continue;
      EXPECT_EQ(body.isPossible(), pivot > 0.0) << pivot;
      ++counts[pivot > 0.0 ? 1 : 0];
   }
   EXPECT_TRUE(counts[0] > 50 && counts[1] > 50) << counts[0] << ' ' << counts[1];

   // Points and rods, whose moments vanish, wherever they are.
   ZqRigidBodyMassProperties rod(2.0, {}, diagonal(0.0, 3.0, 3.0));
   ZqRigidBodyMassProperties point = ZqRigidBodyMassProperties::pointMass(3.0);
   for (const ZqReal distance : {1.0, 1e3, -1e7})
   {
      EXPECT_TRUE(rod.transformBy(ZqOrientation(0.6, 0.0, 0.8, 0.0))
                     .transformBy(ZqVector(distance, 0.3, 0.1))
                     .isPossible());
      EXPECT_TRUE(point.transformBy(ZqVector(0.1, distance, 0.2)).isPossible());
   }
   // About the center of mass where about the origin is meant, which `isValid` cannot see.
   ZqRigidBodyMassProperties ball(2.0, {1.0, 0.0, 0.0}, diagonal(0.01, 0.01, 0.01));
   EXPECT_TRUE(ball.isValid());
   EXPECT_FALSE(ball.isPossible());
   ZqVector moments;
   EXPECT_TRUE(ball.getPrincipalMoments(moments));
   EXPECT_TRUE(moments.approxEq({-0.49, -0.49, 0.01}, tolerance));
   for (const ZqReal value : {nan, infinity, -1.0})
   {
      ball.set(2.0, {}, diagonal(value, 1.0, 1.0), false);
      EXPECT_FALSE(ball.isPossible());
   }
   EXPECT_TRUE(ZqRigidBodyMassProperties().isPossible());
}

TEST(MassProperties, OperationsRenewOnlyTheCachesThatTheySay)
{
   using Body = ZqRigidBodyMassProperties;
   const Body original(1.5, {1.0, 2.0, 3.0}, {23.0, 24.0, 25.0, 0.5, 0.25, 0.75});
   const Body other(0.7, {0.2, -0.3, 0.4}, diagonal(2.0, 2.5, 3.0));
   const ZqOrientation q(0.6, 0.0, 0.8, 0.0);
   const ZqCoordinateSystemTransformation X({1.0, 2.0, 3.0}, q);
   struct
   {
      const char* name;
      std::function<void(Body&)> operation;
      bool renewsInverse;
      bool renewsFactor;
   } const cases[] = {
      {"translation", [&](Body& b) { b.transformBy(X.translation()); }, true, true},
      {"rotation", [&](Body& b) { b.transformBy(q); }, true, true},
      {"frame", [&](Body& b) { b.transformBy(X); }, true, true},
      {"+=", [&](Body& b) { b += other; }, true, true},
      {"-=", [&](Body& b) { b -= other; }, true, true},
      {"=", [&](Body& b) { b = other; }, true, true},
      {"set", [&](Body& b) { b.set(3.0, {}, other.secondMoment(), false); }, false, true},
      {"read", [&](Body& b) { EXPECT_TRUE(Zq::fromXml(b, zqTest::written(other))); }, false, true},
      {"scaleBy", [](Body& b) { b.scaleBy(2.0); }, false, false}};
   for (const auto& c : cases)
   {
      Body body(original);
      const ZqSpatialMatrix inverse = body.invSecondMoment();
      const ZqReArray factor = body.spatialCholeskyDecomposition();
      c.operation(body);
      const Body fresh(body);
      EXPECT_FALSE(fresh.invSecondMoment() == inverse) << c.name;
      EXPECT_FALSE(fresh.spatialCholeskyDecomposition() == factor) << c.name;
      EXPECT_EQ(body.invSecondMoment(), c.renewsInverse ? fresh.invSecondMoment() : inverse)
         << c.name;
      EXPECT_EQ(body.spatialCholeskyDecomposition(),
                c.renewsFactor ? fresh.spatialCholeskyDecomposition() : factor)
         << c.name;
   }
   Body scaled(original);
   scaled.scaleBy(2.0);
   EXPECT_EQ(scaled, Body(12.0, {16.0, 32.0, 48.0}, {736.0, 768.0, 800.0, 16.0, 8.0, 24.0}));
}

TEST(MassProperties, ImpossibleOnesAreRepairedAboutTheCenterOfMass)
{
   const ZqVector h(1.0, 2.0, 3.0);
   const ZqSecondMoment good = diagonal(30.0, 40.0, 50.0);
   struct
   {
      ZqReal mass;
      ZqVector firstMoment;
      ZqSecondMoment secondMoment;
      bool massStays;
      bool firstMomentStays;
      bool secondMomentStays;
   } const cases[] = {{2.0, h, good, true, true, true},
                      {0.0, h, good, false, true, true},
                      {infinity, h, good, false, true, true},
                      {2.0, {nan, 0.0, 0.0}, good, true, false, true},
                      {2.0, h, diagonal(-1.0, 1.0, 1.0), true, true, false},
                      {1e-9, h * 1e300, diagonal(-1.0, 1.0, 1.0), true, true, false},
                      {1.0, h * 1e250, diagonal(infinity, 1.0, 1.0), true, true, false}};
   for (const auto& c : cases)
   {
      SCOPED_TRACE(&c - cases);
      const ZqRigidBodyMassProperties body(c.mass, c.firstMoment, c.secondMoment);
      EXPECT_TRUE(body.isValid());
      EXPECT_EQ(body.mass(), c.massStays ? c.mass : 1e-9);
      EXPECT_EQ(body.firstMoment(), c.firstMomentStays ? c.firstMoment : ZqVector());
      EXPECT_EQ(body.secondMoment() == c.secondMoment, c.secondMomentStays);
   }
   // The repair of a body away from the origin is that about its center, moved there.
   const ZqVector c = h / 2.0;
   ZqRigidBodyMassProperties body;
   body.set(2.0, {}, diagonal(-50.0, 1.0, 1.0), false);
   EXPECT_FALSE(body.isValid());
   body.transformBy(c);
   body.makeValid();
   ZqRigidBodyMassProperties expected(2.0, {}, diagonal(-50.0, 1.0, 1.0));
   expected.transformBy(c);
   EXPECT_TRUE(body.approxEq(expected, tolerance));

   EXPECT_EQ(ZqRigidBodyMassProperties::nullObject().mass(), 1e-9);
   EXPECT_FALSE(ZqRigidBodyMassProperties().isValid());
   ZqVector center(nan, nan, nan);
   body.set(0.0, h, good, false);
   body.getCenterOfMass(center);
   EXPECT_EQ(center, ZqVector());
}

TEST(MassProperties, ReadingEndsInAValidRecordAndSaysWhatItRepaired)
{
   const std::string moment = "<c:secondMoment xx='3' yy='4' zz='5' xy='.1' xz='.2' yz='.3'/>";
   const std::string point = "<firstMoment>1 2 3</firstMoment>";
   struct
   {
      std::string content;
      bool succeeds;
      const char* message;
      ZqReal mass;
   } const cases[] = {
      {"<mass>1.5</mass>" + point + moment, true, "", 1.5},
      {"<mass>0</mass>" + point + moment, true, "mass of a body", 1e-9},
      {"<mass>-1</mass>", false, "-1", 1e-9},
      {"<mass>2</mass><firstMoment>1 2 inf</firstMoment>", false, "inf", 2.0},
      {"<mass>2</mass><c:secondMoment xx='nan'/>", false, "nan", 2.0},
      {"<mass>2</mass><c:secondMoment zz='1'/>", true, "no body can have", 2.0},
      {"<mass>2</mass><firstMoment>1e308 0 0</firstMoment><c:secondMoment xx='-1'/>", true,
       "no body can have", 2.0}};
   for (const auto& c : cases)
   {
      SCOPED_TRACE(c.content);
      ZqRigidBodyMassProperties body;
      zqTest::LogCapture log;
      const std::string document = zqTest::inTag(
         ZqRigidBodyMassProperties::classToken(), c.content,
         "xmlns:c='" + std::string(ZqFoundCommon::ZqSecondMomentToken.namespaceUri()) + "'");
      EXPECT_EQ(zqTest::readFrom(body, document), c.succeeds);
      EXPECT_TRUE(body.isValid());
      EXPECT_EQ(body.mass(), c.mass);
      EXPECT_TRUE(log.contains(c.message)) << log.text();
      EXPECT_EQ(log.empty(), *c.message == '\0') << log.text();
   }
}

TEST(MassProperties, EllipsoidAndPrincipalFrameGiveTheBodyBack)
{
   zqTest::RandomValues random(73);
   for (int i = 0; i < 200; ++i)
   {
      const ZqRigidBodyMassProperties body = PointMasses(random).body();
      ZqEllipsoid ellipsoid;
      ZqReal density = nan;
      body.getEllipsoid(ellipsoid, density);
      const ZqReal m = density * ellipsoid.volume();
      const ZqReal x = std::pow(ellipsoid.semiAxes().x(), 2);
      const ZqReal y = std::pow(ellipsoid.semiAxes().y(), 2);
      const ZqReal z = std::pow(ellipsoid.semiAxes().z(), 2);
      ZqRigidBodyMassProperties back(m, {},
                                     diagonal((y + z) * m / 5, (x + z) * m / 5, (x + y) * m / 5));
      back.transformBy(ellipsoid.frame());
      EXPECT_TRUE(back.approxEq(body, tolerance)) << i;

      ZqCoordinateSystemTransformation X;
      EXPECT_TRUE(body.getPrincipalFrame(X));
      ZqRigidBodyMassProperties principal(body);
      principal.transformBy(X.inverse());
      const ZqSecondMoment& I = principal.secondMoment();
      EXPECT_TRUE(principal.firstMoment().approxEq({}, tolerance)) << i;
      EXPECT_TRUE(I.approxEq(diagonal(I.xx(), I.yy(), I.zz()), tolerance)) << i;
   }
   ZqEllipsoid point;
   ZqReal density = nan;
   ZqRigidBodyMassProperties::nullObject().getEllipsoid(point, density);
   EXPECT_EQ(point.semiAxes(), ZqVector(1e-12, 1e-12, 1e-12));
   EXPECT_NEAR(density * point.volume(), 1e-9, 1e-24);
}
} // namespace
