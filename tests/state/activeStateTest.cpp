#include "support/randomValues.h"
#include "support/xmlSamples.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <functional>
#include <optional>

namespace
{
using ActiveState = ZqManipulatorActiveState;
using Velocities = ZqManipulatorActiveVelocityState;
using Accelerations = ZqManipulatorActiveAccelerationState;
using Forces = ZqManipulatorActiveForceState;
using zqTest::LogCapture;
using zqTest::nan;

ZqGeneralMotion motion(unsigned n)
{
   return {{n + 0.5, -1.0, 0.25}, {0.0, n - 0.5, 3.0}};
}

/// The motions of a link: one that is copied and one that is not.
void setMotions(Velocities& records, ZqU32 index, unsigned number)
{
   records.setLinkDhVelocityInLocal(index, motion(number));
   records.setLinkMomentumInLocal(index, motion(number + 1));
}
void setMotions(Accelerations& records, ZqU32 index, unsigned number)
{
   records.setLinkDhAccelerationInLocal(index, motion(number));
   records.setLinkMomentumRateInLocal(index, motion(number + 1));
}

TEST(ActiveState, MomentaAndThoseOfTheCenterOfMassAreNotCopied)
{
   Velocities records;
   Velocities assigned;
   for (Velocities* one : {&records, &assigned})
   {
      const unsigned number = one == &records ? 10 : 20;
      setMotions(*one, ZqBaseLinkIndex, number);
      one->setLinkComVelocityInLocal(ZqBaseLinkIndex, motion(number + 2));
      one->setLinkCompositeMomentumInLocal(ZqBaseLinkIndex, motion(number + 3));
   }
   assigned = records;
   const Velocities copied(records);
   EXPECT_EQ(copied, records);
   EXPECT_EQ(assigned, records);
   EXPECT_EQ(copied.linkDhVelocityInLocal(ZqBaseLinkIndex), motion(10));
   EXPECT_EQ(copied.linkMomentumInLocal(ZqBaseLinkIndex), ZqGeneralMotion());
   EXPECT_EQ(copied.linkCompositeMomentumInLocal(ZqBaseLinkIndex), ZqGeneralMotion());
   EXPECT_FALSE(copied.baseVelocityState().localMomentumValid() ||
                copied.baseVelocityState().localComValid() ||
                copied.baseVelocityState().compositeMomentumValid());
   EXPECT_EQ(assigned.linkDhVelocityInLocal(ZqBaseLinkIndex), motion(10));
   EXPECT_EQ(assigned.linkMomentumInLocal(ZqBaseLinkIndex), motion(21));
   EXPECT_EQ(assigned.linkComVelocityInLocal(ZqBaseLinkIndex), motion(22));
   EXPECT_TRUE(assigned.baseVelocityState().compositeMomentumValid());

   Accelerations accelerations;
   setMotions(accelerations, ZqBaseLinkIndex, 30);
   const Accelerations copy(accelerations);
   EXPECT_EQ(copy, accelerations);
   EXPECT_EQ(copy.linkMomentumRateInLocal(ZqBaseLinkIndex), ZqGeneralMotion());
}

TEST(ActiveState, JointTransformationsAndExternalForcesAreNotCopied)
{
   ZqManipulatorActivePositionState frames;
   frames.setLinkPositionStates(ZqXmlVectorType<ZqLinkPositionState>(2));
   frames.setDhTransform(1, ZqVector(1.0, 2.0, 3.0));
   const ZqManipulatorActivePositionState copy(frames);
   EXPECT_EQ(copy, frames);
   EXPECT_EQ(frames.linkPositionStates()[1].dhTransform(), ZqVector(1.0, 2.0, 3.0));
   // As it stands: a flag that is up over a default.
   EXPECT_TRUE(copy.linkPositionStates()[1].dhTransformValid());
   EXPECT_EQ(copy.linkPositionStates()[1].dhTransform(), ZqCoordinateSystemTransformation());
   EXPECT_FALSE(copy.linkPositionStates()[0].dhTransformValid());

   Forces forces;
   forces.resize(3);
   ZqExternalForceDescription description;
   description.setExternalLinkForce({{1.0, 2.0, 3.0}, {}});
   description.setValid(true);
   LogCapture log;
   for (const ZqU32 index : {2U, 3U, ZqBaseLinkIndex})
      forces.setExternalForceDescription(index, description);
   const ZqExternalForceDescription none;
   for (const ZqU32 index : {1U, 2U, 7U, ZqBaseLinkIndex})
      EXPECT_EQ(forces.externalForceDescription(index),
                index == 2 || index == ZqBaseLinkIndex ? description : none);
   EXPECT_EQ(log.text(),
             "ZqManipulatorActiveForceState::setExternalForceDescription(): link index (3) is does "
             "not match the link force states size (3)\n\n"
             "ZqManipulatorActiveForceState::externalForceDescription(): link index (7) is not "
             "compatible with the force states vector size (3).\n\n");
   EXPECT_EQ(Forces(forces), forces);
   EXPECT_EQ(Forces(forces).externalForceDescription(2), none);
}

ZqPositionState position(std::initializer_list<ZqReal> joints, ZqReal x = 0.0)
{
   ZqPositionState state;
   state.setJointPositions(joints);
   state.setCoordSysXForm(ZqVector(x, 2.0, 3.0));
   return state;
}
ZqVelocityState velocity(std::initializer_list<ZqReal> joints, ZqReal x = 0.0)
{
   ZqVelocityState state;
   state.setJointVelocities(ZqXmlVectorBasicType<ZqReal>(joints));
   state.setGeneralVelocity({{x, 0.0, 0.0}, {}});
   return state;
}
ZqAccelerationState acceleration(std::initializer_list<ZqReal> joints)
{
   ZqAccelerationState state;
   state.setJointAccelerations(ZqXmlVectorBasicType<ZqReal>(joints));
   return state;
}

/// How many joints each record is for, and the actuators.
std::vector<unsigned> sizes(const ActiveState& state)
{
   return {state.activePositionState().size(),
           state.activeVelocityState().size(),
           state.activeAccelerationState().size(),
           state.activeForceState().size(),
           state.activeMassState().size(),
           state.activeArticulationState().size(),
           state.actuatorState().motorPositions().size()};
}
/// Does something to each record, that of the base too.
template <class Records>
void forEach(Records& records, const auto& action)
{
   for (ZqU32 i = 0; i < records.size(); ++i)
      action(records.record(i));
   action(records.record(ZqBaseLinkIndex));
}
void raise(Accelerations& records)
{
   forEach(records,
           [](auto& r)
           {
              r.setDhFrameAccelerationInLocal(motion(2));
              r.setMomentumRateInLocal(motion(3));
           });
}
void raise(Forces& records)
{
   ZqExternalForceDescription description;
   description.setValid(true);
   forEach(records,
           [&](auto& r)
           {
              r.setDhFrameForceInLocal({{1.0, 2.0, 3.0}, {}});
              r.setExternalForceDescription(description);
           });
}
/// Raises all flags.
void raise(ActiveState& state)
{
   forEach(state.activePositionState(),
           [](auto& r)
           {
              r.setLocationInSystemValid(true);
              r.setDhTransformValid(true);
           });
   forEach(state.activeVelocityState(),
           [](auto& r)
           {
              r.setDhFrameVelocityInLocal(motion(2));
              r.setMomentumInLocal(motion(3));
           });
   raise(state.activeAccelerationState());
   raise(state.activeForceState());
   forEach(state.activeMassState(),
           [](auto& r) { r.setCrbi(ZqRigidBodyMassProperties::pointMass(3.0)); });
   forEach(state.activeArticulationState(),
           [](auto& r)
           {
              r.setArbd({});
              r.setSupplementalDhAcceleration(motion(3));
              r.setSupplementalJointAcceleration(1.5);
           });
}

/// The letter when the flags of the links and the base are up, '-' when none is, else '?'.
template <class Records>
char summary(char letter, const Records& records, const auto& isValid)
{
   std::size_t raised = 0;
   forEach(records, [&](const auto& r) { raised += isValid(r) ? 1 : 0; });
   return raised == records.size() + 1 ? letter : raised == 0 ? '-' : '?';
}
/// The same for each record: positions, velocities, accelerations, forces, masses, bodies.
std::string summary(const ActiveState& state)
{
   return {summary('P', state.activePositionState(),
                   [](const auto& r) { return r.locationInSystemValid() || r.dhTransformValid(); }),
           summary('V', state.activeVelocityState(),
                   [](const auto& r) { return r.localDhValid() || r.localMomentumValid(); }),
           summary('A', state.activeAccelerationState(),
                   [](const auto& r) { return r.localDhValid() || r.localMomentumRateValid(); }),
           summary('F', state.activeForceState(),
                   [](const auto& r) { return r.localDhValid() || r.externalForceValid(); }),
           summary('M', state.activeMassState(), [](const auto& r) { return r.crbiValid(); }),
           summary('B', state.activeArticulationState(),
                   [](const auto& r)
                   {
                      return r.arbdValid() || r.supplementalDhAccelerationValid() ||
                             r.supplementalJointAccelerationValid();
                   })};
}
void setRaised(ActiveState& state)
{
   state.setPositionState(position({0.5, -0.25}));
   state.setVelocityState(velocity({1.5, 2.5}));
   state.setAccelerationState(acceleration({3.5, 4.5}));
   raise(state);
   EXPECT_EQ(summary(state), "PVAFMB");
}

TEST(ActiveState, AChangeClearsWhatItCanAffectAndNoMore)
{
   struct Case
   {
      std::string left;
      std::optional<ZqPositionState> position = {};
      std::optional<ZqVelocityState> velocity = {};
      std::optional<ZqAccelerationState> acceleration = {};
   };
   for (const auto& [left, newPosition, newVelocity, newAcceleration] :
        std::initializer_list<Case>{{"PVAFMB", position({0.5, -0.25})},
                                    {"------", position({0.5, 0.25})},
                                    {"------", position({0.5, -0.25}, 1.0)},
                                    {"------", position({0.5, nan})},
                                    {"PVAFMB", {}, velocity({1.5, 2.5})},
                                    {"P---M-", {}, velocity({1.5, nan})},
                                    {"P---M-", {}, velocity({1.5, 2.5}, 1e-300)},
                                    {"PV--M-", {}, {}, acceleration({3.5, 4.5})},
                                    {"PV--M-", {}, {}, acceleration({-3.5, 4.5})},
                                    {"------"}})
   {
      SCOPED_TRACE(left);
      ActiveState state;
      setRaised(state);
      if (newPosition)
         EXPECT_EQ(state.setPositionState(*newPosition), left != "PVAFMB");
      else if (newVelocity)
         EXPECT_EQ(state.setVelocityState(*newVelocity), left != "PVAFMB");
      else if (newAcceleration)
         state.setAccelerationState(*newAcceleration);
      else
         state.invalidateAll();
      EXPECT_EQ(summary(state), left);
      EXPECT_EQ(sizes(state), std::vector<unsigned>(7, 2));
      // Values stay in place.
      EXPECT_EQ(state.activeAccelerationState().linkDhAccelerationInLocal(1), motion(2));
      EXPECT_EQ(state.activeMassState().crbi(ZqBaseLinkIndex).mass(), 3.0);
   }
   // A position that is no number is never the present one.
   ActiveState state;
   EXPECT_TRUE(state.setPositionState(position({nan})));
   EXPECT_TRUE(state.setPositionState(position({nan})));
}

// Resized by itself.
TEST(ActiveState, OnlyTheRecordOfForcesClearsItsFlags)
{
   ActiveState state;
   setRaised(state);
   state.activeVelocityState().resize(1);
   state.activeAccelerationState().resize(1);
   state.activeForceState().resize(2);
   state.activeMassState().resize(1);
   state.activeArticulationState().resize(1);
   EXPECT_EQ(summary(state), "PVA-MB");
   EXPECT_EQ(sizes(state), (std::vector<unsigned>{2, 1, 1, 2, 1, 1, 2}));
}

TEST(SystemActiveState, FollowsPositionsAndTheNumberOfManipulators)
{
   using System = ZqSystemActiveState;
   const ZqPositionState p = position({0.5, -0.25});
   const ZqVelocityState v = velocity({1.5, 2.5});
   System::ActiveStates both(2);
   ActiveState& moved = both[0];
   ActiveState& faster = both[1];
   moved.setPositionState(position({8.0, 9.0}));
   moved.setVelocityState(v);
   faster.setPositionState(p);
   faster.setVelocityState(velocity({8.0, 9.0}));
   ZqManipulatorSystemState stored;
   stored.positionStates() = {p, moved.positionState()};
   stored.velocityStates() = {faster.velocityState(), v};
   ZqManipulatorSystemState single;
   single.positionStates() = {p};
   single.velocityStates() = {v};

   const std::tuple<bool, std::string, std::function<void(System&)>> cases[] = {
      {false, "P---M- ------ ", [&](System& s) { s.setNonredundantState(stored); }},
      {false, "PVAFMB ", [&](System& s) { s.setNonredundantState(single); }},
      {false, "------ P---M- ",
       [&](System& s) { s.setNonredundantStateFromActiveStateVector(both); }},
      {true, "PVAFMB P---M- ", [&](System& s) { s.setManipulatorNonredundantState(faster, 1); }},
      {false, "------ PVAFMB ", [&](System& s) { s.setManipulatorNonredundantState(moved, 0); }},
      {true, "PVAFMB PVAFMB ", [&](System& s) { s.setManipulatorNonredundantState(moved, 2); }},
      {false, "PVAFMB ------ ",
       [&](System& s) { s.setManipulatorNonredundantPositionState(moved.positionState(), 1); }},
      {true, "PVAFMB PVAFMB ",
       [&](System& s) { s.setManipulatorNonredundantPositionState(p, ZqBaseLinkIndex); }},
      {true, "PVAFMB ", [](System& s) { s.setNumManipulators(1); }},
      {false, "PVAFMB PVAFMB ", [](System& s) { s.invalidateSystemLevel(); }},
      {false, "------ ------ ", [](System& s) { s.invalidateAll(); }}};
   const LogCapture log;
   for (const auto& [valid, left, change] : cases)
   {
      System system;
      system.setNumManipulators(2);
      for (ActiveState& state : system.manipulatorActiveStateVector())
         setRaised(state);
      system.setGeneralForceValid(true);
      change(system);
      std::string summaries;
      for (const ActiveState& state : system.manipulatorActiveStateVector())
         summaries += summary(state) + ' ';
      EXPECT_EQ(summaries, left);
      EXPECT_EQ(system.generalForceValid(), valid) << left;
   }
   EXPECT_TRUE(log.empty()) << log.text();

   System system;
   system.setManipulatorActiveStateVector(both);
   system.generalForceVector().resize(2);
   system.resetForSystemChange();
   EXPECT_EQ(system.manipulatorActiveStateVector().size() + system.generalForceVector().size(), 0U);
}
} // namespace
