#include "support/allocationCount.h"
#include "support/logCapture.h"
#include "support/randomManipulators.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

#include <gtest/gtest.h>

namespace
{
struct SprungLink : testing::Test
{
   SprungLink()
   {
      ZqPositionState positions;
      positions.setJointPositions({1.0, 2.0, 4.0});
      state.setPositionState(positions);
      ZqVelocityState velocities;
      velocities.setJointVelocities(ZqXmlVectorBasicType<ZqReal>{0.5, 0.25, -3.0});
      state.setVelocityState(velocities);
   }

   ZqIndividualManipulator manipulator =
      zqTest::makeManipulator(zqTest::chain(3), [](ZqU32) { return ZqManipulatorLink(); });
   ZqManipulatorLink& link = *manipulator.linkByIndex(1);
   ZqManipulatorActiveState state;
   ZqSpringProperties spring;
   ZqDamperProperties damper;
};

TEST_F(SprungLink, AddsTheWeightedSumsOfItsJoints)
{
   EXPECT_EQ(link.totalLocalTorque(state), 0.0);
   spring.setSpringConstant(10.0);
   spring.setAssociatedJoints({"label2", "label0"});
   spring.setWeightingFactors({0.5, -2.0});
   spring.setSpringOffsets({1.0, 0.25});
   link.setSpringProperties(spring);
   EXPECT_EQ(link.totalLocalTorque(state), 10.0 * (0.5 * 3.0 - 2.0 * 0.75));
   spring.setSpringOffsets({1.0, 1.25});
   link.setSpringProperties(spring);
   EXPECT_EQ(link.totalLocalTorque(state), 10.0 * (0.5 * 3.0 + 2.0 * 0.25));
   damper.setDamperConstant(4.0);
   damper.setAssociatedJoints({"label2", "label1"});
   damper.setWeightingFactors({0.5, 3.0});
   link.setDamperProperties(damper);
   const zqTest::AllocationCount allocations;
   EXPECT_EQ(link.totalLocalTorque(state), 20.0 + 4.0 * (-1.5 + 0.75));
   EXPECT_EQ(allocations.count(), 0U);
   // From link to link with the other properties, by label.
   ZqManipulatorLink tree;
   tree.setLinkLabel("target");
   ASSERT_TRUE(tree.replaceLinkProperties("target", link, false));
   EXPECT_EQ(tree.springProperties(), spring);
   EXPECT_EQ(tree.damperProperties(), damper);
}

TEST_F(SprungLink, ReportsWhatItCannotAdd)
{
   const auto message = [&](const ZqManipulatorLink& asked)
   {
      const zqTest::LogCapture log;
      asked.totalLocalTorque(state);
      return log.text();
   };
   EXPECT_EQ(message(ZqManipulatorLink()),
             "ZqManipulatorLink::totalLocalTorque()->NULL manipulator pointer\n");
   EXPECT_EQ(message(link), "");
   const char* const springMismatch =
      "ZqManipulatorLink::springTorque:: spring data size mismatch.\n";
   spring.setSpringConstant(1.0);
   spring.setSpringOffsets({1.0});
   link.setSpringProperties(spring);
   EXPECT_EQ(message(link), springMismatch);
   spring.setAssociatedJoints({"label0"});
   link.setSpringProperties(spring);
   EXPECT_EQ(message(link), springMismatch);
   // Neither an unknown label nor the base is a joint.
   spring.setAssociatedJoints({"label0", "hand", "base"});
   spring.setWeightingFactors({1.0, 1.0, 1.0});
   spring.setSpringOffsets({0.25, 0.0, 0.0});
   link.setSpringProperties(spring);
   EXPECT_EQ(link.totalLocalTorque(state), 0.75);
   EXPECT_EQ(message(link), "ZqSpringProperties::torque()->bad label, hand\n\n"
                            "ZqSpringProperties::torque()->bad label, base\n\n");
   link.setSpringProperties({});
   damper.setDamperConstant(1.0);
   damper.setWeightingFactors({1.0});
   link.setDamperProperties(damper);
   EXPECT_EQ(message(link), "ZqDamperProperties::torque:: damper data size mismatch.\n\n");
   damper.setAssociatedJoints({"hand"});
   link.setDamperProperties(damper);
   EXPECT_EQ(message(link), "ZqDamperProperties::torque()->bad label, hand\n\n");
}
} // namespace
