#pragma once

#include "support/randomManipulators.h"
#include "support/xmlSamples.h"
#include "zqManipulator/zqManipulator.h"

#include <functional>

namespace zqTest
{
/// Fills objects without a zero, a one or a repeated number, and with no component of its default.
struct Filler
{
   template <class T>
   static T filled()
   {
      T object;
      fill(object);
      return object;
   }
   /// Calls each setter with a number of its own.
   template <class T, class... Setters>
   static void setNumbers(T& object, ZqReal first, Setters... setters)
   {
      (std::invoke(setters, object, first++), ...);
   }
   static void fill(ZqCoordinateSystemTransformation& X)
   {
      X = {{1.25, -2.5, 3.75}, {1.0 / 11.0, 2.0 / 11.0, 4.0 / 11.0, -10.0 / 11.0}};
   }
   static ZqCoordinateSystemTransformation sampleFrame()
   {
      return filled<ZqCoordinateSystemTransformation>();
   }
   static void fill(ZqGeneralMotion& motion)
   {
      motion = {{1e-300, -2.5, 1.0 / 3.0}, {4.5, -5.5, 6.02214076e23}};
   }
   static void fill(ZqGeneralForce& force)
   {
      force = {{0.1, -2.5, 1.7976931348623157e308}, {4.5, -5e-324, 6.5}};
   }
   static void fill(ZqSecondMoment& moment) { moment = {2.0, 3.0, 4.0, -0.1, 0.2, -0.3}; }
   static void fill(ZqSphere& sphere) { sphere = {{1.25, -2.5, 3.75}, 4.5}; }
   static void fill(ZqRigidBodyMassProperties& body)
   {
      body = {1.5, {0.1, -0.2, 0.3}, {2.0, 3.0, 4.0, -0.4, 0.5, -0.6}};
   }
   static void fill(ZqArticulatedBodyInertia& inertia)
   {
      inertia.set({2.0, 3.0, 4.0, -0.1, 0.2, -0.3}, {5.0, 6.0, 7.0, -0.4, 0.5, -0.6},
                  {1.25, 1.5, 1.75, 2.25, 2.5, 2.75, 3.25, 3.5, 3.75});
   }
   static void fill(ZqArticulatedBodyDynamics& body)
   {
      body.set(filled<ZqArticulatedBodyInertia>(), {{8.5, 9.5, 10.5}, {-8.25, -9.25, -10.25}});
   }
   static void fill(ZqManipulatorExternalForce& forces)
   {
      forces.setBaseForce({{2.0, 3.0, 4.0}, {5.0, 6.0, 7.0}});
      forces.resize(2);
      fill(forces[0]);
      forces[1] = {{-2.0, -3.0, -4.0}, {-5.0, -6.0, -7.0}};
   }
   static void fill(ZqManipulatorTorque& torque)
   {
      torque.setJointTorques({{0.2, -0.3, 4e-300}});
      fill(torque.generalForce());
   }
   static void fill(ZqDenavitHartenberg& joint)
   {
      joint.setPrimaryFrame(sampleFrame());
      joint.setJointType(ZqDenavitHartenberg::Prismatic);
      joint.setDhType(ZqDenavitHartenberg::GeneralCraig);
      joint.setPrecursor({{-4.25, 5.5, 6.75}, {2.0 / 9.0, 4.0 / 9.0, -5.0 / 9.0, 6.0 / 9.0}});
      using T = ZqDenavitHartenberg;
      setNumbers(joint, 0.7, &T::setDhA, &T::setDhD, &T::setDhAlpha, &T::setDhTheta);
   }
   static void fill(ZqLinkKinematicsContainer& container)
   {
      container.setTopElement(filled<ZqDenavitHartenberg>());
   }
   static void fill(ZqPositionState& state)
   {
      state.setJointPositions({0.3, -0.4});
      fill(state.coordSysXForm());
   }
   static void fill(ZqVelocityState& state)
   {
      state.setJointVelocities(ZqXmlVectorBasicType<ZqReal>{0.5, -0.6});
      fill(state.generalVelocity());
   }
   static void fill(ZqAccelerationState& state)
   {
      state.setJointAccelerations(ZqXmlVectorBasicType<ZqReal>{0.7, -0.8, 0.9});
      fill(state.generalAcceleration());
   }
   static void fill(ZqActuatorState& state)
   {
      using T = ZqActuatorState;
      ZqReal number = 2.1;
      for (const auto set : {&T::setOutputTorques, &T::setMotorPositions, &T::setMotorVelocities,
                             &T::setMotorAccelerations, &T::setSpringDamperCenters,
                             &T::setLastVelocities, &T::setReverseMotionPositions})
         (state.*set)({number++, -3.5});
      state.setNonRigidActuatorFlags({true, false});
      state.setStaticFrictionModes({false, true});
      state.setPowerConverterStates({{}, {3.6, -3.7}, {3.8}});
   }
   static void fill(ZqManipulatorSystemState& state)
   {
      state.positionStates().resize(2);
      fill(state.positionStates()[0]);
      state.velocityStates().resize(2);
      fill(state.velocityStates()[0]);
      state.setTime(12.5);
   }
   static void fill(ZqAttachmentNodeState& state)
   {
      state.setDependentManipulatorIndices({7, 4294967295});
      state.basePositions().resize(2);
      fill(state.basePositions()[0]);
      state.baseVelocities().resize(3);
      fill(state.baseVelocities()[2]);
   }
   static void fill(ZqAttachmentMapState& state)
   {
      fill(state.systemAttachmentState());
      fill(state.manipulatorAttachmentState(8));
      state.manipulatorAttachmentState(9).setDependentManipulatorIndices({10});
   }
   template <class T>
   static void fillDriveTrain(T& component)
   {
      setNumbers(component, 11.0, &T::setInertia, &T::setFrictionCoefficient, &T::setGearRatio,
                 &T::setLowerLimit, &T::setUpperLimit, &T::setMaxOutputRate, &T::setStopperZone,
                 &T::setStopperSpringCoefficient, &T::setStopperDampingCoefficient,
                 &T::setStaticCoulombFriction, &T::setKineticCoulombFrictionPercentage,
                 &T::setStaticCoulombSpringCoefficient, &T::setStaticCoulombDamperCoefficient,
                 &T::setLimitingVelocityStickRegion, &T::setJointFlexibilityStiffness,
                 &T::setJointFlexibilityDamping, &T::setBacklash);
      component.setIsRigid(false);
   }
   static void fill(ZqMechanicalActuatorComponent& component)
   {
      fillDriveTrain(component);
      component.setMaxEfficiency(28.0);
   }
   static void fill(ZqOldJointActuator& actuator)
   {
      fillDriveTrain(actuator);
      actuator.setMinTorque(29.0);
      actuator.setMaxTorque(30.0);
   }
   static void fill(ZqJointActuatorContainer& container)
   {
      container.setTopElement(filled<ZqOldJointActuator>());
   }
   static void fill(ZqPassThroughPowerConverter& converter)
   {
      using T = ZqPassThroughPowerConverter;
      setNumbers(converter, 31.0, &T::setMinTorque, &T::setMaxTorque);
   }
   static void fill(ZqDcElectricMotor& motor)
   {
      using T = ZqDcElectricMotor;
      setNumbers(motor, 31.0, &T::setMinTorque, &T::setMaxTorque, &T::setArmatureInductance,
                 &T::setArmatureResistance, &T::setTorqueConstant, &T::setMaxEfficiency,
                 &T::setNoLoadSpeed, &T::setNoLoadCurrent, &T::setStallTorque);
   }
   static void fill(ZqHydraulicCylinder& cylinder)
   {
      using T = ZqHydraulicCylinder;
      setNumbers(cylinder, 31.0, &T::setMinTorque, &T::setMaxTorque, &T::setFluidBulkModulus,
                 &T::setFluidDensity, &T::setSupplyPressure, &T::setDrainPressure,
                 &T::setDischargeCoefficient, &T::setFlowAreaGradient, &T::setMaximumValveOpening,
                 &T::setEffectiveArea1, &T::setEffectiveArea2, &T::setFluidVolume1,
                 &T::setFluidVolume2, &T::setMaximumFluidLength);
   }
   static void fill(ZqPowerConverterContainer& container)
   {
      container.setTopElement(filled<ZqDcElectricMotor>());
   }
   static void fill(ZqSpringProperties& spring)
   {
      spring.setSpringConstant(45.0);
      spring.setWeightingFactors({46.0, -47.0});
      spring.setSpringOffsets({48.0, -49.0});
      spring.setAssociatedJoints({"upper arm", " <elbow>"});
   }
   static void fill(ZqDamperProperties& damper)
   {
      damper.setDamperConstant(51.0);
      damper.setWeightingFactors({52.0, -53.0});
      damper.setAssociatedJoints({"knee", "lower leg"});
   }
   static void fill(ZqMechanicalActuatorComponentContainer& container)
   {
      container.setTopElement(filled<ZqMechanicalActuatorComponent>());
   }
   static void fill(ZqJointActuator& actuator)
   {
      const auto data = filled<ZqManufacturerData>();
      fill(actuator.mechanicalComponentContainer());
      fill(actuator.powerConverterContainer());
      actuator.setPrimeMoveManufacturerData(data);
      actuator.setGearheadManufacturerDataVector({ZqManufacturerData(), data});
   }
   static void fill(ZqManipulatorSelfCollisionLinkMap& map)
   {
      map.setLinkCollisionCanditateByIdentifier("hand", "arm", true);
      map.setLinkCollisionCanditateByIdentifier("hand", "hand", false);
      map.setLinkCollisionCanditateByIdentifier("", "arm", true);
   }
   static void fill(ZqSystemCollisionExclusionMap& map)
   {
      map.excludeManipulatorCollisionCandidates(3, 2);
      map.excludeLinkCollisionCandidates(4, " <arm>", 5);
      map.excludeLinkCollisionCandidates(4, " <arm>", 6);
      map.excludeLinkCollisionCandidate(7, "hand", 4294967295, "leg");
   }
   static void fill(ZqCollisionExclusionData& data)
   {
      data.addCollisionExclusionMap("carrying", filled<ZqSystemCollisionExclusionMap>());
      data.setSelfCollision({{}, filled<ZqManipulatorSelfCollisionLinkMap>()});
   }
   static void fill(ZqManipulatorAttachmentNode& node)
   {
      node.setName("tool");
      node.setLinkLabel("flange");
      node.setManipulatorIndex(21);
      node.setOffset(sampleFrame());
      ZqManipulatorAttachmentNode child;
      child.setManipulatorIndex(22);
      child.setLinkLabel("tip");
      node.addNode(child, true);
   }
   static void fill(ZqManipulatorAttachmentChange& change)
   {
      change.setFromManipulatorAttach(23, 24, "palm", sampleFrame(), "grip");
   }
   static void fill(ZqManipulatorAttachmentMap& map)
   {
      map.attachManipulator(25, 26, "hand", sampleFrame(), "held");
   }
   static void fill(ZqLinkAttachment& attachment)
   {
      attachment.setManipulatorId(27);
      attachment.setLinkId("wrist");
      attachment.setFrame(sampleFrame());
   }
   static void fill(ZqPropagationDescriptor& descriptor)
   {
      descriptor.setCheckForCollisions(true);
      descriptor.setCollisionDetectionTolerance(0.03);
      descriptor.setCollisionDetectionFidelity(2);
   }
   static void fill(ZqPropagationResultData& result)
   {
      using T = ZqPropagationResultData;
      result.setHitJointLimit(true);
      result.setHitSingularity(true);
      result.setCollisionOccurred(true);
      ZqU32 index = 2;
      for (const auto set :
           {&T::setLinkIndexAtJointLimit, &T::setCollidedManipulator, &T::setCollidedLink,
            &T::setOtherCollidedLink, &T::setOtherCollidedManipulator, &T::setClosestManipulator,
            &T::setClosestLink, &T::setOtherClosestLink, &T::setOtherClosestManipulator})
         (result.*set)(index++);
      result.setClosestDistance(-0.02);
      result.registerGenericStoppingCriterion("tipped over");
   }
   static void fill(ZqComPolygonalStoppingCriterion& criterion)
   {
      criterion.setPolygonVertices({{2.0, 3.0, 4.0}, {-5.0, 6.0, 7.0}, {8.0, -9.0, 10.0}});
      criterion.setReferenceLinkLabel("foot");
      criterion.setDescriptiveText("tips over");
   }
   static void fill(ZqStoppingCriterionVector& criteria)
   {
      auto criterion = filled<ZqComPolygonalStoppingCriterion>();
      criteria.pushBack(criterion);
      criterion.setDescriptiveText("falls");
      criteria.pushBack(criterion);
   }
   static void fill(ZqOldManipulatorAttachmentMap& map)
   {
      map.attachManipulator(28, 29, "elbow", sampleFrame());
      map.attachManipulator(31, 28, "knee", {});
   }
   static void fill(ZqSystemEnvironment& environment)
   {
      environment.setCoordSysXForm(sampleFrame());
      environment.setUpGravityVector({0.1, -0.2, 9.8});
   }
   static void fill(ZqManipulatorSystem& system)
   {
      zqTest::RandomValues random(1);
      for (const ZqU32 links : {3U, 2U})
      {
         ZqIndividualManipulator manipulator = zqTest::randomManipulator(random, links);
         manipulator.fitAbsoluteBoundingSphere();
         system.addManipulator(manipulator);
      }
      system.setEnvironment(filled<ZqSystemEnvironment>());
      ZqSystemCollisionExclusionMap map;
      map.excludeManipulatorCollisionCandidates(2, 3);
      system.setCollisionExclusionMap(map);
   }
   static void fill(ZqManipulatorSystemConfiguration& configuration)
   {
      configuration.attachmentMap().attachManipulator(2, 3, "link", {}, "tool");
      configuration.collisionExclusionMap().excludeLinkCollisionCandidates(4, "link", 5);
      configuration.collisionExclusionMapForCA().excludeLinkCollisionCandidates(6, "link", 7);
   }
   static void fill(ZqManipulatorSystemContainer& container) { fill(*container.element()); }
   static void fill(ZqStatedSystem& stated)
   {
      stated.setFromSystem(filled<ZqManipulatorSystem>());
      stated.setToMidpointState();
      ZqManipulatorSystemConfiguration configuration;
      configuration.attachmentMap().attachManipulator(1, 0, "label0", {}, "tool");
      stated.setConfiguration(configuration);
   }
   static ZqGeneralMotion motion(ZqReal first)
   {
      return {{first, -2.5 * first, 3.5 * first}, {4.5 * first, 5.5 * first, -6.5 * first}};
   }
   static void fill(ZqLinkPositionState& state)
   {
      state.setDhFrame(sampleFrame());
      state.setPrimaryFrame(sampleFrame().inverse());
      state.setLocationInSystemValid(true);
      state.setDhTransformValid(true);
   }
   static void fill(ZqLinkVelocityState& state)
   {
      state.setDhFrameVelocityInLocal(motion(2.0));
      state.setDhFrameVelocityInSystem(motion(3.0));
      state.setPrimaryFrameVelocityInSystem(motion(7.0));
   }
   static void fill(ZqLinkAccelerationState& state)
   {
      state.setDhFrameAccelerationInLocal(motion(2.0));
      state.setDhFrameAccelerationInSystem(motion(3.0));
      state.setPrimaryFrameAccelerationInSystem(motion(7.0));
   }
   static void fill(ZqLinkForceState& state)
   {
      state.setDhFrameForceInLocal(filled<ZqGeneralForce>());
   }
   static void fill(ZqLinkMassState& state) { state.setCrbi(filled<ZqRigidBodyMassProperties>()); }
   static void fill(ZqLinkArticulationState& state)
   {
      state.setArbd(filled<ZqArticulatedBodyDynamics>());
      state.setSupplementalDhAcceleration(motion(2.0));
      state.setSupplementalJointAcceleration(0.25);
   }
   /// Of two links, of which one is filled, and a base.
   template <class Record>
   static std::pair<ZqXmlVectorType<Record>, Record> records()
   {
      return {{filled<Record>(), Record()}, filled<Record>()};
   }
   static void fill(ZqManipulatorActivePositionState& state)
   {
      const auto [links, base] = records<ZqLinkPositionState>();
      state.setPositionState(filled<ZqPositionState>());
      state.setLinkPositionStates(links);
      state.setBasePositionState(base);
   }
   static void fill(ZqManipulatorActiveVelocityState& state)
   {
      const auto [links, base] = records<ZqLinkVelocityState>();
      state.setVelocityState(filled<ZqVelocityState>());
      state.setLinkVelocityStates(links);
      state.setBaseVelocityState(base);
   }
   static void fill(ZqManipulatorActiveAccelerationState& state)
   {
      const auto [links, base] = records<ZqLinkAccelerationState>();
      state.setAccelerationState(filled<ZqAccelerationState>());
      state.setLinkAccelerationStates(links);
      state.setBaseAccelerationState(base);
   }
   static void fill(ZqManipulatorActiveForceState& state)
   {
      const auto [links, base] = records<ZqLinkForceState>();
      state.setLinkForceStates(links);
      state.setBaseForceState(base);
   }
   static void fill(ZqManipulatorActiveMassState& state)
   {
      // A record that is not filled holds no mass, which no document can.
      const auto record = filled<ZqLinkMassState>();
      state.setLinkMassStates({record});
      state.setBaseMassState(record);
   }
   static void fill(ZqManipulatorActiveArticulationState& state)
   {
      const auto [links, base] = records<ZqLinkArticulationState>();
      state.setLinkArticulationStates(links);
      state.setBaseArticulationState(base);
   }
   static void fill(ZqManipulatorActiveState& state)
   {
      fill(state.activePositionState());
      fill(state.activeVelocityState());
      fill(state.activeAccelerationState());
      fill(state.activeForceState());
      fill(state.activeMassState());
      fill(state.activeArticulationState());
      fill(state.actuatorState());
   }
   static void fill(ZqSystemActiveState& state)
   {
      state.setNumManipulators(1);
      fill(state.manipulatorActiveStateVector()[0]);
   }
   static void fill(ZqLinkReferenceDescription& description)
   {
      description.setIsShapeReferenced(true);
      description.setReferencedLinkLabel("link <2>");
   }
   static void fill(ZqManipulatorReferenceDescription& description)
   {
      description.setIsManipulatorReferenced(true);
      description.setIsManipulatorReferencedBy(true);
      description.setReferencedManipulatorLabel("arm & hand");
   }
   static void fill(ZqManipulatorLinkIdentifier& identifier) { identifier = {4294967294, "wrist"}; }
   static void fill(ZqBaseLinkInterface& interface)
   {
      interface.setIdentifier("flange 2");
      interface.setType("bolted");
      interface.setFrame(sampleFrame());
      interface.setInUse(true);
   }
   static void fill(ZqManipulatorLink& link)
   {
      link.setLinkLabel("upper \"arm\"");
      link.setLinkKinematicsContainer(filled<ZqLinkKinematicsContainer>());
      ZqManipulatorLink child;
      child.setLinkLabel("lower arm");
      child.setMassProperties(ZqRigidBodyMassProperties::pointMass(2.75));
      link.setChildLinks({child});
      link.setJointActuator(ZqJointActuator::defaultObject());
      link.setSpringProperties(filled<ZqSpringProperties>());
      link.setDamperProperties(filled<ZqDamperProperties>());
      link.setMassProperties(filled<ZqRigidBodyMassProperties>());
      link.addMassProperties("tool", ZqRigidBodyMassProperties::pointMass(2.25));
      link.setLinkReferenceDescription(filled<ZqLinkReferenceDescription>());
      link.addNamedPoint("tip", {8.25, -8.5, 8.75});
      link.addNamedFrame("flange", sampleFrame());
      link.setIsConstrained(true);
   }
   static void fill(ZqLinearStateEqualityConstraint& constraint)
   {
      constraint.setJointWeights({{0.25, -0.5}, {0.75}});
      constraint.setBaseWeights({{1.25, -1.5, 1.75}, {2.25}, {}});
      constraint.setWeightedSums({2.5, -2.75});
   }
   static void fill(ZqPointPairStateEqualityConstraint& constraint)
   {
      constraint.setFirstLinkLabel("crank");
      constraint.setSecondLinkLabel("rocker");
      constraint.setFirstLinkPoint({0.3, -0.4, 0.6});
      constraint.setSecondLinkPoint({-0.7, 0.8, 0.9});
   }
   static void fill(ZqXyStateEqualityConstraint& constraint)
   {
      fill(static_cast<ZqPointPairStateEqualityConstraint&>(constraint));
      constraint.setXyOrientation({1.0 / 11.0, 2.0 / 11.0, 4.0 / 11.0, -10.0 / 11.0});
   }
   static void fill(ZqStateEqualityConstraintVector& constraints)
   {
      constraints.pushBack(filled<ZqXyStateEqualityConstraint>());
      constraints.pushBack(filled<ZqLinearStateEqualityConstraint>());
      constraints.pushBack(filled<ZqPointStateEqualityConstraint>());
   }
   static void fill(ZqIndividualManipulator& manipulator)
   {
      auto base = filled<ZqManipulatorLink>();
      ZqLinkReferenceDescription shapes;
      shapes.setIsShapeReferenced(true);
      shapes.setReferencedLinkLabel("lower arm");
      base.setLinkReferenceDescription(shapes);
      base.setIsConstrained(false); // not in the document of a base
      base.setJointActuator({});
      base.setSpringProperties({});
      base.setDamperProperties({});
      manipulator.setFromLink(base);
      manipulator.setManipulatorLabel("left");
      manipulator.setCoordSysXForm(ZqVector(9.25, -9.5, 9.75));
      manipulator.setIsFixedBase(false);
      manipulator.setOptimizeOnLoad(true);
      auto description = filled<ZqManipulatorReferenceDescription>();
      description.setIsManipulatorReferenced(false);
      manipulator.setManipulatorReferenceDescription(description);
      manipulator.setStateEqualityConstraints(filled<ZqStateEqualityConstraintVector>());
      manipulator.setStoppingCriteria(filled<ZqStoppingCriterionVector>());
      manipulator.setDisplayLinkIndices({11, 12});
      manipulator.buildSelfCollisionLinkMap();
   }
   static void fill(ZqManufacturerData& data)
   {
      data.setManufacturer(" <Schmidt & \"S\u00f6hne\">");
      data.setPartNumber("47-11'\t\n");
   }
};

/// An object of each persistent class.
template <class T>
T sample()
{
   return Filler::filled<T>();
}
} // namespace zqTest
