#include "support/allocationCount.h"
#include "support/comparison.h"
#include "support/logCapture.h"
#include "support/randomScene.h"
#include "zqManipulator/dynamics/tools/ZqMassMatrixTool.h"
#include "zqManipulator/dynamics/tools/ZqMotionBatch.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace
{
using InstructionSet = ZqMotionBatch::InstructionSet;
using zqTest::RandomScene;

constinit const ZqToken screwToken{ZqToken::Literal{"urn:test#risingScrew"}};

/// A joint that nobody knows: it turns about z and slides along it by q^2 / 2.
class RisingScrew : public ZqXmlClass<RisingScrew, ZqLinkKinematics>
{
public:
   static const ZqToken& classToken() { return screwToken; }
   static constexpr auto components() { return std::tuple{}; }
   bool operator==(const RisingScrew&) const = default;

   const ZqCoordinateSystemTransformation& calculateTransform(ZqReal q) const override
   {
      return m_currentTransform = {ZqVector(0.3, 0.1, 0.5 * q * q), ZqOrientation::zRotation(q)};
   }
   const ZqGeneralMotion& calculateVelocity(ZqReal q, ZqReal v) const override
   {
      return m_currentVelocity = {ZqVector::zVector(q * v), ZqVector::zVector(v)};
   }
   const ZqGeneralMotion& calculateAcceleration(ZqReal q, ZqReal v, ZqReal a) const override
   {
      return m_currentAcceleration = {ZqVector::zVector(q * a + v * v), ZqVector::zVector(a)};
   }
   void transformBy(ZqCoordinateSystemTransformation& result, ZqReal q) const override
   {
      result *= calculateTransform(q);
   }
   void transformBy(const ZqCoordinateSystemTransformation&) override {}
   void changeInboardFrameBy(const ZqCoordinateSystemTransformation&) override {}
   ZqReal upperBoundDhFrameDistance(const ZqJointActuator&) const override { return 1e3; }
   ZqReal jointParameterScalability() const override { return 0.0; }
   ZqU32 unitType() const override { return 1; }
};

std::vector<InstructionSet> instructionSets()
{
   std::vector<InstructionSet> sets;
   for (const auto set : {InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512})
      if (ZqMotionBatch::isSupported(set))
         sets.push_back(set);
   return sets;
}

/// Random trees with all types of joints, on free bases for odd seeds; every third one has a joint of an own
/// class.
RandomScene scene(ZqU32 seed)
{
   zqTest::SceneKind kind = zqTest::SceneKind::ofSeed(seed);
   kind.isFixedBase = seed % 2 == 0;
   kind.hasSprings = false;
   RandomScene result(seed, kind);
   if (seed % 3 != 0 || result.jointDof() == 0)
      return result;
   ZqIndividualManipulator model = result.manipulator();
   model.replaceLinkKinematics("label" + std::to_string(seed % result.jointDof()), RisingScrew());
   return RandomScene(seed, model);
}

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
   Arrays(RandomScene& scene, std::size_t n)
   {
      const std::size_t dof = scene.jointDof();
      const std::size_t all = scene.manipulator().totalDof();
      const std::size_t ofBase = all > dof ? 6 : 0;
      widths = {dof, 7, dof, ofBase, dof, ofBase, dof, 6, 7 * dof, all * all};
      for (const List list : {Q, V, BaseV, Given, BaseGiven})
         at[list] = scene.randomReals(static_cast<ZqU32>(n * widths[list]), 3.0);
      for (std::size_t i = 0; i < n; ++i)
         append(at[Placements], zqTest::randomFrame(scene.random));
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
   bool run(ZqMotionBatch& batch, int operation)
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

/// One of the states, for the tools of single states.
struct Single
{
   Single(const RandomScene& scene, const Arrays& states, std::size_t row)
      : manipulator(scene.manipulator()), gravity(scene.gravity), dof(scene.jointDof())
   {
      const ZqReal* const X = states.row(Placements, row);
      position.setCoordSysXForm(
         manipulator.coordSysXForm().inverse() *
         ZqCoordinateSystemTransformation(ZqVector(X[0], X[1], X[2]),
                                          ZqOrientation(X[3], X[4], X[5], X[6])));
      position.setJointPositions(joints(states.row(Q, row)));
      velocity.setJointVelocities(joints(states.row(V, row)));
      velocity.setGeneralVelocity(ofBase(states.row(BaseV, row)));
   }
   ZqRealVector joints(const ZqReal* x) const { return {x, x + dof}; }
   ZqGeneralMotion ofBase(const ZqReal* x) const
   {
      return manipulator.isFixedBase()
                ? ZqGeneralMotion()
                : ZqGeneralMotion(ZqVector(x[0], x[1], x[2]), ZqVector(x[3], x[4], x[5]));
   }
   ZqAccelerationState acceleration(const Arrays& states, List list, std::size_t row) const
   {
      ZqAccelerationState state;
      state.setJointAccelerations(joints(states.row(list, row)));
      state.setGeneralAcceleration(ofBase(states.row(list == Given ? BaseGiven : BaseResult, row)));
      return state;
   }
   ZqManipulatorActiveState active(ZqAccelerationState acceleration) const
   {
      acceleration.generalAcceleration() += ZqGeneralMotion(gravity, ZqVector());
      ZqManipulatorActiveState state;
      state.setPositionState(position);
      state.setVelocityState(velocity);
      state.setAccelerationState(acceleration);
      return state;
   }
   /// The torques, and after them the force on the base in the axes of the system.
   ZqRealVector torques(const ZqAccelerationState& acceleration) const
   {
      ZqManipulatorActiveState state = active(acceleration);
      ZqTotalTorqueTool tool;
      tool.setManipulator(&manipulator);
      tool.setTotalTorqueType(ZqTotalTorqueTool::BodyTorque);
      ZqRealVector result = tool.torques({}, state, nullptr).jointTorques().values();
      const ZqGeneralForce& force = tool.generalForce({}, state, nullptr);
      const ZqOrientation axes =
         (manipulator.coordSysXForm() * position.coordSysXForm()).orientation();
      for (const ZqVector& part : {axes * force.force(), axes * force.moment()})
         for (std::size_t k = 0; k < 3; ++k)
            result.push_back(part[k]);
      return result;
   }

   const ZqIndividualManipulator& manipulator;
   ZqVector gravity;
   ZqU32 dof;
   ZqPositionState position;
   ZqVelocityState velocity;
};

/// Each operation against the tools for a single state.
void compareRow(const RandomScene& scene, const Arrays& states, const std::vector<Arrays>& results,
                std::size_t row, zqTest::Comparison& compare)
{
   const Single single(scene, states, row);
   const ZqU32 dof = single.dof;
   const auto compareLists =
      [&](const char* name, const ZqReal* values, const auto& expected, std::size_t count)
   {
      for (std::size_t i = 0; i < count; ++i)
         compare(name, values[i], expected[i]);
   };
   ZqManipulatorActiveState active = single.active(single.acceleration(states, Given, row));
   for (ZqU32 i = 0; i < dof; ++i)
   {
      ZqRealVector frame;
      Arrays::append(frame, scene.link(i).dhFrameInSystem(active.activePositionState()));
      const ZqReal* const values = results[Frames].row(FrameRows, row) + i * 7;
      compareLists("frames", values, frame, 7);
   }
   compareLists("torques", results[Torques].row(Result, row),
                single.torques(single.acceleration(states, Given, row)), dof);
   compareLists("base force", results[Torques].row(BaseResult, row),
                single.torques(single.acceleration(states, Given, row)).data() + dof, 6);

   // Accelerations are those that take the given torques, but for rounding of the terms that these have.
   const ZqAccelerationState a = single.acceleration(results[Accelerations], Result, row);
   const ZqRealVector taken = single.torques(a);
   ZqMassMatrixTool tool;
   tool.setManipulator(&single.manipulator);
   const std::size_t all = single.manipulator.totalDof();
   const ZqReArray& M = all > dof ? tool.extendedMassMatrixInSystem(active, nullptr)
                                  : tool.massMatrix(active, nullptr);
   const auto inBatch = [&](std::size_t i) { return (i + all - dof) % all; }; // bases first
   for (std::size_t i = 0; i < all; ++i)
      for (std::size_t j = 0; j < all; ++j)
      {
         compare("M", results[MassMatrix].row(Matrices, row)[inBatch(i) * all + inBatch(j)],
                 M[i][j] + (i == j && i < dof ? scene.driveInertia(static_cast<ZqU32>(i)) : 0.0));
         compare.scale("taken", M[i][j] * (j < dof ? a.jointAccelerations()[static_cast<ZqU32>(j)]
                                                   : a.generalAcceleration()[j - dof]));
      }
   compareLists("taken", states.row(Given, row), taken, dof);
   compareLists("taken", states.row(BaseGiven, row), taken.data() + dof, all - dof);

   ZqVelocityState v = single.velocity;
   ZqPositionState q = single.position;
   single.manipulator.propagateVelocityState(a, 1e-3, v);
   single.manipulator.propagateState(v, 1e-3, q);
   ZqRealVector placement;
   Arrays::append(placement, single.manipulator.coordSysXForm() * q.coordSysXForm());
   compareLists("new q", results[Step].row(Q, row), q.jointPositions(), dof);
   compareLists("new v", results[Step].row(V, row), v.jointVelocities(), dof);
   compareLists("new base v", results[Step].row(BaseV, row), v.generalVelocity(), all - dof);
   compareLists("new placement", results[Step].row(Placements, row), placement, 7);
}

TEST(MotionBatch, AgreesWithSingleStates)
{
   constexpr std::size_t n = 9;
   for (ZqU32 seed = 1; seed <= 60; ++seed)
   {
      RandomScene random = scene(seed);
      const Arrays states(random, n);
      for (const InstructionSet set : instructionSets())
      {
         SCOPED_TRACE(testing::Message() << seed << " by " << static_cast<int>(set));
         ZqMotionBatch batch(random.manipulator(), random.gravity);
         ASSERT_TRUE(batch.setInstructionSet(set));
         std::vector<Arrays> results(operationCount, states);
         for (int operation = 0; operation < operationCount; ++operation)
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
   for (const ZqU32 seed : {5, 9, 24})
   {
      RandomScene random = scene(seed);
      Arrays states(random, most);
      states.at[Q][1] = 1e7; // far
      for (const InstructionSet set : instructionSets())
         for (int operation = 0; operation < operationCount; ++operation)
         {
            ZqMotionBatch batch(random.manipulator(), random.gravity);
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
                     EXPECT_TRUE(row == n / 2 ||
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
   RandomScene random = scene(5);
   Arrays states(random, 20);
   for (const List list : {V, BaseV, Given, BaseGiven})
      std::fill(states.at[list].begin(), states.at[list].end(), 0.0);
   ZqMotionBatch batch(random.manipulator(), random.gravity);
   batch.setThreads(2);
   Arrays expected = states;
   ASSERT_TRUE(expected.run(batch, Torques));
   const zqTest::AllocationCount count;
   EXPECT_TRUE(batch.inverseDynamics({states.at[Q], states.at[Placements]}, {}, {},
                                     {states.at[Result], states.at[BaseResult]}));
   EXPECT_EQ(states.at, expected.at);
   for (int operation = 0; operation < operationCount; ++operation)
      EXPECT_TRUE(states.run(batch, operation));
   EXPECT_EQ(count.count(), 0U);
}

/// One number too few in each array, or one too many.
TEST(MotionBatch, RefusesWhatDoesNotFit)
{
   for (const ZqU32 seed : {4, 5})
   {
      RandomScene random = scene(seed);
      const Arrays states(random, 3);
      ZqMotionBatch batch(random.manipulator(), random.gravity);
      for (std::size_t list = 0; list < listCount; ++list)
         for (const std::size_t change : {-1, 1})
            for (int operation = 0; operation < operationCount; ++operation)
            {
               Arrays bad = states;
               bad.at[list].resize(bad.at[list].empty() ? 1 : bad.at[list].size() + change);
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
      EXPECT_EQ(good.at, states.at);
      EXPECT_EQ(log.text(),
                "ZqMotionBatch::step(): the step, inf, is not finite.\n\n"
                "ZqMotionBatch::setInstructionSet(): what was asked for is not at hand.\n\n");
   }
}
} // namespace
