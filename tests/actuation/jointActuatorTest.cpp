#include "support/xmlSamples.h"
#include "zqManipulator/actuation/ZqJointActuator.h"
#include "zqManipulator/kinematics/link/ZqManipulatorLink.h"

namespace
{
using Actuator = ZqJointActuator;
using Component = ZqMechanicalActuatorComponent;

TEST(JointActuator, ScalingKeepsTheMotionAtStoppersAndInStiction)
{
   Component component = Component::defaultObject();
   component.setStopperDampingCoefficient(3.0);
   component.setStaticCoulombFriction(5.0);
   component.setStaticCoulombSpringCoefficient(7.0);
   component.setStaticCoulombDamperCoefficient(11.0);
   Actuator actuator;
   actuator.setMechanicalComponent(component);
   actuator.scaleBy(2.0, 3.0);
   const Component& scaled = *actuator.mechanicalComponentContainer().topElement();
   EXPECT_EQ(scaled.inertia(), 32.0 * component.inertia());
   EXPECT_EQ(scaled.frictionCoefficient(), 4.0 * component.frictionCoefficient());
   EXPECT_EQ(scaled.lowerLimit(), -450.0);
   EXPECT_EQ(scaled.upperLimit(), 450.0);
   EXPECT_EQ(scaled.stopperZone(), 3.0 * component.stopperZone());
   // Squared frequencies, decay rates and accelerations.
   for (const auto get :
        {&Component::stopperSpringCoefficient, &Component::stopperDampingCoefficient,
         &Component::staticCoulombFriction, &Component::staticCoulombSpringCoefficient,
         &Component::staticCoulombDamperCoefficient})
      EXPECT_EQ((scaled.*get)() / scaled.inertia(), (component.*get)() / component.inertia());

   // Only a rigid motor adds to the joint's inertia.
   EXPECT_EQ(actuator.effectiveInertia(3.0), 1600.0 * scaled.inertia());
   actuator.setIsRigid(false);
   EXPECT_FALSE(scaled.isRigid());
   EXPECT_EQ(actuator.effectiveInertia(3.0), 0.0);
}

/// Remembers the link that it was given.
class Listener : public Component
{
public:
   const ZqManipulatorLink* link = nullptr;

   static ZqXmlObject* creator() { return new Listener(); }
   ZqXmlObject* clone() const override { return new Listener(*this); }
   void setManipulatorLink(const ZqManipulatorLink* given) override { link = given; }
};

TEST(JointActuator, WhateverDriveTrainComesGetsTheLink)
{
   const ZqManipulatorLink link;
   const auto linkOf = [](const Actuator& actuator)
   {
      const auto* part = actuator.mechanicalComponentContainer().topElement();
      return dynamic_cast<const Listener&>(*part).link;
   };
   Actuator actuator;
   actuator.setManipulatorLink(&link);
   actuator.setMechanicalComponent(Listener());
   EXPECT_EQ(linkOf(actuator), &link);
   ZqMechanicalActuatorComponentContainer container;
   container.registerComponentCreator(Component::classToken(), Listener::creator);
   container.setTopElement(Listener());
   actuator.setMechanicalPartContainer(container);
   EXPECT_EQ(linkOf(actuator), &link);
   ASSERT_TRUE(Zq::fromXml(actuator, zqTest::written(Actuator::defaultObject())));
   EXPECT_EQ(linkOf(actuator), &link);

   // The link is no part of the value.
   Actuator copy = actuator;
   copy.setManipulatorLink(nullptr);
   EXPECT_EQ(linkOf(copy), nullptr);
   EXPECT_EQ(linkOf(actuator), &link);
   EXPECT_EQ(copy, actuator);
}

TEST(JointActuator, OldDrivesAreTakenOverFromDocuments)
{
   // The parameters that both forms have.
   const std::string tokens =
      "inertia frictionCoefficient gearRatio lowerLimit upperLimit maxOutputRate stopperZone "
      "stopperSpringCoefficient stopperDampingCoefficient staticCoulombFriction "
      "kineticCoulombFrictionPercentage staticCoulombSpringCoefficient "
      "staticCoulombDamperCoefficient limitingVelocityStickRegion jointFlexibilityStiffness "
      "jointFlexibilityDamping backlash";
   const auto parameters = [&](int first)
   {
      std::string text = "<isRigidJoint>false</isRigidJoint>";
      std::istringstream stream(tokens);
      for (std::string token; stream >> token;)
         text += "<" + token + ">" + std::to_string(++first) + "</" + token + ">";
      return text;
   };
   const auto old = [&](int first)
   {
      return "<jointActuator>" + parameters(first) +
             "<minTorque>-2.5</minTorque><maxTorque>3.5</maxTorque></jointActuator>";
   };
   const auto expectTaken = [&](const std::string& forms, int first, bool isRegistered = false)
   {
      Component component;
      ASSERT_TRUE(
         Zq::fromXml(component, zqTest::inTag(Component::classToken(), parameters(first))));
      ZqManipulatorLink link;
      if (isRegistered)
         link.componentMap();
      ASSERT_TRUE(Zq::fromXml(link, zqTest::inTag(ZqManipulatorLink::classToken(), forms)));
      const Actuator& taken = link.jointActuator();
      ASSERT_NE(taken.mechanicalComponentContainer().topElement(), nullptr);
      EXPECT_EQ(*taken.mechanicalComponentContainer().topElement(), component);
      EXPECT_EQ(taken.minTorque(), -2.5);
      EXPECT_EQ(taken.maxTorque(), 3.5);
      // Written in the new form, and not taken over once more.
      const std::string document = zqTest::written(link);
      EXPECT_EQ(document.find("<jointActuator"), std::string::npos);
      EXPECT_TRUE(link.componentMap().at(ZqManip::ZqJointActuatorToken)->equalsDefault());
      ASSERT_TRUE(Zq::fromXml(link, zqTest::written(ZqManipulatorLink())));
      EXPECT_EQ(link, ZqManipulatorLink());
   };
   const std::string contained = "<jointActuatorContainer>" + old(50) + "</jointActuatorContainer>";
   expectTaken(old(20), 20);
   expectTaken(contained, 50);
   expectTaken(contained + old(20), 50);
   expectTaken(old(20) + "<jointActuatorContainer/>", 20);
   // Also where the map of components leads to them, before and after.
   expectTaken(old(20) + contained, 50, true);

   // A default one is none.
   ZqManipulatorLink link;
   link.setJointActuator(Actuator::defaultObject());
   ASSERT_TRUE(Zq::fromXml(link, zqTest::inTag(ZqManipulatorLink::classToken(),
                                               "<jointActuator/><jointActuatorContainer>"
                                               "<jointActuator/></jointActuatorContainer>")));
   EXPECT_EQ(link.jointActuator(), Actuator::defaultObject());
}
} // namespace
