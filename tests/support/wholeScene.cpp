#include "support/wholeScene.h"

#include "support/randomManipulators.h"

#include <gtest/gtest.h>

#include <array>

namespace zqTest
{
namespace
{
ZqManipulatorLink randomDrivenLink(RandomValues& random)
{
   ZqDenavitHartenberg joint;
   joint.setJointType(random.index(0, 1));
   joint.setPrecursor({random.vector(0.3), random.orientation()});
   ZqMechanicalActuatorComponent train;
   train.setGearRatio(random.real(2.0, 20.0));
   train.setInertia(0.001);
   train.setFrictionCoefficient(0.002);
   train.setLowerLimit(-0.3);
   train.setUpperLimit(0.3);
   train.setStopperZone(0.1);
   train.setStopperSpringCoefficient(10.0);
   train.setStaticCoulombFriction(random.index(0, 1) * 0.02);
   train.setKineticCoulombFrictionPercentage(0.7);
   train.setStaticCoulombSpringCoefficient(10.0);
   train.setLimitingVelocityStickRegion(0.3);
   train.setIsRigid(random.index(0, 2) != 0);
   train.setJointFlexibilityStiffness(200.0);
   train.setJointFlexibilityDamping(1.0);
   train.setBacklash(random.index(0, 1) * 0.01);
   ZqDcElectricMotor motor;
   motor.setArmatureInductance(0.01);
   motor.setArmatureResistance(2.0);
   motor.setTorqueConstant(0.05);
   ZqHydraulicCylinder cylinder;
   cylinder.setFluidBulkModulus(10.0);
   cylinder.setFluidDensity(2.0);
   cylinder.setSupplyPressure(1.0);
   cylinder.setDischargeCoefficient(0.5);
   cylinder.setFlowAreaGradient(4.0);
   cylinder.setMaximumValveOpening(0.5);
   cylinder.setEffectiveArea1(0.02);
   cylinder.setEffectiveArea2(0.01);
   cylinder.setFluidVolume1(3.0);
   cylinder.setFluidVolume2(4.0);
   const std::array<const ZqBasePowerConverter*, 4> converters{nullptr, &motor, &cylinder, &motor};
   const ZqBasePowerConverter* const converter = converters[random.index(0, 3)];
   ZqJointActuator drive;
   drive.setMechanicalComponent(train);
   if (converter != nullptr)
   {
      std::unique_ptr<ZqBasePowerConverter> strong(
         dynamic_cast<ZqBasePowerConverter*>(converter->clone()));
      strong->setMinTorque(-1.0);
      strong->setMaxTorque(1.0);
      drive.setPowerConverter(*strong);
   }
   const SolidBody body = solidBox(random.real(0.5, 2.0), {0.05, 0.08, 0.1});
   ZqManipulatorLink link;
   link.setLinkKinematics(joint);
   link.setJointActuator(drive);
   link.setShape(*body.shape);
   link.setMassProperties(body.mass);
   return link;
}

/// What lies beside the drive, for a link of a tree whose links have the labels of their places.
ZqManipulatorLink withExtras(ZqManipulatorLink link, RandomValues& random, ZqU32 i)
{
   link.addNamedPoint("tip", random.vector());
   link.addNamedFrame("flange", randomFrame(random));
   if (random.index(0, 2) == 0)
      link.addMassProperties("load", solidBox(0.2, {0.02, 0.02, 0.02}).mass);
   const std::string label = "label" + std::to_string(i);
   if (random.index(0, 1) == 0)
   {
      ZqSpringProperties spring;
      spring.setSpringConstant(random.real(1.0, 5.0));
      spring.setWeightingFactors(ZqRealVector{1.0, random.real(0.5, 1.0)});
      spring.setSpringOffsets(ZqRealVector{0.1, -0.1});
      spring.setAssociatedJoints({label, "label" + std::to_string(i / 2)});
      link.setSpringProperties(spring);
      ZqDamperProperties damper;
      damper.setDamperConstant(random.real(0.01, 0.1));
      damper.setWeightingFactors(ZqRealVector{1.0});
      damper.setAssociatedJoints({label});
      link.setDamperProperties(damper);
   }
   return link;
}

/// Above the floor, with a loop that can be closed or one that cannot be, and a criterion for its support.
ZqIndividualManipulator randomArm(RandomValues& random, ZqU32 links)
{
   ZqIndividualManipulator arm =
      makeManipulator(randomTree(random, links),
                      [&](ZqU32 i) { return withExtras(randomDrivenLink(random), random, i); });
   arm.setMassProperties(solidBox(5.0, {0.1, 0.1, 0.1}).mass);
   arm.setIsFixedBase(random.index(0, 1) == 0);
   ZqStateEqualityConstraintVector constraints;
   const ZqU32 kind = random.index(0, 3);
   if (kind == 1)
   {
      ZqPointStateEqualityConstraint loop;
      loop.setFirstLinkLabel("label" + std::to_string(links - 1));
      loop.setSecondLinkLabel("label0");
      loop.setFirstLinkPoint(random.vector(0.1));
      constraints.pushBack(loop);
   }
   else if (kind == 2)
   {
      ZqLinearStateEqualityConstraint coupling;
      coupling.setJointWeights({{1.0, -0.5}});
      coupling.setWeightedSums({0.01});
      constraints.pushBack(coupling);
   }
   arm.setStateEqualityConstraints(constraints);
   ZqComPolygonalStoppingCriterion support;
   const ZqReal w = random.real(0.02, 0.5);
   support.setPolygonVertices({{w, w, 0.0}, {-w, w, 0.0}, {-w, -w, 0.0}, {w, -w, 0.0}});
   support.setDescriptiveText("left its \"support\" <" + std::to_string(links) + ">");
   ZqStoppingCriterionVector criteria;
   criteria.pushBack(support);
   arm.setStoppingCriteria(criteria);
   return arm;
}
} // namespace

ContactScene wholeScene(RandomValues& random)
{
   ContactScene scene;
   scene.setGravity({random.real(), random.real(), -9.8});
   scene.addFloor();
   const ZqU32 bodies = random.index(1, 4);
   for (ZqU32 i = 0; i < bodies; ++i)
   {
      const ZqReal h = 0.05;
      const std::array solids{solidBox(1.0, {h, h, h}),  solidSphere(1.0, h),
                              solidCylinder(1.0, h, h),  solidCapsule(1.0, h, h),
                              solidHull(1.0, {h, h, h}), meshBox(1.0, {h, h, h})};
      const ZqVector place(0.08 * i, 0.3 * random.real(), h * random.real(1.0, 1.2));
      scene.addFree(solids[random.index(0, 5)],
                    {place, ZqOrientation::exponential(random.vector(0.1))},
                    {random.vector(), random.vector()});
   }
   const ZqU32 links = random.index(2, 6);
   ZqPositionState position;
   std::vector<ZqReal> joints(links);
   for (ZqReal& q : joints)
      q = random.real(-0.3, 0.3);
   position.setJointPositions(joints);
   position.setCoordSysXForm({ZqVector(0.0, 0.0, 0.5), random.orientation()});
   ZqVelocityState velocity;
   velocity.setJointVelocities(std::vector<ZqReal>(links, random.real()));
   const ZqU32 arm = scene.add(randomArm(random, links), position, velocity);
   // A tool on its last link.
   if (random.index(0, 1) == 0)
   {
      const ZqU32 tool = scene.addFree(solidSphere(0.3, 0.1), {});
      ZqManipulatorSystemConfiguration configuration = scene.system.configuration();
      ZqManipulatorAttachmentMap map;
      EXPECT_TRUE(map.attachManipulator(tool, arm, "label" + std::to_string(links - 1),
                                        ZqVector(0.0, 0.0, 0.2), "tool"));
      configuration.setAttachmentMap(map);
      scene.system.setConfiguration(configuration);
      scene.system.placeAttachedManipulators();
   }
   // Another one of the same model, farther away.
   ZqIndividualManipulator other;
   ZqManipulatorReferenceDescription description;
   description.setIsManipulatorReferenced(true);
   description.setReferencedManipulatorLabel(
      scene.system.manipulatorByIndex(arm)->manipulatorLabel());
   other.setManipulatorReferenceDescription(description);
   other.fitAbsoluteBoundingSphere();
   other.setIsFixedBase(scene.system.manipulatorByIndex(arm)->isFixedBase());
   position.setCoordSysXForm({ZqVector(2.0, 0.0, 0.5), random.orientation()});
   const ZqU32 second = scene.add(other, position, velocity);
   ZqSystemCollisionExclusionMap exclusions(scene.system.system().collisionExclusionMap());
   exclusions.excludeLinkCollisionCandidate(arm, "label0", second, "label1");
   exclusions.excludeManipulatorCollisionCandidates(0, second);
   scene.system.setCollisionExclusionMap(exclusions);
   ZqLinkInteractionsVector interactions;
   interactions.pushBack(contactOf(ContactMaterial()));
   ZqSpringAndDamperBetweenLinks spring;
   spring.setManipulatorTwoIndex(1);
   spring.setLinkOneIndex(-2);
   spring.setLinkTwoIndex(-2);
   spring.setLinearSpringConstant(10.0);
   spring.setLinearDamperConstant(0.1);
   interactions.pushBack(spring);
   ZqLatchedDoorLinks door;
   door.setManipulatorId(arm);
   door.setHandleLinkId(1);
   door.setSpringConstant(5.0);
   door.setLatchType(random.index(0, 1));
   door.setUnlatchingAngleLowerBound(random.real(-0.2, 0.0));
   door.setUnlatchingAngleUpperBound(0.1);
   door.setClosedDoorAngleLowerBound(-0.05);
   door.setClosedDoorAngleUpperBound(0.1);
   interactions.pushBack(door);
   scene.system.setLinkInteractionsVector(interactions);
   return scene;
}
} // namespace zqTest
