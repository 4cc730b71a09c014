#include "support/logCapture.h"
#include "support/randomModels.h"
#include "support/xmlSamples.h"
#include "zqManipulator/actuation/ZqPowerConverterContainer.h"
#include "zqManipulator/foundation/xml/ZqXmlClassRegistry.h"
#include "zqManipulator/kinematics/joint/ZqLinkKinematicsContainer.h"

#include <boost/algorithm/string/replace.hpp>
#include <gtest/gtest.h>

#include <memory>
#include <utility>

namespace
{
using Container = ZqLinkKinematicsContainer;
using Joint = ZqDenavitHartenberg;
using Transformation = ZqCoordinateSystemTransformation;

/// A joint that is a D-H joint of its own class, and tells when it is deleted.
class OtherJoint : public Joint
{
public:
   explicit OtherJoint(int* deletions = nullptr) : m_deletions(deletions) {}
   ~OtherJoint() override
   {
      if (m_deletions != nullptr)
         ++*m_deletions;
   }
   OtherJoint(const OtherJoint& other) : Joint(other) {}
   ZqXmlObject* clone() const override { return new OtherJoint(*this); }

private:
   int* m_deletions = nullptr; ///< not copied
};

Container containerOf(const ZqLinkKinematics& joint)
{
   Container container;
   container.setTopElement(joint);
   return container;
}

TEST(LinkKinematicsContainer, WithoutAJointHasNoPrimaryFrame)
{
   zqTest::LogCapture log;
   zqTest::RandomValues random(61);
   const Transformation frame = zqTest::randomFrame(random);
   Container empty;
   EXPECT_FALSE(empty.transformBy(std::as_const(frame)));
   empty.scaleBy(2.0);
   empty.setPrimaryFrame(Transformation({}, {})); // the identity, whatever its mode
   EXPECT_TRUE(log.empty());

   empty.setPrimaryFrame(frame);
   ASSERT_EQ(log.size(), 1U);
   EXPECT_EQ(log.messages()[0].type, Zq::Rejected);
   EXPECT_EQ(log.messages()[0].text,
             "ZqLinkKinematicsContainer::setPrimaryFrame-->Null container\n");
   EXPECT_EQ(empty, Container());
}

TEST(LinkKinematicsContainer, KeepsTheAddressBetweenDhJointsOnly)
{
   zqTest::RandomValues random(63);
   const Joint first = zqTest::randomJoint(random, Joint::Rotational, Joint::Paul);
   const Joint second = zqTest::randomJoint(random, Joint::Prismatic, Joint::GeneralCraig);
   Container container = containerOf(first);
   const ZqLinkKinematics* const held = container.topElement();
   EXPECT_NE(held, &first);
   container.calculateTransform(0.5);
   container.setTopElement(second);
   EXPECT_EQ(container.topElement(), held);
   EXPECT_EQ(container, containerOf(second));
   EXPECT_EQ(container.topElement()->container(), &container);
   EXPECT_EQ(container.calculateTransform(0.5), second.calculateTransform(0.5));
   container.setTopElement(*held); // itself
   EXPECT_EQ(container, containerOf(second));

   // Only the exact class is assigned in place. That the old object is deleted is the proof: a new one
   // could come to stand at the same address.
   int deletions = 0;
   Container keeper;
   keeper.setAndDeleteTopElementPointer(new OtherJoint(&deletions));
   keeper.setTopElement(OtherJoint());
   EXPECT_NE(dynamic_cast<OtherJoint*>(keeper.topElement()), nullptr);
   keeper.setAndDeleteTopElementPointer(new OtherJoint(&deletions));
   keeper.setTopElement(second);
   EXPECT_EQ(dynamic_cast<OtherJoint*>(keeper.topElement()), nullptr);
   EXPECT_EQ(deletions, 2);
   keeper.setAndDeleteTopElementPointer(new OtherJoint(&deletions));
   keeper.setAndDeleteTopElementPointer(keeper.topElement()); // which it has
   EXPECT_EQ(deletions, 2);
   container.setAndDeleteTopElementPointer(nullptr);
   EXPECT_EQ(container, Container());
}

TEST(LinkKinematicsContainer, JointsKnowTheirContainer)
{
   zqTest::RandomValues random(64);
   const Container original = containerOf(zqTest::randomJoint(random));
   Container copied(original);
   Container assigned = containerOf(Joint());
   assigned = original;
   Container source(original);
   const Container moved = std::move(source);
   const std::unique_ptr<ZqXmlObject> cloned(original.clone());
   for (const Container* copy :
        {static_cast<const Container*>(&copied), static_cast<const Container*>(&assigned), &moved,
         dynamic_cast<const Container*>(cloned.get()), &original})
   {
      EXPECT_EQ(*copy, original);
      EXPECT_EQ(copy->topElement()->container(), copy);
   }
   // A joint alone: a copy is in no container, and an assigned one stays in its own.
   const Joint alone(dynamic_cast<const Joint&>(*original.topElement()));
   EXPECT_EQ(alone.container(), nullptr);
   dynamic_cast<Joint&>(*copied.topElement()) = alone;
   EXPECT_EQ(copied.topElement()->container(), &copied);
}

TEST(LinkKinematicsContainer, ReadsClassesThatWereRegisteredIfTheyAreJoints)
{
   const ZqToken own("urn:own#joint");
   EXPECT_TRUE(Zq::registerClass(own, Joint::creator));
   EXPECT_TRUE(Zq::registerClass(own, Joint::creator));
   std::string document = zqTest::written(containerOf(Joint::defaultObject()));
   boost::replace_all(document, "<denavitHartenberg", "<own:joint xmlns:own='urn:own#'");
   boost::replace_all(document, "</denavitHartenberg", "</own:joint");
   Container container;
   EXPECT_TRUE(Zq::fromXml(container, document));
   EXPECT_EQ(container, containerOf(Joint::defaultObject()));
   EXPECT_TRUE(zqTest::followsSchema(container, document));

   zqTest::LogCapture log;
   ZqPowerConverterContainer converter;
   boost::replace_all(document, "linkKinematicsContainer", "powerConverterContainer");
   EXPECT_FALSE(Zq::fromXml(converter, document));
   EXPECT_TRUE(log.contains("\"urn:own#joint\" tag not registered.\n"));
   EXPECT_FALSE(Zq::registerClass(own, Container::creator));
   EXPECT_TRUE(log.contains("Zq::registerClass(): \"urn:own#joint\" is the name of another class"));
}

TEST(LinkKinematicsContainer, RefusesWhatNamesNoClassOrOneThatIsNoJoint)
{
   ZqString document;
   ASSERT_TRUE(Zq::toXml(containerOf(Joint::defaultObject()), document));
   for (const std::string name : {"nobodyKnows", "linkKinematicsContainer"})
   {
      const std::string changed = boost::replace_all_copy(document, "denavitHartenberg", name);
      zqTest::LogCapture log;
      Container refused;
      EXPECT_FALSE(Zq::fromXml(refused, changed));
      EXPECT_EQ(refused.topElement(), nullptr);
      EXPECT_TRUE(log.contains(name)) << log.text();
   }
   // A document without a joint takes the one away that was there.
   Container emptied = containerOf(Joint());
   ASSERT_TRUE(Zq::toXml(Container(), document) && Zq::fromXml(emptied, document));
   EXPECT_EQ(emptied, Container());
}
} // namespace
