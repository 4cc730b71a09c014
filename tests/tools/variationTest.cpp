#include "support/logCapture.h"
#include "zqManipulator/dynamics/tools/ZqMassMatrixTool.h"
#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/algebra/ZqRandom.h"
#include "zqManipulator/foundation/geometry/ZqBox.h"
#include "zqManipulator/foundation/xml/ZqSha256.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/kinematics/joint/ZqDenavitHartenberg.h"
#include "zqManipulator/simulation/constraints/ZqPointStateEqualityConstraint.h"
#include "zqManipulator/simulation/constraints/ZqStateEqualityConstraintVector.h"
#include "zqManipulator/simulation/constraints/ZqXyStateEqualityConstraint.h"
#include "zqManipulator/simulation/step/ZqSimulation.h"
#include "zqManipulator/tools/sampling/ZqModelVariation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <thread>

namespace
{
const ZqString springName(ZqFoundCommon::ZqSurfaceTensionSpringConstantToken.localName());
const ZqString damperName(ZqManip::ZqSurfaceTensionDamperConstantToken.localName());
const ZqString materialName(ZqFoundCommon::ZqSurfaceMaterialTypeToken.localName());

/// A body off the origin with unequal moments.
ZqRigidBodyMassProperties skewBody()
{
   ZqRigidBodyMassProperties body(4.0, ZqVector(), {0.5, 0.7, 0.4, 0.02, -0.03, 0.04});
   return body.transformBy(ZqVector(0.3, -0.2, 0.1));
}

ZqDataMap metal(ZqReal spring)
{
   ZqDataMap surface;
   surface.add(materialName, ZqString("metal"));
   surface.add(springName, spring);
   return surface;
}

/// An arm on a free base with limits on its drives, and another one that is a reference to it.
ZqStatedSystem armScene()
{
   ZqIndividualManipulator arm;
   arm.setIsFixedBase(false);
   arm.setManipulatorLabel("arm");
   arm.setBaseMassProperties(skewBody());
   for (const ZqReal i : {0.0, 1.0, 2.0, 3.0})
   {
      ZqManipulatorLink link;
      link.setLinkLabel("link" + std::to_string(static_cast<int>(i)));
      ZqDenavitHartenberg joint;
      joint.setDhType(ZqDenavitHartenberg::Craig);
      joint.setDhA(0.25 + 0.125 * i);
      joint.setDhAlpha(0.5 * i);
      link.setLinkKinematics(joint);
      link.setBaseMassProperties(skewBody());
      ZqJointActuator drive = ZqJointActuator::defaultObject();
      drive.setMinTorque(-3.0 - i);
      drive.setMaxTorque(4.0 + i);
      drive.setLowerLimit(-1.5);
      drive.setUpperLimit(i == 2.0 ? 1e300 : 2.0);
      drive.setMaxOutputRate(1.25);
      link.setJointActuator(drive);
      ZqBox box({}, {0.1, 0.2, 0.3});
      ZqShape::Surfaces surfaces;
      surfaces.add("0", metal(1e5));
      box.setSurfaces(surfaces);
      link.setShape(box);
      arm.addLinkToEndOfChain(link);
   }
   ZqStatedSystem scene;
   scene.addManipulator(arm);
   arm.setManipulatorLabel("other");
   scene.addManipulator(arm);
   scene.findAndConvertToReferences();
   scene.setToMidpointState();
   return scene;
}

/// The same deviation everywhere, with one of its own for a link.
ZqVariationStudy studyOf(ZqReal sigma)
{
   ZqLinkPropertyRandomVariation link;
   link.setLinkKinematicsRandomVariation({sigma, sigma});
   ZqMassPropertyRandomVariation mass;
   mass.setMassRandomVariation(sigma);
   link.setMassPropertyRandomVariation(mass);
   ZqJointActuatorRandomVariation drive;
   drive.setTorqueRandomVariation(sigma);
   drive.setPositionRandomVariation(sigma);
   drive.setVelocityRandomVariation(sigma);
   link.setJointActuatorRandomVariation(drive);
   ZqSurfacePropertyRandomVariation surface;
   surface.setSurfaceMaterial("metal");
   surface.setTensionSpringConstantRandomVariation(1e4 * sigma);
   surface.setTensionDamperConstantRandomVariation(sigma);
   surface.setDefaultDamperConstant(2.0);
   link.setSurfacePropertyRandomVariationVector({surface});
   ZqSystemRandomVariation system;
   system.setDefaultLinkPropertyRandomVariation(link);
   ZqStateRandomVariation state;
   ZqPositionStateRandomVariation position;
   position.setDefaultJointPositionOneSigma(sigma);
   position.setBasePositionOneSigma(sigma);
   position.setBaseAngleOneSigma(sigma);
   state.setDefaultPositionStateRandomVariation(position);
   ZqVelocityStateRandomVariation velocity;
   velocity.setDefaultJointVelocityOneSigma(sigma);
   velocity.setBaseLinearVelocityOneSigma(sigma);
   velocity.setBaseAngularVelocityOneSigma(sigma);
   state.setDefaultVelocityStateRandomVariation(velocity);
   return {system, state};
}

ZqStatedSystem varied(const ZqStatedSystem& scene, const ZqVariationStudy& study, ZqU32 seed,
                      ZqU32 sample)
{
   ZqStatedSystem result;
   EXPECT_TRUE(Zq::varyModel(scene, {study, seed, sample}, result));
   return result;
}

ZqString documentOf(const ZqStatedSystem& scene)
{
   ZqString document;
   EXPECT_TRUE(Zq::toXml(scene, document));
   return document;
}

/// The mean and the standard deviation of numbers, one by one.
class Moments
{
public:
   void add(ZqReal x)
   {
      ++m_count;
      const ZqReal delta = x - m_mean;
      m_mean += delta / m_count;
      m_sum += delta * (x - m_mean);
   }
   /// Within six standard errors: those of the variance are at most those of a normal distribution times
   /// sqrt(6), for what is a normal number times a coordinate of a direction.
   void expect(ZqReal mean, ZqReal sigma, const char* what) const
   {
      const ZqReal error = 6.0 / std::sqrt(m_count);
      EXPECT_NEAR(m_mean, mean, sigma * error) << what;
      EXPECT_NEAR(m_sum / m_count, sigma * sigma, sigma * sigma * std::sqrt(6.0) * error) << what;
   }

private:
   ZqReal m_count = 0.0;
   ZqReal m_mean = 0.0;
   ZqReal m_sum = 0.0;
};

// By the given formulas, worked out anew here.
TEST(RandomVariation, MomentsAreThoseOfTheRecords)
{
   const ZqReal third = 1.0 / std::numbers::sqrt3; // of a direction's coordinate
   const ZqRigidBodyMassProperties body = skewBody();
   ZqMassPropertyRandomVariation mass;
   mass.setMassRandomVariation(0.2);
   ZqPositionStateRandomVariation position;
   position.setJointPositionOneSigmas({0.1});
   position.setDefaultJointPositionOneSigma(0.3);
   position.setBasePositionOneSigma(0.2);
   ZqVelocityStateRandomVariation velocity;
   velocity.setJointVelocityOneSigmas({0.5, 0.25});
   velocity.setBaseLinearVelocityOneSigma(2.0);
   velocity.setBaseAngularVelocityOneSigma(3.0);
   ZqSurfacePropertyRandomVariation surface = ZqSurfacePropertyRandomVariation::defaultObject();
   surface.setDefaultDamperConstant(7.0);

   ZqPositionState p;
   p.setJointPositions({1.0, 2.0});
   p.setCoordSysXForm(ZqVector(5.0, 6.0, 7.0));
   ZqVelocityState v;
   v.setJointVelocities(ZqXmlVectorBasicType<ZqReal>{-1.0, 1.0});
   v.setGeneralVelocity({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}});
   const ZqRandom::Stream stream{11};
   Moments offset, angle, m, x, z, possibleMass, possibleX, first, second, base, rate, linear,
      angular, spring, damper;
   for (int i = 0; i < 100000; ++i)
   {
      ZqCoordinateSystemTransformation T;
      ZqLinkKinematicsRandomVariation(0.5, 0.01).getRandomLinkKinematicsOffset(T);
      offset.add(T.translation().y());
      angle.add(2.0 * std::asin(T.orientation()[3])); // for a small angle: it times the axis' z
      ZqRigidBodyMassProperties drawn;
      ZqVector center;
      mass.getRandomMassProperty(body, drawn);
      drawn.getCenterOfMass(center);
      m.add(drawn.mass());
      x.add(center.x());
      z.add(center.z());
      mass.getPossibleMassProperty(body, drawn);
      drawn.getCenterOfMass(center);
      possibleMass.add(drawn.mass());
      possibleX.add(center.x());
      ZqPositionState drawnPosition;
      position.getRandomPositionState(p, drawnPosition);
      first.add(drawnPosition.jointPositions()[0]);
      second.add(drawnPosition.jointPositions()[1]);
      base.add(drawnPosition.coordSysXForm().translation().z());
      ZqVelocityState drawnVelocity;
      velocity.getRandomVelocityState(v, drawnVelocity);
      rate.add(drawnVelocity.jointVelocities()[1]);
      linear.add(drawnVelocity.generalVelocity().linear().x());
      angular.add(drawnVelocity.generalVelocity().angular().z());
      ZqDataMap drawnSurface;
      surface.getRandomSurfaceProperty(metal(500.0), drawnSurface);
      ZqReal value = 0.0;
      drawnSurface.lookup(springName, value);
      spring.add(value);
      drawnSurface.lookup(damperName, value);
      damper.add(value);
   }
   offset.expect(0.0, 0.5 * third, "offset");
   angle.expect(0.0, 0.01 * third, "angle");
   m.expect(4.0, 0.2, "mass");
   // About the frame's origin as they stand: the center's deviations of the given formula.
   const ZqReal k = 0.2 / std::sqrt(8.0);
   const ZqSecondMoment& I = body.secondMoment();
   x.expect(0.3, k * std::sqrt(I.zz() + I.yy() - I.xx()), "x of the center");
   z.expect(0.1, k * std::sqrt(I.yy() + I.xx() - I.zz()), "z of the center");
   possibleMass.expect(4.0, 0.2, "possible mass");
   // The body about its center: the radius of gyration from the plane across x, times s / m.
   possibleX.expect(0.3, 0.2 / 4.0 * std::sqrt(0.5 * (0.7 + 0.4 - 0.5) / 4.0), "possible x");
   first.expect(1.0, 0.1, "joint of the list");
   second.expect(2.0, 0.3, "joint behind the list");
   base.expect(7.0, 0.2 * third, "base");
   rate.expect(1.0, 0.25, "rate");
   linear.expect(1.0, 2.0 * third, "linear velocity");
   angular.expect(6.0, 3.0 * third, "angular velocity");
   spring.expect(500.0, 1000.0, "spring constant");
   damper.expect(7.0, 1.0, "damper constant");

