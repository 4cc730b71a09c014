#include "support/allocationCount.h"
#include "support/logCapture.h"
#include "support/randomManipulators.h"
#include "support/xmlSamples.h"
#include "zqManipulator/foundation/geometry/ZqSphere.h"
#include "zqManipulator/foundation/proximity/ZqSystemShapeCollisionCache.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/simulation/interactions/ZqLatchedDoorLinks.h"
#include "zqManipulator/simulation/interactions/ZqLinkCollisionForce.h"
#include "zqManipulator/simulation/interactions/ZqSpringAndDamperBetweenLinks.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

namespace
{
using Door = ZqLatchedDoorLinks;
using Spring = ZqSpringAndDamperBetweenLinks;
using Forces = ZqXmlVectorType<ZqManipulatorExternalForce>;
using zqTest::LogCapture;

/// A model in a state.
struct Scene
{
   void add(const ZqIndividualManipulator& model, ZqPositionState position = {},
            ZqVelocityState velocity = {})
   {
      position.jointPositions().values().resize(model.jointDof());
      velocity.jointVelocities().values().resize(model.jointDof());
      system.addManipulator(model);
      state.positionStates().pushBack(position);
      state.velocityStates().pushBack(velocity);
   }
   const Forces& forcesOf(const ZqBaseLinkInteractions& interaction)
   {
      ZqLinkInteractionsVector interactions;
      interactions.pushBack(interaction);
      system.setLinkInteractionsVector(interactions);
      active.setNonredundantState(state);
      active.setGeneralForceValid(false);
      system.processLinkInteractions(active, 0.0, {});
      EXPECT_TRUE(active.generalForceValid());
      return active.generalForceVector();
   }
   const ZqManipulatorLink& link(ZqU32 manipulator, ZqU32 index) const
   {
      return *system.manipulators()[manipulator].linkByIndex(index);
   }
   ZqManipulatorActiveState& of(ZqU32 i) { return active.manipulatorActiveStateVector()[i]; }

   ZqManipulatorSystem system;
   ZqManipulatorSystemState state;
   ZqSystemActiveState active;
};

/// Trees of so many links, on fixed or free bases, in a random state.
Scene trees(zqTest::RandomValues& random, const std::vector<ZqU32>& sizes)
{
   Scene scene;
   for (const ZqU32 n : sizes)
   {
      const ZqIndividualManipulator model = zqTest::randomManipulator(random, n);
      ZqPositionState position;
      ZqVelocityState velocity;
      position.setCoordSysXForm(zqTest::randomFrame(random));
      if (!model.isFixedBase())
         velocity.setGeneralVelocity(zqTest::randomMotion(random));
      for (ZqU32 j = 0; j < n; ++j)
      {
         position.jointPositions().pushBack(random.real());
         velocity.jointVelocities().pushBack(random.real());
      }
      scene.add(model, position, velocity);
   }
   return scene;
}

// k = 8, c = 2; the frame is [-0.125, 0.375], and the handle unlatches in [0.5, 1.5].
Door doorOf(ZqU32 type)
{
   Door door;
   door.setLatchType(type);
   door.setSpringConstant(8.0);
   door.setDamperConstant(2.0);
   door.setManipulatorId(1);
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
   const struct
   {
      ZqU32 type;
      std::vector<Steps> script;
   } cases[]{{Door::ClosedWithTurn, {opens, wall, opens}},
             {Door::ClosedWithoutTurn, {opens, latches, opens}},
             {Door::ClosedWithTurn, {outside, wall}},
             {Door::ClosedWithoutTurn, {outside, latches}}};
   zqTest::RandomValues random(1);
   Scene scene = trees(random, {0, 3});
   Forces forces(2);
   forces[1].resize(3);
   const auto momentAt = [&](const Door& door, ZqReal handle, ZqReal angle, ZqReal rate)
   {
      scene.state.positionStates()[1].setJointPositions(ZqRealVector{7.0, angle, handle});
      scene.state.velocityStates()[1].setJointVelocities(ZqRealVector{7.0, rate, 7.0});
      scene.active.setNonredundantState(scene.state);
      forces[1].setToZeros();
      door.forceBetweenLinks(scene.active, scene.system, 0.0, {}, forces);
      return forces[1][1].moment().z();
   };
   for (const auto& c : cases)
   {
      const Door door = doorOf(c.type);
      EXPECT_EQ(door.memory().size(), 0U);
      for (const Steps& part : c.script)
         for (const Step& step : part)
         {
            SCOPED_TRACE(testing::Message() << c.type << ": " << step.handle << ' ' << step.door);
            // Trials lead anywhere and leave no trace. What is remembered, and not copied, is all that
            // counts.
            const auto before = door.memory();
            door.beginTrial();
            for (int trial = 0; trial < 4; ++trial)
               momentAt(door, random.real(0.0, 2.0), random.real(-0.3, 0.5), random.real());
            door.endTrial();
            EXPECT_EQ(door.memory(), before);
            Door restored(door);
            EXPECT_EQ(restored.memory().size(), 0U);
            EXPECT_TRUE(restored.setMemory(before));

            EXPECT_EQ(momentAt(door, step.handle, step.door, step.rate), step.moment);
            EXPECT_EQ(forces[1][1], ZqGeneralForce({}, {0.0, 0.0, step.moment}));
            EXPECT_EQ(forces[1][0] + forces[1][2] + forces[1].baseForce(), ZqGeneralForce());
            EXPECT_EQ(momentAt(restored, step.handle, step.door, step.rate), step.moment);
            EXPECT_EQ(restored.memory(), door.memory());
            EXPECT_EQ(door.memory()[0], step.isFree ? 1.0 : 0.0);
         }
   }
   Door door = doorOf(0);
   for (const ZqRealVector& numbers :
        {ZqRealVector{0.0}, {0.5, 0.0}, {1.0, zqTest::nan}, {1.0, 0.0, 0.0}})
      EXPECT_FALSE(door.setMemory({numbers}));
}

struct Ends
{
   ZqCoordinateSystemTransformation A, B;

