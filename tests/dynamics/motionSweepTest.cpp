#include "support/randomBodies.h"
#include "zqManipulator/dynamics/motion/ZqArticulatedSweep.h"
#include "zqManipulator/dynamics/motion/ZqMotionFactorRows.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace
{
using namespace zqMotion;
using zqTest::epsilon;
using zqTest::RandomValues;

/// The factor of a random matrix with the zeros of a random tree, and a diagonal that dominates.
struct RandomFactor
{
   std::vector<int> depths, ends, path;
   std::vector<ZqReal> rows, inverse, work;
   Factor factor;

   RandomFactor(RandomValues& random, std::size_t size) : depths(size), ends(size)
   {
      int greatest = 0;
      for (std::size_t i = 0; i < size; ++i)
      {
         // One deeper than the one before, or back on the way to the root.
         depths[i] = i == 0 ? 0 : depths[i - 1] + 1;
         if (random.index(0, 9) == 0)
            depths[i] = static_cast<int>(random.index(0, static_cast<ZqU32>(depths[i])));
         greatest = std::max(greatest, depths[i]);
      }
      for (std::size_t i = 0; i < size; ++i)
      {
         std::size_t end = i + 1;
         while (end < size && depths[end] > depths[i])
            ++end;
         ends[i] = static_cast<int>(end);
      }
      const std::size_t width = widthOfFactor(greatest);
      const auto count = static_cast<int>(size);
      path.resize(width);
      rows.resize(width * size);
      inverse.resize(size);
      work.resize(workOfFactor(count, width));
      for (ZqReal& x : rows)
         x = random.real();
      for (std::size_t i = 0; i < size; ++i)
         rows[i * width + static_cast<std::size_t>(depths[i])] += static_cast<ZqReal>(size);
      factor = {count,          0,           width,      depths.data(), ends.data(), rows.data(),
                inverse.data(), work.data(), path.data()};
   }
};

TEST(MotionFactor, BitsDependNeitherOnPacksNorOnOtherColumns)
{
   RandomValues random(3);
   for (std::size_t size = 1; size <= 70; size += 3)
   {
      RandomFactor wide(random, size);
      RandomFactor narrow = wide;
      narrow.factor.rows = narrow.rows.data();
      narrow.factor.inverse = narrow.inverse.data();
      eliminate(wide.factor);
      eliminateRows<Pack<2>>(narrow.factor);
      const std::size_t width = wide.factor.width;
      for (std::size_t i = 0; i < size; ++i)
      {
         const auto elements = static_cast<std::size_t>(wide.depths[i]) + 1;
         EXPECT_EQ(std::memcmp(&wide.rows[i * width], &narrow.rows[i * width], 8 * elements), 0);
      }
      EXPECT_EQ(std::memcmp(wide.inverse.data(), narrow.inverse.data(), 8 * size), 0);

      std::vector<ZqReal> four(4 * size), one(size);
      for (ZqReal& x : four)
         x = random.real();
      for (std::size_t k = 0; k < 4; ++k)
      {
         std::vector<ZqReal> solved = four;
         solveFourFactored(wide.factor, solved.data());
         for (std::size_t i = 0; i < size; ++i)
            one[i] = four[4 * i + k];
         solveFactored(wide.factor, one.data());
         for (std::size_t i = 0; i < size; ++i)
            EXPECT_NEAR(solved[4 * i + k], one[i], 10.0 * epsilon) << size;
      }
   }
}

/// Whether the pivots of a chain are sound, whose joints turn about parallel axes at a distance of `offset`. The
/// last two bodies are those multiples of the others.
bool hasSoundPivots(ZqReal driveInertia, ZqReal lastButOne, ZqReal last, ZqReal offset)
{
   constexpr std::size_t count = 4;
   Joint joint{};
   joint.end = count;
   joint.slot = -1;
   joint.E = {1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0};
   joint.driveInertia = driveInertia;
   std::vector<Joint> joints(count, joint);
   std::vector<Turn<ZqReal>> turns(count);
   const Body body{1.3, {0.17, 0.29, 0.31}, {0.71, 0.37, 0.53, 0.11, 0.13, 0.07}};
   std::vector<Body> bodies(count + 1, body);
   const auto multiple = [&](ZqReal k)
   {
      const Sym3<ZqReal>& S = body.S;
      return Body{
         k * body.m, body.h * k, {k * S.xx, k * S.yy, k * S.zz, k * S.xy, k * S.xz, k * S.yz}};
   };
   bodies[count - 1] = multiple(lastButOne);
   bodies[count] = multiple(last);
   for (std::size_t i = 0; i < count; ++i)
   {
      joints[i].parent = static_cast<int>(i) - 1;
      joints[i].depth = static_cast<int>(i);
      const ZqReal q = 0.3 + static_cast<ZqReal>(i);
      const ZqReal c = std::cos(q), s = std::sin(q);
      turns[i] = {c, s, {offset * c, offset * s, 0.2}, {c, -s, 0, s, c, 0, 0, 0, 1}};
   }
   const Tree tree{count, 0, false, joints.data(), bodies.data()};
   std::vector<Articulated<ZqReal>> articulated(count + 1);
   std::vector<LinkForce<ZqReal>> forces(count + 1, {zeroVec3<ZqReal>(), {0.0, 0.0, 0.1}});
   std::vector<InertiaBound> bounds(count + 1);
   std::vector<ZqReal> torques(count, 1.0), least(6 + count), accelerations(count);
   const Slot<ZqReal>* const none = nullptr;
   articulateBodies(tree, turns.data(), none, torques.data(), forces.data(), articulated.data());
   articulated[0].a = articulated[0].alpha = zeroVec3<ZqReal>();
   accelerateJoints(tree, turns.data(), none, articulated.data(), accelerations.data());
   if (last == 0.0)
   {
      EXPECT_EQ(accelerations[count - 1], 0.0);
   }
   computeLeastPivots(tree, turns.data(), none, bounds.data(), least.data());
   return pivotsAreSound(tree, false, articulated.data(), least.data());
}

TEST(ArticulatedSweep, KnowsWhenPivotsAreRounding)
{
   EXPECT_TRUE(hasSoundPivots(0.0, 1.0, 1.0, 0.5));
   EXPECT_TRUE(hasSoundPivots(0.0, 1.0, 1e-9, 0.0));
   EXPECT_TRUE(hasSoundPivots(0.0, 0.0, 1.0, 0.5));
   EXPECT_TRUE(hasSoundPivots(1e-6, 0.0, 1.0, 0.0));
   EXPECT_FALSE(hasSoundPivots(0.0, 0.0, 1.0, 0.0)) << "nothing between two turns about one axis";
   EXPECT_TRUE(hasSoundPivots(0.0, 1.0, 0.0, 0.5)) << "nothing at the end: exactly zero for all";
   EXPECT_FALSE(hasSoundPivots(1e-6, 1.0, 1.0, zqTest::nan));
}
} // namespace
