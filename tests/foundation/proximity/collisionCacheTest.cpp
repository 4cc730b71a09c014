#include "support/allocationCount.h"
#include "support/randomValues.h"

#include "zqManipulator/foundation/geometry/ZqBox.h"
#include "zqManipulator/foundation/geometry/ZqConvexHull.h"
#include "zqManipulator/foundation/geometry/ZqCylinder.h"
#include "zqManipulator/foundation/geometry/ZqShapeUnion.h"
#include "zqManipulator/foundation/geometry/ZqSphere.h"
#include "zqManipulator/foundation/proximity/ZqShapeCollisionTool.h"
#include "zqManipulator/foundation/proximity/ZqShapeProximityTool.h"

#include <gtest/gtest.h>

#include <map>

namespace
{
ZqCoordinateSystemTransformation raised(ZqReal z)
{
   return ZqCoordinateSystemTransformation(ZqVector(0.0, 0.0, z));
}

/// A box and another one above it, looked at once for each evaluation.
struct StackedBoxes
{
   ZqBox lower{raised(0.0), ZqVector(0.5, 0.5, 0.5)};
   ZqBox upper{raised(0.0), ZqVector(0.3, 0.2, 0.5)};
   ZqLinkKey link1{0, 3};
   ZqLinkKey link2{1, 2};
   ZqShapeCollisionTool tool;
   ZqSystemShapeCollisionCache cache;
   std::vector<ZqShapeProximityKey> touching;
   ZqReal separation = 1e300;

   bool look(ZqReal gap)
   {
      touching.clear();
      separation = 1e300;
      return tool.computeCollisionData(link1, link2, lower, upper, false, false, raised(1.0 + gap),
                                       cache, touching, separation);
   }
   ZqShapeCollisionData* record()
   {
      return cache.getCollisionData(ZqShapeKey(link2, 0), ZqShapeKey(link1, 0));
   }
};
} // namespace

TEST(CollisionCache, ARecordTellsWhereTheShapesTouch)
{
   StackedBoxes boxes;
   EXPECT_FALSE(boxes.look(1e-4)); // within the margin is not touching
   EXPECT_NEAR(boxes.separation, 1e-4, 1e-12);
   EXPECT_EQ(boxes.record(), nullptr);
   EXPECT_TRUE(boxes.look(0.0));
   EXPECT_TRUE(boxes.look(-1e-3));
   ASSERT_EQ(boxes.touching.size(), 1U);
   const ZqShapeCollisionData& record = *boxes.record();
   EXPECT_EQ(boxes.touching[0].first(), record.key1());
   EXPECT_EQ(record.manipulatorOneID(), 0U);
   EXPECT_EQ(record.linkTwoID(), 2U);
   EXPECT_NEAR(record.separationDistance(), -1e-3, 1e-12);
   EXPECT_NEAR(record.normalInPrimary1().z(), 1.0, 1e-12);
   ASSERT_EQ(record.numPenetrationPoints(), 4U);
   for (ZqU32 i = 0; i < 4; ++i)
   {
      EXPECT_NEAR(record.penetrationPointPrimary(0, i).z(), 0.5, 1e-12);
      EXPECT_NEAR(record.penetrationPointPrimary(1, i).z(), -0.5, 1e-12);
      EXPECT_EQ(record.getPenetrationPointShapePrimary(record.key2(), i),
                &record.penetrationPointPrimary(1, i));
   }
   EXPECT_EQ(record.getPenetrationPointShapePrimary(record.key2(), 4), nullptr);
   EXPECT_NEAR(record.contactPointRel1().z(), 0.5, 1e-12);
   EXPECT_NEAR(record.contactPointRel2().mag(), 0.5, 1e-9);

   // The sides are those of who asks.
   ZqReal separation = 1e300;
   boxes.touching.clear();
   EXPECT_TRUE(boxes.tool.computeCollisionData(boxes.link2, boxes.link1, boxes.upper, boxes.lower,
                                               false, false, raised(-0.999), boxes.cache,
                                               boxes.touching, separation));
   EXPECT_EQ(boxes.record(), &record);
   EXPECT_EQ(record.linkOneID(), 2U);
   EXPECT_NEAR(record.normalInPrimary1().z(), -1.0, 1e-12);
}

