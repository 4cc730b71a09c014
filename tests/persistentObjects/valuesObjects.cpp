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

TEST(PersistentObjects, DriveTrainIsWrittenInTheOrderOfTheFormat)
{
   const std::string document = zqTest::onOneLine(sample<ZqMechanicalActuatorComponent>());
   EXPECT_NE(
      document.find(
         "<inertia>11</inertia><frictionCoefficient>12</frictionCoefficient><gearRatio>13"
         "</gearRatio><lowerLimit>14</lowerLimit><upperLimit>15</upperLimit><maxOutputRate>16"
         "</maxOutputRate><stopperZone>17</stopperZone><stopperSpringCoefficient>18"
         "</stopperSpringCoefficient><stopperDampingCoefficient>19</stopperDampingCoefficient>"
         "<staticCoulombFriction>20</staticCoulombFriction><kineticCoulombFrictionPercentage>21"
         "</kineticCoulombFrictionPercentage><staticCoulombSpringCoefficient>22"
         "</staticCoulombSpringCoefficient><staticCoulombDamperCoefficient>23"
         "</staticCoulombDamperCoefficient><limitingVelocityStickRegion>24"
         "</limitingVelocityStickRegion><isRigidJoint>false</isRigidJoint>"
         "<jointFlexibilityStiffness>25</jointFlexibilityStiffness><jointFlexibilityDamping>26"
         "</jointFlexibilityDamping><backlash>27</backlash><maxEfficiency>28</maxEfficiency>"),
      std::string::npos)
      << document;
}

TEST(PersistentObjects, JointIsWrittenInTheOrderOfTheFormat)
{
   const std::string joint = written(sample<ZqDenavitHartenberg>());
   std::size_t last = 0;
   for (const std::string name :
        {"primaryFrame", "jointType", "dhType", "precursor", "a", "d", "alpha", "theta"})
   {
      const std::size_t place = joint.find("\n <" + name + ">");
      ASSERT_NE(place, std::string::npos) << name;
      EXPECT_GT(place, last) << name;
      last = place;
   }
   EXPECT_NE(joint.find(">prismatic<"), std::string::npos) << joint;
   EXPECT_NE(joint.find(">generalCraig<"), std::string::npos) << joint;
}
} // namespace
