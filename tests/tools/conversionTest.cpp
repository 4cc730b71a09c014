#include "support/logCapture.h"
#include "support/randomScene.h"
#include "zqManipulator/actuation/ZqHydraulicCylinder.h"
#include "zqManipulator/actuation/ZqPassThroughPowerConverter.h"
#include "zqManipulator/dynamics/tools/ZqCrbiAccelerationTool.h"
#include "zqManipulator/foundation/geometry/ZqBox.h"
#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/simulation/constraints/ZqLinearStateEqualityConstraint.h"
#include "zqManipulator/simulation/constraints/ZqXyStateEqualityConstraint.h"
#include "zqManipulator/simulation/interactions/ZqLatchedDoorLinks.h"
#include "zqManipulator/simulation/interactions/ZqSpringAndDamperBetweenLinks.h"
#include "zqManipulator/simulation/step/ZqSimulation.h"
#include "zqManipulator/tools/conversion/ZqKinematicsConversionTool.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{
using Tool = ZqKinematicsConversionTool;
using Dh = ZqDenavitHartenberg;
using Transform = ZqCoordinateSystemTransformation;
using zqTest::RandomScene;
using zqTest::RandomValues;

enum Kind
{
   Craig,
   Precursor,
   IdentityFrames,
   Recenter,
   Flip,
   Sag
};
constexpr std::array kinds{Craig, Precursor, IdentityFrames, Recenter, Flip, Sag};

/// The link of a manipulator on which sag joints are put.
const ZqString& middleLabel(const ZqIndividualManipulator& manipulator)
{
   return manipulator.linkByIndex(manipulator.jointDof() / 2)->linkLabel();
}

bool convert(Kind kind, const ZqStatedSystem& source, ZqU32 index, ZqStatedSystem& result)
{
   const Tool tool;
   if (kind == Craig)
      return tool.convertManipulatorToCraigsDhForm(source, result, index);
   result = source;
   if (kind == IdentityFrames)
      return tool.reconfigureForIdentityPrimaryFrames(result, index);
   if (kind == Recenter)
      return tool.recenterJointLimits(result, index, std::vector<double>(30, -17.0));
   bool isConverted = true;
   const auto convertLinks = [&](ZqIndividualManipulator& manipulator)
   {
      std::vector<std::string> added;
      for (ZqU32 i = 0; i < manipulator.jointDof() && kind != Sag; ++i)
      {
         const ZqString label = manipulator.linkByIndex(i)->linkLabel();
         isConverted = isConverted && (kind == Flip ? Tool::flipJointSign(manipulator, label)
                                                    : Tool::reconfigureDhToPrecursor(manipulator, label));
      }
      if (kind == Sag)
         isConverted = Tool::add3SagJoints(manipulator, middleLabel(manipulator), added);
   };
   return result.editManipulator(index, convertLinks) && isConverted;
}

/// A joint that turns, of any D-H type; its axis is often parallel to that before it, or meets it, or
/// nearly so.
Dh delicateJoint(RandomValues& random)
{
   static constexpr ZqReal small[] = {0.0, 1e-15, 1e-12, 1e-9, 1e-9, 1e-7, 1e-5, 1e-3};
   const auto tiny = [&] { return small[random.index(0, 7)] * random.real(); };
   Dh joint = zqTest::randomJoint(random, Dh::Rotational, random.index(0, 4));
   if (random.index(0, 1) == 0)
      joint.setDhAlpha(random.index(0, 1) * zqTest::pi + tiny());
   if (random.index(0, 2) == 0)
      joint.setDhA(tiny());
   if (random.index(0, 2) == 0)
      joint.setPrecursor({random.vector() * small[random.index(0, 7)] * 1e3,
                          ZqOrientation::exponential(random.vector() * tiny())});
   return joint;
}

