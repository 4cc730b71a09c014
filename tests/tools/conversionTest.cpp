#include "support/logCapture.h"
#include "support/randomScene.h"
#include "zqManipulator/actuation/ZqHydraulicCylinder.h"
#include "zqManipulator/actuation/ZqPassThroughPowerConverter.h"
#include "zqManipulator/dynamics/tools/ZqCrbiAccelerationTool.h"
#include "zqManipulator/foundation/function/ZqLinearMultivariableConstraint.h"
#include "zqManipulator/foundation/geometry/ZqAxisAlignedBoundingBox.h"
#include "zqManipulator/foundation/geometry/ZqBox.h"
#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/simulation/constraints/ZqConditionalJointStateConstraint.h"
#include "zqManipulator/simulation/constraints/ZqLinearStateEqualityConstraint.h"
#include "zqManipulator/simulation/constraints/ZqMultivariableJointStateConstraint.h"
#include "zqManipulator/simulation/constraints/ZqXyStateEqualityConstraint.h"
#include "zqManipulator/simulation/interactions/ZqLatchedDoorLinks.h"
#include "zqManipulator/simulation/interactions/ZqSpringAndDamperBetweenLinks.h"
#include "zqManipulator/simulation/records/ZqComPolygonalStoppingCriterion.h"
#include "zqManipulator/simulation/step/ZqSimulation.h"
#include "zqManipulator/tools/conversion/ZqKinematicsConversionTool.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{
using Tool = ZqKinematicsConversionTool;
using Dh = ZqDenavitHartenberg;
using Transform = ZqCoordinateSystemTransformation;
using zqTest::RandomScene;
using zqTest::RandomValues;

enum Kind
{
   Craig,
   Precursor,
   IdentityFrames,
   Recenter,
   Flip,
   Sag
};
constexpr std::array kinds{Craig, Precursor, IdentityFrames, Recenter, Flip, Sag};

bool convert(Kind kind, const ZqStatedSystem& source, ZqU32 index, ZqStatedSystem& result)
{
   const Tool tool;
   if (kind == Craig)
      return tool.convertManipulatorToCraigsDhForm(source, result, index);
   result = source;
   if (kind == IdentityFrames)
      return tool.reconfigureForIdentityPrimaryFrames(result, index);
   if (kind == Recenter)
      return tool.recenterJointLimits(result, index, std::vector<double>(30, -17.0));
   bool isConverted = true;
   const auto convertLinks = [&](ZqIndividualManipulator& manipulator)
   {
      std::vector<std::string> added;
      for (ZqU32 i = 0; i < manipulator.jointDof() && kind != Sag; ++i)
      {
         const ZqString label = manipulator.linkByIndex(i)->linkLabel();
         isConverted = isConverted && (kind == Flip && i % 2 == 0
                                          ? Tool::flipJointSign(manipulator, label)
                                          : Tool::reconfigureDhToPrecursor(manipulator, label));
      }
      if (kind == Sag)
         isConverted = Tool::add3SagJoints(
            manipulator, manipulator.linkByIndex(manipulator.jointDof() / 2)->linkLabel(), added);
   };
   return (kind == Sag ? result.editManipulator(index, convertLinks)
                       : result.restateManipulator(index, convertLinks)) &&
          isConverted;
}

/// A joint that turns, of any D-H type; its axis is often parallel to that before it, or meets it, or
/// nearly so.
Dh delicateJoint(RandomValues& random)
{
   static constexpr ZqReal small[] = {0.0, 1e-15, 1e-12, 1e-9, 1e-9, 1e-7, 1e-5, 1e-3};
   const auto tiny = [&] { return small[random.index(0, 7)] * random.real(); };
   Dh joint = zqTest::randomJoint(random, Dh::Rotational, random.index(0, 4));
   if (random.index(0, 1) == 0)
      joint.setDhAlpha(random.index(0, 1) * zqTest::pi + tiny());
   if (random.index(0, 2) == 0)
      joint.setDhA(tiny());
   if (random.index(0, 2) == 0)
      joint.setPrecursor({random.vector() * small[random.index(0, 7)] * 1e3,
                          ZqOrientation::exponential(random.vector() * tiny())});
   return joint;
}