   EXPECT_DOUBLE_EQ(mass.offDiagonalDeviation(2.0, 3.0), 0.2 * 6.0 / std::sqrt(35.0));
   EXPECT_DOUBLE_EQ(mass.diagonalDeviation(2.0, 3.0),
                    0.2 * std::sqrt((72.0 + 48.0 + 243.0) / 35.0));
}

TEST(RandomVariation, MassOfZeroIsNullWithoutADraw)
{
   const ZqMassPropertyRandomVariation wide = ZqMassPropertyRandomVariation::defaultObject();
   ZqRigidBodyMassProperties weightless; // of no valid body
   ZqRigidBodyMassProperties out;
   const ZqRandom::Stream stream{5};
   wide.getRandomMassProperty(weightless, out);
   EXPECT_EQ(out, ZqRigidBodyMassProperties::nullObject());
   const ZqReal next = ZqRandom::uniformRandom(0.0, 1.0);
   const ZqRandom::Stream again{5};
   EXPECT_EQ(ZqRandom::uniformRandom(0.0, 1.0), next);
   // Of a kilogram or so, many are drawn below zero.
   zqTest::LogCapture log;
   int nulls = 0;
   for (int i = 0; i < 1000; ++i)
   {
      wide.getRandomMassProperty(skewBody(), out);
      nulls += out == ZqRigidBodyMassProperties::nullObject() ? 1 : 0;
   }
   EXPECT_NEAR(nulls, 212, 6.0 * std::sqrt(212.0)); // Phi(-4/5)
   EXPECT_TRUE(log.empty()) << log.text();
}

