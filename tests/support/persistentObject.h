#pragma once

#include "support/randomManipulators.h"
#include "support/xmlSamples.h"
#include "zqManipulator/zqManipulator.h"

#include <concepts>
#include <functional>
#include <memory>
#include <stdexcept>
#include <typeinfo>

// What holds for every persistent class. A new class is a line in one of the lists of
// tests/persistentObjects, and a sample here.

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

template <class T>
T sample()
{
   return Filler::filled<T>();
}

/// Whether an object keeps what it has when a document gives it a map without entries.
template <class T>
constexpr bool keepsEntries =
   std::same_as<T, ZqAttachmentMapState> || std::same_as<T, ZqOldManipulatorAttachmentMap> ||
   std::same_as<T, ZqManipulatorSelfCollisionLinkMap> ||
   std::same_as<T, ZqSystemCollisionExclusionMap> || std::same_as<T, ZqCollisionExclusionData> ||
   std::same_as<T, ZqManipulatorSystem> || std::same_as<T, ZqManipulatorSystemConfiguration> ||
   std::derived_from<T, ZqManipulatorLink>;

/// What a document may hold that is nearest to the default: a body whose default is invalid reads back
/// as its null object, and the sphere of a manipulator is fitted.
template <class T>
T plain()
{
   T object;
   if constexpr (std::same_as<T, ZqRigidBodyMassProperties>)
      object = T::nullObject();
   if constexpr (std::same_as<T, ZqIndividualManipulator>)
      object.fitAbsoluteBoundingSphere();
   return object;
}

template <class T>
class PersistentObject : public testing::Test
{
};
TYPED_TEST_SUITE_P(PersistentObject);

/// Without those that are no part of the value: what is read only, and a count of what is written.
inline std::vector<ZqXmlObject*> componentsOf(const ZqXmlObject& object)
{
   std::vector<ZqXmlObject*> components;
   if (const auto* compound = dynamic_cast<const ZqXmlCompoundType*>(&object))
      for (const auto* map : {&compound->componentMap(), &compound->attributeComponentMap()})
         for (const auto& [token, component] : *map)
            if (!compound->isReadOnlyComponent(token) &&
                token != ZqManip::ZqTotalReadableLinkCountToken)
               components.push_back(component);
   return components;
}

template <class T>
std::unique_ptr<T> owned(ZqXmlObject* object)
{
   std::unique_ptr<T> result(dynamic_cast<T*>(object));
   if (result == nullptr || typeid(*result) != typeid(T))
      throw std::logic_error("made an object of another class");
   return result;
}

TYPED_TEST_P(PersistentObject, IsMadeAndCopiedAsItself)
{
   const TypeParam object = sample<TypeParam>();
   const TypeParam defaultObject;
   const auto made = owned<TypeParam>(object.newObject());
   EXPECT_TRUE(*made == defaultObject);
   EXPECT_TRUE(made->equalsDefault());
   EXPECT_FALSE(object.equalsDefault());
   EXPECT_TRUE(*owned<TypeParam>(TypeParam::creator()) == defaultObject);
   const auto cloned = owned<TypeParam>(object.clone());
   EXPECT_TRUE(*cloned == object);
   EXPECT_EQ(&object.token(), &TypeParam::classToken());

   // Equality through the base asks for the class, and then for the value.
   EXPECT_TRUE(object.equality(cloned.get()));
   EXPECT_FALSE(object.equality(&defaultObject));
   EXPECT_FALSE(object.equality(nullptr));
   const ZqGeneralMotion motion;
   const ZqGeneralForce force;
   for (const ZqXmlObject* other : std::initializer_list<const ZqXmlObject*>{&motion, &force})
      EXPECT_EQ(defaultObject.equality(other), typeid(*other) == typeid(TypeParam));
}