   ZqVector gap() const { return B.translation() - A.translation(); }
   /// From A to B in the axes of A, as the vector of the angle along the axis.
   ZqVector turn() const { return turnOf(A.orientation().inverse() * B.orientation()); }
   ZqReal energy(const Spring& spring) const
   {
      return 0.5 * (spring.linearSpringConstant() *
                       std::pow(gap().mag() - spring.linearSpringOffset(), 2) +
                    spring.angularSpringConstant() *
                       std::pow(turn().mag() - spring.angularSpringOffset(), 2));
   }
   static ZqVector turnOf(const ZqOrientation& q)
   {
      ZqReal angle = 0.0;
      ZqVector axis;
      q.getAngleAxis(angle, axis);
      return axis * angle;
   }
};

/// Where the ends are after the scene has gone on at its rates.
Ends endsAfter(Scene scene, const Spring& spring, ZqReal dt)
{
   scene.system.propagateStateBy(scene.state, dt);
   scene.active.setNonredundantState(scene.state);
   const auto frame = [&](ZqU32 m, int link)
   {
      return scene.link(m, static_cast<ZqU32>(link))
         .primaryFrameInSystem(scene.of(m).activePositionState());
   };
   return {frame(spring.manipulatorOneIndex(), spring.linkOneIndex()) * spring.frameOffsetOne(),
           frame(spring.manipulatorTwoIndex(), spring.linkTwoIndex()) * spring.frameOffsetTwo()};
}

// Between any two links of two trees, bases among them.
TEST(LinkInteractions, SpringsConserveMomentumAndPushDownTheirEnergy)
{
   const std::vector<ZqU32> sizes{3, 2};
   int slopes = 0;
   for (ZqU32 seed = 0; seed < 200; ++seed)
   {
      SCOPED_TRACE(seed);
      zqTest::RandomValues random(seed);
      Scene scene = trees(random, sizes);
      const auto index = [&](ZqU32 m)
      {
         const ZqU32 j = random.index(0, sizes[m]);
         return j == sizes[m] ? -2 : static_cast<int>(j);
      };
      Spring spring;
      spring.setManipulatorOneIndex(random.index(0, 1));
      spring.setManipulatorTwoIndex(random.index(0, 1));
      spring.setLinkOneIndex(index(spring.manipulatorOneIndex()));
      spring.setLinkTwoIndex(index(spring.manipulatorTwoIndex()));
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
      const Ends now = endsAfter(scene, spring, 0.0);
      const Ends before = endsAfter(scene, spring, -h);
      const Ends after = endsAfter(scene, spring, h);
      const bool isOneLink = spring.manipulatorOneIndex() == spring.manipulatorTwoIndex() &&
                             spring.linkOneIndex() == spring.linkTwoIndex();
      // Where the energy has a kink, there is no slope.
      const bool hasSlope =
         now.gap().mag() > 0.05 && now.turn().mag() > 0.05 && now.turn().mag() < 3.1;
      slopes += hasSlope && !isOneLink ? 1 : 0;

      for (const Spring& interaction : {spring, damper})
      {
         const Forces& forces = scene.forcesOf(interaction);
         ZqReal power = 0.0;
         ZqReal size = 1.0;
         ZqGeneralForce sum, onOne;
         for (ZqU32 m = 0; m < 2; ++m)
            for (ZqU32 j = 0; j <= sizes[m]; ++j)
            {
               const ZqU32 place = j == sizes[m] ? ZqBaseLinkIndex : j;
               const ZqManipulatorLink& link = scene.link(m, place);
               const ZqGeneralForce& force = *forces[m].forceOn(place);
               const ZqGeneralMotion& motion = link.dhFrameVelocityInLocal(scene.of(m));
               power += force.force().dot(motion.linear()) + force.moment().dot(motion.angular());
               const ZqGeneralForce inSystem =
                  link.dhFrameInSystem(scene.of(m).activePositionState()) * force;
               sum += inSystem;
               size += inSystem.force().mag() + inSystem.moment().mag();
               if (m == spring.manipulatorOneIndex() &&
                   place == static_cast<ZqU32>(spring.linkOneIndex()))
                  onOne = inSystem;
            }
         // Some twenty roundings in frames up to ten metres away.
         EXPECT_TRUE(sum.approxEq({}, 1e-13 * size)) << sum;
         if (interaction == spring && hasSlope)
         {
            EXPECT_NEAR(power, (before.energy(spring) - after.energy(spring)) / (2.0 * h),
                        1e-6 * size);
         }
         else if (interaction == damper && !isOneLink)
         {
            const auto rate = [&](const ZqVector& difference) { return difference / (2.0 * h); };
            const auto turned = [](const auto& from, const auto& to)
            { return Ends::turnOf(to.orientation() * from.orientation().inverse()); };
            onOne.transformBy(-0.5 * (now.A.translation() + now.B.translation()));
            EXPECT_TRUE(
               onOne.approxEq({damper.linearDamperConstant() * rate(after.gap() - before.gap()),
                               damper.angularDamperConstant() *
                                  rate(turned(before.B, after.B) - turned(before.A, after.A))},
                              1e-6 * size));
         }
      }
   }
   EXPECT_GT(slopes, 100);
}

TEST(LinkInteractions, LinksThatAreNotThereAreRejected)
{
   zqTest::RandomValues random(5);
   Scene scene = trees(random, {2, 1});
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
             {false, {0, 1}, {0, 1}, spring + "link index out of range.\n"},
             {false, {1, 0}, {-1, 0}, spring + "link index out of range.\n"},
             {false, {1, 0}, {0, -3}, spring + "link index out of range.\n"},
             {true, {0, 0}, {1, 0}, ""},
             {true, {2, 2}, {0, 0}, door + "manipulator Index out of range\n"},
             {true, {1, 1}, {1, 0}, door + "link Index out of range\n"},
             {true, {0, 0}, {0, -2}, door + "link Index out of range\n"}};
   for (const auto& c : cases)
   {
      Spring s;
      s.setLinearSpringConstant(3.0);
      s.setManipulatorOneIndex(c.manipulators[0]);
      s.setManipulatorTwoIndex(c.manipulators[1]);
      s.setLinkOneIndex(c.links[0]);
      s.setLinkTwoIndex(c.links[1]);
      Door d = doorOf(0);
      d.setClosedDoorAngleUpperBound(9.0);
      d.setUnlatchingAngleLowerBound(9.0);
      d.setManipulatorId(c.manipulators[0]);
      d.setDoorLinkId(static_cast<ZqU32>(c.links[0]));
      d.setHandleLinkId(static_cast<ZqU32>(c.links[1]));
      d.setClosedDoorAngleLowerBound(-9.0);
      const LogCapture log;
      const Forces forces =
         scene.forcesOf(c.isDoor ? static_cast<const ZqBaseLinkInteractions&>(d) : s);
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

TEST(LinkInteractions, StandInDocumentsInOrder)
{
   ZqLinkInteractionsVector interactions;
   interactions.pushBack(Spring());
   for (const ZqU32 level : {3U, 4U})
   {
      ZqLinkCollisionForce contacts;
      contacts.setPrecisionLevel(level);
      interactions.pushBack(contacts);
   }
   ZqManipulatorSystem system;
   EXPECT_EQ(zqTest::written(system).find("linkInteractionsVector"), std::string::npos);
   EXPECT_EQ(system.collisionDetectionPrecisionLevel(), 0U);
   system.setLinkInteractionsVector(interactions);

   const std::string text = zqTest::written(system);
   std::size_t place = 0;
   for (const char* name :
        {"environment", "manipulators", "linkInteractionsVector", "linearSpringConstant",
         "angularSpringConstant", "linearSpringOffset", "angularSpringOffset",
         "linearDamperConstant", "angularDamperConstant", "manipulatorOneIndex",
         "manipulatorTwoIndex", "linkOneIndex", "linkTwoIndex", "frameOffsetOne", "frameOffsetTwo",
         "collisionForceContainer", "collisionBvhPrecisionLevel", "systemCollisionExclusionSet"})
   {
      place = text.find('<' + std::string(name), place);
      ASSERT_NE(place, std::string::npos) << name;
   }
   ZqManipulatorSystem read;
   EXPECT_TRUE(zqTest::readFrom(read, text));
   EXPECT_TRUE(read == system);
   EXPECT_EQ(read.collisionDetectionPrecisionLevel(), 3U);
   EXPECT_EQ(ZqManipulatorSystem(read).collisionDetectionPrecisionLevel(), 3U);
   read.setFromIndividualManipulator({});
   EXPECT_EQ(read.linkInteractionsVector().size() + read.collisionDetectionPrecisionLevel(), 0U);
}

/// A law that pushes both bodies by 1 N, for each record.
class Push : public ZqXmlClass<Push, ZqBaseCollisionForceProcessor>
{
public:
   static const ZqToken& classToken() { return zqTest::sampleToken; }
   static constexpr const char* documentation = "a push";
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
   Scene scene;
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
      ZqPositionState position;
      position.setCoordSysXForm(ZqVector(i > 0 ? 0.8 : 0.0, i > 1 ? 0.8 : 0.0, 0.0));
      scene.add(arm, position);
   }
   ZqManipulatorSelfCollisionLinkMap own;
   own.setLinkCollisionCanditateByIdentifier("base", "link", true);
   scene.system.setSelfCollisionMap(own, 0);
   ZqSystemCollisionExclusionMap map;
   map.excludeLinkCollisionCandidate(0, "link", 1, "link");
   scene.system.setCollisionExclusionMap(map);
   ZqLinkCollisionForce contacts;
   EXPECT_EQ(scene.forcesOf(contacts)[0].baseForce(), ZqGeneralForce()); // without a law
   ZqCollisionForceContainer law;
   law.setTopElement(Push());
   contacts.setCollisionForceContainer(law);
   for (const ZqU32 level : {0U, 1U})
   {
      contacts.setPrecisionLevel(level);
      scene.active.systemShapeCollisionCache().invalidateAll();
      const Forces& forces = scene.forcesOf(contacts);
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
      scene.state.positionStates()[1].setCoordSysXForm(ZqVector(0.8 + 0.01 * (i % 2), 0.0, 0.0));
      scene.active.setNonredundantState(scene.state);
      scene.active.systemShapeCollisionCache().invalidateAll();
      scene.active.setGeneralForceValid(false);
      const zqTest::AllocationCount count;
      scene.system.processLinkInteractions(scene.active, 0.0, {});
      allocations = count.count();
   }
   EXPECT_EQ(allocations, 0U);
}
} // namespace
