#include "support/randomBodies.h"
#include "support/xmlSamples.h"
#include "zqManipulator/dynamics/bodies/ZqArticulatedBodyDynamics.h"
#include "zqManipulator/kinematics/joint/ZqLinkKinematicsContainer.h"

namespace
{
using zqTest::epsilon;
using zqTest::nan;
using zqTest::RandomValues;
/// Of inertias of a few ten kg within a few m.
constexpr ZqReal inertiaTolerance = 2000.0 * epsilon;

/// Of a rigid body, or of no particular form.
ZqArticulatedBodyInertia randomInertia(RandomValues& random, bool isRigid)
{
   if (isRigid)
      return ZqArticulatedBodyInertia(zqTest::PointMasses(random).body());
   ZqArticulatedBodyInertia inertia;
   inertia.setFromArray(random.positiveDefinite(6));
   return inertia;
}

ZqArticulatedBodyDynamics randomDynamics(RandomValues& random)
{
   const ZqArticulatedBodyInertia inertia = randomInertia(random, random.index(0, 1) == 0);
   return {inertia, zqTest::randomForce(random)};
}

/// A motion of which about half the components are zero.
ZqGeneralMotion sparseMotion(RandomValues& random)
{
   ZqGeneralMotion motion = zqTest::randomMotion(random);
   for (std::size_t i = 0; i < 6; ++i)
      if (random.index(0, 1) == 0)
         motion.setScalarValue(i, 0.0);
   return motion;
}

ZqReal power(const ZqGeneralMotion& v, const ZqGeneralForce& F)
{
   return v.linear().dot(F.force()) + v.angular().dot(F.moment());
}

TEST(ArticulatedInertia, StaysRigidAmongRigidOnes)
{
   RandomValues random(81);
   const ZqArticulatedBodyInertia rigid = randomInertia(random, true);
   const ZqArticulatedBodyInertia other = randomInertia(random, false);
   EXPECT_TRUE(rigid.isRigid() && !other.isRigid());
   EXPECT_TRUE((rigid + rigid).isRigid() && (rigid - rigid).isRigid());
   EXPECT_FALSE((rigid + other).isRigid() || (other - rigid).isRigid());
   for (const ZqArticulatedBodyInertia& inertia : {rigid, other})
      for (const ZqU32 mode : {0U, 1U, 2U, 3U})
      {
         const auto X = zqTest::randomFrame(random, mode);
         const ZqGeneralMotion a = sparseMotion(random);
         const ZqGeneralForce F = inertia.calculateForce(a);
         ZqReArray M;
         inertia.getArray(M);
         EXPECT_TRUE(zqTest::product(M, a).approxEq(F, inertiaTolerance));
         EXPECT_TRUE(inertia.calculateForceSparse(a).approxEq(F, inertiaTolerance));
         ZqArticulatedBodyInertia moved(inertia);
         moved.transformBy2(X);
         ZqArticulatedBodyInertia same(inertia);
         same.transformBy(X);
         EXPECT_TRUE(same.approxEq(moved, inertiaTolerance));
         EXPECT_TRUE(moved.calculateForce(X * a).approxEq(X * F, inertiaTolerance));
         EXPECT_EQ(moved.isRigid(), inertia.isRigid());
      }
}

TEST(ArticulatedInertia, SemidefiniteOnesAreSolvedAsByTheGeneralFactor)
{
   RandomValues random(83);
   for (ZqU32 i = 0; i < 64; ++i)
   {
      // Without inertia in the directions of the bits of i.
      ZqReArray M = random.positiveDefinite(6);
      for (std::size_t row = 0; row < 6; ++row)
         for (std::size_t column = 0; column < 6; ++column)
            if (((i >> row | i >> column) & 1U) != 0)
               M[row][column] = 0.0;
      const ZqGeneralForce F = zqTest::randomForce(random);
      ZqReArray x;
      F.copyToArray(x);
      ZqReArray L;
      EXPECT_EQ(M.choleskyFactor(L), i == 0);
      ASSERT_TRUE(L.choleskySolve(x, x));
      ZqGeneralMotion expected;
      expected.copyFromArray(x);
      ZqArticulatedBodyInertia inertia;
      inertia.setFromArray(M);
      EXPECT_TRUE(inertia.calculateAcceleration(F).approxEq(expected, inertiaTolerance)) << i;
   }
   zqTest::LogCapture log;
   ZqArticulatedBodyInertia inertia = randomInertia(random, true);
   const ZqArticulatedBodyInertia before(inertia);
   inertia.setFromArray(ZqReArray(6, 5));
   EXPECT_EQ(inertia, before);
   EXPECT_EQ(log.size(), 1U);
}

TEST(ArticulatedDynamics, JoinedChildFollowsThroughItsJoint)
{
   RandomValues random(84);
   for (int i = 0; i < 300; ++i)
   {
      SCOPED_TRACE(i);
      const ZqArticulatedBodyDynamics parent = randomDynamics(random);
      const ZqArticulatedBodyDynamics child = randomDynamics(random);
      const ZqGeneralMotion s = sparseMotion(random);
      const ZqReal j = random.real(0.1, 1.0);
      const ZqReal torque = random.real();
      ZqArticulatedBodyDynamics joined(parent);
      joined.joinWith(child, s, j, torque);
      ZqArticulatedBodyDynamics reduced = randomDynamics(random);
      reduced.setToTransformedValue(child, s, j, torque);
      EXPECT_FALSE(joined.inertia().isRigid() || reduced.inertia().isRigid());
      EXPECT_TRUE(joined.approxEq(parent + reduced, inertiaTolerance));
      ZqArticulatedBodyInertia inertia(parent.inertia());
      inertia.joinWith(child.inertia(), s, j);
      EXPECT_EQ(inertia, joined.inertia());
      // A joint without inertia is rigid, and its torque does nothing.
      reduced.joinWith(child, ZqGeneralMotion(), 0.0, nan);
      EXPECT_TRUE((reduced - child).approxEq(joined - parent, inertiaTolerance));
      reduced.setToTransformedValue(child, ZqGeneralMotion(), 0.0, nan);
      EXPECT_TRUE(reduced.approxEq(child, 0.0));

      // The child moves with the parent and at the joint acceleration qdd, for which the joint
      // takes up the torque less what accelerates the drive.
      const ZqGeneralMotion a = zqTest::randomMotion(random);
      const ZqReal qdd = (torque - power(s, child.calculateForce(a))) /
                         (power(s, child.inertia().calculateForce(s)) + j);
      const ZqGeneralForce F = child.calculateForce(a + s * qdd);
      EXPECT_TRUE((joined - parent).calculateForce(a).approxEq(F, inertiaTolerance));
      const ZqGeneralMotion back = joined.calculateAcceleration(joined.calculateForce(a));
      EXPECT_TRUE(back.approxEq(a, 100.0 * inertiaTolerance));
      const auto X = zqTest::randomFrame(random, random.index(0, 3));
      ZqArticulatedBodyDynamics moved(child);
      moved.transformBy(X);
      EXPECT_TRUE(
         moved.calculateForce(X * a).approxEq(X * child.calculateForce(a), 2 * inertiaTolerance));
      ZqArticulatedBodyDynamics byParts(child);
      byParts.transformBy(X.orientation());
      byParts.transformBy(X.translation());
      EXPECT_TRUE(byParts.approxEq(moved, inertiaTolerance));
   }
}

TEST(ArticulatedDynamics, JointsHandTheChildToTheParent)
{
   RandomValues random(86);
   for (ZqU32 i = 0; i < 200; ++i)
   {
      SCOPED_TRACE(i);
      const ZqDenavitHartenberg joint = zqTest::randomJoint(random, i % 2, i / 2 % 5);
      const ZqReal q = random.real(-3.0, 3.0);
      const ZqReal j = random.real(0.1, 1.0);
      const ZqReal torque = random.real();
      const ZqArticulatedBodyDynamics parent = randomDynamics(random);
      const ZqArticulatedBodyDynamics child = randomDynamics(random);
      ZqGeneralMotion s;
      joint.getUnitFrameMotion(s, q);
      ZqLinkKinematicsContainer container;
      EXPECT_EQ(container.unitAccelerationTorque(q, child.inertia()), 0.0);
      container.setTopElement(joint);
      EXPECT_NEAR(container.unitAccelerationTorque(q, child.inertia()),
                  power(s, child.inertia().calculateForce(s)), inertiaTolerance);

      ZqArticulatedBodyDynamics closed(parent);
      ZqArticulatedBodyDynamics general(parent);
      EXPECT_TRUE(container.addChildArbdToParent(closed, child, q, torque, j));
      EXPECT_TRUE(joint.ZqLinkKinematics::addChildArbdToParent(general, child, q, torque, j));
      EXPECT_TRUE(closed.approxEq(general, 10.0 * inertiaTolerance));

      // An unknown joint type slides along z.
      ZqDenavitHartenberg unknown;
      unknown.setDhType(ZqDenavitHartenberg::General);
      unknown.setJointType(7);
      ZqArticulatedBodyDynamics expected(parent);
      closed = parent;
      EXPECT_TRUE(unknown.addChildArbdToParent(closed, child, q, torque, j));
      expected.joinWith(child, {{0.0, 0.0, 1.0}, {}}, j, torque);
      EXPECT_TRUE(closed.approxEq(expected, inertiaTolerance));
   }
}

TEST(ArticulatedInertia, FlagThatTheMatricesContradictIsNotTaken)
{
   RandomValues random(87);
   const ZqArticulatedBodyInertia general = randomInertia(random, false);
   for (const ZqArticulatedBodyInertia& wrong :
        {ZqArticulatedBodyInertia(general.linearMatrix(), {}, {}, true),
         ZqArticulatedBodyInertia({}, {}, general.crossMatrix(), true)})
   {
      ZqArticulatedBodyInertia back;
      zqTest::LogCapture log;
      EXPECT_TRUE(zqTest::readFrom(back, zqTest::written(wrong)));
      EXPECT_FALSE(back.isRigid());
      EXPECT_EQ(log.size(), 1U);
   }
}
} // namespace
