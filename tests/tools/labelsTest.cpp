#include "zqManipulator/tools/labels/ZqLabelPool.h"
#include "zqManipulator/tools/labels/ZqManipulatorLinkLabelMapping.h"
#include "zqManipulator/tools/labels/ZqModelEdit.h"

#include <boost/lexical_cast.hpp>
#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace
{
ZqLabelPool poolOf(const std::vector<ZqString>& usedLabels)
{
   ZqLabelPool pool;
   for (const ZqString& label : usedLabels)
      pool.addUsedLabel(label);
   return pool;
}

TEST(LabelPool, NextUnusedLabelIsTheFirstFreeOne)
{
   struct Case
   {
      std::vector<ZqString> used;
      ZqString label;
      ZqString next;
   };
   const std::vector<Case> cases{
      {{}, "arm", "arm"},
      {{"arm"}, "arm", "arm-1"},
      {{"arm", "arm-1"}, "arm", "arm-2"},
      {{"arm", "arm-1", "arm-3"}, "arm", "arm-2"},
      {{"arm-9", "arm-10"}, "arm-9", "arm-11"},
      // A number counts from itself, not from its digits.
      {{"arm-007"}, "arm-007", "arm-7"},
      // Without digits after the dash, and without a dash before digits, the whole label is the base.
      {{"arm-"}, "arm-", "arm--1"},
      {{"arm3"}, "arm3", "arm3-1"},
      // Only the last dash parts base and number.
      {{"left-2-5"}, "left-2-5", "left-2-6"},
      {{"-5"}, "-5", "-6"},
      // Spaces at the end do not count, those inside do; without a number they stay in the base.
      {{"arm-3  "}, "arm-3  ", "arm-3"},
      {{"arm-3  ", "arm-3"}, "arm-3  ", "arm-4"},
      {{""}, "", "-1"},
      {{"  "}, "  ", "  -1"},
      {{"a--1"}, "a--1", "a--2"},
      {{"arm-1\t"}, "arm-1\t", "arm-1\t-1"},
   };
   for (const Case& c : cases)
   {
      const ZqLabelPool pool = poolOf(c.used);
      EXPECT_EQ(pool.nextUnusedLabel(c.label), c.next) << '"' << c.label << '"';
      EXPECT_EQ(pool, poolOf(c.used)) << "the pool has changed for " << c.label;
   }
}

TEST(LabelPool, CountsPastTheLargestNumberAndThrowsBeyondIt)
{
   const ZqString largest = "arm-" + std::to_string(std::numeric_limits<int>::max());
   EXPECT_EQ(poolOf({largest}).nextUnusedLabel(largest), "arm-2147483648");

   const ZqString tooLarge = "arm-2147483648";
   EXPECT_THROW(poolOf({tooLarge}).nextUnusedLabel(tooLarge), boost::bad_lexical_cast);
   EXPECT_EQ(poolOf({"arm"}).nextUnusedLabel(tooLarge), tooLarge);
}

TEST(LabelPool, LabelInUseKeepsItsIndexAndStaysTakenForEver)
{
   ZqLabelPool pool;
   EXPECT_TRUE(pool.addUsingLabel("x", 7));
   EXPECT_FALSE(pool.addUsingLabel("x", 8));

   ZqU32 index = 99;
   EXPECT_TRUE(pool.indexOfUsingLabel("x", index));
   EXPECT_EQ(index, 7u);

   pool.deleteUsingLabel("x");
   EXPECT_FALSE(pool.isLabelUsing("x") || pool.indexOfUsingLabel("x", index));
   EXPECT_EQ(index, 7u);
   EXPECT_EQ(pool.nextUnusedLabel("x"), "x-1");
   // A taken label may come to use again, with a new index.
   EXPECT_TRUE(pool.addUsingLabel("x", 8));
   EXPECT_TRUE(pool.addUsingLabel("y", 9));
   pool.clearUsingLabels();
   EXPECT_TRUE(pool.usingLabels().empty());
   EXPECT_EQ(pool.usedLabels(), (std::set<ZqString>{"x", "y"}));
}

TEST(LinkLabelMapping, StaysOneToOne)
{
   ZqManipulatorLinkLabelMapping mapping;
   EXPECT_TRUE(mapping.insert("new", {"arm", "wrist"}));
   EXPECT_TRUE(mapping.insert("other", {"arm", "elbow"}));
   EXPECT_TRUE(mapping.insert("third", {"wrist", "arm"}));

   const ZqManipulatorLinkLabelMapping before = mapping;
   EXPECT_FALSE(mapping.insert("new", {"leg", "knee"}));
   EXPECT_FALSE(mapping.insert("fresh", {"arm", "wrist"}));
   EXPECT_FALSE(mapping.insert("new", {"arm", "wrist"}));
   EXPECT_EQ(mapping, before);

   for (const auto& [newLabel, pair] : mapping.newLabelToManipulatorLinkLabel())
      EXPECT_EQ(mapping.manipulatorLinkLabelToNewLabel().at(pair), newLabel);

   // New labels go with their links.
   mapping.apply(ZqLinkEdit::moved({}, {{"new", "other"}, {"third", "3"}}, ZqBaseLinkIndex));
   ZqManipulatorLinkLabelMapping expected;
   expected.insert("other", {"arm", "wrist"});
   expected.insert("3", {"wrist", "arm"});
   EXPECT_EQ(mapping, expected);
}

TEST(LabelPool, CountsOnFromWhatItFoundTaken)
{
   // From every number the first free one, whatever was asked before; and as fast as that.
   ZqLabelPool pool;
   const auto label = [](ZqU32 number) { return "a-" + std::to_string(number); };
   constexpr ZqU32 count = 20000;
   for (ZqU32 i = 1; i <= count; ++i)
      if (i != 7)
         pool.addUsedLabel(label(i));
   EXPECT_EQ(pool.nextUnusedLabel(label(9)), label(count + 1));
   EXPECT_EQ(pool.nextUnusedLabel(label(3)), label(7));
   pool.addUsedLabel(label(7));
   for (ZqU32 i = 1; i <= count; ++i)
   {
      const ZqString next = pool.nextUnusedLabel(label(1 + (i * 7919U) % count));
      ASSERT_EQ(next, label(count + i));
      pool.addUsedLabel(next);
   }
}
} // namespace
