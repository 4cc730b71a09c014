#include "support/logCapture.h"
#include "support/randomScene.h"
#include "zqManipulator/contact/exclusion/ZqCollisionExclusionData.h"
#include "zqManipulator/foundation/function/ZqLinearMultivariableConstraint.h"
#include "zqManipulator/simulation/attachments/ZqLinkAttachment.h"
#include "zqManipulator/simulation/constraints/ZqLinearStateEqualityConstraint.h"
#include "zqManipulator/simulation/constraints/ZqMultivariableJointStateConstraint.h"
#include "zqManipulator/simulation/constraints/ZqPointStateEqualityConstraint.h"
#include "zqManipulator/simulation/interactions/ZqLatchedDoorLinks.h"
#include "zqManipulator/simulation/interactions/ZqSpringAndDamperBetweenLinks.h"
#include "zqManipulator/simulation/records/ZqComPolygonalStoppingCriterion.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <gtest/gtest.h>

#include <atomic>
#include <numeric>
#include <set>
#include <thread>

namespace
{
using Id = int;
using Pair = std::pair<Id, Id>;
using Manipulator = ZqIndividualManipulator;

/// Links carry an identity that no edit touches.
Id idOf(const ZqManipulatorLink& link)
{
   ZqVector p;
   link.lookupNamedPoint("id", p);
   return static_cast<Id>(p.x());
}

/// A scene under edits, beside what it holds told by the identity of links: what the scene has to hold
/// by labels and indices is made afresh from that after each edit.
class Walk
{
public:
   explicit Walk(ZqU32 seed) : m_random(seed) {}

   void step()
   {
      const ZqU32 count = m_scene.numberOfManipulators();
      if (count < 2 || (count < 5 && m_random.index(0, 15) == 0))
      {
         const Manipulator manipulator = newManipulator();
         ZqPositionState position;
         position.setJointPositions(ZqRealVector(manipulator.jointDof(), 1e-9));
         ZqVelocityState velocity;
         velocity.setJointVelocities(ZqRealVector(manipulator.jointDof()));
         m_scene.addManipulator(manipulator, position, velocity);
         return;
      }
      const ZqU32 i = m_random.index(0, count - 1);
      const ZqU32 kind = m_random.index(0, 24);
      if (kind == 0)
         EXPECT_TRUE(m_scene.removeManipulator(i));
      else if (kind == 1)
         EXPECT_TRUE(m_scene.changeManipulatorLabel(at(i).manipulatorLabel(), newLabel()));
      else if (kind < 6)
         EXPECT_TRUE(m_scene.changeLinkLabel(i, someLink(i, true).linkLabel(), newLabel()));
      else if (kind < 14)
         EXPECT_TRUE(m_scene.editManipulator(i, [&](Manipulator& m) { changeTree(m); }));
      else
         hold(i);
   }