/// The new position of each joint, by the label of its link, for its old one: by conversions of the scene
/// with all joints at 0 and at 1.
class Positions
{
public:
   Positions(Kind kind, const ZqStatedSystem& source, ZqU32 index)
      : m_source(source), m_index(index)
   {
      for (ZqU32 k = 0; k < 2; ++k)
      {
         ZqManipulatorSystemState state = source.state();
         for (ZqReal& q : state.positionStates()[index].jointPositions())
            q = k;
         ZqStatedSystem start = source;
         start.setState(state);
         EXPECT_TRUE(convert(kind, start, index, m_results[k]));
      }
   }
   const ZqIndividualManipulator& result() const
   {
      return *m_results[0].manipulatorByIndex(m_index);
   }
   const ZqStatedSystem& scene() const { return m_results[0]; }
   ZqReal sign(ZqU32 i) const { return std::round(at(1, i) - at(0, i)); }
   ZqReal shift(ZqU32 i) const { return at(0, i); }
   /// The same with rates, for which zeros do not count.
   std::vector<ZqReal> converted(const std::vector<ZqReal>& values, bool areRates) const
   {
      std::vector<ZqReal> result(this->result().jointDof());
      for (ZqU32 i = 0; i < values.size(); ++i)
         result[place(i)] = sign(i) * values[i] + (areRates ? 0.0 : shift(i));
      return result;
   }

private:
   ZqU32 place(ZqU32 i) const
   {
      const auto& link = *m_source.manipulatorByIndex(m_index)->linkByIndex(i);
      return result().linkIndexByIdentifier(link.linkLabel());
   }
   ZqReal at(ZqU32 k, ZqU32 i) const
   {
      return m_results[k].state().positionStates()[m_index].jointPositions()[place(i)];
   }

   const ZqStatedSystem& m_source;
   ZqU32 m_index;
   ZqStatedSystem m_results[2];
};

ZqReal distance(const Transform& a, const Transform& b, ZqReal size)
{
   return std::max({(a.translation() - b.translation()).mag(),
                    (a.orientation().xAxis() - b.orientation().xAxis()).mag() * size,
                    (a.orientation().yAxis() - b.orientation().yAxis()).mag() * size});
}

/// A frame of a link that is stated in its primary frame, or that frame itself.
Transform frameOf(const ZqManipulatorLink& link, ZqManipulatorActivePositionState& state)
{
   Transform named;
   link.lookupNamedFrame("flange", named);
   return link.primaryFrameInSystem(state) * named;
}

RandomScene delicateScene(ZqU32 seed, bool maySlide)
{
   RandomValues random(seed);
   const ZqU32 links = 1 + seed % 30;
   const bool isChain = seed % 3 == 0;
   RandomScene scene(seed, {isChain ? zqTest::chain(links) : zqTest::randomTree(random, links),
                            random.index(0, 1) == 0});
   scene.system.editManipulator(scene.index,
                                [&](ZqIndividualManipulator& manipulator)
                                {
                                   for (ZqU32 i = 0; i < manipulator.jointDof(); ++i)
                                   {
                                      ZqManipulatorLink& link = *manipulator.linkByIndex(i);
                                      if (!maySlide || random.index(0, 1) == 0)
                                         link.setLinkKinematics(delicateJoint(random));
                                      ZqJointActuator drive = link.jointActuator();
                                      drive.setLowerLimit(random.real(-3.0, -1.0));
                                      drive.setUpperLimit(random.real(1.0, 3.0));
                                      link.setJointActuator(drive);
                                      link.addNamedFrame("flange", zqTest::randomFrame(random));
                                   }
                                   manipulator.addNamedFrame("flange", zqTest::randomFrame(random));
                                });
   return scene;
}

