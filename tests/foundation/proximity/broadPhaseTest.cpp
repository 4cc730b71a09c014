#include "support/allocationCount.h"
#include "support/logCapture.h"
#include "support/randomModels.h"
#include "zqManipulator/foundation/geometry/ZqBoxHierarchy.h"
#include "zqManipulator/foundation/geometry/ZqCapsule.h"
#include "zqManipulator/foundation/proximity/ZqBoxTreeNode.h"
#include "zqManipulator/foundation/proximity/ZqIntervalIntersectionProcessor.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
using zqConvex::AlignedBox;
using zqConvex::BoxHierarchy;
using zqTest::infinity;
using zqTest::nan;
using Boxes = std::vector<ZqAxisAlignedBoundingBox>;
using Pairs = std::vector<ZqIntervalIntersectionProcessor::Pair>;

/// Boxes of a kind of scene, about n^(1/3) across unless told otherwise.
struct Scene
{
   const char* name;
   unsigned count;
   ZqVector extent; ///< in which centers stand, relative to the cube root of the count
   ZqReal sizeDecades = 0.0;
   bool isOdd = false; ///< with unbounded, inverted and NaN boxes, points and copies
   ZqVector middle{};
};
const Scene scenes[] = {{"open", 2000, {4.0, 4.0, 4.0}},
                        {"pile", 2000, {1.1, 1.1, 1.1}},
                        {"plane", 900, {3.0, 3.0, 0.0}, 0.0, false, {1e6, -1e6, 1e6}},
                        {"same", 150, {0.0, 0.0, 0.0}},
                        {"points", 300, {1e-3, 1e-3, 1e-3}, 12.0},
                        {"sizes", 1000, {1.0, 1.0, 1.0}, 6.0},
                        {"odd", 400, {2.0, 2.0, 2.0}, 3.0, true},
                        {"far", 300, {2e18, 1e18, 0.0}, 0.0, true},
                        {"two", 2, {0.5, 0.5, 0.5}},
                        {"one", 1, {}, 0.0, true},
                        {"none", 0, {}}};

class RandomScene
{
public:
   RandomScene(const Scene& scene, ZqU32 seed) : m_scene(scene), m_random(seed) {}

   ZqAxisAlignedBoundingBox box()
   {
      const ZqReal across = std::cbrt(m_scene.count);
      ZqVector center = m_scene.middle;
      ZqVector half;
      const ZqReal size = std::pow(10.0, -m_random.real(0.0, m_scene.sizeDecades));
      for (std::size_t k = 0; k < 3; ++k)
      {
         center[k] += m_random.real(-0.5, 0.5) * across * m_scene.extent[k];
         half[k] = m_random.real(0.3, 0.6) * size;
      }
      ZqAxisAlignedBoundingBox box(center - half, center + half);
      return m_scene.isOdd ? odd(box) : box;
   }
   Boxes boxes()
   {
      Boxes boxes(m_scene.count);
      for (ZqAxisAlignedBoundingBox& one : boxes)
         one = box();
      return boxes;
   }
   /// Now few boxes by little, now all, now some to anywhere.
   void move(Boxes& boxes, std::vector<unsigned>& moved)
   {
      moved.clear();
      const ZqReal share = std::pow(10.0, -m_random.real(0.0, 3.0));
      const ZqReal step = std::pow(10.0, -m_random.real(0.0, 3.0));
      const ZqReal jump = m_random.real(-4.0, 0.3);
      for (unsigned i = 0; i < boxes.size(); ++i)
         if (m_random.real(0.0, 1.0) < share)
         {
            const ZqVector by = m_random.vector(step);
            boxes[i] = m_random.real(0.0, 1.0) < jump
                          ? box()
                          : ZqAxisAlignedBoundingBox(boxes[i].lower() + by, boxes[i].upper() + by);
            moved.push_back(i);
         }
   }

private:
   ZqAxisAlignedBoundingBox odd(const ZqAxisAlignedBoundingBox& box)
   {
      ZqVector lower = box.lower();
      ZqVector upper = box.upper();
      const std::size_t k = m_random.index(0, 2);
      switch (m_random.index(0, 15))
      {
      case 0:
         lower[k] = -infinity;
         break;
      case 1:
         upper = {infinity, infinity, infinity};
         break;
      case 2:
         return {{-infinity, -infinity, -infinity}, {infinity, infinity, infinity}};
      case 3:
         std::swap(lower, upper);
         break;
      case 4:
         (m_random.index(0, 1) == 0 ? lower : upper)[k] = nan;
         break;
      case 5:
         upper = lower;
         break;
      case 6:
         return {{-1.0, -1.0, -1.0}, {1.0, 1.0, 1.0}};
      case 7:
         lower[k] = upper[k] = infinity;
         break;
      case 8:
         upper[k] = std::numeric_limits<ZqReal>::max();
         break;
      default:
         break;
      }
      return {lower, upper};
   }

