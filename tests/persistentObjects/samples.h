#pragma once

#include "support/randomManipulators.h"
#include "support/xmlSamples.h"
#include "zqManipulator/zqManipulator.h"

#include <tuple>

namespace zqTest
{
/// Of a user: the library has none.
class Thermometer : public ZqXmlClass<Thermometer, ZqBaseSensor>
{
public:
   static const ZqToken& classToken()
   {
      static const auto& token = *new ZqToken("http://example.org/sensors#thermometer");
      return token;
   }
   static constexpr const char* documentation = "measures a temperature";
   bool operator==(const Thermometer&) const = default;
};

/// Fills objects by their lists of members, without a zero, a one or a repeated number, and with no
/// component of its default. What documents of a class have to be more than that is told for the class.
class Filler
{
public:
   template <class T>
   T filled()
   {
      T object{};
      fill(object);
      return object;
   }

private:
   /// Of those of its bases too.
   template <class T>
   void fillMembers(T& object)
   {
      if constexpr (requires { typename T::XmlBase; })
      {
         if constexpr (!T::componentsReplaceBase)
            fillMembers<typename T::XmlBase>(object);
         const auto fillMember = [&](const auto& component)
         {
            if (!component.isReadOnly)
               fill(object.*component.member);
         };
         std::apply([&](const auto&... component) { (fillMember(component), ...); },
                    T::components());
      }
   }
   template <class T>
   void fill(T& object)
   {
      fillMembers(object);
   }
   template <class T>
   requires requires(T& list) { list.pushBack(*list.begin()); }
   void fill(T& list)
   {
      for (int i = 0; i < 2; ++i)
         list.pushBack(filled<std::remove_cvref_t<decltype(*list.begin())>>());
   }
   template <class K, class V>
   void fill(ZqXmlMapType<K, V>& map)
   {
      for (int i = 0; i < 2; ++i)
         map.add(filled<K>(), filled<V>());
   }
   template <class T>
   void fill(ZqXmlBasicType<T>& value)
   {
      value = filled<T>();
   }
   void fill(ZqReal& value)
   {
      ++m_number;
      value = (m_number % 3 == 0 ? -0.7 : 0.7) * m_number;
   }
   void fill(ZqNonNegReal& value) { value = 0.7 * ++m_number; }
   void fill(ZqAngle& value) { value = filled<ZqReal>(); }
   void fill(ZqU32& value) { value = 4294967294 - ++m_number; }
   void fill(int& value) { value = -static_cast<int>(++m_number) - 2; }
   void fill(bool& value) { value = !value; }
   void fill(ZqString& value) { value = " <" + std::to_string(++m_number) + " & \"\u00f6\"'\t\n"; }
   /// Each enumeration has a value of 1.
   void fill(ZqXmlEnumType<ZqU32>& value) { value = 1; }
   void fill(ZqVector& v) { v = {filled<ZqReal>(), filled<ZqReal>(), filled<ZqReal>()}; }
   void fill(ZqOrientation& q) { q = {1.0 / 11.0, 2.0 / 11.0, 4.0 / 11.0, -10.0 / 11.0}; }
   void fill(ZqCoordinateSystemTransformation& X)
   {
      const auto p = filled<ZqVector>();
      X = {p, filled<ZqOrientation>()};
   }
   void fill(ZqGeneralForce& force)
   {
      force = {{0.1, -2.5, 1.7976931348623157e308}, {4.5, -5e-324, 6.5}};
   }
   void fill(ZqLine& line) { line = ZqLine(filled<ZqVector>(), filled<ZqVector>()); }
   /// Their sizes are not below zero, their edges are perpendicular, and their lists whole.
   void fill(ZqShapeVector& shapes)
   {
      shapes.pushBack(ZqBox(filled<ZqCoordinateSystemTransformation>(), {101.5, 102.5, 103.5}));
      shapes.pushBack(ZqCapsule(filled<ZqLineSegment>(), 104.5));
   }
   template <class Shape, class... Sizes>
   void fillSizes(Shape& shape, void (Shape::*... set)(Sizes))
   {
      fillMembers(shape);
      ((shape.*set)(sizeOf<std::remove_cvref_t<Sizes>>()), ...);
   }
   template <class Size>
   Size sizeOf()
   {
      if constexpr (std::same_as<Size, ZqVector>)
         return {sizeOf<ZqReal>(), sizeOf<ZqReal>(), sizeOf<ZqReal>()};
      else
         return 200.5 + ++m_number;
   }
   void fill(ZqSphere& s) { fillSizes(s, &ZqSphere::setRadius); }
   void fill(ZqCapsule& s) { fillSizes(s, &ZqCapsule::setRadius); }
   void fill(ZqBox& s) { fillSizes(s, &ZqBox::setExtents); }
   void fill(ZqCylinder& s) { fillSizes(s, &ZqCylinder::setRadius); }
   void fill(ZqCone& s) { fillSizes(s, &ZqCone::setFirstRadius, &ZqCone::setSecondRadius); }
   void fill(ZqLozenge& s)
   {
      fillSizes(s, &ZqLozenge::setRadius);
      s.setEdge0({3.0, 4.0, 0.5});
      s.setEdge1({-8.0, 6.0, 0.0});
   }
   void fill(ZqCircularLozenge& s)
   {
      fillSizes(s, &ZqCircularLozenge::setDiscRadius, &ZqCircularLozenge::setRadius);
   }
   void fill(ZqTriangularLozenge& s) { fillSizes(s, &ZqTriangularLozenge::setRadius); }
   void fill(ZqEllipsoid& s) { fillSizes(s, &ZqEllipsoid::setSemiAxes); }
   void fill(ZqTriangleMesh& mesh)
   {
      fillMembers(mesh);
      mesh.setTriangles({filled<ZqVector>(), filled<ZqVector>(), {9.5, 8.5, -7.25}}, {{2, 0, 1}});
   }
   void fill(ZqShapeContainer& container) { container.setTopElement(filled<ZqCapsule>()); }
   void fill(ZqRigidBodyMassProperties& body)
   {
      body = {1.5, {0.1, -0.2, 0.3}, {2.0, 3.0, 4.0, -0.4, 0.5, -0.6}};
   }
   void fill(ZqArticulatedBodyInertia& inertia)
   {
      inertia.set({2.0, 3.0, 4.0, -0.1, 0.2, -0.3}, {5.0, 6.0, 7.0, -0.4, 0.5, -0.6},
                  {1.25, 1.5, 1.75, 2.25, 2.5, 2.75, 3.25, 3.5, 3.75});
   }
   void fill(ZqDenavitHartenberg& joint)
   {
      fillMembers(joint);
      joint.setPrimaryFrame(joint.primaryFrame()); // and its inverse
      joint.setJointType(ZqDenavitHartenberg::Prismatic);
      joint.setDhType(ZqDenavitHartenberg::GeneralCraig);
   }
   template <std::derived_from<ZqLinkKinematics> Joint>
   void fill(Joint& joint)
   {
      fillMembers(joint);
      joint.setPrimaryFrame(joint.primaryFrame()); // and its inverse
   }
   void fill(ZqLinkKinematicsContainer& container)
   {
      container.setTopElement(filled<ZqDenavitHartenberg>());
   }
   void fill(ZqJointActuatorContainer& container)
   {
      container.setTopElement(filled<ZqOldJointActuator>());
   }
   void fill(ZqPowerConverterContainer& container)
   {
      container.setTopElement(filled<ZqDcElectricMotor>());
   }
   void fill(ZqMechanicalActuatorComponentContainer& container)
   {
      container.setTopElement(filled<ZqMechanicalActuatorComponent>());
   }
   void fill(ZqManipulatorSelfCollisionLinkMap& map)
   {
      map.setLinkCollisionCanditateByIdentifier("hand", "arm", true);
      map.setLinkCollisionCanditateByIdentifier("hand", "hand", false);
      map.setLinkCollisionCanditateByIdentifier("", "arm", true);
   }
   void fill(ZqSystemCollisionExclusionMap& map)
   {
      map.excludeManipulatorCollisionCandidates(3, 2);
      map.excludeLinkCollisionCandidates(4, " <arm>", 5);
      map.excludeLinkCollisionCandidates(4, " <arm>", 6);
      map.excludeLinkCollisionCandidate(7, "hand", 4294967295, "leg");
   }
   void fill(ZqFrictionCoefficientLookupTool::PairMap& map)
   {
      const ZqFrictionCoefficientLookupTool tool;
      tool.setFrictionValue("wood", filled<ZqString>(), filled<ZqReal>(), map);
      tool.setFrictionValue("ice", filled<ZqString>(), filled<ZqReal>(), map);
   }
   /// Their constants have ranges.
   void fill(ZqPointFrictionForceProcessor& law)
   {
      fillSizes(law, &ZqPointFrictionForceProcessor::setTangentialToNormalStiffness,
                &ZqPointFrictionForceProcessor::setDampingRatio,
                &ZqPointFrictionForceProcessor::setTorsionRadius);
   }
   void fill(ZqPointContactForceProcessor& law)
   {
      fillSizes(law, &ZqPointContactForceProcessor::setDefaultSpringConstant,
                &ZqPointContactForceProcessor::setDefaultDissipation,
                &ZqPointContactForceProcessor::setSettlingDampingRatio);
      law.setDefaultSpringExponent(1.75);
      law.setSettlingForceFraction(0.125);
   }
   void fill(ZqDissipativeForceProcessorContainer& container)
   {
      container.setTopElement(filled<ZqDissipativeForceProcessor>());
   }
   void fill(ZqCollisionForceContainer& container)
   {
      container.setTopElement(filled<ZqMassSpringCollisionForceProcessor>());
   }
   void fill(ZqManipulatorAttachmentNode& node)
   {
      node.setName("tool");
      node.setLinkLabel("flange");
      node.setManipulatorIndex(21);
      node.setOffset(filled<ZqCoordinateSystemTransformation>());
      ZqManipulatorAttachmentNode child;
      child.setManipulatorIndex(22);
      child.setLinkLabel("tip");
      node.addNode(child, true);
   }
   void fill(ZqManipulatorAttachmentMap& map)
   {
      map.attachManipulator(25, 26, "hand", filled<ZqCoordinateSystemTransformation>(), "held");
   }
   void fill(ZqGeneralBoundObjectVector& objects)
   {
      objects.pushBack(filled<ZqQuadrilateralFixedSliderJointOAObject>());
      objects.pushBack(filled<ZqQuadrilateralFixedSliderJointCBObject>());
      objects.pushBack(filled<ZqQuadrilateralPivotedSliderJointBObject>());
      objects.pushBack(filled<ZqQuadrilateralPivotedSliderJointCObject>());
   }
   void fill(ZqStoppingCriterionVector& criteria)
   {
      for (int i = 0; i < 2; ++i)
         criteria.pushBack(filled<ZqComPolygonalStoppingCriterion>());
   }
   template <class A, class B>
   void fill(ZqXmlPairType<A, B>& pair)
   {
      fill(pair.first());
      fill(pair.second());
   }
   void fill(ZqScalarFunctionContainer& container)
   {
      container.setTopElement(filled<ZqLinearScalarFunction>());
   }
   void fill(ZqMultivariableConstraintContainer& container)
   {
      container.setTopElement(filled<ZqLinearMultivariableConstraint>());
   }
   void fill(ZqMultivariableConstraintVector& constraints)
   {
      for (int i = 0; i < 2; ++i)
         constraints.pushBack(filled<ZqLinearMultivariableConstraint>());
   }
   void fill(ZqStateConstraintContainer& container)
   {
      container.setTopElement(filled<ZqConditionalJointStateConstraint>());
   }
   void fill(ZqStateConstraintVector& constraints)
   {
      constraints.pushBack(filled<ZqMultivariableJointStateConstraint>());
      constraints.pushBack(filled<ZqConditionalJointStateConstraint>());
   }
   void fill(ZqSensorVector& sensors)
   {
      Zq::registerClass<Thermometer>();
      sensors.pushBack(filled<Thermometer>());
   }
   void fill(ZqLatchedDoorLinks& door)
   {
      fillMembers(door);
      door.setLatchType(ZqLatchedDoorLinks::ClosedWithoutTurn);
   }
   void fill(ZqLinkInteractionsVector& interactions)
   {
      interactions.pushBack(filled<ZqLatchedDoorLinks>());
      interactions.pushBack(filled<ZqSpringAndDamperBetweenLinks>());
      interactions.pushBack(filled<ZqLinkCollisionForce>());
   }
   void fill(ZqOldManipulatorAttachmentMap& map)
   {
      map.attachManipulator(28, 29, "elbow", filled<ZqCoordinateSystemTransformation>());
      map.attachManipulator(31, 28, "knee", {});
   }
   void fill(ZqManipulatorSystem& system)
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
      system.setLinkInteractionsVector(filled<ZqLinkInteractionsVector>());
   }
   void fill(ZqManipulatorSystemContainer& container) { fill(*container.element()); }
   void fill(ZqStatedSystem& stated)
   {
      stated.setFromSystem(filled<ZqManipulatorSystem>());
      zqTest::RandomValues random(2);
      stated.addManipulator(zqTest::randomManipulator(random, 2));
      EXPECT_TRUE(stated.combineManipulator(
         2, 0, stated.manipulatorByIndex(0)->linkByIndex(0)->linkLabel(), {}));
      stated.setToMidpointState();
      ZqManipulatorSystemConfiguration configuration;
      configuration.attachmentMap().attachManipulator(1, 0, "label0", {}, "tool");
      stated.setConfiguration(configuration);
      stated.setInteractionState(filled<ZqInteractionState>());
      stated.setVariationOrigin(filled<ZqVariationOrigin>());
      EXPECT_TRUE(stated.keepCombinations());
   }
   /// Later versions are refused.
   void fill(ZqSimulationCheckpoint& checkpoint)
   {
      fillMembers(checkpoint);
      checkpoint.*std::get<0>(ZqSimulationCheckpoint::components()).member =
         ZqSimulationCheckpoint::latestVersion;
   }
   void fill(ZqManipulatorLink& link)
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
      link.setShapeContainer(filled<ZqShapeContainer>());
      link.addNamedPoint("tip", {8.25, -8.5, 8.75});
      link.addNamedFrame("flange", filled<ZqCoordinateSystemTransformation>());
      link.setIsConstrained(true);
      link.setUpperLimitConstraintContainer(filled<ZqStateConstraintContainer>());
      link.setLowerLimitConstraintContainer(filled<ZqStateConstraintContainer>());
      Zq::registerClass<Thermometer>();
      const Thermometer sensor;
      link.addSensor(&sensor);
   }
   void fill(ZqStateEqualityConstraintVector& constraints)
   {
      constraints.pushBack(filled<ZqXyStateEqualityConstraint>());
      constraints.pushBack(filled<ZqLinearStateEqualityConstraint>());
      constraints.pushBack(filled<ZqPointStateEqualityConstraint>());
   }
   void fill(ZqIndividualManipulator& manipulator)
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
      base.setUpperLimitConstraintContainer({});
      base.setLowerLimitConstraintContainer({});
      manipulator.setFromLink(base);
      manipulator.setManipulatorLabel("left");
      manipulator.setCoordSysXForm(ZqVector(9.25, -9.5, 9.75));
      manipulator.setSurfaces(filled<ZqShape::Surfaces>());
      manipulator.setIsFixedBase(false);
      manipulator.setOptimizeOnLoad(true);
      auto description = filled<ZqManipulatorReferenceDescription>();
      description.setIsManipulatorReferenced(false);
      manipulator.setManipulatorReferenceDescription(description);
      manipulator.setStateConstraints(filled<ZqStateConstraintVector>());
      manipulator.setStateEqualityConstraints(filled<ZqStateEqualityConstraintVector>());
      manipulator.setGeneralBoundObjects(filled<ZqGeneralBoundObjectVector>());
      manipulator.setStoppingCriteria(filled<ZqStoppingCriterionVector>());
      manipulator.setDisplayLinkIndices({11, 12});
      manipulator.buildSelfCollisionLinkMap();
   }

   ZqU32 m_number = 0;
};

/// An object of each persistent class.
template <class T>
T sample()
{
   return Filler().filled<T>();
}
} // namespace zqTest
