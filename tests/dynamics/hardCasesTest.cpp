#include "support/randomScene.h"
#include "support/recursiveDynamics.h"
#include "zqManipulator/dynamics/tools/ZqArbiAccelerationTool.h"
#include "zqManipulator/dynamics/tools/ZqCrbiAccelerationTool.h"

#include <gtest/gtest.h>

// Both solvers where bodies are of very different masses, or of none.

namespace
{
using Numbers = std::vector<ZqReal>;
using Parents = zqTest::Parents;
using zqTest::onBase;
using zqTest::RandomScene;
using zqTest::RandomValues;
using zqTest::RecursiveDynamics;

/// The motion of a scene, with no acceleration but gravity.
zqTest::MotionInput inputOf(const RandomScene& scene)
{
   zqTest::MotionInput input{scene.manipulator(), nullptr,     scene.position, scene.velocity, {},
                             scene.external,      scene.torque};
   input.acceleration = ZqAccelerationState::zeroCompatibleState(scene.velocity);
   input.acceleration.setGeneralAcceleration({scene.gravity, ZqVector()});
   return input;
}

/// Joints first, base last, in its axes.
Numbers accelerations(const RandomScene& scene, const ZqAccelerationState& state)
{
   Numbers result(state.jointAccelerations().values());
   const ZqGeneralMotion ofBase = scene.baseAxes().inverse() * state.generalAcceleration();
   for (std::size_t k = 0; k < 6; ++k)
      result.push_back(ofBase[k]);
   return result;
}
Numbers byCrbi(const RandomScene& scene)
{
   ZqAccelerationState result;
   ZqManipulatorActiveState active = scene.activeState();
   ZqCrbiAccelerationTool().acceleration(scene.system, scene.manipulator(), scene.torque,
                                         scene.external, result, active, true);
   return accelerations(scene, result);
}
Numbers byArbi(const RandomScene& scene)
{
   ZqAccelerationState result;
   ZqManipulatorActiveState active = scene.activeState();
   ZqArbiAccelerationTool().acceleration(scene.system, scene.manipulator(), {}, {}, scene.torque,
                                         scene.external, result, active);
   return accelerations(scene, result);
}

ZqReal norm(const Numbers& x, const Numbers& scale)
{
   ZqReal sum = 0.0;
   for (std::size_t i = 0; i < x.size(); ++i)
      sum = std::hypot(sum, x[i] * scale[i]);
   return sum;
}

/// The body with another density.
ZqRigidBodyMassProperties scaled(const ZqRigidBodyMassProperties& body, ZqReal k)
{
   const ZqSecondMoment& I = body.secondMoment();
   return {body.mass() * k, body.firstMoment() * k,
           ZqSecondMoment(I.xx() * k, I.yy() * k, I.zz() * k, I.xy() * k, I.xz() * k, I.yz() * k)};
}

/// A tree of any kind: with branches of one link, too.
Parents parentsOfKind(ZqU32 kind, RandomValues& random)
{
   const ZqU32 n = random.index(1, 14);
   if (kind == 0)
      return zqTest::chain(n);
   if (kind == 1)
      return zqTest::randomTree(random, n);
   Parents parents(n, onBase); // all on the base
   for (ZqU32 i = 1; kind == 3 && i < n; ++i)
      parents[i] = i - (i % 2 == 0 ? 2 : 1); // a chain with a link on each of its links
   return parents;
}

/// A solution is as good as rounding of the mass matrix alone lets it be, in the metric of its diagonal.
/// Elimination adds the rounding of a few more numbers a row, and so do the forces. What has no inertia does not
/// accelerate.
void expectSolved(Numbers x, const RecursiveDynamics::Solution& expected)
{
   constexpr ZqReal roundings = 30.0;
   ASSERT_EQ(x.size(), expected.accelerations.size());
   for (std::size_t i = 0; i < x.size(); ++i)
   {
      EXPECT_TRUE(expected.scale[i] > 0.0 || x[i] == 0.0) << i;
      x[i] -= expected.accelerations[i];
   }
   EXPECT_LE(norm(x, expected.scale), roundings * zqTest::epsilon * expected.condition *
                                         norm(expected.accelerations, expected.scale));
}

TEST(HardCases, SolutionsAreAsGoodAsTheMassMatrixIsConditioned)
{
   for (ZqU32 seed = 0; seed < 160; ++seed)
   {
      SCOPED_TRACE(seed);
      RandomValues random(seed);
      const zqTest::SceneKind kind{parentsOfKind(seed % 4, random), seed / 4 % 2 == 0, false,
                                   false};
      ZqIndividualManipulator model = RandomScene(seed, kind).manipulator();
      for (ZqU32 i = 0; i < kind.parents.size(); ++i)
      {
         // Masses up to 1e9 times each other.
         ZqManipulatorLink& link = *model.linkByIndex(i);
         const ZqReal ends[] = {-4.5, 4.5, random.real(-4.5, 4.5)};
         link.setMassProperties(
            scaled(link.massProperties(), std::pow(10.0, ends[random.index(0, 2)])));
         if (seed / 8 % 2 == 0)
            link.setJointActuator({});
      }
      const RandomScene scene(seed, model);
      const zqTest::MotionInput input = inputOf(scene);
      const RecursiveDynamics::Solution expected = RecursiveDynamics(input).solve();
      expectSolved(byCrbi(scene), expected);
      expectSolved(byArbi(scene), expected);
   }
}

TEST(HardCases, WhatHasNoInertiaDoesNotAccelerate)
{
   for (ZqU32 seed = 0; seed < 80; ++seed)
   {
      SCOPED_TRACE(seed);
      RandomValues random(seed);
      const zqTest::SceneKind kind{parentsOfKind(seed % 4, random), seed / 4 % 2 == 0, false,
                                   false};
      ZqIndividualManipulator model = RandomScene(seed, kind).manipulator();
      const bool isAll = seed % 9 == 8; // or only the tips
      for (ZqU32 i = 0; i < kind.parents.size(); ++i)
      {
         ZqManipulatorLink& link = *model.linkByIndex(i);
         if (!isAll && link.childLinks().size() != 0)
            continue;
         ZqDenavitHartenberg joint;
         joint.setDhType(ZqDenavitHartenberg::GeneralCraig);
         joint.setPrecursor(zqTest::randomFrame(random));
         const bool isPoint = !isAll && random.index(0, 1) == 0;
         joint.setJointType(isPoint ? 0 : random.index(0, 1));
         link.setLinkKinematics(joint);
         link.setJointActuator({});
         ZqRigidBodyMassProperties onAxis = ZqRigidBodyMassProperties::pointMass(2.0);
         onAxis.transformBy(ZqVector::zVector(0.3));
         link.setMassProperties(isPoint ? onAxis : ZqRigidBodyMassProperties());
      }
      const RandomScene scene(seed, model);
      const zqTest::MotionInput input = inputOf(scene);
      const RecursiveDynamics::Solution expected = RecursiveDynamics(input).solve();
      expectSolved(byCrbi(scene), expected);
      expectSolved(byArbi(scene), expected);
   }
}

/// Two joints about or along one axis, with nothing between them: only the sum of their accelerations is given.
TEST(HardCases, OfTwoJointsOnOneAxisTheInnerOneRests)
{
   for (ZqU32 seed = 0; seed < 40; ++seed)
   {
      SCOPED_TRACE(seed);
      ZqIndividualManipulator model =
         RandomScene(seed, {zqTest::chain(5), seed % 2 == 0, false, false}).manipulator();
      ZqDenavitHartenberg joint;
      joint.setDhType(ZqDenavitHartenberg::Craig);
      joint.setJointType(seed / 2 % 2);
      for (const ZqU32 i : {2U, 3U})
      {
         model.linkByIndex(i)->setLinkKinematics(joint);
         model.linkByIndex(i)->setJointActuator({});
      }
      model.linkByIndex(2)->setMassProperties({});
      RandomScene scene(seed, model);
      scene.external[2] = {};
      const zqTest::MotionInput input = inputOf(scene);
      Numbers expected = RecursiveDynamics(input).solve().accelerations;
      expected[3] += std::exchange(expected[2], 0.0);
      const Numbers x = byCrbi(scene);
      EXPECT_EQ(x[2], 0.0);
      // What is left of the inner pivot may be but rounding, and then the solver does not drop it.
      Numbers y = byArbi(scene);
      EXPECT_TRUE(std::isfinite(y[2]));
      y[3] += y[2];
      y[2] = 0.0;
      for (std::size_t i = 0; i < x.size(); ++i)
      {
         EXPECT_NEAR(x[i], expected[i], 1e-9 * norm(expected, Numbers(x.size(), 1.0))) << i;
         EXPECT_NEAR(y[i], expected[i], 1e-9 * norm(expected, Numbers(x.size(), 1.0))) << i;
      }
   }
}
} // namespace