/// Frames at 100 states, within 1e-12 of the sum of all lengths; limits; accelerations, within 1e-10 of the
/// greatest.
void expectSameMotion(RandomScene& scene, const Positions& positions, bool withAccelerations)
{
   const ZqIndividualManipulator& old = scene.manipulator();
   const ZqIndividualManipulator& result = positions.result();
   ZqReal size = 1.0; // of bodies, and of the base's place
   for (const ZqManipulatorLink* link : old.linkPointerVector())
      size += link->linkKinematicsContainer().calculateTransform(0.0).translation().mag() +
              link->primaryFrame().translation().mag();
   ZqReal greatest = 0.0;
   for (int k = 0; k < 100; ++k)
   {
      ZqPositionState position = scene.randomPosition(scene.jointDof());
      ZqManipulatorActivePositionState before;
      before.setPositionState(position);
      position.setJointPositions(positions.converted(position.jointPositions().values(), false));
      ZqManipulatorActivePositionState after;
      after.setPositionState(position);
      for (const auto& [label, link] : old.linkPointerMap())
         greatest =
            std::max(greatest, distance(frameOf(*link, before),
                                        frameOf(*result.linkByIdentifier(label), after), size));
   }
   EXPECT_LE(greatest, 1e-12 * size);

   for (ZqU32 i = 0; i < old.jointDof(); ++i)
   {
      const ZqManipulatorLink& link = *old.linkByIndex(i);
      ZqReal limits[] = {positions.sign(i) * link.jointActuator().lowerLimit() + positions.shift(i),
                         positions.sign(i) * link.jointActuator().upperLimit() +
                            positions.shift(i)};
      const auto& drive = result.linkByIdentifier(link.linkLabel())->jointActuator();
      EXPECT_NEAR(drive.lowerLimit(), std::min(limits[0], limits[1]), 1e-14);
      EXPECT_NEAR(drive.upperLimit(), std::max(limits[0], limits[1]), 1e-14);
   }
   if (!withAccelerations)
      return;
   const ZqManipulatorExternalForce none;
   ZqAccelerationState accelerations[2];
   ZqCrbiAccelerationTool().acceleration(scene.system, old, scene.position, scene.velocity,
                                         scene.torque, none, accelerations[0], nullptr, true);
   scene.position.setJointPositions(
      positions.converted(scene.position.jointPositions().values(), false));
   scene.velocity.setJointVelocities(
      positions.converted(scene.velocity.jointVelocities().values(), true));
   scene.torque.setJointTorques(positions.converted(scene.torque.jointTorques().values(), true));
   ZqCrbiAccelerationTool().acceleration(positions.scene(), result, scene.position, scene.velocity,
                                         scene.torque, none, accelerations[1], nullptr, true);
   const auto expected = positions.converted(accelerations[0].jointAccelerations().values(), true);
   ZqReal scale = 1.0;
   for (const ZqReal a : expected)
      scale = std::max(scale, std::abs(a));
   for (ZqU32 i = 0; i < expected.size(); ++i)
      EXPECT_NEAR(accelerations[1].jointAccelerations()[i], expected[i], 1e-10 * scale) << i;
   for (ZqU32 k = 0; k < 6; ++k)
      EXPECT_NEAR(accelerations[1].generalAcceleration()[k],
                  accelerations[0].generalAcceleration()[k], 1e-10 * scale);
}

TEST(KinematicsConversion, KeepsFramesLimitsAndAccelerationsOfAnyTree)
{
   ZqU32 plain = 0;
   ZqU32 inChains = 0;
   for (ZqU32 seed = 0; seed < 90; ++seed)
      for (const Kind kind : kinds)
      {
         SCOPED_TRACE(testing::Message() << "seed " << seed << " kind " << kind);
         RandomScene scene = delicateScene(seed, kind != Craig);
         const ZqStatedSystem source(scene.system, ZqFoundCommon::CopyAll);
         const Positions positions(kind, scene.system, scene.index);
         ASSERT_EQ(scene.system, source);
         expectSameMotion(scene, positions, kind != Sag);
         for (const ZqManipulatorLink* link : positions.result().linkPointerVector())
         {
            const auto& joint =
               static_cast<const Dh&>(*link->linkKinematicsContainer().topElement());
            EXPECT_TRUE(kind != Craig || joint.dhType() == Dh::Craig ||
                        joint.dhType() == Dh::GeneralCraig);
            EXPECT_TRUE(kind != Precursor ||
                        (joint.dhA() == 0.0 && joint.dhD() == 0.0 && joint.dhAlpha() == 0.0));
            EXPECT_TRUE(kind != IdentityFrames || link->primaryFrame() == Transform());
            if (kind == Craig && seed % 3 == 0 && link->linkIndex() > 0)
            {
               ++inChains;
               plain += joint.dhType() == Dh::Craig ? 1 : 0;
            }
         }
      }
   // Without the axes that are nearly parallel.
   EXPECT_GT(plain, inChains * 3 / 4);
}

