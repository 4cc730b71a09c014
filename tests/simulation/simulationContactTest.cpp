#include "support/allocationCount.h"
#include "support/logCapture.h"
#include "support/randomScene.h"
#include "support/xmlSamples.h"
#include "zqManipulator/contact/forces/ZqPointContactForceProcessor.h"
#include "zqManipulator/contact/friction/ZqPointFrictionForceProcessor.h"
#include "zqManipulator/foundation/geometry/ZqBox.h"
#include "zqManipulator/simulation/interactions/ZqLatchedDoorLinks.h"
#include "zqManipulator/simulation/interactions/ZqLinkCollisionForce.h"
#include "zqManipulator/simulation/interactions/ZqSpringAndDamperBetweenLinks.h"
#include "zqManipulator/simulation/step/ZqSimulation.h"
#include "zqManipulator/state/ZqInteractionState.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{
using Integrator = ZqSimulation::Integrator;
using Frame = ZqCoordinateSystemTransformation;

constexpr std::array integrators{Integrator::SemiImplicitEuler, Integrator::ImplicitMidpoint,
                                 Integrator::RungeKutta};
constexpr ZqReal g = 9.81;
constexpr ZqReal half = 0.05;     ///< of a cube's edge (m)
constexpr ZqReal mass = 1.0;      ///< of a cube (kg)
constexpr ZqReal stiffness = 5e4; ///< of a pair: two of the law's own in series (N/m)
constexpr ZqReal muS = 0.5;
constexpr ZqReal muK = 0.4;

ZqIndividualManipulator cube(const ZqString& label)
{
   ZqIndividualManipulator body;
   body.setIsFixedBase(false);
   body.setLinkLabel(label);
   body.setManipulatorLabel(label);
   body.setShape(ZqBox({}, {half, half, half}));
   const ZqReal moment = mass * half * half / 3.0;
   body.setMassProperties(
      {mass, ZqVector(), ZqSecondMoment(moment, moment, moment, 0.0, 0.0, 0.0)});
   return body;
}

ZqLinkCollisionForce contactLaw()
{
   ZqFrictionCoefficientLookupTool table;
   table.setDefaultLinearTangentialStaticFrictionCoefficient(muS);
   table.setDefaultLinearKineticFrictionCoefficient(muK);
   ZqPointFrictionForceProcessor friction;
   friction.setFrictionCoefficientLUT(table);
   ZqPointContactForceProcessor law;
   law.setDissipativeForceProcessor(friction);
   ZqCollisionForceContainer container;
   container.setTopElement(law);
   ZqLinkCollisionForce contact;
   contact.setCollisionForceContainer(container);
   return contact;
}

/// A floor, and what stands on it.
struct ContactScene
{
   explicit ContactScene(const ZqVector& up = {0.0, 0.0, g})
   {
      ZqIndividualManipulator floor;
      floor.setLinkLabel("floor");
      floor.setManipulatorLabel("floor");
      floor.setShape(ZqBox(Frame(ZqVector(0.0, 0.0, -0.5)), {50.0, 50.0, 0.5}));
      system.addManipulator(floor);
      add({}, {});
      ZqSystemEnvironment environment;
      environment.setUpGravityVector(up);
      system.setEnvironment(environment);
      interactions.pushBack(contactLaw());
   }
   void add(const Frame& frame, const ZqGeneralMotion& velocity)
   {
      positions.emplace_back().setCoordSysXForm(frame);
      velocities.emplace_back().setGeneralVelocity(velocity);
   }
   void addCube(const Frame& frame, const ZqGeneralMotion& velocity)
   {
      system.addManipulator(cube("cube" + std::to_string(positions.size())));
      add(frame, velocity);
   }
   /// A door that swings into its frame, without gravity, and latches there.
   void addDoor()
   {
      ZqManipulatorLink door;
      door.setLinkLabel("door");
      door.setMassProperties({1.0, ZqVector(0.5, 0.0, 0.0), {0.0, 0.3, 0.3, 0.0, 0.0, 0.0}});
      ZqManipulatorLink handle = door;
      handle.setLinkLabel("handle");
      door.addChild(handle);
      ZqIndividualManipulator wall;
      wall.setLinkLabel("wall");
      wall.setManipulatorLabel("wall");
      wall.addChild(door);
      ZqLatchedDoorLinks latch;
      latch.setLatchType(ZqLatchedDoorLinks::ClosedWithoutTurn);
      latch.setSpringConstant(200.0);
      latch.setDamperConstant(1.0);
      latch.setManipulatorId(static_cast<ZqU32>(positions.size()));
      latch.setDoorLinkId(0);
      latch.setHandleLinkId(1);
      latch.setUnlatchingAngleLowerBound(1.0);
      latch.setUnlatchingAngleUpperBound(2.0);
      latch.setClosedDoorAngleLowerBound(-0.05);
      latch.setClosedDoorAngleUpperBound(0.05);
      interactions.pushBack(latch);
      system.addManipulator(wall);
      add(Frame(ZqVector(0.0, 0.0, 9.0)), {});
      positions.back().setJointPositions(ZqXmlVectorBasicType<ZqReal>{0.1, 0.0});
      velocities.back().setJointVelocities(ZqXmlVectorBasicType<ZqReal>{-1.0, 0.0});
   }
   ZqStatedSystem made()
   {
      system.setLinkInteractionsVector(interactions);
      ZqStatedSystem scene;
      scene.setSystem(system);
      ZqManipulatorSystemState state;
      for (std::size_t i = 0; i < positions.size(); ++i)
      {
         state.positionStates().pushBack(positions[i]);
         state.velocityStates().pushBack(velocities[i]);
      }
      scene.setState(state);
      return scene;
   }

