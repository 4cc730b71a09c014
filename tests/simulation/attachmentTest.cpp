#include "support/allocationCount.h"
#include "support/randomManipulators.h"
#include "support/xmlSamples.h"
#include "zqManipulator/simulation/ZqLinkAttachment.h"
#include "zqManipulator/simulation/ZqManipulatorAttachmentMap.h"
#include "zqManipulator/simulation/ZqOldManipulatorAttachmentMap.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

#include <memory>

namespace
{
using Frame = ZqCoordinateSystemTransformation;
using Indices = std::vector<ZqU32>;
using Map = ZqManipulatorAttachmentMap;
using Node = ZqManipulatorAttachmentNode;
using zqTest::LogCapture;

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
   const Frame moved(ZqVector(0.5, 0, 0));
   const Frame hardlyMoved(ZqVector(0.5, 0, 9e-7));
   const struct
   {
      ZqU32 index;
      ZqU32 base;
      Frame offset;
      const char* forest; ///< null: refused, and all stays
   } cases[]{
      {1, 0, {}, "0(1)"},
      {0, 0, {}, nullptr},
      {2, 1, {}, "0(1(2))"},
      {0, 2, {}, nullptr},
      {1, 2, {}, nullptr},
      {1, 0, {}, nullptr},
      {1, 0, moved, "0(1(2))"},
      {1, 0, hardlyMoved, nullptr},
      {1, 0, ZqVector(zqTest::nan, 0, 0), "0(1(2))"},
      {4, 3, {}, "0(1(2)) 3(4)"},
      {3, 4, {}, nullptr},
      {3, 2, {}, "0(1(2(3(4))))"},
      {3, 0, {}, "0(1(2) 3(4))"},
      {1, 5, {}, "0(3(4)) 5(1(2))"},
      // A base that has lost all stays.
      {3, 1, {}, "0 5(1(2 3(4)))"},
      {0, 4, {}, "5(1(2 3(4(0))))"},
   };
   Map map;
   unsigned changes = 0;
   for (const auto& c : cases)
   {
      SCOPED_TRACE(forest(map) + " + " + std::to_string(c.index));
      const Map before = map;
      const ZqString name = "name" + std::to_string(changes);
      ASSERT_EQ(map.attachManipulator(c.index, c.base, "link", c.offset, name),
                c.forest != nullptr);
      EXPECT_EQ(map == before, c.forest == nullptr);
      ASSERT_EQ(forest(map), c.forest == nullptr ? forest(before) : c.forest);
      if (c.forest == nullptr)
         continue;
      // A place that changes on the same base keeps the name; the record has the new one.
      EXPECT_EQ(map.findNode(c.index)->name() == name,
                before.dependentManipulators(c.base) != map.dependentManipulators(c.base));
      EXPECT_EQ(map.lastAttachmentChange().name(), name);
      ASSERT_EQ(map.attachmentChangeVector().size(), ++changes);
      EXPECT_TRUE(map.attachmentChangeVector()[changes - 1] == map.lastAttachmentChange());
   }
   // What is given may stand in the node that moves.
   const Node& node = *map.findNode(3);
   ASSERT_TRUE(map.attachManipulator(3, 7, node.linkLabel(), node.offset(), node.name()));
   EXPECT_EQ(map.lastAttachmentChange().baseLinkLabel(), "link");
   ASSERT_TRUE(map.attachManipulator(3, 7, "other", {}, ""));
   EXPECT_EQ(map.findNode(3)->linkLabel(), "other");
}

TEST(Attachments, AreTakenOffWithWhatHangsOnThem)
{
   Map map = mapOf({{1, 0}, {2, 1}, {3, 2}});
   for (const ZqU32 absent : {0U, 9U})
      EXPECT_FALSE(map.removeManipulatorAttachment(absent));
   EXPECT_TRUE(map.attachmentChangeVector().size() == 0);
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
   EXPECT_EQ(removed.parentNode(), &base);
   EXPECT_EQ(removed.manipulatorIndex(), 1U);
   EXPECT_EQ(forest(removed.childNodes(), &removed), "3(4)");
   EXPECT_EQ(forest(map), "0");
}