/// Has a scene hold all that speaks of positions of joints or stands in primary frames.
void holdAll(RandomScene& scene)
{
   RandomValues& random = scene.random;
   ZqManipulatorActivePositionState state;
   state.setPositionState(scene.position);
   ZqXyStateEqualityConstraint slider;
   slider.setSecondLinkLabel("label3");
   slider.setSecondLinkPoint(random.vector());
   slider.setXyOrientation(random.orientation());
   slider.setFirstLinkPoint(scene.link(3).primaryFrameInSystem(state) * slider.secondLinkPoint());
   ZqLinearStateEqualityConstraint gear;
   gear.setJointWeights({ZqRealVector{0.7, -0.4}});
   gear.setBaseWeights(ZqLinearStateEqualityConstraint::Weights(1));
   gear.setWeightedSums({0.3});
   ZqStateEqualityConstraintVector constraints;
   constraints.pushBack(slider);
   constraints.pushBack(gear);
   const auto& q = scene.position.jointPositions();
   const auto sum = [&random](ZqReal constant)
   {
      ZqLinearMultivariableConstraint function;
      function.setConstantTerm(constant);
      for (ZqU32 i = 0; i < 5; ++i)
         function.setCoefficient(i, random.real(-0.2, 0.2));
      return function;
   };
   ZqConditionalJointStateConstraint either;
   either.setIndex(1);
   either.setConditionals({q[1] + 0.1, q[1] + 9.0});
   ZqMultivariableConstraintVector functions;
   functions.pushBack(sum(1.0));
   functions.pushBack(sum(2.0));
   either.setConstraints(functions);
   ZqStateConstraintVector limits;
   limits.pushBack(either);
   ZqComPolygonalStoppingCriterion polygon;
   polygon.setReferenceLinkLabel("label2");
   polygon.setPolygonVertices(
      ZqXmlVectorVector({random.vector(), random.vector(), random.vector()}));
   ZqStoppingCriterionVector criteria;
   criteria.pushBack(polygon);
   ZqMechanicalActuatorComponent train;
   train.setGearRatio(2.0);
   train.setInertia(0.01);
   ZqMechanicalActuatorComponent shaft = train;
   shaft.setIsRigid(false);
   shaft.setJointFlexibilityStiffness(50.0);
   shaft.setBacklash(0.01);
   ZqJointActuator flexible;
   flexible.setMechanicalComponent(shaft);
   flexible.setPowerConverter(ZqPassThroughPowerConverter());
   ZqHydraulicCylinder cylinder;
   cylinder.setFluidBulkModulus(1e6);
   cylinder.setFluidDensity(900.0);
   cylinder.setEffectiveArea1(1e-3);
   cylinder.setEffectiveArea2(2e-3);
   cylinder.setFluidVolume1(0.02);
   cylinder.setFluidVolume2(0.01);
   cylinder.setMaximumFluidLength(8.0);
   ZqJointActuator hydraulic;
   hydraulic.setMechanicalComponent(train);
   hydraulic.setPowerConverter(cylinder);
   scene.system.editManipulator(scene.index,
                                [&](ZqIndividualManipulator& manipulator)
                                {
                                   manipulator.setStateEqualityConstraints(constraints);
                                   manipulator.setStateConstraints(limits);
                                   manipulator.setStoppingCriteria(criteria);
                                   manipulator.linkByIndex(2)->setJointActuator(hydraulic);
                                   manipulator.linkByIndex(3)->setJointActuator(flexible);
                                   manipulator.linkByIndex(0)->setUpperLimitConstraint(
                                      ZqMultivariableJointStateConstraint(sum(q[0] + 20.0)));
                                });

   ZqSpringAndDamperBetweenLinks spring;
   spring.setManipulatorOneIndex(scene.index);
   spring.setManipulatorTwoIndex(scene.index);
   spring.setLinkOneIndex(0);
   spring.setLinkTwoIndex(4);
   spring.setFrameOffsetOne(zqTest::randomFrame(random));
   spring.setFrameOffsetTwo(zqTest::randomFrame(random));
   spring.setLinearSpringConstant(50.0);
   spring.setAngularSpringConstant(20.0);
   ZqLatchedDoorLinks door;
   door.setManipulatorId(scene.index);
   door.setDoorLinkId(1);
   door.setHandleLinkId(4);
   door.setSpringConstant(30.0);
   door.setClosedDoorAngleLowerBound(q[1] - 0.5);
   door.setClosedDoorAngleUpperBound(q[1] + 0.2);
   door.setUnlatchingAngleLowerBound(q[4] + 0.01);
   door.setUnlatchingAngleUpperBound(q[4] + 2.0);
   ZqLinkInteractionsVector interactions;
   interactions.pushBack(spring);
   interactions.pushBack(door);
   scene.system.setLinkInteractionsVector(interactions);
   // The door is held elsewhere than in the middle of its frame.
   ZqInteractionState remembered;
   remembered.setMemories({{}, ZqXmlVectorBasicType<ZqReal>({0.0, q[1] - 0.4})});

   ZqIndividualManipulator body;
   body.setManipulatorLabel("body");
   body.setMassProperties(zqTest::randomMass(random));
   scene.system.addManipulator(body);
   EXPECT_TRUE(scene.system.configuration().attachmentMap().attachManipulator(
      scene.system.numberOfManipulators() - 1, scene.index, "label2", zqTest::randomFrame(random),
      "grip"));
   scene.system.placeAttachedManipulators();
   scene.system.setInteractionState(remembered);
}

