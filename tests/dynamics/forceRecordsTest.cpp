#include "support/randomModels.h"
#include "support/xmlSamples.h"
#include "zqManipulator/dynamics/bodies/ZqExternalForceDescription.h"
#include "zqManipulator/dynamics/bodies/ZqManipulatorExternalForce.h"
#include "zqManipulator/dynamics/bodies/ZqManipulatorTorque.h"

namespace
{
TEST(ExternalForce, IndexNamesLinksAndTheBase)
{
   const ZqGeneralForce f({1.0, 2.0, 3.0}, {4.0, 5.0, 6.0});
   ZqManipulatorExternalForce forces;
   forces.resize(3);
   ZqManipulatorExternalForce zeros(forces);
   forces[1] = f;
   forces[ZqBaseLinkIndex] = f * 2.0;
   forces.resize(3);
   const ZqManipulatorExternalForce& read = forces;
   zqTest::LogCapture log;
   EXPECT_EQ(read[1], f);
   EXPECT_EQ(read.baseForce(), f * 2.0);
   EXPECT_EQ(&read[ZqBaseLinkIndex], &read.baseForce());
   EXPECT_TRUE(log.empty());
   EXPECT_EQ(read[3], ZqGeneralForce());
   EXPECT_EQ(read[ZqNoLinkIndex], ZqGeneralForce());
   EXPECT_EQ(
      log.text(),
      "ZqManipulatorExternalForce::operator[]: index 3 out of range.  Returning zero force.\n\n"
      "ZqManipulatorExternalForce::operator[]: index -1 out of range.  Returning zero force.\n\n");
   forces.setToZeros();
   EXPECT_EQ(forces, zeros);
}

TEST(ManipulatorTorque, ArraysGiveTheirFirstColumn)
{
   ZqManipulatorTorque torque(ZqManipulatorTorque::nullObject());
   const zqTest::LogCapture log;
   torque.setJointTorques(ZqReArray(2, 0));
   EXPECT_EQ(log.size(), 1U);
   EXPECT_EQ(torque, ZqManipulatorTorque());
   ZqReArray array(2, 3);
   array[0][0] = 1.5;
   array[1][0] = 2.5;
   torque.setJointTorques(array);
   EXPECT_EQ(torque.jointTorques().values(), (std::vector{1.5, 2.5}));
}

TEST(ExternalForceDescription, LineOfActionHasTheMomentOfTheForce)
{
   zqTest::RandomValues random(63);
   ZqExternalForceDescription description;
   for (int i = 0; i < 100; ++i)
   {
      // A force along a line, without a moment about it.
      const ZqVector f = random.vector();
      const ZqVector n = random.vector().cross(f);
      description.setExternalLinkForce({f, n});
      description.setValid(true);
      const ZqLineSegment line = description.representativeForceVector();
      EXPECT_TRUE((line.endpoint1() - line.endpoint0()).approxEq(f, 1e-14));
      EXPECT_TRUE(line.endpoint0().cross(f).approxEq(n, 1e-14));
      EXPECT_NEAR(line.endpoint0().dot(f), 0.0, 1e-14);
      const ZqLineSegment& handedOut = description.representativeForceVector();
      description = ZqExternalForceDescription();
      EXPECT_EQ(handedOut, line);
   }
   for (const ZqReal f : {0.0, zqTest::nan, 1.0})
   {
      description.setExternalLinkForce({{f, 0.0, 0.0}, {1.0, 2.0, 3.0}});
      description.setValid(f != 1.0);
      EXPECT_EQ(&description.representativeForceVector(), &ZqLineSegment::nullObject());
   }
}

TEST(ExternalForceDescription, IsWrittenWithoutContent)
{
   const ZqExternalForceDescription none;
   ZqExternalForceDescription valid;
   valid.setValid(true);
   EXPECT_FALSE(valid == none);
   EXPECT_EQ(zqTest::written(valid), zqTest::written(none));
   EXPECT_TRUE(none.componentMap().empty());
}
} // namespace