   const Scene& m_scene;
   zqTest::RandomValues m_random;
};

Pairs allPairs(const Boxes& boxes)
{
   Pairs pairs;
   for (unsigned i = 0; i < boxes.size(); ++i)
      for (unsigned j = i + 1; j < boxes.size(); ++j)
         if (boxes[i].overlaps(boxes[j]))
            pairs.emplace_back(i, j);
   return pairs;
}

class BroadPhase : public testing::TestWithParam<Scene>
{
};

TEST_P(BroadPhase, PairsAreThoseOfAllPairsInTheirOrder)
{
   RandomScene scene(GetParam(), 71);
   Boxes boxes = scene.boxes();
   ZqIntervalIntersectionProcessor processor;
   ASSERT_TRUE(processor.setBoxes(boxes));
   EXPECT_EQ(processor.intervalCount(), boxes.size());
   std::vector<unsigned> moved;
   const int steps = boxes.size() > 500 ? 50 : 500;
   for (int step = 0; step < steps; ++step)
   {
      ASSERT_EQ(processor.overlaps(), allPairs(boxes)) << "step " << step;
      scene.move(boxes, moved);
      for (const unsigned i : moved)
         EXPECT_TRUE(processor.updateBox(i, boxes[i]));
      // A copy that is taken in the middle of an update goes its own way.
      if (step % 20 == 10)
      {
         const ZqIntervalIntersectionProcessor copy(processor);
         processor.setBoxes(Boxes(boxes.size()));
         EXPECT_TRUE(processor.overlaps().empty());
         processor = copy;
      }
      if (step % 50 == 30)
         processor.setBoxes(boxes);
   }
}

// Back and forth between the same places, until sizes have settled.
TEST_P(BroadPhase, AllocatesNothingOnceSizesHaveSettled)
{
   RandomScene scene(GetParam(), 72);
   std::vector<Boxes> places;
   for (int k = 0; k < 3; ++k)
      places.push_back(scene.boxes());
   for (unsigned i = 0; i < places[2].size(); ++i)
      places[2][i] = places[i % 8 == 0 ? 0 : 1][i];
   ZqIntervalIntersectionProcessor processor;
   std::size_t allocated = 0;
   for (int round = 0; round < 4; ++round)
      for (const int k : {0, 1, 2, 1, 0, 2})
      {
         const zqTest::AllocationCount count;
         processor.setBoxes(places[k]);
         processor.sort();
         allocated = round < 3 ? 0 : allocated + count.count();
      }
   EXPECT_EQ(allocated, 0U);
}

INSTANTIATE_TEST_SUITE_P(Scenes, BroadPhase, testing::ValuesIn(scenes),
                         [](const auto& scene) { return std::string(scene.param.name); });