/// What does not act in a run: a constraint of the state, how far a joint is from limits of several joints, the
/// corners of a polygon in the system.
std::vector<ZqReal> valuesOf(const ZqStatedSystem& system, ZqU32 index)
{
   const ZqIndividualManipulator& manipulator = *system.manipulatorByIndex(index);
   const ZqPositionState& position = system.state().positionStates()[index];
   std::vector<ZqReal> values{
      manipulator.stateConstraints().vectorContainer()[0]->evaluate(position)};
   const ZqManipulatorLink& link = *manipulator.linkByIndex(0);
   for (const auto* limit : {link.upperLimitConstraintContainer().topElement(),
                             link.lowerLimitConstraintContainer().topElement()})
      if (limit != nullptr)
         values.push_back(limit->evaluate(position));
   ZqManipulatorActivePositionState state;
   state.setPositionState(position);
   const auto& polygon = dynamic_cast<const ZqComPolygonalStoppingCriterion&>(
      *manipulator.stoppingCriteria().vectorContainer()[0]);
   const Transform frame = manipulator.linkByIdentifier("label2")->primaryFrameInSystem(state);
   for (const ZqVector& vertex : polygon.polygonVertices())
      for (ZqU32 k = 0; k < 3; ++k)
         values.push_back((frame * vertex)[k]);
   return values;
}

/// What has been combined, taken apart again: where its links are.
std::vector<Transform> framesApart(ZqStatedSystem system)
{
   ZqU32 parent = 0;
   ZqU32 child = 0;
   Transform place;
   EXPECT_TRUE(system.uncombineManipulator("tool", parent, child, place));
   ZqManipulatorActivePositionState state;
   state.setPositionState(system.state().positionStates()[child]);
   std::vector<Transform> frames;
   for (const ZqManipulatorLink* link : zqTest::inPreorder(*system.manipulatorByIndex(child)))
      frames.push_back(frameOf(*link, state));
   return frames;
}

/// Where the links and the body that one of them carries are after a while.
std::vector<Transform> framesAfterARun(const ZqStatedSystem& system, ZqU32 index)
{
   ZqSimulation simulation(system, ZqSimulation::Settings());
   for (int k = 1; k <= 100; ++k)
      EXPECT_TRUE(simulation.stepTo(system.state().time() + 0.0005 * k));
   const ZqIndividualManipulator& manipulator = *system.manipulatorByIndex(index);
   ZqManipulatorActivePositionState state;
   state.setPositionState(simulation.state().positionStates()[index]);
   std::vector<Transform> frames{
      simulation.state().positionStates()[system.numberOfManipulators() - 1].coordSysXForm()};
   for (const ZqManipulatorLink* link : zqTest::inPreorder(manipulator))
      frames.push_back(frameOf(*link, state));
   return frames;
}

