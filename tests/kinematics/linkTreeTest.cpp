#include "support/logCapture.h"
#include "support/longChain.h"
#include "support/randomManipulators.h"
#include "support/xmlSamples.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>

namespace
{
using Link = ZqManipulatorLink;
using Frame = ZqCoordinateSystemTransformation;
using Masses = ZqRigidBodyMassProperties;
using FrameStates = ZqManipulatorActivePositionState;
using zqTest::LogCapture;
using zqTest::longChain;
using zqTest::mapsAreRight;
using zqTest::nan;
using zqTest::parentsAreRight;
using zqTest::RandomValues;

bool isValid(const FrameStates& state, const Link& link)
{
   const ZqU32 i = link.linkIndex();
   return i == ZqBaseLinkIndex ? state.basePositionState().locationInSystemValid()
                               : state.linkPositionStates()[i].locationInSystemValid();
}

/// Positions at random places between the limits.
ZqPositionState randomState(RandomValues& random, const ZqIndividualManipulator& manipulator)
{
   ZqPositionState state = zqTest::randomPosition(random, manipulator);
   for (const Link* link : manipulator.linkPointerVector())
      state.jointPositions()[link->linkIndex()] =
         random.real(link->jointActuator().lowerLimit(), link->jointActuator().upperLimit());
   return state;
}

TEST(LinkTree, FramesAreWithinReachAndComputedAsFarAsNeeded)
{
   RandomValues random(51);
   for (unsigned i = 0; i < 300; ++i)
   {
      SCOPED_TRACE(i);
      const auto manipulator = zqTest::randomManipulator(random, random.index(0, 20));
      const auto links = zqTest::inPreorder(manipulator);
      const ZqPositionState position = randomState(random, manipulator);
      FrameStates state;
      state.setPositionState(position);

      for (const Link* link : links)
      {
         link->primaryFrameInSystem(state);
         const ZqVector arm = link->dhFrameInSystem(state).translation() -
                              manipulator.dhFrameInSystem(state).translation();
         EXPECT_LE(arm.mag(), manipulator.absoluteBoundingSphere().radius() + 1e-12);
      }

      // What is asked for and what it needs become valid, and no more.
      FrameStates asked;
      asked.setPositionState(position);
      std::set<const Link*> known;
      const Link& any = *links[random.index(0, static_cast<ZqU32>(links.size()) - 1)];
      any.primaryFrameInSystem(asked);
      for (const Link* needed = &any; needed != nullptr; needed = needed->parentLink())
         known.insert(needed);
      for (const Link* link : links)
         EXPECT_EQ(isValid(asked, *link), known.contains(link));

      // Joints that a link does not hang on do not matter.
      const Link& leaf = *links.back();
      ZqPositionState poisoned = position;
      poisoned.jointPositions().assign(position.jointPositions().size(), nan);
      for (const Link* link = &leaf; link->parentLink() != nullptr; link = link->parentLink())
         poisoned.jointPositions()[link->linkIndex()] =
            position.jointPositions()[link->linkIndex()];
      FrameStates other;
      other.setPositionState(poisoned);
      EXPECT_EQ(leaf.primaryFrameInSystem(other), leaf.primaryFrameInSystem(state));
   }
}

/// Records in which nobody has asked for the primary frame show it like those in which somebody has.
TEST(LinkTree, RecordsHoldPrimaryFramesThatWereNotAskedFor)
{
   RandomValues random(57);
   const auto manipulator = zqTest::randomManipulator(random, 5);
   const Link& link = *manipulator.linkByIndex(3);
   const ZqPositionState position = randomState(random, manipulator);
   const auto placed = [&](const Link& asked)
   {
      FrameStates state;
      state.setPositionState(position);
      asked.dhFrameInSystem(state);
      return state.record(asked.linkIndex());
   };
   FrameStates state;
   state.setPositionState(position);
   for (const Link* any : {&link, static_cast<const Link*>(&manipulator)})
   {
      const Frame expected = any->primaryFrameInSystem(state);
      const ZqLinkPositionState& asked = std::as_const(state).record(any->linkIndex());
      const ZqLinkPositionState copy = placed(*any);
      EXPECT_EQ(copy.primaryFrame(), expected);
      EXPECT_EQ(placed(*any), asked);
      EXPECT_EQ(zqTest::written(placed(*any)), zqTest::written(asked));
      ZqLinkPositionState moved = placed(*any);
      moved.setDhFrame(Frame());
      EXPECT_EQ(moved.primaryFrame(), expected);
      ZqLinkPositionState set = placed(*any);
      set.setPrimaryFrame(Frame());
      EXPECT_EQ(set.primaryFrame(), Frame());
      ZqLinkPositionState read = placed(*any);
      ASSERT_TRUE(Zq::fromXml(read, zqTest::written(ZqLinkPositionState(), true)));
      EXPECT_EQ(read, ZqLinkPositionState());
      const ZqLinkPositionState listed = placed(*any);
      const ZqXmlObject* const component = listed.componentMap().at(ZqManip::ZqPrimaryFrameToken);
      EXPECT_TRUE(component->equality(&expected));
   }
}

TEST(LinkTree, StatesThatDoNotFitAreRejected)
{
   RandomValues random(53);
   const auto arm =
      zqTest::makeManipulator(zqTest::chain(3), [&](ZqU32) { return zqTest::randomLink(random); });
   const ZqPositionState position = randomState(random, arm);
   FrameStates whole;
   whole.setPositionState(position);
   for (const ZqU32 joints : {0U, 2U, 3U, 5U})
      for (const ZqU32 records : {0U, 2U, 3U, 5U})
         for (ZqU32 i = 3; i-- > 0;)
         {
            ZqPositionState some = position;
            some.jointPositions().resize(joints);
            FrameStates state;
            state.setPositionState(some);
            state.setLinkPositionStates(ZqXmlVectorType<ZqLinkPositionState>(records));
            const bool fits = i < joints && i < records;
            const Link& link = *arm.linkByIndex(i);
            LogCapture log;
            EXPECT_EQ(link.dhFrameInSystem(state), fits ? link.dhFrameInSystem(whole) : Frame());
            EXPECT_EQ(link.primaryFrameInSystem(state),
                      fits ? link.primaryFrameInSystem(whole) : Frame());
            const std::string isTold = "ZqManipulatorLink::primaryFrameInSystem(): index " +
                                       std::to_string(i) + " out of range " +
                                       std::to_string(records) + ".\n";
            EXPECT_EQ(log.contains("dhFrameInSystem(): index out of range.\n"), !fits);
            EXPECT_EQ(log.contains(isTold), i >= records);
         }
}

/// A tree by its labels of one letter, as in "a(b(cd)e)".
Link parsed(const char*& text)
{
   Link link;
   link.setLinkLabel(ZqString(1, *text++));
   if (*text != '(')
      return link;
   for (++text; *text != ')';)
      link.addChild(parsed(text));
   ++text;
   return link;
}
Link tree(const char* text)
{
   return parsed(text);
}
std::string text(const Link& link)
{
   std::string children;
   for (const Link& child : link.childLinks())
      children += text(child);
   return link.linkLabel() + (children.empty() ? "" : '(' + children + ')');
}

TEST(LinkTree, EditsOfLinksAndOfManipulators)
{
   const Link x = tree("x");
   const std::pair<std::string, std::function<void(Link&)>> edits[] = {
      {"a(b(cd)ex)", [&](Link& a) { a.addChild(x); }},
      {"a(b(cd)ea(b(cd)e))", [](Link& a) { a.addChild(a); }},
      {"a(b(c(x)d)e)", [&](Link& a) { a.addLinkToEndOfChain(x); }},
      {"a(b(c(a(b(cd)e))d)e)", [](Link& a) { a.addLinkToEndOfChain(a); }},
      {"a(b(c(x)d)e)", [&](Link& a) { EXPECT_TRUE(a.addLinkToChildLinkByName(x, "b")); }},
      {"a(b(cd(x))e)", [&](Link& a) { EXPECT_TRUE(a.addLinkToChildLinkByName(x, "d")); }},
      {"a(b(cd)e(b(cd)))",
       [](Link& a) { EXPECT_TRUE(a.addLinkToChildLinkByName(a.childLinks()[0], "e")); }},
      {"a(b(cd)e)", [&](Link& a) { EXPECT_FALSE(a.addLinkToChildLinkByName(x, "a")); }},
      {"a(cd)", [](Link& a) { a.setChildLinks(a.childLinks()[0].childLinks()); }},
      {"a(b(cd)e)", [](Link& a) { a.setChildLinks(a.childLinks()); }},
      {"a", [](Link& a) { a.clearChildLinks(); }},
      {"ax(bx(cxdx)ex)", [](Link& a) { a.appendToAllLabels("x"); }},
      {"j5(j6(j7j8)j9)",
       [](Link& a)
       {
          ZqU32 counter = 5;
          a.relabelSubtree("j", counter);
          EXPECT_EQ(counter, 10U);
       }},
      {"y(b(cd)e)", [](Link& a) { a.setLinkLabel("y"); }},
      // Not of manipulators, whose maps these do not know.
      {"b(cd)", [](Link& a) { a = a.childLinks()[0]; }},
      {"b(cd)", [](Link& a) { a = std::move(a.childLinks()[0]); }},
      {"a(a(b(cd)e)e)", [](Link& a) { a.childLinks()[0] = a; }},
      {"a(b(cd)e)", [](Link& a) { a = *&a; }},
      {"a", [](Link& a) { a.copyAllButChildLinksFrom(a); }},
      {"e(b(cd)e)", [](Link& a) { a.copyAllButChildLinksFrom(a.childLinks()[1]); }},
      {"b(b(cd)e)", [](Link& a) { a.copyAllButChildLinksFrom(a.childLinks()[0]); }},
      {"a(eb(cd))", [](Link& a) { std::swap(a.childLinks()[0], a.childLinks()[1]); }},
      {"a(e)", [](Link& a) { a.childLinks().erase(0); }}};
   const LogCapture log; // of duplicate labels
   bool ofLinksOnly = false;
   for (const auto& [expected, edit] : edits)
   {
      SCOPED_TRACE(expected);
      Link root = tree("a(b(cd)e)");
      edit(root);
      EXPECT_EQ(text(root), expected);
      EXPECT_TRUE(parentsAreRight(root));
      EXPECT_EQ(root.parentLink(), nullptr);
      EXPECT_EQ(root.subtreeLinkCount(), zqTest::inPreorder(root).size());
      ofLinksOnly = ofLinksOnly || expected == "b(cd)";
      if (ofLinksOnly)
         continue;
      ZqIndividualManipulator manipulator;
      manipulator.setFromLink(tree("a(b(cd)e)"));
      edit(manipulator);
      EXPECT_EQ(text(manipulator), expected);
      EXPECT_TRUE(parentsAreRight(manipulator));
      EXPECT_TRUE(mapsAreRight(manipulator));
   }
   std::vector<const Link*> leaves;
   const Link root = tree("a(b(cd)e)");
   root.collectLeafLinks(leaves);
   ASSERT_EQ(leaves.size(), 3U);
   EXPECT_EQ(leaves[0]->linkLabel() + leaves[1]->linkLabel() + leaves[2]->linkLabel(), "cde");
}

/// A tree that holds pointers of its own, in a place of its own.
template <class Root>
void expectOwnTree(const Root& root, const std::string& expected)
{
   EXPECT_EQ(text(root), expected);
   EXPECT_TRUE(parentsAreRight(root));
   EXPECT_EQ(root.referenceLink(), &root);
   if constexpr (std::is_same_v<Root, ZqIndividualManipulator>)
      EXPECT_TRUE(mapsAreRight(root));
   else
      EXPECT_EQ(root.manipulator(), nullptr);
}

template <class Root>
class RootOfTree : public testing::Test
{
};
using Roots = testing::Types<ZqManipulatorLink, ZqIndividualManipulator>;
TYPED_TEST_SUITE(RootOfTree, Roots);

TYPED_TEST(RootOfTree, CopiesAndMovesHaveTheirOwnPointers)
{
   const std::string whole = "a(b(cd)e)";
   TypeParam root;
   root.setLinkLabel("a");
   root.setChildLinks(tree("a(b(cd)e)").childLinks());
   TypeParam copied(root);
   expectOwnTree(copied, whole);
   TypeParam assigned;
   assigned.addChild(tree("x(y)"));
   assigned = copied;
   expectOwnTree(assigned, whole);
   const TypeParam moved(std::move(copied));
   expectOwnTree(moved, whole);
   assigned = std::move(root);
   expectOwnTree(assigned, whole);
   // What was moved from is as good as another.
   for (TypeParam* from : {&copied, &root})
   {
      from->setLinkLabel("f");
      from->clearChildLinks();
      from->addChild(tree("x(y)"));
      expectOwnTree(*from, "f(x(y))");
   }
}

TEST(LinkTree, MapsInPreorderOfWhichTheLastOfALabelCounts)
{
   Link root = tree("a(b(cb)a)");
   Link first;
   Link::LinkPointerVector links{&first};
   Link::LinkPointerMap map;
   LogCapture log;
   EXPECT_TRUE(root.mapLinks(links, map));
   std::string labels;
   for (ZqU32 i = 1; i < links.size(); ++i)
   {
      labels += links[i]->linkLabel();
      EXPECT_EQ(links[i]->linkIndex(), i);
   }
   EXPECT_EQ(labels, "abcba");
   EXPECT_EQ(map.size(), 3U);
   EXPECT_EQ(map["a"], links[5]);
   EXPECT_EQ(map["b"], links[4]);
   const std::string duplicate =
      "ZqManipulatorLink::mapLinks(): there are duplicate links with the same label, \"";
   const std::string last = "\".  The last will be used.\n\n";
   EXPECT_EQ(log.text(), duplicate + "b" + last + duplicate + "a" + last);
   EXPECT_EQ(log.messages()[0].type, unsigned{Zq::Oddity});

   // References to the shapes of another link go by label.
   log.clear();
   ZqLinkReferenceDescription description;
   description.setIsShapeReferenced(true);
   description.setReferencedLinkLabel("c");
   links[2]->setLinkReferenceDescription(description);
   description.setReferencedLinkLabel("q");
   links[5]->setLinkReferenceDescription(description);
   links[4]->setReferenceLink(links[1]);
   EXPECT_TRUE(root.setLinkReferences(map));
   EXPECT_EQ(links[2]->referenceLink(), links[3]);
   EXPECT_EQ(links[4]->referenceLink(), links[4]);
   EXPECT_EQ(links[5]->referenceLink(), links[5]);
   EXPECT_EQ(log.text(), "ZqManipulatorLink::setLinkReference(): could not find link with label q "
                         "for referencing.  Using self.\n\n");
   EXPECT_TRUE(links[2]->removeLinkReferences());
   EXPECT_EQ(links[2]->referenceLink(), links[2]);
   EXPECT_EQ(links[2]->linkReferenceDescription(), ZqLinkReferenceDescription());
}

TEST(LinkTree, ALongChainFitsIntoAnOrdinaryStack)
{
   RandomValues random(54);
   const auto chain = zqTest::makeManipulator(zqTest::chain(longChain),
                                              [&](ZqU32) { return zqTest::randomLink(random); });
   ZqIndividualManipulator copy(chain);
   EXPECT_TRUE(copy == chain);
   copy.appendToAllLabels("x");
   EXPECT_FALSE(copy == chain);
   EXPECT_EQ(copy.subtreeLinkCount(), longChain + 1);
   FrameStates state;
   state.setPositionState(zqTest::randomPosition(random, copy));
   copy.linkByIndex(longChain - 1)->dhFrameInSystem(state);
   for (const ZqLinkPositionState& link : state.linkPositionStates())
      EXPECT_TRUE(link.locationInSystemValid());
}
} // namespace
