#include "support/randomModels.h"

#include <gtest/gtest.h>

#include <functional>

namespace
{
using Joint = ZqDenavitHartenberg;
using Transformation = ZqCoordinateSystemTransformation;
using zqTest::epsilon;
using zqTest::ReferenceFrame;
using Real = long double;

constexpr ZqReal pi = ZqMath::pi;
constexpr Real referenceEpsilon = std::numeric_limits<Real>::epsilon();

using Motion = std::function<ReferenceFrame(Real time)>;

/// The motion of a frame at time 0: by central differences of its matrix, three of them with steps h,
/// h/2 and h/4 extrapolated to a step of zero. What is left of the truncation is of order h^6, for
/// frequencies of a few rad/s below 1e-15 (h = 1/256) and 1e-11 (h = 1/32) of the derivative.
struct FrameDerivatives
{
   explicit FrameDerivatives(const Motion& X)
   {
      const ReferenceFrame frame = X(0);
      const auto first = [&](Real h) { return combine(X(h), 1 / (2 * h), X(-h), -1 / (2 * h)); };
      const auto second = [&](Real h)
      { return combine(X(h), 1 / (h * h), X(-h), 1 / (h * h), frame, -2 / (h * h)); };
      const ReferenceFrame rate = extrapolated(first, firstStep);
      const ReferenceFrame rateOfRate = extrapolated(second, secondStep);
      // Rates of the origin and, from the skew part of R^T R' and R^T R'', of the axes.
      linear = local(frame, rate);
      angular = turn(frame, rate);
      linearAcceleration = local(frame, rateOfRate);
      angularAcceleration = turn(frame, rateOfRate);
   }

   static constexpr Real firstStep = 1.0L / 256;
   static constexpr Real secondStep = 1.0L / 32;
   /// The rounding of differences of numbers up to ten, by the smallest step, and the truncation.
   static ZqReal firstTolerance()
   {
      return static_cast<ZqReal>(40 * referenceEpsilon / (firstStep / 4)) + 1e-13;
   }
   static ZqReal secondTolerance()
   {
      return static_cast<ZqReal>(160 * referenceEpsilon / (secondStep * secondStep / 16)) + 1e-9;
   }

   /// In the axes of the frame.
   ZqVector linear, angular, linearAcceleration, angularAcceleration;

private:
   static ReferenceFrame combine(const ReferenceFrame& a, Real fa, const ReferenceFrame& b, Real fb,
                                 const ReferenceFrame& c = {}, Real fc = 0)
   {
      ReferenceFrame result;
      for (std::size_t i = 0; i < 4; ++i)
         for (std::size_t j = 0; j < 4; ++j)
            result.m[i][j] = fa * a.m[i][j] + fb * b.m[i][j] + fc * c.m[i][j];
      return result;
   }
   template <class Difference>
   static ReferenceFrame extrapolated(const Difference& d, Real h)
   {
      const ReferenceFrame half = d(h / 2);
      const ReferenceFrame coarse = combine(half, 4.0L / 3, d(h), -1.0L / 3);
      const ReferenceFrame fine = combine(d(h / 4), 4.0L / 3, half, -1.0L / 3);
      return combine(fine, 16.0L / 15, coarse, -1.0L / 15);
   }
   static ZqReal element(const ReferenceFrame& X, const ReferenceFrame& rate, std::size_t i,
                         std::size_t j)
   {
      return static_cast<ZqReal>(X.m[0][i] * rate.m[0][j] + X.m[1][i] * rate.m[1][j] +
                                 X.m[2][i] * rate.m[2][j]);
   }
   static ZqVector local(const ReferenceFrame& X, const ReferenceFrame& rate)
   {
      return {element(X, rate, 0, 3), element(X, rate, 1, 3), element(X, rate, 2, 3)};
   }
   static ZqVector turn(const ReferenceFrame& X, const ReferenceFrame& rate)
   {
      const auto skew = [&](std::size_t i, std::size_t j)
      { return (element(X, rate, i, j) - element(X, rate, j, i)) / 2; };
      return {skew(2, 1), skew(0, 2), skew(1, 0)};
   }
};

/// q + qd t + qdd t^2 / 2
struct Trajectory
{
   explicit Trajectory(zqTest::RandomValues& random)
      : q(random.real(-3.0, 3.0)), qd(random.real(-2.0, 2.0)), qdd(random.real(-2.0, 2.0))
   {
   }
   Real operator()(Real t) const { return q + qd * t + qdd * t * t / 2; }
   ZqReal q, qd, qdd;
};

void expectMotion(const ZqGeneralMotion& motion, const ZqVector& linear, const ZqVector& angular,
                  ZqReal tolerance)
{
   EXPECT_TRUE(motion.approxEq({linear, angular}, tolerance))
      << "linear " << (motion.linear() - linear).mag() << ", angular "
      << (motion.angular() - angular).mag() << " off, tolerance " << tolerance;
}

TEST(JointMotion, IsTheDerivativeOfTheFrame)
{
   zqTest::RandomValues random(51);
   for (ZqU32 i = 0; i < 400; ++i)
   {
      const Joint joint = zqTest::randomJoint(random, i % 2, i / 2 % 5);
      const Trajectory q(random);
      SCOPED_TRACE(i);
      const FrameDerivatives expected([&](Real t) { return ReferenceFrame::ofJoint(joint, q(t)); });
      const ZqGeneralMotion velocity = joint.calculateVelocity(q.q, q.qd);
      expectMotion(velocity, expected.linear, expected.angular, FrameDerivatives::firstTolerance());
      expectMotion(joint.calculateAcceleration(q.q, q.qd, q.qdd), expected.linearAcceleration,
                   expected.angularAcceleration, FrameDerivatives::secondTolerance());
      ZqGeneralMotion unit;
      joint.getUnitFrameMotion(unit, q.q);
      EXPECT_EQ(velocity, unit * q.qd);
      EXPECT_EQ(joint.calculateAcceleration(q.q, 0.0, 1.0), unit);

      // The power of a force on the unit motion, and so on any velocity.
      const ZqGeneralForce force = zqTest::randomForce(random);
      EXPECT_NEAR(joint.torqueRequiredToExert(q.q, force),
                  force.force().dot(unit.linear()) + force.moment().dot(unit.angular()),
                  10.0 * epsilon);
   }
}

TEST(JointMotion, VelocityProductsAreThoseOfAMovingChain)
{
   zqTest::RandomValues random(52);
   for (ZqU32 i = 0; i < 400; ++i)
   {
      const Joint joint = zqTest::randomJoint(random, i % 2, i / 2 % 5);
      const Joint inboard[] = {zqTest::randomJoint(random, Joint::Rotational, random.index(0, 4)),
                               zqTest::randomJoint(random)};
      const Trajectory q0(random);
      const Trajectory q1(random);
      const Trajectory q(random);
      SCOPED_TRACE(i);
      const Motion parent = [&](Real t) {
         return ReferenceFrame::ofJoint(inboard[0], q0(t)) *
                ReferenceFrame::ofJoint(inboard[1], q1(t));
      };
      const FrameDerivatives ofParent(parent);
      const FrameDerivatives ofChild([&](Real t)
                                     { return parent(t) * ReferenceFrame::ofJoint(joint, q(t)); });

      // What the parent and the joint's own acceleration give to the frame, in its axes.
      const Transformation X = joint.calculateTransform(q.q);
      const ZqOrientation toFrame = X.orientation().inverse();
      const ZqVector p = X.translation();
      const ZqVector& w = ofParent.angular;
      const ZqGeneralMotion own = joint.calculateAcceleration(q.q, 0.0, q.qdd);
      const ZqVector linear =
         toFrame * (ofParent.linearAcceleration + ofParent.angularAcceleration.cross(p) +
                    w.cross(w.cross(p))) +
         own.linear();
      const ZqVector angular = toFrame * ofParent.angularAcceleration + own.angular();
      ZqGeneralMotion result = zqTest::randomMotion(random);
      joint.accelerationFromJointVelocity(q.qd, toFrame * w, linear, angular, result);
      // Two numeric derivatives, one of them times a length of up to a few metres.
      expectMotion(result, ofChild.linearAcceleration, ofChild.angularAcceleration,
                   10.0 * FrameDerivatives::secondTolerance());
   }
}

/// A joint with no closed form for its motion: it turns about and slides along z, coupled by a
/// pitch, with a wobble of the axis so that its rates depend on the joint position.
class NumericJoint : public Joint
{
public:
   NumericJoint(ZqReal pitch, ZqReal wobble) : m_pitch(pitch), m_wobble(wobble) {}