TYPED_TEST_P(PersistentObject, EveryComponentCounts)
{
   const TypeParam object = sample<TypeParam>();
   const TypeParam defaultObject;
   // Maps of equal classes have equal keys, in the same order.
   const auto filled = componentsOf(object);
   EXPECT_EQ(filled.empty(), !(std::derived_from<TypeParam, ZqXmlCompoundType>));
   for (std::size_t i = 0; i < filled.size(); ++i)
   {
      SCOPED_TRACE(i);
      TypeParam changed;
      ASSERT_TRUE(changed.xmlInit());
      const auto components = componentsOf(changed);
      ASSERT_EQ(components.size(), filled.size());
      EXPECT_FALSE(components[i]->equality(filled[i])); // or the sample would show nothing
      ASSERT_TRUE(Zq::fromXml(*components[i], written(*filled[i])));
      EXPECT_TRUE(components[i]->equality(filled[i]));
      EXPECT_FALSE(changed == defaultObject);
   }
}

TYPED_TEST_P(PersistentObject, WriteAndReadIsExact)
{
   const TypeParam objects[] = {sample<TypeParam>(), plain<TypeParam>()};
   for (const TypeParam& object : objects)
      for (const bool writeDefaults : {true, false})
      {
         expectRoundTrip(object, writeDefaults);
         EXPECT_TRUE(followsSchema(object, written(object, writeDefaults)));
      }
   // Into an object of other contents: what is written takes their place.
   TypeParam over = objects[0];
   ASSERT_TRUE(Zq::fromXml(over, written(objects[1])));
   EXPECT_EQ(over == objects[1], !keepsEntries<TypeParam>);
   EXPECT_LT(written(objects[1], false).size(), written(objects[0], false).size());
}

/// The members of a class and of its bases, also those of old documents.
template <class T>
void expectDocumented()
{
   if constexpr (requires { typename T::XmlBase; })
   {
      const auto expectText = [](const auto& component)
      {
         const char* text = component.documentation;
         EXPECT_TRUE(text != nullptr && *text != '\0') << component.token->token();
      };
      std::apply([&](const auto&... component) { (expectText(component), ...); }, T::components());
      expectDocumented<typename T::XmlBase>();
   }
}

TYPED_TEST_P(PersistentObject, IsDocumented)
{
   expectDocumented<TypeParam>();
   if constexpr (requires { typename TypeParam::XmlBase; })
   {
      EXPECT_TRUE(TypeParam::documentation != nullptr && *TypeParam::documentation != '\0');
   }
}

TYPED_TEST_P(PersistentObject, CopiesAreIndependent)
{
   const TypeParam object = sample<TypeParam>();
   const auto before = componentsOf(object); // the maps exist before the copies are made
   TypeParam copied(object);
   TypeParam assigned;
   const auto beforeAssignment = componentsOf(assigned);
   assigned = object;
   const auto cloned = owned<TypeParam>(object.clone());
   for (TypeParam* copy : {&copied, &assigned, cloned.get()})
   {
      EXPECT_EQ(written(*copy), written(object));
      const auto components = componentsOf(*copy);
      for (std::size_t i = 0; i < components.size(); ++i)
         EXPECT_NE(components[i], before[i]);
      // Through the components of the copy, into the copy alone.
      ASSERT_TRUE(Zq::fromXml(*copy, written(plain<TypeParam>())));
      EXPECT_EQ(*copy == plain<TypeParam>(), !keepsEntries<TypeParam>);
      EXPECT_TRUE(object == sample<TypeParam>());
      *copy = object;
      EXPECT_EQ(componentsOf(*copy), components);
   }
   EXPECT_EQ(componentsOf(assigned), beforeAssignment);
   TypeParam& self = copied;
   copied = self;
   EXPECT_TRUE(copied == object);
}

REGISTER_TYPED_TEST_SUITE_P(PersistentObject, IsMadeAndCopiedAsItself, EveryComponentCounts,
                            WriteAndReadIsExact, IsDocumented, CopiesAreIndependent);
} // namespace zqTest

/// Runs the tests above for a list of classes.
#define ZQ_TEST_PERSISTENT_CLASSES(name, ...)                                                      \
   namespace zqTest                                                                                \
   {                                                                                               \
   using name##Classes = testing::Types<__VA_ARGS__>;                                              \
   INSTANTIATE_TYPED_TEST_SUITE_P(name, PersistentObject, name##Classes);                          \
   }
