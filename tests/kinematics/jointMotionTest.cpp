#include "support/referenceDynamics.h"

#include <gtest/gtest.h>

namespace
{
using Joint = ZqDenavitHartenberg;
using Transformation = ZqCoordinateSystemTransformation;
using zqTest::FrameMotion;
using zqTest::Jet;
using zqTest::JetFrame;
using zqTest::pi;
using zqTest::Real;

/// Of products of a few lengths and rates up to ten.
constexpr ZqReal motionTolerance = 1e-13;

/// Compares with a velocity and an acceleration in the axes of the frame.
void expectMotion(const ZqGeneralMotion& motion, const FrameMotion& frame, const ZqVector& linear,
                  const ZqVector& angular, ZqReal within)
{
   EXPECT_TRUE(motion.approxEq({frame.toLocal(linear), frame.toLocal(angular)}, within));
}

TEST(JointMotion, IsTheDerivativeOfTheFrame)
{
   zqTest::RandomValues random(51);
   for (ZqU32 i = 0; i < 400; ++i)
   {
      SCOPED_TRACE(i);
      const Joint joint = zqTest::randomJoint(random, i % 2, i / 2 % 5);
      const ZqReal q = random.real(-3.0, 3.0);
      const ZqReal qd = random.real(-2.0, 2.0);
      const ZqReal qdd = random.real(-2.0, 2.0);
      const FrameMotion expected(JetFrame::ofJoint(joint, {q, qd, qdd}));
      const ZqGeneralMotion velocity = joint.calculateVelocity(q, qd);
      expectMotion(velocity, expected, expected.v, expected.w, motionTolerance);
      expectMotion(joint.calculateAcceleration(q, qd, qdd), expected, expected.a, expected.alpha,
                   motionTolerance);
      // On a parent that turns: what it and the joint's own acceleration give to the frame, in its axes.
      const JetFrame parent = JetFrame::rotation(i % 3, {random.real(), 2.0, -1.0});
      const FrameMotion ofParent(parent);
      const FrameMotion carried(parent * JetFrame::ofJoint(joint, {q, qd, qdd}));
      const ZqGeneralMotion own = joint.calculateAcceleration(q, 0.0, qdd);
      const ZqVector& w = ofParent.w;
      const ZqVector swing = ofParent.alpha.cross(carried.p) + w.cross(w.cross(carried.p));
      ZqGeneralMotion result = zqTest::randomMotion(random);
      joint.accelerationFromJointVelocity(qd, carried.toLocal(w),
                                          carried.toLocal(swing) + own.linear(),
                                          carried.toLocal(ofParent.alpha) + own.angular(), result);
      expectMotion(result, carried, carried.a, carried.alpha, 10.0 * motionTolerance);
      // The power of a force on the unit motion, and so on any velocity.
      ZqGeneralMotion unit;
      joint.getUnitFrameMotion(unit, q);
      EXPECT_EQ(velocity, unit * qd);
      const ZqGeneralForce force = zqTest::randomForce(random);
      EXPECT_NEAR(joint.torqueRequiredToExert(q, force),
                  force.force().dot(unit.linear()) + force.moment().dot(unit.angular()),
                  motionTolerance);
   }
}

/// A joint with no closed form for its motion: it turns about and slides along z, coupled by a
/// pitch, with a wobble of the axis so that its rates depend on the joint position.
class NumericJoint : public Joint
{
public:
   NumericJoint(ZqReal pitch, ZqReal wobble) : m_pitch(pitch), m_wobble(wobble) {}

   JetFrame reference(const Jet& q) const
   {
      return JetFrame::translation(2, q) *
             JetFrame::rotation(2, Jet(2 * std::numbers::pi_v<Real> * m_pitch) * q) *
             JetFrame::rotation(0, Jet(m_wobble) * sin(q)) *
             JetFrame::translation(1, Jet(m_wobble) * cos(q));
   }
   using Joint::transformBy;
   void transformBy(Transformation& result, ZqReal q) const override
   {
      result.outboardTransformBy({0.0, 0.0, q}, ZqOrientation::zRotation(2.0 * pi * m_pitch * q));
      result.outboardTransformBy({}, ZqOrientation::xRotation(m_wobble * std::sin(q)));
      result.outboardTransformBy(ZqVector::yVector(m_wobble * std::cos(q)));
   }
   const ZqGeneralMotion& calculateVelocity(ZqReal q, ZqReal qd) const override
   {
      return ZqLinkKinematics::calculateVelocity(q, qd);
   }
   const ZqGeneralMotion& calculateAcceleration(ZqReal q, ZqReal qd, ZqReal qdd) const override
   {
      return ZqLinkKinematics::calculateAcceleration(q, qd, qdd);
   }

private:
   ZqReal m_pitch, m_wobble;
};

TEST(JointMotion, NumericFormsAgreeWithTheReference)
{
   zqTest::RandomValues random(53);
   for (int i = 0; i < 200; ++i)
   {
      SCOPED_TRACE(i);
      const NumericJoint joint(random.real(-0.5, 0.5), i % 2 == 0 ? 0.0 : random.real(-0.5, 0.5));
      const ZqReal q = random.real(-3.0, 3.0);
      const ZqReal rate = random.real(-2.0, 2.0);
      const FrameMotion unit(joint.reference({q, 1.0}));
      // Over a step of 2^-10, differences of fourth order have about 1e-12 of rounding for numbers up to a
      // few, and step^4 / 30 of a fifth derivative of up to pi^5.
      constexpr ZqReal ofDifference = 2e-11;
      const ZqReal within = ofDifference * std::abs(rate);
      expectMotion(joint.calculateVelocity(q, rate), unit, unit.v * rate, unit.w * rate, within);
      expectMotion(joint.calculateAcceleration(q, 0.0, rate), unit, unit.v * rate, unit.w * rate,
                   within);
      const ZqGeneralForce force = zqTest::randomForce(random);
      EXPECT_NEAR(joint.ZqLinkKinematics::torqueRequiredToExert(q, force),
                  force.force().dot(unit.toLocal(unit.v)) +
                     force.moment().dot(unit.toLocal(unit.w)),
                  4.0 * ofDifference);
   }
}

TEST(JointMotion, NumericVelocityProductsAreGoodToNineDigits)
{
   zqTest::RandomValues random(55);
   for (int i = 0; i < 100; ++i)
   {
      SCOPED_TRACE(i);
      const NumericJoint joint(random.real(-0.5, 0.5), random.real(0.3, 1.0));
      const ZqReal q = random.real(-3.0, 3.0);
      const ZqReal qd = random.real(0.1, 2.0);
      const FrameMotion expected(joint.reference({q, qd}));
      // The rounding of velocities over the step once more.
      expectMotion(joint.calculateAcceleration(q, qd, 0.0), expected, expected.a, expected.alpha,
                   5e-9 * qd * qd);
   }
}

// The quaternion of a rotational joint changes its sign at a quarter turn.
TEST(JointMotion, NumericVelocityIsRightWhereTheQuaternionChangesItsSign)
{
   zqTest::RandomValues random(54);
   for (int i = 0; i < 400; ++i)
   {
      const Joint joint = zqTest::randomJoint(random);
      const ZqReal q = (i % 2 == 0 ? -pi / 2 : pi / 2) - random.real(0.0, 1e-8);
      const ZqGeneralMotion velocity = joint.calculateVelocity(q, 0.7);
      const ZqGeneralMotion& numeric = joint.ZqLinkKinematics::calculateVelocity(q, 0.7);
      EXPECT_TRUE(numeric.approxEq(velocity, 2e-11)); // as above
   }
}
} // namespace
