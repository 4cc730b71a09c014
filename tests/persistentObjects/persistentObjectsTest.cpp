#include "persistentObjects/samples.h"

#include <boost/core/demangle.hpp>

#include <concepts>
#include <memory>
#include <stdexcept>
#include <typeinfo>

// What holds for every persistent class. A new class is a line in the list at the end, and a sample.

namespace
{
using zqTest::followsSchema;
using zqTest::LogCapture;
using zqTest::readFrom;
using zqTest::sample;
using zqTest::written;

/// Whether an object keeps what it has when a document gives it a map without entries.
template <class T>
constexpr bool keepsEntriesOf =
   std::same_as<T, ZqAttachmentMapState> || std::same_as<T, ZqOldManipulatorAttachmentMap> ||
   std::same_as<T, ZqManipulatorSelfCollisionLinkMap> ||
   std::same_as<T, ZqSystemCollisionExclusionMap> || std::same_as<T, ZqCollisionExclusionData> ||
   std::same_as<T, ZqManipulatorSystem> || std::same_as<T, ZqManipulatorSystemConfiguration> ||
   std::same_as<T, ZqDataMap> || std::same_as<T, ZqFrictionCoefficientLookupTool> ||
   std::derived_from<T, ZqBaseDissipativeForceProcessor> || std::derived_from<T, ZqShape> ||
   std::same_as<T, ZqCombination> || std::derived_from<T, ZqManipulatorLink>;

/// What a document may hold that is nearest to the default: a body whose default is invalid reads back
/// as its null object, a hull has a point, and the sphere of a manipulator is fitted.
template <class T>
T plainOf()
{
   T object;
   if constexpr (std::same_as<T, ZqRigidBodyMassProperties>)
      object = T::nullObject();
   if constexpr (std::same_as<T, ZqConvexHull>)
      object = T({ZqVector()});
   if constexpr (std::same_as<T, ZqIndividualManipulator>)
      object.fitAbsoluteBoundingSphere();
   if constexpr (std::same_as<T, ZqCombination>)
      (object.*std::get<4>(T::components()).member).fitAbsoluteBoundingSphere();
   return object;
}

bool isText(const char* text)
{
   return text != nullptr && *text != '\0';
}

/// The members of a class and of its bases that have no text, also those of old documents, and "class"
/// when the class itself has none.
template <class T>
std::string undocumentedOf()
{
   std::string names;
   if constexpr (requires { typename T::XmlBase; })
   {
      const auto add = [&](const auto& component)
      {
         if (!isText(component.documentation))
            names += component.token->token() + ' ';
      };
      std::apply([&](const auto&... component) { (add(component), ...); }, T::components());
      names += undocumentedOf<typename T::XmlBase>();
   }
   return names;
}

/// What the tests ask of a class: they themselves are compiled once for all.
struct PersistentClass
{
   using Object = std::unique_ptr<ZqXmlObject>;

   template <class T>
   static PersistentClass of()
   {
      using X = ZqXmlObject;
      return {typeid(T),
              T::classToken(),
              std::derived_from<T, ZqXmlCompoundType>,
              keepsEntriesOf<T>,
              []() -> std::string
              {
                 if constexpr (requires { typename T::XmlBase; })
                    return undocumentedOf<T>() + (isText(T::documentation) ? "" : "class");
                 return {};
              },
              []() -> Object { return std::make_unique<T>(); },
              []() -> Object { return std::make_unique<T>(zqTest::sample<T>()); },
              []() -> Object { return std::make_unique<T>(plainOf<T>()); },
              []() -> Object { return Object(T::creator()); },
              [](const X& a) -> Object { return std::make_unique<T>(dynamic_cast<const T&>(a)); },
              [](X& a, const X& b) { dynamic_cast<T&>(a) = dynamic_cast<const T&>(b); },
              [](const X& a, const X& b)
              { return dynamic_cast<const T&>(a) == dynamic_cast<const T&>(b); }};
   }
   std::string name() const { return boost::core::demangle(type.name()); }
   friend std::ostream& operator<<(std::ostream& stream, const PersistentClass& one)
   {
      return stream << one.name();
   }

