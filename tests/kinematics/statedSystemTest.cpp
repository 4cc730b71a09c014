#include "support/randomManipulators.h"
#include "support/xmlSamples.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"

#include <functional>

namespace
{
ZqIndividualManipulator randomArm(const ZqString& label, ZqU32 links, ZqU32 seed = 7)
{
   zqTest::RandomValues random(seed);
   ZqIndividualManipulator manipulator = zqTest::randomManipulator(random, links);
   manipulator.setManipulatorLabel(label);
   manipulator.fitAbsoluteBoundingSphere();
   return manipulator;
}

/// Two manipulators, of two links and three, in a state that fits.
ZqStatedSystem scene()
{
   zqTest::RandomValues random(8);
   ZqStatedSystem stated;
   for (const ZqU32 links : {2U, 3U})
   {
      const ZqIndividualManipulator manipulator = randomArm(links == 2 ? "a" : "b", links, links);
      ZqVelocityState velocity;
      velocity.setJointVelocities(random.array(links, 1));
      velocity.setGeneralVelocity(zqTest::randomMotion(random));
      stated.addManipulator(manipulator, zqTest::randomPosition(random, manipulator), velocity);
   }
   return stated;
}

bool fits(const ZqStatedSystem& stated)
{
   return stated.system().isCompatible(stated.state());
}

ZqSystemCollisionExclusionMap excluded(ZqU32 a, ZqU32 b)
{
   ZqSystemCollisionExclusionMap map;
   map.excludeManipulatorCollisionCandidates(a, b);
   return map;
}

TEST(StatedSystem, SharesItsSystemUntilItChanges)
{
   using Change = std::function<void(ZqStatedSystem&)>;
   const ZqIndividualManipulator c = randomArm("c", 1);
   const ZqDenavitHartenberg joint;
   const Change changes[] = {
      [](ZqStatedSystem& s) { s.setEnvironment({}); },
      [&](ZqStatedSystem& s) { s.addManipulator(c); },
      [](ZqStatedSystem& s) { s.deleteManipulator(ZqU32(0)); },
      [](ZqStatedSystem& s) { s.deleteManipulator("b"); },
      [&](ZqStatedSystem& s) { s.exchangeManipulator(1, c, {}, {}); },
      [](ZqStatedSystem& s) { s.mergeWith(s); },
      [&](ZqStatedSystem& s) { s.setFromManipulator(c); },
      [](ZqStatedSystem& s) { s.clearAndInitializeForOneManipulator().addChild({}); },
      [&](ZqStatedSystem& s) { s.replaceLinkKinematics(0, "label0", joint); },
      [&](ZqStatedSystem& s) { s.replaceLinkProperties(0, "label0", {}, false); },
      [](ZqStatedSystem& s) { s.setJointLimit(0, "label0", true, 77.0); },
      [](ZqStatedSystem& s) { s.scaleManipulatorBy(0, 2.0); },
      [](ZqStatedSystem& s) { s.findAndConvertToReferences(); },
      [](ZqStatedSystem& s) { s.changeManipulatorLabel("a", "z"); },
      [](ZqStatedSystem& s) { s.setSelfCollisionMap({}, 0); },
      [](ZqStatedSystem& s) { s.setNamedFrames(0, 0, {}); },
      [](ZqStatedSystem& s) { s.setSystem(s.system()); },
      [](ZqStatedSystem& s) { s.makeDeepCopy(ZqFoundCommon::CopySystem); },
      [](ZqStatedSystem& s) { Zq::fromXml(s, zqTest::written(ZqStatedSystem())); }};
   const ZqStatedSystem original = scene();
   const std::string before = zqTest::written(original);
   for (std::size_t i = 0; i < std::size(changes); ++i)
   {
      SCOPED_TRACE(i);
      ZqStatedSystem copy;
      copy = original;
      copy.resetIsSystemModified();
      EXPECT_EQ(&copy.system(), &original.system());
      EXPECT_FALSE(copy.isSystemModified());
      changes[i](copy);
      EXPECT_NE(&copy.system(), &original.system());
      EXPECT_TRUE(copy.isSystemModified());
      EXPECT_EQ(zqTest::written(original), before);
   }
   // These exclusions go to all who share.
   ZqStatedSystem sharing(original);
   sharing.setCollisionExclusionMap(excluded(0, 1));
   EXPECT_FALSE(original.canCollide(0, 0, 1, 0, false));
   EXPECT_NE(&ZqStatedSystem(original, ZqFoundCommon::CopyAll).system(), &original.system());
}

TEST(StatedSystem, StatesComeAndGoWithManipulators)
{
   ZqStatedSystem stated = scene();
   const auto& positions = stated.state().positionStates();
   const auto& velocities = stated.state().velocityStates();
   const ZqReal joint = positions[0].jointPositions()[0];
   // One joint too many is dropped; what fits grows by the start value, in all manipulators.
   stated.addManipulator(randomArm("c", 1), positions[0], velocities[0]);
   EXPECT_EQ(positions[2].jointPositions().values(), std::vector{joint + 1e-9});
   EXPECT_EQ(positions[0].jointPositions()[0], joint + 1e-9);
   EXPECT_EQ(velocities[2].generalVelocity(), velocities[0].generalVelocity());
   EXPECT_TRUE(fits(stated));

   const ZqPositionState b = positions[1];
   EXPECT_FALSE(stated.deleteManipulator(ZqU32(3)));
   EXPECT_EQ(stated.deleteManipulator("gone"), -1);
   EXPECT_TRUE(stated.deleteManipulator(ZqU32(0)));
   EXPECT_EQ(stated.deleteManipulator("c"), 1);
   EXPECT_EQ(positions[0], b);
   EXPECT_TRUE(fits(stated));
   EXPECT_FALSE(stated.exchangeManipulator(1, randomArm("d", 4), {}, {}));
   EXPECT_TRUE(stated.exchangeManipulator(0, randomArm("d", 4), b, {}));
   EXPECT_EQ(positions[0].coordSysXForm(), b.coordSysXForm());
   EXPECT_TRUE(fits(stated));
   ZqStatedSystem merged = scene();
   EXPECT_TRUE(merged.mergeWith(stated));
   EXPECT_TRUE(fits(merged));
   EXPECT_EQ(merged.state().positionStates()[2], positions[0]);
}

TEST(StatedSystem, ConfigurationIsShiftedByIndexButNotByLabel)
{
   ZqStatedSystem stated = scene();
   stated.addManipulator(randomArm("c", 1));
   stated.setDynamicCollisionExclusionMap(excluded(1, 2));
   stated.configuration().attachmentMap().attachManipulator(2, 1, "label0", {}, "");
   for (const bool byLabel : {false, true})
   {
      ZqStatedSystem changed = stated;
      byLabel ? void(changed.deleteManipulator("a")) : void(changed.deleteManipulator(ZqU32(0)));
      EXPECT_EQ(changed.configuration().collisionExclusionMap(),
                byLabel ? excluded(1, 2) : excluded(0, 1));
      EXPECT_EQ(changed.canCollide(0, 0, 1, 0, false), byLabel);
      EXPECT_EQ(changed.configuration().attachmentMap().baseManipulatorIndex(1), byLabel ? 1u : 0u);
   }
   ZqStatedSystem merged = scene();
   merged.mergeWith(stated);
   EXPECT_EQ(merged.configuration().collisionExclusionMap(), excluded(3, 4));
   EXPECT_EQ(merged.configuration().attachmentMap().baseManipulatorIndex(4), 3u);

   EXPECT_TRUE(stated.canCollide(0, 0, 1, 0, true));
   stated.setSollisionExclusionMapForCA(excluded(0, 1));
   EXPECT_FALSE(stated.canCollide(0, 0, 1, 0, true));
   EXPECT_TRUE(stated.canCollide(0, 0, 1, 0, false));
}

TEST(StatedSystem, DocumentsAreMadeToFit)
{
   const std::string levels[] = {
      "ZqStatedSystem::validateTopLevelDimensions(): number of states does not equal the number of "
      "systems in the input file--correcting.\n\n",
      "ZqStatedSystem::validateLowLevelDimensions: joint positions do not match the numbers of "
      "degrees of freedom--correcting.\n\n",
      "ZqStatedSystem::validateLowLevelDimensions: joint velocities do not match the numbers of "
      "degrees of freedom--correcting.\n\n"};
   const std::string joints = levels[1] + levels[2];
   // Joint counts of the states, and what is said of them; the manipulators have 2 and 3.
   const std::pair<std::vector<ZqU32>, std::string> cases[] = {
      {{2, 3}, ""},
      {{}, levels[0] + joints + joints},
      {{2}, levels[0] + joints},
      {{2, 3, 4}, levels[0]},
      {{2, 1}, joints},
      {{3, 4, 1}, levels[0] + joints + joints}};
   for (const auto& [counts, messages] : cases)
   {
      ZqStatedSystem stated = scene();
      ZqManipulatorSystemState state;
      for (const ZqU32 count : counts)
      {
         state.positionStates().vectorContainer().emplace_back().setJointPositions(
            std::vector<ZqReal>(count, 0.5));
         state.velocityStates().vectorContainer().emplace_back().setJointVelocities(
            ZqXmlVectorBasicType<ZqReal>(std::vector<ZqReal>(count, 0.25)));
      }
      stated.setState(state);
      EXPECT_EQ(fits(stated), messages.empty());
      ZqStatedSystem back;
      zqTest::LogCapture log;
      EXPECT_TRUE(Zq::fromXml(back, zqTest::written(stated)));
      EXPECT_EQ(log.text(), messages);
      EXPECT_TRUE(fits(back));
      for (ZqU32 i = 0; i < 2; ++i)
         for (ZqU32 j = 0; j < i + 2; ++j)
         {
            const bool isOld = i < counts.size() && j < counts[i];
            EXPECT_EQ(back.state().positionStates()[i].jointPositions()[j], isOld ? 0.5 : 1e-9);
            EXPECT_EQ(back.state().velocityStates()[i].jointVelocities()[j], isOld ? 0.25 : 0.0);
         }
   }
   // Rates alone may be too many.
   ZqStatedSystem stated = scene();
   ZqManipulatorSystemState state = stated.state();
   state.velocityStates()[1].jointVelocities().resize(4);
   stated.setState(state);
   EXPECT_FALSE(fits(stated));
}

TEST(StatedSystem, OldDocumentsAreTakenOver)
{
   // A new one has no attachments of old, also when what was attached has been taken off.
   ZqStatedSystem detached = scene();
   ZqManipulatorAttachmentMap map;
   map.attachManipulator(1, 0, "label1", {}, "");
   map.removeManipulatorAttachment(1);
   detached.setManipulatorAttachmentMap(map);
   zqTest::expectRoundTrip(detached);

   // The system in its old place, with the attachments of old.
   const ZqStatedSystem stated = scene();
   ZqOldManipulatorAttachmentMap attachments;
   attachments.attachManipulator(1, 0, "label1", {ZqVector(1.0, 2.0, 3.0)});
   attachments.attachManipulator(8, 9, "label1", {});
   attachments.attachManipulator(9, 8, "label1", {}); // a ring
   attachments.attachManipulator(7, 0, "gone", {});
   ZqManipulatorSystem system = stated.system();
   system.registerComponent(ZqManip::ZqManipulatorAttachmentMapToken, &attachments);
   ZqStatedSystem old;
   old.registerComponent(ZqManip::ZqSystemToken, &system);
   old.setState(stated.state());
   ZqStatedSystem back;
   zqTest::LogCapture log;
   ASSERT_TRUE(Zq::fromXml(back, zqTest::written(old)));
   EXPECT_EQ(back.system(), stated.system());
   EXPECT_EQ(back.state(), stated.state());
   EXPECT_EQ(log.text(),
             "ZqStatedSystem::read(): manipulator 0 has no link \"gone\" to attach manipulator 7 "
             "to.\n\n"
             "ZqStatedSystem::read(): manipulator 9 cannot be attached to manipulator 8.\n\n"
             "ZqStatedSystem::read(): there is no manipulator 7 to attach.\n\n"
             "ZqStatedSystem::read(): there is no manipulator 9 to attach.\n\n");
   const auto* node = back.configuration().attachmentMap().findNode(1);
   ASSERT_NE(node, nullptr);
   EXPECT_EQ(node->linkLabel(), "label1");
   EXPECT_EQ(node->offset().translation(), ZqVector(1.0, 2.0, 3.0));
   EXPECT_EQ(back.configuration().attachmentMap().findNode(9), nullptr);

   // Nothing of it is left for the next document; a system without manipulators is one as well.
   ZqStatedSystem empty;
   ZqSystemEnvironment environment;
   environment.setUpGravityVector({0.0, 0.0, 9.8});
   empty.setEnvironment(environment);
   ASSERT_TRUE(Zq::fromXml(back, zqTest::written(empty)));
   EXPECT_EQ(back.system(), empty.system());
   ASSERT_TRUE(Zq::fromXml(
      back, zqTest::inTag(ZqManip::ZqStatedSystemToken, "<manipulatorSystemContainer/>")));
   EXPECT_EQ(back.system(), ZqManipulatorSystem());
}

TEST(StatedSystem, JointsStandInTheMiddleOfTheirLimits)
{
   ZqStatedSystem stated = scene();
   const std::tuple<ZqReal, ZqReal, ZqReal> limits[] = {{-1.0, 3.0, 1.0}, {-1e300, 1e300, 0.0}};
   for (const auto& [lower, upper, middle] : limits)
   {
      EXPECT_TRUE(stated.setJointLimit(1, "label1", false, lower));
      EXPECT_TRUE(stated.setJointLimit(1, "label1", true, upper));
      stated.setToMidpointState();
      const ZqU32 j = stated.manipulatorByIndex(1)->linkIndexByIdentifier("label1");
      EXPECT_EQ(stated.state().positionStates()[1].jointPositions()[j], middle);
   }
   EXPECT_TRUE(fits(stated));
}

TEST(StatedSystem, ScalesLengthsAlone)
{
   ZqStatedSystem stated = scene();
   ZqDenavitHartenberg joint;
   joint.setDhA(1.5);
   EXPECT_TRUE(stated.replaceLinkKinematics(0, "label0", joint));
   joint.setJointType(ZqDenavitHartenberg::Prismatic);
   EXPECT_TRUE(stated.replaceLinkKinematics(0, "label1", joint));
   const ZqU32 slides = stated.manipulatorByIndex(0)->linkIndexByIdentifier("label1");
   const ZqStatedSystem old = stated;
   EXPECT_TRUE(stated.scaleManipulatorBy(0, 4.0));
   joint.setDhA(6.0);
   const ZqManipulatorLink& link = *stated.manipulatorByIndex(0)->linkByIndex(slides);
   EXPECT_TRUE(link.linkKinematicsContainer().topElement()->equality(&joint));
   EXPECT_EQ(*stated.manipulatorByIndex(1), *old.manipulatorByIndex(1));
   ZqManipulatorSystemState state = old.state();
   state.positionStates()[0].jointPositions()[slides] *= 4.0;
   state.velocityStates()[0].jointVelocities()[slides] *= 4.0;
   EXPECT_EQ(stated.state(), state);
   EXPECT_FALSE(stated.scaleManipulatorBy(2, 4.0));
}

TEST(StatedSystem, StatesAreSetByIndex)
{
   ZqStatedSystem stated = scene();
   const ZqOrientation turn(0.5, 0.5, 0.5, 0.5);
   const ZqVelocityState& velocity = stated.state().velocityStates()[0];
   const ZqVector linear = velocity.generalVelocity().linear();
   stated.rotateIndividualBaseVelocity(0, turn);
   EXPECT_EQ(velocity.generalVelocity().linear(), turn * linear);
   stated.zeroIndividualVelocityState(0);
   EXPECT_EQ(velocity.generalVelocity(), ZqGeneralMotion());
   EXPECT_EQ(velocity.jointVelocities().values(), std::vector(2, 0.0));

   const zqTest::LogCapture log;
   stated.setIndividualPositionState(2, {});
   stated.setIndividualCoordinateSystemTransformation(2, {});
   stated.setIndividualVelocityState(2, {});
   stated.rotateIndividualBaseVelocity(0xFFFFFFFF, turn);
   stated.zeroIndividualVelocityState(2);
   ASSERT_EQ(log.size(), 5U);
   EXPECT_EQ(log.messages()[0].text, "ZqStatedSystem::setIndividualState(): manipulator index 2 to "
                                     "big for position state size, 2");
   EXPECT_TRUE(log.contains("rotateIndividualBaseVelocity(): manipulator index -1 to big for "
                            "velocity state size, 2"));
}
} // namespace