TEST(AxisAlignedBoundingBox, IsTheLeastThatHoldsWhatItTakesIn)
{
   zqTest::RandomValues random(70);
   for (int i = 0; i < 100; ++i)
   {
      const ZqLineSegment segment(random.vector(), random.vector());
      const ZqReal radius = random.real(0.0, 1.0);
      ZqAxisAlignedBoundingBox box;
      box.resize(ZqCapsule(segment, radius));
      ZqAxisAlignedBoundingBox points;
      EXPECT_TRUE(points.isEmpty() && box.contains(points) && !box.overlaps(points));
      for (const ZqVector& p : {segment.endpoint1(), segment.endpoint0(), ZqVector(nan, 9.0, 9.0)})
         points.expandToInclude(p);
      EXPECT_FALSE(points.contains({nan, 0.0, 0.0}));
      EXPECT_EQ(points.extents(),
                ZqVector(std::abs(segment.endpoint1().x() - segment.endpoint0().x()),
                         std::abs(segment.endpoint1().y() - segment.endpoint0().y()),
                         std::abs(segment.endpoint1().z() - segment.endpoint0().z())));
      EXPECT_TRUE(points.center().approxEq(segment.center(), 4.0 * zqTest::epsilon));
      EXPECT_TRUE(radius == 0.0 || !points.contains(box));
      points.enlarge(radius);
      EXPECT_EQ(points, box);
      ZqAxisAlignedBoundingBox both = points;
      both.expandToInclude(ZqAxisAlignedBoundingBox());
      EXPECT_EQ(both, box);
      // What has been narrowed to nothing does not come back.
      points.enlarge({0.0, -9.0, 0.0});
      points.enlarge(20.0);
      EXPECT_TRUE(points.isEmpty());
   }
}

TEST(IntervalIntersectionProcessor, RefusesIdsThatItDoesNotHave)
{
   ZqIntervalIntersectionProcessor processor;
   ZqAxisAlignedBoundingBox box;
   const zqTest::LogCapture log;
   EXPECT_TRUE(processor.overlaps().empty());
   EXPECT_FALSE(processor.updateBox(0, box));
   processor.setBoxes({{{0.0, 0.0, 0.0}, {1.0, 2.0, 3.0}}, {{2.0, 0.0, 0.0}, {1.0, 0.0, 0.0}}});
   EXPECT_FALSE(processor.getBox(2, box));
   EXPECT_EQ(log.text(), "ZqIntervalIntersectionProcessor::updateBox(): no box 0 of 0\n\n"
                         "ZqIntervalIntersectionProcessor::getBox(): no box 2 of 2\n\n");
   EXPECT_TRUE(processor.getBox(1, box) && box.isEmpty());
   EXPECT_TRUE(processor.getBox(0, box));
   EXPECT_EQ(box, ZqAxisAlignedBoundingBox({0.0, 0.0, 0.0}, {1.0, 2.0, 3.0}));
}

TEST_P(BroadPhase, TreeOfNodesFindsWhatOverlaps)
{
   RandomScene scene(GetParam(), 73);
   const Boxes boxes = scene.boxes();
   std::vector<ZqBoxTreeNode::IndexPair> names;
   for (unsigned i = 0; i < boxes.size(); ++i)
      names.emplace_back(i / 7, i % 7);
   for (const unsigned branching : {0U, 3U, 5U})
   {
      const ZqBoxTreeNode tree(boxes, names, branching, ZqBBTreeHeuristic());
      for (int i = 0; i < 20; ++i)
      {
         const ZqAxisAlignedBoundingBox box = scene.box();
         Pairs found;
         tree.findOverlaps(box, found);
         std::sort(found.begin(), found.end());
         Pairs expected;
         for (std::size_t k = 0; k < boxes.size(); ++k)
            if (boxes[k].overlaps(box))
               expected.push_back(names[k]);
         EXPECT_EQ(found, expected);
      }
   }
}

/// A tree over boxes, each with a point of it that the tree knows nothing of.
struct Points
{
   BoxHierarchy tree;
   std::vector<AlignedBox> boxes;
   std::vector<zqConvex::Vec3> points;