/// Each letter is an evaluation: t touches, a is looked at apart, n is not looked at but others
/// are, i invalidates again in between. The last one touches; a record that lasted still has the
/// mode it was given.
TEST(CollisionCache, FrictionOutlivesEvaluationsWithoutBreak)
{
   const struct
   {
      const char* evaluations;
      bool lasts;
   } cases[] = {{"", false},    {"t", true},    {"tt", true},    {"ti", true},
                {"tiii", true}, {"ta", false},  {"tn", false},   {"tna", false},
                {"at", true},   {"tat", false}, {"tntt", false}, {"iitii", true}};
   for (const auto& [evaluations, lasts] : cases)
   {
      StackedBoxes boxes;
      for (const char* e = evaluations; *e; ++e)
      {
         if (*e == 't' || *e == 'a')
         {
            EXPECT_EQ(boxes.look(*e == 't' ? -1e-3 : 1e-3), *e == 't');
         }
         if (*e == 'n')
            boxes.cache.resetNextCollisionData();
         if (e == evaluations && boxes.record())
         {
            EXPECT_EQ(boxes.record()->frictionMode(), ZqFrictionMode::NewContact);
            boxes.record()->setFrictionMode(ZqFrictionMode::Kinetic);
         }
         else if (*e == 't' && lasts &&
                  boxes.record()->frictionMode() == ZqFrictionMode::NewContact)
            boxes.record()->setFrictionMode(ZqFrictionMode::Kinetic);
         boxes.cache.invalidateAll();
         ZqSystemShapeCollisionCache copy(boxes.cache);
         boxes.cache = copy; // which knows as much
         copy.resetNextCollisionData();
         EXPECT_EQ(copy.nextCollisionData(), nullptr);
      }
      EXPECT_TRUE(boxes.look(-1e-3));
      EXPECT_EQ(boxes.record()->frictionMode(),
                lasts ? ZqFrictionMode::Kinetic : ZqFrictionMode::NewContact)
         << evaluations;
   }
}

TEST(CollisionCache, MembersThatTouchHaveRecordsInTheOrderOfKeys)
{
   ZqShapeUnion pins;
   for (const ZqReal x : {-0.4, 0.0, 0.4, 3.0})
      pins.addShapeToUnion(ZqSphere(ZqVector(x, 0.0, 0.0), 0.1));
   ZqShapeUnion floors;
   floors.addShapeToUnion(ZqBox(raised(-9.0), ZqVector(1.0, 1.0, 0.5)));
   floors.addShapeToUnion(ZqBox(raised(-0.5), ZqVector(1.0, 1.0, 0.5)));
   const ZqShapeCollisionTool tool;
   for (const bool flag : {false, true})
   {
      ZqSystemShapeCollisionCache cache;
      std::vector<ZqShapeProximityKey> touching;
      ZqReal separation = 1e300;
      EXPECT_TRUE(tool.computeCollisionData({2, 1}, {0, 0}, floors, pins, flag, flag, raised(0.099),
                                            cache, touching, separation));
      EXPECT_NEAR(separation, -1e-3, 1e-10);
      EXPECT_EQ(touching.size(), flag ? 3U : 1U);
      cache.resetNextCollisionData();
      for (ZqU32 i = 0; i < touching.size(); ++i)
      {
         const ZqShapeCollisionData* data = cache.nextCollisionData();
         ASSERT_NE(data, nullptr);
         EXPECT_EQ(data->shapeOneID(), flag ? 1U : 0U);
         EXPECT_EQ(data->shapeTwoID(), flag ? i : 0U);
         EXPECT_EQ(data->numPenetrationPoints(), flag ? 1U : 2U);
      }
      EXPECT_EQ(cache.nextCollisionData(), nullptr);
      cache.clear();
      cache.resetNextCollisionData();
      EXPECT_EQ(cache.nextCollisionData(), nullptr);
   }
}

TEST(CollisionCache, SettlesToNoAllocationAndForgetsOldPairs)
{
   StackedBoxes boxes;
   zqTest::RandomValues random(1);
   std::size_t most = 0;
   std::size_t allocated = 0;
   for (int k = 0; k < 3000; ++k)
   {
      boxes.link2 = ZqLinkKey(1, static_cast<ZqU32>(k / 5) % 300); // each comes back after long
      const zqTest::AllocationCount allocations;
      boxes.look(random.real(-1e-3, 1e-3));
      boxes.cache.invalidateAll();
      if (k >= 1500)
         allocated += allocations.count();
      most = std::max(most, boxes.cache.size());
   }
   EXPECT_EQ(allocated, 0U);
   EXPECT_LT(most, 100U);
}

