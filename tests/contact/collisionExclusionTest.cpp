#include "support/allocationCount.h"
#include "support/randomManipulators.h"
#include "support/xmlSamples.h"
#include "zqManipulator/kinematics/system/ZqManipulatorSystem.h"

#include <tuple>

namespace
{
using Map = ZqSystemCollisionExclusionMap;

Map mapOf(const Map::ManipulatorExclusionMap& manipulators,
          const Map::LinkManipulatorExclusionMap& linkManipulators,
          const Map::LinkExclusionMap& links)
{
   Map map;
   map.setManipulatorExclusionMap(manipulators);
   map.setLinkManipulatorExclusionMap(linkManipulators);
   map.setLinkExclusionMap(links);
   return map;
}

ZqIndividualManipulator manipulatorOf(ZqU32 links)
{
   return zqTest::makeManipulator(zqTest::chain(links), [](ZqU32) { return ZqManipulatorLink(); });
}

ZqManipulatorSystem systemOf(const std::vector<ZqU32>& linkCounts)
{
   Map::Manipulators manipulators;
   for (const ZqU32 links : linkCounts)
      manipulators.pushBack(manipulatorOf(links));
   ZqManipulatorSystem system;
   system.setManipulators(manipulators);
   return system;
}

TEST(SelfCollisionLinkMap, HoldsEachPairOfAManipulatorOnce)
{
   // Labels whose order is not that of the links, a pair that is there, and one of another link.
   const ZqIndividualManipulator manipulator = manipulatorOf(12);
   ZqManipulatorSelfCollisionLinkMap map;
   map.setLinkCollisionCanditateByIdentifier("label10", "label9", true);
   map.setLinkCollisionCanditateByIdentifier("gone", "label3", true);
   EXPECT_TRUE(map.mapContainer().at("label9").mapContainer().at("label10"));
   ZqManipulatorSelfCollisionLinkMap expected = map;
   for (ZqU32 i = 0; i <= 12; ++i)
      for (ZqU32 j = 0; j <= i; ++j)
         expected.setLinkCollisionCanditateByIdentifier(
            manipulator.linkByIndex(i == 12 ? ZqBaseLinkIndex : i)->linkLabel(),
            manipulator.linkByIndex(j == 12 ? ZqBaseLinkIndex : j)->linkLabel(), false);
   EXPECT_TRUE(map.buildMapFromSystem(manipulator));
   EXPECT_EQ(map, expected);
   bool isCandidate = false;
   EXPECT_TRUE(map.linkCollisionCanditateByIdentifier("label3", "gone", isCandidate));
   EXPECT_TRUE(isCandidate);
   EXPECT_FALSE(map.linkCollisionCanditateByIdentifier("label4", "gone", isCandidate));
   EXPECT_TRUE(isCandidate);
   EXPECT_TRUE(map.linkCollisionCanditateByIdentifier("label9", "label10", isCandidate));
   EXPECT_FALSE(isCandidate);

   // Each link is excluded at least from itself.
   EXPECT_TRUE(map.linkHasExclusionCandidate("base"));
   EXPECT_TRUE(map.linkHasExclusionCandidate("label9"));
   EXPECT_FALSE(map.linkHasExclusionCandidate("gone"));
   map.setAllAsCollisionCandidates();
   map.setLinkCollisionCanditateByIdentifier("label0", "base", false);
   for (const auto& [label, has] : {std::pair{"base", true}, {"label0", true}, {"label1", false}})
      EXPECT_EQ(map.linkHasExclusionCandidate(label), has) << label;
   map.unsetAllAsCollisionCandidates();
   EXPECT_TRUE(map.linkHasExclusionCandidate("gone"));
}

TEST(SystemCollisionExclusionMap, AnswersByIndexAsByLabel)
{
   const std::vector<ZqU32> linkCounts{2, 0, 3, 1};
   const ZqManipulatorSystem system = systemOf(linkCounts);
   std::vector<std::pair<ZqManipulatorLinkIndex, ZqString>> links;
   for (ZqU32 m = 0; m < linkCounts.size(); ++m)
   {
      for (ZqU32 i = 0; i < linkCounts[m]; ++i)
         links.push_back({{m, i}, "label" + std::to_string(i)});
      links.push_back({{m, ZqBaseLinkIndex}, "base"});
   }
   zqTest::RandomValues random(1);
   const auto manipulator = [&] { return random.index(0, 4); }; // one more than there are
   const auto label = [&]
   { return random.index(0, 2) == 0 ? "base" : "label" + std::to_string(random.index(0, 3)); };
   Map map;
   for (int round = 0; round < 50; ++round)
   {
      map.removeAllExclusionCandidates();
      std::set<std::tuple<ZqU32, ZqString, ZqU32, ZqString>> pairs; // "" is any link
      for (int i = 0; i < 3; ++i)
      {
         const ZqU32 m1 = manipulator(), m2 = manipulator(), kind = random.index(0, 4);
         const ZqString link1 = kind == 0 ? "" : label(), link2 = kind > 2 ? label() : "";
         EXPECT_EQ(kind == 0  ? map.excludeManipulatorCollisionCandidates(m1, m2)
                   : kind > 2 ? map.excludeLinkCollisionCandidate(m1, link1, m2, link2)
                              : map.excludeLinkCollisionCandidates(m1, link1, m2),
                   m1 != m2);
         if (m1 != m2)
            pairs.insert({{m1, link1, m2, link2}, {m2, link2, m1, link1}});
      }
      zqTest::LogCapture log;
      EXPECT_TRUE(map.buildMapFromSystem(system));
      EXPECT_TRUE(log.empty()) << log.text();
      for (const auto& [a, labelA] : links)
         for (const auto& [b, labelB] : links)
         {
            const ZqU32 m1 = a.manipulatorIndex, m2 = b.manipulatorIndex;
            const bool excluded =
               pairs.contains({m1, labelA, m2, labelB}) || pairs.contains({m1, labelA, m2, ""}) ||
               pairs.contains({m1, "", m2, labelB}) || pairs.contains({m1, "", m2, ""});
            const zqTest::AllocationCount allocations;
            EXPECT_EQ(map.isLinkCollisionCandidateExcluded(m1, a.linkIndex, m2, b.linkIndex),
                      excluded);
            EXPECT_EQ(allocations.count(), 0u);
            EXPECT_EQ(map.isLinkCollisionCandidateExcluded(m1, labelA, m2, labelB), excluded);
         }
   }
}

TEST(SystemCollisionExclusionMap, AsksInOneDirectionOnly)
{
   // Within one manipulator the second link is the key, and only by label.
   Map map = mapOf({{2, {2}}}, {}, {{{0, "a"}, {{0, "b"}}}});
   EXPECT_TRUE(map.isLinkCollisionCandidateExcluded(0, "b", 0, "a"));
   EXPECT_FALSE(map.isLinkCollisionCandidateExcluded(0, "a", 0, "b"));
   EXPECT_TRUE(map.isLinkCollisionCandidateExcluded(2, "a", 2, "b"));
   EXPECT_FALSE(map.isLinkCollisionCandidateExcluded(2, 0, 2, ZqU32{1}));

   map = Map();
   map.excludeLinkCollisionCandidates(3, "a", 1);
   map.excludeLinkCollisionCandidate(5, "a", 4, "b");
   map.excludeManipulatorCollisionCandidates(7, 6);
   EXPECT_TRUE(map.isLinktoManipulatorCollisionExcluded(3, "a", 1));
   EXPECT_FALSE(map.isLinktoManipulatorCollisionExcluded(1, "b", 3));
   EXPECT_TRUE(map.isLinktoManipulatorCollisionExcluded(6, "any", 7));
   const std::tuple<ZqU32, const char*, bool> links[] = {
      {3, "a", true},  {3, "b", false},  {1, "b", true},   {5, "a", true}, {4, "b", true},
      {4, "a", false}, {6, "any", true}, {7, "any", true}, {8, "a", false}};
   for (const auto& [manipulator, link, has] : links)
   {
      EXPECT_EQ(map.linkHasExclusionCandidate(manipulator, link), has) << manipulator << link;
      EXPECT_EQ(map.manipulatorHasExclusionCandidate(manipulator),
                manipulator == 6 || manipulator == 7);
   }
}

TEST(SystemCollisionExclusionMap, LeavesEmptiedKeysToTheTrimming)
{
   const ZqManipulatorSystem system = systemOf({1, 1});
   const Map fitting = mapOf({{0, {1}}}, {{{0, "base"}, {1}}, {{1, "label0"}, {0}}},
                             {{{0, "label0"}, {{1, "base"}}}});
   Map map = fitting;
   EXPECT_FALSE(map.trimMap(system));
   EXPECT_FALSE(map.removeLinkCollisionExclusionCandidate(1, "label0", 0, "base"));
   EXPECT_FALSE(map.removeLinkCollisionExclusionCandidates(0, "label0", 1));
   EXPECT_FALSE(map.removeManipulatorCollisionExclusionCandidates(2, 2));
   EXPECT_EQ(map, fitting);
   for (const bool removed : {true, false})
   {
      EXPECT_EQ(map.removeLinkCollisionExclusionCandidate(1, "base", 0, "label0"), removed);
      EXPECT_EQ(map.removeLinkCollisionExclusionCandidates(0, "base", 1), removed);
      EXPECT_EQ(map.removeLinkCollisionExclusionCandidates(1, "label0", 0), removed);
      EXPECT_EQ(map.removeManipulatorCollisionExclusionCandidates(1, 0), removed);
   }
   EXPECT_EQ(map,
             mapOf({{0, {}}}, {{{0, "base"}, {}}, {{1, "label0"}, {}}}, {{{0, "label0"}, {}}}));
   EXPECT_FALSE(map.linkHasExclusionCandidate(0, "base"));
   EXPECT_TRUE(map.trimMap(system));
   EXPECT_EQ(map, Map());

   map =
      mapOf({{0, {1, 2}}, {1, {2}}, {2, {3}}},
            {{{0, "base"}, {1, 2}}, {{0, "gone"}, {1}}, {{1, "label0"}, {0}}, {{2, "base"}, {0}}},
            {{{0, "gone"}, {{1, "base"}}},
             {{0, "label0"}, {{1, "base"}, {1, "gone"}, {2, "base"}}},
             {{0, "base"}, {{1, "gone"}}}});
   EXPECT_TRUE(map.trimMap(system));
   EXPECT_EQ(map, fitting);
}

TEST(SystemCollisionExclusionMap, RenumbersAndMergesManipulators)
{
   Map map = mapOf({{0, {1, 2}}, {1, {2}}}, {{{0, "a"}, {1, 2}}, {{1, "a"}, {0}}, {{2, "a"}, {1}}},
                   {{{0, "a"}, {{1, "b"}, {2, "b"}}}, {{1, "c"}, {{2, "c"}}}});
   const auto expected = [](ZqU32 m) // its only exclusions are from the next one
   {
      return mapOf({{m, {m + 1}}}, {{{m, "a"}, {m + 1}}}, {{{m, "a"}, {{m + 1, "b"}}}});
   };
   map.deleteManipulatorAndShift(1);
   EXPECT_EQ(map, expected(0));
   map.shiftManipulatorIndices(3);
   EXPECT_EQ(map, expected(3));

   // Of a key that both have, the set of the other one counts.
   map.excludeManipulatorCollisionCandidates(3, 7);
   map.excludeLinkCollisionCandidates(3, "a", 8);
   map.excludeLinkCollisionCandidate(3, "a", 9, "c");
   EXPECT_TRUE(map.mergeWith(expected(3)));
   EXPECT_EQ(map, expected(3));
   EXPECT_TRUE(map.mergeWith(expected(0)));
   EXPECT_TRUE(map.mergeWith(map));
   EXPECT_EQ(map.manipulatorExclusionMap(), (Map::ManipulatorExclusionMap{{0, {1}}, {3, {4}}}));
}

} // namespace
