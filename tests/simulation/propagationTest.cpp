#include "support/allocationCount.h"
#include "support/logCapture.h"
#include "support/randomManipulators.h"
#include "support/xmlSamples.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/simulation/step/ZqSimulation.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

namespace
{
using zqTest::infinity;
using zqTest::LogCapture;
using zqTest::nan;
using Lists = std::vector<std::vector<ZqU32>>;
using Reals = std::vector<ZqReal>;

/// Finds collisions by a script: for each search the manipulators that collide.
class ScriptedSystem : public ZqStatedSystem
{
public:
   Lists script;
   mutable std::size_t searches = 0;

protected:
   bool checkForCollisions(ZqSystemActiveState& active, const ZqReal& dt, const ZqU32& fidelity,
                           const ZqReal& tolerance, PropagationResults& results) const override
   {
      EXPECT_FALSE(ZqStatedSystem::checkForCollisions(active, dt, fidelity, tolerance, results));
      EXPECT_TRUE(fidelity == 4 && tolerance == 0.25 && results[2].closestDistance() == 1e300);
      if (searches++ >= script.size())
         return false;
      for (const ZqU32 i : script[searches - 1])
      {
         results[i].setCollisionOccurred(true);
         results[i].setCollidedLink(10 + i);
      }
      results[2].setClosestDistance(static_cast<ZqReal>(searches));
      return true;
   }
};

/// Manipulators of random links in random motion and acceleration; an even number of joints makes one
/// fixed.
struct MovingScene
{
   explicit MovingScene(std::initializer_list<ZqU32> joints)
   {
      zqTest::RandomValues random(51);
      active.setNumManipulators(static_cast<ZqU32>(joints.size()));
      for (const ZqU32 count : joints)
      {
         ZqIndividualManipulator manipulator = zqTest::randomManipulator(random, count);
         manipulator.setIsFixedBase(count % 2 == 0);
         for (ZqU32 i = 0; i < count; ++i)
            manipulator.linkByIndex(i)->setJointActuator({});
         ZqVelocityState velocity;
         velocity.setJointVelocities(random.array(count, 1));
         velocity.setGeneralVelocity(zqTest::randomMotion(random));
         ZqAccelerationState acceleration;
         acceleration.setJointAccelerations(random.array(count, 1));
         acceleration.setGeneralAcceleration(zqTest::randomMotion(random));
         system.addManipulator(manipulator, zqTest::randomPosition(random, manipulator), velocity);
         activeState(system.numberOfManipulators() - 1).setAccelerationState(acceleration);
      }
      state = start = system.state();
   }
   void step(ZqReal time, ZqU32 mode = 0)
   {
      system.propagateTo(time, state, results, active, mode, nan, 4, 0.25);
   }
   ZqManipulatorActiveState& activeState(ZqU32 i)
   {
      return active.manipulatorActiveStateVector()[i];
   }
   const ZqPositionState& position(ZqU32 i) const { return state.positionStates()[i]; }
   bool atStart(ZqU32 i) const { return position(i) == start.positionStates()[i]; }

