#include "support/logCapture.h"
#include "zqManipulator/actuation/ZqMechanicalActuatorComponent.h"
#include "zqManipulator/foundation/function/ZqLinearMultivariableConstraint.h"
#include "zqManipulator/kinematics/joint/ZqDenavitHartenberg.h"
#include "zqManipulator/kinematics/joint/ZqQuadrilateralTypeLink.h"
#include "zqManipulator/kinematics/joint/ZqScrewTypeLink.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/simulation/constraints/ZqMultivariableJointStateConstraint.h"
#include "zqManipulator/simulation/constraints/ZqPointStateEqualityConstraint.h"
#include "zqManipulator/tools/checks/ZqModelCheck.h"

#include <gtest/gtest.h>

#include <algorithm>

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

// One joint with the moment I and the friction c at the joint: v' = v (1 - dt c / I) leaves its size at dt = 2 I / c.
TEST(ModelCheck, TellsOfStepsThatFrictionOfDrivesIsTooFastFor)
{
   constexpr ZqReal moment = 2e-3, friction = 0.5, ratio = 20.0;
   ZqStatedSystem scene = sceneOf(bodyOf(1.0, {0.0, 0.0, 0.0}, moment));
   ZqMechanicalActuatorComponent part;
   part.setGearRatio(ratio);
   part.setFrictionCoefficient(friction / (ratio * ratio));
   ZqJointActuator drive;
   drive.setMechanicalComponent(part);
   ASSERT_TRUE(scene.editManipulator(0, [&](ZqIndividualManipulator& manipulator)
                                     { manipulator.linkByIndex(0)->setJointActuator(drive); }));
   const auto isTold = [&](ZqReal step)
   {
      const auto found = Zq::checkModel(scene, step);
      return std::any_of(found.begin(), found.end(),
                         [](const Zq::Diagnostic& diagnostic)
                         { return diagnostic.code == "damping-step"; });
   };
   EXPECT_TRUE(isTold(2.001 * moment / friction));
   EXPECT_FALSE(isTold(1.999 * moment / friction));
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

TEST(ModelCheck, TellsOfLinkagesThatDoNotClose)
{
   struct Case
   {
      bool pivotFrame;
      ZqU32 type;
      ZqReal opposite, lower, upper;
      std::vector<std::string> codes;
   };
   // d1 = 4 and d2 = 5 with a slider of 3 + q; as the other side 3 the pivot is at 5 from C.
   const Case cases[] = {{true, 1, 3.0, -3.0, 7.0, {}},
                         {false, 1, 3.0, -1.0, 1.0, {"linkage-frame"}},
                         {true, 1, 3.0, -1.0, 7.1, {"linkage-limits"}},
                         {true, 1, 3.0, 7.1, 8.0, {"linkage-open"}},
                         {true, 0, 1.0, -2.0, 1.4, {}}, // 4 to 6 from C: 0 to 4.47 m of slider
                         {true, 0, 1.0, -2.0, 1.5, {"linkage-limits"}},
                         {true, 0, 20.0, -2.0, 1.4, {"linkage-open"}},
                         {true, 0, 20.0, 15.0, 16.0, {}}};
   for (const Case& c : cases)
   {
      ZqQuadrilateralTypeLink joint;
      joint.setPivotFrame(c.pivotFrame);
      joint.setJointType(c.type);
      joint.setNominalLength(3.0);
      joint.setOppositeLength(c.opposite);
      joint.setD1Length(4.0);
      joint.setD2Length(5.0);
      ZqStatedSystem scene = sceneOf(bodyOf(1.0, {}, 1.0));
      scene.editManipulator(0,
                            [&](ZqIndividualManipulator& model)
                            {
                               ZqMechanicalActuatorComponent drive;
                               drive.setLowerLimit(c.lower);
                               drive.setUpperLimit(c.upper);
                               ZqJointActuator actuator;
                               actuator.setMechanicalComponent(drive);
                               model.linkByIndex(0)->setLinkKinematics(joint);
                               model.linkByIndex(0)->setJointActuator(actuator);
                            });
      std::vector<std::string> codes;
      for (const Zq::Diagnostic& found : Zq::checkModel(scene))
         if (found.code.starts_with("linkage"))
            codes.push_back(found.code);
      EXPECT_EQ(codes, c.codes) << c.type << ' ' << c.opposite << ' ' << c.upper;
   }
   ZqStatedSystem scene = sceneOf(bodyOf(1.0, {}, 1.0));
   scene.editManipulator(0, [](ZqIndividualManipulator& model)
                         { model.linkByIndex(0)->setLinkKinematics(ZqScrewTypeLink()); });
   EXPECT_NE(textsOf(scene).find("screw-without-pitch: manipulator 'm'/link 'arm'"),
             std::string::npos);
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