   ZqManipulatorSystem system;
   ZqLinkInteractionsVector interactions;
   std::vector<ZqPositionState> positions;
   std::vector<ZqVelocityState> velocities;
};

ZqSimulation::Settings by(Integrator integrator)
{
   ZqSimulation::Settings settings;
   settings.integrator = integrator;
   return settings;
}

constexpr ZqReal restHeight = half - mass * g / stiffness;

/// One cube slides, one falls askew onto another one; and a door.
ContactScene busyScene()
{
   ContactScene scene;
   scene.addCube(Frame(ZqVector(0.0, 0.0, restHeight)), {{0.5, 0.1, 0.0}, {}});
   scene.addCube(Frame(ZqVector(1.0, 0.0, restHeight)), {});
   scene.addCube({ZqVector(1.02, 0.03, 0.2), ZqOrientation::exponential({0.4, -0.3, 0.2})},
                 {{0.0, 0.0, -0.5}, {1.0, 2.0, 3.0}});
   scene.addDoor();
   return scene;
}

TEST(SimulationContact, WhoLooksAtContactsDoesNotChangeTheSteps)
{
   for (const Integrator integrator : integrators)
   {
      const ZqStatedSystem scene = busyScene().made();
      ZqSimulation watched(scene, by(integrator));
      ZqSimulation alone(scene, by(integrator));
      for (int k = 1; k <= 600; ++k)
      {
         // Now and then, so that what a look leaves would show in the steps after it.
         if (k % 3 == 0)
            watched.contacts();
         if (k % 7 == 0)
         {
            watched.interactionState();
            watched.energy();
         }
         if (k % 10 == 1)
            watched.contactStepLimit();
         ASSERT_TRUE(watched.stepTo(5e-4 * k) && alone.stepTo(5e-4 * k));
         ASSERT_TRUE(watched.state() == alone.state()) << k;
      }
      EXPECT_TRUE(watched.interactionState() == alone.interactionState());
      EXPECT_TRUE(watched.slips() == alone.slips() && alone.slips() > 0);
      EXPECT_GT(alone.greatestDepth()->depth, 2.0 * mass * g / stiffness);
      // The door has latched.
      EXPECT_EQ(alone.interactionState().memories()[1][0], 0.0);
   }
}