TEST(RandomVariation, ListsOfLinksDoNotGrow)
{
   ZqSystemRandomVariation system = ZqSystemRandomVariation::defaultObject();
   const ZqLinkPropertyRandomVariation own;
   system.addLinkPropertyRandomVariation(0, "hand", own);
   EXPECT_EQ(system.manipulatorRandomVariationVector().size(), 0U);
   system.setManipulatorRandomVariationVector(
      ZqSystemRandomVariation::ManipulatorRandomVariationVector(
         {ZqSystemRandomVariation::ManipulatorRandomVariation()}));
   system.addLinkPropertyRandomVariation(0, "hand", own);
   EXPECT_EQ(system.linkPropertyRandomVariation(0, "hand"), own);
   for (const auto& [manipulator, label] : {std::pair{0U, "arm"}, std::pair{1U, "hand"}})
      EXPECT_EQ(system.linkPropertyRandomVariation(manipulator, label),
                ZqLinkPropertyRandomVariation::defaultObject());
   EXPECT_EQ(&system.manipulatorRandomVariation(1), &system.manipulatorRandomVariation(7));
   EXPECT_TRUE(system.removeLinkPropertyRandomVariation(0, "hand"));
   EXPECT_FALSE(system.removeLinkPropertyRandomVariation(0, "hand"));
   EXPECT_FALSE(system.removeLinkPropertyRandomVariation(1, "hand"));
}

