#include "support/allocationCount.h"
#include "support/randomScene.h"
#include "support/xmlSamples.h"
#include "zqManipulator/foundation/geometry/ZqSphere.h"
#include "zqManipulator/foundation/proximity/ZqSystemShapeCollisionCache.h"
#include "zqManipulator/simulation/interactions/ZqLatchedDoorLinks.h"
#include "zqManipulator/simulation/interactions/ZqLinkCollisionForce.h"
#include "zqManipulator/simulation/interactions/ZqSpringAndDamperBetweenLinks.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

namespace
{
using Door = ZqLatchedDoorLinks;
using Spring = ZqSpringAndDamperBetweenLinks;
using Forces = ZqXmlVectorType<ZqManipulatorExternalForce>;

const Forces& forcesOf(ZqStatedSystem& scene, ZqSystemActiveState& active,
                       const ZqBaseLinkInteractions& interaction)
{
   ZqLinkInteractionsVector interactions;
   interactions.pushBack(interaction);
   scene.setLinkInteractionsVector(interactions);
   active.setNonredundantState(scene.state());
   active.setGeneralForceValid(false);
   scene.system().processLinkInteractions(active, 0.0, {});
   EXPECT_TRUE(active.generalForceValid());
   return active.generalForceVector();
}

// k = 8, c = 2; the frame is [-0.125, 0.375], and the handle unlatches in [0.5, 1.5].
Door doorOf(ZqU32 type, ZqU32 manipulator)
{
   Door door;
   door.setLatchType(type);
   door.setSpringConstant(8.0);
   door.setDamperConstant(2.0);
   door.setManipulatorId(manipulator);
   door.setDoorLinkId(1);
   door.setHandleLinkId(2);
   door.setUnlatchingAngleLowerBound(0.5);
   door.setUnlatchingAngleUpperBound(1.5);
   door.setClosedDoorAngleLowerBound(-0.125);
   door.setClosedDoorAngleUpperBound(0.375);
   return door;
}

// All numbers are exact in binary.
TEST(LinkInteractions, DoorsFollowTheirTable)
{
   struct Step
   {
      ZqReal handle, door, rate, moment;
      bool isFree;
   };
   using Steps = std::vector<Step>;
   const Steps opens{{0.0, 0.375, 0.5, -3.0, false},  {1.0, 0.25, 0.0, 0.0, false},
                     {0.25, -0.125, 0.0, 2.0, false}, {1.75, 0.5, 0.0, -3.0, false},
                     {0.5, 0.375, 9.0, 0.0, false},   {1.5, 0.5, 0.0, 0.0, true},
                     {0.0, 0.5, 1.0, 0.0, true},      {0.0, 0.375, 1.0, 0.0, true}};
   const Steps wall{{0.0, 0.25, -1.0, -1.0, true}, {0.0, 0.125, 0.0, -2.0, true},
                    {0.0, 0.1875, 0.5, 2.5, true}, {1.0, -0.125, 0.0, 0.0, true},
                    {1.0, 0.25, 3.0, 0.0, false},  {0.0, 0.25, 0.0, -1.0, false}};
   const Steps latches{{0.0, 0.25, -1.0, 0.0, false}, {0.0, 0.25, -1.0, 1.0, false}};
   const Steps outside{{0.0, 0.5, 1.0, 0.0, true}};
   const std::pair<ZqU32, std::vector<Steps>> scripts[]{
      {Door::ClosedWithTurn, {opens, wall, opens}},
      {Door::ClosedWithoutTurn, {opens, latches, opens}},
      {Door::ClosedWithTurn, {outside, wall}},
      {Door::ClosedWithoutTurn, {outside, latches}}};
   zqTest::RandomScene scene(3, {zqTest::chain(3)});
   zqTest::RandomValues random(1);
   Forces forces(scene.index + 1);
   forces[scene.index].resize(3);
   const auto evaluate = [&](const Door& door, ZqReal handle, ZqReal angle, ZqReal rate)
   {
      scene.position.setJointPositions(ZqRealVector{7.0, angle, handle});
      scene.velocity.setJointVelocities(ZqRealVector{7.0, rate, 7.0});
      ZqSystemActiveState active;
      active.setNumManipulators(scene.index + 1);
      scene.prepare(active.manipulatorActiveStateVector()[scene.index]);
      forces[scene.index].setToZeros();
      door.forceBetweenLinks(active, scene.system.system(), 0.0, {}, forces);
      return forces[scene.index];
   };
   for (const auto& [type, script] : scripts)
   {
      const Door door = doorOf(type, scene.index);
      for (const Steps& part : script)
         for (const Step& step : part)
         {
            SCOPED_TRACE(testing::Message() << type << ": " << step.handle << ' ' << step.door);
            // Trials lead anywhere and leave no trace; what is remembered is all that counts.
            const auto before = door.memory();
            door.beginTrial();
            for (int trial = 0; trial < 4; ++trial)
               evaluate(door, random.real(0.0, 2.0), random.real(-0.3, 0.5), random.real());
            door.endTrial();
            Door restored(door);
            EXPECT_EQ(restored.memory().size(), 0U);
            EXPECT_TRUE(restored.setMemory(before));
            ZqManipulatorExternalForce expected;
            expected.resize(3);
            expected[1].setMoment({0.0, 0.0, step.moment});
            EXPECT_EQ(evaluate(door, step.handle, step.door, step.rate), expected);
            EXPECT_EQ(evaluate(restored, step.handle, step.door, step.rate), expected);
            EXPECT_EQ(restored.memory(), door.memory());
            EXPECT_EQ(door.memory()[0], step.isFree ? 1.0 : 0.0);
         }
   }
   for (const ZqRealVector& numbers :
        {ZqRealVector{0.0}, {0.5, 0.0}, {1.0, zqTest::nan}, {1.0, 0.0, 4.0}})
      EXPECT_FALSE(doorOf(0, 0).setMemory({numbers}));
}

/// The ends of a spring.
struct Ends
{
   /// After the scene has gone on at its rates for a time.
   Ends(const zqTest::RandomScene& scene, const Spring& spring, ZqReal dt)
   {
      ZqManipulatorSystemState state = scene.system.state();
      scene.system.system().propagateStateBy(state, dt);
      ZqSystemActiveState active;
      active.setNonredundantState(state);
      const auto frame = [&](ZqU32 m, int link)
      {
         return scene.system.manipulatorByIndex(m)
            ->linkByIndex(static_cast<ZqU32>(link))
            ->primaryFrameInSystem(active.manipulatorActiveStateVector()[m].activePositionState());
      };
      A = frame(spring.manipulatorOneIndex(), spring.linkOneIndex()) * spring.frameOffsetOne();
      B = frame(spring.manipulatorTwoIndex(), spring.linkTwoIndex()) * spring.frameOffsetTwo();
      gap = B.translation() - A.translation();
      turn = turnOf(A.orientation().inverse() * B.orientation()).mag();
      energy =
         0.5 *
         (spring.linearSpringConstant() * std::pow(gap.mag() - spring.linearSpringOffset(), 2) +
          spring.angularSpringConstant() * std::pow(turn - spring.angularSpringOffset(), 2));
   }
   static ZqVector turnOf(const ZqOrientation& q)
   {
      ZqReal angle = 0.0;
      ZqVector axis;
      q.getAngleAxis(angle, axis);
      return axis * angle;
   }

