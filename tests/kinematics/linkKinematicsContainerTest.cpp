#include "support/logCapture.h"
#include "support/randomModels.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/kinematics/ZqLinkKinematicsContainer.h"

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

TEST(LinkKinematicsContainer, WithoutAJointAnswersNeutrally)
{
   zqTest::LogCapture log;
   zqTest::RandomValues random(61);
   const Transformation frame = zqTest::randomFrame(random);
   Container empty;
   EXPECT_EQ(empty.topElement(), nullptr);
   EXPECT_EQ(empty.calculateTransform(1.0), Transformation::identity());
   EXPECT_EQ(empty.calculateVelocity(1.0, 1.0), ZqGeneralMotion());
   EXPECT_EQ(empty.calculateAcceleration(1.0, 1.0, 2.0), ZqGeneralMotion());
   EXPECT_EQ(empty.torqueRequiredToExert(1.0, zqTest::randomForce(random)), 0.0);
   EXPECT_EQ(empty.primaryFrame(), Transformation::identity());
   EXPECT_EQ(empty.primaryFrameInverse(), Transformation::identity());
   EXPECT_EQ(empty.jointParameterScalability(), 0.0);
   EXPECT_EQ(empty.unitType(), 2U);
   EXPECT_FALSE(empty.transformBy(std::as_const(frame)));
   Transformation result = frame;
   std::as_const(empty).transformBy(result, 1.0);
   EXPECT_EQ(result, frame);
   empty.scaleBy(2.0);
   empty.setPrimaryFrame(Transformation({}, {})); // the identity, whatever its mode
   EXPECT_TRUE(log.empty());

   empty.setPrimaryFrame(frame);
   ASSERT_EQ(log.size(), 1U);
   EXPECT_EQ(log.messages()[0].type, Zq::Print::Rejected);
   EXPECT_EQ(log.messages()[0].text,
             "ZqLinkKinematicsContainer::setPrimaryFrame-->Null container\n");
   EXPECT_EQ(empty, Container());
}

TEST(LinkKinematicsContainer, ForwardsToTheJoint)
{
   zqTest::RandomValues random(62);
   for (int i = 0; i < 100; ++i)
   {
      Joint joint = zqTest::randomJoint(random);
      Container container = containerOf(joint);
      const ZqReal q = random.real();
      const ZqGeneralForce force = zqTest::randomForce(random);
      const Transformation frame = zqTest::randomFrame(random);
      const auto expectSame = [&]
      {
         EXPECT_EQ(container.calculateTransform(q), joint.calculateTransform(q));
         EXPECT_EQ(container.calculateVelocity(q, 2.0), joint.calculateVelocity(q, 2.0));
         EXPECT_EQ(container.calculateAcceleration(q, 2.0, 3.0),
                   joint.calculateAcceleration(q, 2.0, 3.0));
         EXPECT_EQ(container.torqueRequiredToExert(q, force),
                   joint.torqueRequiredToExert(q, force));
         EXPECT_EQ(container.primaryFrame(), joint.primaryFrame());
         EXPECT_EQ(container.primaryFrameInverse(), joint.primaryFrameInverse());
         EXPECT_EQ(container.jointParameterScalability(), joint.jointParameterScalability());
         EXPECT_EQ(container.unitType(), joint.unitType());
         Transformation ofContainer = frame;
         Transformation ofJoint = frame;
         std::as_const(container).transformBy(ofContainer, q);
         std::as_const(joint).transformBy(ofJoint, q);
         EXPECT_EQ(ofContainer, ofJoint);
         EXPECT_EQ(container, containerOf(joint));
      };
      expectSame();
      container.setPrimaryFrame(frame);
      joint.setPrimaryFrame(frame);
      expectSame();
      container.scaleBy(3.0);
      joint.scaleBy(3.0);
      expectSame();
      EXPECT_TRUE(container.transformBy(std::as_const(frame)));
      joint.transformBy(frame);
      expectSame();
   }
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
   EXPECT_EQ(deletions, 1);
   EXPECT_NE(dynamic_cast<OtherJoint*>(keeper.topElement()), nullptr);
   keeper.setAndDeleteTopElementPointer(new OtherJoint(&deletions));
   keeper.setTopElement(second);
   EXPECT_EQ(deletions, 2);
   EXPECT_EQ(dynamic_cast<OtherJoint*>(keeper.topElement()), nullptr);
   container.setAndDeleteTopElementPointer(nullptr);
   EXPECT_EQ(container, Container());
}

TEST(LinkKinematicsContainer, CopiesAreDeepAndOwnTheirJoint)
{
   zqTest::RandomValues random(64);
   const Joint joint = zqTest::randomJoint(random);
   EXPECT_EQ(joint.container(), nullptr);
   const Container original = containerOf(joint);
   const auto expectCopy = [&](Container& copy)
   {
      EXPECT_EQ(copy, original);
      ASSERT_NE(copy.topElement(), nullptr);
      EXPECT_NE(copy.topElement(), original.topElement());
      EXPECT_EQ(copy.topElement()->container(), &copy);
      EXPECT_EQ(original.topElement()->container(), &original);
      copy.setPrimaryFrame(ZqVector(9.0, 8.0, 7.0));
      EXPECT_FALSE(copy == original);
      EXPECT_EQ(original, containerOf(joint));
   };
   Container copied(original);
   expectCopy(copied);
   Container assigned;
   assigned = original;
   expectCopy(assigned);
   assigned = original; // over what it held
   expectCopy(assigned);
   Container moved = std::move(copied);
   EXPECT_EQ(moved.topElement()->container(), &moved);
   const std::unique_ptr<ZqXmlObject> cloned(original.clone());
   expectCopy(dynamic_cast<Container&>(*cloned));
   Container& self = assigned;
   assigned = self;
   ASSERT_NE(assigned.topElement(), nullptr);
   EXPECT_EQ(assigned.topElement()->container(), &assigned);
   // A joint alone: a copy is in no container, and an assigned one stays in its own.
   Joint alone(dynamic_cast<const Joint&>(*original.topElement()));
   EXPECT_EQ(alone.container(), nullptr);
   Container place = containerOf(Joint());
   dynamic_cast<Joint&>(*place.topElement()) = alone;
   EXPECT_EQ(place.topElement()->container(), &place);
}

TEST(LinkKinematicsContainer, ReadsTheJointThatTheDocumentNames)
{
   zqTest::RandomValues random(65);
   const Container original = containerOf(zqTest::randomJoint(random));
   zqTest::LogCapture log;
   ZqString document;
   for (const Container& object : {original, Container()})
   {
      Container read = containerOf(Joint::defaultObject());
      ASSERT_TRUE(Zq::toXml(object, document) && Zq::fromXml(read, document));
      EXPECT_EQ(read, object);
   }
   ASSERT_TRUE(Zq::toXml(original, document));
   EXPECT_TRUE(log.empty()) << log.text();

   // An element that names no class, and one that names a class that is no joint.
   for (const std::string name : {"nobodyKnows", "linkKinematicsContainer"})
   {
      std::string changed = document;
      for (std::size_t at = 0; (at = changed.find("denavitHartenberg", at)) != std::string::npos;)
         changed.replace(at, 17, name);
      ASSERT_NE(changed, document);
      log.clear();
      Container refused;
      EXPECT_FALSE(Zq::fromXml(refused, changed));
      EXPECT_EQ(refused.topElement(), nullptr);
      EXPECT_TRUE(log.contains(name)) << log.text();
   }
}
} // namespace