   Points(RandomScene& scene, zqTest::RandomValues& random)
   {
      for (const ZqAxisAlignedBoundingBox& box : scene.boxes())
      {
         AlignedBox& kept = boxes.emplace_back(
            AlignedBox{zqConvex::vec3(box.lower()), zqConvex::vec3(box.upper())});
         zqConvex::Vec3& p = points.emplace_back();
         for (int k = 0; k < 3; ++k)
         {
            // Mostly corners, which are the hardest.
            const ZqReal share = std::clamp(random.real(-2.0, 3.0), 0.0, 1.0);
            p[k] = kept.lower[k] * (1.0 - share) + kept.upper[k] * share;
            if (!std::isfinite(p[k]))
               p[k] = std::clamp(0.0, kept.lower[k], std::max(kept.lower[k], kept.upper[k]));
         }
      }
   }
   bool has(std::size_t i) const { return !boxes[i].isEmpty(); }
};

// Also when all boxes have got other places since the trees were built.
TEST_P(BroadPhase, NearestItemsAreThoseOfAllItems)
{
   RandomScene scene(GetParam(), 74);
   zqTest::RandomValues random(75);
   for (int round = 0; round < 6; ++round)
   {
      Points A(scene, random);
      Points B(scene, random);
      A.tree.build(round % 3 == 0 ? B.boxes : A.boxes);
      A.tree.refit(A.boxes);
      B.tree.build(A.boxes);
      for (std::size_t j = 0; j < B.boxes.size(); ++j)
         B.tree.setBox(static_cast<int>(j), B.boxes[j]);
      const ZqReal across = std::cbrt(GetParam().count) * GetParam().extent.mag();
      const zqConvex::Pose X = zqConvex::pose(zqTest::randomFrame(random, 0, 1.0 + across));
      const auto distance = [&](std::size_t i, std::size_t j)
      {
         EXPECT_TRUE(A.has(i) && B.has(j));
         return norm(X * B.points[j] - A.points[i]);
      };
      ZqReal leastOfAll = 1e300;
      ZqReal found = 1e300;
      for (std::size_t j = 0; j < B.boxes.size(); ++j)
      {
         if (!B.has(j))
            continue;
         EXPECT_TRUE(B.tree.box(static_cast<int>(j)).contains(B.boxes[j]));
         ZqReal least = 1e300;
         for (std::size_t i = 0; i < A.boxes.size(); ++i)
            if (A.has(i))
               least = std::min(least, distance(i, j));
         leastOfAll = std::min(leastOfAll, least);
         found = 1e300;
         A.tree.visitNearest(B.boxes[j], X, 1e300,
                             [&](int i) { return found = std::min(found, distance(i, j)); });
         ASSERT_EQ(found, least);
      }
      found = 1e300;
      BoxHierarchy::visitNearestPairs(A.tree, B.tree, X, 1e300,
                                      [&](int i, int j)
                                      { return found = std::min(found, distance(i, j)); });
      ASSERT_EQ(found, leastOfAll);
   }
}

// Powers along the axes make trees that would be as deep as there are boxes, if nothing held them.
TEST(BoxHierarchy, FindsThingsInTheFewStepsOfABoundedDepth)
{
   std::vector<AlignedBox> boxes;
   for (int k = -37; k < 25; ++k)
      for (int axis = 0; axis < 6; ++axis)
      {
         zqConvex::Vec3 p{0.0, 0.0, 0.0};
         p[axis / 2] = std::ldexp(axis % 2 == 0 ? -1.0 : 1.0, 4 * k);
         boxes.push_back({p, p});
      }
   BoxHierarchy tree;
   tree.build(boxes);
   for (std::size_t j = 0; j < boxes.size(); ++j)
   {
      int visits = 0;
      tree.visitNearest(boxes[j], {}, 1e300,
                        [&](int i)
                        {
                           ++visits;
                           return norm(boxes[i].lower - boxes[j].lower);
                        });
      EXPECT_LE(visits, 20) << j;
      EXPECT_GE(visits, 1) << j;
   }
}
} // namespace