/// Small and large ones, whose features have other places and numbers.
TEST(CollisionCache, WhatOtherShapesLeftChangesNoAnswer)
{
   zqTest::RandomValues random(12);
   const auto hullOf = [&](int count, ZqReal size)
   {
      std::vector<ZqVector> points;
      for (int i = 0; i < count; ++i)
         points.push_back(random.unitVector() * size);
      return std::make_unique<ZqConvexHull>(points);
   };
   std::vector<std::unique_ptr<ZqShape>> shapes;
   for (const ZqReal size : {0.3, 1.0})
   {
      shapes.push_back(hullOf(400, size));
      shapes.push_back(hullOf(20, size));
      shapes.push_back(std::make_unique<ZqBox>(raised(0.0), ZqVector(0.5, 0.3, 0.4) * size));
      shapes.push_back(std::make_unique<ZqCylinder>(
         ZqLineSegment(ZqVector(), ZqVector(0.0, 0.0, size)), 0.5 * size));
   }
   ZqShapeUnion both;
   both.addShapeToUnion(*shapes[0]);
   both.addShapeToUnion(*shapes[6]);
   shapes.push_back(std::make_unique<ZqShapeUnion>(both));
   const ZqShapeProximityTool tool;
   ZqShapeProximityData kept[3];
   for (int k = 0; k < 4000; ++k)
   {
      const auto lastShape = static_cast<ZqU32>(shapes.size()) - 1;
      const ZqShape& A = *shapes[random.index(0, lastShape)];
      const ZqShape& B = *shapes[random.index(0, lastShape)];
      const bool isConvex = A.convex() && B.convex();
      // Half of the pairs come again much as they were.
      const ZqCoordinateSystemTransformation X(random.vector(k % 2 ? 0.1 : 1.2),
                                               random.orientation());
      const zqConvex::Pose pose = zqConvex::pose(X);
      ZqSeparation fresh;
      zqConvex::distance(A, B, pose, nullptr, fresh);
      tool.distance(A, B, X, kept[0]);
      const ZqSeparation& found = kept[0].separation();
      // Of compounds that overlap, where a search begins decides which of the translations it
      // finds.
      if (isConvex || fresh.distance > 0.0)
      {
         EXPECT_NEAR(found.distance, fresh.distance, found.error + fresh.error + 1e-9) << k;
      }
      const ZqReal margin = fresh.distance - fresh.error;
      if (isConvex || margin > 0.01)
      {
         EXPECT_FALSE(tool.isWithin(A, B, X, margin - 1e-6, &kept[1])) << k;
         EXPECT_TRUE(tool.isWithin(A, B, X, fresh.distance + 1e-6, &kept[1])) << k;
      }
      ZqContactManifold freshPoints, points;
      zqConvex::contact(A, B, pose, 1e-3, nullptr, freshPoints);
      zqConvex::contact(A, B, pose, 1e-3, &kept[2].pairCache(), points);
      if (isConvex && freshPoints.count > 0)
      {
         EXPECT_NEAR(points.separation, freshPoints.separation, fresh.error + 1e-7) << k;
      }
   }
}

// Of a compound, a hundredth of the size is within the margin, a tenth is not, of whatever size up to a
// decimetre.
TEST(CollisionCache, SmallCompoundsHaveSmallMargins)
{
   const struct
   {
      ZqReal size, slope;
      ZqU32 count;
   } cases[] = {{1e-4, 5e-3, 2}, {1e-4, 0.05, 1}, {0.01, 5e-3, 2},
                {0.01, 0.05, 1}, {1.0, 5e-4, 2},  {1.0, 5e-3, 1}};
   for (const auto& [size, slope, count] : cases)
   {
      const ZqBox floor(raised(-0.5), ZqVector(1.0, 1.0, 0.5));
      ZqShapeUnion feet;
      for (const ZqReal y : {-0.5, 0.5})
         feet.addShapeToUnion(ZqSphere(ZqVector(0.0, y, 0.0) * size, 0.1 * size));
      const ZqCoordinateSystemTransformation X(
         ZqVector(0.0, 0.0, size * (0.1 + 0.5 * std::sin(slope) - 1e-5)),
         ZqOrientation(std::cos(0.5 * slope), std::sin(0.5 * slope), 0.0, 0.0));
      ZqSystemShapeCollisionCache cache;
      std::vector<ZqShapeProximityKey> touching;
      ZqReal separation = 1e300;
      EXPECT_TRUE(ZqShapeCollisionTool().computeCollisionData(
         {0, 0}, {1, 0}, floor, feet, false, false, X, cache, touching, separation));
      ASSERT_EQ(touching.size(), 1U);
      EXPECT_EQ(
         cache.getCollisionData(touching[0].first(), touching[0].second())->numPenetrationPoints(),
         count)
         << size << ' ' << slope;
   }
}

