#include "support/allocationCount.h"
#include "support/comparison.h"
#include "support/logCapture.h"
#include "support/oddScene.h"
#include "zqManipulator/dynamics/tools/ZqMassMatrixTool.h"
#include "zqManipulator/dynamics/tools/ZqMotionBatch.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace
{
using InstructionSet = ZqMotionBatch::InstructionSet;

std::vector<InstructionSet> instructionSets()
{
   std::vector<InstructionSet> sets;
   for (const auto set : {InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512})
      if (ZqMotionBatch::isSupported(set))
         sets.push_back(set);
   return sets;
}

/// A scene whose manipulator has no springs and no dampers, with all that a joint may be.
struct Scene : zqTest::OddScene
{
   explicit Scene(ZqU32 seed) : OddScene(seed)
   {
      for (ZqManipulatorLink* link : model().linkPointerVector())
      {
         link->setSpringProperties({});
         link->setDamperProperties({});
      }
   }
   ZqReal driveInertia(ZqU32 i) { return linkByIndex(i).jointActuator().effectiveInertia(0.0); }
   const ZqManipulatorLink& linkByIndex(ZqU32 i) { return *manipulator().linkByIndex(i); }
};

enum Operation
{
   Frames,
   MassMatrix,
   Torques,
   Accelerations,
   Step,
   operationCount
};
enum List
{
   Q,
   Placements,
   V,
   BaseV,
   Given,
   BaseGiven,
   Result,
   BaseResult,
   FrameRows,
   Matrices,
   listCount
};
/// Which lists operations read and write.
constexpr unsigned lists[operationCount] = {1 << Q | 1 << Placements | 1 << FrameRows,
                                            1 << Q | 1 << Placements | 1 << Matrices, 0xff, 0xff,
                                            0x3f};

/// The arrays of n states of a scene.
struct Arrays
{
   Arrays(Scene& scene, std::size_t n)
   {
      const std::size_t dof = scene.manipulator().jointDof();
      const std::size_t all = scene.manipulator().totalDof();
      const std::size_t ofBase = all > dof ? 6 : 0;
      widths = {dof, 7, dof, ofBase, dof, ofBase, dof, 6, 7 * dof, all * all};
      for (const List list : {Q, V, BaseV, Given, BaseGiven})
         for (std::size_t i = 0; i < n * widths[list]; ++i)
            at[list].push_back(scene.random().real(-3.0, 3.0));
      for (std::size_t i = 0; i < n; ++i)
         append(at[Placements], zqTest::randomFrame(scene.random()));
      resize(n);
   }
   static void append(ZqRealVector& list, const ZqCoordinateSystemTransformation& X)
   {
      for (std::size_t k = 0; k < 3; ++k)
         list.push_back(X.translation()[k]);
      for (std::size_t k = 0; k < 4; ++k)
         list.push_back(X.orientation()[k]);
   }
   void resize(std::size_t n)
   {
      for (std::size_t list = 0; list < listCount; ++list)
         at[list].resize(n * widths[list]);
   }
   const ZqReal* row(List list, std::size_t i) const { return at[list].data() + i * widths[list]; }
   bool run(ZqMotionBatch& batch, unsigned operation)
   {
      const ZqMotionBatch::Input q{at[Q], at[Placements]};
      const ZqMotionBatch::Input v{at[V], at[BaseV]};
      const ZqMotionBatch::Input given{at[Given], at[BaseGiven]};
      const ZqMotionBatch::Output result{at[Result], at[BaseResult]};
      switch (operation)
      {
      case Frames:
         return batch.frames(q, at[FrameRows]);
      case MassMatrix:
         return batch.massMatrix(q, at[Matrices]);
      case Torques:
         return batch.inverseDynamics(q, v, given, result);
      case Accelerations:
         return batch.forwardDynamics(q, v, given, result);
      default:
         return batch.step({at[Q], at[Placements]}, {at[V], at[BaseV]}, given, 1e-3);
      }
   }

   std::array<std::size_t, listCount> widths;
   std::array<ZqRealVector, listCount> at;
};

/// One of the states for the tools of single states, with the accelerations of a list on top of gravity.
zqTest::MotionInput single(Scene& scene, const Arrays& states, std::size_t row,
                           const Arrays& accelerations, List list)
{
   const ZqIndividualManipulator& manipulator = scene.manipulator();
   zqTest::MotionInput input{manipulator, nullptr, {}, {}, {}, {}, {}};
   const auto joints = [&](const ZqReal* x)
   { return ZqRealVector(x, x + scene.manipulator().jointDof()); };
   const auto ofBase = [&](const ZqReal* x)
   {
      return manipulator.isFixedBase()
                ? ZqGeneralMotion()
                : ZqGeneralMotion(ZqVector(x[0], x[1], x[2]), ZqVector(x[3], x[4], x[5]));
   };
   const ZqReal* const X = states.row(Placements, row);
   input.position.setCoordSysXForm(
      manipulator.coordSysXForm().inverse() *
      ZqCoordinateSystemTransformation(ZqVector(X[0], X[1], X[2]),
                                       ZqOrientation(X[3], X[4], X[5], X[6])));
   input.position.setJointPositions(joints(states.row(Q, row)));
   input.velocity.setJointVelocities(joints(states.row(V, row)));
   input.velocity.setGeneralVelocity(ofBase(states.row(BaseV, row)));
   input.acceleration.setJointAccelerations(joints(accelerations.row(list, row)));
   input.acceleration.setGeneralAcceleration(
      ofBase(accelerations.row(static_cast<List>(list + 1), row)) +
      ZqGeneralMotion(scene.scene().gravity, ZqVector()));
   return input;
}

/// The torques, and after them the force on the base in the axes of the system.
ZqRealVector torques(const zqTest::MotionInput& input)
{
   ZqManipulatorActiveState state = input.activeState();
   ZqTotalTorqueTool tool;
   tool.setManipulator(&input.manipulator);
   tool.setTotalTorqueType(ZqTotalTorqueTool::BodyTorque);
   ZqRealVector result = tool.torques({}, state, nullptr).jointTorques().values();
   const ZqGeneralForce& force = tool.generalForce({}, state, nullptr);
   const ZqOrientation axes =
      (input.manipulator.coordSysXForm() * input.position.coordSysXForm()).orientation();
   for (const ZqVector& part : {axes * force.force(), axes * force.moment()})
      for (std::size_t k = 0; k < 3; ++k)
         result.push_back(part[k]);
   return result;
}

/// Each operation against the tools for a single state.
void compareRow(Scene& scene, const Arrays& states, const std::vector<Arrays>& results,
                std::size_t row, zqTest::Comparison& compare)
{
   const ZqIndividualManipulator& manipulator = scene.manipulator();
   const ZqU32 dof = scene.manipulator().jointDof();
   const ZqU32 all = manipulator.totalDof();
   const auto compareLists =
      [&](const char* name, const ZqReal* values, const auto& expected, std::size_t count)
   {
      for (std::size_t i = 0; i < count; ++i)
         compare(name, values[i], expected[i]);
   };
   const zqTest::MotionInput input = single(scene, states, row, states, Given);
   ZqManipulatorActiveState active = input.activeState();
   manipulator.placeBase(active.activePositionState());
   for (ZqU32 i = 0; i < dof; ++i)
   {
      ZqRealVector frame;
      Arrays::append(frame, scene.linkByIndex(i).dhFrameInSystem(active.activePositionState()));
      compareLists("frames", results[Frames].row(FrameRows, row) + i * 7, frame, 7);
   }
   const ZqRealVector needed = torques(input);
   compareLists("torques", results[Torques].row(Result, row), needed, dof);
   compareLists("base force", results[Torques].row(BaseResult, row), needed.data() + dof, 6);

   // Accelerations are those that take the given torques, but for rounding of the terms that these have.
   const zqTest::MotionInput moved = single(scene, states, row, results[Accelerations], Result);
   const ZqAccelerationState& a = moved.acceleration;
   ZqMassMatrixTool tool;
   tool.setManipulator(&manipulator);
   const ZqReArray& M = all > dof ? tool.extendedMassMatrixInSystem(active, nullptr)
                                  : tool.massMatrix(active, nullptr);
   const auto inBatch = [&](ZqU32 i) { return (i + all - dof) % all; }; // bases first
   for (ZqU32 i = 0; i < all; ++i)
      for (ZqU32 j = 0; j < all; ++j)
      {
         compare("M", results[MassMatrix].row(Matrices, row)[inBatch(i) * all + inBatch(j)],
                 M[i][j] + (i == j && i < dof ? scene.driveInertia(i) : 0.0));
         compare.scale("taken", M[i][j] * (j < dof ? a.jointAccelerations()[j]
                                                   : a.generalAcceleration()[j - dof]));
      }
   ZqRealVector taken = torques(moved);
   for (ZqU32 i = 0; i < dof; ++i)
   {
      if (M[i][i] + scene.driveInertia(i) == 0.0) // it does not accelerate
         taken[i] = states.row(Given, row)[i];
   }
   compareLists("taken", states.row(Given, row), taken, dof);
   compareLists("taken", states.row(BaseGiven, row), taken.data() + dof, all - dof);

   ZqVelocityState v = input.velocity;
   ZqPositionState q = input.position;
   ZqAccelerationState change = a;
   change.generalAcceleration() -= ZqGeneralMotion(scene.scene().gravity, ZqVector());
   manipulator.propagateVelocityState(change, 1e-3, v);
   manipulator.propagateState(v, 1e-3, q);
   ZqRealVector placement;
   Arrays::append(placement, manipulator.coordSysXForm() * q.coordSysXForm());
   compareLists("new q", results[Step].row(Q, row), q.jointPositions(), dof);
   compareLists("new v", results[Step].row(V, row), v.jointVelocities(), dof);
   compareLists("new base v", results[Step].row(BaseV, row), v.generalVelocity(), all - dof);
   compareLists("new placement", results[Step].row(Placements, row), placement, 7);
}

TEST(MotionBatch, AgreesWithSingleStates)
{
   const zqTest::LogCapture log; // of joints of unknown types
   constexpr std::size_t n = 9;
   for (ZqU32 seed = 1; seed <= 60; ++seed)
   {
      Scene random(seed);
      const Arrays states(random, n);
      for (const InstructionSet set : instructionSets())
      {
         SCOPED_TRACE(testing::Message() << seed << " by " << static_cast<int>(set));
         ZqMotionBatch batch(random.manipulator(), random.scene().gravity);
         ASSERT_TRUE(batch.setInstructionSet(set));
         std::vector<Arrays> results(operationCount, states);
         for (unsigned operation = 0; operation < operationCount; ++operation)
            EXPECT_TRUE(results[operation].run(batch, operation));
         zqTest::Comparison compare;
         for (std::size_t row = 0; row < n; ++row)
            compareRow(random, states, results, row, compare);
         compare.expectWithin(1e-13);
      }
   }
}

/// Every row has the bits that it has in the greatest batch, also beside a state that is no number.
TEST(MotionBatch, GivesTheSameBitsInAnyBatchByAnyNumberOfThreads)
{
   constexpr std::size_t most = 17;
   for (const ZqU32 seed : {5U, 9U, 24U})
   {
      Scene random(seed);
      Arrays states(random, most);
      states.at[Q][1] = 1e7; // far
      for (const InstructionSet set : instructionSets())
         for (unsigned operation = 0; operation < operationCount; ++operation)
         {
            ZqMotionBatch batch(random.manipulator(), random.scene().gravity);
            ASSERT_TRUE(batch.setInstructionSet(set));
            Arrays expected = states;
            ASSERT_TRUE(expected.run(batch, operation));
            for (const ZqU32 threads : {1U, 2U, 3U})
            {
               ASSERT_TRUE(batch.setThreads(threads) && batch.threads() == threads);
               for (std::size_t n = 1; n <= most; ++n)
               {
                  Arrays part = states;
                  part.resize(n);
                  part.at[Q][n / 2 * part.widths[Q]] = NAN;
                  ASSERT_TRUE(part.run(batch, operation));
                  for (std::size_t i = 0; i < listCount * n; ++i)
                  {
                     const auto list = static_cast<List>(i % listCount);
                     const std::size_t row = i / listCount;
                     EXPECT_TRUE(row == n / 2 || part.at[list].empty() ||
                                 std::memcmp(part.row(list, row), expected.row(list, row),
                                             part.widths[list] * sizeof(ZqReal)) == 0)
                        << row << " of " << n << " by " << threads << " in " << operation;
                  }
               }
            }
         }
   }
}

TEST(MotionBatch, TakesWhatIsLeftOutForZerosAndAllocatesNothing)
{
   Scene random(5);
   Arrays states(random, 20);
   for (const List list : {V, BaseV, Given, BaseGiven})
      std::fill(states.at[list].begin(), states.at[list].end(), 0.0);
   ZqMotionBatch batch(random.manipulator(), random.scene().gravity);
   batch.setThreads(2);
   Arrays expected = states;
   ASSERT_TRUE(expected.run(batch, Torques));
   const zqTest::AllocationCount count;
   EXPECT_TRUE(batch.inverseDynamics({states.at[Q], states.at[Placements]}, {}, {},
                                     {states.at[Result], states.at[BaseResult]}));
   EXPECT_EQ(states.at, expected.at);
   for (unsigned operation = 0; operation < operationCount; ++operation)
      EXPECT_TRUE(states.run(batch, operation));
   EXPECT_EQ(count.count(), 0U);
}

/// One number too few in each array, or one too many.
TEST(MotionBatch, RefusesWhatDoesNotFit)
{
   for (const ZqU32 seed : {4U, 5U})
   {
      Scene random(seed);
      const Arrays states(random, 3);
      ZqMotionBatch batch(random.manipulator(), random.scene().gravity);
      for (std::size_t list = 0; list < listCount; ++list)
         for (const bool isShort : {true, false})
            for (unsigned operation = 0; operation < operationCount; ++operation)
            {
               Arrays bad = states;
               if (isShort && !bad.at[list].empty())
                  bad.at[list].pop_back();
               else
                  bad.at[list].push_back(0.0);
               Arrays result = bad;
               const zqTest::LogCapture log;
               const bool isRefused = (lists[operation] >> list & 1) != 0;
               EXPECT_EQ(result.run(batch, operation), !isRefused) << list << operation;
               EXPECT_EQ(log.size(), isRefused ? 1U : 0U);
               EXPECT_TRUE(!isRefused || result.at == bad.at);
            }
      Arrays good = states;
      const zqTest::LogCapture log;
      EXPECT_FALSE(
         batch.step({good.at[Q], good.at[Placements]}, {good.at[V], good.at[BaseV]}, {}, INFINITY));
      EXPECT_FALSE(batch.setInstructionSet(static_cast<InstructionSet>(7)));
      EXPECT_TRUE(batch.setThreads(0) && batch.threads() == 1);
      EXPECT_EQ(good.at, states.at);
      EXPECT_EQ(log.text(),
                "ZqMotionBatch::step(): the step, inf, is not finite.\n\n"
                "ZqMotionBatch::setInstructionSet(): what was asked for is not at hand.\n\n");
   }
}
} // namespace