TEST(Attachments, FollowTheIndicesOfTheSystem)
{
   Map map = mapOf({{1, 0}, {2, 1}, {4, 3}, {5, none}});
   map.deleteManipulatorAndShift(1);
   EXPECT_EQ(forest(map), "2(3) -(4)");
   map.shiftManipulatorIndices(5);
   EXPECT_EQ(forest(map), "7(8) -(9)");
   const Map other = mapOf({{2, 1}, {3, none}});
   EXPECT_TRUE(map.mergeWith(other));
   EXPECT_EQ(forest(map), "7(8) -(9) 1(2) -(3)");
   EXPECT_EQ(forest(other), "1(2) -(3)");
   zqTest::expectRoundTrip(map);
   EXPECT_TRUE(map.attachManipulator(3, 2, "link", {}, ""));
   EXPECT_EQ(forest(map), "7(8) -(9) 1(2(3)) -");

   // The tree after one that goes is passed over.
   map = mapOf({{1, 0}});
   map.mergeWith(mapOf({{1, 2}}));
   EXPECT_TRUE(map.removeManipulator(1));
   EXPECT_EQ(forest(map), "2(1)");
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
   EXPECT_EQ(map.dependentManipulators(1), (Indices{2, 4, 3, 5}));

   ZqU32 base = 0;
   ZqString label;
   Frame offset;
   Indices indices{8};
   std::vector<Frame> offsets(3);
   for (const ZqU32 free : {0U, 6U, 9U})
      EXPECT_FALSE(map.getDependentManipulatorInfo(free, base, label, offset)) << free;
   EXPECT_TRUE(map.getDependentManipulatorInfo(5, base, label, offset));
   EXPECT_TRUE(base == 1 && label == "hand" && offset == place);
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
   EXPECT_FALSE(ring.attachManipulator(4, 4, "link", {}));
   EXPECT_FALSE(ring.attachManipulator(1, 4, "link", {}));
   Map map = mapOf({{8, 9}});
   map.convertFromOldFormat(ring);
   EXPECT_EQ(forest(map), "3(2(1) 5)");
   EXPECT_EQ(ring.dependentManipulators(3), (Indices{2, 1, 5}));

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
   // By names of nodes that may not stand as they are: a manipulator on itself, below itself, twice.
   const auto repeated = [](ZqU32 from, ZqU32 to, Map map)
   {
      map.findNode(from)->setManipulatorIndex(to);
      return zqTest::written(map);
   };
   const Map good = mapOf({{1, 0}, {2, 1}, {3, 2}, {4, 0}, {6, 5}});
   for (const auto& [from, to, result] : {std::tuple{1U, 0U, "0(4) 5(6)"},
                                          {3U, 1U, "0(1(2) 4) 5(6)"},
                                          {4U, 2U, "0(1(2(3))) 5(6)"},
                                          {5U, 3U, "0(1(2(3)) 4)"},
                                          {6U, 0U, "0(1(2(3)) 4) 5"}})
   {
      Map map = mapOf({{8, 9}});
      LogCapture log;
      EXPECT_TRUE(zqTest::readFrom(map, repeated(from, to, good)));
      EXPECT_EQ(forest(map), result);
      EXPECT_TRUE(log.contains("manipulator " + std::to_string(to) + " occurs again"))
         << log.text();
   }
   // Copies and moves know their own nodes.
   auto original = std::make_unique<Map>(good);
   Map copy(*original);
   Map assigned = mapOf({{8, 9}, {7, 8}});
   assigned = *original;
   Map taken(std::move(*original));
   original.reset();
   for (const Map* map : {&copy, &assigned, &taken})
      EXPECT_EQ(forest(*map), forest(good));
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
   const auto attach = [&](ZqU32 index, ZqU32 base, const char* label)
   { EXPECT_TRUE(map.attachManipulator(index, base, label, zqTest::randomFrame(random), "")); };
   attach(1, 0, "label2");
   attach(2, 1, "base");
   attach(3, 2, "label3");
   attach(4, 0, "no such link");
   attach(5, 4, "label1");
   attach(100, 0, "label1"); // does not exist
   attach(101, 100, "label1");

   Indices indices;
   std::vector<Frame> bases;
   const auto calculate = [&](ZqU32 start)
   { return map.calculateBaseLocations(start, manipulators, states, indices, bases); };
   LogCapture log;
   EXPECT_FALSE(calculate(100));
   EXPECT_TRUE(calculate(99) && indices.empty() && bases.empty());
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
      ZqLinkAttachment attachment;
      attachment.setLinkId(node.linkLabel());
      attachment.setFrame(node.offset());
      Frame place;
      attachment.calculatePlacement(manipulators[carrier], state, place);
      const zqTest::ReferenceFrame base =
         zqTest::ReferenceFrame(manipulators[indices[k]].coordSysXForm()) *
         zqTest::ReferenceFrame(bases[k]);
      // A dozen products of lengths up to some 50 m.
      EXPECT_LT(base.difference(place), 12 * 50 * zqTest::epsilon) << indices[k];

      attachment.setLinkId("none");
      const Frame before = place;
      attachment.calculatePlacement(manipulators[carrier], state, place);
      EXPECT_TRUE(place == before);
      EXPECT_EQ(log.text(), "ZqAttachment::calculateFramePlacement():  bad label on link "
                            "attachment: none.\n\n");
      log.clear();
   }

   // From within the tree, where the manipulators stand; and from old documents.
   EXPECT_TRUE(calculate(2));
   EXPECT_EQ(indices, Indices{3});
   ZqOldManipulatorAttachmentMap oldMap;
   oldMap.attachManipulator(3, 2, "label3", map.findNode(3)->offset());
   std::vector<Frame> oldBases;
   EXPECT_TRUE(oldMap.calculateBaseLocations(2, manipulators, states, indices, oldBases));
   EXPECT_TRUE(indices == Indices{3} && oldBases == bases);
}
} // namespace