/// The new position of each joint, by the label of its link, for its old one: by conversions of the scene
/// with all joints at 0 and at 1.
class Positions
{
public:
   Positions(Kind kind, const ZqStatedSystem& source, ZqU32 index) : m_source(source), m_index(index)
   {
      for (ZqU32 k = 0; k < 2; ++k)
      {
         ZqManipulatorSystemState state = source.state();
         for (ZqReal& q : state.positionStates()[index].jointPositions())
            q = k;
         ZqStatedSystem start = source;
         start.setState(state);
         EXPECT_TRUE(convert(kind, start, index, m_results[k]));
      }
   }
   const ZqIndividualManipulator& result() const { return *m_results[0].manipulatorByIndex(m_index); }
   const ZqStatedSystem& scene() const { return m_results[0]; }
   ZqReal sign(ZqU32 i) const { return std::round(at(1, i) - at(0, i)); }
   ZqReal shift(ZqU32 i) const { return at(0, i); }
   /// The same with rates, for which zeros do not count.
   std::vector<ZqReal> converted(const std::vector<ZqReal>& values, bool areRates) const
   {
      std::vector<ZqReal> result(this->result().jointDof());
      for (ZqU32 i = 0; i < values.size(); ++i)
         result[place(i)] = sign(i) * values[i] + (areRates ? 0.0 : shift(i));
      return result;
   }

private:
   ZqU32 place(ZqU32 i) const
   {
      const auto& old = *m_source.manipulatorByIndex(m_index);
      return result().linkIndexByIdentifier(old.linkByIndex(i)->linkLabel());
   }
   ZqReal at(ZqU32 k, ZqU32 i) const
   {
      return m_results[k].state().positionStates()[m_index].jointPositions()[place(i)];
   }

   const ZqStatedSystem& m_source;
   ZqU32 m_index;
   ZqStatedSystem m_results[2];
};

ZqReal distance(const Transform& a, const Transform& b, ZqReal size)
{
   return std::max({(a.translation() - b.translation()).mag(),
                    (a.orientation().xAxis() - b.orientation().xAxis()).mag() * size,
                    (a.orientation().yAxis() - b.orientation().yAxis()).mag() * size});
}

/// A frame of a link that is stated in its primary frame, or that frame itself.
Transform frameOf(const ZqManipulatorLink& link, ZqManipulatorActivePositionState& state)
{
   Transform named;
   link.lookupNamedFrame("flange", named);
   return link.primaryFrameInSystem(state) * named;
}

RandomScene delicateScene(ZqU32 seed, bool mayslide)
{
   RandomValues random(seed);
   const ZqU32 links = 1 + seed % 30;
   const bool isChain = seed % 3 == 0;
   RandomScene scene(seed, {isChain ? zqTest::chain(links) : zqTest::randomTree(random, links),
                            random.index(0, 1) == 0});
   scene.system.editManipulator(
      scene.index,
      [&](ZqIndividualManipulator& manipulator)
      {
         for (ZqU32 i = 0; i < manipulator.jointDof(); ++i)
         {
            ZqManipulatorLink& link = *manipulator.linkByIndex(i);
            if (!mayslide || random.index(0, 1) == 0)
               link.setLinkKinematics(delicateJoint(random));
            ZqJointActuator drive = link.jointActuator();
            drive.setLowerLimit(random.real(-3.0, -1.0));
            drive.setUpperLimit(random.real(1.0, 3.0));
            link.setJointActuator(drive);
            link.addNamedFrame("flange", zqTest::randomFrame(random));
         }
         manipulator.addNamedFrame("flange", zqTest::randomFrame(random));
      });
   return scene;
}

