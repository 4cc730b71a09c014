#include "support/allocationCount.h"
#include "support/randomModels.h"
#include "support/xmlSamples.h"
#include "zqManipulator/state/ZqAccelerationState.h"
#include "zqManipulator/state/ZqActuatorState.h"
#include "zqManipulator/state/ZqAttachmentState.h"
#include "zqManipulator/state/ZqManipulatorSystemState.h"

#include <cstring>
#include <numeric>

namespace
{
using State = ZqManipulatorSystemState;
using Reals = ZqXmlVectorBasicType<ZqReal>;
using zqTest::AllocationCount;
using zqTest::LogCapture;
using zqTest::nan;

class StoredState : public testing::Test
{
protected:
   /// A system of manipulators with so many joint positions and joint velocities.
   State system(const std::vector<unsigned>& positionCounts,
                const std::vector<unsigned>& velocityCounts)
   {
      State state;
      for (const unsigned joints : velocityCounts)
         state.velocityStates().pushBack(velocityState(joints));
      for (const unsigned joints : positionCounts)
      {
         ZqPositionState position;
         position.setJointPositions(velocityState(joints).jointVelocities());
         position.setCoordSysXForm(zqTest::randomFrame(m_random));
         state.positionStates().pushBack(position);
      }
      state.setTime(m_random.real(1.0, 2.0));
      return state;
   }
   State system(const std::vector<unsigned>& counts) { return system(counts, counts); }

private:
   ZqVelocityState velocityState(unsigned joints)
   {
      ZqVelocityState velocity;
      velocity.setJointVelocities(m_random.array(joints, 1));
      velocity.setGeneralVelocity(zqTest::randomMotion(m_random));
      return velocity;
   }

