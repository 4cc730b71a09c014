#include "support/allocationCount.h"
#include "support/referenceDynamics.h"
#include "support/xmlSamples.h"
#include "zqManipulator/simulation/attachments/ZqLinkAttachment.h"
#include "zqManipulator/simulation/attachments/ZqManipulatorAttachmentMap.h"
#include "zqManipulator/simulation/attachments/ZqOldManipulatorAttachmentMap.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

namespace
{
using Frame = ZqCoordinateSystemTransformation;
using Indices = std::vector<ZqU32>;
using Map = ZqManipulatorAttachmentMap;
using Node = ZqManipulatorAttachmentNode;
using zqTest::JetFrame;
using zqTest::LogCapture;
using zqTest::RandomScene;
using zqTest::ReferenceFrame;

constexpr ZqU32 none = Node::noManipulator;

/// The trees in brackets, such as "0(1(2) 3) 4"; every node must know its parent.
std::string forest(const ZqXmlVectorType<Node>& nodes, const Node* parent = nullptr)
{
   std::string text;
   for (const Node& node : nodes)
   {
      EXPECT_EQ(node.parentNode(), parent) << node.manipulatorIndex();
      text += text.empty() ? "" : " ";
      text += node.manipulatorIndex() == none ? "-" : std::to_string(node.manipulatorIndex());
      if (node.childNodes().size() > 0)
         text += '(' + forest(node.childNodes(), &node) + ')';
   }
   return text;
}
std::string forest(const Map& map)
{
   return forest(map.baseNodes());
}

/// Attaches the first of each pair to the second.
Map mapOf(const std::vector<std::pair<ZqU32, ZqU32>>& attachments)
{
   Map map;
   for (const auto& [index, base] : attachments)
      EXPECT_TRUE(map.attachManipulator(index, base, "link", {}, "name"));
   map.resetAttachmentChangeVector();
   return map;
}

TEST(Attachments, StayAForest)
{
   const struct
   {
      ZqU32 index;
      ZqU32 base;
      ZqReal offset;
      const char* forest; ///< null: refused, and all stays
   } cases[]{
      {1, 0, 0.0, "0(1)"},
      {0, 0, 0.0, nullptr},
      {2, 1, 0.0, "0(1(2))"},
      {0, 2, 0.0, nullptr},
      {1, 2, 0.0, nullptr},
      {1, 0, 9e-7, nullptr},
      {1, 0, 2e-6, "0(1(2))"},
      {4, 3, 0.0, "0(1(2)) 3(4)"},
      {3, 2, 0.0, "0(1(2(3(4))))"},
      {3, 0, 0.0, nullptr}, // hangs there through others
      {5, 0, 0.0, "0(1(2(3(4))) 5)"},
      {3, 6, 0.0, "0(1(2) 5) 6(3(4))"},
      {3, 2, 0.0, "0(1(2(3(4))) 5) 6"}, // a base that has lost all stays
      {6, 5, 0.0, "0(1(2(3(4))) 5(6))"},
   };
   Map map;
   unsigned changes = 0;
   for (const auto& c : cases)
   {
      SCOPED_TRACE(forest(map) + " + " + std::to_string(c.index));
      const Map before = map;
      const Frame offset(ZqVector(c.offset, 0, 0));
      ASSERT_EQ(map.attachManipulator(c.index, c.base, "link", offset, ""), c.forest != nullptr);
      EXPECT_EQ(map == before, c.forest == nullptr);
      ASSERT_EQ(forest(map), c.forest == nullptr ? forest(before) : c.forest);
      if (c.forest != nullptr)
         ++changes;
      ASSERT_EQ(map.attachmentChangeVector().size(), changes);
      EXPECT_TRUE(map.attachmentChangeVector()[changes - 1] == map.lastAttachmentChange());
   }
   // What is given may stand in the node that moves.
   const Node& node = *map.findNode(3);
   ASSERT_TRUE(map.attachManipulator(3, 8, node.linkLabel(), node.offset(), "grip"));
   EXPECT_EQ(map.lastAttachmentChange().baseLinkLabel(), "link");
   // On the base that it has it keeps its name.
   ASSERT_TRUE(map.attachManipulator(3, 8, "other", {}, "hold"));
   EXPECT_TRUE(map.findNode(3)->linkLabel() == "other" && map.findNode(3)->name() == "grip");
   EXPECT_EQ(map.lastAttachmentChange().name(), "hold");
}

TEST(Attachments, AreTakenOffWithWhatHangsOnThem)
{
   Map map = mapOf({{1, 0}, {2, 1}, {3, 2}});
   EXPECT_FALSE(map.removeManipulatorAttachment(0));
   for (const auto& [index, result] : {std::pair{2U, "0(1) 2(3)"}, {1U, "2(3)"}, {3U, ""}})
   {
      EXPECT_TRUE(map.removeManipulatorAttachment(index));
      EXPECT_EQ(forest(map), result);
      EXPECT_EQ(map.lastAttachmentChange().manipulatorIndex(), index);
      EXPECT_FALSE(map.lastAttachmentChange().isAttach());
   }
   EXPECT_EQ(map.attachmentChangeVector().size(), 3U);

   // Of a node that goes, the caller gets what it carried, and nothing of one that carried nothing.
   map = mapOf({{1, 0}, {2, 1}, {3, 1}, {4, 3}});
   Node& base = *map.findNode(0);
   Node removed;
   removed.setName("untouched");
   EXPECT_TRUE(base.removeNode(2, removed));
   EXPECT_EQ(removed.name(), "untouched");
   EXPECT_TRUE(base.removeNode(1, removed));
   EXPECT_TRUE(removed.parentNode() == &base && removed.manipulatorIndex() == 1);
   EXPECT_EQ(forest(removed.childNodes(), &removed), "3(4)");
   EXPECT_EQ(forest(map), "0");
}

TEST(Attachments, FollowTheIndicesOfTheSystem)
{
   Map map = mapOf({{1, 0}, {2, 1}, {4, 3}, {5, none}});
   map.deleteManipulatorAndShift(1);
   EXPECT_EQ(forest(map), "2(3) -(4)");
   map.shiftManipulatorIndices(5);
   EXPECT_TRUE(map.mergeWith(mapOf({{2, 1}, {3, none}})));
   EXPECT_EQ(forest(map), "7(8) -(9) 1(2) -(3)");
   zqTest::expectRoundTrip(map);
   EXPECT_TRUE(map.attachManipulator(3, 2, "link", {}, "")); // away from the second system
   EXPECT_EQ(forest(map), "7(8) -(9) 1(2(3)) -");

   // The tree after one that goes is passed over.
   map = mapOf({{1, 0}});
   map.mergeWith(mapOf({{1, 2}}));
   EXPECT_TRUE(map.removeManipulator(1));
   map.mergeWith(map);
   EXPECT_EQ(forest(map), "2(1) 2(1)");
   map.setBaseNodes(map.baseNodes()[0].childNodes());
   EXPECT_EQ(forest(map), "1");
}

TEST(Attachments, TellWhatHangsWhere)
{
   Map map = mapOf({{1, 0}, {2, 1}, {3, 1}, {4, 2}, {6, none}, {7, 6}});
   const Frame place(ZqVector(1, 2, 3));
   ASSERT_TRUE(map.attachManipulator(5, 1, "hand", place, ""));
   for (const auto& [index, root] : {std::pair{4U, 0U}, {0U, 0U}, {9U, 9U}, {7U, 6U}, {6U, 6U}})
      EXPECT_EQ(map.baseManipulatorIndex(index), root) << index;

   ZqU32 base = 0;
   ZqString label;
   Frame offset;
   for (const ZqU32 free : {0U, 6U, 9U}) // a base, on the system, unknown
      EXPECT_FALSE(map.getDependentManipulatorInfo(free, base, label, offset)) << free;
   EXPECT_TRUE(map.getDependentManipulatorInfo(5, base, label, offset));
   EXPECT_TRUE(base == 1 && label == "hand" && offset == place);
   Indices indices{8};
   std::vector<Frame> offsets(3);
   EXPECT_TRUE(map.getDependentManipulatorsAndOffsets(1, "hand", indices, offsets));
   EXPECT_TRUE(indices == Indices{5} && offsets == std::vector{place});
   EXPECT_FALSE(map.getDependentManipulatorsAndOffsets(1, "foot", indices, offsets));
   EXPECT_TRUE(indices.empty() && offsets.empty());
}

TEST(Attachments, OfOldDocumentsBecomeAForest)
{
   ZqOldManipulatorAttachmentMap ring;
   for (const auto& [index, base] : {std::pair{1U, 2U}, {2U, 3U}, {3U, 1U}, {5U, 3U}})
      EXPECT_TRUE(ring.attachManipulator(index, base, "link", {}));
   for (const ZqU32 refused : {4U, 1U}) // on itself, for the second time
      EXPECT_FALSE(ring.attachManipulator(refused, 4, "link", {}));
   Map map = mapOf({{8, 9}});
   map.convertFromOldFormat(ring);
   EXPECT_EQ(forest(map), "3(2(1) 5)");
   EXPECT_TRUE(ring.removeManipulatorAttachment(5));
   EXPECT_EQ(ring.dependentManipulators(3), (Indices{2, 1}));

   ZqOldManipulatorAttachmentMap longChain;
   for (ZqU32 i = 0; i < 1500; ++i)
      longChain.attachManipulator(i + 1, i, "link", {});
   LogCapture log;
   map.convertFromOldFormat(longChain);
   EXPECT_EQ(map.dependentManipulators(0).size(), 999U);
   EXPECT_TRUE(log.contains("manipulator 1000 would make a chain of more than 1000"));
   log.clear();
   zqTest::expectRoundTrip(map);
}

TEST(Attachments, OfUntrustedDocumentsBecomeAForest)
{
   const Map good = mapOf({{1, 0}, {2, 1}, {3, 2}, {4, 0}, {6, 5}});
   // A manipulator on itself, below itself, twice in a tree, and in two trees.
   for (const auto& [from, to, result] : {std::tuple{1U, 0U, "0(4) 5(6)"},
                                          {3U, 1U, "0(1(2) 4) 5(6)"},
                                          {4U, 2U, "0(1(2(3))) 5(6)"},
                                          {5U, 3U, "0(1(2(3)) 4)"},
                                          {6U, 0U, "0(1(2(3)) 4) 5"}})
   {
      Map bad = good;
      bad.findNode(from)->setManipulatorIndex(to);
      Map map = mapOf({{8, 9}});
      LogCapture log;
      EXPECT_TRUE(zqTest::readFrom(map, zqTest::written(bad)));
      EXPECT_EQ(forest(map), result);
      EXPECT_TRUE(log.contains("manipulator " + std::to_string(to) + " occurs again"))
         << log.text();
   }
   Map assigned = mapOf({{8, 9}, {7, 8}});
   assigned = good;
   for (const Map& copy : {Map(good), assigned})
      EXPECT_EQ(forest(copy), forest(good));
}

TEST(Attachments, CarryTheBasesOfManipulators)
{
   zqTest::RandomValues random(77);
   ZqXmlVectorType<ZqIndividualManipulator> manipulators;
   ZqXmlVectorType<ZqManipulatorActiveState> states(6);
   ZqXmlVectorType<ZqPositionState> positions;
   for (ZqU32 i = 0; i < 6; ++i)
   {
      manipulators.pushBack(zqTest::randomManipulator(random, 4));
      positions.pushBack(zqTest::randomPosition(random, manipulators[i]));
      states[i].setPositionState(positions[i]);
   }
   Map map;
   // Links and manipulators that do not exist, and what hangs on them, are left out.
   for (const auto& [index, base, label] : {std::tuple{1U, 0U, "label2"},
                                            {2U, 1U, "base"},
                                            {3U, 2U, "label3"},
                                            {4U, 0U, "none"},
                                            {5U, 4U, "label1"},
                                            {100U, 0U, "label1"},
                                            {101U, 100U, "label1"}})
      map.attachManipulator(index, base, label, zqTest::randomFrame(random), "");

   Indices indices;
   std::vector<Frame> bases;
   const auto calculate = [&](ZqU32 start)
   { return map.calculateBaseLocations(start, manipulators, states, indices, bases); };
   LogCapture log;
   EXPECT_FALSE(calculate(100));
   EXPECT_TRUE(calculate(99) && indices.empty());
   EXPECT_TRUE(calculate(0));
   EXPECT_EQ(indices, (Indices{1, 2, 3}));
   const zqTest::AllocationCount allocations;
   EXPECT_TRUE(calculate(0));
   EXPECT_EQ(allocations.count(), 0U);
   EXPECT_EQ(log.text(), "");
   for (ZqU32 i = 0; i < 6; ++i)
      EXPECT_TRUE(states[i].positionState() == positions[i]) << i;

   // Put there, each stands on its link.
   for (std::size_t k = 0; k < indices.size(); ++k)
      positions[indices[k]].setCoordSysXForm(bases[k]);
   for (std::size_t k = 0; k < indices.size(); ++k)
   {
      const Node& node = *map.findNode(indices[k]);
      const ZqU32 carrier = node.parentNode()->manipulatorIndex();
      ZqManipulatorActivePositionState state;
      state.setPositionState(positions[carrier]);
      const Frame place =
         manipulators[carrier].linkByIdentifier(node.linkLabel())->primaryFrameInSystem(state) *
         node.offset();
      const auto base =
         ReferenceFrame(manipulators[indices[k]].coordSysXForm()) * ReferenceFrame(bases[k]);
      // A dozen products of lengths up to some 50 m.
      EXPECT_LT(base.difference(place), 12 * 50 * zqTest::epsilon) << indices[k];
   }

   // From within the tree, where the manipulators stand; the old format tells the same.
   EXPECT_TRUE(calculate(2));
   ZqOldManipulatorAttachmentMap oldMap;
   oldMap.attachManipulator(3, 2, "label3", map.findNode(3)->offset());
   std::vector<Frame> oldBases;
   EXPECT_TRUE(oldMap.calculateBaseLocations(2, manipulators, states, indices, oldBases));
   EXPECT_TRUE(indices == Indices{3} && oldBases == bases);
}
TEST(Attachments, ToALinkMoveAsTheirPlacesDo)
{
   ZqLinkAttachment attachment;
   for (ZqU32 seed = 0; seed < 40; ++seed)
   {
      SCOPED_TRACE(seed);
      RandomScene scene(seed, {zqTest::chain(4), seed % 2 == 0});
      const ZqAccelerationState a = scene.randomAcceleration();
      ZqManipulatorActiveState state = scene.activeState();
      state.setAccelerationState(a);
      attachment.setLinkId(seed % 5 == 4 ? "base" : "label" + std::to_string(seed % 5));
      attachment.setFrame(zqTest::randomFrame(scene.random));
      const ZqManipulatorLink& link = *scene.manipulator().linkByIdentifier(attachment.linkId());
      const zqTest::ReferenceMotion motion(
         scene, zqTest::coordinates(scene.velocity),
         zqTest::coordinates(a.jointAccelerations().values(), a.generalAcceleration()));
      const zqTest::FrameMotion place(motion.frames[zqTest::ReferenceMotion::bodyOf(link)] *
                                      JetFrame(link.primaryFrame()) * JetFrame(attachment.frame()));
      Frame found;
      ZqXmlVectorBasicType<ZqReal> velocity(12, 2.5);
      ZqXmlVectorBasicType<ZqReal> acceleration(9, 2.5);
      attachment.calculatePlacement(scene.manipulator(), state.activePositionState(), found);
      attachment.calculateVelocity(scene.manipulator(), state, velocity, 1);
      attachment.calculateAcceleration(scene.manipulator(), state, acceleration, 2);
      EXPECT_TRUE(found.translation().approxEq(place.p, 1e-13));
      EXPECT_TRUE(found.orientation().yAxis().approxEq(place.axes[1], 1e-13));
      ASSERT_TRUE(velocity.size() == 7 && acceleration.size() == 9);
      EXPECT_TRUE(velocity[0] == 2.5 && acceleration[8] == 2.5);
      const ZqGeneralMotion expected(place.v, place.w);
      const ZqGeneralMotion expectedRate(place.a, place.alpha);
      for (std::size_t n = 0; n < 6; ++n)
      {
         EXPECT_NEAR(velocity[n + 1], expected[n], 1e-12);
         EXPECT_NEAR(acceleration[n + 2], expectedRate[n], 1e-11);
      }
   }
   LogCapture log;
   attachment.setLinkId("none");
   ZqXmlVectorBasicType<ZqReal> values(2, 1.5);
   ZqManipulatorActiveState state;
   attachment.calculateVelocity({}, state, values, 1);
   attachment.calculateAcceleration({}, state, values, 2);
   EXPECT_EQ(values.values(), (std::vector{1.5, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0}));
   EXPECT_EQ(log.text(), "");
   Frame place(ZqVector(1, 2, 3));
   attachment.calculatePlacement({}, state.activePositionState(), place);
   EXPECT_TRUE(place == ZqVector(1, 2, 3));
   EXPECT_EQ(log.text(), "ZqAttachment::calculateFramePlacement():  bad label on link attachment: "
                         "none.\n\n");
}

// Central differences over h: the error of the formula is of h^2, that of rounding of epsilon / h.
constexpr ZqReal h = 1e-5;
constexpr ZqReal ofDifferences = 1e-8;

ZqGeneralMotion differenceOf(const Frame& from, const Frame& to)
{
   const ZqVector turn = (to.orientation() * from.orientation().inverse()).logarithm();
   return ZqGeneralMotion(to.translation() - from.translation(), turn) * (0.5 / h);
}

TEST(Attachments, MoveTheBasesOfManipulators)
{
   // A manipulator on one that turns and slides while its link has the axes of the system, and one more
   // on that. They are placed without a turn.
   zqTest::RandomValues random(79);
   ZqXmlVectorType<ZqIndividualManipulator> manipulators;
   ZqXmlVectorType<ZqPositionState> positions;
   ZqXmlVectorType<ZqVelocityState> velocities;
   for (ZqU32 i = 0; i < 3; ++i)
   {
      manipulators.pushBack(zqTest::makeManipulator(zqTest::chain(3),
                                                    [&](ZqU32 link)
                                                    {
                                                       ZqDenavitHartenberg joint;
                                                       joint.setJointType(link % 2);
                                                       joint.setDhA(random.real());
                                                       ZqManipulatorLink result;
                                                       result.setLinkKinematics(joint);
                                                       return result;
                                                    }));
      manipulators[i].setIsFixedBase(false);
      manipulators[i].setCoordSysXForm(random.vector());
      positions.pushBack({});
      positions[i].setJointPositions({0.7, random.real(), -0.7});
      positions[i].setCoordSysXForm(random.vector());
      velocities.pushBack({});
      velocities[i].setJointVelocities(random.array(3, 1));
      velocities[i].setGeneralVelocity(zqTest::randomMotion(random));
   }
   Map map;
   map.attachManipulator(1, 0, "label2", random.vector(), "");
   map.attachManipulator(2, 1, "label2", zqTest::randomFrame(random), "");
   Indices indices;
   std::vector<Frame> bases[3];
   std::vector<ZqGeneralMotion> moves;
   ZqXmlVectorType<ZqManipulatorActiveState> states;
   for (const int k : {0, 2, 1})
   {
      states.resize(3);
      for (ZqU32 i = 0; i < 3; ++i)
      {
         ZqPositionState moved = positions[i];
         manipulators[i].propagateState(velocities[i], (k - 1) * h, moved);
         states[i].setPositionState(moved);
         states[i].setVelocityState(velocities[i]);
      }
      EXPECT_TRUE(
         map.calculateBaseLocationsAndVelocities(manipulators, states, indices, bases[k], moves));
      EXPECT_EQ(indices, (Indices{1, 2}));
   }
   for (std::size_t n = 0; n < 2; ++n)
      EXPECT_TRUE(moves[n].approxEq(differenceOf(bases[0][n], bases[2][n]), ofDifferences)) << n;
   EXPECT_TRUE(states[1].positionState() == positions[1]);
   EXPECT_TRUE(states[1].velocityState() == velocities[1]);

   // From within the tree the states count as they are. A placement turns the velocity.
   const auto* link = manipulators[1].linkByIdentifier("label2");
   const ZqGeneralMotion V = link->primaryFrameVelocityInSystem(states[1]);
   const ZqVector offset = map.findNode(2)->offset().translation();
   const ZqGeneralMotion expected(V.linear() + V.angular().cross(offset), V.angular());
   const Frame place = zqTest::randomFrame(random);
   manipulators[2].setCoordSysXForm(place);
   for (const auto& [start, found] : {std::pair{1U, Indices{2}}, {9U, Indices{}}})
   {
      EXPECT_TRUE(map.calculateBaseLocationsAndVelocities(start, manipulators, states, indices,
                                                          bases[0], moves));
      EXPECT_TRUE(indices == found && bases[0].size() == found.size());
      for (const ZqGeneralMotion& move : moves)
         EXPECT_TRUE(move.approxEq(place.orientation() * expected, 10 * zqTest::epsilon));
   }
   EXPECT_FALSE(
      Map().calculateBaseLocationsAndVelocities(manipulators, states, indices, bases[0], moves));
}

TEST(Attachments, CarryBasesWithTheVelocityOfTheirLinks)
{
   // Whatever the placements, the offsets and the frames of the links, and whatever bases move.
   for (ZqU32 seed = 0; seed < 20; ++seed)
   {
      SCOPED_TRACE(seed);
      zqTest::RandomValues random(seed);
      ZqXmlVectorType<ZqIndividualManipulator> manipulators;
      ZqXmlVectorType<ZqPositionState> positions;
      ZqXmlVectorType<ZqVelocityState> velocities;
      for (ZqU32 i = 0; i < 3; ++i)
      {
         manipulators.pushBack(zqTest::randomManipulator(random, 3));
         manipulators[i].setIsFixedBase(false);
         for (ZqU32 joint = 0; joint < 3; ++joint)
            manipulators[i].linkByIndex(joint)->setJointActuator({}); // without limits
         positions.pushBack(zqTest::randomPosition(random, manipulators[i]));
         velocities.pushBack({});
         velocities[i].setJointVelocities(random.array(3, 1));
         velocities[i].setGeneralVelocity(zqTest::randomMotion(random));
      }
      Map map;
      map.attachManipulator(1, 0, "label2", zqTest::randomFrame(random), "");
      map.attachManipulator(2, 1, "label1", zqTest::randomFrame(random), "");
      Indices indices;
      std::vector<Frame> bases[3];
      std::vector<ZqGeneralMotion> moves;
      for (const int k : {0, 2, 1})
      {
         ZqXmlVectorType<ZqManipulatorActiveState> states(3);
         for (ZqU32 i = 0; i < 3; ++i)
         {
            ZqPositionState moved = positions[i];
            manipulators[i].propagateState(velocities[i], (k - 1) * h, moved);
            states[i].setPositionState(moved);
            states[i].setVelocityState(velocities[i]);
         }
         EXPECT_TRUE(map.calculateBaseMotions(manipulators, states, indices, bases[k], moves));
      }
      for (std::size_t n = 0; n < 2; ++n)
      {
         const Frame& X_SM = manipulators[indices[n]].coordSysXForm();
         const ZqGeneralMotion expected = differenceOf(X_SM * bases[0][n], X_SM * bases[2][n]);
         EXPECT_TRUE(moves[n].approxEq(expected, 100 * ofDifferences)) << n;
      }
   }
}
} // namespace