TEST(SimulationContact, GoesOnFromWhatIsStored)
{
   const ZqStatedSystem scene = busyScene().made();
   ZqSimulation whole(scene);
   for (int k = 1; k <= 150; ++k)
      ASSERT_TRUE(whole.stepTo(1e-3 * k));
   ZqInteractionState stored;
   ASSERT_TRUE(zqTest::readFrom(stored, zqTest::written(whole.interactionState())));
   EXPECT_TRUE(stored == whole.interactionState());
   ASSERT_EQ(whole.contacts().front().mode, ZqSimulation::ContactMode::Slips);
   EXPECT_NEAR(whole.contacts().front().frictionForce, muK * mass * g, 1e-3 * mass * g);

   ZqSimulation half(whole.scene());
   ZqSimulation forgetful(whole.scene());
   ASSERT_TRUE(half.setInteractionState(stored));
   const std::uint64_t slips = whole.slips();
   bool isForgetfulSame = true;
   for (int k = 151; k <= 600; ++k)
   {
      ASSERT_TRUE(whole.stepTo(1e-3 * k) && half.stepTo(1e-3 * k) && forgetful.stepTo(1e-3 * k));
      ASSERT_TRUE(whole.state() == half.state()) << k;
      isForgetfulSame = isForgetfulSame && whole.state() == forgetful.state();
   }
   EXPECT_EQ(whole.slips() - slips, half.slips());
   EXPECT_FALSE(isForgetfulSame);

   // What does not fit changes nothing.
   const ZqInteractionState before = half.interactionState();
   ContactScene other;
   other.addDoor();
   ZqSimulation doors(other.made());
   ZqSimulation::Settings without;
   without.interacts = false;
   ZqSimulation calm(scene, without);
   const zqTest::LogCapture log;
   EXPECT_FALSE(doors.setInteractionState(stored)); // without cubes
   EXPECT_FALSE(calm.setInteractionState(stored));
   ZqInteractionState fewer = stored;
   fewer.setMemories({});
   EXPECT_FALSE(half.setInteractionState(fewer));
   EXPECT_EQ(log.size(), 3U) << log.text();
   EXPECT_TRUE(half.interactionState() == before);
}

TEST(SimulationContact, CollidingBodiesKeepTheirMomentum)
{
   zqTest::RandomValues random(4);
   for (int round = 0; round < 4; ++round)
      for (const Integrator integrator : integrators)
      {
         ContactScene scene{ZqVector()};
         const ZqVector off = random.vector(0.02);
         scene.addCube({ZqVector(0.0, 0.0, 5.0), random.orientation()},
                       {ZqVector(1.0, 0.0, 0.0), random.vector(2.0)});
         scene.addCube({ZqVector(0.2, 0.0, 5.0) + off, random.orientation()},
                       {ZqVector(-0.5, 0.1, 0.0), random.vector(2.0)});
         ZqSimulation simulation(scene.made(), by(integrator));
         const auto momentum = [&]
         {
            ZqGeneralMotion sum;
            for (const ZqU32 i : {1, 2})
            {
               const ZqVelocityState& velocity = simulation.state().velocityStates()[i];
               const ZqVector& p =
                  simulation.state().positionStates()[i].coordSysXForm().translation();
               const ZqGeneralMotion& V = velocity.generalVelocity();
               const ZqReal moment = 2.0 * mass * half * half / 3.0;
               sum += {V.linear() * mass, p.cross(V.linear() * mass) + V.angular() * moment};
            }
            return sum;
         };
         const ZqGeneralMotion before = momentum();
         for (int k = 1; k <= 3000; ++k)
            ASSERT_TRUE(simulation.stepTo(1e-4 * k));
         ASSERT_TRUE(simulation.greatestDepth());
         const ZqGeneralMotion change = momentum() - before;
         // The roundings of 3000 steps, on numbers of about 1.
         EXPECT_LT(change.linear().mag(), 1e-13);
         // Both forces act at one point, but places lag behind velocities by a step.
         EXPECT_LT(change.angular().mag(), 2e-3);
      }
}

TEST(SimulationContact, RestsAsItsWeightSaysAndAllocatesNothing)
{
   ContactScene scene;
   for (int i = 0; i < 5; ++i)
      scene.addCube(Frame(ZqVector(0.3 * i, 0.0, half)), {});
   ZqSimulation simulation(scene.made());
   for (int k = 1; k <= 2000; ++k)
      ASSERT_TRUE(simulation.stepTo(1e-3 * k));
   ASSERT_EQ(simulation.contacts().size(), 5U);
   for (const ZqSimulation::Contact& contact : simulation.contacts())
   {
      EXPECT_EQ(contact.points, 4);
      EXPECT_NEAR(contact.depth, mass * g / stiffness, 1e-9);
      EXPECT_NEAR(contact.normalForce, mass * g, 1e-6);
      EXPECT_LT(contact.frictionForce, 1e-9);
      EXPECT_EQ(contact.mode, ZqSimulation::ContactMode::Sticks);
   }
   const zqTest::AllocationCount allocations;
   for (int k = 2001; k <= 2200; ++k)
   {
      simulation.stepTo(1e-3 * k);
      simulation.contacts();
   }
   EXPECT_EQ(allocations.count(), 0U);
}

