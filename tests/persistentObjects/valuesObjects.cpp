#include "support/persistentObject.h"

#include <cstdlib>

ZQ_TEST_PERSISTENT_CLASSES(Values, ZqCoordinateSystemTransformation, ZqGeneralMotion,
                           ZqGeneralForce, ZqSecondMoment, ZqSphere, ZqRigidBodyMassProperties,
                           ZqArticulatedBodyInertia, ZqArticulatedBodyDynamics,
                           ZqManipulatorExternalForce, ZqManipulatorTorque, ZqManufacturerData)

using zqTest::followsSchema;
using zqTest::sample;
using zqTest::written;

namespace
{
TEST(PersistentObjects, SchemaTellsDocumentsApart)
{
   if (std::system("xmllint --version >/dev/null 2>&1") != 0)
      GTEST_SKIP() << "xmllint is not installed";
   EXPECT_FALSE(followsSchema(ZqGeneralMotion(), written(ZqGeneralForce())));
   EXPECT_FALSE(followsSchema(ZqGeneralForce(), "<generalForce/>"));
}

TEST(PersistentObjects, ComponentsAreWrittenInTheOrderOfTheFormat)
{
   const std::string driveTrain = written(sample<ZqMechanicalActuatorComponent>());
   const std::string joint = written(sample<ZqDenavitHartenberg>());
   for (const auto& [document, names] :
        {std::pair{driveTrain,
                   "inertia frictionCoefficient gearRatio lowerLimit upperLimit maxOutputRate "
                   "stopperZone stopperSpringCoefficient stopperDampingCoefficient "
                   "staticCoulombFriction kineticCoulombFrictionPercentage "
                   "staticCoulombSpringCoefficient staticCoulombDamperCoefficient "
                   "limitingVelocityStickRegion isRigidJoint jointFlexibilityStiffness "
                   "jointFlexibilityDamping backlash maxEfficiency"},
         {joint, "primaryFrame jointType dhType precursor a d alpha theta"}})
   {
      std::size_t last = 0;
      std::istringstream stream(names);
      for (std::string name; stream >> name;)
      {
         const std::size_t place = document.find("\n <" + name + ">");
         ASSERT_NE(place, std::string::npos) << name;
         EXPECT_GT(place, last) << name;
         last = place;
      }
   }
   EXPECT_NE(joint.find(">prismatic<"), std::string::npos) << joint;
   EXPECT_NE(joint.find(">generalCraig<"), std::string::npos) << joint;
}
} // namespace