   zqTest::RandomValues m_random{21};
};

TEST_F(StoredState, DocumentsAreRepairedWithMessages)
{
   const std::string top = "ZqManipulatorSystemState::validateTopLevelDimensions(): number of "
                           "position states does not match the velocity states--correcting.\n\n";
   const std::string low =
      "ZqManipulatorSystemState::validateLowLevelDimensions: joint positions do "
      "notmatch joint velocities--correcting.\n\n";
   using Counts = std::vector<unsigned>;
   const std::tuple<Counts, Counts, std::string> cases[] = {
      {{3, 2}, {3, 2}, ""}, {{3, 2}, {3}, top + low},
      {{3, 0}, {3}, top},   {{2, 3, 1}, {3, 3, 0}, low + low},
      {{3}, {3, 2}, top},   {{}, {1}, top}};
   for (const auto& [positionCounts, velocityCounts, messages] : cases)
   {
      const State broken = system(positionCounts, velocityCounts);
      State state;
      LogCapture log;
      EXPECT_TRUE(zqTest::readFrom(state, zqTest::written(broken)));
      EXPECT_EQ(log.text(), messages);

      State expected = broken;
      expected.velocityStates().resize(static_cast<unsigned>(positionCounts.size()));
      for (std::size_t i = 0; i < positionCounts.size(); ++i)
         expected.velocityStates()[i].jointVelocities().resize(positionCounts[i]);
      EXPECT_EQ(state, expected);
   }
}

TEST_F(StoredState, InterpolationOfUnequalJointsGoesOnForPositionsOnly)
{
   const State states = system({3, 5});
   ZqPositionState p;
   ZqVelocityState v = states.velocityStates()[0];
   LogCapture log;
   EXPECT_FALSE(
      p.linearInterpolation(states.positionStates()[0], states.positionStates()[1], 0.25));
   EXPECT_FALSE(v.linearInterpolation(v, states.velocityStates()[1], 0.25));
   EXPECT_EQ(p.jointPositions().size(), 3U);
   EXPECT_FALSE(p.coordSysXForm() == states.positionStates()[0].coordSysXForm());
   EXPECT_EQ(v, states.velocityStates()[0]);
   EXPECT_EQ(log.text(), "ZqPositionState::linearInterpolation(): the two joint-position sizes (3 "
                         "and 5) do not match\n"
                         "ZqVelocityState::linearInterpolation velocityState1.jointVelocities() "
                         "size mismatch.\n");
}

TEST_F(StoredState, InterpolationByTime)
{
   State first = system({3, 1});
   State second = system({3, 1});
   first.setTime(2.0);
   second.setTime(4.0);
   State byFactor;
   ASSERT_TRUE(byFactor.linearFactorInterpolation(first, second, 0.75));
   EXPECT_EQ(byFactor.time(), 3.5);
   const auto numberOf = [](const State& s) { return s.velocityStates()[1].generalVelocity()[4]; };
   EXPECT_DOUBLE_EQ(numberOf(byFactor), 0.25 * numberOf(first) + 0.75 * numberOf(second));
   State state = system({4});
   ASSERT_TRUE(state.linearInterpolation(first, second, 3.5));
   EXPECT_EQ(state, byFactor);
   State inPlace = second;
   const AllocationCount allocations;
   ASSERT_TRUE(state.linearInterpolation(first, second, 2.5));
   ASSERT_TRUE(inPlace.linearInterpolation(first, inPlace, 2.5));
   EXPECT_EQ(allocations.count(), 0U);
   EXPECT_EQ(inPlace, state);

   // Past the second state frames go on as joints do: it is in the middle between two that are alike.
   State past;
   ASSERT_TRUE(byFactor.linearFactorInterpolation(first, second, 1.0 - 1e-9));
   ASSERT_TRUE(past.linearFactorInterpolation(first, second, 1.0 + 1e-9));
   ASSERT_TRUE(state.linearFactorInterpolation(byFactor, past, 0.5));
   EXPECT_TRUE(state.approxEq(second, 16.0 * zqTest::epsilon, true));

   // Equal times: the first state, but for the rounding of an orientation that is made a unit again.
   second.setTime(2.0);
   EXPECT_FALSE(state.linearInterpolation(first, second, 3.0));
   EXPECT_EQ(state.time(), 3.0);
   EXPECT_TRUE(state.approxEq(first, 4.0 * zqTest::epsilon, false));
   EXPECT_EQ(state.velocityStates(), first.velocityStates());
}

TEST_F(StoredState, InterpolationMayGoIntoEitherState)
{
   const State first = system({3, 2});
   const State seconds[] = {system({3, 2}), system({2, 2}), system({3, 2}, {3}), system({3})};
   LogCapture log;
   for (const State& second : seconds)
      for (const ZqReal factor : {0.25, 1.5, nan})
      {
         const bool isBlended = second.positionStates().size() == 2;
         State expected = system({1});
         EXPECT_EQ(expected.linearFactorInterpolation(first, second, factor), isBlended);
         EXPECT_EQ(expected == first, !isBlended);
         // What cannot be blended is that of the first.
         for (std::size_t i = second.velocityStates().size(); i < 2; ++i)
            EXPECT_EQ(expected.velocityStates()[i], first.velocityStates()[i]);
         State intoFirst = first;
         EXPECT_EQ(intoFirst.linearFactorInterpolation(intoFirst, second, factor), isBlended);
         State intoSecond = second;
         EXPECT_EQ(intoSecond.linearFactorInterpolation(first, intoSecond, factor), isBlended);
         // As text, since NaN equals nothing.
         EXPECT_EQ(zqTest::written(intoFirst), zqTest::written(expected));
         EXPECT_EQ(zqTest::written(intoSecond), zqTest::written(expected));
      }
   EXPECT_TRUE(log.contains(
      "ZqManipulatorSystemState::linearFactorInterpolation: positionStates size mismatch.\n"));
}

/// A source that cannot be asked what remains.
class Pipe : public std::stringbuf
{
   using std::stringbuf::stringbuf;
   pos_type seekoff(off_type, std::ios::seekdir, std::ios::openmode) override { return -1; }
   pos_type seekpos(pos_type, std::ios::openmode) override { return -1; }
   std::streamsize showmanyc() override { return -1; }
};

bool readBin(auto& state, const std::string& bytes)
{
   Pipe pipe(bytes);
   std::istream stream(&pipe);
   return state.readBin(stream);
}

std::string binary(const State& state)
{
   std::ostringstream stream;
   EXPECT_TRUE(state.writeBin(stream));
   return stream.str();
}

TEST_F(StoredState, BinaryFormRoundTripsAndIsRefusedWhenCutShort)
{
   // More joints than are read at once, and numbers of states that differ.
   const State large = system({0, 2500}, {1025});
   State state = system({7, 1, 2});
   ASSERT_TRUE(readBin(state, binary(large)));
   EXPECT_EQ(state, large);

   const State original = system({2, 1}, {1});
   const std::string bytes = binary(original);
   EXPECT_EQ(bytes.size(), 8U + 2 * 4 + 2 * (56 + 4) + 3 * 8 + (48 + 4) + 8U);
   for (std::size_t size = 0; size < bytes.size(); ++size)
   {
      state = large;
      EXPECT_FALSE(readBin(state, bytes.substr(0, size))) << size;
      // From the first count on, nothing but whole states is left.
      for (std::size_t i = 0; size >= 12 && i < state.positionStates().size(); ++i)
         EXPECT_EQ(state.positionStates()[i], original.positionStates()[i]) << size;
   }
   ASSERT_TRUE(readBin(state, bytes));
   EXPECT_EQ(state, original);
   std::istringstream stream(bytes);
   const AllocationCount allocations;
   ASSERT_TRUE(state.readBin(stream));
   EXPECT_EQ(allocations.count(), 0U);
}

TEST_F(StoredState, HostileCountsTakeNoMemory)
{
   State state = system({2});
   const std::string bytes = binary(state);
   for (const ZqU32 count : {0x7FFFFFFFU, 0x10000000U, 0xFFFFFFFFU, 0x80000000U, 0U})
   {
      // Only a positive count needs something behind it.
      const bool succeeds = static_cast<int>(count) <= 0;
      const std::string text(reinterpret_cast<const char*>(&count), sizeof(count));
      EXPECT_EQ(readBin(state, bytes.substr(0, 8) + text + text), succeeds);
      EXPECT_EQ(state.positionStates().size(), 0U);
      // A state for such a count of them, and nothing more.
      EXPECT_FALSE(readBin(state, bytes.substr(0, 8) + text + bytes.substr(12, 76)) && !succeeds);
      EXPECT_LE(state.positionStates().vectorContainer().capacity(), 4U);
      ZqPositionState position;
      EXPECT_EQ(readBin(position, bytes.substr(12, 56) + text), succeeds);
      EXPECT_LE(position.jointPositions().values().capacity(), 2048U);
   }
}

TEST_F(StoredState, ToleranceIsInclusiveAndNanAgreesWithNothing)
{
   const std::tuple<ZqReal, ZqReal, bool> cases[] = {
      {1.25, 0.25, true}, {0.75, 0.25, true}, {1.25, 0.24, false}, {0.75, 0.24, false},
      {1.0, 0.0, true},   {1.0, nan, false},  {nan, 9.0, false}};
   State a = system({1});
   a.setTime(1.0);
   a.positionStates()[0].setJointPositions({1.0});
   a.velocityStates()[0].setJointVelocities(Reals{1.0});
   for (const auto& [value, tolerance, expected] : cases)
   {
      State b = a;
      b.setTime(value);
      EXPECT_EQ(a.approxEq(b, tolerance, true), expected);
      EXPECT_TRUE(b.approxEq(a, 0.0, false));
      b = a;
      b.positionStates()[0].jointPositions()[0] = value;
      EXPECT_EQ(a.approxEq(b, tolerance, false), expected);
      b = a;
      b.velocityStates()[0].jointVelocities()[0] = value;
      EXPECT_EQ(b.approxEq(a, tolerance, false), expected);
   }
   for (const State& other :
        {system({1, 1}, {1}), system({1}, {1, 1}), system({2}, {1}), system({1}, {2}), State()})
      EXPECT_FALSE(a.checkCompatibleState(other) || other.checkCompatibleState(a));
   EXPECT_TRUE(a.checkCompatibleState(system({1})));
}

TEST_F(StoredState, MergingAppendsAndStoppingKeepsTheRest)
{
   State whole = system({3, 2, 1});
   State merged = whole;
   merged.positionStates().erase(2);
   merged.velocityStates().erase(2);
   State last = system({});
   last.positionStates().pushBack(whole.positionStates()[2]);
   last.velocityStates().pushBack(whole.velocityStates()[2]);
   EXPECT_TRUE(merged.mergeWith(last));
   EXPECT_EQ(merged, whole);
   merged.mergeWith(merged);
   EXPECT_EQ(merged.positionStates()[5], whole.positionStates()[2]);

   merged = whole;
   merged.velocityStates()[0].jointVelocities()[0] = nan;
   merged.zeroVelocityStates();
   for (ZqVelocityState& velocity : whole.velocityStates())
   {
      velocity.setJointVelocities(Reals(velocity.jointVelocities().size()));
      velocity.setGeneralVelocity({});
   }
   EXPECT_EQ(merged, whole);
}

TEST_F(StoredState, ColumnsAndSizesOfJointValues)
{
   ZqReArray array(2, 3);
   std::iota(array.data(), array.data() + 6, 1.0);
   ZqVelocityState velocity;
   velocity.setJointVelocities(array);
   EXPECT_EQ(velocity.jointVelocities(), (Reals{1.0, 4.0}));
   ZqAccelerationState acceleration = ZqAccelerationState::zeroCompatibleState(velocity);
   EXPECT_EQ(acceleration.jointAccelerations(), Reals(2));
   acceleration.setJointAccelerations(array);
   LogCapture log;
   acceleration.setJointAccelerations(ZqReArray(3, 0));
   EXPECT_EQ(log.size(), 1U);
   acceleration.resize(3);
   EXPECT_EQ(acceleration.jointAccelerations(), (Reals{1.0, 4.0, 0.0}));

   ZqActuatorState actuators;
   actuators.setPowerConverterStates({{5.0}, {6.0, 7.0}});
   actuators.setLastVelocities({8.0, 9.0});
   actuators.resize(3);
   EXPECT_EQ(actuators.motorPositions(), Reals(3));
   EXPECT_EQ(actuators.lastVelocities(), (Reals{8.0, 9.0, 0.0}));
   EXPECT_EQ(actuators.powerConverterStates().size(), 2U);
}
} // namespace