TEST(KinematicsConversion, AllThatActsInASceneFollows)
{
   for (ZqU32 seed = 0; seed < 12; ++seed)
   {
      const bool isChain = seed % 3 == 0;
      RandomScene scene(
         seed,
         {isChain ? zqTest::chain(5) : zqTest::Parents{zqTest::onBase, 0, 1, 1, 3}, seed % 2 == 0});
      scene.system.editManipulator(scene.index,
                                   [&](ZqIndividualManipulator& manipulator)
                                   {
                                      for (ZqU32 i = 0; i < 5; ++i)
                                      {
                                         // A door's moment is about z of its D-H frame.
                                         Dh joint = delicateJoint(scene.random);
                                         if (i == 1)
                                            joint.setDhType(Dh::GeneralCraig);
                                         manipulator.linkByIndex(i)->setLinkKinematics(joint);
                                         manipulator.linkByIndex(i)->addNamedFrame("flange", {});
                                      }
                                      manipulator.addNamedFrame("flange", {});
                                   });
      ZqIndividualManipulator tool = zqTest::makeManipulator(
         zqTest::chain(1), [&](ZqU32) { return zqTest::randomLink(scene.random); });
      tool.setManipulatorLabel("tool");
      tool.linkByIndex(0)->setLinkKinematics(delicateJoint(scene.random));
      tool.linkByIndex(0)->addNamedFrame("flange", {});
      tool.changeLinkLabel("label0", "finger");
      scene.system.addManipulator(tool);
      ASSERT_TRUE(scene.system.combineManipulator("tool", scene.manipulator().manipulatorLabel(),
                                                  "label4", zqTest::randomFrame(scene.random)));
      holdAll(scene);
      const std::vector<Transform> expected = framesAfterARun(scene.system, scene.index);
      const std::vector<ZqReal> values = valuesOf(scene.system, scene.index);
      const std::vector<Transform> apart = framesApart(scene.system);
      for (const Kind kind : {Craig, Precursor, IdentityFrames, Recenter, Flip})
      {
         ZqStatedSystem result;
         ASSERT_TRUE(convert(kind, scene.system, scene.index, result));
         const std::vector<Transform> frames = framesAfterARun(result, scene.index);
         for (std::size_t i = 0; i < frames.size(); ++i)
            EXPECT_LE(distance(frames[i], expected[i], 1.0), 1e-9)
               << "seed " << seed << " kind " << kind << " frame " << i;
         const std::vector<ZqReal> valuesNow = valuesOf(result, scene.index);
         ASSERT_EQ(valuesNow.size(), values.size());
         for (std::size_t i = 0; i < values.size(); ++i)
            EXPECT_NEAR(valuesNow[i], values[i], 1e-12) << "seed " << seed << " kind " << kind;
         const std::vector<Transform> apartNow = framesApart(result);
         ASSERT_EQ(apartNow.size(), apart.size());
         for (std::size_t i = 0; i < apart.size(); ++i)
            EXPECT_LE(distance(apartNow[i], apart[i], 1.0), 1e-12)
               << "seed " << seed << " kind " << kind;
      }
   }
}

