#include "support/allocationCount.h"
#include "support/logCapture.h"
#include "support/randomManipulators.h"
#include "zqManipulator/dynamics/ZqManipulatorExternalForce.h"
#include "zqManipulator/dynamics/ZqManipulatorTorque.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

#include <gtest/gtest.h>

#include <functional>
#include <numeric>

namespace
{
using Active = ZqManipulatorActiveState;
using Link = ZqManipulatorLink;
using zqTest::RandomValues;

ZqXmlVectorBasicType<ZqReal> randomReals(RandomValues& random, ZqU32 count)
{
   std::vector<ZqReal> values(count);
   for (ZqReal& value : values)
      value = random.real(-2.0, 2.0);
   return values;
}

void setRandomState(Active& active, RandomValues& random,
                    const ZqIndividualManipulator& manipulator)
{
   const ZqU32 joints = manipulator.jointDof();
   active.setPositionState(zqTest::randomPosition(random, manipulator));
   ZqVelocityState velocity;
   velocity.setJointVelocities(randomReals(random, joints));
   velocity.setGeneralVelocity({random.vector(), random.vector()});
   active.setVelocityState(velocity);
   ZqAccelerationState acceleration;
   acceleration.setJointAccelerations(randomReals(random, joints));
   acceleration.setGeneralAcceleration({random.vector(), random.vector()});
   active.setAccelerationState(acceleration);
}

/// All queries of a link by the motion, force or inertia that they answer, as numbers.
struct Query
{
   const char* message;
   std::function<std::vector<ZqReal>(const Link&, Active&)> ask;
};

template <class Six>
std::vector<ZqReal> numbers(const Six& v)
{
   return {v[0], v[1], v[2], v[3], v[4], v[5]};
}
std::vector<ZqReal> numbers(const ZqRigidBodyMassProperties& body)
{
   ZqReArray array;
   body.getArray(array);
   return {array.data(), array.data() + 36};
}
std::vector<ZqReal> numbers(const ZqArticulatedBodyDynamics& body)
{
   ZqReArray array;
   body.getInertiaArray(array);
   std::vector<ZqReal> result(array.data(), array.data() + 36);
   const auto bias = numbers(body.bias());
   result.insert(result.end(), bias.begin(), bias.end());
   return result;
}
std::vector<ZqReal> numbers(ZqReal value)
{
   return {value};
}

/// One force and one torque for all, so that the order of queries cannot matter.
struct Acting
{
   Acting()
   {
      RandomValues random(5);
      forces.resize(12);
      for (ZqU32 i = 0; i < 12; ++i)
         forces[i] = {random.vector(), random.vector()};
      torques.setJointTorques(randomReals(random, 12));
      torques.setGeneralForce({random.vector(), random.vector()});
   }
   ZqManipulatorExternalForce forces;
   ZqManipulatorTorque torques;
};
const Acting acting;

const Query queries[] = {
   {"dhFrameVelocityInLocal(): link index -1 not in the range of the active state.",
    [](const Link& l, Active& a) { return numbers(l.dhFrameVelocityInLocal(a)); }},
   {"dhFrameVelocityInSystem(): index out of range.",
    [](const Link& l, Active& a) { return numbers(l.dhFrameVelocityInSystem(a)); }},
   {"primaryFrameVelocityInSystem(): index -1  out of range 2.",
    [](const Link& l, Active& a) { return numbers(l.primaryFrameVelocityInSystem(a)); }},
   {"dhFrameAccelerationInLocal(): index out of range.",
    [](const Link& l, Active& a) { return numbers(l.dhFrameAccelerationInLocal(a)); }},
   {"comVelocityInLocal(): link index -1 not in the range of the active state.",
    [](const Link& l, Active& a) { return numbers(l.comVelocityInLocal(a, nullptr)); }},
   {"comAccelerationInLocal(): link index -1 not in the range of the active state.",
    [](const Link& l, Active& a) { return numbers(l.comAccelerationInLocal(a, nullptr)); }},
   {"spatialMomentumInLocal(): index (-1) out of range.",
    [](const Link& l, Active& a) { return numbers(l.spatialMomentumInLocal(a, nullptr)); }},
   {"spatialMomentumRateInLocal(): index (-1) out of range.",
    [](const Link& l, Active& a) { return numbers(l.spatialMomentumRateInLocal(a, nullptr)); }},
   {"compositeSpatialMomentumInLocal(): index (-1) out of range.", [](const Link& l, Active& a)
    { return numbers(l.compositeSpatialMomentumInLocal(a, nullptr)); }},
   {"compositeSpatialMomentumRateInLocal(): index (-1) out of range.", [](const Link& l, Active& a)
    { return numbers(l.compositeSpatialMomentumRateInLocal(a, nullptr)); }},
   {"dhFrameForceInLocal(): force index out of range.", [](const Link& l, Active& a)
    { return numbers(l.dhFrameForceInLocal(acting.forces, a, nullptr)); }},
   {"crbi(): index (-1) out of range.",
    [](const Link& l, Active& a) { return numbers(l.crbi(a, nullptr)); }},
   {"arbd(): index (-1) out of range.", [](const Link& l, Active& a)
    { return numbers(l.arbd(acting.forces, acting.torques, a, nullptr)); }},
   {"arbiSupplementalDhFrameAccelerationInLocal(): articulation states index (-1) out of range.",
    [](const Link& l, Active& a)
    {
       return numbers(
          l.arbiSupplementalDhFrameAccelerationInLocal(acting.forces, acting.torques, a, nullptr));
    }},
   {"arbiJointAcceleration(): articulation states index (-1) out of range.",
    [](const Link& l, Active& a)
    {
       return numbers(l.linkIndex() == ZqBaseLinkIndex
                         ? 0.0
                         : l.arbiJointAcceleration(acting.forces, acting.torques, a, nullptr));
    }},
};

TEST(LinkMotion, AnswersDoNotDependOnTheOrderOfQueries)
{
   RandomValues random(11);
   for (int trial = 0; trial < 20; ++trial)
   {
      const auto manipulator = zqTest::randomManipulator(random, random.index(1, 12));
      Active inOrder;
      setRandomState(inOrder, random, manipulator);
      Active mixed;
      mixed.setPositionState(inOrder.positionState());
      mixed.setVelocityState(inOrder.velocityState());
      mixed.setAccelerationState(inOrder.accelerationState());

      const auto links = zqTest::inPreorder(manipulator);
      std::map<std::pair<const Link*, const Query*>, std::vector<ZqReal>> answers;
      for (const Query& query : queries)
         for (const Link* link : links)
            answers[{link, &query}] = query.ask(*link, inOrder);
      std::vector<std::pair<const Link*, const Query*>> order;
      for (const auto& [key, answer] : answers)
         order.push_back(key);
      for (std::size_t i = order.size(); i-- > 1;)
         std::swap(order[i], order[random.index(0, static_cast<ZqU32>(i))]);
      for (const auto& [link, query] : order)
      {
         const auto answer = query->ask(*link, mixed);
         EXPECT_EQ(answer, (answers[{link, query}])) << query->message << link->linkIndex();
      }
      // A copy holds no joint transformations, whatever their flags say.
      Active copy(inOrder);
      copy.setAccelerationState(inOrder.accelerationState());
      copy.activeVelocityState().invalidateAll();
      copy.activeMassState().invalidateAll();
      for (const auto& [link, query] : order)
         EXPECT_EQ(query->ask(*link, copy), (answers[{link, query}])) << query->message;
   }
}

TEST(LinkMotion, LinksThatTheStateDoesNotHaveAreRejected)
{
   RandomValues random(3);
   const auto manipulator = zqTest::randomManipulator(random, 2);
   Active active;
   setRandomState(active, random, manipulator);
   const Link loose = zqTest::randomLink(random);
   for (const Query& query : queries)
   {
      const zqTest::LogCapture log;
      const auto answer = query.ask(loose, active);
      const bool isInertia = std::string_view(query.message).starts_with("crbi");
      EXPECT_LE(std::accumulate(answer.begin(), answer.end(), 0.0), isInertia ? 3.1e-9 : 0.0);
      ASSERT_FALSE(log.empty());
      EXPECT_EQ(log.messages()[0].text, "ZqManipulatorLink::" + std::string(query.message) + "\n");
      EXPECT_EQ(log.messages()[0].type, 4U);
   }

   // More velocities than positions: what cannot be answered is not kept as an answer.
   ZqPositionState shorter;
   shorter.setJointPositions({0.1});
   active.setPositionState(shorter);
   ZqVelocityState velocity;
   velocity.setJointVelocities(randomReals(random, 2));
   active.setVelocityState(velocity);
   for (int i = 0; i < 4; ++i)
   {
      const zqTest::LogCapture log;
      const Link& link = *manipulator.linkByIndex(1);
      EXPECT_EQ(i % 2 == 0 ? link.dhFrameVelocityInSystem(active)
                           : link.primaryFrameVelocityInSystem(active),
                ZqGeneralMotion());
      EXPECT_TRUE(log.contains("dhFrameVelocityInLocal(): link index 1"));
   }
}

TEST(LinkMotion, AnswersOfAShortAccelerationStateStayWhereTheyAre)
{
   RandomValues random(4);
   const auto manipulator =
      zqTest::makeManipulator(zqTest::chain(6), [&](ZqU32) { return zqTest::randomLink(random); });
   Active active;
   setRandomState(active, random, manipulator);
   ZqAccelerationState acceleration;
   acceleration.resize(1);
   active.setAccelerationState(acceleration);
   Active tight(active); // without room for more records
   acceleration.resize(6);
   active.setAccelerationState(acceleration);
   const Link& link = *manipulator.linkByIndex(0);
   const ZqGeneralMotion& rate = link.compositeSpatialMomentumRateInLocal(tight, nullptr);
   EXPECT_EQ(&rate, &link.compositeSpatialMomentumRateInLocal(tight, nullptr));
   EXPECT_EQ(rate, link.compositeSpatialMomentumRateInLocal(active, nullptr));
}

TEST(LinkMotion, OneTurningJointMovesAsInTextbooks)
{
   constexpr ZqReal alpha = 0.3;
   const ZqReal ca = std::cos(alpha);
   const ZqReal sa = std::sin(alpha);
   const struct
   {
      ZqU32 type;
      ZqGeneralMotion velocity;
      ZqGeneralMotion acceleration;
   } cases[] = {
      {ZqDenavitHartenberg::Craig, {{}, {0.0, 0.0, 2.0}}, {}},
      {ZqDenavitHartenberg::Paul,
       {{0.0, 2.0 * ca, -2.0 * sa}, {0.0, 2.0 * sa, 2.0 * ca}},
       {{-4.0, 0.0, 0.0}, {}}},
   };
   for (const auto& c : cases)
   {
      ZqDenavitHartenberg joint;
      joint.setDhType(c.type);
      joint.setDhA(1.0);
      joint.setDhAlpha(alpha);
      const auto manipulator = zqTest::makeManipulator(zqTest::chain(1),
                                                       [&](ZqU32)
                                                       {
                                                          Link link;
                                                          link.setLinkKinematics(joint);
                                                          return link;
                                                       });
      Active active;
      ZqPositionState position;
      position.setJointPositions({0.7});
      active.setPositionState(position);
      ZqVelocityState velocity;
      velocity.setJointVelocities(ZqXmlVectorBasicType<ZqReal>{2.0});
      active.setVelocityState(velocity);
      // No joint acceleration is listed: it is zero.
      const zqTest::LogCapture log;
      const Link& link = *manipulator.linkByIndex(0);
      EXPECT_TRUE(link.dhFrameVelocityInLocal(active).approxEq(c.velocity, 1e-15));
      active.setAccelerationState({});
      EXPECT_TRUE(link.dhFrameForceInLocal({}, active, nullptr).approxEq({}, 1e-8));
      EXPECT_TRUE(link.dhFrameAccelerationInLocal(active).approxEq(c.acceleration, 1e-15));
      EXPECT_TRUE(log.empty()) << log.text();
      // A link without mass and drive has no acceleration of its own.
      ZqManipulatorTorque torque;
      torque.setJointTorques(ZqXmlVectorBasicType<ZqReal>{1.0});
      Link massless(link);
      massless.setMassProperties({});
      EXPECT_EQ(massless.arbiJointAcceleration({}, torque, active, nullptr), 0.0);
   }
}
} // namespace