/// Frames at 100 states, within 1e-12 of the sum of all lengths; limits; accelerations, within 1e-10 of the
/// greatest.
void expectSameMotion(RandomScene& scene, const Positions& positions, bool withAccelerations)
{
   const ZqIndividualManipulator& old = scene.manipulator();
   const ZqIndividualManipulator& result = positions.result();
   ZqReal size = 0.0;
   for (const ZqManipulatorLink* link : old.linkPointerVector())
      size += link->linkKinematicsContainer().calculateTransform(0.0).translation().mag() +
              link->primaryFrame().translation().mag();
   ZqReal greatest = 0.0;
   for (int k = 0; k < 100; ++k)
   {
      ZqPositionState position = scene.randomPosition(scene.jointDof());
      ZqManipulatorActivePositionState before;
      before.setPositionState(position);
      position.setJointPositions(positions.converted(position.jointPositions().values(), false));
      ZqManipulatorActivePositionState after;
      after.setPositionState(position);
      for (const auto& [label, link] : old.linkPointerMap())
         greatest = std::max(greatest, distance(frameOf(*link, before),
                                                frameOf(*result.linkByIdentifier(label), after), size));
   }
   EXPECT_LE(greatest, 1e-12 * size);

   for (ZqU32 i = 0; i < old.jointDof(); ++i)
   {
      const ZqManipulatorLink& link = *old.linkByIndex(i);
      ZqReal limits[] = {positions.sign(i) * link.jointActuator().lowerLimit() + positions.shift(i),
                         positions.sign(i) * link.jointActuator().upperLimit() + positions.shift(i)};
      const auto& drive = result.linkByIdentifier(link.linkLabel())->jointActuator();
      EXPECT_NEAR(drive.lowerLimit(), std::min(limits[0], limits[1]), 1e-14);
      EXPECT_NEAR(drive.upperLimit(), std::max(limits[0], limits[1]), 1e-14);
   }
   if (!withAccelerations)
      return;
   const ZqManipulatorExternalForce none;
   ZqAccelerationState accelerations[2];
   ZqCrbiAccelerationTool().acceleration(scene.system, old, scene.position, scene.velocity,
                                         scene.torque, none, accelerations[0], nullptr, true);
   scene.position.setJointPositions(
      positions.converted(scene.position.jointPositions().values(), false));
   scene.velocity.setJointVelocities(
      positions.converted(scene.velocity.jointVelocities().values(), true));
   scene.torque.setJointTorques(positions.converted(scene.torque.jointTorques().values(), true));
   ZqCrbiAccelerationTool().acceleration(positions.scene(), result, scene.position, scene.velocity,
                                         scene.torque, none, accelerations[1], nullptr, true);
   const auto expected =
      positions.converted(accelerations[0].jointAccelerations().values(), true);
   ZqReal scale = 1.0;
   for (const ZqReal a : expected)
      scale = std::max(scale, std::abs(a));
   for (ZqU32 i = 0; i < expected.size(); ++i)
      EXPECT_NEAR(accelerations[1].jointAccelerations()[i], expected[i], 1e-10 * scale) << i;
   for (ZqU32 k = 0; k < 6; ++k)
      EXPECT_NEAR(accelerations[1].generalAcceleration()[k],
                  accelerations[0].generalAcceleration()[k], 1e-10 * scale);
}

TEST(KinematicsConversion, KeepsFramesLimitsAndAccelerationsOfAnyTree)
{
   ZqU32 plain = 0;
   ZqU32 inChains = 0;
   for (ZqU32 seed = 0; seed < 90; ++seed)
      for (const Kind kind : kinds)
      {
         SCOPED_TRACE(testing::Message() << "seed " << seed << " kind " << kind);
         RandomScene scene = delicateScene(seed, kind != Craig);
         const ZqStatedSystem source(scene.system, ZqFoundCommon::CopyAll);
         const Positions positions(kind, scene.system, scene.index);
         ASSERT_EQ(scene.system, source);
         expectSameMotion(scene, positions, kind != Sag);
         for (const ZqManipulatorLink* link : positions.result().linkPointerVector())
         {
            const auto* joint =
               static_cast<const Dh*>(link->linkKinematicsContainer().topElement());
            if (kind == Craig)
               EXPECT_TRUE(joint->dhType() == Dh::Craig || joint->dhType() == Dh::GeneralCraig);
            if (kind == Precursor)
               EXPECT_TRUE(joint->dhA() == 0.0 && joint->dhD() == 0.0 && joint->dhAlpha() == 0.0);
            if (kind == IdentityFrames)
               EXPECT_EQ(link->primaryFrame(), Transform());
            if (kind == Craig && seed % 3 == 0 && link->linkIndex() > 0)
            {
               ++inChains;
               plain += joint->dhType() == Dh::Craig ? 1 : 0;
            }
         }
      }
   // Without the axes that are nearly parallel.
   EXPECT_GT(plain, inChains * 3 / 4);
}
} // namespace
