#include "support/logCapture.h"
#include "support/randomModels.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"

#include <gtest/gtest.h>

#include <functional>

namespace
{
using Joint = ZqDenavitHartenberg;
using Transformation = ZqCoordinateSystemTransformation;
using zqTest::epsilon;
using zqTest::nan;
using zqTest::pi;
using zqTest::ReferenceFrame;

/// A few dozen roundings of numbers up to about four: lengths here are below two.
constexpr ZqReal tolerance = 60.0 * epsilon;

/// Counts how often a transformation is computed.
class CountingJoint : public Joint
{
public:
   using Joint::Joint;
   explicit CountingJoint(const Joint& joint) : Joint(joint) {}
   using Joint::transformBy;
   void transformBy(Transformation& result, ZqReal jointPosition) const override
   {
      ++computations;
      Joint::transformBy(result, jointPosition);
   }
   mutable int computations = 0;
};

/// Joint type and D-H type.
class EveryJoint : public testing::TestWithParam<std::tuple<ZqU32, ZqU32>>
{
protected:
   ZqU32 jointType() const { return std::get<0>(GetParam()); }
   ZqU32 dhType() const { return std::get<1>(GetParam()); }
   bool isGeneral() const { return dhType() == Joint::General; }
   Joint randomJoint() { return zqTest::randomJoint(random, jointType(), dhType()); }
   ZqReal randomPosition()
   {
      return jointType() == Joint::Rotational ? zqTest::randomAngle(random)
                                              : random.real(-2.0, 2.0);
   }
   zqTest::RandomValues random{41};
};
INSTANTIATE_TEST_SUITE_P(DenavitHartenberg, EveryJoint,
                         testing::Combine(testing::Values(0U, 1U),
                                          testing::Values(0U, 1U, 2U, 3U, 4U)));

TEST_P(EveryJoint, TransformsByTheTableOfConventions)
{
   for (int i = 0; i < 500; ++i)
   {
      const Joint joint = randomJoint();
      const ZqReal q = randomPosition();
      SCOPED_TRACE(testing::Message() << "q " << q << " alpha " << ZqReal(joint.dhAlpha()));
      const Transformation& X = joint.calculateTransform(q);
      EXPECT_LE(ReferenceFrame::ofJoint(joint, q).difference(X), tolerance);
      EXPECT_LE(zqTest::lengthError(X.orientation()), 8.0 * epsilon);
      // The mode must not hide a part.
      const ZqVector point = random.vector();
      EXPECT_TRUE((X * point).approxEq(ReferenceFrame(X) * point, tolerance));
      // What the result held goes first, but for general joints.
      const Transformation held = zqTest::randomFrame(random, random.index(0, 3));
      Transformation result = held;
      joint.transformBy(result, q);
      EXPECT_TRUE(result.approxEq(isGeneral() ? X : held * X, tolerance));
      EXPECT_TRUE((result * point).approxEq(ReferenceFrame(result) * point, tolerance));
   }
}

TEST_P(EveryJoint, KeepsTheTransformUntilSomethingChanges)
{
   const Transformation frame = zqTest::randomFrame(random);
   const std::function<void(Joint&)> changes[] = {
      [&](Joint& j) { j.setDhA(0.7); },
      [&](Joint& j) { j.setDhD(0.7); },
      [&](Joint& j) { j.setDhAlpha(0.7); },
      [&](Joint& j) { j.setDhTheta(0.7); },
      [&](Joint& j) { j.setDhType((dhType() + 1) % 5); },
      [&](Joint& j) { j.setJointType(1 - jointType()); },
      [&](Joint& j) { j.setPrecursor(frame); },
      [&](Joint& j) { j.transformBy(frame); },
      [&](Joint& j) { j.changeInboardFrameBy(frame); },
      [&](Joint& j) { j.scaleBy(2.0); }};
   for (const auto& change : changes)
   {
      const CountingJoint joint(randomJoint());
      // A fresh joint is not taken for one at its first position; -0 is an equal position.
      EXPECT_LE(ReferenceFrame::ofJoint(joint, 0.0).difference(joint.calculateTransform(0.0)),
                tolerance);
      joint.calculateTransform(-0.0);
      EXPECT_EQ(joint.computations, 1);
      joint.calculateTransform(std::nextafter(0.3, 1.0));
      const Transformation value = joint.calculateTransform(0.3);
      EXPECT_EQ(joint.calculateTransform(0.3), value);
      EXPECT_EQ(joint.computations, 3);

      CountingJoint copy = joint;
      CountingJoint assigned;
      assigned = joint;
      for (CountingJoint* same : {&copy, &assigned})
      {
         same->computations = 0;
         same->setPrimaryFrame(frame); // not part of the transform
         EXPECT_EQ(same->calculateTransform(0.3), value);
         EXPECT_EQ(same->computations, 0);
      }
      change(copy);
      EXPECT_LE(ReferenceFrame::ofJoint(copy, 0.3).difference(copy.calculateTransform(0.3)),
                2.0 * tolerance);
      EXPECT_EQ(copy.computations, 1);
      EXPECT_EQ(joint.calculateTransform(0.3), value);
      EXPECT_EQ(joint.computations, 3);
   }
}

TEST_P(EveryJoint, MovesWithItsInboardFrame)
{
   const bool isPlain = dhType() == Joint::Paul || dhType() == Joint::Craig;
   const ZqU32 promoted = isPlain ? dhType() + 1 : dhType();
   for (int i = 0; i < 50; ++i)
   {
      const Joint joint = randomJoint();
      const Transformation before = isPlain ? Transformation() : joint.precursor();
      const Transformation T = zqTest::randomFrame(random, random.index(0, 3));
      const ZqReal q = randomPosition();
      const Transformation X = joint.calculateTransform(q);

      Joint moved = joint;
      moved.transformBy(T);
      EXPECT_EQ(moved.dhType(), promoted);
      EXPECT_EQ(moved.precursor(), T * before);
      EXPECT_TRUE(moved.calculateTransform(q).approxEq(T * X, tolerance));
      moved.scaleBy(2.5);
      EXPECT_TRUE((moved.primaryFrame() * moved.primaryFrameInverse()).approxEq({}, tolerance));
      Joint changed = joint;
      changed.changeInboardFrameBy(T);
      EXPECT_EQ(changed.dhType(), promoted);
      EXPECT_EQ(changed.precursor(), before * T);
      // Its own precursor as the argument, also where that is forgotten in the same moment.
      for (const Joint& each : {joint, changed})
      {
         const Transformation& own = each.precursor();
         const Transformation expected = each.dhType() != promoted ? own : own * own;
         Joint aliased = each;
         aliased.transformBy(aliased.precursor());
         EXPECT_EQ(aliased.precursor(), expected);
         aliased = each;
         aliased.changeInboardFrameBy(aliased.precursor());
         EXPECT_EQ(aliased.precursor(), expected);
      }
   }
}

TEST(DenavitHartenberg, PicksTheLargestOfTheQuaternionPositive)
{
   using Real = long double;
   std::vector<ZqReal> angles{0.0, 1e-300, 1e-9, 0.4, pi / 2, std::nextafter(pi / 2, 4.0)};
   angles.insert(angles.end(), {2.0, pi, 4.0, 1.5 * pi, 2.0 * pi, 3.0 * pi, 1e6, 1e15});
   for (std::size_t i = angles.size(); i-- > 0;)
      angles.push_back(-angles[i]);
   for (const ZqU32 dhType : {Joint::Paul, Joint::Craig})
      for (const ZqReal alpha : angles)
         for (const ZqReal q : angles)
         {
            SCOPED_TRACE(testing::Message() << dhType << " alpha " << alpha << " q " << q);
            Joint joint;
            joint.setDhType(dhType);
            joint.setDhAlpha(alpha);
            const Real cq = std::cos(Real(q) / 2);
            const Real sq = std::sin(Real(q) / 2);
            const Real cx = std::cos(Real(alpha) / 2);
            const Real sx = std::sin(Real(alpha) / 2);
            std::array<Real, 4> expected{cq * cx, cq * sx, sq * sx, sq * cx};
            const bool forward = std::cos(q) > 0.0;
            const std::size_t pivot =
               forward ? (std::cos(alpha) > 0.0 ? 0 : 1) : (std::cos(alpha) < 0.0 ? 2 : 3);
            const Real sign = std::copysign(Real(1), expected[pivot]);
            expected[2] *= dhType == Joint::Craig ? -1 : 1;
            const ZqOrientation& o = joint.calculateTransform(q).orientation();
            for (std::size_t i = 0; i < 4; ++i) // sine, cosine, a product and a root
               EXPECT_NEAR(o[i], static_cast<ZqReal>(sign * expected[i]), 4.0 * epsilon) << i;
         }
}

TEST(DenavitHartenberg, UnknownTypesAreReportedAndLeaveTheResult)
{
   zqTest::RandomValues random(42);
   for (ZqU32 dhType = 0; dhType <= 5; ++dhType)
      for (const ZqU32 jointType : {0U, 1U, 7U, 0xFFFFFFFFU})
      {
         const bool knowsDhType = dhType < 5;
         if (knowsDhType && jointType < 2)
            continue;
         SCOPED_TRACE(testing::Message() << dhType << ' ' << jointType);
         const bool isPaul = dhType < 2;
         const bool isGeneral = dhType == Joint::General;
         zqTest::LogCapture log;
         // A D-H type that is not known is not asked for its joint type.
         const auto expectMessage = [&](const std::string& operation, bool jointTypeIsReported)
         {
            const std::string fault = knowsDhType ? "bad joint type:\n" : "bad D-H type:\n";
            const bool isReported = !knowsDhType || jointTypeIsReported;
            EXPECT_EQ(log.text(),
                      isReported ? "ZqDenavitHartenberg::" + operation + "() " + fault + "\n" : "");
            EXPECT_TRUE(log.empty() || log.messages()[0].type == Zq::Rejected);
            log.clear();
         };
         Joint joint = zqTest::randomJoint(random, jointType, dhType);

         // Families compose the precursor and then nothing.
         const bool composes = dhType == Joint::GeneralPaul || dhType == Joint::GeneralCraig;
         EXPECT_TRUE(joint.calculateTransform(0.5).approxEq(
            composes ? joint.precursor() : Transformation(), tolerance));
         expectMessage("calculateTransform", !isGeneral);
         const ZqGeneralMotion old = zqTest::randomMotion(random);
         ZqGeneralMotion motion = old;
         joint.getUnitFrameMotion(motion, 0.5);
         expectMessage("getUnitFrameMotion", !isGeneral);
         EXPECT_EQ(motion, old);
         joint.accelerationFromJointVelocity(2.0, random.vector(), old.linear(), old.angular(),
                                             motion);
         expectMessage("accelerationFromJointVelocity", isPaul);
         EXPECT_EQ(motion, old);
         joint.jointParameterScalability();
         EXPECT_EQ(log.contains("::jointParameterScalability(): unknown joint type (" +
                                std::to_string(static_cast<int>(jointType)) + ").\n"),
                   jointType > 1);
      }
}

TEST(DenavitHartenberg, ApproximateEqualityIsOfEveryMemberThatCounts)
{
   zqTest::RandomValues random(43);
   const Joint joint = zqTest::randomJoint(random, Joint::Prismatic, Joint::GeneralCraig);
   const ZqReal step = 1e-3;
   const std::function<void(Joint&, ZqReal)> shifts[] = {
      [](Joint& j, ZqReal by) { j.setDhA(j.dhA() + by); },
      [](Joint& j, ZqReal by) { j.setDhD(j.dhD() + by); },
      [](Joint& j, ZqReal by) { j.setDhAlpha(j.dhAlpha() + by); },
      [](Joint& j, ZqReal by) { j.setDhTheta(j.dhTheta() + by); },
      [](Joint& j, ZqReal by)
      { j.setPrimaryFrame(j.primaryFrame() * Transformation(ZqVector(0.0, by, 0.0))); }};
   for (const auto& shift : shifts)
      for (const ZqReal by : {0.9, -0.9, 1.1, -1.1, nan})
      {
         Joint other = joint;
         shift(other, by * step);
         EXPECT_EQ(joint.approxEq(other, step), std::abs(by) < 1.0) << by;
      }
   // The D-H type and the precursor take no part, the joint type does.
   Joint other = joint;
   other.setDhType(Joint::Craig);
   other.setPrecursor(zqTest::randomFrame(random));
   EXPECT_TRUE(joint.approxEq(other, step));
   other.setJointType(Joint::Rotational);
   EXPECT_FALSE(joint.approxEq(other, step));
}

TEST(DenavitHartenberg, WhatIsDerivedFromTheMembersFollowsADocument)
{
   const Joint joint = Joint::defaultObject();
   ZqString document;
   ASSERT_TRUE(Zq::toXml(joint, document));
   // A joint that is read over keeps its transform for the last position, and for that one alone.
   Joint read;
   const Transformation stale = read.calculateTransform(0.7);
   ASSERT_TRUE(Zq::fromXml(read, document));
   EXPECT_EQ(read, joint);
   EXPECT_EQ(read.calculateTransform(0.7), stale);
   EXPECT_EQ(read.calculateTransform(0.8), joint.calculateTransform(0.8));
   EXPECT_EQ(read.primaryFrameInverse(), joint.primaryFrameInverse());
   EXPECT_EQ(read.calculateVelocity(0.7, 1.0), joint.calculateVelocity(0.7, 1.0));
}
} // namespace