   void check()
   {
      std::map<Id, std::pair<ZqU32, const ZqManipulatorLink*>> links;
      for (ZqU32 i = 0; i < m_scene.numberOfManipulators(); ++i)
         for (const ZqManipulatorLink* link : zqTest::inPreorder(at(i)))
            links[idOf(*link)] = {i, link};
      const auto isGone = [&](Id id) { return !links.contains(id); };
      const auto eitherIsGone = [&](const auto& ids)
      { return isGone(ids.first) || isGone(ids.second); };
      std::erase_if(m_attached, eitherIsGone);
      std::erase_if(m_shapes, eitherIsGone);
      std::erase_if(m_limits, eitherIsGone);
      std::erase_if(m_interactions, eitherIsGone);
      for (auto& excluded : m_excluded)
         std::erase_if(excluded, eitherIsGone);

      for (ZqU32 i = 0; i < m_scene.numberOfManipulators(); ++i)
      {
         const Manipulator& m = at(i);
         Held& held = m_held[idOf(m)];
         std::erase_if(held.criteria, isGone);
         std::erase_if(held.displayed, isGone);
         std::erase_if(held.loops, eitherIsGone);
         ASSERT_TRUE(zqTest::mapsAreRight(m) && zqTest::parentsAreRight(m));
         ASSERT_EQ(m.linkPointerMap().size(), m.jointDof() + 1U);
         expectHeld(m, held, links);

         const auto& q = m_scene.state().positionStates()[i].jointPositions();
         ASSERT_EQ(q.size(), m.jointDof());
         ASSERT_EQ(m_scene.state().velocityStates()[i].jointVelocities().size(), q.size());
         for (ZqU32 j = 0; j < q.size(); ++j)
         {
            const Id id = idOf(*m.linkByIndex(j));
            ASSERT_EQ(q[j], m_positions.try_emplace(id, 1e-9).first->second);
         }
         ZqU32 base = 0;
         ZqString label;
         ZqCoordinateSystemTransformation offset;
         const auto& map = m_scene.configuration().attachmentMap();
         ASSERT_EQ(map.getDependentManipulatorInfo(i, base, label, offset),
                   m_attached.contains(idOf(m)));
         if (m_attached.contains(idOf(m)))
         {
            ASSERT_EQ(m_scene.manipulatorByIndex(base)->linkByIdentifier(label),
                      links[m_attached[idOf(m)]].second);
         }
      }
      expectInteractions(links);
      const ZqSystemCollisionExclusionMap* maps[] = {
         &m_scene.system().collisionExclusionMap(),
         &m_scene.configuration().collisionExclusionMap(),
         &m_scene.configuration().collisionExclusionMapForCA()};
      for (const auto& [a, first] : links)
         for (const auto& [b, second] : links)
            for (ZqU32 k = 0; k < 3 && a < b; ++k)
               ASSERT_EQ(maps[k]->isLinkCollisionCandidateExcluded(
                            first.first, first.second->linkIndex(), second.first,
                            second.second->linkIndex()),
                         m_excluded[k].contains({a, b}))
                  << first.second->linkLabel() << ' ' << second.second->linkLabel();
   }

private:
   struct Held
   {
      std::vector<Pair> loops; ///< of even length: points; else sums of velocities
      std::vector<Id> criteria;
      std::vector<Id> displayed;
      std::set<Pair> candidates;
      std::map<Id, std::vector<Id>> springs;
   };
   using Links = std::map<Id, std::pair<ZqU32, const ZqManipulatorLink*>>;

   const Manipulator& at(ZqU32 i) const { return *m_scene.manipulatorByIndex(i); }
   ZqString newLabel() { return "n" + std::to_string(++m_last); }
   const ZqManipulatorLink& someLink(ZqU32 i, bool orBase)
   {
      const ZqU32 n = at(i).jointDof();
      const ZqU32 j = m_random.index(0, orBase || n == 0 ? n : n - 1);
      return j == n ? at(i) : *at(i).linkByIndex(j);
   }
   template <class Link>
   Link identified(Link link)
   {
      link.setLinkLabel(newLabel());
      link.addNamedPoint("id", {ZqReal(m_last), 0.0, 0.0});
      return link;
   }
   ZqManipulatorLink newLinks()
   {
      ZqManipulatorLink link = identified(ZqManipulatorLink());
      for (ZqU32 i = m_random.index(0, 2); i > 0; --i)
         link.addLinkToEndOfChain(identified(ZqManipulatorLink()));
      return link;
   }
   Manipulator newManipulator()
   {
      Manipulator manipulator = identified(Manipulator());
      manipulator.setManipulatorLabel(newLabel());
      for (ZqU32 i = m_random.index(1, 3); i > 0; --i)
         manipulator.addChild(newLinks());
      return manipulator;
   }

   void changeTree(Manipulator& m)
   {
      const ZqU32 n = m.jointDof();
      const ZqU32 kind = m_random.index(0, n == 0 ? 1 : 9);
      const ZqU32 j = m_random.index(0, std::max(n, 1U) - 1);
      // These exclude all pairs of links.
      if (kind < 4)
         m_held[idOf(m)].candidates.clear();
      ZqU32 counter = 1000U * static_cast<ZqU32>(++m_last);
      if (kind == 0)
         m.addChild(newLinks());
      else if (kind == 1)
         m.addLinkToEndOfChain(newLinks());
      else if (kind == 2)
         EXPECT_TRUE(m.addLinkToChildLinkByName(newLinks(), m.linkByIndex(j)->linkLabel()));
      else if (kind == 3 && n > 12)
         m.clearChildLinks();
      else if (kind == 4)
         m.appendToAllLabels("x");
      else if (kind == 5)
         m.relabelSubtree("r", counter);
      else if (kind == 6)
         m.linkByIndex(j)->addChild(newLinks());
      else if (kind == 7)
         m.linkByIndex(j)->childLinks().pushBack(newLinks());
      else if (kind == 8 && n > 6)
         m.childLinks().erase(m_random.index(0, m.childLinks().size() - 1));
      else if (kind == 9)
      {
         ZqManipulatorLink::ChildLinks children = m.childLinks();
         children.leftRotate(1);
         m.setChildLinks(children);
         m.linkByIndex(j)->setLinkLabel(newLabel());
      }
      else if (kind == 3)
         m.buildSelfCollisionLinkMap();
   }

