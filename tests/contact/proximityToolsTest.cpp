#include "support/allocationCount.h"
#include "support/logCapture.h"
#include "support/randomManipulators.h"
#include "zqManipulator/contact/proximity/ZqManipulatorCollisionTool.h"
#include "zqManipulator/contact/proximity/ZqProximityQuery.h"
#include "zqManipulator/foundation/geometry/ZqBox.h"
#include "zqManipulator/foundation/geometry/ZqCapsule.h"
#include "zqManipulator/foundation/geometry/ZqConvexHull.h"
#include "zqManipulator/foundation/geometry/ZqCylinder.h"
#include "zqManipulator/foundation/geometry/ZqShapeUnion.h"
#include "zqManipulator/foundation/geometry/ZqSphere.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/state/ZqManipulatorLinkProximityState.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <thread>

namespace
{
using zqTest::infinity;
using zqTest::RandomValues;
using Key = std::pair<ZqLinkKey, ZqLinkKey>;
using Distances = std::map<Key, ZqReal>;
using Pairs = std::vector<LinkKeyCollisionPair>;

Key keyOf(const ZqLinkKey& a, const ZqLinkKey& b)
{
   return std::minmax(a, b);
}

/// Opens what only heirs may call.
class Scene : public ZqStatedSystem
{
public:
   using ZqStatedSystem::checkForCollisions;
};

std::unique_ptr<ZqShape> randomShape(RandomValues& random)
{
   const ZqVector center = random.vector(0.2);
   const ZqReal r = random.real(0.05, 0.3);
   std::unique_ptr<ZqShape> shape;
   switch (random.index(0, 4))
   {
   case 0:
      shape = std::make_unique<ZqSphere>(center, r);
      break;
   case 1:
      shape = std::make_unique<ZqCapsule>(ZqLineSegment(center, random.vector(0.5)), r);
      break;
   case 2:
      shape = std::make_unique<ZqCylinder>(ZqLineSegment(center, random.vector(0.5)), r);
      break;
   case 3:
      shape =
         std::make_unique<ZqBox>(ZqCoordinateSystemTransformation(center, random.orientation()),
                                 ZqVector(r, random.real(0.05, 0.4), 0.2));
      break;
   default:
   {
      ZqShapeUnion members;
      members.addShapeToUnion(ZqSphere(center, r));
      members.addShapeToUnion(ZqSphere(center + random.vector(0.5), 0.1));
      return std::make_unique<ZqShapeUnion>(members);
   }
   }
   if (random.index(0, 2) == 0)
      shape->addBoundingVolume(ZqShape::SphereShape);
   return shape;
}

/// Arms of which some links have no shape, some may collide with their own, and some exclude each
/// other.
Scene randomScene(RandomValues& random)
{
   Scene scene;
   for (const ZqU32 links : {3U, 5U, 0U, 2U})
   {
      ZqIndividualManipulator arm = zqTest::randomManipulator(random, links);
      arm.setManipulatorLabel("arm" + std::to_string(scene.numberOfManipulators()));
      for (ZqU32 i = 0; i <= links; ++i)
         if (random.index(0, 4) != 0)
            arm.linkByIndex(i < links ? i : ZqBaseLinkIndex)->setShape(*randomShape(random));
      arm.buildSelfCollisionLinkMap();
      ZqManipulatorSelfCollisionLinkMap own = arm.selfCollisionLinkMap();
      if (links > 2)
         own.setAllAsCollisionCandidates();
      own.setLinkCollisionCanditateByIdentifier("label0", "base", false);
      arm.setSelfCollisionLinkMap(own);
      scene.addManipulator(arm, zqTest::randomPosition(random, arm), {});
   }
   ZqSystemCollisionExclusionMap map;
   map.excludeLinkCollisionCandidate(0, "label1", 1, "label2");
   map.excludeLinkCollisionCandidates(3, "base", 0);
   scene.setCollisionExclusionMap(map);
   return scene;
}

bool mayCollide(const ZqStatedSystem& scene, const ZqLinkKey& a, const ZqLinkKey& b)
{
   const ZqU32 m = a.manipulatorIndex();
   return m == b.manipulatorIndex()
             ? scene.manipulatorByIndex(m)->canCollide(a.linkIndex(), b.linkIndex())
             : scene.canCollide(m, a.linkIndex(), b.manipulatorIndex(), b.linkIndex(), false);
}

/// The distances of all pairs that may collide, from an active state that has nothing but the
/// positions and the frames that were given.
Distances allDistances(const ZqStatedSystem& scene, const ZqSystemActiveState& state, ZqU32 level)
{
   ZqSystemActiveState fresh;
   fresh.setManipulatorActiveStateVector(state.manipulatorActiveStateVector());
   auto& active = fresh.manipulatorActiveStateVector();
   std::vector<ZqLinkKey> links;
   for (ZqU32 m = 0; m < std::min(active.size(), scene.numberOfManipulators()); ++m)
      for (ZqU32 i = 0; i <= scene.jointDof(m); ++i)
         links.emplace_back(m, i < scene.jointDof(m) ? i : ZqBaseLinkIndex);
   ZqManipulatorProximityTool tool;
   tool.setBoundingVolumeLevel(level);
   Distances result;
   for (const ZqLinkKey& a : links)
      for (const ZqLinkKey& b : links)
      {
         ZqReal distance = 0.0;
         if (a < b && mayCollide(scene, a, b) &&
             tool.linkToLinkDistance(a.manipulatorIndex(), a.linkIndex(), b.manipulatorIndex(),
                                     b.linkIndex(), scene.system(),
                                     active[a.manipulatorIndex()].activePositionState(),
                                     active[b.manipulatorIndex()].activePositionState(), distance))
            result[{a, b}] = distance;
      }
   return result;
}

/// That both forms of `checkManipulatorCollision`, and the scene, tell what all pairs are.
void expectRight(const Scene& scene, ZqSystemActiveState& state, ZqU32 level, ZqReal margin)
{
   const Distances all = allDistances(scene, state, level);
   const Distances ofShapes = level == 0 ? all : allDistances(scene, state, 0);
   ZqManipulatorProximityTool tool;
   tool.setBoundingVolumeLevel(level);
   ZqStatedSystem::PropagationResults results;
   std::vector<bool> collide;
   for (ZqU32 m = 0; m < scene.numberOfManipulators(); ++m)
   {
      Pairs pairs;
      const bool isFound = tool.checkManipulatorCollision(m, scene, state, margin, pairs);
      EXPECT_EQ(isFound, !pairs.empty());
      Distances found;
      for (const LinkKeyCollisionPair& pair : pairs)
      {
         EXPECT_EQ(pair.manipulatorIndex, m);
         const bool isNew = found
                               .try_emplace(keyOf({m, pair.linkIndex}, {pair.otherManipulatorIndex,
                                                                        pair.otherLinkIndex}),
                                            pair.distance)
                               .second;
         EXPECT_TRUE(isNew);
      }
      // A volume around a shape may be near where the shape is not: such a pair may be told, or
      // not.
      for (const auto& [key, distance] : all)
      {
         const bool isOfM = key.first.manipulatorIndex() == m || key.second.manipulatorIndex() == m;
         EXPECT_TRUE(!isOfM || !(std::max(distance, ofShapes.at(key)) <= margin) ||
                     found.contains(key))
            << distance;
      }
      for (const auto& [key, distance] : found)
         EXPECT_TRUE(all.contains(key) && distance == all.at(key) && distance <= margin)
            << distance;

      ZqU32 link = 9, other = 9, otherLink = 9, nearest = 9, nearestOther = 9, nearestLink = 9;
      ZqReal distance = 9.0;
      EXPECT_EQ(tool.checkManipulatorCollision(m, scene, state, margin, link, other, otherLink,
                                               nearest, nearestOther, nearestLink, distance),
                isFound);
      const LinkKeyCollisionPair first = isFound ? pairs[0] : LinkKeyCollisionPair{m, 0, 0, 0, 0.0};
      EXPECT_EQ(std::tie(link, other, otherLink),
                std::tie(first.linkIndex, first.otherManipulatorIndex, first.otherLinkIndex));
      EXPECT_TRUE(distance == 1e300 ||
                  distance == all.at(keyOf({m, nearest}, {nearestOther, nearestLink})));
      EXPECT_TRUE(isFound ? distance <= first.distance : distance == 1e300 || distance > margin);
      collide.push_back(isFound);
   }
   EXPECT_EQ(scene.checkForCollisions(state, 0.1, level, margin, results),
             std::count(collide.begin(), collide.end(), true) > 0);
   for (ZqU32 m = 0; m < collide.size(); ++m)
      EXPECT_EQ(results[m].collisionOccurred(), collide[m]);
}

/// The same of a query that has answered before.
void expectRight(ZqProximityQuery& query, const Scene& scene, ZqSystemActiveState& state,
                 ZqReal margin)
{
   Distances missing = allDistances(scene, state, 0);
   std::erase_if(missing, [&](const auto& entry) { return !(entry.second <= margin + 1e-8); });
   ZqReal last = -infinity;
   for (const ZqLinkSeparation& pair : query.closestPairs(scene, state, margin))
   {
      const auto expected = missing.find(keyOf(pair.link1, pair.link2));
      ASSERT_TRUE(expected != missing.end());
      EXPECT_NEAR(pair.distance, expected->second, 1e-8);
      EXPECT_TRUE(last <= pair.distance && pair.distance <= margin);
      // The normal leads from one point to the other.
      const ZqVector gap = pair.point2 - pair.point1;
      EXPECT_NEAR(gap.dot(pair.normal), pair.distance, 1e-7);
      EXPECT_NEAR(gap.mag(), std::abs(pair.distance), 1e-7);
      last = pair.distance;
      missing.erase(expected);
   }
   for (const auto& [key, distance] : missing)
      EXPECT_GT(distance, margin - 1e-8);
}

// Everything that a state may go through, one after the other and at random: whatever is kept is
// right.
TEST(ProximityTools, NeverTellWhatWas)
{
   RandomValues random(71);
   Scene scenes[]{randomScene(random), randomScene(random)};
   ZqSystemActiveState states[2];
   ZqProximityQuery query;
   const ZqReal margins[]{0.0, 0.0, 0.02, 0.3, -0.05, infinity};
   for (int step = 0; step < 600 && !testing::Test::HasFailure(); ++step)
   {
      Scene& scene = scenes[random.index(0, 1)];
      const ZqU32 which = random.index(0, 1);
      ZqSystemActiveState& state = states[which];
      ZqSystemActiveState& other = states[1 - which];
      auto& active = state.manipulatorActiveStateVector();
      const ZqU32 m = random.index(0, 3);
      const ZqU32 n = random.index(0, 3);
      ZqManipulatorSystemState next = scene.state();
      for (ZqU32 i = 0; i < 4; ++i)
         if (random.index(0, 1) == 0)
            next.positionStates()[i] = zqTest::randomPosition(random, *scene.manipulatorByIndex(i));
      const auto fits = [&]
      {
         for (ZqU32 i = 0; i < active.size(); ++i)
            if (active[i].positionState().jointPositions().size() != scene.jointDof(i))
               return false;
         return true;
      };
      if (active.size() < 4)
         state.setNonredundantState(next);
      ZqPositionState near = active[m].positionState();
      near.setCoordSysXForm(near.coordSysXForm() *
                            ZqCoordinateSystemTransformation(random.vector(0.02)));
      const ZqCoordinateSystemTransformation frame(random.vector(), random.orientation());
      auto& links = state.manipulatorLinkProximityStateVector();
      auto& otherLinks = other.manipulatorLinkProximityStateVector();
      const std::function<void()> changes[]{
         [&] { state.setNonredundantState(next); },
         [&] { state.setManipulatorNonredundantPositionState(next.positionStates()[m], m); },
         [&] { state.setManipulatorNonredundantState(active[n], m); },
         [&] { active[m].setPositionState(next.positionStates()[m]); },
         [&] { active[m].setPositionState(near); }, // boxes may stay
         [&] { other = ZqSystemActiveState(state); },
         [&] { other = state; },
         [&] { state.setManipulatorLinkProximityStateVector(otherLinks); },
         [&]
         {
            if (!otherLinks.empty() && !links.empty())
               links[0] = otherLinks.back();
         },
         [&] { state.setSystemActiveBoundingBoxState(other.systemActiveBoundingBoxState()); },
         [&] { active[m] = active[n]; },
         [&]
         {
            scene.editManipulator(m, [&](ZqIndividualManipulator& arm)
                                  { arm.setShape(*randomShape(random)); });
         },
         [&] { state.invalidateAll(); },
         [&] { state.resetForSystemChange(); },
         [&] { active[1].activePositionState().setLinkPositionState(4, frame, frame); },
         [&] { state.setNumManipulators(n); }};
      const ZqU32 change = random.index(0, std::size(changes) - 1);
      SCOPED_TRACE("step " + std::to_string(step) + ", change " + std::to_string(change));
      changes[change]();
      if (!fits())
         state.setNonredundantState(next);
      const ZqReal margin = margins[random.index(0, 5)];
      expectRight(scene, state, random.index(0, 1), margin);
      expectRight(query, scene, state, margin);
   }
}

/// Free spheres of radius 0.5 along x, with velocities along x (m/s).
Scene rowOf(const std::vector<std::pair<ZqReal, ZqReal>>& placesAndVelocities)
{
   Scene scene;
   for (const auto& [x, v] : placesAndVelocities)
   {
      ZqIndividualManipulator body;
      body.setManipulatorLabel("body" + std::to_string(scene.numberOfManipulators()));
      body.setLinkLabel("base");
      body.setIsFixedBase(false);
      body.setShape(ZqSphere(ZqVector(), 0.5));
      ZqPositionState position;
      position.setCoordSysXForm(ZqVector(x, 0.0, 0.0));
      ZqVelocityState velocity;
      velocity.setGeneralVelocity({{v, 0.0, 0.0}, {}});
      scene.addManipulator(body, position, velocity);
   }
   return scene;
}

ZqReal placeIn(const ZqManipulatorSystemState& state, ZqU32 body)
{
   return state.positionStates()[body].coordSysXForm().translation().x();
}

// In two seconds the first one runs into the second one, and the third one away.
TEST(ProximityTools, UndoStepsThatEndInCollisions)
{
   const std::vector<std::pair<ZqReal, ZqReal>> three{{0.0, 0.5}, {1.5, 0.0}, {4.0, 0.5}};
   const struct
   {
      std::size_t bodies;
      ZqU32 mode;
      ZqReal tolerance;
      std::vector<ZqReal> places;       ///< after the step
      std::vector<ZqReal> activePlaces; ///< in the active state
      ZqU32 flags;                      ///< bits of the bodies that are told to collide
   } cases[]{{3, 0, 0.0, {1.0, 1.5, 5.0}, {0.0, 0.0, 0.0}, 0},
             {3, 1, 0.0, {0.0, 1.5, 4.0}, {1.0, 1.5, 5.0}, 7},
             {3, 2, 0.0, {0.0, 1.5, 5.0}, {0.0, 1.5, 5.0}, 3},
             {3, 2, -0.51, {1.0, 1.5, 5.0}, {1.0, 1.5, 5.0}, 0},
             // As long as all collide, the state keeps what the active state gives back.
             {2, 2, 0.0, {1.0, 1.5}, {0.0, 1.5}, 3},
             // The third one comes within the tolerance of the second in the second pass.
             {3, 2, 2.6, {1.0, 1.5, 5.0}, {0.0, 1.5, 4.0}, 7}};
   for (const auto& c : cases)
   {
      SCOPED_TRACE(&c - cases);
      const Scene scene = rowOf({three.begin(), three.begin() + std::ptrdiff_t(c.bodies)});
      const auto step =
         [&](ZqSystemActiveState& active, ZqStatedSystem::PropagationResults& results)
      {
         ZqManipulatorSystemState state = scene.state();
         scene.propagateTo(2.0, state, results, active, c.mode, 1.0, 0, c.tolerance);
         return state;
      };
      ZqSystemActiveState active;
      ZqStatedSystem::PropagationResults results;
      const ZqManipulatorSystemState state = step(active, results);
      ZqU32 flags = 0;
      for (ZqU32 i = 0; i < c.bodies; ++i)
      {
         EXPECT_NEAR(placeIn(state, i), c.places[i], 1e-15);
         EXPECT_NEAR(active.manipulatorActiveStateVector()[i]
                        .positionState()
                        .coordSysXForm()
                        .translation()
                        .x(),
                     c.activePlaces[i], 1e-15);
         flags |= ZqU32{results[i].collisionOccurred()} << i;
      }
      EXPECT_EQ(flags, c.flags);
      if (c.flags != 0)
      {
         EXPECT_EQ(results[0].otherCollidedManipulator(), 1U);
         EXPECT_EQ(results[1].otherCollidedLink(), ZqBaseLinkIndex);
      }
      // A scene may be stepped by many threads, each with an active state of its own.
      std::vector<ZqManipulatorSystemState> states(4);
      std::vector<std::thread> threads;
      for (ZqManipulatorSystemState& one : states)
         threads.emplace_back(
            [&]
            {
               ZqSystemActiveState ownActive;
               ZqStatedSystem::PropagationResults ownResults;
               for (int i = 0; i < 20; ++i)
                  one = step(ownActive, ownResults);
            });
      for (std::thread& thread : threads)
         thread.join();
      for (const ZqManipulatorSystemState& one : states)
         EXPECT_TRUE(one == state);
   }
   ZqStatedSystem::PropagationResults results;
   EXPECT_FALSE(rowOf(three).generateCollisionReport(results, 0, 0.49));
   EXPECT_TRUE(rowOf(three).generateCollisionReport(results, 0, 0.5));
   EXPECT_EQ(results[0].closestDistance(), 0.5);
}

TEST(ProximityTools, KeepBoxesUntilLinksLeaveThem)
{
   Scene scene = rowOf({{0.0, 0.0}, {3.0, 0.0}});
   ZqIndividualManipulator bare;
   bare.setManipulatorLabel("bare");
   scene.addManipulator(bare);
   ZqSystemActiveState state;
   ZqSystemActiveBoundingBoxState& boxes = state.systemActiveBoundingBoxState();
   auto& active = state.manipulatorActiveStateVector();
   boxes.intersectionList(scene.system(), active);
   EXPECT_FALSE(boxes.isInitialized());
   boxes.setTolerance(0.1);
   state.setNonredundantState(scene.state());
   EXPECT_TRUE(boxes.intersectionList(scene.system(), active).empty());
   EXPECT_TRUE(boxes.isInitialized());
   // Where the first one goes, where its box begins, and how many pairs there are: from 1.7 on,
   // both may leave their boxes as they are and come within the tolerance. Of a body without a
   // shape the box before it shows, but meets none.
   const std::tuple<ZqReal, ZqReal, std::size_t> cases[]{
      {0.05, -0.6, 0U}, {0.11, -0.49, 0U}, {0.2, -0.49, 0U}, {1.75, 1.15, 1U}, {1.83, 1.15, 1U}};
   for (const auto& [x, lower, count] : cases)
   {
      ZqPositionState position;
      position.setCoordSysXForm(ZqVector(x, 0.0, 0.0));
      state.setManipulatorNonredundantPositionState(position, 0);
      EXPECT_EQ(boxes.intersectionList(scene.system(), active).size(), count) << x;
      ZqAxisAlignedBoundingBox box;
      EXPECT_TRUE(boxes.getAABB(0, ZqBaseLinkIndex, box));
      EXPECT_NEAR(box.lower().x(), lower, 1e-12) << x;
      EXPECT_TRUE(boxes.getAABB(2, ZqBaseLinkIndex, box));
      EXPECT_NEAR(box.lower().x(), 2.4, 1e-12);
      EXPECT_FALSE(boxes.getAABB(0, 0, box) || boxes.getAABB(3, ZqBaseLinkIndex, box));
   }
   RandomValues random(5);
   const Scene arms = randomScene(random);
   ZqU32 id = 0;
   for (ZqU32 m = 0; m < arms.numberOfManipulators(); ++m)
      for (ZqU32 i = 0; i <= arms.jointDof(m); ++i, ++id)
      {
         const ZqShapeKey expected(m, i < arms.jointDof(m) ? i : ZqBaseLinkIndex, 7);
         ZqShapeKey key(9, 9, 7);
         ZqU32 found = 99;
         boxes.intervalIDtoShapeKeyID(id, arms.system(), key);
         boxes.shapeKeyIDToIntervalID(expected, arms.system(), found);
         EXPECT_TRUE(key == expected && found == id) << id;
      }
}

TEST(ProximityTools, RejectWhatIsNotThere)
{
   Scene scene = rowOf({{0.0, 0.0}, {0.75, 0.0}});
   ZqIndividualManipulator bare;
   bare.setManipulatorLabel("bare");
   scene.addManipulator(bare);
   const ZqManipulatorSystem& system = scene.system();
   ZqSystemActiveState state;
   state.setNonredundantState(scene.state());
   ZqManipulatorActivePositionState& s =
      state.manipulatorActiveStateVector()[0].activePositionState();
   ZqManipulatorActivePositionState& t =
      state.manipulatorActiveStateVector()[1].activePositionState();
   const ZqManipulatorProximityTool tool;
   const ZqManipulatorCollisionTool collisionTool;
   ZqReal d = 0.0;
   ZqVector p, q;
   constexpr ZqU32 base = ZqBaseLinkIndex;
   const std::tuple<const char*, bool, std::function<bool(ZqU32, ZqU32)>> cases[]{
      {"ZqManipulatorProximityTool::checkLinkCollision", true,
       [&](ZqU32 m, ZqU32 i) { return tool.checkLinkCollision(0, base, m, i, scene, s, t, 0.0); }},
      {"ZqManipulatorProximityTool::linkToLinkDistance", true,
       [&](ZqU32 m, ZqU32 i) { return tool.linkToLinkDistance(m, i, 0, base, system, t, s, d); }},
      {"ZqManipulatorProximityTool::linkToLinkDistanceAndWitnessPoints", true,
       [&](ZqU32 m, ZqU32 i)
       { return tool.linkToLinkDistanceAndWitnessPoints(0, base, m, i, system, s, t, d, p, q); }},
      {"ZqManipulatorProximityTool::manipulatorToManipulatorDistance", false,
       [&](ZqU32 m, ZqU32)
       { return tool.manipulatorToManipulatorDistance(0, m, system, s, t, d); }},
      {"ZqManipulatorProximityTool::manipulatorToManipulatorDistanceAndWitnessPoints", false,
       [&](ZqU32 m, ZqU32) {
          return tool.manipulatorToManipulatorDistanceAndWitnessPoints(0, m, system, s, t, d, p, q);
       }},
      {"ZqManipulatorCollisionTool::checkLinkCollision", true, [&](ZqU32 m, ZqU32 i) {
          return collisionTool.computeLinkCollisionData(0, base, m, i, system, state);
       }}};
   for (const auto& [name, takesLink, call] : cases)
   {
      const bool isCollisionTool = &name == &std::get<0>(cases[5]);
      zqTest::LogCapture log;
      EXPECT_EQ(call(1, base), !isCollisionTool) << name;
      EXPECT_EQ(call(2, base), !takesLink) << name; // nothing to measure is no failure
      EXPECT_TRUE(log.empty()) << log.text();
      EXPECT_FALSE(call(3, base) || (takesLink && call(1, 0)));
      const std::string text = log.text();
      EXPECT_NE(text.find(ZqString(": ") + name + "-->Invalid Manipulator ID\n"), ZqString::npos)
         << text;
      EXPECT_EQ(text.find(ZqString(": ") + name + "-->Null link pointer\n") != ZqString::npos,
                takesLink)
         << text;
   }
   tool.manipulatorToManipulatorDistance(0, 2, system, s, t, d);
   EXPECT_EQ(d, 1e300);
   // A shape without points is none, and changes nothing.
   scene.editManipulator(2, [](ZqIndividualManipulator& body) { body.setShape(ZqShapeUnion()); });
   d = 0.75;
   p = q = {1.0, 2.0, 3.0};
   EXPECT_FALSE(tool.linkToLinkDistance(0, base, 2, base, system, s, t, d));
   EXPECT_FALSE(tool.linkToLinkDistanceAndWitnessPoints(0, base, 2, base, system, s, t, d, p, q));
   EXPECT_EQ(std::tie(d, p, q), std::tuple(0.75, ZqVector(1.0, 2.0, 3.0), p));
   tool.manipulatorToManipulatorDistanceAndWitnessPoints(0, 1, system, s, t, d, p, q);
   EXPECT_NEAR(d, -0.25, 1e-15);
   EXPECT_TRUE(p.approxEq({0.5, 0.0, 0.0}, 1e-15) && q.approxEq({0.25, 0.0, 0.0}, 1e-15));
}

// Whoever moves, known or not: what is stored of it is not right any more.
TEST(ProximityTools, ForgetDistancesOfWhoMoves)
{
   const Scene scene = rowOf({{0.0, 0.0}, {3.0, 0.0}});
   for (const bool isInitialized : {false, true})
      for (ZqU32 a = 0; a < 5; ++a)
         for (ZqU32 b = 0; b < 5; ++b)
            for (ZqU32 moves = 0; moves < 6; ++moves)
            {
               ZqManipulatorLinkProximityState links;
               if (isInitialized)
                  links.initialize(0, scene.system());
               links.setDistance({a, 1}, {b, 2}, 0.5);
               EXPECT_TRUE(links.isValid({b, 2}, {a, 1}));
               // The last time, all move.
               moves < 5 ? links.invalidate(moves) : links.invalidateAll();
               const bool isTouched = moves == a || moves == b || moves == 5;
               if (isTouched || (isInitialized && std::max(a, b) < 2))
               {
                  EXPECT_EQ(links.isValid({a, 1}, {b, 2}), !isTouched) << a << b << moves;
               }
               links.setDistance({a, 1}, {b, 2}, 0.25);
               EXPECT_TRUE(links.isValid({a, 1}, {b, 2}));
            }
}

TEST(ProximityTools, KnowManipulatorsThatCame)
{
   Scene scene = rowOf({{0.0, 0.0}, {9.0, 0.0}});
   ZqSystemActiveState state;
   const auto lookAt = [&](ZqU32 m)
   {
      state.setNonredundantState(scene.state());
      expectRight(scene, state, 0, 0.25);
      Pairs pairs;
      return ZqManipulatorProximityTool().checkManipulatorCollision(m, scene, state, 0.25, pairs);
   };
   EXPECT_FALSE(lookAt(0));
   for (ZqU32 m = 2; m < 4; ++m)
   {
      ZqIndividualManipulator body = *scene.manipulatorByIndex(0);
      body.setManipulatorLabel("new" + std::to_string(m));
      scene.addManipulator(body);
      for (const ZqReal x : {1.125 - m, 20.0 * m, 1.25 - m})
      {
         scene.setIndividualCoordinateSystemTransformation(m, ZqVector(x, 0.0, 0.0));
         EXPECT_EQ(lookAt(m), x < 2.0) << x;
      }
   }
}

// The records of contacts: what the system adds to what the shapes tell.
TEST(ProximityTools, RecordWhereLinksTouch)
{
   Scene scene = rowOf({{0.0, 0.25}, {0.75, -0.5}});
   ZqSystemActiveState state;
   state.setNonredundantState(scene.state());
   const ZqManipulatorCollisionTool tool;
   const auto look = [&]() -> const ZqShapeCollisionData*
   {
      tool.computeLinkCollisionData(1, ZqBaseLinkIndex, 0, ZqBaseLinkIndex, scene.system(), state);
      state.systemShapeCollisionCache().resetNextCollisionData();
      return state.systemShapeCollisionCache().nextCollisionData();
   };
   for (const ZqReal rate : {0.25, 1.25})
   {
      const ZqShapeCollisionData* data = look();
      ASSERT_NE(data, nullptr);
      EXPECT_EQ(data->link1Pointer(), scene.manipulatorByIndex(1)->linkByIndex(ZqBaseLinkIndex));
      EXPECT_NEAR(data->separationDistance(), -0.25, 1e-15);
      for (const ZqVector& direction : {data->lineOfAction(), data->collisionNormal()})
         EXPECT_TRUE(direction.approxEq({-1.0, 0.0, 0.0}, 1e-15));
      EXPECT_TRUE(data->collisionPointPrimaryObject1().approxEq({-0.375, 0.0, 0.0}, 1e-15));
      EXPECT_TRUE(data->collisionPointPrimaryObject2().approxEq({0.375, 0.0, 0.0}, 1e-15));
      EXPECT_EQ(data->velocityPrimaryObject2().linear().x(), rate);
      EXPECT_EQ(data->lastVelocityPrimaryObject2().linear().x(), rate == 0.25 ? 0.0 : 0.25);
      scene.setIndividualVelocityState(0,
                                       []
                                       {
                                          ZqVelocityState velocity;
                                          velocity.setGeneralVelocity({{1.25, 0.0, 0.0}, {}});
                                          return velocity;
                                       }());
      state.setNonredundantState(scene.state());
   }
   ZqPositionState away;
   away.setCoordSysXForm(ZqVector(9.0, 0.0, 0.0));
   state.setManipulatorNonredundantPositionState(away, 1);
   EXPECT_EQ(look(), nullptr);
}

// Whatever becomes of the second body, a record tells what an active state without one would.
TEST(ProximityTools, RecordNothingOfShapesThatAreGone)
{
   RandomValues random(31);
   const auto hull = [&]
   {
      std::vector<ZqVector> points;
      for (int i = random.index(0, 1) == 0 ? 400 : 20; i > 0; --i)
         points.push_back(random.unitVector() * 0.5);
      return ZqConvexHull(points);
   };
   Scene scene = rowOf({{0.0, 0.0}, {0.75, 0.0}, {-0.8, 0.0}});
   for (ZqU32 m = 0; m < 2; ++m)
      scene.editManipulator(m, [&](ZqIndividualManipulator& body) { body.setShape(hull()); });
   ZqSystemActiveState state;
   state.setNonredundantState(scene.state());
   constexpr ZqU32 base = ZqBaseLinkIndex;
   const ZqShapeKey keys[]{{0, base, 0}, {1, base, 0}};
   ZqManipulatorCollisionTool tool;
   const auto look = [&](ZqSystemActiveState& active)
   {
      tool.computeLinkCollisionData(0, base, 1, base, scene.system(), active);
      return active.systemShapeCollisionCache().getCollisionData(keys[0], keys[1]);
   };
   const std::function<void(ZqIndividualManipulator&)> changes[]{
      [&](auto& body) { EXPECT_TRUE(body.replaceLinkShape("base", hull(), 0, true)); },
      [&](auto& body) { body.scaleBy(random.index(0, 1) == 0 ? 1.2 : 0.9); },
      [&](auto& body) { body.addSphereBoundingVolumeToLinks(); }};
   ZqU32 touched = 0;
   for (int step = 0; step < 200; ++step)
   {
      tool.setBoundingVolumeLevel(random.index(0, 1));
      const ZqShape* shape = scene.manipulatorByIndex(1)->linkByIndex(base)->shapeByIndex(0);
      shape->setClosestPointIndex(7);
      ZqSystemActiveState fresh;
      fresh.setNonredundantState(scene.state());
      const ZqShapeCollisionData* expected = look(fresh);
      const ZqShapeCollisionData* data = look(state);
      ASSERT_EQ(data != nullptr && data->numPenetrationPoints() > 0, expected != nullptr) << step;
      if (expected != nullptr)
      {
         ++touched;
         EXPECT_NEAR(data->separationDistance(), expected->separationDistance(), 1e-8) << step;
         EXPECT_EQ(shape->closestPointIndexOf(), data->closestPointIndex2()) << step;
      }
      if (random.index(0, 2) == 0)
         continue;
      scene.editManipulator(1, changes[random.index(0, std::size(changes) - 1)]);
      // Also a look at others alone leaves no record of what has changed.
      tool.computeLinkCollisionData(0, base, 2, base, scene.system(), state);
      ZqSystemShapeCollisionCache& cache = state.systemShapeCollisionCache();
      cache.resetNextCollisionData();
      while (const ZqShapeCollisionData* valid = cache.nextCollisionData())
         EXPECT_NE(valid->manipulatorTwoID(), 1U) << step;
      scene.setIndividualCoordinateSystemTransformation(1,
                                                        ZqVector(random.real(0.5, 0.9), 0.0, 0.0));
      state.setNonredundantState(scene.state());
   }
   EXPECT_GT(touched, 100U);
   // A copy has the same shapes, and links of its own.
   ASSERT_NE(look(state), nullptr);
   const ZqStatedSystem copy(scene, ZqFoundCommon::CopyAll);
   ASSERT_NE(&copy.system(), &scene.system());
   tool.computeLinkCollisionData(0, base, 2, base, copy.system(), state);
   const ZqShapeCollisionData* data =
      state.systemShapeCollisionCache().getCollisionData(keys[0], keys[1]);
   EXPECT_TRUE(data != nullptr && data->link2Pointer() == nullptr);
}

TEST(ProximityTools, AllocateNothingOnceWarm)
{
   RandomValues random(8);
   const Scene scene = randomScene(random);
   ZqSystemActiveState state;
   ZqProximityQuery query;
   const ZqManipulatorProximityTool tool;
   ZqStatedSystem::PropagationResults results;
   ZqManipulatorSystemState positions = scene.state();
   std::size_t allocations = 0;
   for (int i = 0; i < 80; ++i)
   {
      positions.positionStates()[0].jointPositions().values()[0] = 0.1 * (i % 20);
      const zqTest::AllocationCount count;
      state.setNonredundantState(positions);
      scene.checkForCollisions(state, 0.1, 0, 0.5, results);
      query.closestPairs(scene, state, 0.5);
      if (i >= 40)
         allocations += count.count();
   }
   EXPECT_EQ(allocations, 0U);
}
} // namespace