   ZqCoordinateSystemTransformation A, B;
   ZqVector gap; ///< from A to B
   ZqReal turn, energy;
};

// Between any two links of a scene, bases and links of one manipulator among them.
TEST(LinkInteractions, SpringsConserveMomentumAndPushDownTheirEnergy)
{
   int slopes = 0;
   for (ZqU32 seed = 0; seed < 200; ++seed)
   {
      SCOPED_TRACE(seed);
      zqTest::RandomScene scene(seed, {zqTest::chain(1 + seed % 4), false});
      zqTest::RandomValues& random = scene.random;
      const auto link = [&](ZqU32 m) {
         return static_cast<int>(random.index(0, scene.system.manipulatorByIndex(m)->jointDof())) -
                1;
      };
      Spring spring;
      spring.setManipulatorTwoIndex(scene.index);
      spring.setLinkOneIndex(link(0));
      spring.setLinkTwoIndex(link(scene.index));
      if (spring.linkOneIndex() < 0)
         spring.setLinkOneIndex(-2);
      if (spring.linkTwoIndex() < 0)
         spring.setLinkTwoIndex(-2);
      const bool isOneLink = scene.index == 0 && spring.linkOneIndex() == spring.linkTwoIndex();
      spring.setFrameOffsetOne(zqTest::randomFrame(random));
      spring.setFrameOffsetTwo(zqTest::randomFrame(random));
      Spring damper = spring;
      spring.setLinearSpringConstant(random.real(1.0, 9.0));
      spring.setLinearSpringOffset(random.real(0.0, 2.0));
      spring.setAngularSpringConstant(random.real(1.0, 9.0));
      spring.setAngularSpringOffset(random.real(0.0, 2.0));
      damper.setLinearDamperConstant(random.real(1.0, 9.0));
      damper.setAngularDamperConstant(random.real(1.0, 9.0));
      const ZqReal h = 1e-5; // of which the square, and rounding over it, are far below 1e-6
      const Ends before(scene, spring, -h), now(scene, spring, 0.0), after(scene, spring, h);
      for (const Spring& interaction : {spring, damper})
      {
         ZqSystemActiveState active;
         const Forces& forces = forcesOf(scene.system, active, interaction);
         ZqReal power = 0.0;
         ZqReal size = 1.0;
         ZqGeneralForce sum, onOne;
         for (ZqU32 m = 0; m < forces.size(); ++m)
            for (const ZqManipulatorLink* l :
                 zqTest::inPreorder(*scene.system.manipulatorByIndex(m)))
            {
               ZqManipulatorActiveState& state = active.manipulatorActiveStateVector()[m];
               const ZqGeneralForce& force = *forces[m].forceOn(l->linkIndex());
               const ZqGeneralMotion& motion = l->dhFrameVelocityInLocal(state);
               power += force.force().dot(motion.linear()) + force.moment().dot(motion.angular());
               const ZqGeneralForce inSystem =
                  l->dhFrameInSystem(state.activePositionState()) * force;
               sum += inSystem;
               size += inSystem.force().mag() + inSystem.moment().mag();
               if (m == 0 && l->linkIndex() == static_cast<ZqU32>(spring.linkOneIndex()))
                  onOne = inSystem;
            }
         // Some twenty roundings in frames up to ten metres away.
         EXPECT_TRUE(sum.approxEq({}, 1e-13 * size)) << sum;
         const ZqInteractionEnergy energy = interaction.energy(active, scene.system.system());
         const bool isSpring = interaction == spring;
         EXPECT_NEAR(energy.linkSprings, isSpring ? now.energy : 0.0, 1e-12 * now.energy);
         EXPECT_NEAR(energy.linkDampers, isSpring ? 0.0 : -power, 1e-12 * size);
         // Where the energy has a kink, there is no slope.
         if (interaction == spring && now.gap.mag() > 0.05 && now.turn > 0.05 && now.turn < 3.1)
         {
            slopes += isOneLink ? 0 : 1;
            EXPECT_NEAR(power, (before.energy - after.energy) / (2.0 * h), 1e-6 * size);
         }
         else if (interaction == damper && !isOneLink)
         {
            const auto turned = [](const auto& from, const auto& to)
            { return Ends::turnOf(to.orientation() * from.orientation().inverse()); };
            ZqGeneralForce expected(damper.linearDamperConstant() * (after.gap - before.gap),
                                    damper.angularDamperConstant() *
                                       (turned(before.B, after.B) - turned(before.A, after.A)));
            onOne.transformBy(-0.5 * (now.A.translation() + now.B.translation()));
            EXPECT_TRUE(onOne.approxEq(expected * (0.5 / h), 1e-6 * size));
         }
      }
   }
   EXPECT_GT(slopes, 100);
}

TEST(LinkInteractions, LinksThatAreNotThereAreRejected)
{
   zqTest::RandomValues random(5);
   ZqStatedSystem scene;
   scene.addManipulator(zqTest::randomManipulator(random, 2));
   scene.addManipulator(zqTest::randomManipulator(random, 1));
   scene.addCompatibleState();
   const std::string spring = "ZqSpringAndDamperBetweenLinks::forceBetweenLinks - ";
   const std::string door = "ZqLatchedDoorLinks::forceBetweenLinks ";
   const struct
   {
      bool isDoor;
      ZqU32 manipulators[2];
      int links[2];
      std::string message;
   } cases[]{{false, {0, 1}, {1, -2}, ""},
             {false, {2, 0}, {0, 0}, spring + "manipulator index out of range.\n"},
             {false, {0, ZqNoLinkIndex}, {5, 0}, spring + "manipulator index out of range.\n"},
             {false, {0, 1}, {2, 0}, spring + "link index out of range.\n"},
             {false, {1, 0}, {-1, 0}, spring + "link index out of range.\n"},
             {false, {1, 0}, {0, -3}, spring + "link index out of range.\n"},
             {true, {0}, {1, 0}, ""},
             {true, {2}, {0, 0}, door + "manipulator Index out of range\n"},
             {true, {1}, {1, 0}, door + "link Index out of range\n"},
             {true, {0}, {0, -2}, door + "link Index out of range\n"}};
   for (const auto& c : cases)
   {
      Spring s;
      s.setLinearSpringConstant(3.0);
      s.setManipulatorOneIndex(c.manipulators[0]);
      s.setManipulatorTwoIndex(c.manipulators[1]);
      s.setLinkOneIndex(c.links[0]);
      s.setLinkTwoIndex(c.links[1]);
      Door d = doorOf(0, c.manipulators[0]);
      d.setDoorLinkId(static_cast<ZqU32>(c.links[0]));
      d.setHandleLinkId(static_cast<ZqU32>(c.links[1]));
      const zqTest::LogCapture log;
      ZqSystemActiveState active;
      const Forces& forces =
         forcesOf(scene, active, c.isDoor ? static_cast<const ZqBaseLinkInteractions&>(d) : s);
      EXPECT_EQ(log.text(), c.message.empty() ? "" : c.message + '\n');
      Forces none(2);
      none[0].resize(2);
      none[1].resize(1);
      EXPECT_EQ(forces == none, !c.message.empty());
      const std::size_t said = log.size();
      s.setLinearSpringConstant(zqTest::nan);
      s.setFrameOffsetTwo(ZqVector(0.0, zqTest::infinity, 0.0));
      d.setDamperConstant(zqTest::nan);
      d.setLatchType(2);
      EXPECT_EQ(log.size(), said + 4);
      EXPECT_EQ(s.linearSpringConstant() + d.damperConstant(), 5.0);
   }
}

TEST(LinkInteractions, FirstContactGivesThePrecision)
{
   ZqManipulatorSystem system;
   ZqLinkInteractionsVector interactions;
   interactions.pushBack(Spring());
   for (const ZqU32 level : {3U, 4U})
   {
      ZqLinkCollisionForce contacts;
      contacts.setPrecisionLevel(level);
      interactions.pushBack(contacts);
   }
   system.setLinkInteractionsVector(interactions);
   EXPECT_EQ(ZqManipulatorSystem(system).collisionDetectionPrecisionLevel(), 3U);
   system.setFromIndividualManipulator({});
   EXPECT_EQ(system.linkInteractionsVector().size() + system.collisionDetectionPrecisionLevel(),
             0U);
}

/// A law that pushes both bodies by 1 N, for each record.
class Push : public ZqXmlClass<Push, ZqBaseCollisionForceProcessor>
{
public:
   static const ZqToken& classToken() { return zqTest::sampleToken; }
   bool operator==(const Push&) const = default;
   bool process(ZqShapeCollisionData& data, ZqSystemActiveState&,
                const ZqXmlVectorType<ZqManipulatorTorque>&, Forces& forces,
                const ZqReal&) const override
   {
      for (const ZqShapeKey& key : {data.key1(), data.key2()})
         forces[key.manipulatorIndex()][key.linkIndex()] += ZqGeneralForce({1.0, 0.0, 0.0}, {});
      return true;
   }
};

// Three arms, each a base and a link with a sphere of radius 0.5 at the same place. The second one touches
// both others, whose boxes overlap; the third one's outer volume touches the first one.
TEST(LinkInteractions, ContactsOfLinksThatMayCollideCount)
{
   ZqStatedSystem scene;
   const ZqVector places[]{{}, {0.8, 0.0, 0.0}, {0.8, 0.8, 0.0}};
   for (int i = 0; i < 3; ++i)
   {
      ZqSphere sphere(ZqVector(), 0.5);
      if (i == 2)
         sphere.addBoundingVolume(ZqSphere(ZqVector(), 0.7));
      ZqManipulatorLink link;
      link.setLinkLabel("link");
      link.setShape(sphere);
      ZqIndividualManipulator arm;
      arm.setLinkLabel("base");
      arm.setManipulatorLabel("arm" + std::to_string(i));
      arm.setShape(sphere);
      arm.addChild(link);
      arm.setCoordSysXForm(places[i]);
      scene.addManipulator(arm);
   }
   scene.addCompatibleState();
   ZqManipulatorSelfCollisionLinkMap own;
   own.setLinkCollisionCanditateByIdentifier("base", "link", true);
   scene.setSelfCollisionMap(own, 0);
   ZqSystemCollisionExclusionMap map;
   map.excludeLinkCollisionCandidate(0, "link", 1, "link");
   scene.setCollisionExclusionMap(map);
   ZqLinkCollisionForce contacts;
   ZqSystemActiveState active;
   EXPECT_EQ(forcesOf(scene, active, contacts)[0].baseForce(), ZqGeneralForce()); // without a law
   ZqCollisionForceContainer law;
   law.setTopElement(Push());
   contacts.setCollisionForceContainer(law);
   for (const ZqU32 level : {0U, 1U})
   {
      contacts.setPrecisionLevel(level);
      active.systemShapeCollisionCache().invalidateAll();
      const Forces& forces = forcesOf(scene, active, contacts);
      const ZqReal far = level == 0 ? 0.0 : 2.0;
      const ZqReal ofLinks[]{2.0 + far, 3.0, 2.0 + far};
      const ZqReal ofBases[]{3.0 + far, 4.0, 2.0 + far};
      for (ZqU32 m = 0; m < 3; ++m)
      {
         EXPECT_EQ(forces[m][0].force().x(), ofLinks[m]) << level << ' ' << m;
         EXPECT_EQ(forces[m].baseForce().force().x(), ofBases[m]) << level << ' ' << m;
      }
   }
   // Once sizes have settled, nothing is allocated.
   std::size_t allocations = 0;
   for (int i = 0; i < 8; ++i)
   {
      ZqManipulatorSystemState state = scene.state();
      state.positionStates()[1].setCoordSysXForm(ZqVector(0.01 * (i % 2), 0.0, 0.0));
      active.setNonredundantState(state);
      active.systemShapeCollisionCache().invalidateAll();
      active.setGeneralForceValid(false);
      const zqTest::AllocationCount count;
      scene.system().processLinkInteractions(active, 0.0, {});
      allocations = count.count();
   }
   EXPECT_EQ(allocations, 0U);
}
} // namespace