   /// Has the scene hold one thing more.
   void hold(ZqU32 i)
   {
      const ZqU32 kind = m_random.index(0, 10);
      const ZqManipulatorLink& first = someLink(i, true);
      const ZqManipulatorLink& second = someLink(i, true);
      const Pair ids(idOf(first), idOf(second));
      Held& held = m_held[idOf(at(i))];
      const ZqString labels[] = {first.linkLabel(), second.linkLabel()};
      const bool haveJoints = at(i).jointDof() > 0 && &first != &at(i) && &second != &at(i);
      const ZqU32 other = (i + 1) % m_scene.numberOfManipulators();
      const auto edit = [&](const std::function<void(Manipulator&)>& change)
      { EXPECT_TRUE(m_scene.editManipulator(i, change)); };
      if (kind < 2 && (kind == 0 || haveJoints))
      {
         ZqStateEqualityConstraintVector constraints = at(i).stateEqualityConstraints();
         ZqPointStateEqualityConstraint point;
         point.setFirstLinkLabel(labels[0]);
         point.setSecondLinkLabel(labels[1]);
         ZqLinearStateEqualityConstraint sum;
         ZqRealVector weights(std::max(first.linkIndex(), second.linkIndex()) % 1000U + 1U);
         if (kind == 1)
            weights[first.linkIndex()] = weights[second.linkIndex()] = 2.0;
         sum.setJointWeights({weights});
         sum.setBaseWeights(ZqLinearStateEqualityConstraint::Weights(1));
         sum.setWeightedSums({0.0});
         constraints.pushBack(kind == 0 ? static_cast<const ZqBaseStateEqualityConstraint&>(point)
                                        : sum);
         edit([&](Manipulator& m) { m.setStateEqualityConstraints(constraints); });
         held.loops.push_back(ids);
      }
      else if (kind == 2)
      {
         ZqStoppingCriterionVector criteria = at(i).stoppingCriteria();
         ZqComPolygonalStoppingCriterion criterion;
         criterion.setReferenceLinkLabel(labels[0]);
         criteria.pushBack(criterion);
         edit([&](Manipulator& m) { m.setStoppingCriteria(criteria); });
         held.criteria.push_back(ids.first);
      }
      else if (kind == 3)
      {
         Manipulator::DisplayLinkIndices displayed = at(i).displayLinkIndices();
         displayed.pushBack(first.linkIndex());
         edit([&](Manipulator& m) { m.setDisplayLinkIndices(displayed); });
         held.displayed.push_back(ids.first);
      }
      else if (kind == 4)
      {
         ZqManipulatorSelfCollisionLinkMap map = at(i).selfCollisionLinkMap();
         map.setLinkCollisionCanditateByIdentifier(labels[0], labels[1], true);
         EXPECT_TRUE(m_scene.setSelfCollisionMap(map, i));
         held.candidates.insert(std::minmax(ids.first, ids.second));
      }
      else if (kind == 5 && haveJoints)
      {
         ZqSpringProperties spring;
         spring.setAssociatedJoints({labels[0], labels[1]});
         spring.setWeightingFactors(ZqRealVector{1.0, 2.0});
         spring.setSpringOffsets(ZqRealVector{3.0, 4.0});
         ZqLinkReferenceDescription shapes;
         shapes.setIsShapeReferenced(true);
         shapes.setReferencedLinkLabel(labels[1]);
         edit(
            [&](Manipulator& m)
            {
               m.linkByIdentifier(labels[0])->setSpringProperties(spring);
               m.linkByIdentifier(labels[0])->setLinkReferenceDescription(shapes);
               m.mapManipulator(); // binds the reference
            });
         held.springs[ids.first] = {ids.first, ids.second};
         m_shapes[ids.first] = ids.second;
      }
      else if (kind == 6 && m_scene.configuration().attachmentMap().attachManipulator(
                               other, i, labels[0], {}, "name"))
         m_attached[idOf(at(other))] = ids.first;
      else if (kind == 7 && other != i)
      {
         const ZqU32 k = m_random.index(0, 2);
         const ZqManipulatorLink& link = someLink(other, true);
         ZqSystemCollisionExclusionMap maps[] = {
            m_scene.system().collisionExclusionMap(),
            m_scene.configuration().collisionExclusionMap(),
            m_scene.configuration().collisionExclusionMapForCA()};
         maps[k].excludeLinkCollisionCandidate(i, labels[0], other, link.linkLabel());
         m_scene.setCollisionExclusionMap(maps[0]);
         m_scene.setDynamicCollisionExclusionMap(maps[1]);
         m_scene.setSollisionExclusionMapForCA(maps[2]);
         m_excluded[k].insert(std::minmax(ids.first, idOf(link)));
      }
      else if (kind == 10 && haveJoints)
      {
         ZqLinearMultivariableConstraint sum;
         sum.setCoefficient(first.linkIndex(), 2.0);
         sum.setCoefficient(second.linkIndex(), 3.0);
         edit(
            [&](Manipulator& m)
            {
               m.linkByIdentifier(labels[0])->setUpperLimitConstraint(
                  ZqMultivariableJointStateConstraint(sum));
            });
         m_limits[ids.first] = ids.second;
      }
      else if (kind == 8 || kind == 9)
         interact(i, first, kind == 8 ? someLink(other, true) : second, kind == 8);
      // Joints have positions to be known by.
      ZqManipulatorSystemState state = m_scene.state();
      for (ZqU32 k = 0; k < m_scene.numberOfManipulators(); ++k)
         for (ZqU32 j = 0; j < at(k).jointDof(); ++j)
         {
            const Id id = idOf(*at(k).linkByIndex(j));
            state.positionStates()[k].jointPositions()[j] = m_positions[id] = id;
         }
      m_scene.setState(state);
   }

