#include "support/allocationCount.h"
#include "support/logCapture.h"
#include "support/randomManipulators.h"
#include "zqManipulator/kinematics/ZqStatedSystem.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace
{
using zqTest::infinity;
using zqTest::LogCapture;
using zqTest::nan;
using Results = ZqStatedSystem::PropagationResults;

/// Manipulators of random links without limits, in random motion and acceleration.
struct Scene
{
   explicit Scene(ZqStatedSystem& stated, std::initializer_list<ZqU32> links) : system(stated)
   {
      zqTest::RandomValues random(51);
      active.setNumManipulators(static_cast<ZqU32>(links.size()));
      for (const ZqU32 count : links)
      {
         ZqIndividualManipulator manipulator = zqTest::randomManipulator(random, count);
         manipulator.setIsFixedBase(count % 2 == 0);
         ZqVelocityState velocity;
         velocity.setJointVelocities(random.array(count, 1));
         velocity.setGeneralVelocity(zqTest::randomMotion(random));
         for (ZqU32 i = 0; i < count; ++i)
            manipulator.linkByIndex(i)->setJointActuator({});
         ZqAccelerationState acceleration;
         acceleration.setJointAccelerations(random.array(count, 1));
         acceleration.setGeneralAcceleration(zqTest::randomMotion(random));
         const ZqU32 index = system.numberOfManipulators();
         system.addManipulator(manipulator, zqTest::randomPosition(random, manipulator), velocity);
         active.manipulatorActiveStateVector()[index].setAccelerationState(acceleration);
      }
      state = system.state();
   }
   const ZqAccelerationState& acceleration(ZqU32 i)
   {
      return active.manipulatorActiveStateVector()[i].accelerationState();
   }

   ZqStatedSystem& system;
   ZqManipulatorSystemState state;
   ZqSystemActiveState active;
   Results results;
};

TEST(Propagation, OfAJointEndsAtTheLimitAhead)
{
   const struct
   {
      ZqReal q, v, a, dt;
      ZqReal newQ, newV;
      bool hit;
   } cases[]{{1.0, 0.5, 2.0, 0.5, 1.75, 1.5, false},     {1.0, 0.5, 10.0, 0.5, 2.0, 3.0, true},
             {-1.0, -0.5, -10.0, 0.5, -2.0, -3.0, true}, {1.0, 2.0, 0.0, 0.5, 2.0, 2.0, false},
             {2.5, -0.5, 0.0, 0.5, 2.25, -0.5, false},   {-2.5, 0.5, 0.0, 0.5, -2.25, 0.5, false},
             {2.5, 0.0, 0.0, 0.5, 2.5, 0.0, false},      {2.5, 0.5, 0.0, 0.0, 2.0, 0.5, true},
             {1.0, 0.5, 2.0, -0.5, 1.25, -0.5, false},   {2.5, 0.25, 0.0, -0.5, 2.0, 0.25, true},
             {1.0, 0.5, 1e308, 10.0, 2.0, 3.0, true}};
   ZqIndividualManipulator arm =
      zqTest::makeManipulator(zqTest::chain(2), [](ZqU32) { return ZqManipulatorLink(); });
   ZqMechanicalActuatorComponent drive;
   drive.setLowerLimit(-2.0);
   drive.setUpperLimit(2.0);
   drive.setMaxOutputRate(3.0);
   ZqJointActuator actuator;
   actuator.setMechanicalComponent(drive);
   arm.linkByIndex(1)->setJointActuator(actuator);
   ZqStatedSystem system;
   system.setFromManipulator(arm);
   for (const auto& c : cases)
   {
      SCOPED_TRACE(testing::Message() << c.q << ' ' << c.v << ' ' << c.a << ' ' << c.dt);
      ZqManipulatorSystemState state = system.state();
      ZqPositionState& position = state.positionStates()[0];
      ZqVelocityState& velocity = state.velocityStates()[0];
      position.setJointPositions({0.25, c.q});
      velocity.setJointVelocities(ZqXmlVectorBasicType<ZqReal>{1e9, c.v});
      ZqAccelerationState acceleration;
      acceleration.setJointAccelerations(ZqXmlVectorBasicType<ZqReal>{0.0, c.a, 7.0});
      const ZqManipulatorSystemState start = state;

      arm.propagateVelocityState(acceleration, c.dt, velocity);
      EXPECT_EQ(velocity.jointVelocities().values(), (std::vector{1e9, c.newV}));
      ZqPropagationResultData result;
      arm.propagateState(velocity, c.dt, position, result);
      EXPECT_EQ(position.jointPositions().values(), (std::vector{0.25 + 1e9 * c.dt, c.newQ}));
      EXPECT_EQ(result.hitJointLimit(), c.hit);
      EXPECT_EQ(result.linkIndexAtJointLimit(), c.hit ? 1U : 0U);

      // In a step of the system, a manipulator that hits a limit goes back, but for its velocity.
      ZqManipulatorSystemState stepped = start;
      ZqSystemActiveState active;
      active.setNumManipulators(1);
      active.manipulatorActiveStateVector()[0].setAccelerationState(acceleration);
      Results results;
      system.propagateTo(c.dt, stepped, results, active);
      EXPECT_TRUE(stepped.positionStates()[0] ==
                  (c.hit ? start.positionStates()[0] : state.positionStates()[0]));
      EXPECT_TRUE(stepped.velocityStates()[0] == state.velocityStates()[0]);
      EXPECT_TRUE(results.size() == 1 && results[0] == result);
      EXPECT_EQ(stepped.time(), c.dt);
   }
}

TEST(Propagation, IsSemiImplicitEuler)
{
   constexpr ZqReal dt = 0.01;
   ZqStatedSystem system;
   Scene scene(system, {4, 3});
   const ZqManipulatorSystemState start = scene.state;
   system.propagateTo(dt, scene.state, scene.results, scene.active);
   for (ZqU32 i = 0; i < 2; ++i)
   {
      const ZqIndividualManipulator& manipulator = *system.manipulatorByIndex(i);
      const ZqPositionState& q0 = start.positionStates()[i];
      const ZqVelocityState& v0 = start.velocityStates()[i];
      const ZqPositionState& q = scene.state.positionStates()[i];
      const ZqVelocityState& v = scene.state.velocityStates()[i];
      const ZqAccelerationState& a = scene.acceleration(i);
      for (ZqU32 j = 0; j < manipulator.jointDof(); ++j)
      {
         EXPECT_EQ(v.jointVelocities()[j],
                   dt * a.jointAccelerations()[j] + v0.jointVelocities()[j]);
         EXPECT_EQ(q.jointPositions()[j], dt * v.jointVelocities()[j] + q0.jointPositions()[j]);
      }
      if (manipulator.isFixedBase())
      {
         EXPECT_TRUE(q.coordSysXForm() == q0.coordSysXForm());
         EXPECT_TRUE(v.generalVelocity() == ZqGeneralMotion());
         continue;
      }
      EXPECT_TRUE(v.generalVelocity() == v0.generalVelocity() + a.generalAcceleration() * dt);
      // The motion of the base in the system, wherever the manipulator is placed.
      const auto& X_SM = manipulator.coordSysXForm();
      ZqCoordinateSystemTransformation expected = X_SM * q0.coordSysXForm();
      expected.integrateReferenceFrameVelocity(v.generalVelocity(), dt);
      EXPECT_TRUE((X_SM * q.coordSysXForm()).approxEq(expected, 20 * zqTest::epsilon));
   }

   // All forms take the same step; the one without accelerations goes on with the rates there are.
   system.propagateSelfTo(dt, &scene.active);
   EXPECT_TRUE(system.state() == scene.state);
   system.setState(start);
   system.propagateSelfTo(dt, scene.results, &scene.active);
   EXPECT_TRUE(system.state() == scene.state);
   system.setState(start);
   system.propagateSelfTo(dt, scene.results, &scene.active, 0, nan, 5, nan);
   EXPECT_TRUE(system.state() == scene.state);
   system.setState(start);
   ZqManipulatorSystemState coasting = start;
   system.system().propagateStateBy(coasting, dt);
   system.propagateSelfTo(dt, nullptr);
   EXPECT_TRUE(system.state().positionStates() == coasting.positionStates());
   EXPECT_EQ(system.state().time(), coasting.time());
}

TEST(Propagation, TakesWhatFitsAndRefusesStepsThatAreNotFinite)
{
   ZqStatedSystem system;
   Scene scene(system, {4, 3});
   const ZqManipulatorSystemState start = scene.state;
   LogCapture log;
   for (const auto& [from, to] : {std::pair{0.0, nan},
                                  {nan, 1.0},
                                  {0.0, infinity},
                                  {-infinity, 1.0},
                                  {infinity, infinity},
                                  {-1e308, 1e308}})
   {
      log.clear();
      scene.state = start;
      scene.state.setTime(from);
      system.propagateTo(to, scene.state, scene.results, scene.active, 2, 1.0, 1, 0.0);
      EXPECT_EQ(log.messages().at(0).type, Zq::Rejected);
      EXPECT_TRUE(log.contains("propagateTo(): there is no finite step from")) << log.text();
      EXPECT_TRUE(scene.state.positionStates() == start.positionStates());
      EXPECT_TRUE(scene.state.velocityStates() == start.velocityStates());
      EXPECT_EQ(std::isnan(scene.state.time()), std::isnan(from));
   }
   scene.state = start;
   log.clear();
   auto& position = scene.state.positionStates()[1];
   auto& velocity = scene.state.velocityStates()[1];
   system.system().propagateStateBy(scene.state, infinity);
   system.propagateSingleStateBy(1, velocity, nan, position);
   system.propagateSingleVelocityStateBy(1, scene.acceleration(1), -infinity, velocity);
   EXPECT_EQ(log.size(), 3U);
   system.propagateSingleStateBy(2, velocity, 1.0, position, scene.results[0]);
   system.propagateSingleStateBy(2, velocity, 1.0, position);
   system.propagateSingleVelocityStateBy(2, scene.acceleration(1), 1.0, velocity);
   EXPECT_EQ(log.size(), 3U);
   EXPECT_TRUE(scene.state == start);

   // Only manipulators and joints of which all is there move.
   scene.state.velocityStates().resize(1);
   scene.state.velocityStates()[0].jointVelocities().resize(2);
   scene.state.positionStates()[0].jointPositions().resize(3);
   system.propagateTo(0.5, scene.state, scene.results, scene.active);
   EXPECT_TRUE(scene.results.size() == 1 &&
               scene.active.manipulatorActiveStateVector().size() == 1);
   EXPECT_TRUE(scene.state.positionStates()[1] == start.positionStates()[1]);
   for (const ZqU32 j : {1U, 2U})
      EXPECT_EQ(scene.state.positionStates()[0].jointPositions()[j] ==
                   start.positionStates()[0].jointPositions()[j],
                j == 2);
   EXPECT_EQ(log.size(), 3U);
}

/// Finds collisions by a script: for each search the manipulators that collide.
class CollidingSystem : public ZqStatedSystem
{
public:
   std::vector<std::vector<ZqU32>> script;
   mutable std::size_t searches = 0;

protected:
   bool checkForCollisions(ZqSystemActiveState& active, const ZqReal& dt, const ZqU32& fidelity,
                           const ZqReal& tolerance, Results& results) const override
   {
      EXPECT_FALSE(ZqStatedSystem::checkForCollisions(active, dt, fidelity, tolerance, results));
      EXPECT_TRUE(fidelity == 4 && tolerance == 0.25);
      EXPECT_EQ(results[0].closestDistance(), 1e300);
      if (searches++ >= script.size())
         return false;
      const auto& colliding = script[searches - 1];
      for (const ZqU32 i : colliding)
      {
         results[i].setCollisionOccurred(true);
         results[i].setCollidedLink(10 + i);
      }
      results[2].setClosestDistance(static_cast<ZqReal>(searches));
      return !colliding.empty();
   }
};

TEST(Propagation, TakesCollidingManipulatorsBack)
{
   using List = std::vector<ZqU32>;
   const struct
   {
      ZqU32 mode;
      std::vector<List> script;
      std::size_t searches;
      List flagged, returned, activeAtStart;
      bool wasFlagged = false; ///< manipulator 1, by an earlier step
   } cases[]{
      {0, {{1}}, 0, {}, {}, {}},
      {3, {{1}}, 0, {}, {}, {}},
      {1, {}, 1, {}, {}, {}},
      {1, {{1}}, 1, {0, 1, 2}, {0, 1, 2}, {}},
      {2, {}, 1, {}, {}, {}},
      {2, {}, 1, {1}, {1}, {}, true},
      {2, {{1}}, 2, {1}, {1}, {1}},
      {2, {{0}, {2}}, 3, {0, 2}, {0, 2}, {0, 2}},
      // Still colliding after as many passes as manipulators, or all at once: only the active
      // state goes back.
      {2, {{0}, {2}, {0}}, 3, {0, 2}, {}, {0, 2}},
      {2, {{0, 1, 2}}, 1, {0, 1, 2}, {}, {0, 1, 2}}};
   for (const auto& c : cases)
   {
      SCOPED_TRACE(&c - cases);
      CollidingSystem system;
      Scene scene(system, {2, 3, 1});
      const ZqManipulatorSystemState start = scene.state;
      ZqManipulatorSystemState free = start;
      system.propagateTo(0.125, free, scene.results, scene.active);
      scene.results[1].setCollisionOccurred(c.wasFlagged);
      system.script = c.script;
      system.propagateTo(0.125, scene.state, scene.results, scene.active, c.mode, 1.0, 4, 0.25);
      EXPECT_EQ(system.searches, c.searches);
      const auto contains = [](const List& list, ZqU32 i)
      { return std::find(list.begin(), list.end(), i) != list.end(); };
      for (ZqU32 i = 0; i < 3; ++i)
      {
         const auto expected = [&](const List& atStart)
         { return contains(atStart, i) ? start.positionStates()[i] : free.positionStates()[i]; };
         EXPECT_TRUE(scene.state.positionStates()[i] == expected(c.returned)) << i;
         if (c.searches > 0)
            EXPECT_TRUE(scene.active.manipulatorActiveStateVector()[i].positionState() ==
                        expected(c.activeAtStart))
               << i;
         EXPECT_EQ(scene.results[i].collisionOccurred(), contains(c.flagged, i)) << i;
      }
      EXPECT_TRUE(scene.state.velocityStates() == free.velocityStates());
      EXPECT_EQ(scene.state.time(), 0.125);
      if (!c.script.empty() && c.searches > 0)
         EXPECT_EQ(scene.results[c.script[0][0]].collidedLink(), 10 + c.script[0][0]);
      if (c.searches > 0)
         EXPECT_EQ(scene.results[2].closestDistance(),
                   c.searches <= c.script.size() ? static_cast<ZqReal>(c.searches) : 1e300);
   }
}

TEST(Propagation, AllocatesNothingAndCarriesWhatIsAttached)
{
   ZqStatedSystem system;
   Scene scene(system, {3, 5, 4});
   ZqManipulatorAttachmentMap map;
   map.attachManipulator(1, 0, "label1", ZqVector(0.1, 0.2, 0.3), "a");
   map.attachManipulator(2, 1, "label4", ZqVector(0.4, 0.5, 0.6), "b");
   system.setManipulatorAttachmentMap(map);
   for (ZqU32 step = 1; step < 20; ++step)
   {
      const zqTest::AllocationCount allocations;
      system.propagateTo(0.01 * step, scene.state, scene.results, scene.active, 1 + step % 2, 0.0,
                         1, 0.0);
      if (step > 4)
         EXPECT_EQ(allocations.count(), 0U) << step;

      // Both stand on their links in the new state.
      auto& states = scene.active.manipulatorActiveStateVector();
      for (const auto& [index, base, label] : {std::tuple{1U, 0U, "label1"}, {2U, 1U, "label4"}})
      {
         states[base].setPositionState(scene.state.positionStates()[base]);
         const auto& X_SM = system.manipulatorByIndex(index)->coordSysXForm();
         const auto expected =
            system.manipulatorByIndex(base)->linkByIdentifier(label)->primaryFrameInSystem(
               states[base].activePositionState()) *
            map.findNode(index)->offset();
         EXPECT_TRUE(
            (X_SM * scene.state.positionStates()[index].coordSysXForm()).approxEq(expected, 1e-13))
            << index;
      }
   }
   EXPECT_FALSE(scene.state.velocityStates()[2].generalVelocity() == ZqGeneralMotion());
}
} // namespace