TEST(KinematicsConversion, FormsThatAreKnown)
{
   // Paul's joints become Craig's by a move of a and alpha to the next joint, and keep their zeros.
   ZqManipulatorLink link;
   ZqIndividualManipulator paul;
   for (ZqU32 i = 0; i < 4; ++i)
   {
      Dh joint;
      joint.setDhA(0.1 + 0.1 * i);
      joint.setDhAlpha(0.3 * (i + 1.0));
      joint.setDhD(i - 1.5);
      link.setLinkLabel(std::to_string(i));
      link.setLinkKinematics(joint);
      paul.addLinkToEndOfChain(link);
   }
   ZqStatedSystem source;
   source.setFromManipulator(paul);
   ZqStatedSystem result;
   ASSERT_TRUE(Tool().convertManipulatorToCraigsDhForm(source, result, 0));
   std::vector<ZqReal> parameters;
   ASSERT_TRUE(result.manipulatorByIndex(0)->getCraigDhParameters(parameters));
   for (ZqU32 i = 0; i < 4; ++i)
   {
      EXPECT_NEAR(parameters[3 * i], i == 0 ? 0.0 : 0.1 * i, 1e-15);
      EXPECT_NEAR(parameters[3 * i + 1], 0.3 * i, 1e-15);
      EXPECT_NEAR(parameters[3 * i + 2], i - 1.5, 1e-15);
   }
   EXPECT_EQ(result.state(), source.state());

   // What is in Craig's form stays, to the last bit; turns follow a wish.
   ZqStatedSystem again;
   ASSERT_TRUE(Tool().convertManipulatorToCraigsDhForm(result, again, 0));
   EXPECT_EQ(again, result);
   const double shift = 6.0;
   ASSERT_TRUE(Tool().convertManipulatorToCraigsDhForm(result, again, 0, {true}, {true, true},
                                                       {-9.0}, {0.0, 14.0}, nullptr, &shift));
   const auto& q = again.state().positionStates()[0].jointPositions();
   const ZqReal turns[] = {-1.0, 2.0, 1.0, 1.0};
   for (ZqU32 i = 0; i < 4; ++i)
      EXPECT_NEAR(q[i] - result.state().positionStates()[0].jointPositions()[i],
                  2.0 * zqTest::pi * turns[i], 1e-14);
}

TEST(KinematicsConversion, WhatCannotBeConvertedStays)
{
   // The first has a joint that slides, the second a fork besides.
   Dh slide;
   slide.setJointType(Dh::Prismatic);
   ZqManipulatorLink link;
   link.setLinkLabel("first");
   link.setLinkKinematics(slide);
   ZqIndividualManipulator manipulator;
   manipulator.addChild(link);
   ZqStatedSystem scene;
   scene.setFromManipulator(manipulator);
   link.setLinkLabel("second");
   manipulator.addChild(link);
   scene.addManipulator(manipulator);
   // The third has a link without a joint behind one that turns.
   ZqManipulatorLink fixed;
   fixed.setLinkLabel("fixed");
   link.setLinkKinematics(Dh());
   link.addChild(fixed);
   ZqIndividualManipulator third;
   third.addChild(link);
   scene.addManipulator(third);
   const Transform endlessFrame(ZqVector(0.0, zqTest::infinity, 0.0));
   const Transform skew(ZqVector(), ZqOrientation(2.0, 0.0, 0.0, 0.0));
   const std::string ofLink =
      "convertBifurcatingLinkAndChildrenToCraigsDhForm(): link \"second\": ";
   const ZqStatedSystem before = scene;
   const Tool tool;
   std::vector<std::string> labels;
   const double endless = zqTest::infinity;
   const std::pair<std::function<bool()>, std::string> cases[] = {
      {[&] { return tool.convertManipulatorToCraigsDhForm(scene, scene, 3); },
       "convertManipulatorToCraigsDhForm(): index (3) out of range\n"},
      {[&] { return tool.convertManipulatorToCraigsDhForm(scene, scene, 0); },
       "convertManipulatorToCraigsDhForm(): system with non-rotational DH kinematics cannot be "
       "converted.\n"},
      {[&] { return tool.convertManipulatorToCraigsDhForm(scene, scene, 1); },
       "convertBifurcatingManipulatorToCraigsDhForm(): system with non-rotational DH kinematics "
       "cannot be converted.\n"},
      {[&]
       {
          return tool.convertManipulatorToCraigsDhForm(scene, scene, 0, {}, {}, {}, {}, &endless,
                                                       nullptr);
       },
       "convertManipulatorToCraigsDhForm(): centers and shifts must be finite.\n"},
      {[&] { return tool.recenterJointLimits(scene, 3, {}); },
       "recenterJointLimits(): bad manipulator index, 3\n"},
      {[&] { return convert(Flip, ZqStatedSystem(scene), 2, scene); },
       "reconfigureDhToPrecursor: the child \"fixed\" of link \"second\" has no joint.\n"},
      {[&] {
          return tool.convertBifurcatingLinkAndChildrenToCraigsDhForm(scene, 2, 0, Transform(),
                                                                      false);
       },
       ofLink + "a child has no joint, and would move.\n"},
      {[&]
       { return tool.convertBifurcatingLinkAndChildrenToCraigsDhForm(scene, 2, 0, skew, false); },
       ofLink + "the transformation is not a rigid one.\n"},
      {[&] { return Tool::flipJointSign(manipulator, "none"); },
       "reconfigureDhToPrecursor: incorrect link label.\n"},
      {[&] { return Tool::add3SagJoints(manipulator, "none", labels); },
       "add3SagJoints(): \"none\": there is no such link.\n"}};
   for (const auto& [convert, message] : cases)
   {
      const zqTest::LogCapture log;
      EXPECT_FALSE(convert()) << message;
      EXPECT_EQ(log.text(), "ZqKinematicsConversionTool::" + message + '\n');
      EXPECT_EQ(scene, before);
   }
   const ZqIndividualManipulator unchanged = manipulator;
   for (const Transform& frame : {endlessFrame, skew})
   {
      const zqTest::LogCapture log;
      EXPECT_FALSE(manipulator.transformPrimaryFrame("first", frame));
      EXPECT_NE(log.text().find("\"first\": the frame is not a rigid one"), ZqString::npos);
      EXPECT_EQ(manipulator, unchanged);
   }
}