TEST(ModelVariation, StudyOfZerosGivesTheModelItself)
{
   ZqStatedSystem scene = armScene();
   ZqInteractionState remembered;
   remembered.setContacts({ZqContactState()});
   scene.setInteractionState(remembered);
   ZqStatedSystem same = varied(scene, studyOf(0.0), 1, 2);
   EXPECT_EQ(same.variationOrigin().sample(), 2U);
   EXPECT_NE(documentOf(same), documentOf(scene));
   same.setVariationOrigin({});
   EXPECT_EQ(documentOf(same), documentOf(scene));
}

TEST(ModelVariation, SampleFollowsFromSeedAndNumberAlone)
{
   const ZqStatedSystem scene = armScene();
   const ZqVariationStudy study = studyOf(0.05);
   ZqRandom::setSeed(1);
   const ZqReal next = ZqRandom::uniformRandom(0.0, 1.0);
   ZqRandom::setSeed(1);
   const ZqString document = documentOf(varied(scene, study, 9, 4));
   EXPECT_EQ(ZqRandom::uniformRandom(0.0, 1.0), next); // not disturbed

   std::thread([&] { EXPECT_EQ(documentOf(varied(scene, study, 9, 4)), document); }).join();
   EXPECT_NE(documentOf(varied(scene, study, 9, 5)), document);
   EXPECT_NE(documentOf(varied(scene, study, 10, 4)), document);
   // The same on every platform.
   EXPECT_EQ(Zq::sha256(document),
             "795d74fd0a501f36a22ce6b8c2ac8870df66ebd21d5eaaf27b2cbfc8608d43e0");

   // A link that is exact leaves the others as they are.
   ZqVariationStudy other = study;
   ZqSystemRandomVariation links = study.systemRandomVariation();
   ZqSystemRandomVariation::ManipulatorRandomVariation first;
   const ZqString label = scene.manipulatorByIndex(0)->linkByIndex(1)->linkLabel();
   first.add(label, {});
   links.setManipulatorRandomVariationVector(
      ZqSystemRandomVariation::ManipulatorRandomVariationVector({first}));
   other.setSystemRandomVariation(links);
   const ZqStatedSystem with = varied(scene, study, 9, 4);
   const ZqStatedSystem without = varied(scene, other, 9, 4);
   const auto massOf = [](const ZqStatedSystem& of, ZqU32 link)
   { return of.manipulatorByIndex(0)->linkByIndex(link)->massProperties(); };
   EXPECT_EQ(massOf(without, 1), massOf(scene, 1));
   EXPECT_NE(massOf(with, 1), massOf(scene, 1));
   EXPECT_EQ(massOf(without, 2), massOf(with, 2));

   // What is merged into a link has its part of the mass that is drawn.
   ZqStatedSystem whole = scene;
   ZqIndividualManipulator load;
   load.setManipulatorLabel("load");
   load.setMassProperties(ZqRigidBodyMassProperties::uniformSolidSphere(2.0, 0.1));
   whole.addManipulator(load);
   ASSERT_TRUE(whole.combineManipulator("load", scene.manipulatorByIndex(0)->manipulatorLabel(),
                                        label,
                                        ZqCoordinateSystemTransformation(ZqVector(0.1, 0.2, 0.3))));
   ZqStatedSystem apart = varied(whole, study, 9, 4);
   const ZqReal ratio = massOf(apart, 1).mass() / massOf(whole, 1).mass();
   ZqU32 parent = 0, child = 0;
   ZqCoordinateSystemTransformation place;
   ASSERT_TRUE(apart.uncombineManipulator("load", parent, child, place));
   EXPECT_GT(std::abs(ratio - 1.0), 1e-4);
   EXPECT_NEAR(apart.manipulatorByIndex(child)->massProperties().mass(), 2.0 * ratio, 1e-14);
   EXPECT_NEAR(massOf(apart, 1).mass(), massOf(scene, 1).mass() * ratio, 1e-13);
}

