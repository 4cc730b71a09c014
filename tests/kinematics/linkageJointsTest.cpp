#include "support/logCapture.h"
#include "support/referenceDynamics.h"
#include "zqManipulator/dynamics/tools/ZqArbiAccelerationTool.h"
#include "zqManipulator/kinematics/joint/ZqQuadrilateralObjects.h"

#include <gtest/gtest.h>

#include <functional>

namespace
{
using Linkage = ZqQuadrilateralTypeLink;
using Transformation = ZqCoordinateSystemTransformation;
using zqTest::CirclesOfLinkage;
using zqTest::FrameMotion;
using zqTest::Jet;
using zqTest::JetFrame;
using zqTest::LogCapture;
using zqTest::RandomValues;
using zqTest::Real;

/// Of lengths of ten.
constexpr ZqReal linkageTolerance = 1e-13;

/// A linkage in the plane of its frame; by default with C at (0, 4) and the pivot at (3, 0).
Linkage linkageInPlane(ZqU32 type, ZqReal slider, ZqReal opposite, ZqReal d1 = 4.0, ZqReal d2 = 5.0)
{
   Linkage joint;
   joint.setJointType(type);
   joint.setNominalLength(slider);
   joint.setOppositeLength(opposite);
   joint.setD1Length(d1);
   joint.setD2Length(d2);
   joint.setZDistanceA(0.25);
   joint.setZDistanceB(0.5);
   return joint;
}

TEST(LinkageJoints, CloseAsCirclesMeet)
{
   RandomValues random(71);
   for (int i = 0; i < 400; ++i)
   {
      SCOPED_TRACE(i);
      Linkage joint = zqTest::randomLinkage(random);
      const ZqReal q = random.real(-2.0, 2.0);
      const FrameMotion pivot(zqTest::frameOf(joint, q));
      EXPECT_TRUE(joint.calculateTransform(q).translation().approxEq(pivot.p, linkageTolerance));
      EXPECT_TRUE((joint.calculateTransform(q).orientation() * ZqVector::xVector(1.0))
                     .approxEq(pivot.axes[0], linkageTolerance));
      EXPECT_TRUE(joint.closesAt(q));

      // The default form: each position by itself, and at the height of the triangle.
      joint.setPivotFrame(false);
      const CirclesOfLinkage circles(joint, q);
      const int side = circles.side();
      const ZqReal height = static_cast<ZqReal>(
         std::abs(circles.A.x * circles.sine[side].x + joint.d1Length() * circles.cosine[side].x));
      const Transformation local = joint.precursor().inverse() * joint.calculateTransform(q);
      EXPECT_TRUE(
         local.translation().approxEq({height, 0.0, joint.zDistanceA()}, 10.0 * linkageTolerance));
      const ZqVector direction(static_cast<ZqReal>(circles.cosine[side].x),
                               static_cast<ZqReal>(circles.sine[side].x), 0.0);
      EXPECT_TRUE(
         (local.orientation() * ZqVector::xVector(1.0)).approxEq(direction, linkageTolerance));

      // B stands at the end of d2, with C behind it; A at the pivot.
      const bool isFixed = joint.jointType() == Linkage::FixedSlider;
      const ZqReal A = static_cast<ZqReal>(circles.A.x);
      const ZqReal side2 = isFixed ? joint.oppositeLength() : q + joint.nominalLength();
      const Transformation B = joint.precursor().inverse() * joint.frameBTransform(q);
      EXPECT_TRUE(B.translation().approxEq(ZqVector(A, 0.0, joint.zDistanceB()) +
                                              direction * joint.d2Length(),
                                           10.0 * linkageTolerance));
      EXPECT_TRUE(
         (B * ZqVector::xVector(-side2))
            .approxEq({0.0, joint.d1Length(), joint.zDistanceB()}, 10.0 * linkageTolerance));
      EXPECT_TRUE(joint.frameCTransform(q).approxEq(
         joint.frameBTransform(q) * Transformation(ZqVector::xVector(-(q + joint.nominalLength()))),
         10.0 * linkageTolerance));
      EXPECT_TRUE(joint.frameATransform(q).approxEq(
         joint.precursor() * Transformation(ZqVector(A, 0.0, joint.zDistanceA())),
         linkageTolerance));
   }
}

TEST(LinkageJoints, MoveAsTheirFrames)
{
   RandomValues random(72);
   for (int i = 0; i < 400; ++i)
   {
      SCOPED_TRACE(i);
      const auto joint = zqTest::randomLinkageOrScrew(random);
      const ZqReal q = random.real(-1.7, 1.7); // away from dead points
      const ZqReal qd = random.real(-2.0, 2.0);
      const ZqReal qdd = random.real(-2.0, 2.0);
      const FrameMotion expected(zqTest::frameOf(*joint, {q, qd, qdd}));
      const auto inFrame = [&](const ZqVector& linear, const ZqVector& angular)
      { return ZqGeneralMotion(expected.toLocal(linear), expected.toLocal(angular)); };
      constexpr ZqReal within = 1e-12; // the lever goes down to a few tenths of the lengths
      EXPECT_TRUE(joint->transformAt(q).translation().approxEq(expected.p, within));
      EXPECT_TRUE(joint->velocityAt(q, qd).approxEq(inFrame(expected.v, expected.w), within));
      EXPECT_TRUE(joint->accelerationAt(q, qd, qdd)
                     .approxEq(inFrame(expected.a, expected.alpha), 10.0 * within));
      EXPECT_EQ(joint->calculateVelocity(q, qd), joint->velocityAt(q, qd));
      EXPECT_EQ(joint->calculateAcceleration(q, qd, qdd), joint->accelerationAt(q, qd, qdd));
      EXPECT_EQ(joint->calculateTransform(q), joint->transformAt(q));
      // What the unit motion changes by is the difference of it.
      ZqGeneralMotion first;
      ZqGeneralMotion second;
      ZqGeneralMotion after;
      ZqGeneralMotion before;
      ZqGeneralMotion unused;
      ASSERT_TRUE(joint->unitMotionDerivatives(q, first, second));
      ASSERT_TRUE(joint->unitMotionDerivatives(q + 1e-5, after, unused));
      ASSERT_TRUE(joint->unitMotionDerivatives(q - 1e-5, before, unused));
      EXPECT_TRUE(((after - before) * 0.5e5).approxEq(second, 1e-7));
      EXPECT_TRUE(((joint->velocityAt(q + 1e-5, 1.0) - joint->velocityAt(q - 1e-5, 1.0)) * 0.5e5)
                     .approxEq(first, 1e-7));
   }
}

// Of the sides 3, 4, 5: with h = 3 the angle is that of sine 1 or so, all by hand.
TEST(LinkageJoints, DefaultFormHasItsRates)
{
   struct Case
   {
      ZqU32 type;
      ZqReal slider, opposite;
      ZqReal w, wd, linear; ///< at a rate of 2 and an acceleration of 3
   };
   // A = 3, d1 = 4, S = 25, d2 = 5, B = 6: k = 1.4, h = 4.8: sine 0.8, cosine 0.6; so the lever is 4.8 = h.
   const ZqReal D = (3.0 * 0.8 + 4.0 * 0.6) * 5.0;
   const ZqReal fixed = (5.0 * 0.6 + 3.0) * 2.0 / D;
   const ZqReal pivoted = -2.0 * 6.0 / D;
   const Case cases[] = {
      {Linkage::FixedSlider, 3.0, 6.0, fixed,
       ((5.0 * 0.6 + 3.0) * 3.0 + 4.0 - 2.0 * 5.0 * 0.8 * fixed * 2.0 + 5.0 * 1.4 * fixed * fixed) /
          D,
       1.0},
      {Linkage::PivotedSlider, 6.0, 3.0, pivoted,
       (1.4 * 5.0 * pivoted * pivoted - (3.0 * 6.0 + 4.0)) / D, 0.0}};
   for (const Case& c : cases)
   {
      SCOPED_TRACE(c.type);
      const Linkage joint = linkageInPlane(c.type, c.slider, c.opposite);
      EXPECT_TRUE(joint.calculateTransform(0.0).approxEq(
         {ZqVector(4.8, 0.0, 0.25), ZqOrientation::zRotation(std::atan2(0.8, 0.6))},
         linkageTolerance));
      EXPECT_TRUE(joint.calculateVelocity(0.0, 2.0).approxEq(
         {{2.0 * c.linear, 0.0, 0.0}, {0.0, 0.0, c.w}}, linkageTolerance));
      EXPECT_TRUE(joint.calculateAcceleration(0.0, 2.0, 3.0)
                     .approxEq({{3.0 * c.linear, 0.0, 0.0}, {0.0, 0.0, c.wd}}, linkageTolerance));
      ZqGeneralMotion unused;
      EXPECT_FALSE(joint.unitMotionDerivatives(0.0, unused, unused));
      EXPECT_EQ(joint.upperBoundDhFrameDistance(ZqJointActuator::defaultObject()), 0.0);
   }
}

TEST(LinkageJoints, LieFlatWhereTheyDoNotClose)
{
   for (const bool pivotFrame : {false, true})
      for (const ZqU32 type : {Linkage::FixedSlider, Linkage::PivotedSlider})
         for (const ZqReal d1 : {4.0, -4.0, 0.0})
            for (const bool tooLong : {false, true})
            {
               SCOPED_TRACE(testing::Message() << pivotFrame << type << d1 << tooLong);
               // The side from C is too long, or too short, by far.
               const ZqReal B = tooLong ? 30.0 : 0.01;
               const bool isFixed = type == Linkage::FixedSlider;
               Linkage joint = linkageInPlane(type, isFixed ? 3.0 : B, isFixed ? B : 3.0, d1, 0.5);
               joint.setPivotFrame(pivotFrame);
               LogCapture log;
               const Transformation X = joint.calculateTransform(0.0);
               joint.calculateTransform(0.0);
               ASSERT_EQ(log.text(),
                         "ZqQuadrilateralTypeLink::transformBy()-Invalid joint position\n\n");
               EXPECT_EQ(log.messages()[0].type, 4u);
               EXPECT_FALSE(joint.closesAt(0.0));
               // The end of d2 is the point of its circle that is farthest from C, or nearest to it.
               const ZqVector fromC = ZqVector(3.0, -d1, 0.0) / std::hypot(3.0, d1);
               EXPECT_TRUE((X.orientation() * ZqVector::xVector(1.0))
                              .approxEq(fromC * (tooLong ? 1.0 : -1.0), linkageTolerance));
               EXPECT_TRUE(
                  X.translation().approxEq({pivotFrame ? 3.0 : 0.0, 0.0, 0.25}, linkageTolerance));
               for (const Transformation* frame :
                    {&joint.frameBTransform(0.0), &joint.frameCTransform(0.0)})
                  EXPECT_LE(zqTest::lengthError(frame->orientation()), 1e-15);
               if (!pivotFrame)
                  continue;
               // It goes with the line from C to the pivot.
               const ZqReal w = isFixed ? d1 / (9.0 + d1 * d1) : 0.0;
               EXPECT_NEAR(joint.velocityAt(0.0, 2.0).angular().z(), 2.0 * w, linkageTolerance);
               const ZqReal change = joint.velocityAt(1e-6, 2.0).angular().z() -
                                     joint.velocityAt(-1e-6, 2.0).angular().z();
               EXPECT_NEAR(joint.accelerationAt(0.0, 2.0, 3.0).angular().z(),
                           change * 1e6 + 3.0 * w, 1e-8);
               ZqGeneralMotion first;
               ZqGeneralMotion second;
               EXPECT_TRUE(joint.unitMotionDerivatives(0.0, first, second));
            }
   // Degenerate sides have frames and motions that are numbers; a dead point rests at rest.
   const Linkage odd[] = {linkageInPlane(0, 0.0, 5.0, 0.0), linkageInPlane(1, 5.0, 0.0, 0.0, 5.0),
                          linkageInPlane(1, 5.0, 3.0, 4.0, 0.0), linkageInPlane(1, 10.0, 3.0),
                          linkageInPlane(0, 3.0, 10.0)};
   LogCapture log;
   for (Linkage joint : odd)
   {
      joint.setPivotFrame(true);
      EXPECT_TRUE(std::isfinite(joint.transformAt(0.0).orientation().w()));
      EXPECT_EQ(joint.velocityAt(0.0, 0.0), ZqGeneralMotion());
      EXPECT_TRUE(std::isfinite(joint.accelerationAt(0.0, 0.0, 1.0).angular().z()));
   }
}

TEST(LinkageJoints, UnknownSlidersAreRejected)
{
   RandomValues random(73);
   Linkage joint = zqTest::randomLinkage(random);
   const ZqReal w = joint.calculateVelocity(0.3, 2.0).angular().z();
   const Transformation B = joint.frameBTransform(0.3);
   joint.setJointType(7);
   LogCapture log;
   EXPECT_EQ(joint.calculateTransform(0.3), joint.precursor());
   EXPECT_EQ(joint.calculateVelocity(0.3, 5.0).angular(), ZqVector::zVector(w));
   EXPECT_EQ(joint.calculateAcceleration(0.3, 5.0, 1.0).angular(), ZqVector());
   EXPECT_EQ(joint.frameBTransform(0.3), B);
   EXPECT_EQ(joint.velocityAt(0.3, 5.0), ZqGeneralMotion());
   EXPECT_EQ(log.text(), "ZqQuadrilateralTypeLink::transformBy() bad joint type:\n\n"
                         "ZqQuadrilateralTypeLink::calculateVelocity() bad joint type:\n\n"
                         "ZqQuadrilateralTypeLink::calculateVelocity() bad joint type:\n\n"
                         "ZqQuadrilateralTypeLink::calculateAcceleration() bad joint type:\n\n"
                         "ZqQuadrilateralTypeLink::frameBTransform() bad joint type:\n\n"
                         "ZqQuadrilateralTypeLink::calculateVelocity() bad joint type:\n\n");
}

template <class Joint>
Joint randomOf(RandomValues& random)
{
   if constexpr (std::same_as<Joint, Linkage>)
      return zqTest::randomLinkage(random);
   else
      return zqTest::randomScrew(random);
}

/// What is alike in both.
template <class Joint>
void expectToBeMovedAndScaled(RandomValues& random)
{
   const Joint joint = randomOf<Joint>(random);
   const Transformation X = zqTest::randomFrame(random);
   Joint moved = joint;
   moved.calculateTransform(0.3);
   moved.transformBy(X);
   EXPECT_TRUE(
      moved.calculateTransform(0.3).approxEq(X * joint.transformAt(0.3), 10 * linkageTolerance));
   moved = joint;
   moved.calculateTransform(0.3);
   moved.changeInboardFrameBy(X);
   EXPECT_TRUE(moved.precursor().approxEq(joint.precursor() * X, linkageTolerance));
   EXPECT_EQ(moved.calculateTransform(0.3), moved.transformAt(0.3));
   // A scaled joint is at the scaled place where its position is scaled.
   moved = joint;
   moved.calculateTransform(0.6);
   moved.scaleBy(2.0);
   Transformation scaled = joint.transformAt(0.3);
   scaled.scaleTranslationBy(2.0);
   EXPECT_TRUE(moved.calculateTransform(0.6).approxEq(scaled, 10.0 * linkageTolerance));
   EXPECT_EQ(moved.primaryFrame(), joint.primaryFrame());
   EXPECT_EQ(moved.jointParameterScalability(), 1.0);
   EXPECT_EQ(moved.unitType(), 0u);
   EXPECT_TRUE(joint.approxEq(joint, 0.0));
   EXPECT_FALSE(joint.approxEq(moved, 1e-9));

   ZqJointActuator limits = ZqJointActuator::defaultObject();
   limits.setLowerLimit(-2.0);
   limits.setUpperLimit(1.5);
   const ZqReal bound = joint.upperBoundDhFrameDistance(limits);
   for (ZqReal q = -2.0; q <= 1.5; q += 0.25)
      EXPECT_LE(joint.transformAt(q).translation().mag(), bound + linkageTolerance);
}

TEST(LinkageJoints, AreMovedAndScaled)
{
   RandomValues random(74);
   for (int i = 0; i < 30; ++i)
   {
      expectToBeMovedAndScaled<ZqScrewTypeLink>(random);
      expectToBeMovedAndScaled<Linkage>(random);
   }
}

/// A manipulator of two linkages, with an object at a member of each.
struct BoundObjects : testing::Test
{
   BoundObjects()
   {
      model = zqTest::makeManipulator({zqTest::onBase, 0, 1},
                                      [&](ZqU32 i)
                                      {
                                         ZqManipulatorLink link;
                                         if (i == 2)
                                            link.setLinkKinematics(zqTest::randomScrew(random));
                                         else
                                            link.setLinkKinematics(linkage(i));
                                         return link;
                                      });
      model.setCoordSysXForm(zqTest::randomFrame(random));
      ZqGeneralBoundObjectVector list;
      add<ZqQuadrilateralFixedSliderJointOAObject>(list, "label0");
      add<ZqQuadrilateralFixedSliderJointCBObject>(list, "label0");
      add<ZqQuadrilateralPivotedSliderJointBObject>(list, "label1");
      add<ZqQuadrilateralPivotedSliderJointCObject>(list, "label1");
      model.setGeneralBoundObjects(list);
      ZqPositionState position;
      position.setJointPositions(ZqRealVector{0.3, -0.7, 0.1});
      state.setPositionState(position);
   }
   Linkage linkage(ZqU32 type)
   {
      Linkage joint = zqTest::randomLinkage(random);
      while (joint.jointType() != type)
         joint = zqTest::randomLinkage(random);
      return joint;
   }
   template <class Object>
   void add(ZqGeneralBoundObjectVector& list, const char* label)
   {
      Object object;
      object.setlinkIdentifier(label);
      object.setPrimaryFrame(zqTest::randomFrame(random));
      object.setShape(ZqSphere({}, 0.5, 3));
      list.pushBack(object);
   }
   static ZqBaseQuadrilateralObject& object(ZqIndividualManipulator& of, ZqU32 i)
   {
      return dynamic_cast<ZqBaseQuadrilateralObject&>(
         const_cast<ZqGeneralBoundObjectVector&>(of.generalBoundObjects())[i]);
   }

