#include "support/logCapture.h"
#include "support/randomScene.h"

#include <gtest/gtest.h>

#include <functional>

namespace
{
using Active = ZqManipulatorActiveState;
using Link = ZqManipulatorLink;

ZqReal size(ZqReal value)
{
   return std::abs(value);
}
ZqReal size(const ZqRigidBodyMassProperties& body)
{
   return body.mass() + body.firstMoment().mag();
}
ZqReal size(const ZqGeneralMotion& motion)
{
   return motion.linear().mag() + motion.angular().mag();
}
ZqReal size(const ZqGeneralForce& force)
{
   return force.force().mag() + force.moment().mag();
}
ZqReal size(const ZqArticulatedBodyDynamics& body)
{
   return size(body.bias()) +
          size(body.inertia().calculateForce({{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}}));
}

/// All queries of a link by the size of what they answer.
struct Query
{
   const char* message;
   std::function<ZqReal(const Link&, Active&)> ask;
};
const ZqManipulatorExternalForce forces;
const ZqManipulatorTorque torques;

const Query queries[] = {
   {"dhFrameVelocityInLocal(): link index -1 not in the range of the active state.",
    [](const Link& l, Active& a) { return size(l.dhFrameVelocityInLocal(a)); }},
   {"dhFrameVelocityInSystem(): index out of range.",
    [](const Link& l, Active& a) { return size(l.dhFrameVelocityInSystem(a)); }},
   {"primaryFrameVelocityInSystem(): index -1  out of range 2.",
    [](const Link& l, Active& a) { return size(l.primaryFrameVelocityInSystem(a)); }},
   {"dhFrameAccelerationInLocal(): index out of range.",
    [](const Link& l, Active& a) { return size(l.dhFrameAccelerationInLocal(a)); }},
   {"comVelocityInLocal(): link index -1 not in the range of the active state.",
    [](const Link& l, Active& a) { return size(l.comVelocityInLocal(a, nullptr)); }},
   {"comAccelerationInLocal(): link index -1 not in the range of the active state.",
    [](const Link& l, Active& a) { return size(l.comAccelerationInLocal(a, nullptr)); }},
   {"spatialMomentumInLocal(): index (-1) out of range.",
    [](const Link& l, Active& a) { return size(l.spatialMomentumInLocal(a, nullptr)); }},
   {"spatialMomentumRateInLocal(): index (-1) out of range.",
    [](const Link& l, Active& a) { return size(l.spatialMomentumRateInLocal(a, nullptr)); }},
   {"compositeSpatialMomentumInLocal(): index (-1) out of range.",
    [](const Link& l, Active& a) { return size(l.compositeSpatialMomentumInLocal(a, nullptr)); }},
   {"compositeSpatialMomentumRateInLocal(): index (-1) out of range.", [](const Link& l, Active& a)
    { return size(l.compositeSpatialMomentumRateInLocal(a, nullptr)); }},
   {"dhFrameForceInLocal(): force index out of range.",
    [](const Link& l, Active& a) { return size(l.dhFrameForceInLocal(forces, a, nullptr)); }},
   {"crbi(): index (-1) out of range.",
    [](const Link& l, Active& a) { return size(l.crbi(a, nullptr)); }},
   {"arbd(): index (-1) out of range.",
    [](const Link& l, Active& a) { return size(l.arbd(forces, torques, a, nullptr)); }},
   {"arbiSupplementalDhFrameAccelerationInLocal(): articulation states index (-1) out of range.",
    [](const Link& l, Active& a)
    { return size(l.arbiSupplementalDhFrameAccelerationInLocal(forces, torques, a, nullptr)); }},
   {"arbiJointAcceleration(): articulation states index (-1) out of range.",
    [](const Link& l, Active& a)
    {
       return size(l.linkIndex() == ZqBaseLinkIndex
                      ? 0.0
                      : l.arbiJointAcceleration(forces, torques, a, nullptr));
    }},
};

TEST(LinkMotion, LinksThatTheStateDoesNotHaveAreRejected)
{
   zqTest::RandomScene scene(3, zqTest::SceneKind{zqTest::chain(2)});
   Active active = scene.activeState();
   const Link loose = zqTest::randomLink(scene.random);
   for (const Query& query : queries)
   {
      const zqTest::LogCapture log;
      const bool isInertia = std::string_view(query.message).starts_with("crbi");
      EXPECT_EQ(query.ask(loose, active), isInertia ? 1e-9 : 0.0) << query.message;
      ASSERT_FALSE(log.empty());
      EXPECT_EQ(log.messages()[0].text, "ZqManipulatorLink::" + std::string(query.message) + "\n");
      EXPECT_EQ(log.messages()[0].type, 4U);
   }

   // More velocities than positions: what cannot be answered is not kept as an answer.
   ZqPositionState shorter;
   shorter.setJointPositions({0.1});
   active.setPositionState(shorter);
   active.setVelocityState(scene.randomVelocity());
   for (int i = 0; i < 4; ++i)
   {
      const zqTest::LogCapture log;
      const Link& link = scene.link(1);
      EXPECT_EQ(i % 2 == 0 ? link.dhFrameVelocityInSystem(active)
                           : link.primaryFrameVelocityInSystem(active),
                ZqGeneralMotion());
      EXPECT_TRUE(log.contains("dhFrameVelocityInLocal(): link index 1"));
   }
}

TEST(LinkMotion, AnswersOfAShortAccelerationStateStayWhereTheyAre)
{
   const zqTest::RandomScene scene(4, zqTest::SceneKind{zqTest::chain(6)});
   Active active = scene.activeState();
   ZqAccelerationState acceleration;
   acceleration.resize(1);
   active.setAccelerationState(acceleration);
   Active tight(active); // without room for more records
   acceleration.resize(6);
   active.setAccelerationState(acceleration);
   const Link& link = scene.link(0);
   const ZqGeneralMotion& rate = link.compositeSpatialMomentumRateInLocal(tight, nullptr);
   EXPECT_EQ(&rate, &link.compositeSpatialMomentumRateInLocal(tight, nullptr));
   EXPECT_EQ(rate, link.compositeSpatialMomentumRateInLocal(active, nullptr));
}
} // namespace
