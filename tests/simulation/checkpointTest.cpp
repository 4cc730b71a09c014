#include "support/bits.h"
#include "support/logCapture.h"
#include "support/wholeScene.h"
#include "support/xmlSamples.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

// A simulation that is stored, read back and resumed goes on to the same bits as one that never ended.

namespace
{
using Settings = ZqSimulation::Settings;
using zqTest::Bits;
using zqTest::ContactScene;
using zqTest::RandomValues;
using zqTest::written;

// Runs

/// All that anybody can see of a simulation; what follows from the present where it is looked at.
Bits seenOf(ZqSimulation& simulation, bool looks)
{
   Bits bits;
   const ZqManipulatorSystemState& state = simulation.state();
   const ZqSimulation::Energy energy = simulation.energy();
   const auto& gap = simulation.greatestGap();
   const auto& depth = simulation.greatestDepth();
   for (const ZqReal x : {state.time(), energy.kinetic, energy.potential, gap ? gap->size : -1.0,
                          depth ? depth->depth : -1.0, ZqReal(simulation.limitHits().size()),
                          ZqReal(simulation.firedCriteria().size()), ZqReal(simulation.steps()),
                          ZqReal(simulation.substitutedSteps()), ZqReal(simulation.slips())})
      bits.add(x);
   for (ZqU32 i = 0; i < state.positionStates().size(); ++i)
   {
      bits.add(state.positionStates()[i].jointPositions().values());
      bits.add(state.positionStates()[i].coordSysXForm());
      bits.add(state.velocityStates()[i].jointVelocities().values());
      bits.add(state.velocityStates()[i].generalVelocity());
      if (!looks)
         continue;
      bits.add(simulation.motorTorques(i).jointTorques().values());
      bits.add(simulation.constraintForces(i));
      const auto& active = simulation.present().manipulatorActiveStateVector()[i];
      bits.add(active.accelerationState().jointAccelerations().values());
      bits.add(active.accelerationState().generalAcceleration());
      const ZqActuatorState& drives = active.actuatorState();
      for (const auto* list : {&drives.outputTorques(), &drives.motorPositions(),
                               &drives.motorVelocities(), &drives.motorAccelerations()})
         bits.add(list->values());
      for (const auto& list : drives.powerConverterStates())
         bits.add(list.values());
   }
   if (!looks)
      return bits;
   for (const ZqSimulation::Contact& contact : simulation.contacts())
      for (const ZqReal x : {contact.depth, contact.normalForce, contact.frictionForce,
                             ZqReal(contact.points), ZqReal(static_cast<int>(contact.mode))})
         bits.add(x);
   bits.add(simulation.contactStepLimit());
   const ZqEnergyBook book = simulation.energyBook();
   bits.add(book.heldAtStart.total());
   ZqEnergyBook::forEachPart(book, [&](const char*, ZqReal x) { bits.add(x); });
   return bits;
}

/// Now and then there are other inputs, which hold until the next ones.
void setInputs(ZqSimulation& simulation, ZqU32 k)
{
   if (k % 7 != 1)
      return;
   RandomValues random(k);
   std::vector<ZqReal> commands(simulation.system().jointDof());
   std::vector<ZqReal> torques(commands.size());
   for (std::size_t j = 0; j < commands.size(); ++j)
   {
      commands[j] = random.real(-2.0, 2.0);
      torques[j] = random.real(-0.1, 0.1);
   }
   const ZqU32 manipulator = random.index(0, simulation.state().positionStates().size() - 1);
   ASSERT_TRUE(simulation.setCommands(commands) && simulation.setTorques(torques) &&
               simulation.setExternalForce({manipulator, ZqBaseLinkIndex},
                                           {random.vector(), random.vector(0.01)}));
}

constexpr ZqU32 stepsBetweenLooks = 3;

/// Steps and looks; a step that fails is seen as well. Who watches looks at all after each step.
Bits advance(ZqSimulation& simulation, ZqU32 k, ZqReal dt, bool isWatched = false)
{
   setInputs(simulation, k);
   simulation.step(dt);
   if (isWatched)
      seenOf(simulation, true);
   return seenOf(simulation, k % stepsBetweenLooks == 0);
}

/// What happens in a run, by name.
using Events = std::set<std::string>;

/// By one run of twice the steps and one that ends after n of them.
void expectSameBits(const ZqStatedSystem& scene, const Settings& settings, ZqReal dt, ZqU32 n,
                    Events& events)
{
   ZqSimulation whole(scene, settings);
   std::vector<Bits> expected;
   for (ZqU32 k = 1; k <= 2 * n; ++k)
      expected.push_back(advance(whole, k, dt));

   ZqSimulation part(scene, settings);
   for (ZqU32 k = 1; k <= n; ++k)
      advance(part, k, dt, n % 2 == 0);
   const std::string document = written(part.checkpoint());
   EXPECT_EQ(document, written(part.checkpoint()));
   ZqSimulationCheckpoint checkpoint;
   std::unique_ptr<ZqSimulation> resumed;
   {
      const zqTest::LogCapture log;
      EXPECT_TRUE(Zq::fromXml(checkpoint, document));
      resumed = ZqSimulation::resume(checkpoint);
      EXPECT_EQ(log.text(), "");
   }
   ASSERT_TRUE(resumed);
   EXPECT_EQ(written(resumed->checkpoint()), document);
   EXPECT_TRUE(seenOf(*resumed, true) == seenOf(part, true));
   for (ZqU32 k = n + 1; k <= 2 * n && !testing::Test::HasFailure(); ++k)
   {
      EXPECT_TRUE(advance(*resumed, k, dt) == expected[k - 1])
         << "resumed, step " << k << " of " << n;
      EXPECT_TRUE(advance(part, k, dt, true) == expected[k - 1])
         << "looked at, step " << k << " of " << n;
   }
   EXPECT_EQ(written(resumed->checkpoint()), written(whole.checkpoint()));

   if (testing::Test::HasFailure())
      return;
   const auto note = [&](bool happened, const char* event)
   {
      if (happened)
         events.insert(event);
   };
   note(whole.slips() > 0, "slips");
   note(!whole.limitHits().empty(), "limit");
   note(!whole.firedCriteria().empty(), "criterion");
   note(whole.substitutedSteps() > 0, "substituted");
   note(whole.divergence().has_value(), "divergence");
}

TEST(Checkpoint, OfEveryExampleGoesOnToTheSameBits)
{
   Events events;
   ZqU32 count = 0;
   for (const auto& file : std::filesystem::directory_iterator(ZQ_EXAMPLE_MODELS))
   {
      if (file.path().extension() != ".xml")
         continue;
      ++count;
      SCOPED_TRACE(file.path().filename());
      ZqStatedSystem scene;
      ASSERT_TRUE(Zq::load(scene, file.path().string()));
      for (const auto integrator :
           {ZqSimulation::Integrator::SemiImplicitEuler, ZqSimulation::Integrator::RungeKutta})
      {
         Settings settings;
         settings.integrator = integrator;
         settings.booksEnergy = true;
         expectSameBits(scene, settings, 5e-4, 200, events);
      }
   }
   EXPECT_GT(count, 10U);
}

// Scenes of all that there is

struct RandomRun
{
   explicit RandomRun(ZqU32 seed);

