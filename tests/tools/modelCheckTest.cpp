#include "support/logCapture.h"
#include "zqManipulator/foundation/function/ZqLinearMultivariableConstraint.h"
#include "zqManipulator/kinematics/joint/ZqDenavitHartenberg.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/simulation/constraints/ZqMultivariableJointStateConstraint.h"
#include "zqManipulator/simulation/constraints/ZqPointStateEqualityConstraint.h"
#include "zqManipulator/tools/checks/ZqModelCheck.h"

#include <gtest/gtest.h>

namespace
{
ZqRigidBodyMassProperties bodyOf(ZqReal mass, const ZqVector& firstMoment, ZqReal moment)
{
   ZqRigidBodyMassProperties body;
   body.set(mass, firstMoment, {moment, moment, moment, 0.0, 0.0, 0.0}, false);
   return body;
}

/// A base with one link on a turning joint.
ZqStatedSystem sceneOf(const ZqRigidBodyMassProperties& body,
                       const ZqStateEqualityConstraintVector& constraints = {})
{
   ZqManipulatorLink arm;
   arm.setLinkLabel("arm");
   arm.setLinkKinematics(ZqDenavitHartenberg());
   arm.setMassProperties(body);
   ZqIndividualManipulator manipulator;
   manipulator.setManipulatorLabel("m");
   manipulator.setLinkLabel("base");
   manipulator.addChild(arm);
   manipulator.setStateEqualityConstraints(constraints);
   manipulator.mapManipulator();
   ZqStatedSystem scene;
   scene.setFromManipulator(manipulator);
   return scene;
}

std::string textsOf(const ZqStatedSystem& scene)
{
   std::string result;
   for (const Zq::Diagnostic& found : Zq::checkModel(scene))
      result += found.code + ": " + Zq::toString(found) + '\n';
   return result;
}

TEST(ModelCheck, TellsWhatAnImpossibleBodyMayMean)
{
   const std::string front =
      "impossible-body: manipulator 'm'/link 'arm'/massProperties: no body has "
      "such principal moments about its center of mass: ";
   const std::string aboutCenter =
      "; it can be if the second moment, which counts about the origin of "
      "the frame, is meant about the center of mass";
   const std::string isCenter =
      "if the first moment, which is mass times center of mass, is meant as "
      "the center of mass\n";
   const std::pair<ZqRigidBodyMassProperties, std::string> cases[] = {
      {bodyOf(2.0, {1.0, 0.0, 0.0}, 1.1), ""},
      {bodyOf(2.0, {1.0, 0.0, 0.0}, 0.4), front + "-0.1, -0.1 and 0.4 kg m^2" + aboutCenter + '\n'},
      {bodyOf(0.1, {0.5, 0.0, 0.0}, 0.06),
       front + "-2.44, -2.44 and 0.06 kg m^2" + aboutCenter + ", or " + isCenter},
      {bodyOf(2.0, {}, -1.0), front + "-1, -1 and -1 kg m^2\n"}};
   for (const auto& [body, expected] : cases)
      EXPECT_EQ(textsOf(sceneOf(body)), expected);
}

TEST(ModelCheck, FindsLoopsThatAreOpen)
{
   ZqStateEqualityConstraintVector constraints;
   ZqPointStateEqualityConstraint pin;
   pin.setFirstLinkLabel("arm");
   pin.setFirstLinkPoint({1.0, 0.0, 0.0});
   // The new state has the joint at 1e-9.
   for (const ZqVector& place : {ZqVector(1.0, 0.0, 0.0), ZqVector(0.7, 0.0, 0.4)})
   {
      pin.setSecondLinkPoint(place);
      constraints.pushBack(pin);
   }
   EXPECT_EQ(
      textsOf(sceneOf(bodyOf(1.0, {}, 1.0), constraints)),
      "loop-open: manipulator 'm'/stateEqualityConstraintVector: constraint 1 "
      "(pointStateEqualityConstraint between \"arm\" and \"\") is open by 0.5 m in the stored "
      "state\n");
}

TEST(ModelCheck, FindsLimitsOfSeveralJointsThatDoNotHold)
{
   ZqStatedSystem scene = sceneOf(bodyOf(1.0, {}, 1.0));
   ZqLinearMultivariableConstraint function;
   function.setConstantTerm(-0.25);
   function.setCoefficient(3, 1.0);
   EXPECT_TRUE(scene.editManipulator(0,
                                     [&](ZqIndividualManipulator& m) {
                                        m.linkByIndex(0)->setUpperLimitConstraint(
                                           ZqMultivariableJointStateConstraint(function));
                                     }));
   EXPECT_EQ(
      textsOf(scene),
      "joint-missing: manipulator 'm'/link 'arm': a limit depends on a joint that the "
      "manipulator does not have, which has 1\n"
      "beyond-limit: manipulator 'm'/link 'arm': the joint positions are beyond a limit that "
      "depends on several: its value is -0.25\n");
}

TEST(ModelCheck, ASceneIsLookedAtWithoutAWordWhateverItsState)
{
   zqTest::LogCapture log;
   ZqStatedSystem scene = sceneOf(bodyOf(1.0, {}, 1.0));
   scene.setState(ZqManipulatorSystemState());
   EXPECT_EQ(textsOf(scene), "state-size: the state is of another size than the system\n");
   EXPECT_EQ(textsOf(ZqStatedSystem()), "");
   EXPECT_TRUE(log.empty()) << log.text();
}
} // namespace