   /// By a spring to any link, or by a door in one manipulator.
   void interact(ZqU32 i, const ZqManipulatorLink& first, const ZqManipulatorLink& second,
                 bool isSpring)
   {
      ZqLinkInteractionsVector interactions = m_scene.system().linkInteractionsVector();
      if (isSpring)
      {
         ZqSpringAndDamperBetweenLinks spring;
         spring.setManipulatorOneIndex(i);
         spring.setManipulatorTwoIndex((i + 1) % m_scene.numberOfManipulators());
         spring.setLinkOneIndex(static_cast<int>(first.linkIndex()));
         spring.setLinkTwoIndex(static_cast<int>(second.linkIndex()));
         interactions.pushBack(spring);
      }
      else if (&first != &at(i) && &second != &at(i))
      {
         ZqLatchedDoorLinks door;
         door.setManipulatorId(i);
         door.setDoorLinkId(first.linkIndex());
         door.setHandleLinkId(second.linkIndex());
         interactions.pushBack(door);
      }
      else
         return;
      m_interactions.emplace_back(idOf(first), idOf(second));
      m_scene.setLinkInteractionsVector(interactions);
   }

   void expectInteractions(const Links& links)
   {
      const auto& interactions = m_scene.system().linkInteractionsVector().vectorContainer();
      ASSERT_EQ(interactions.size(), m_interactions.size());
      for (std::size_t k = 0; k < interactions.size(); ++k)
      {
         const auto& [m1, one] = links.at(m_interactions[k].first);
         const auto& [m2, two] = links.at(m_interactions[k].second);
         const ZqU32 expected[] = {m1, one->linkIndex(), m2, two->linkIndex()};
         const auto* s = dynamic_cast<const ZqSpringAndDamperBetweenLinks*>(interactions[k]);
         const auto* d = dynamic_cast<const ZqLatchedDoorLinks*>(interactions[k]);
         const ZqU32 told[] = {s ? s->manipulatorOneIndex() : d->manipulatorId(),
                               s ? static_cast<ZqU32>(s->linkOneIndex()) : d->doorLinkId(),
                               s ? s->manipulatorTwoIndex() : d->manipulatorId(),
                               s ? static_cast<ZqU32>(s->linkTwoIndex()) : d->handleLinkId()};
         ASSERT_TRUE(std::equal(std::begin(told), std::end(told), expected)) << k;
      }
   }

