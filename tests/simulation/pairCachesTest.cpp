#include "support/bits.h"
#include "support/contactScene.h"
#include "support/logCapture.h"
#include "support/randomValues.h"
#include "support/xmlSamples.h"

#include <gtest/gtest.h>

// A run goes on from what is stored to the bits of one that never ended, wherever searches for contacts began.

namespace
{
using zqTest::ContactScene;
using zqTest::RandomValues;
using zqTest::SolidBody;

/// A box of triangles of which each side is dented: not convex.
SolidBody dentedBox(RandomValues& random, ZqReal size)
{
   SolidBody body = zqTest::meshBox(1.0, {size, size, 0.6 * size});
   const auto& box = dynamic_cast<const ZqTriangleMesh&>(*body.shape);
   std::vector<ZqVector> vertices;
   for (ZqU32 i = 0; i < box.vertexCount(); ++i)
      vertices.push_back(box.vertex(i));
   std::vector<std::array<ZqU32, 3>> triangles;
   for (ZqU32 i = 0; i < box.triangleCount(); ++i)
   {
      const auto t = box.triangle(i);
      const auto dent = static_cast<ZqU32>(vertices.size());
      vertices.push_back((box.vertex(t[0]) + box.vertex(t[1]) + box.vertex(t[2])) *
                         (random.real(0.6, 0.95) / 3.0));
      for (std::size_t k = 0; k < 3; ++k)
         triangles.push_back({t[k], t[(k + 1) % 3], dent});
   }
   body.shape = std::make_unique<ZqTriangleMesh>(vertices, triangles);
   return body;
}

SolidBody roundHull(RandomValues& random, ZqReal size)
{
   SolidBody body = zqTest::solidSphere(1.0, size);
   std::vector<ZqVector> points;
   for (int count = random.index(0, 1) == 0 ? 10 : 40; count > 0; --count)
      points.push_back(random.unitVector() * size);
   body.shape = std::make_unique<ZqConvexHull>(points);
   return body;
}

/// A hammer, whose handle and head have records of their own or share one.
SolidBody hammer(ZqReal size, bool isOneInContact)
{
   SolidBody body = zqTest::solidBox(1.0, {size, 0.5 * size, 0.5 * size});
   const ZqVector end(size, 0.0, 0.0);
   ZqShapeUnion shape;
   shape.addShapeToUnion(ZqCylinder(ZqLineSegment(-end, end), 0.25 * size));
   shape.addShapeToUnion(
      ZqBox(ZqCoordinateSystemTransformation(end), ZqVector(0.3, 0.6, 0.4) * size));
   shape.setCompoundTestFlag(!isOneInContact);
   body.shape = std::make_unique<ZqShapeUnion>(shape);
   return body;
}

SolidBody anyBody(RandomValues& random)
{
   const ZqReal size = random.real(0.03, 0.06);
   switch (random.index(0, 6))
   {
   case 0:
      return zqTest::solidBox(1.0, ZqVector(1.0, 0.7, 0.5) * size);
   case 1:
      return zqTest::solidCylinder(1.0, 0.7 * size, size);
   case 2:
      return zqTest::solidCapsule(1.0, 0.5 * size, size);
   case 3:
      return dentedBox(random, size);
   case 4:
      return hammer(size, true);
   case 5:
      return hammer(size, false);
   default:
      return roundHull(random, size);
   }
}

/// Bodies that tumble onto a floor, and on each other.
ZqStatedSystem tumblingScene(ZqU32 seed)
{
   RandomValues random(seed);
   ContactScene scene;
   scene.addFloor();
   for (int i = 0; i < 6; ++i)
   {
      const SolidBody body = anyBody(random);
      const ZqVector place = random.vector(0.06) + ZqVector(0.0, 0.0, 0.1 + 0.08 * i);
      const ZqOrientation turn = random.orientation();
      const ZqVector velocity = random.vector(0.5);
      const ZqVector spin = random.vector(8.0);
      scene.addFree(body, {place, turn}, {velocity, spin});
   }
   zqTest::ContactMaterial material;
   material.stiffness = 2e4;
   material.dissipation = random.real(0.0, 1.0);
   scene.setContact(material);
   return scene.system;
}

/// What is read from the document of a scene.
ZqStatedSystem reread(const ZqStatedSystem& scene)
{
   ZqStatedSystem result;
   EXPECT_TRUE(zqTest::readFrom(result, zqTest::written(scene)));
   EXPECT_TRUE(result.interactionState() == scene.interactionState());
   return result;
}

// By one run, and by a relay of runs that each begin with the document that the one before left. Without where
// searches begin the relay drifts off.
TEST(PairCaches, ARelayOfRunsHasTheBitsOfOne)
{
   constexpr ZqU32 seeds = 9;
   ZqU32 drifted = 0;
   for (ZqU32 seed = 0; seed < seeds; ++seed)
   {
      SCOPED_TRACE(seed);
      RandomValues random(seed);
      ZqSimulation::Settings settings;
      settings.integrator = static_cast<ZqSimulation::Integrator>(seed % 3);
      const ZqStatedSystem scene = tumblingScene(seed);
      const auto begin = [&](const ZqStatedSystem& at)
      { return std::make_unique<ZqSimulation>(at, settings); };
      const auto whole = begin(scene);
      auto runner = begin(scene);
      auto drifter = begin(scene);
      int handover = 0;
      for (int k = 1; k <= 600; ++k)
      {
         if (k > handover)
         {
            // Some of the runs are longer than a pair is remembered that nobody looks at.
            handover = k + static_cast<int>(random.index(0, k % 5 == 0 ? 150 : 20));
            runner = begin(reread(runner->scene()));
            ZqStatedSystem without = drifter->scene();
            ZqInteractionState state = without.interactionState();
            state.setPairCaches({});
            without.setInteractionState(state);
            drifter = begin(without);
         }
         if (k % 7 == 0)
            runner->contacts();
         const ZqReal time = 5e-4 * k;
         ASSERT_TRUE(whole->stepTo(time) && runner->stepTo(time) && drifter->stepTo(time));
         ASSERT_TRUE(whole->state() == runner->state()) << k;
      }
      EXPECT_TRUE(whole->interactionState() == runner->interactionState());
      drifted += whole->state() == drifter->state() ? 0 : 1;
   }
   EXPECT_GT(drifted, seeds / 2);
}

/// What a search leaves, of shapes that need no search to be known again.
ZqShapePairCache someCache()
{
   ZqShapePairCache cache{};
   cache.part1 = 3;
   cache.convex.count = 1;
   cache.convex.a[0] = {1.0, -0.0, 0.1};
   cache.convex.cores = 0xFEDCBA9876543210;
   return cache;
}

// Also where it is stored before the last evaluation, or in a trial, of which nothing is stored.
TEST(PairCaches, AreForgottenAtTheSameEvaluationOnceTheyAreRestored)
{
   const ZqShapeKey first(0, 1, 2), second(1, 0, 0);
   for (const int pause : {0, 1, 5, 62, 63, 64, 65, 127, 128, 200})
      for (const int storedAt : {0, 1, 3, 40, 63, 64, 190})
      {
         ZqSystemShapeCollisionCache cache;
         cache.lookAt(first, second).pairCache() = someCache();
         ZqSystemShapeCollisionCache restored;
         for (int k = 0; k <= pause; ++k)
         {
            if (k == std::min(storedAt, pause))
            {
               const std::size_t before = cache.pairCaches().size();
               cache.beginTrial();
               cache.lookAt(second, first).pairCache().part1 = 9;
               const auto stored = cache.pairCaches();
               cache.endTrial();
               ASSERT_EQ(stored.size(), before);
               restored.setPairCaches(stored);
            }
            for (ZqSystemShapeCollisionCache* each : {&cache, &restored})
            {
               each->invalidateAll();
               if (k < pause)
                  each->resetNextCollisionData(); // others are looked at
            }
         }
         for (ZqSystemShapeCollisionCache* each : {&cache, &restored})
            EXPECT_EQ(each->lookAt(first, second).pairCache().part1, pause < 64 ? 3U : 0U)
               << pause << ' ' << storedAt;
      }
}

TEST(PairCaches, RefuseNumbersThatCannotBe)
{
   const zqTest::LogCapture log;
   const ZqString good = zqTest::written(ZqPairCacheState({{0, 1, 2}, {1, 0, 0}, 5, someCache()}));
   const struct
   {
      const char* from;
      const char* to;
      bool isTaken;
   } cases[] = {
      {"5 1 0", "5 1 0", true},        {"5 1 0", "64 1 0", true},   {"5 1 0", "5.5 1 0", false},
      {"5 1 0", "0 1 0", false},       {"5 1 0", "5 5 0", false}, // more points than there may be
      {"5 1 0", "5 2 0", false},                                  // more than there are numbers of
      {"5 1 0", "5 0 0", false},                                  // fewer
      {"5 1 0", "5 1 1", false},                                  // an overlap without its numbers
      {"5 1 0 0", "5 1 0 -1", false},                             // a vertex
      {"5 1 0 0", "5 1 0 3e9", false},                            // no integer
      {"-0 0.1", "-0 1e200", false},                              // too large
      {"-0 0.1", "-0 nan", false},     {"-0 0.1", "-0 inf", false}, {"-0 0.1", "-0 0.1 1", false}};
   for (const auto& [from, to, isTaken] : cases)
   {
      ZqString text = good;
      const std::size_t at = text.find(from);
      ASSERT_NE(at, ZqString::npos) << good;
      text.replace(at, std::string_view(from).size(), to);
      ZqPairCacheState state;
      ZqPairCacheOfPair pair;
      EXPECT_EQ(zqTest::readFrom(state, text) && state.get(pair), isTaken) << to;
   }
}
} // namespace
