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

/// A model in a state, with the forces of interactions on it.
struct Scene
{
   void add(const ZqIndividualManipulator& model, const ZqPositionState& position = {},
            const ZqVelocityState& velocity = {})
   {
      system.addManipulator(model);
      state.positionStates().pushBack(position);
      state.velocityStates().pushBack(velocity);
      state.positionStates()[state.positionStates().size() - 1].jointPositions().values().resize(
         model.jointDof());
      state.velocityStates()[state.velocityStates().size() - 1].jointVelocities().values().resize(
         model.jointDof());
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

Scene chains(zqTest::RandomValues& random, const std::vector<ZqU32>& lengths)
{
   Scene scene;
   for (const ZqU32 n : lengths)
   {
      ZqPositionState position;
      ZqVelocityState velocity;
      position.setCoordSysXForm(zqTest::randomFrame(random));
      ZqIndividualManipulator model = zqTest::randomManipulator(random, n);
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

// k = 10, c = 2; the frame is [-0.1, 0.3], and the handle unlatches in [0.5, 1.5].
Door doorOf(ZqU32 type)
{
   Door door;
   door.setLatchType(type);
   door.setSpringConstant(10.0);
   door.setDamperConstant(2.0);
   door.setDoorLinkId(1);
   door.setHandleLinkId(2);
   door.setUnlatchingAngleLowerBound(0.5);
   door.setUnlatchingAngleUpperBound(1.5);
   door.setClosedDoorAngleLowerBound(-0.1);
   door.setClosedDoorAngleUpperBound(0.3);
   return door;
}

TEST(LinkInteractions, DoorsFollowTheirTable)
{
   struct Step
   {
      ZqReal handle, door, rate, torque;
      bool isFree;
   };
   const Step opens[]{{0.0, 0.3, 0.5, -3.0, false}, {1.0, 0.2, 0.0, 0.0, false},
                      {0.4, -0.1, 0.0, 2.0, false}, {1.6, 0.5, 0.0, -4.0, false},
                      {0.5, 0.3, 9.0, 0.0, false},  {1.5, 0.35, 0.0, 0.0, true},
                      {0.0, 0.35, 1.0, 0.0, true},  {0.0, 0.3, 1.0, 0.0, true}};
   const Step wall[]{{0.0, 0.25, -1.0, -1.5, true}, {0.0, 0.1, 0.0, -2.0, true},
                     {0.0, 0.15, 0.5, 2.5, true},   {1.0, -0.1, 0.0, 0.0, true},
                     {1.0, 0.2, 3.0, 0.0, false},   {0.0, 0.2, 0.0, -1.0, false}};
   const Step latches[]{{0.0, 0.25, -1.0, 0.0, false}, {0.0, 0.25, -1.0, 0.5, false}};
   const Step outside[]{{0.0, 0.4, 1.0, 0.0, true}};
   const struct
   {
      ZqU32 type;
      std::vector<std::span<const Step>> script;
   } cases[]{{Door::ClosedWithTurn, {opens, wall, opens}},
             {Door::ClosedWithoutTurn, {opens, latches, opens}},
             {Door::ClosedWithTurn, {outside, wall}},
             {Door::ClosedWithoutTurn, {outside, latches}}};
   zqTest::RandomValues random(1);
   Scene scene = chains(random, {0, 3});
   scene.active.setNonredundantState(scene.state);
   Forces forces(2);
   forces[1].resize(3);
   for (const auto& c : cases)
   {
      Door door = doorOf(c.type);
      door.setManipulatorId(1);
      const auto torqueAt = [&](const Door& which, ZqReal handle, ZqReal angle, ZqReal rate)
      {
         scene.state.positionStates()[1].setJointPositions(ZqRealVector{7.0, angle, handle});
         scene.state.velocityStates()[1].setJointVelocities(ZqRealVector{7.0, rate, 7.0});
         scene.active.setNonredundantState(scene.state);
         forces[1].setToZeros();
         which.forceBetweenLinks(scene.active, scene.system, 0.0, {}, forces);
         return forces[1][1].moment().z();
      };
      EXPECT_EQ(door.memory().size(), 0U);
      for (const auto& part : c.script)
         for (const Step& step : part)
         {
            SCOPED_TRACE(testing::Message() << c.type << ": " << step.handle << ' ' << step.door);
            // Trials lead to anything, and leave no trace; what is remembered is all that counts.
            const auto before = door.memory();
            door.beginTrial();
            for (int trial = 0; trial < 4; ++trial)
               torqueAt(door, random.real(0.0, 2.0), random.real(-0.3, 0.5), random.real());
            door.endTrial();
            EXPECT_EQ(door.memory(), before);
            Door restored(door);
            EXPECT_EQ(restored.memory().size(), 0U);
            EXPECT_TRUE(restored.setMemory(before));

            EXPECT_NEAR(torqueAt(door, step.handle, step.door, step.rate), step.torque, 1e-14);
            const ZqGeneralForce told({}, {0.0, 0.0, forces[1][1].moment().z()});
            EXPECT_EQ(forces[1][1], told);
            EXPECT_EQ(forces[1][0] + forces[1][2] + forces[1].baseForce(), ZqGeneralForce());
            EXPECT_EQ(torqueAt(restored, step.handle, step.door, step.rate), told.moment().z());
            EXPECT_EQ(restored.memory(), door.memory());
            EXPECT_EQ(door.memory()[0], step.isFree ? 1.0 : 0.0);
         }
   }
   Door door = doorOf(0);
   for (const ZqRealVector& numbers :
        {ZqRealVector{0.0}, {0.5, 0.0}, {1.0, zqTest::nan}, {1.0, 0.0, 0.0}})
      EXPECT_FALSE(door.setMemory({numbers}));
   EXPECT_EQ(door.memory().size(), 0U);
}

/// Any spring and damper between two links of two manipulators, or between a link and itself.
Spring randomSpring(zqTest::RandomValues& random, const std::vector<ZqU32>& lengths)
{
   Spring spring;
   const auto link = [&](ZqU32 m)
   {
      const ZqU32 j = random.index(0, lengths[m]);
      return j == lengths[m] ? -2 : static_cast<int>(j);
   };
   spring.setManipulatorOneIndex(random.index(0, 1));
   spring.setManipulatorTwoIndex(random.index(0, 1));
   spring.setLinkOneIndex(link(spring.manipulatorOneIndex()));
   spring.setLinkTwoIndex(link(spring.manipulatorTwoIndex()));
   spring.setFrameOffsetOne(zqTest::randomFrame(random));
   spring.setFrameOffsetTwo(zqTest::randomFrame(random));
   return spring;
}

TEST(LinkInteractions, SpringsConserveMomentumAndPushDownTheirEnergy)
{
   const std::vector<ZqU32> lengths{3, 2};
   for (ZqU32 seed = 0; seed < 200; ++seed)
   {
      SCOPED_TRACE(seed);
      zqTest::RandomValues random(seed);
      Scene scene = chains(random, lengths);
      Spring spring = randomSpring(random, lengths);
      Spring damper = spring;
      spring.setLinearSpringConstant(random.real(1.0, 9.0));
      spring.setLinearSpringOffset(random.real(0.0, 2.0));
      spring.setAngularSpringConstant(random.real(1.0, 9.0));
      spring.setAngularSpringOffset(random.real(0.0, 2.0));
      damper.setLinearDamperConstant(random.real(1.0, 9.0));
      damper.setAngularDamperConstant(random.real(1.0, 9.0));

      struct Ends
      {
         ZqReal energy;
         ZqVector gap, middle, turn; ///< of B less A; the turn from A to B in the axes of A
         ZqOrientation axes[2];
      };
      const auto frame = [&](Scene& s, ZqU32 m, int link, const auto& offset)
      {
         return s.link(m, static_cast<ZqU32>(link))
                   .primaryFrameInSystem(s.of(m).activePositionState()) *
                offset;
      };
      const auto endsAfter = [&](ZqReal dt)
      {
         Scene moved = scene;
         moved.system.propagateStateBy(moved.state, dt);
         moved.active.setNonredundantState(moved.state);
         const auto A = frame(moved, spring.manipulatorOneIndex(), spring.linkOneIndex(),
                              spring.frameOffsetOne());
         const auto B = frame(moved, spring.manipulatorTwoIndex(), spring.linkTwoIndex(),
                              spring.frameOffsetTwo());
         const ZqVector d = B.translation() - A.translation();
         ZqReal angle = 0.0;
         ZqVector axis;
         (A.orientation().inverse() * B.orientation()).getAngleAxis(angle, axis);
         const ZqReal stretch = d.mag() - spring.linearSpringOffset();
         const ZqReal twist = angle - spring.angularSpringOffset();
         return Ends{0.5 * (spring.linearSpringConstant() * stretch * stretch +
                            spring.angularSpringConstant() * twist * twist),
                     d,
                     0.5 * (A.translation() + B.translation()),
                     axis * angle,
                     {A.orientation(), B.orientation()}};
      };
      // Second differences are of the size of velocities squared over the distance of the ends.
      const ZqReal h = 1e-5;
      const Ends now = endsAfter(0.0);
      const Ends before = endsAfter(-h);
      const Ends after = endsAfter(h);
      // Where the energy has a kink, there is no slope.
      if (now.gap.mag() < 0.05 || now.turn.mag() < 0.05 || now.turn.mag() > 3.1)
      {
         const bool isOne = spring.manipulatorOneIndex() == spring.manipulatorTwoIndex() &&
                            spring.linkOneIndex() == spring.linkTwoIndex();
         EXPECT_TRUE(isOne || seed > 0);
         continue;
      }
      const auto rate = [&](const ZqVector& a, const ZqVector& b) { return (b - a) / (2.0 * h); };
      const auto turnRate = [&](int end)
      {
         ZqReal angle = 0.0;
         ZqVector axis;
         (after.axes[end] * before.axes[end].inverse()).getAngleAxis(angle, axis);
         return axis * (angle / (2.0 * h));
      };

      for (const Spring& interaction : {spring, damper})
      {
         const Forces& forces = scene.forcesOf(interaction);
         ZqReal power = 0.0;
         ZqGeneralForce sum;
         ZqGeneralForce onOne;
         ZqReal size = 1.0;
         for (ZqU32 m = 0; m < 2; ++m)
            for (ZqU32 j = 0; j <= lengths[m]; ++j)
            {
               const ZqU32 index = j == lengths[m] ? ZqBaseLinkIndex : j;
               const ZqManipulatorLink& link = scene.link(m, index);
               const ZqGeneralForce& force = *forces[m].forceOn(index);
               const ZqGeneralMotion& velocity = link.dhFrameVelocityInLocal(scene.of(m));
               power +=
                  force.force().dot(velocity.linear()) + force.moment().dot(velocity.angular());
               const ZqGeneralForce inSystem =
                  link.dhFrameInSystem(scene.of(m).activePositionState()) * force;
               sum += inSystem;
               size += inSystem.force().mag() + inSystem.moment().mag();
               if (m == spring.manipulatorOneIndex() &&
                   index == static_cast<ZqU32>(spring.linkOneIndex()))
                  onOne = inSystem;
            }
         // Of some twenty roundings in frames at distances of up to ten metres.
         EXPECT_TRUE(sum.approxEq({}, 1e-13 * size)) << sum;
         if (interaction == spring)
         {
            EXPECT_NEAR(power, -(after.energy - before.energy) / (2.0 * h),
                        1e-6 * (1.0 + std::abs(power)));
            continue;
         }
         if (spring.manipulatorOneIndex() == spring.manipulatorTwoIndex() &&
             spring.linkOneIndex() == spring.linkTwoIndex())
            continue; // no end is alone on its link
         onOne.transformBy(-now.middle);
         EXPECT_TRUE(onOne.force().approxEq(
            damper.linearDamperConstant() * rate(before.gap, after.gap), 1e-6 * size));
         EXPECT_TRUE(onOne.moment().approxEq(
            damper.angularDamperConstant() * (turnRate(1) - turnRate(0)), 1e-6 * size));
      }
   }
}

TEST(LinkInteractions, LinksThatAreNotThereAreRejected)
{
   zqTest::RandomValues random(5);
   Scene scene = chains(random, {2, 1});
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
      const auto [one, two] = c.links;
      Spring s;
      s.setLinearSpringConstant(3.0);
      s.setManipulatorOneIndex(c.manipulators[0]);
      s.setManipulatorTwoIndex(c.manipulators[1]);
      s.setLinkOneIndex(one);
      s.setLinkTwoIndex(two);
      Door d = doorOf(0);
      d.setClosedDoorAngleUpperBound(9.0);
      d.setClosedDoorAngleLowerBound(-9.0);
      d.setManipulatorId(c.manipulators[0]);
      d.setDoorLinkId(static_cast<ZqU32>(one));
      d.setHandleLinkId(static_cast<ZqU32>(two));
      const LogCapture log;
      const Forces& forces =
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
   ZqLinkCollisionForce contacts;
   contacts.setPrecisionLevel(3);
   interactions.pushBack(contacts);
   contacts.setPrecisionLevel(4);
   interactions.pushBack(contacts);
   ZqManipulatorSystem system;
   system.addManipulator({});
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
      const std::size_t next = text.find('<' + std::string(name), place);
      EXPECT_NE(next, std::string::npos) << name;
      place = next;
   }
   ZqManipulatorSystem read;
   EXPECT_TRUE(zqTest::readFrom(read, text));
   EXPECT_EQ(read, system);
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

// Three arms, each a base and a link with a sphere of radius 0.5 at the same place, in a row 0.8 m apart.
TEST(LinkInteractions, ContactsOfLinksThatMayCollideCount)
{
   Scene scene;
   for (int i = 0; i < 3; ++i)
   {
      ZqSphere sphere(ZqVector(), 0.5);
      if (i == 2) // whose outer volume reaches the first one
         sphere.addBoundingVolume(ZqSphere(ZqVector(), 1.2));
      ZqManipulatorLink link;
      link.setLinkLabel("link");
      link.setShape(sphere);
      ZqIndividualManipulator arm;
      arm.setLinkLabel("base");
      arm.setManipulatorLabel("arm" + std::to_string(i));
      arm.setShape(sphere);
      arm.addChild(link);
      ZqPositionState position;
      position.setCoordSysXForm(ZqVector(0.8 * i, 0.0, 0.0));
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