   void expectHeld(const Manipulator& m, const Held& held, const Links& links)
   {
      const auto labelOf = [&](Id id) { return links.at(id).second->linkLabel(); };
      const auto& constraints = m.stateEqualityConstraints().vectorContainer();
      ASSERT_EQ(constraints.size(), held.loops.size());
      for (std::size_t k = 0; k < constraints.size(); ++k)
         if (const auto* point = dynamic_cast<ZqPointStateEqualityConstraint*>(constraints[k]))
         {
            ASSERT_EQ(point->firstLinkLabel(), labelOf(held.loops[k].first));
            ASSERT_EQ(point->secondLinkLabel(), labelOf(held.loops[k].second));
         }
         else
         {
            const auto& sum = dynamic_cast<ZqLinearStateEqualityConstraint&>(*constraints[k]);
            std::set<Id> ids;
            for (ZqU32 j = 0; j < sum.jointWeights()[0].size(); ++j)
               if (sum.jointWeights()[0][j] != 0.0)
                  ids.insert(idOf(*m.linkByIndex(j)));
            ASSERT_EQ(ids, std::set({held.loops[k].first, held.loops[k].second}));
         }
      ASSERT_EQ(m.stoppingCriteria().size(), held.criteria.size());
      for (ZqU32 k = 0; k < held.criteria.size(); ++k)
         ASSERT_EQ(dynamic_cast<const ZqComPolygonalStoppingCriterion&>(m.stoppingCriteria()[k])
                      .referenceLinkLabel(),
                   labelOf(held.criteria[k]));
      ASSERT_EQ(m.displayLinkIndices().size(), held.displayed.size());
      for (ZqU32 k = 0; k < held.displayed.size(); ++k)
         ASSERT_EQ(m.displayLinkIndices()[k], links.at(held.displayed[k]).second->linkIndex());

      const auto all = zqTest::inPreorder(m);
      for (const ZqManipulatorLink* a : all)
      {
         for (const ZqManipulatorLink* b : all)
            ASSERT_EQ(m.canCollide(a->linkIndex(), b->linkIndex()),
                      a != b && held.candidates.contains(std::minmax(idOf(*a), idOf(*b))));
         std::map<ZqString, ZqReal> expected;
         std::map<ZqString, ZqReal> weights;
         if (const auto found = held.springs.find(idOf(*a)); found != held.springs.end())
            for (std::size_t k = 0; k < 2; ++k)
               if (links.contains(found->second[k]))
                  expected[labelOf(found->second[k])] += ZqReal(k) + 1.0;
         const ZqSpringProperties& spring = a->springProperties();
         ASSERT_EQ(spring.associatedJoints().size(), spring.weightingFactors().size());
         for (ZqU32 k = 0; k < spring.weightingFactors().size(); ++k)
            weights[spring.associatedJoints()[k]] += spring.weightingFactors()[k];
         ASSERT_EQ(weights, expected);
         const auto limit = m_limits.find(idOf(*a));
         const auto* own = dynamic_cast<const ZqMultivariableJointStateConstraint*>(
            a->upperLimitConstraintContainer().topElement());
         ASSERT_EQ(own != nullptr, limit != m_limits.end());
         if (own != nullptr)
         {
            const auto& sum =
               dynamic_cast<const ZqLinearMultivariableConstraint&>(*own->constraint());
            ASSERT_EQ(sum.coefficient(links.at(limit->second).second->linkIndex()), 3.0);
            ASSERT_EQ(sum.coefficient(a->linkIndex()), limit->first == limit->second ? 3.0 : 2.0);
         }
         const auto shape = m_shapes.find(idOf(*a));
         ASSERT_EQ(a->referenceLink(),
                   shape == m_shapes.end() ? a : links.at(shape->second).second);
      }
   }