   ScriptedSystem system;
   ZqManipulatorSystemState start, state;
   ZqSystemActiveState active;
   ZqStatedSystem::PropagationResults results;
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
   MovingScene scene{2};
   ZqMechanicalActuatorComponent drive;
   drive.setLowerLimit(-2.0);
   drive.setUpperLimit(2.0);
   drive.setMaxOutputRate(3.0);
   ZqJointActuator actuator;
   actuator.setMechanicalComponent(drive);
   ZqIndividualManipulator arm = *scene.system.manipulatorByIndex(0);
   arm.linkByIndex(1)->setJointActuator(actuator);
   scene.system.setFromManipulator(arm);
   for (const auto& c : cases)
   {
      SCOPED_TRACE(&c - cases);
      ZqPositionState position;
      position.setJointPositions({0.25, c.q});
      ZqVelocityState velocity;
      velocity.setJointVelocities(ZqXmlVectorBasicType<ZqReal>{1e9, c.v});
      ZqAccelerationState acceleration;
      acceleration.setJointAccelerations(ZqXmlVectorBasicType<ZqReal>{0.0, c.a, 7.0});
      scene.state.setTime(0.0);
      scene.state.positionStates()[0] = scene.start.positionStates()[0] = position;
      scene.state.velocityStates()[0] = velocity;
      scene.activeState(0).setAccelerationState(acceleration);

      arm.propagateVelocityState(acceleration, c.dt, velocity);
      EXPECT_EQ(velocity.jointVelocities().values(), (Reals{1e9, c.newV}));
      ZqPropagationResultData result;
      arm.propagateState(velocity, c.dt, position, result);
      EXPECT_EQ(position.jointPositions().values(), (Reals{0.25 + 1e9 * c.dt, c.newQ}));
      EXPECT_EQ(result.hitJointLimit(), c.hit);
      EXPECT_EQ(result.linkIndexAtJointLimit(), c.hit ? 1U : 0U);

      // In a step of the system, a manipulator that hits a limit goes back, but for its velocity.
      scene.results.clear();
      scene.step(c.dt);
      EXPECT_TRUE(c.hit ? scene.atStart(0) : scene.position(0) == position);
      EXPECT_TRUE(scene.state.velocityStates()[0] == velocity && scene.results[0] == result);
   }
}

TEST(Propagation, MovesBasesInTheSystem)
{
   constexpr ZqReal dt = 0.01;
   MovingScene scene{4, 3};
   scene.step(dt);
   for (ZqU32 i = 0; i < 2; ++i)
   {
      const ZqPositionState& q0 = scene.start.positionStates()[i];
      const ZqVelocityState& v0 = scene.start.velocityStates()[i];
      const ZqVelocityState& v = scene.state.velocityStates()[i];
      const ZqAccelerationState& a = scene.activeState(i).accelerationState();
      // The base moves in the system, wherever the manipulator is placed.
      const ZqGeneralMotion V = v0.generalVelocity() + a.generalAcceleration() * dt;
      EXPECT_TRUE(v.generalVelocity() == (i == 0 ? ZqGeneralMotion() : V));
      const auto& X_SM = scene.system.manipulatorByIndex(i)->coordSysXForm();
      ZqCoordinateSystemTransformation expected = X_SM * q0.coordSysXForm();
      expected.integrateReferenceFrameVelocity(v.generalVelocity(), dt);
      EXPECT_TRUE(
         (X_SM * scene.position(i).coordSysXForm()).approxEq(expected, 20 * zqTest::epsilon));
   }
   // The short forms take the same step; without accelerations the rates go on.
   ZqStatedSystem& system = scene.system;
   system.propagateSelfTo(dt, &scene.active);
   EXPECT_TRUE(system.state() == scene.state);
   system.setState(scene.start);
   system.propagateSelfTo(dt, scene.results, &scene.active);
   EXPECT_TRUE(system.state() == scene.state);
   system.setState(scene.start);
   system.propagateSelfTo(dt, nullptr);
   system.system().propagateStateBy(scene.start, dt);
   EXPECT_TRUE(system.state().positionStates() == scene.start.positionStates());
   EXPECT_EQ(system.state().time(), scene.start.time());
}

TEST(Propagation, TakesWhatFitsAndRefusesStepsThatAreNotFinite)
{
   MovingScene scene{4, 3};
   LogCapture log;
   for (const auto& [from, to] :
        {std::pair{0.0, nan}, {nan, 1.0}, {-infinity, 1.0}, {infinity, infinity}, {-1e308, 1e308}})
   {
      log.clear();
      scene.state.setTime(from);
      scene.step(to, 2);
      EXPECT_TRUE(log.contains("propagateTo(): there is no finite step from")) << log.text();
      EXPECT_TRUE(scene.state.time() == from || std::isnan(from));
      scene.state.setTime(0.0);
      EXPECT_TRUE(scene.state == scene.start && scene.results.size() == 0);
   }
   ZqVelocityState& velocity = scene.state.velocityStates()[1];
   scene.system.system().propagateStateBy(scene.state, infinity);
   for (const auto& [index, dt] : {std::pair{1U, nan}, {1U, -infinity}, {2U, 1.0}})
   {
      scene.system.propagateSingleStateBy(index, velocity, dt, scene.state.positionStates()[1]);
      scene.system.propagateSingleVelocityStateBy(index, {}, dt, velocity);
   }
   EXPECT_EQ(log.size(), 6U);
   EXPECT_TRUE(scene.state == scene.start);

   // Only manipulators and joints of which all is there move.
   scene.state.velocityStates().resize(1);
   scene.state.velocityStates()[0].jointVelocities().resize(2);
   scene.state.positionStates()[0].jointPositions().resize(3);
   scene.step(0.5);
   EXPECT_EQ(scene.results.size(), 1U);
   EXPECT_EQ(scene.active.manipulatorActiveStateVector().size(), 1U);
   const auto& old = scene.start.positionStates()[0].jointPositions();
   EXPECT_TRUE(scene.position(0).jointPositions()[1] != old[1] && scene.atStart(1));
   EXPECT_EQ(scene.position(0).jointPositions()[2], old[2]);
   EXPECT_EQ(log.size(), 6U);
}

TEST(Propagation, TakesCollidingManipulatorsBack)
{
   const struct
   {
      ZqU32 mode;
      Lists script;
      std::size_t searches;
      Lists expected; ///< who is flagged, is at the start, is at the start in the active state
      bool wasFlagged = false; ///< manipulator 1, by an earlier step
   } cases[]{
      {3, {{1}}, 0, {{}, {}, {}}},
      {1, {}, 1, {{}, {}, {}}},
      {1, {{1}}, 1, {{0, 1, 2}, {0, 1, 2}, {}}},
      {2, {}, 1, {{1}, {1}, {}}, true},
      {2, {{0}, {2}}, 3, {{0, 2}, {0, 2}, {0, 2}}},
      // Still colliding after as many passes as manipulators, or all at once: only the active
      // state goes back.
      {2, {{0}, {2}, {0}}, 3, {{0, 2}, {}, {0, 2}}},
      {2, {{0, 1, 2}}, 1, {{0, 1, 2}, {}, {0, 1, 2}}}};
   for (const auto& c : cases)
   {
      SCOPED_TRACE(&c - cases);
      MovingScene scene{2, 3, 1};
      scene.results.resize(3);
      scene.results[1].setCollisionOccurred(c.wasFlagged);
      scene.system.script = c.script;
      scene.step(0.125, c.mode);
      EXPECT_EQ(scene.system.searches, c.searches);
      Lists found(3);
      for (ZqU32 i = 0; i < 3; ++i)
      {
         if (scene.results[i].collisionOccurred())
            found[0].push_back(i);
         if (scene.atStart(i))
            found[1].push_back(i);
         if (scene.activeState(i).positionState() == scene.start.positionStates()[i])
            found[2].push_back(i);
         EXPECT_FALSE(scene.state.velocityStates()[i] == scene.start.velocityStates()[i]);
      }
      EXPECT_EQ(found, c.expected);
      EXPECT_EQ(scene.state.time(), 0.125);
      const bool hitLast = c.searches > 0 && c.searches <= c.script.size();
      EXPECT_EQ(scene.results[2].closestDistance(), hitLast ? ZqReal(c.searches) : 1e300);
      const ZqU32 first = found[0].empty() ? 0 : found[0][0];
      EXPECT_EQ(scene.results[first].collidedLink() == 10 + first,
                c.searches > 0 && !c.script.empty() && c.script[0][0] == first);
   }
   MovingScene scene{2, 3, 1};
   scene.system.script = {{2}};
   EXPECT_TRUE(scene.system.generateCollisionReport(scene.results, 4, 0.25));
   EXPECT_TRUE(scene.results[2].collisionOccurred() && !scene.results[1].collisionOccurred());
   scene.system.addManipulator({});
   EXPECT_FALSE(scene.system.generateCollisionReport(scene.results, 4, 0.25));
   EXPECT_EQ(scene.results.size(), 4U);
}

TEST(Propagation, AllocatesNothingAndCarriesWhatIsAttached)
{
   MovingScene scene{3, 5, 4};
   ZqManipulatorAttachmentMap map;
   const auto attachments = {std::tuple{1U, 0U, "label1"}, {2U, 1U, "label4"}};
   for (const auto& [index, base, label] : attachments)
      map.attachManipulator(index, base, label, ZqVector(0.1, 0.2, 0.3), "");
   scene.system.setManipulatorAttachmentMap(map);
   // Both stand on their links in a state.
   const auto expectCarried = [&](const ZqManipulatorSystemState& state)
   {
      for (const auto& [index, base, label] : attachments)
      {
         ZqManipulatorActivePositionState active;
         active.setPositionState(state.positionStates()[base]);
         const auto* link = scene.system.manipulatorByIndex(base)->linkByIdentifier(label);
         const auto place = link->primaryFrameInSystem(active) * map.findNode(index)->offset();
         const auto& X_SM = scene.system.manipulatorByIndex(index)->coordSysXForm();
         EXPECT_TRUE((X_SM * state.positionStates()[index].coordSysXForm()).approxEq(place, 1e-13));
      }
   };
   std::size_t allocated = 0;
   for (ZqU32 step = 1; step < 20; ++step)
   {
      const zqTest::AllocationCount allocations;
      scene.step(0.01 * step, 1 + step % 2);
      allocated += step > 2 ? allocations.count() : 0;
      expectCarried(scene.state);
   }
   EXPECT_EQ(allocated, 0U);

   // And so in a simulation, from its beginning on.
   for (const auto integrator :
        {ZqSimulation::Integrator::SemiImplicitEuler, ZqSimulation::Integrator::ImplicitMidpoint,
         ZqSimulation::Integrator::RungeKutta})
   {
      ZqSimulation::Settings settings;
      settings.integrator = integrator;
      ZqSimulation simulation(scene.system, settings);
      expectCarried(simulation.state());
      for (int step = 1; step < 20; ++step)
      {
         const zqTest::AllocationCount allocations;
         EXPECT_TRUE(simulation.stepTo(1e-4 * step));
         allocated += step > 2 ? allocations.count() : 0;
         expectCarried(simulation.state());
      }
      EXPECT_EQ(allocated, 0U) << static_cast<int>(integrator);
   }
   EXPECT_FALSE(scene.state.velocityStates()[2].generalVelocity() == ZqGeneralMotion());
}

TEST(Propagation, KeepsNothingOfAnotherModel)
{
   const ZqIndividualManipulator arm =
      zqTest::makeManipulator({zqTest::onBase}, [](ZqU32) { return ZqManipulatorLink(); });
   ZqStatedSystem other;
   other.addManipulator(arm);
   ZqJointActuator drive = ZqJointActuator::defaultObject();
   drive.setUpperLimit(0.0);
   ZqIndividualManipulator limited = arm;
   limited.linkByIndex(0)->setJointActuator(drive);
   const auto turns = [](ZqStatedSystem& scene)
   {
      ZqManipulatorSystemState state = scene.state();
      state.velocityStates()[0].jointVelocities()[0] = 1.0;
      scene.setState(state);
      scene.propagateSelfTo(state.time() + 0.5, nullptr);
      return scene.state().positionStates()[0].jointPositions()[0] >= 0.5;
   };
   // What met its limit stays, but nothing else in its place.
   const std::function<void(ZqStatedSystem&)> changes[] = {
      [&](ZqStatedSystem& scene) { scene = other; },
      [&](ZqStatedSystem& scene) { scene.setFromSystem(other.system()); },
      [&](ZqStatedSystem& scene) { scene.setFromManipulator(arm); },
      [&](ZqStatedSystem& scene)
      { scene.setAndDeleteSystemPointer(new ZqManipulatorSystem(other.system())); },
      [&](ZqStatedSystem& scene) { scene.exchangeManipulator(0, arm, {}, {}); },
      [&](ZqStatedSystem& scene) { scene.deleteManipulator(0); },
      [&](ZqStatedSystem& scene) { Zq::fromXml(scene, zqTest::written(other)); }};
   for (const auto& change : changes)
   {
      SCOPED_TRACE(&change - changes);
      ZqStatedSystem scene;
      scene.addManipulator(limited);
      scene.addManipulator(arm);
      EXPECT_FALSE(turns(scene) || turns(scene));
      change(scene);
      EXPECT_TRUE(turns(scene));
   }

   // The link that carries another manipulator has got another joint.
   ZqManipulatorAttachmentMap map;
   map.attachManipulator(1, 0, "label0", ZqVector(), "");
   other.addManipulator(arm);
   other.setManipulatorAttachmentMap(map);
   other.propagateSelfTo(1.0, nullptr);
   ZqDenavitHartenberg joint;
   joint.setDhD(5.0);
   other.replaceLinkKinematics(0, "label0", joint);
   other.propagateSelfTo(2.0, nullptr);
   EXPECT_EQ(other.state().positionStates()[1].coordSysXForm().translation(), ZqVector(0, 0, 5));
}
} // namespace
