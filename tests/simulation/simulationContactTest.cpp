#include "support/allocationCount.h"
#include "support/logCapture.h"
#include "support/randomScene.h"
#include "support/wholeScene.h"
#include "support/xmlSamples.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>

namespace
{
using zqTest::ContactMaterial;
using zqTest::ContactScene;
using Frame = ZqCoordinateSystemTransformation;
using Integrator = ZqSimulation::Integrator;

constexpr std::array integrators{Integrator::SemiImplicitEuler, Integrator::ImplicitMidpoint,
                                 Integrator::RungeKutta};
constexpr ZqReal g = 9.8;
constexpr ZqReal half = 0.05; ///< of a cube's edge (m)

ZqSimulation::Settings by(Integrator integrator)
{
   ZqSimulation::Settings settings;
   settings.integrator = integrator;
   return settings;
}

zqTest::SolidBody cube()
{
   return zqTest::solidBox(1.0, {half, half, half});
}

/// Where its weight of 1 kg leaves a cube on the floor.
ZqReal restHeight()
{
   return half - g / ContactMaterial().stiffness;
}

/// A scene of all kinds of interactions, which has gone on until bodies touched.
ZqStatedSystem touchedScene()
{
   zqTest::RandomValues random(4);
   ZqSimulation simulation(zqTest::wholeScene(random).system);
   while (simulation.contacts().empty() && simulation.steps() < 200)
      simulation.step(1e-3);
   EXPECT_TRUE(simulation.step(1e-3));
   EXPECT_GT(simulation.interactionState().contacts().size(), 0U);
   return simulation.scene();
}

TEST(SimulationContact, RefusesToRememberWhatDoesNotFit)
{
   ZqStatedSystem scene = touchedScene();
   const ZqInteractionState stored = scene.interactionState();
   ContactScene bare;
   bare.addFloor();
   bare.system.setLinkInteractionsVector(scene.system().linkInteractionsVector());
   ZqSimulation::Settings without;
   without.interacts = false;
   ZqSimulation simulation(scene);
   ZqSimulation bodiless(bare.system);
   ZqSimulation calm(scene, without);
   ZqInteractionState fewer = stored;
   fewer.setMemories({});
   const zqTest::LogCapture log;
   EXPECT_FALSE(bodiless.setInteractionState(stored));
   EXPECT_FALSE(calm.setInteractionState(stored));
   EXPECT_FALSE(simulation.setInteractionState(fewer));
   EXPECT_EQ(log.size(), 3U) << log.text();
   EXPECT_TRUE(simulation.interactionState() == stored);
   scene.setInteractionState(fewer);
   EXPECT_TRUE(ZqSimulation(scene).interactionState().isEmpty());
   EXPECT_EQ(log.size(), 4U) << log.text();
   EXPECT_TRUE(ZqSimulation(scene, without).scene().interactionState().isEmpty());
   EXPECT_EQ(log.size(), 4U) << log.text();
   EXPECT_TRUE(simulation.setInteractionState({}) && simulation.interactionState().isEmpty());
}

TEST(SimulationContact, TakesNoNoticeOfWhatNeverMoves)
{
   // A floor with a wall, and a table let into it.
   const zqTest::LogCapture log;
   ContactScene scene;
   scene.addFloor();
   scene.addFloor({ZqVector(1.0, 0.0, 0.0), ZqOrientation::yRotation(-1.5)});
   ZqIndividualManipulator table;
   table.setShape(*zqTest::solidBox(1.0, {0.1, 0.1, 0.1}).shape);
   table.setIsFixedBase(true);
   scene.add(table, {}, {});
   scene.addFree(cube(), Frame(ZqVector(0.0, 0.0, 0.1 + restHeight())));
   scene.setContact(ContactMaterial());
   ZqSimulation simulation(scene.system);
   for (int k = 1; k <= 10; ++k)
      ASSERT_TRUE(simulation.stepTo(1e-3 * k));
   ASSERT_EQ(simulation.contacts().size(), 1U);
   EXPECT_EQ(simulation.contacts().front().second.manipulator, 3U);
   EXPECT_NEAR(simulation.greatestDepth()->depth, g / ContactMaterial().stiffness, 1e-9);
   EXPECT_TRUE(log.messages().empty());
}

TEST(SimulationContact, WhatIsRememberedBelongsToItsSceneAlone)
{
   const ZqStatedSystem scene = touchedScene();
   for (const auto flag : {ZqFoundCommon::ShareWhatMayBeShared, ZqFoundCommon::CopyAll})
      EXPECT_TRUE(ZqStatedSystem(scene, flag).interactionState() == scene.interactionState());

   using Change = void (*)(ZqStatedSystem&);
   const std::vector<Change> changes{
      [](ZqStatedSystem& s) { s.setState(ZqManipulatorSystemState(s.state())); },
      [](ZqStatedSystem& s) { s.setIndividualCoordinateSystemTransformation(1, Frame()); },
      [](ZqStatedSystem& s) { s.zeroIndividualVelocityState(1); },
      [](ZqStatedSystem& s) { s.propagateSelfTo(1.0, nullptr); },
      [](ZqStatedSystem& s) { s.setSystem(ZqManipulatorSystem(s.system())); },
      [](ZqStatedSystem& s) { s.setAndDeleteSystemPointer(new ZqManipulatorSystem(s.system())); },
      [](ZqStatedSystem& s) { s.removeManipulator(1); },
      [](ZqStatedSystem& s) { s.editManipulator(1, [](ZqIndividualManipulator&) {}); },
      [](ZqStatedSystem& s) { s.mergeWith(ZqStatedSystem(s)); },
      [](ZqStatedSystem& s) { s.setLinkInteractionsVector(s.system().linkInteractionsVector()); },
      [](ZqStatedSystem& s) { zqTest::readFrom(s, zqTest::written(ZqStatedSystem())); }};
   for (std::size_t i = 0; i < changes.size(); ++i)
   {
      ZqStatedSystem changed(scene);
      changes[i](changed);
      EXPECT_TRUE(changed.interactionState().isEmpty()) << i;
   }
}

TEST(SimulationContact, AllocatesNothingOnceItHasSettled)
{
   ContactScene scene;
   scene.addFloor();
   for (int i = 0; i < 5; ++i)
      scene.addFree(cube(), Frame(ZqVector(0.3 * i, 0.0, half)));
   scene.setContact(ContactMaterial());
   ZqSimulation simulation(scene.system);
   for (int k = 1; k <= 300; ++k)
   {
      ASSERT_TRUE(simulation.stepTo(1e-3 * k));
      simulation.contacts();
   }
   const zqTest::AllocationCount allocations;
   for (int k = 301; k <= 500; ++k)
   {
      simulation.stepTo(1e-3 * k);
      simulation.contacts();
   }
   EXPECT_EQ(allocations.count(), 0U);
   ASSERT_EQ(simulation.contacts().size(), 5U);
   for (const ZqSimulation::Contact& contact : simulation.contacts())
      EXPECT_TRUE(contact.points == 4 && contact.mode == ZqSimulation::ContactMode::Sticks);
}

ZqStatedSystem oneCube(const Frame& frame)
{
   ContactScene scene;
   scene.addFloor();
   scene.addFree(cube(), frame);
   scene.setContact(ContactMaterial());
   return scene.system;
}

/// Of a cube that is disturbed at rest: whether it has come to rest again, by steps of such a length.
bool settles(ZqReal dt)
{
   ZqSimulation simulation(
      oneCube({ZqVector(0.0, 0.0, restHeight()), ZqOrientation::exponential({1e-4, 1e-4, 0.0})}));
   for (int k = 1; k <= 4000; ++k)
      if (!simulation.stepTo(dt * k))
         return false;
   return simulation.state().velocityStates()[1].generalVelocity().angular().mag() < 1e-6;
}

/// The same cube, as a reference to a heavier one that is fixed elsewhere.
ZqStatedSystem cubeOfFixedModel(const Frame& frame)
{
   ContactScene scene;
   scene.addFloor();
   ZqPositionState elsewhere;
   elsewhere.setCoordSysXForm(Frame(ZqVector(0.0, 0.0, 10.0)));
   ZqIndividualManipulator model;
   model.setShape(*cube().shape);
   model.setMassProperties(zqTest::solidBox(7.0, {half, half, half}).mass);
   model.setIsFixedBase(true);
   const ZqU32 index = scene.add(model, elsewhere, {});
   ZqManipulatorReferenceDescription description;
   description.setIsManipulatorReferenced(true);
   description.setReferencedManipulatorLabel(
      scene.system.system().manipulators()[index].manipulatorLabel());
   ZqIndividualManipulator reference;
   reference.setManipulatorReferenceDescription(description);
   reference.setMassProperties(cube().mass);
   reference.setIsFixedBase(false);
   ZqPositionState position;
   position.setCoordSysXForm(frame);
   scene.add(reference, position, {});
   scene.setContact(ContactMaterial());
   return scene.system;
}

/// The same cube, "fixed" to a free body that has no shape.
ZqStatedSystem cubeOnCarrier(const Frame& frame)
{
   ContactScene scene;
   scene.addFloor();
   ZqIndividualManipulator body;
   body.setMassProperties(cube().mass);
   body.setIsFixedBase(false);
   ZqPositionState position;
   position.setCoordSysXForm(frame);
   const ZqU32 carrier = scene.add(body, position, {});
   body.setShape(*cube().shape);
   body.setIsFixedBase(true);
   const ZqU32 carried = scene.add(body, position, {});
   ZqManipulatorSystemConfiguration configuration = scene.system.configuration();
   ZqManipulatorAttachmentMap map;
   EXPECT_TRUE(map.attachManipulator(carried, carrier, "", {}, ""));
   configuration.setAttachmentMap(map);
   scene.system.setConfiguration(configuration);
   scene.setContact(ContactMaterial());
   return scene.system;
}

/// By the estimate before a run.
ZqReal estimatedStep(const ZqStatedSystem& scene)
{
   const auto& contact =
      dynamic_cast<const ZqLinkCollisionForce&>(scene.system().linkInteractionsVector()[0]);
   ZqSystemActiveState active;
   active.setNonredundantState(scene.state());
   const auto estimate =
      ZqContactEstimate::of(scene, active, *contact.collisionForceContainer().topElement());
   return estimate.touchingStep ? estimate.touchingStep->longest : zqTest::infinity;
}

TEST(SimulationContact, TellsTheLongestStep)
{
   const ZqStatedSystem scene = oneCube(Frame(ZqVector(0.0, 0.0, restHeight())));
   ZqSimulation simulation(scene);
   const ZqReal limit = simulation.contactStepLimit();
   EXPECT_TRUE(settles(0.9 * limit));
   EXPECT_FALSE(settles(3.0 * limit));
   ZqSimulation::Settings without;
   without.interacts = false;
   EXPECT_EQ(ZqSimulation(scene, without).contactStepLimit(), zqTest::infinity);

   // Whatever the body with the mass is made of.
   for (const auto& sceneOf : {cubeOfFixedModel, cubeOnCarrier})
   {
      const ZqStatedSystem alike = sceneOf(Frame(ZqVector(0.0, 0.0, restHeight())));
      EXPECT_DOUBLE_EQ(ZqSimulation(alike).contactStepLimit(), limit);
      EXPECT_DOUBLE_EQ(estimatedStep(alike), estimatedStep(scene));
   }
   // Energy is that of its own mass, too, beside the model of 7 kg at 10 m.
   EXPECT_NEAR(ZqSimulation(cubeOfFixedModel(Frame(ZqVector(0.0, 0.0, 1.0)))).energy().potential,
               71.0 * g, 1e-9);
}

TEST(SimulationContact, CarriersFeelWhatTheirLoadTouches)
{
   // A spring pulls at a tool that hangs on an arm.
   zqTest::RandomScene arm(2, {zqTest::chain(3), true, false, false});
   const ZqU32 tool = arm.system.numberOfManipulators();
   ZqIndividualManipulator body;
   body.setIsFixedBase(false);
   body.setMassProperties(cube().mass);
   arm.system.addManipulator(body);
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

// With a step that is far too long the energy of what falls would grow by orders; so would that of bodies which begin
// deep in each other, but a step that suits their depth parts them.
TEST(SimulationContact, StepsThatAreFarTooLongEndVisibly)
{
   const ZqMassSpringCollisionForceProcessor ofOnePoint;
   const struct
   {
      const char* what;
      ZqLinkCollisionForce contact;
      ZqReal height, speed, step;
      bool diverges;
   } cases[] = {
      {"falls", zqTest::contactOf(ContactMaterial()), 0.2, -3.0, 0.01, true},
      {"falls by a law of one point", zqTest::contactOf(ofOnePoint), 0.2, -3.0, 0.05, true},
      {"falls by short steps", zqTest::contactOf(ContactMaterial()), 0.2, -3.0, 2e-4, false},
      {"is within the floor", zqTest::contactOf(ContactMaterial()), -0.3, 0.0, 1e-4, false},
      {"sinks on", zqTest::contactOf(ContactMaterial()), -0.3, -200.0, 5e-3, true}};
   for (const auto& [what, contact, height, speed, step, diverges] : cases)
      for (const Integrator integrator : integrators)
      {
         SCOPED_TRACE(what);
         ContactScene scene;
         scene.addFloor();
         scene.addFree(cube(), Frame(ZqVector(0.0, 0.0, height)), {{0.0, 0.0, speed}, {}});
         scene.setContact(contact);
         ZqSimulation simulation(scene.system, by(integrator));
         const ZqReal atStart = simulation.energy().kinetic + 0.5 * 1e5 * height * height + g;
         for (int k = 1; k * step < 1.0 && simulation.stepTo(step * k); ++k)
            EXPECT_LT(simulation.energy().total(), 4.0 * atStart) << k;
         // What is implicit may bear longer steps.
         if (!diverges || integrator == Integrator::SemiImplicitEuler)
         {
            ASSERT_EQ(simulation.divergence().has_value(), diverges);
         }
         if (!simulation.divergence())
         {
            EXPECT_TRUE(diverges || zqTest::wayOf(simulation, 1).z() > 0.9 * half);
            continue;
         }
         EXPECT_STREQ(simulation.divergence()->quantity, "contact");
         EXPECT_EQ(simulation.divergence()->place.manipulator, 1U);
         EXPECT_EQ(simulation.divergence()->deepestContact->time, simulation.state().time());
         EXPECT_LT(simulation.divergence()->contactStepLimit, step);
      }
}
} // namespace