TEST(ManipulatorFrames, SharedShapesStayInSpaceAndAreSimplified)
{
   RandomValues random(7);
   const Transform frames[] = {zqTest::randomFrame(random), zqTest::randomFrame(random)};
   // The first two links use the shape of the third one, with its primary frame and with another one.
   ZqIndividualManipulator manipulator = zqTest::makeManipulator(
      zqTest::chain(3),
      [&](ZqU32 i)
      {
         ZqManipulatorLink link = zqTest::randomLink(random);
         link.setPrimaryFrame(frames[i % 2]);
         ZqLinkReferenceDescription shapes;
         shapes.setIsShapeReferenced(i < 2);
         shapes.setReferencedLinkLabel("label2");
         ZqBox box(zqTest::randomFrame(random), {1.0, 2.0, 3.0});
         ZqDataMap steel;
         steel.add(ZqString(ZqFoundCommon::ZqSurfaceMaterialTypeToken.localName()), "steel");
         box.setSurfaces({{"0", steel}});
         if (i == 2)
            link.setShape(box);
         link.setLinkReferenceDescription(shapes);
         return link;
      });
   manipulator.mapManipulator();
   const ZqPositionState position = zqTest::randomPosition(random, manipulator);
   const auto boxes = [&]
   {
      ZqXmlVectorType<ZqAxisAlignedBoundingBox> result;
      ZqManipulatorActivePositionState state;
      state.setPositionState(position);
      for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
         link->axisAlignedBoundingBoxVectorInSystem(state, result);
      return result;
   };
   const auto expected = boxes();
   ASSERT_EQ(expected.size(), 3U);
   const auto expectBoxes = [&]
   {
      const auto now = boxes();
      for (ZqU32 i = 0; i < 3; ++i)
         EXPECT_TRUE(now[i].lower().approxEq(expected[i].lower(), 1e-13) &&
                     now[i].upper().approxEq(expected[i].upper(), 1e-13));
   };
   ASSERT_TRUE(manipulator.transformAllPrimaryFramesToIdentity());
   expectBoxes();
   EXPECT_TRUE(manipulator.linkByIndex(0)->linkReferenceDescription().isShapeReferenced());
   EXPECT_FALSE(manipulator.linkByIndex(1)->linkReferenceDescription().isShapeReferenced());
   ASSERT_TRUE(manipulator.transformPrimaryFrame("label2", frames[1]));
   expectBoxes();
   EXPECT_EQ(manipulator.linkByIndex(2)->primaryFrame(), frames[1]);

   ZqDataMap data;
   data.add("red", 0.5);
   manipulator.simplifyLinkShapesWithCapsules(data);
   const ZqShape& capsule = *manipulator.linkByIndex(2)->shape();
   EXPECT_EQ(capsule.shapeType(), ZqShape::CapsuleShape);
   data.add(ZqString(ZqFoundCommon::ZqSurfaceMaterialTypeToken.localName()), "steel");
   EXPECT_EQ(capsule.surfaces(), ZqShape::Surfaces({{"Bounding", data}}));
}
} // namespace