   zqTest::RandomValues m_random;
   ZqStatedSystem m_scene;
   Id m_last = 0;
   std::map<Id, Held> m_held; ///< by base
   std::map<Id, Id> m_shapes;
   std::map<Id, Id> m_limits;   ///< from the link that holds one to the other joint in it
   std::map<Id, Id> m_attached; ///< from base to link
   std::set<Pair> m_excluded[3];
   std::vector<Pair> m_interactions;
   std::map<Id, ZqReal> m_positions;
};

TEST(Edits, EverybodyWhoNamesALinkFollowsIt)
{
   const zqTest::LogCapture log; // of constraints that go
   for (ZqU32 seed = 0; seed < 40; ++seed)
   {
      Walk walk(seed);
      for (int step = 0; step < 60; ++step)
      {
         SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(step));
         walk.step();
         ASSERT_NO_FATAL_FAILURE(walk.check());
      }
   }
}

TEST(Edits, RecordsOfEditsThatFollowOneAnotherBecomeOne)
{
   zqTest::RandomValues random(7);
   for (int round = 0; round < 200; ++round)
   {
      const ZqU32 count = random.index(0, 6);
      std::vector<ZqU32> list(count);
      std::iota(list.begin(), list.end(), 0U);
      const std::vector<ZqU32> before = list;
      ZqRenumbering all;
      for (ZqU32 edit = 0; edit < 4; ++edit)
      {
         const auto size = static_cast<ZqU32>(list.size());
         const ZqU32 at = random.index(0, size);
         const ZqU32 n = random.index(0, 2);
         if (random.index(0, 1) == 0)
         {
            list.insert(list.begin() + at, n, 99U);
            all = all.then(ZqRenumbering::inserted(at, n));
         }
         else if (at + n <= size)
         {
            list.erase(list.begin() + at, list.begin() + at + n);
            all = all.then(ZqRenumbering::removed(at, n));
         }
      }
      std::vector<ZqU32> moved = all.moved(before, 99U);
      ASSERT_LE(moved.size(), list.size());
      moved.resize(list.size(), 99U);
      ASSERT_EQ(moved, list);
      // What stands behind the list moves by the difference in length.
      ASSERT_EQ(all(count + 10), list.size() + 10);
      ASSERT_EQ(all(ZqRenumbering::gone), ZqRenumbering::gone);
   }
}

/// Manipulator 2, with links x and y, is mounted on the wrist of manipulator 0, its base as a part of it.
TEST(Edits, LinksThatGoToAnotherManipulatorTakeWhatNamesThemAlong)
{
   ZqModelEdit edit;
   edit.setManipulators(ZqRenumbering::removed(2, 1));
   edit.setLinks(0, ZqLinkEdit::inserted(1, 2));
   edit.addTransfer(2, 0,
                    ZqLinkEdit::moved(ZqRenumbering::to({1, 2}),
                                      {{"base", "wrist"}, {"x", "x-1"}, {"y", "y"}}, 0));

   ZqManipulatorSystemState state;
   state.positionStates().resize(4);
   state.velocityStates().resize(4);
   state.positionStates()[0].setJointPositions({1.0, 2.0});
   state.positionStates()[2].setJointPositions({3.0, 4.0});
   state.positionStates()[3].setJointPositions({5.0});
   state.apply(edit);
   ASSERT_EQ(state.positionStates().size(), 3U);
   EXPECT_EQ(state.positionStates()[0].jointPositions(), ZqRealVector({1.0, 3.0, 4.0, 2.0}));
   EXPECT_EQ(state.positionStates()[2].jointPositions(), ZqRealVector({5.0}));

   ZqManipulatorAttachmentMap attachments;
   attachments.attachManipulator(3, 2, "x", {}, "kept");
   attachments.attachManipulator(2, 1, "tip", {}, "gone");
   attachments.apply(edit);
   ZqManipulatorAttachmentMap expected;
   expected.attachManipulator(2, 0, "x-1", {}, "kept");
   EXPECT_EQ(attachments.baseNodes(), expected.baseNodes());
   EXPECT_EQ(attachments.attachmentChangeVector().size(), 1U);

   ZqSystemCollisionExclusionMap map;
   map.excludeLinkCollisionCandidate(0, "tip", 2, "x"); // of one manipulator now
   map.excludeLinkCollisionCandidate(1, "tip", 2, "base");
   map.excludeLinkCollisionCandidates(2, "y", 3);
   map.excludeManipulatorCollisionCandidates(2, 3);
   ZqCollisionExclusionData data;
   data.addCollisionExclusionMap("map", map);
   data.apply(edit);
   ZqSystemCollisionExclusionMap expectedMap;
   expectedMap.excludeLinkCollisionCandidate(0, "wrist", 1, "tip");
   expectedMap.excludeLinkCollisionCandidates(0, "y", 2);
   EXPECT_EQ(data.getCollisionExclusionMap("map"), expectedMap);

   ZqLinkAttachment camera;
   camera.setManipulatorId(2);
   camera.setLinkId("x");
   EXPECT_TRUE(camera.apply(edit));
   EXPECT_EQ(std::pair(camera.manipulatorId(), camera.linkId()), std::pair(0U, ZqString("x-1")));
   camera.setManipulatorId(2);
   EXPECT_FALSE(camera.apply(edit)); // no link x-1 went along
}