// In whatever order pairs are looked at, with either link first.
TEST(CollisionCache, WalksGiveThePairsThatTouchInOrder)
{
   zqTest::RandomValues random(4);
   StackedBoxes boxes;
   for (int round = 0; round < 300; ++round)
   {
      std::map<std::pair<ZqU32, ZqU32>, bool> touches;
      const ZqU32 first = random.index(0, 8);
      for (int k = 0; k < 40; ++k)
      {
         // Now along the pairs, now anyhow.
         const ZqU32 a = round % 2 ? first : random.index(0, 8);
         const ZqU32 b = 9 + (round % 2 ? static_cast<ZqU32>(k) % 30 : random.index(0, 29));
         const bool isTurned = random.index(0, 1) == 0;
         boxes.link1 = isTurned ? ZqLinkKey(b, 1) : ZqLinkKey(a, 2);
         boxes.link2 = isTurned ? ZqLinkKey(a, 2) : ZqLinkKey(b, 1);
         const bool doesTouch = random.index(0, 2) > 0;
         EXPECT_EQ(boxes.look(doesTouch ? -1e-3 : 1e-2), doesTouch);
         touches[{a, b}] = doesTouch;
         EXPECT_EQ(boxes.record() != nullptr && boxes.record()->linkOneID() == (isTurned ? 1U : 2U),
                   boxes.record() != nullptr);
      }
      for (const bool isBounded : {true, false})
      {
         boxes.cache.resetNextCollisionData();
         for (const auto& [pair, doesTouch] : touches)
         {
            const ZqLinkKey last1(pair.first, 2), last2(pair.second, 1);
            const ZqShapeCollisionData* data = isBounded
                                                  ? boxes.cache.nextCollisionDataUpTo(last2, last1)
                                               : doesTouch ? boxes.cache.nextCollisionData()
                                                           : nullptr;
            ASSERT_EQ(data != nullptr, doesTouch);
            if (doesTouch)
            {
               EXPECT_EQ(std::minmax(data->manipulatorOneID(), data->manipulatorTwoID()),
                         std::minmax(pair.first, pair.second));
            }
         }
         EXPECT_EQ(boxes.cache.nextCollisionData(), nullptr);
      }
      boxes.cache.invalidateAll();
   }
}

// Nor do those that exchange sides, and copies that are made during a trial know nothing of it.
TEST(CollisionCache, TrialsLeaveNoTraceInMemories)
{
   StackedBoxes boxes;
   ASSERT_TRUE(boxes.look(-1e-3));
   ZqContactMemory& memory = boxes.record()->memory();
   memory.frictionMode = ZqFrictionMode::Kinetic;
   memory.stickPoint[0] = ZqVector(1.0, 2.0, 3.0);
   memory.grips[0].name = 7;
   memory.gripCount = 1;
   const ZqContactMemory before = memory;
   for (const bool isTurned : {false, true})
   {
      boxes.cache.invalidateAll();
      boxes.cache.beginTrial();
      ZqShapeCollisionData& data =
         boxes.cache.lookAt(ZqShapeKey(isTurned ? boxes.link2 : boxes.link1, 0),
                            ZqShapeKey(isTurned ? boxes.link1 : boxes.link2, 0));
      boxes.cache.touch(data);
      data.memory().stickPoint[0] = ZqVector(9.0, 9.0, 9.0);
      data.memory().gripCount = 0;
      ZqSystemShapeCollisionCache copy(boxes.cache);
      boxes.cache.endTrial();
      for (ZqSystemShapeCollisionCache* cache : {&boxes.cache, &copy})
      {
         EXPECT_EQ(cache->getCollisionData(ZqShapeKey(boxes.link1, 0), ZqShapeKey(boxes.link2, 0))
                      ->memory(),
                   before);
         EXPECT_FALSE(cache->isTrial());
      }
   }
}