   RandomValues random{75};
   ZqIndividualManipulator model;
   ZqManipulatorActivePositionState state;
};

TEST_F(BoundObjects, StandAtTheMembersOfTheirLinkages)
{
   ZqIndividualManipulator moved(std::move(model));
   model = moved; // and each knows its own
   for (ZqIndividualManipulator* manipulator : {&model, &moved})
      for (ZqU32 i = 0; i < 4; ++i)
      {
         SCOPED_TRACE(i);
         const ZqManipulatorLink& link = *manipulator->linkByIndex(i / 2);
         const auto& joint =
            dynamic_cast<const Linkage&>(*link.linkKinematicsContainer().topElement());
         const ZqReal q = i / 2 == 0 ? 0.3 : -0.7;
         const Transformation& frame = i == 0   ? joint.frameATransform(q)
                                       : i == 3 ? joint.frameCTransform(q)
                                                : joint.frameBTransform(q);
         const ZqBaseQuadrilateralObject& at = object(*manipulator, i);
         EXPECT_EQ(at.manipulator(), manipulator);
         EXPECT_TRUE(at.locationInSystem(state).approxEq(link.parentLink()->dhFrameInSystem(state) *
                                                            frame * at.primaryFrame(),
                                                         linkageTolerance));
      }
}

TEST_F(BoundObjects, RejectWhatIsNoneOfTheirLinkages)
{
   const char* const names[] = {
      "ZqQuadrilateralFixedSliderJointOAObject", "ZqQuadrilateralFixedSliderJointCBObject",
      "ZqQuadrilateralPivotedSliderJointBObject", "ZqQuadrilateralPivotedSliderJointCObject"};
   for (ZqU32 i = 0; i < 4; ++i)
   {
      ZqBaseQuadrilateralObject& at = object(model, i);
      const Transformation before = at.locationInSystem(state);
      const std::pair<const char*, std::string> cases[] = {
         {"label7", "invalid link identifier.\n"},
         {"label2", "link kinematics must be of type ZqQuadrilateralTypeLink.\n"},
         {i < 2 ? "label1" : "label0", std::string("incompatible joint type. ") +
                                          (i < 2 ? "FIXED" : "PIVOTED") + "_SLIDER expected.\n"},
         {i < 2 ? "label0" : "label1", "out of range index.\n"}};
      for (const auto& [label, message] : cases)
      {
         at.setlinkIdentifier(label);
         ZqManipulatorActivePositionState empty;
         LogCapture log;
         EXPECT_EQ(at.locationInSystem(label == cases[3].first ? empty : state), before);
         EXPECT_EQ(log.text(), std::string(names[i]) + "::location - " + message + "\n");
      }
   }
}

TEST_F(BoundObjects, FollowTheirLinks)
{
   ASSERT_TRUE(model.changeLinkLabel("label1", "boom"));
   EXPECT_EQ(object(model, 2).linkIdentifier(), "boom");
   const ZqReal before = object(model, 0).primaryFrame().translation().mag();
   model.scaleBy(2.0);
   EXPECT_NEAR(object(model, 0).primaryFrame().translation().mag(), 2.0 * before, linkageTolerance);
   LogCapture log;
   model.clearChildLinks();
   EXPECT_EQ(model.generalBoundObjects().size(), 0u);
   EXPECT_TRUE(log.contains("bound object 3 is removed with its link")) << log.text();
}

/// Kinetic energy and that of weight.
ZqReal energyOf(const zqTest::RandomScene& scene)
{
   ZqManipulatorActiveState state = scene.activeState();
   return scene.kineticEnergy(state) + scene.potentialEnergy(state);
}

// Four links under their weight, by the method of Runge and Kutta: what is lost goes with the fourth power of the
// step, or is rounding.
TEST(LinkageJoints, KeepTheEnergyOfWhatTheyMove)
{
   ZqArbiAccelerationTool tool;
   for (ZqU32 seed = 0; seed < 6; ++seed)
   {
      SCOPED_TRACE(seed);
      zqTest::SceneKind kind{zqTest::chain(4), true, false, false, true};
      zqTest::RandomScene scene(seed, kind);
      scene.velocity.setGeneralVelocity({});
      const ZqU32 n = scene.jointDof();
      scene.velocity.setJointVelocities(ZqRealVector(n));
      for (ZqReal& q : scene.position.jointPositions())
         q *= 0.5; // so that linkages close all the time
      scene.external = {};
      scene.external.resize(n);
      const auto accelerationsAt = [&](const ZqRealVector& q, const ZqRealVector& qd)
      {
         scene.position.setJointPositions(q);
         scene.velocity.setJointVelocities(qd);
         ZqManipulatorActiveState state = scene.activeState();
         ZqManipulatorTorque none;
         none.setJointTorques(ZqRealVector(n));
         ZqAccelerationState result;
         tool.acceleration(scene.system, scene.manipulator(), scene.position, scene.velocity, none,
                           scene.external, result, state);
         return result.jointAccelerations().values();
      };
      const auto along = [](ZqRealVector x, const ZqRealVector& by, ZqReal time)
      {
         for (std::size_t i = 0; i < x.size(); ++i)
            x[i] += time * by[i];
         return x;
      };
      const ZqReal start = energyOf(scene);
      ZqReal motion = 0.0;
      ZqRealVector q = scene.position.jointPositions().values();
      ZqRealVector v = scene.velocity.jointVelocities().values();
      constexpr ZqReal h = 1e-3;
      for (int step = 0; step < 300; ++step)
      {
         const ZqRealVector a1 = accelerationsAt(q, v);
         const ZqRealVector v2 = along(v, a1, h / 2.0);
         const ZqRealVector a2 = accelerationsAt(along(q, v, h / 2.0), v2);
         const ZqRealVector v3 = along(v, a2, h / 2.0);
         const ZqRealVector a3 = accelerationsAt(along(q, v2, h / 2.0), v3);
         const ZqRealVector v4 = along(v, a3, h);
         const ZqRealVector a4 = accelerationsAt(along(q, v3, h), v4);
         for (std::size_t i = 0; i < n; ++i)
         {
            q[i] += h / 6.0 * (v[i] + 2.0 * v2[i] + 2.0 * v3[i] + v4[i]);
            v[i] += h / 6.0 * (a1[i] + 2.0 * a2[i] + 2.0 * a3[i] + a4[i]);
         }
         scene.position.setJointPositions(q);
         scene.velocity.setJointVelocities(v);
         ZqManipulatorActiveState state = scene.activeState();
         motion = std::max(motion, scene.kineticEnergy(state));
      }
      EXPECT_GT(motion, 10.0);
      EXPECT_NEAR(energyOf(scene), start, 1e-8 * motion);
   }
}
} // namespace