TEST(Edits, AManipulatorSeesWhatItsLinksChangeBeforeItAnswers)
{
   const auto labelled = [](const ZqString& label)
   {
      ZqManipulatorLink link;
      link.setLinkLabel(label);
      return link;
   };
   const auto arm = [&]
   { return zqTest::makeManipulator(zqTest::chain(4), [](ZqU32) { return ZqManipulatorLink(); }); };
   const ZqManipulatorLink x = labelled("x");
   const std::pair<const char*, std::function<void(Manipulator&)>> edits[] = {
      {"addChild", [&](Manipulator& m) { m.linkByIndex(0)->addChild(x); }},
      {"setChildLinks",
       [&](Manipulator& m) {
          m.linkByIndex(0)->setChildLinks({x, x});
       }},
      {"clearChildLinks", [](Manipulator& m) { m.linkByIndex(1)->clearChildLinks(); }},
      {"addLinkToEndOfChain", [&](Manipulator& m) { m.linkByIndex(0)->addLinkToEndOfChain(x); }},
      {"setLinkLabel", [](Manipulator& m) { m.linkByIndex(2)->setLinkLabel("z"); }},
      {"assignment", [&](Manipulator& m) { *m.linkByIndex(1) = x; }},
      {"pushBack", [&](Manipulator& m) { m.linkByIndex(2)->childLinks().pushBack(x); }},
      {"pushBack to the base", [&](Manipulator& m) { m.childLinks().pushBack(x); }},
      {"an assigned child", [&](Manipulator& m) { m.linkByIndex(0)->childLinks()[0] = x; }},
      {"erase", [](Manipulator& m) { m.linkByIndex(1)->childLinks().erase(0); }},
      {"two loans",
       [&](Manipulator& m)
       {
          ZqManipulatorLink* outer = m.linkByIndex(1);
          m.linkByIndex(2)->childLinks().pushBack(x);
          outer->childLinks().pushBack(x);
       }},
      {"a move away", [](Manipulator& m) { ZqManipulatorLink(std::move(*m.linkByIndex(1))); }},
   };
   const zqTest::LogCapture log; // of duplicate labels
   for (const auto& [name, edit] : edits)
   {
      SCOPED_TRACE(name);
      Manipulator manipulator = arm();
      edit(manipulator);
      Manipulator moved = std::move(manipulator);
      EXPECT_TRUE(zqTest::mapsAreRight(moved));
      EXPECT_TRUE(zqTest::parentsAreRight(moved));

      // Any number of threads may be the first to ask.
      Manipulator shared = arm();
      edit(shared);
      const ZqU32 dof = moved.jointDof();
      std::vector<std::thread> threads;
      std::atomic<int> right = 0;
      for (int i = 0; i < 4; ++i)
         threads.emplace_back(
            [&]
            {
               const Manipulator& asked = shared;
               const ZqManipulatorLink* last = asked.linkByIndex(dof - 1);
               right += asked.linkByIndex(dof) == nullptr && last->linkIndex() == dof - 1 &&
                        !asked.canCollide(0, ZqBaseLinkIndex);
            });
      for (std::thread& thread : threads)
         thread.join();
      EXPECT_EQ(right, 4);
   }

   // A sink of the log may ask a manipulator for links while another one has something to say of its own.
   Manipulator first = arm();
   Manipulator second = arm();
   for (Manipulator* manipulator : {&first, &second})
      manipulator->linkByIndex(0)->setChildLinks({x, x});
   ZqU32 asked = 0;
   const auto before =
      Zq::Print::instance().setSink([&](unsigned, std::string_view) { asked = second.jointDof(); });
   EXPECT_EQ(first.jointDof(), 3U);
   Zq::Print::instance().setSink(before);
   EXPECT_EQ(asked, 3U);

   // What was taken out of a tree does not know the manipulator any more.
   ZqManipulatorLink taken;
   {
      Manipulator manipulator = arm();
      taken = std::move(*manipulator.linkByIndex(0));
   }
   taken.childLinks()[0].addChild(x);
   EXPECT_EQ(taken.childLinks()[0].manipulator(), nullptr);
}

