#include "support/oddScene.h"

#include <gtest/gtest.h>

#include <cmath>

namespace zqTest
{
namespace
{
constinit const ZqToken crankToken{ZqToken::Literal{"urn:test#crank"}};

/// A joint that turns about z and slides along the x axis that it turns, by r sin(q): the motion of a unit
/// rate depends on the position, and a constant rate accelerates.
class Crank : public ZqXmlClass<Crank, ZqLinkKinematics>
{
public:
   static const ZqToken& classToken() { return crankToken; }
   static constexpr auto components() { return std::tuple{}; }
   bool operator==(const Crank&) const = default;
   explicit Crank(ZqReal radius = 1.0, bool isNumeric = false)
      : m_radius(radius), m_isNumeric(isNumeric)
   {
   }

   const ZqCoordinateSystemTransformation& calculateTransform(ZqReal q) const override
   {
      m_currentTransform.setToIdentity();
      transformBy(m_currentTransform, q);
      return m_currentTransform;
   }
   const ZqGeneralMotion& calculateVelocity(ZqReal q, ZqReal rate) const override
   {
      if (m_isNumeric)
         return ZqLinkKinematics::calculateVelocity(q, rate);
      m_currentVelocity = {ZqVector(m_radius * std::cos(q), m_radius * std::sin(q), 0.0) * rate,
                           ZqVector::zVector(rate)};
      return m_currentVelocity;
   }
   const ZqGeneralMotion& calculateAcceleration(ZqReal q, ZqReal rate,
                                                ZqReal acceleration) const override
   {
      if (m_isNumeric)
         return ZqLinkKinematics::calculateAcceleration(q, rate, acceleration);
      const ZqReal s = m_radius * std::sin(q);
      const ZqReal c = m_radius * std::cos(q);
      m_currentAcceleration = {ZqVector(c * acceleration - 2.0 * s * rate * rate,
                                        s * acceleration + 2.0 * c * rate * rate, 0.0),
                               ZqVector::zVector(acceleration)};
      return m_currentAcceleration;
   }
   void transformBy(ZqCoordinateSystemTransformation& result, ZqReal q) const override
   {
      result *= m_precursor;
      result.outboardTransformBy(ZqVector(), ZqOrientation::zRotation(q));
      result.outboardTransformBy(ZqVector::xVector(m_radius * std::sin(q)));
   }
   void transformBy(const ZqCoordinateSystemTransformation& X) override
   {
      m_precursor = X * m_precursor;
   }
   void changeInboardFrameBy(const ZqCoordinateSystemTransformation& X) override
   {
      m_precursor *= X;
   }
   ZqReal upperBoundDhFrameDistance(const ZqJointActuator&) const override
   {
      return m_precursor.translation().mag() + std::abs(m_radius);
   }
   ZqReal jointParameterScalability() const override { return 0.0; }
   ZqU32 unitType() const override { return 1; }

private:
   ZqCoordinateSystemTransformation m_precursor;
   ZqReal m_radius;
   bool m_isNumeric;
};

/// A joint of any kind, or none.
ZqLinkKinematicsContainer randomContainer(RandomValues& random, bool hasUnknownTypes)
{
   ZqLinkKinematicsContainer container;
   ZqDenavitHartenberg joint = randomJoint(random);
   const ZqU32 kind = random.index(0, 6);
   if (kind == 0 && hasUnknownTypes)
      joint.setJointType(7);
   if (kind == 1 && hasUnknownTypes)
      joint.setDhType(7);
   container.setTopElement(joint);
   if (kind == 2 || kind == 3)
   {
      Crank crank(random.real(0.2, 0.6), kind == 3);
      crank.transformBy(randomFrame(random));
      crank.setPrimaryFrame(randomFrame(random));
      container.setTopElement(crank);
   }
   if (kind == 5)
      container.setTopElement(*randomLinkageOrScrew(random));
   return kind == 4 ? ZqLinkKinematicsContainer() : container;
}

/// Of a link that has springs and a drive, or not.
void changeRandomly(ZqManipulatorLink& link, RandomValues& random, bool hasUnknownTypes)
{
   if (random.index(0, 1) == 0)
      link.setLinkKinematicsContainer(randomContainer(random, hasUnknownTypes));
   ZqDamperProperties damper;
   damper.setDamperConstant(random.real(0.1, 2.0));
   damper.setWeightingFactors(ZqRealVector{random.real(0.5, 1.0)});
   damper.setAssociatedJoints({link.linkLabel()});
   link.setDamperProperties(damper);
}
} // namespace

OddScene::OddScene(ZqU32 seed)
   : m_hasUnknownTypes(seed % 4 == 3), m_scene(seed, makeModel(seed)),
     m_structure(m_scene.structure())
{
   if (seed % 3 == 0)
      changeAttachments();
   m_manipulators.resize(seed % 5 == 0 ? 2 : 1);
   for (ZqIndividualManipulator& each : m_manipulators)
   {
      each = m_scene.manipulator();
      each.setManipulatorIndex(m_scene.index);
   }
   if (!isReference())
      return;
   model().setManipulatorLabel("model");
   model().setCoordSysXForm(randomFrame(random()));
   model().setMassProperties(randomMass(random()));
   ZqManipulatorReferenceDescription description;
   description.setIsManipulatorReferenced(true);
   description.setReferencedManipulatorLabel("model");
   manipulator().setManipulatorReferenceDescription(description);
   manipulator().clearChildLinks();
   EXPECT_TRUE(manipulator().configureManipulatorReference(m_manipulators));
}

ZqIndividualManipulator OddScene::makeModel(ZqU32 seed) const
{
   ZqIndividualManipulator result = RandomScene(seed).manipulator();
   RandomValues random(seed + 1000);
   for (ZqU32 i = 0; i < result.jointDof(); ++i)
      changeRandomly(*result.linkByIndex(i), random, m_hasUnknownTypes);
   return result;
}

void OddScene::changeAttachments()
{
   ZqManipulatorAttachmentMap map;
   for (const char* carrier : {"label0", "base"})
   {
      const ZqU32 held = m_scene.system.numberOfManipulators();
      m_scene.system.addManipulator(randomManipulator(random(), 1));
      map.attachManipulator(held, m_scene.index, carrier, randomFrame(random(), 0, 0.5), carrier);
   }
   m_scene.system.setManipulatorAttachmentMap(map);
}

void OddScene::changeModel()
{
   const ZqU32 n = manipulator().jointDof();
   ZqManipulatorLink* const link =
      n == 0 ? &model() : model().linkByIndex(random().index(0, n - 1));
   ZqManipulatorLink added = randomLink(random());
   const ZqReal inertia = random().real(0.0, 0.5);
   switch (random().index(0, 9))
   {
   case 0:
      manipulator().setIsFixedBase(!manipulator().isFixedBase());
      model().setIsFixedBase(manipulator().isFixedBase());
      break;
   case 1:
      manipulator().setCoordSysXForm(randomFrame(random()));
      break;
   case 2:
      link->setMassProperties(randomMass(random()));
      manipulator().setMassProperties(randomMass(random()));
      break;
   case 3:
      link->setPrimaryFrame(link->linkKinematicsContainer().topElement() != nullptr
                               ? randomFrame(random())
                               : ZqCoordinateSystemTransformation());
      break;
   case 4:
   {
      ZqJointActuator actuator = link->jointActuator();
      actuator.setInertia(inertia);
      link->setJointActuator(actuator);
      break;
   }
   case 5:
      added.setLinkLabel("added" + std::to_string(n));
      if (n < 20)
         link->addChild(added);
      break;
   case 6:
      link->clearChildLinks();
      break;
   case 7:
      changeAttachments();
      break;
   default:
      changeRandomly(*link, random(), m_hasUnknownTypes);
   }
}

MotionInput OddScene::input()
{
   const ZqU32 n = manipulator().jointDof();
   const ZqU32 given = random().index(0, 3) == 0 ? n / 2 : n;
   return {manipulator(),
           &m_structure,
           m_scene.randomPosition(n),
           m_scene.randomVelocity(n),
           randomAcceleration(given),
           m_scene.randomExternalForce(given),
           m_scene.randomTorque(given)};
}

ZqAccelerationState OddScene::randomAcceleration(ZqU32 joints)
{
   ZqAccelerationState state;
   state.setJointAccelerations(m_scene.randomReals(joints, 2.0));
   state.setGeneralAcceleration(randomMotion(random()) +
                                ZqGeneralMotion(m_scene.gravity, ZqVector()));
   return state;
}
} // namespace zqTest