   const std::type_info& type;
   const ZqToken& token;
   bool isCompound;
   bool keepsEntries;
   std::string (*undocumented)();
   Object (*byDefault)();
   Object (*sample)();
   Object (*plain)();
   Object (*created)();
   Object (*copy)(const ZqXmlObject&);
   void (*assign)(ZqXmlObject& to, const ZqXmlObject& from);
   bool (*equal)(const ZqXmlObject&, const ZqXmlObject&);
};

class PersistentObject : public testing::TestWithParam<PersistentClass>
{
protected:
   using Object = PersistentClass::Object;

   Object owned(Object made) const
   {
      if (made == nullptr || typeid(*made) != type.type)
         throw std::logic_error("made an object of another class");
      return made;
   }
   bool equal(const Object& a, const Object& b) const { return type.equal(*a, *b); }

   const PersistentClass& type = GetParam();
   const Object object = type.sample();
   const Object defaultObject = type.byDefault();
};

/// Without those that are no part of the value: what is read only, and a count of what is written.
std::vector<ZqXmlObject*> componentsOf(const PersistentClass::Object& object)
{
   std::vector<ZqXmlObject*> components;
   if (const auto* compound = dynamic_cast<const ZqXmlCompoundType*>(object.get()))
      for (const auto* map : {&compound->componentMap(), &compound->attributeComponentMap()})
         for (const auto& [token, component] : *map)
            if (!compound->isReadOnlyComponent(token) &&
                token != ZqManip::ZqTotalReadableLinkCountToken)
               components.push_back(component);
   return components;
}

TEST_P(PersistentObject, IsMadeAndCopiedAsItself)
{
   const Object made = owned(Object(object->newObject()));
   EXPECT_TRUE(equal(made, defaultObject));
   EXPECT_TRUE(made->equalsDefault());
   EXPECT_FALSE(object->equalsDefault());
   EXPECT_TRUE(equal(owned(type.created()), defaultObject));
   const Object cloned = owned(Object(object->clone()));
   EXPECT_TRUE(equal(cloned, object));
   EXPECT_EQ(&object->token(), &type.token);

   // Equality through the base asks for the class, and then for the value.
   EXPECT_TRUE(object->equality(cloned.get()));
   EXPECT_FALSE(object->equality(defaultObject.get()));
   EXPECT_FALSE(object->equality(nullptr));
   const ZqGeneralMotion motion;
   const ZqGeneralForce force;
   for (const ZqXmlObject* other : std::initializer_list<const ZqXmlObject*>{&motion, &force})
      EXPECT_EQ(defaultObject->equality(other), typeid(*other) == type.type);
}

TEST_P(PersistentObject, IsDocumented)
{
   EXPECT_EQ(type.undocumented(), "");
}

TEST_P(PersistentObject, EveryComponentCounts)
{
   // Maps of equal classes have equal keys, in the same order.
   const auto filled = componentsOf(object);
   EXPECT_EQ(filled.empty(), !type.isCompound);
   for (std::size_t i = 0; i < filled.size(); ++i)
   {
      SCOPED_TRACE(i);
      const Object changed = type.byDefault();
      ASSERT_TRUE(changed->xmlInit());
      const auto components = componentsOf(changed);
      ASSERT_EQ(components.size(), filled.size());
      EXPECT_FALSE(components[i]->equality(filled[i])); // or the sample would show nothing
      ASSERT_TRUE(Zq::fromXml(*components[i], written(*filled[i])));
      EXPECT_TRUE(components[i]->equality(filled[i]));
      EXPECT_FALSE(equal(changed, defaultObject));
      const ZqModelDifference difference(*defaultObject, *changed);
      EXPECT_TRUE(difference.isValid() && difference.count() > 0);
   }
}

TEST_P(PersistentObject, WriteAndReadIsExact)
{
   const Object plainObject = type.plain();
   for (const Object* one : {&object, &plainObject})
      for (const bool writeDefaults : {true, false})
      {
         const std::string document = written(**one, writeDefaults);
         const Object back = type.byDefault();
         const LogCapture log;
         EXPECT_TRUE(readFrom(*back, document)) << document;
         EXPECT_EQ(log.text(), "") << document;
         EXPECT_TRUE(equal(back, *one)) << document;
         EXPECT_EQ(written(*back, writeDefaults), document);
         EXPECT_TRUE(followsSchema(**one, document)) << document;
      }
   // Into an object of other contents: what is written takes their place.
   const Object over = type.copy(*object);
   ASSERT_TRUE(Zq::fromXml(*over, written(*plainObject)));
   EXPECT_EQ(equal(over, plainObject), !type.keepsEntries);
   EXPECT_LT(written(*plainObject, false).size(), written(*object, false).size());
}

TEST_P(PersistentObject, CopiesAreIndependent)
{
   const Object plainObject = type.plain();
   const auto before = componentsOf(object); // the maps exist before the copies are made
   const Object copied = type.copy(*object);
   const Object assigned = type.byDefault();
   const auto beforeAssignment = componentsOf(assigned);
   type.assign(*assigned, *object);
   const Object cloned = owned(Object(object->clone()));
   for (const Object* copy : {&copied, &assigned, &cloned})
   {
      EXPECT_EQ(written(**copy), written(*object));
      const auto components = componentsOf(*copy);
      for (std::size_t i = 0; i < components.size(); ++i)
         EXPECT_NE(components[i], before[i]);
      // Through the components of the copy, into the copy alone.
      ASSERT_TRUE(Zq::fromXml(**copy, written(*plainObject)));
      EXPECT_EQ(equal(*copy, plainObject), !type.keepsEntries);
      EXPECT_TRUE(equal(object, type.sample()));
      type.assign(**copy, *object);
      EXPECT_EQ(componentsOf(*copy), components);
   }
   EXPECT_EQ(componentsOf(assigned), beforeAssignment);
   type.assign(*copied, *copied);
   EXPECT_TRUE(equal(copied, object));
}

template <class... Types>
auto classes()
{
   return testing::Values(PersistentClass::of<Types>()...);
}

INSTANTIATE_TEST_SUITE_P(
   All, PersistentObject,
   (classes<
      ZqCoordinateSystemTransformation, ZqGeneralMotion, ZqGeneralForce, ZqSecondMoment, ZqDataMap,
      ZqLine, ZqLineSegment, ZqPlane, ZqShapePointEvent, ZqSphere, ZqCapsule, ZqBox, ZqCylinder,
      ZqCone, ZqLozenge, ZqCircularLozenge, ZqTriangularLozenge, ZqEllipsoid, ZqHalfSpace,
      ZqConvexHull, ZqTriangleMesh, ZqShapeUnion, ZqShapeContainer, ZqAxisAlignedBoundingBox,
      ZqRigidBodyMassProperties, ZqArticulatedBodyInertia, ZqArticulatedBodyDynamics,
      ZqManipulatorExternalForce, ZqManipulatorTorque, ZqManufacturerData, ZqPositionState,
      ZqVelocityState, ZqAccelerationState, ZqActuatorState, ZqManipulatorSystemState,
      ZqAttachmentNodeState, ZqAttachmentMapState, ZqContactState, ZqPairCacheState,
      ZqInteractionState, ZqLinkPositionState, ZqLinkVelocityState, ZqLinkAccelerationState,
      ZqLinkForceState, ZqLinkMassState, ZqLinkArticulationState, ZqManipulatorActivePositionState,
      ZqManipulatorActiveVelocityState, ZqManipulatorActiveAccelerationState,
      ZqManipulatorActiveForceState, ZqManipulatorActiveMassState,
      ZqManipulatorActiveArticulationState, ZqManipulatorActiveState, ZqSystemActiveState,
      ZqMechanicalActuatorComponent, ZqMechanicalActuatorComponentContainer, ZqJointActuator,
      ZqOldJointActuator, ZqJointActuatorContainer, ZqPassThroughPowerConverter, ZqDcElectricMotor,
      ZqHydraulicCylinder, ZqPowerConverterContainer, ZqManipulatorSelfCollisionLinkMap,
      ZqSystemCollisionExclusionMap, ZqCollisionExclusionData, ZqManipulatorAttachmentNode,
      ZqManipulatorAttachmentChange, ZqManipulatorAttachmentMap, ZqLinkAttachment,
      ZqOldManipulatorAttachmentMap, ZqFrictionCoefficientLookupTool, ZqDissipativeForceProcessor,
      ZqDryFrictionForceProcessor, ZqPointFrictionForceProcessor,
      ZqDissipativeForceProcessorContainer, ZqContactRegion, ZqMassSpringCollisionForceProcessor,
      ZqMassSpringDamperCollisionForceProcessor, ZqPointContactForceProcessor,
      ZqCollisionForceContainer, ZqSpringProperties, ZqDamperProperties,
      ZqLinearStateEqualityConstraint, ZqPointStateEqualityConstraint, ZqXyStateEqualityConstraint,
      ZqStateEqualityConstraintVector, ZqLinearScalarFunction, ZqScalarFunctionContainer,
      ZqLinearMultivariableConstraint, ZqMultivariableConstraintContainer,
      ZqMultivariableConstraintVector, ZqMultivariableJointStateConstraint,
      ZqConditionalJointStateConstraint, ZqStateConstraintContainer, ZqStateConstraintVector,
      ZqSensorVector, ZqManipulatorConstraintTool, ZqPropagationDescriptor, ZqPropagationResultData,
      ZqLinkPointEvent, ZqManipulatorPointEvent, ZqSystemPointEvent, ZqSpringAndDamperBetweenLinks,
      ZqLatchedDoorLinks, ZqLinkCollisionForce, ZqLinkInteractionsVector,
      ZqComPolygonalStoppingCriterion, ZqStoppingCriterionVector, ZqDenavitHartenberg,
      ZqScrewTypeLink, ZqQuadrilateralTypeLink, ZqQuadrilateralFixedSliderJointOAObject,
      ZqQuadrilateralFixedSliderJointCBObject, ZqQuadrilateralPivotedSliderJointBObject,
      ZqQuadrilateralPivotedSliderJointCObject, ZqGeneralBoundObjectVector,
      ZqLinkKinematicsContainer, ZqSystemEnvironment, ZqManipulatorSystem, ZqCombination,
      ZqManipulatorSystemConfiguration, ZqManipulatorSystemContainer, ZqStatedSystem,
      ZqLinkReferenceDescription, ZqManipulatorReferenceDescription, ZqManipulatorLinkIdentifier,
      ZqBaseLinkInterface, ZqManipulatorLink, ZqIndividualManipulator, ZqSimulationCheckpoint,
      ZqJointActuatorRandomVariation, ZqLinkKinematicsRandomVariation,
      ZqMassPropertyRandomVariation, ZqSurfacePropertyRandomVariation,
      ZqLinkPropertyRandomVariation, ZqPositionStateRandomVariation, ZqVelocityStateRandomVariation,
      ZqStateRandomVariation, ZqSystemRandomVariation, ZqVariationStudy, ZqVariationOrigin,
      ZqSweepMetric, ZqSweepStudy>()),
   testing::PrintToStringParamName());

TEST(PersistentObjects, SchemaTellsDocumentsApart)
{
   if (std::system("xmllint --version >/dev/null 2>&1") != 0)
      GTEST_SKIP() << "xmllint is not installed";
   EXPECT_FALSE(followsSchema(ZqGeneralMotion(), written(ZqGeneralForce())));
   EXPECT_FALSE(followsSchema(ZqGeneralForce(), "<generalForce/>"));
}

// The models of the examples show the order in which components are written.
TEST(PersistentObjects, TypesOfJointsAreWrittenByName)
{
   const std::string joint = written(sample<ZqDenavitHartenberg>());
   EXPECT_NE(joint.find(">prismatic<"), std::string::npos) << joint;
   EXPECT_NE(joint.find(">generalCraig<"), std::string::npos) << joint;
}
} // namespace