   ContactScene scene;
   Settings settings;
};

RandomRun::RandomRun(ZqU32 seed)
{
   RandomValues random(seed);
   scene = zqTest::wholeScene(random);
   settings.integrator = static_cast<ZqSimulation::Integrator>(seed % 3);
   settings.solver = static_cast<ZqSimulation::Solver>(seed / 3 % 2);
   settings.closesLoops = seed % 5 != 1;
   settings.interacts = seed % 11 != 2;
   settings.computesContact = seed % 7 != 3;
   settings.booksEnergy = seed % 2 == 0;
}

TEST(Checkpoint, OfRandomScenesGoesOnToTheSameBits)
{
   Events events;
   const zqTest::LogCapture log;
   for (ZqU32 seed = 1; seed <= 100 && !HasFailure(); ++seed)
   {
      SCOPED_TRACE(seed);
      const RandomRun run(seed);
      expectSameBits(run.scene.system, run.settings, 1e-3, RandomValues(seed).index(1, 40), events);
   }
   EXPECT_TRUE(log.contains("cannot be closed"));
   EXPECT_EQ(events, (Events{"criterion", "divergence", "limit", "slips", "substituted"}));
}

// What is refused

/// The document of a run of so many steps with bodies, drives and a door.
std::string documentOf(ZqU32 steps)
{
   const zqTest::LogCapture log;
   const RandomRun run(4);
   ZqSimulation simulation(run.scene.system, run.settings);
   for (ZqU32 k = 1; k <= steps; ++k)
      advance(simulation, k, 1e-3);
   return written(simulation.checkpoint());
}

/// With another text in the last element of a name.
std::string with(std::string document, const std::string& name, const std::string& text)
{
   const std::size_t begin = document.rfind('<' + name);
   const std::size_t end = document.find('>', begin);
   const bool isEmpty = document[end - 1] == '/';
   const std::string close = "</" + name + '>';
   const std::size_t after = isEmpty ? end + 1 : document.find(close, end) + close.size();
   return document.replace(begin, after - begin, '<' + name + '>' + text + close);
}

TEST(Checkpoint, IsRefusedWithTheReason)
{
   struct Case
   {
      const char* element;
      const char* text;
      const char* message;
   };
   const Case cases[]{{"solver", "magic", "one of \"crbi\" \"arbi\""},
                      {"integrator", "", "one of \"euler\" \"midpoint\" \"rk4\""},
                      {"interacts", "perhaps", "true or false"},
                      {"torques", "1 nan", "a real number"},
                      {"actuatorStates", "", "states of drives for 0 manipulators"},
                      {"motorPositions", "1 2 3 4 5 6 7", "as those of its joints"},
                      {"powerConverterStates", "", "as those of its joints"},
                      {"commands", "1 2 3 4 5 6 7", "commands for 7 joints"},
                      {"torques", "", "torques for 0 joints"},
                      {"externalForces", "", "external forces for 0 manipulators"},
                      {"linkGeneralForces", "", "not as many as its links"},
                      {"simulationCounters", "1 2", "counters"},
                      {"simulationCounters", "1.5 0 0", "counters"},
                      {"simulationCounters", "-1 0 0", "counters"},
                      {"simulationCounters", "1e300 0 0", "counters"},
                      {"limitHits", "1 2", "is not whole"},
                      {"limitHits", "0 4294967294 0.5", "a joint that there is not"},
                      {"limitHits", "0.5 0 0.5", "a joint that there is not"},
                      {"firedCriteria", "0 0.5", "as their descriptions"},
                      {"greatestGap", "0 7 1 1", "the greatest gap"},
                      {"greatestDepth", "0 4294967294 99 0 1 1", "the greatest depth"},
                      {"loopStates", "", "states of loops for 0 manipulators"},
                      {"loopStates", "-1 0 0 0 0 0 0 0 0", "no length of time"},
                      {"energyBook", "1 2 3", "the energy book is not of 15 finite numbers"},
                      {"interactionMemories", "", "another number of interactions"},
                      {"contactStates", "<x:element/>", "the numbers of a contact do not fit"},
                      {"manipulators", "", "where the model has 0"}};
   const std::string document = documentOf(12);
   for (const Case& c : cases)
   {
      SCOPED_TRACE(std::string(c.element) + ' ' + c.text);
      const zqTest::LogCapture log;
      ZqSimulationCheckpoint checkpoint;
      EXPECT_FALSE(Zq::fromXml(checkpoint, with(document, c.element, c.text)) &&
                   ZqSimulation::resume(checkpoint));
      EXPECT_TRUE(log.contains(c.message)) << log.text();
   }
   EXPECT_FALSE(ZqSimulation::resume({}));
}

TEST(Checkpoint, OfALaterVersionOrATruncatedOneIsNotRead)
{
   std::string document = documentOf(5);
   const zqTest::LogCapture log;
   const std::size_t end = document.rfind('>');
   for (std::size_t size = 0; size <= end; size += end - size < 300 ? 1 : 211)
   {
      ZqSimulationCheckpoint checkpoint;
      ASSERT_FALSE(Zq::fromXml(checkpoint, document.substr(0, size))) << size;
   }
   const std::string version = "checkpointVersion=\"1";
   const std::size_t at = document.find(version);
   ASSERT_NE(at, std::string::npos);
   document[at + version.size() - 1] = '2';
   ZqSimulationCheckpoint later;
   EXPECT_FALSE(Zq::fromXml(later, document));
   EXPECT_TRUE(log.contains("a checkpoint of version 2, but this program reads up to 1"))
      << log.text();
   EXPECT_TRUE(later == ZqSimulationCheckpoint());
}

TEST(Checkpoint, WithoutContactOtherInteractionsGoOn)
{
   const zqTest::LogCapture log;
   RandomRun run(4);
   ZqSimulation touching(run.scene.system, run.settings);
   while (touching.contacts().empty() && touching.steps() < 200)
      touching.step(1e-3);
   ASSERT_TRUE(touching.step(1e-3));
   const ZqStatedSystem scene = touching.scene();
   ASSERT_GT(scene.interactionState().contacts().size(), 0U);
   run.settings.computesContact = false;
   ZqSimulation passing(scene, run.settings);
   const ZqInteractionState kept = passing.interactionState();
   EXPECT_TRUE(kept.memories() == scene.interactionState().memories());
   EXPECT_TRUE(kept.contacts().size() == 0 && kept.pairCaches().size() == 0);
   ASSERT_TRUE(passing.step(1e-3));
   EXPECT_TRUE(passing.contacts().empty());
   run.settings.computesContact = true;
   const std::size_t messages = log.size();
   EXPECT_EQ(ZqSimulation(passing.scene(), run.settings).interactionState().memories().size(), 3U);
   EXPECT_EQ(log.size(), messages) << log.text();
}
} // namespace