/// Of a cube that is disturbed at rest: whether it has come to rest again, by steps of such a length.
bool settles(ZqReal dt)
{
   ContactScene scene;
   scene.addCube({ZqVector(0.0, 0.0, restHeight), ZqOrientation::exponential({1e-4, 1e-4, 0.0})},
                 {});
   ZqSimulation simulation(scene.made());
   for (int k = 1; k <= 4000; ++k)
      if (!simulation.stepTo(dt * k))
         return false;
   return simulation.state().velocityStates()[1].generalVelocity().angular().mag() < 1e-6;
}

TEST(SimulationContact, TellsTheLongestStep)
{
   ContactScene scene;
   scene.addCube(Frame(ZqVector(0.0, 0.0, restHeight)), {});
   ZqSimulation simulation(scene.made());
   const ZqReal limit = simulation.contactStepLimit();
   EXPECT_TRUE(settles(0.9 * limit));
   EXPECT_FALSE(settles(3.0 * limit));
   ZqSimulation::Settings without;
   without.interacts = false;
   EXPECT_EQ(ZqSimulation(scene.made(), without).contactStepLimit(), zqTest::infinity);
}

TEST(SimulationContact, CarriersFeelWhatTheirLoadTouches)
{
   // A spring pulls at a tool that hangs on an arm.
   zqTest::RandomScene arm(2, {zqTest::chain(3), true, false, false});
   const ZqU32 tool = arm.system.numberOfManipulators();
   arm.system.addManipulator(cube("tool"));
   ZqManipulatorSystemConfiguration configuration = arm.system.configuration();
   ZqManipulatorAttachmentMap map;
   ASSERT_TRUE(map.attachManipulator(tool, arm.index, "label2", {}, "grip"));
   configuration.setAttachmentMap(map);
   arm.system.setConfiguration(configuration);
   ZqSimulation without(arm.system);
   ZqSpringAndDamperBetweenLinks spring;
   spring.setLinearSpringConstant(30.0);
   spring.setManipulatorOneIndex(tool);
   spring.setLinkOneIndex(-2);
   spring.setManipulatorTwoIndex(arm.index);
   spring.setLinkTwoIndex(-2);
   ZqLinkInteractionsVector interactions;
   interactions.pushBack(spring);
   ZqManipulatorSystem system = arm.system.system();
   system.setLinkInteractionsVector(interactions);
   arm.system.setSystem(system);
   ZqSimulation with(arm.system);

   ZqManipulatorActiveState& pulled = with.present().manipulatorActiveStateVector()[arm.index];
   const ZqManipulatorLink& link = *with.linkAt({arm.index, 2});
   const ZqGeneralForce onTool = with.present().generalForceVector()[tool].baseForce();
   const Frame& ofTool =
      with.linkAt({tool, ZqBaseLinkIndex})
         ->dhFrameInSystem(
            with.present().manipulatorActiveStateVector()[tool].activePositionState());
   ASSERT_TRUE(without.setExternalForce(
      {arm.index, 2},
      link.dhFrameInSystem(pulled.activePositionState()).inverse() * (ofTool * onTool)));
   EXPECT_GT(onTool.force().mag(), 1.0);
   const auto& expected = without.present()
                             .manipulatorActiveStateVector()[arm.index]
                             .accelerationState()
                             .jointAccelerations();
   for (ZqU32 j = 0; j < 3; ++j)
      EXPECT_NEAR(pulled.accelerationState().jointAccelerations()[j], expected[j],
                  1e-10 * (1.0 + std::abs(expected[j])));
}

TEST(SimulationContact, BadStartsEndVisibly)
{
   // Deep within each other and the floor, with steps that are far too long.
   for (const Integrator integrator : integrators)
      for (const ZqReal dt : {1e-3, 0.1, 10.0})
      {
         ContactScene scene;
         for (int i = 1; i <= 4; ++i)
            scene.addCube({ZqVector(1e-3 * i, 7e-4 * i, -0.2),
                           ZqOrientation::exponential({0.3 * i, 0.2, 0.1})},
                          {});
         ZqSimulation simulation(scene.made(), by(integrator));
         int k = 0;
         while (k < 200 && simulation.step(dt))
            ++k;
         EXPECT_EQ(k < 200, simulation.divergence().has_value());
         EXPECT_TRUE(!simulation.divergence() ||
                     simulation.divergence()->deepestContact.has_value());
         EXPECT_GT(simulation.greatestDepth()->depth, 0.01);
         for (const ZqPositionState& position : simulation.state().positionStates())
            EXPECT_TRUE(std::isfinite(position.coordSysXForm().translation().mag()));
      }
}
} // namespace