TEST(Edits, AReferenceHasOnePlaceWhoeverIsAskedFirst)
{
   const auto at = [](ZqReal x) { return ZqCoordinateSystemTransformation(ZqVector(x, 0.0, 0.0)); };
   Manipulator model =
      zqTest::makeManipulator(zqTest::chain(2), [](ZqU32) { return ZqManipulatorLink(); });
   model.setManipulatorLabel("a");
   Manipulator reference;
   reference.setManipulatorLabel("b");
   reference.setCoordSysXForm(at(100.0));
   ZqManipulatorReferenceDescription description;
   description.setIsManipulatorReferenced(true);
   description.setReferencedManipulatorLabel("a");
   reference.setManipulatorReferenceDescription(description);
   ZqManipulatorSystem system;
   system.setManipulators({model, reference});
   ZqStatedSystem scene;
   scene.setFromSystem(system);
   const auto placesOf =
      [](const Manipulator& m, ZqManipulatorActivePositionState& state, ZqU32 order)
   {
      const ZqManipulatorLink* const asked[] = {&m, m.linkByIndex(ZqBaseLinkIndex),
                                                m.linkByIndex(0), m.linkByIndex(1)};
      std::set<ZqReal> places;
      for (ZqU32 i = 0; i < 4; ++i)
         places.insert(asked[(i + order) % 4]->dhFrameInSystem(state).translation().x());
      return places;
   };
   for (ZqU32 order = 0; order < 4; ++order)
      for (ZqU32 i = 0; i < 2; ++i)
      {
         ZqSystemActiveState active;
         active.setNonredundantState(scene.state());
         EXPECT_EQ(placesOf(*scene.manipulatorByIndex(i),
                            active.manipulatorActiveStateVector()[i].activePositionState(), order),
                   std::set<ZqReal>{100.0 * i});
      }

   // A state that a user made knows from the reference, once that was asked.
   ZqManipulatorActivePositionState own;
   ZqPositionState position;
   position.setJointPositions({0.0, 0.0});
   own.setPositionState(position);
   const Manipulator& b = *scene.manipulatorByIndex(1);
   EXPECT_EQ(b.linkByIndex(0)->dhFrameInSystem(own).translation().x(), 0.0);
   EXPECT_EQ(b.dhFrameInSystem(own).translation().x(), 100.0);
   EXPECT_EQ(b.linkByIndex(0)->dhFrameInSystem(own).translation().x(), 100.0);

   // It stays there when it gets a model of its own, be it that an edit throws.
   for (ZqU32 edited = 0; edited < 3; ++edited)
   {
      ZqStatedSystem copy(scene);
      const bool removes = edited == 2;
      if (removes)
         EXPECT_TRUE(copy.removeManipulator(0));
      else
         EXPECT_THROW(copy.editManipulator(edited, [](Manipulator& m) { m.addChild({}), throw 1; }),
                      int);
      ZqSystemActiveState active;
      active.setNonredundantState(copy.state());
      const ZqU32 last = removes ? 0 : 1;
      const Manipulator& m = *copy.manipulatorByIndex(last);
      EXPECT_FALSE(m.manipulatorReferenceDescription().isManipulatorReferenced());
      EXPECT_EQ(placesOf(m, active.manipulatorActiveStateVector()[last].activePositionState(), 0),
                std::set<ZqReal>{100.0});
      EXPECT_TRUE(copy.system().isCompatible(copy.state()));
      EXPECT_TRUE(copy.editManipulator(last, [](Manipulator& edit) { edit.clearChildLinks(); }));
   }
}
} // namespace