TEST(ModelVariation, OriginStaysInDocumentsAndIsEnoughToRepeat)
{
   const ZqStatedSystem scene = armScene();
   ZqVariationOrigin origin(studyOf(0.1), 3, 17);
   origin.setSource("arm.xml", Zq::sha256("abc"));
   EXPECT_EQ(origin.sourceHash(),
             "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
   ZqStatedSystem first;
   ASSERT_TRUE(Zq::varyModel(scene, origin, first));
   ZqStatedSystem read;
   ASSERT_TRUE(Zq::fromXml(read, documentOf(first)));
   EXPECT_EQ(read.variationOrigin(), origin);
   ZqStatedSystem again;
   ASSERT_TRUE(Zq::varyModel(scene, read.variationOrigin(), again));
   EXPECT_EQ(documentOf(again), documentOf(first));
   // A scene may be varied in place, and has then the last origin.
   ASSERT_TRUE(Zq::varyModel(again, {studyOf(0.1), 3, 18}, again));
   EXPECT_EQ(again.variationOrigin().sample(), 18U);
}

/// What cannot be, of a drive and of the position of its joint.
void expectPossible(const ZqJointActuator& drive, ZqReal position)
{
   EXPECT_LE(drive.lowerLimit(), drive.upperLimit());
   EXPECT_LE(drive.minTorque(), 0.0);
   EXPECT_GE(drive.maxTorque(), 0.0);
   EXPECT_GE(drive.maxOutputRate(), 0.0);
   EXPECT_GE(position, drive.lowerLimit());
   EXPECT_LE(position, drive.upperLimit());
}

TEST(ModelVariation, VariedModelsArePossibleHoweverWideTheStudy)
{
   const ZqStatedSystem scene = armScene();
   ZqMassMatrixTool tool;
   for (const ZqReal sigma : {0.1, 10.0, 1e4, ZqVariationStudy::greatestSigma / 1e4})
      for (ZqU32 sample = 0; sample < 100; ++sample)
      {
         const ZqStatedSystem made = varied(scene, studyOf(sigma), 1, sample);
         for (ZqU32 i = 0; i < made.numberOfManipulators(); ++i)
         {
            const ZqIndividualManipulator& arm = *made.manipulatorByIndex(i);
            EXPECT_FALSE(arm.manipulatorReferenceDescription().isManipulatorReferenced());
            ZqManipulatorActiveState state;
            state.setPositionState(made.state().positionStates()[i]);
            state.setVelocityState(made.state().velocityStates()[i]);
            tool.setManipulator(&arm);
            ZqReArray factor;
            // Beyond that, bodies are too far from the joints to be seen beside their mass.
            EXPECT_TRUE(sigma > 10.0 ||
                        tool.extendedMassMatrixInBase(state, nullptr).choleskyFactor(factor));
            for (ZqU32 j = 0; j < arm.jointDof(); ++j)
            {
               const ZqManipulatorLink& link = *arm.linkByIndex(j);
               EXPECT_TRUE(link.massProperties().isValid() && link.massProperties().isPossible())
                  << sigma << ' ' << sample << ' ' << link.massProperties();
               EXPECT_GT(link.massProperties().mass(), 0.0);
               EXPECT_LE(link.massProperties().mass(), 8.0);
               expectPossible(link.jointActuator(),
                              made.state().positionStates()[i].jointPositions()[j]);
               EXPECT_EQ(link.jointActuator().upperLimit() == 1e300, j == 2);
               ZqReal spring = -1.0;
               ZqReal damper = -1.0;
               ASSERT_EQ(link.numberOfShapes(), 1U);
               const ZqDataMap* surface = nullptr;
               ASSERT_TRUE(link.shapeByIndex(0)->surfaceData("0", surface));
               EXPECT_TRUE(surface->lookup(springName, spring) && spring >= 0.0 && spring <= 2e5);
               EXPECT_TRUE(surface->lookup(damperName, damper) && damper >= 0.0 && damper <= 4.0);
            }
         }
      }
   // The scene itself still has one model and its shapes.
   EXPECT_EQ(documentOf(scene), documentOf(armScene()));
}

/// A swing in the plane of x and y: two hangers, and a seat between them.
ZqStatedSystem swing(bool isPinnedInSpace)
{
   const auto bar = [](const ZqString& label, ZqReal before, ZqReal length)
   {
      ZqDenavitHartenberg hinge;
      hinge.setDhType(ZqDenavitHartenberg::Craig);
      hinge.setDhA(before);
      ZqManipulatorLink link;
      link.setLinkLabel(label);
      link.setLinkKinematics(hinge);
      link.setMassProperties(ZqRigidBodyMassProperties::uniformSolidSphere(1.0, 0.1).transformBy(
         ZqVector(0.5 * length, 0.0, 0.0)));
      return link;
   };
   ZqManipulatorLink chain = bar("hanger", 0.0, 0.5);
   chain.addLinkToEndOfChain(bar("seat", 0.5, 0.8));
   chain.addLinkToEndOfChain(bar("other hanger", 0.8, 0.5));
   ZqIndividualManipulator model;
   model.setManipulatorLabel("swing");
   model.setLinkLabel("ground");
   model.addChild(chain);
   ZqStateEqualityConstraintVector constraints;
   const auto pin = [&](auto constraint)
   {
      constraint.setFirstLinkLabel("other hanger");
      constraint.setFirstLinkPoint({0.5, 0.0, 0.0});
      constraint.setSecondLinkLabel("ground");
      constraint.setSecondLinkPoint({0.8, 0.0, 0.0});
      constraints.pushBack(constraint);
   };
   if (isPinnedInSpace)
      pin(ZqPointStateEqualityConstraint());
   else
      pin(ZqXyStateEqualityConstraint());
   model.setStateEqualityConstraints(constraints);
   ZqStatedSystem scene;
   scene.setFromManipulator(model);
   ZqPositionState position;
   const ZqReal start = -0.8 * std::numbers::pi;
   position.setJointPositions({start, -start, start - std::numbers::pi});
   scene.setIndividualPositionState(0, position);
   return scene;
}

TEST(ModelVariation, LoopsStayClosed)
{
   for (const bool isPinnedInSpace : {false, true})
   {
      const ZqStatedSystem scene = swing(isPinnedInSpace);
      zqTest::LogCapture log;
      for (ZqU32 sample = 0; sample < 20; ++sample)
      {
         const ZqStatedSystem made = varied(scene, studyOf(0.02), 1, sample);
         // A simulation closes it where it is and moves it by no more than rounding.
         const ZqSimulation simulation(made);
         EXPECT_LT(simulation.greatestGap()->size, 1e-9);
         EXPECT_TRUE(simulation.state().approxEq(made.state(), 1e-9, true)) << sample;
         EXPECT_NE(made.state(), scene.state());
         // A pin that holds in space as well locks axes that are not parallel.
         EXPECT_EQ(made.manipulatorByIndex(0)->linkByIndex(1)->linkKinematicsContainer() ==
                      scene.manipulatorByIndex(0)->linkByIndex(1)->linkKinematicsContainer(),
                   isPinnedInSpace);
      }
      EXPECT_EQ(log.contains("manipulator 'swing': its loops do not close in sample 0: joints stay "
                             "as they are"),
                isPinnedInSpace)
         << log.text();
   }
}

TEST(ModelVariation, WhatIsAttachedFollowsItsCarrier)
{
   ZqStatedSystem scene = armScene();
   scene.configuration().attachmentMap().attachManipulator(
      1, 0, scene.manipulatorByIndex(0)->linkByIndex(3)->linkLabel(), {}, "");
   scene.placeAttachedManipulators();
   const ZqStatedSystem made = varied(scene, studyOf(0.05), 1, 1);
   ZqStatedSystem placed = made;
   placed.placeAttachedManipulators();
   EXPECT_EQ(placed.state(), made.state());
   EXPECT_NE(made.state().positionStates()[1].coordSysXForm(),
             scene.state().positionStates()[1].coordSysXForm());
   EXPECT_EQ(made.state().velocityStates()[1].generalVelocity(),
             scene.state().velocityStates()[1].generalVelocity());
}

TEST(ModelVariation, BadStudiesAreRefused)
{
   struct Case
   {
      const char* message;
      void (*spoil)(ZqLinkPropertyRandomVariation& link, ZqStateRandomVariation& state,
                    ZqSystemRandomVariation& system);
   };
   using Link = ZqLinkPropertyRandomVariation;
   using State = ZqStateRandomVariation;
   using System = ZqSystemRandomVariation;
   const auto positionOf = [](ZqXmlVectorBasicType<ZqReal> sigmas)
   {
      ZqPositionStateRandomVariation position;
      position.setJointPositionOneSigmas(sigmas);
      return position;
   };
   static const ZqPositionStateRandomVariation infinite =
      positionOf({1.0, std::numeric_limits<ZqReal>::infinity()});
   const Case cases[] = {
      {"systemRandomVariation/defaultLinkPropertyRandomVariation/massPropertyRandomVariation/"
       "massRandomVariation: expected a number from 0 to 1e30, but received -1",
       [](Link& link, State&, System&)
       {
          ZqMassPropertyRandomVariation mass;
          mass.setMassRandomVariation(-1.0);
          link.setMassPropertyRandomVariation(mass);
       }},
      {"linkKinematicsRandomVariation/angleRandomVariation: expected a number from 0 to 1e30, but "
       "received nan",
       [](Link& link, State&, System&) {
          link.setLinkKinematicsRandomVariation({0.0, std::numeric_limits<ZqReal>::quiet_NaN()});
       }},
      {"stateRandomVariationToken/positionStateRandomVariations/[0]/jointPositionOneSigmas/[1]: "
       "expected a number from 0 to 1e30, but received inf",
       [](Link&, State& state, System&)
       { state.setPositionStateRandomVariations(State::PositionVariations({infinite})); }},
      {"the study tells of manipulator 2, but the scene has 2",
       [](Link&, State& state, System&) {
          state.setVelocityStateRandomVariations(State::VelocityVariations({{}, {}, {}}));
       }},
      {"manipulator 'other' has no link 'wing'", [](Link&, State&, System& system)
       {
          System::ManipulatorRandomVariation second;
          second.add("wing", {});
          system.setManipulatorRandomVariationVector(
             System::ManipulatorRandomVariationVector({{}, second}));
       }}};
   const ZqStatedSystem scene = armScene();
   for (const Case& bad : cases)
   {
      ZqVariationStudy study;
      Link link;
      State state;
      System system;
      bad.spoil(link, state, system);
      system.setDefaultLinkPropertyRandomVariation(link);
      ZqStatedSystem result = swing(true);
      const ZqString before = documentOf(result);
      zqTest::LogCapture log;
      EXPECT_FALSE(Zq::varyModel(scene, {{system, state}, 0, 0}, result));
      EXPECT_TRUE(log.contains(bad.message)) << log.text();
      EXPECT_EQ(documentOf(result), before);
   }
}
} // namespace