   ReferenceFrame reference(Real q) const
   {
      return ReferenceFrame::translation(2, q) *
             ReferenceFrame::rotation(2, 2 * std::numbers::pi_v<Real> * m_pitch * q) *
             ReferenceFrame::rotation(0, m_wobble * std::sin(q)) *
             ReferenceFrame::translation(1, m_wobble * std::cos(q));
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
      const Trajectory q(random);
      const FrameDerivatives expected([&](Real t) { return joint.reference(q(t)); });
      const FrameDerivatives unit([&](Real t) { return joint.reference(q.q + t); });
      // A forward difference over 1e-8 has about 2 epsilon / 1e-8 of rounding for numbers up to a
      // few, and half the second derivative, up to about ten here, times 1e-8 of truncation.
      constexpr ZqReal tolerance = 3e-7;
      const ZqReal rate = std::max(std::abs(q.qd), std::abs(q.qdd));
      expectMotion(joint.calculateVelocity(q.q, q.qd), expected.linear, expected.angular,
                   tolerance * rate);
      expectMotion(joint.calculateAcceleration(q.q, 0.0, q.qdd), unit.linear * q.qdd,
                   unit.angular * q.qdd, tolerance * rate);
      const ZqGeneralForce force = zqTest::randomForce(random);
      EXPECT_NEAR(joint.ZqLinkKinematics::torqueRequiredToExert(q.q, force),
                  force.force().dot(unit.linear) + force.moment().dot(unit.angular),
                  4.0 * tolerance);
   }
}

TEST(JointMotion, NumericVelocityProductsStandOutOfTheirRounding)
{
   zqTest::RandomValues random(55);
   for (int i = 0; i < 100; ++i)
   {
      // Second differences over 1e-8 are rounded by about ten times the square of the rate, whatever
      // the joint; near zero, and for a joint that turns this fast, that is less than a percent.
      SCOPED_TRACE(i);
      const NumericJoint joint(random.real(20.0, 50.0) * (i % 2 == 0 ? 1.0 : -1.0),
                               random.real(0.3, 1.0));
      const ZqReal q = random.real(-0.05, 0.05);
      const ZqReal qd = random.real(0.005, 0.01);
      const FrameDerivatives expected([&](Real t) { return joint.reference(q + qd * t); });
      const ZqReal size = expected.linearAcceleration.mag() + expected.angularAcceleration.mag();
      expectMotion(joint.calculateAcceleration(q, qd, 0.0), expected.linearAcceleration,
                   expected.angularAcceleration, 0.03 * size);
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
      expectMotion(joint.ZqLinkKinematics::calculateVelocity(q, 0.7), velocity.linear(),
                   velocity.angular(), 3e-7); // as above
   }
}
} // namespace
