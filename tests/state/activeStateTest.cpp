#include "support/randomValues.h"
#include "support/xmlSamples.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <functional>
#include <utility>

namespace
{
using State = ZqManipulatorActiveState;
using Velocities = ZqManipulatorActiveVelocityState;
using Accelerations = ZqManipulatorActiveAccelerationState;
using Forces = ZqManipulatorActiveForceState;
using zqTest::LogCapture;
using zqTest::nan;

ZqGeneralMotion motion(unsigned n)
{
   return {{n + 0.5, -1.0, 0.25}, {0.0, n - 0.5, 3.0}};
}

/// The records of the links and of the base.
struct PartsOf
{
   static const auto& links(const Velocities& r) { return r.linkVelocityStates(); }
   static const auto& base(const Velocities& r) { return r.baseVelocityState(); }
   static const auto& links(const Accelerations& r) { return r.linkAccelerationStates(); }
   static const auto& base(const Accelerations& r) { return r.baseAccelerationState(); }
};

/// The motions of a link, the copied ones first.
template <class Records, class Record>
struct MotionOf
{
   void (Records::*set)(ZqU32, const ZqGeneralMotion&);
   const ZqGeneralMotion& (Records::*get)(ZqU32) const;
   bool (Record::*valid)() const;
};
const auto& motionsOf(const Velocities&)
{
   using R = Velocities;
   using L = ZqLinkVelocityState;
   static const std::vector<MotionOf<R, L>> motions{
      {&R::setLinkDhVelocityInLocal, &R::linkDhVelocityInLocal, &L::localDhValid},
      {&R::setLinkDhVelocityInSystem, &R::linkDhVelocityInSystem, &L::systemDhValid},
      {&R::setLinkPrimaryVelocityInSystem, &R::linkPrimaryVelocityInSystem, &L::systemPrimaryValid},
      {&R::setLinkComVelocityInLocal, &R::linkComVelocityInLocal, &L::localComValid},
      {&R::setLinkMomentumInLocal, &R::linkMomentumInLocal, &L::localMomentumValid},
      {&R::setLinkCompositeMomentumInLocal, &R::linkCompositeMomentumInLocal,
       &L::compositeMomentumValid}};
   return motions;
}
const auto& motionsOf(const Accelerations&)
{
   using R = Accelerations;
   using L = ZqLinkAccelerationState;
   static const std::vector<MotionOf<R, L>> motions{
      {&R::setLinkDhAccelerationInLocal, &R::linkDhAccelerationInLocal, &L::localDhValid},
      {&R::setLinkDhAccelerationInSystem, &R::linkDhAccelerationInSystem, &L::systemDhValid},
      {&R::setLinkPrimaryAccelerationInSystem, &R::linkPrimaryAccelerationInSystem,
       &L::systemPrimaryValid},
      {&R::setLinkComAccelerationInLocal, &R::linkComAccelerationInLocal, &L::localComValid},
      {&R::setLinkMomentumRateInLocal, &R::linkMomentumRateInLocal, &L::localMomentumRateValid},
      {&R::setLinkCompositeMomentumRateInLocal, &R::linkCompositeMomentumRateInLocal,
       &L::compositeMomentumRateValid}};
   return motions;
}

template <class Records>
void setMotions(Records& records, ZqU32 index, unsigned number)
{
   for (const auto& m : motionsOf(records))
      (records.*m.set)(index, motion(number++));
}

template <class Records>
class LinkMotions : public testing::Test
{
};
using RecordsOfMotions = testing::Types<Velocities, Accelerations>;
TYPED_TEST_SUITE(LinkMotions, RecordsOfMotions);

TYPED_TEST(LinkMotions, StandByIndexEachWithItsFlag)
{
   const auto& motions = motionsOf(TypeParam());
   for (std::size_t i = 0; i < motions.size(); ++i)
      for (const ZqU32 index : {ZqU32{1}, ZqBaseLinkIndex})
      {
         TypeParam records;
         records.resize(3);
         (records.*motions[i].set)(index, motion(7));
         for (std::size_t j = 0; j < motions.size(); ++j)
            for (const ZqU32 other : {ZqU32{0}, ZqU32{1}, ZqBaseLinkIndex})
            {
               const auto& link = other == ZqBaseLinkIndex ? PartsOf::base(records)
                                                           : PartsOf::links(records)[other];
               const bool isSet = j == i && other == index;
               EXPECT_EQ((link.*motions[j].valid)(), isSet) << i << j;
               EXPECT_EQ((records.*motions[j].get)(other), isSet ? motion(7) : ZqGeneralMotion());
            }
      }
}

TYPED_TEST(LinkMotions, MomentaAndThoseOfTheCenterOfMassAreNotCopied)
{
   TypeParam records;
   setMotions(records, ZqBaseLinkIndex, 10);
   TypeParam assigned;
   setMotions(assigned, ZqBaseLinkIndex, 20);
   EXPECT_FALSE(assigned == records);
   assigned = records;
   const TypeParam copied(records);
   EXPECT_EQ(copied, records);
   EXPECT_EQ(assigned, records);
   for (unsigned i = 0; i < 6; ++i)
   {
      const auto& m = motionsOf(records)[i];
      EXPECT_EQ((copied.*m.get)(ZqBaseLinkIndex), i < 3 ? motion(10 + i) : ZqGeneralMotion());
      EXPECT_EQ((PartsOf::base(copied).*m.valid)(), i < 3);
      EXPECT_EQ((assigned.*m.get)(ZqBaseLinkIndex), motion(i < 3 ? 10 + i : 20 + i));
      EXPECT_TRUE((PartsOf::base(assigned).*m.valid)());
   }
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
   EXPECT_EQ(forces.externalForceDescription(1), none);
   EXPECT_EQ(forces.externalForceDescription(2), description);
   EXPECT_EQ(forces.externalForceDescription(ZqBaseLinkIndex), description);
   EXPECT_EQ(forces.externalForceDescription(7), none);
   EXPECT_EQ(log.text(),
             "ZqManipulatorActiveForceState::setExternalForceDescription(): link index (3) is does "
             "not match the link force states size (3)\n\n"
             "ZqManipulatorActiveForceState::externalForceDescription(): link index (7) is not "
             "compatible with the force states vector size (3).\n\n");
   const Forces copied(forces);
   EXPECT_EQ(copied, forces);
   EXPECT_EQ(copied.externalForceDescription(2), none);
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

template <class Records>
void raise(Records& records)
{
   setMotions(records, ZqBaseLinkIndex, 1);
   for (ZqU32 i = 0; i < PartsOf::links(records).size(); ++i)
      setMotions(records, i, 2);
}
template <>
void raise(Forces& records)
{
   ZqExternalForceDescription description;
   description.setValid(true);
   for (ZqU32 i = 0; i <= records.size(); ++i)
   {
      const ZqU32 index = i == records.size() ? ZqBaseLinkIndex : i;
      records.setLinkDhForceInLocal(index, {{1.0, 2.0, 3.0}, {}});
      records.setExternalForceDescription(index, description);
   }
}
/// How many joints each record is for, and the actuators.
std::vector<unsigned> sizes(const State& state)
{
   return {state.activePositionState().linkPositionStates().size(),
           state.activeVelocityState().linkVelocityStates().size(),
           state.activeAccelerationState().size(),
           state.activeForceState().size(),
           state.activeMassState().linkMassStates().size(),
           state.activeArticulationState().linkArticulationStates().size(),
           state.actuatorState().motorPositions().size()};
}
/// Raises all flags, those of the base too.
void raise(State& state)
{
   ZqLinkPositionState frames;
   frames.setLocationInSystemValid(true);
   frames.setDhTransformValid(true);
   state.activePositionState().setBasePositionState(frames);
   state.activePositionState().setLinkPositionStates(
      ZqXmlVectorType<ZqLinkPositionState>(sizes(state)[0], frames));
   raise(state.activeVelocityState());
   raise(state.activeAccelerationState());
   raise(state.activeForceState());
   ZqLinkMassState mass;
   mass.setCrbi(ZqRigidBodyMassProperties::pointMass(3.0));
   state.activeMassState().setBaseMassState(mass);
   state.activeMassState().setLinkMassStates(
      ZqXmlVectorType<ZqLinkMassState>(sizes(state)[4], mass));
   ZqLinkArticulationState body;
   body.setArbd({});
   body.setSupplementalDhAcceleration(motion(3));
   body.setSupplementalJointAcceleration(1.5);
   state.activeArticulationState().setBaseArticulationState(body);
   state.activeArticulationState().setLinkArticulationStates(
      ZqXmlVectorType<ZqLinkArticulationState>(sizes(state)[5], body));
}

/// The letter when all flags of the links and the base are up, '-' when none is, else '?'.
template <class Record>
char summary(char letter, const ZqXmlVectorType<Record>& links, const Record& base,
             const std::vector<bool (Record::*)() const>& flags)
{
   std::size_t raised = 0;
   for (const auto flag : flags)
   {
      raised += (base.*flag)() ? 1 : 0;
      for (const Record& link : links)
         raised += (link.*flag)() ? 1 : 0;
   }
   return raised == flags.size() * (links.size() + 1) ? letter : raised == 0 ? '-' : '?';
}
template <class Records>
char summary(char letter, const Records& records)
{
   std::vector<decltype(motionsOf(records)[0].valid)> flags;
   for (const auto& m : motionsOf(records))
      flags.push_back(m.valid);
   return summary(letter, PartsOf::links(records), PartsOf::base(records),
                  {flags.begin(), flags.end()});
}
/// The same for each record: positions, velocities, accelerations, forces, masses, bodies.
std::string summary(const State& state)
{
   using P = ZqLinkPositionState;
   using F = ZqLinkForceState;
   using B = ZqLinkArticulationState;
   const auto& p = state.activePositionState();
   const auto& f = state.activeForceState();
   const auto& m = state.activeMassState();
   const auto& b = state.activeArticulationState();
   return {summary('P', p.linkPositionStates(), p.basePositionState(),
                   {&P::locationInSystemValid, &P::dhTransformValid}),
           summary('V', state.activeVelocityState()),
           summary('A', state.activeAccelerationState()),
           summary('F', f.linkForceStates(), f.baseForceState(),
                   {&F::localDhValid, &F::externalForceValid}),
           summary('M', m.linkMassStates(), m.baseMassState(), {&ZqLinkMassState::crbiValid}),
           summary('B', b.linkArticulationStates(), b.baseArticulationState(),
                   {&B::arbdValid, &B::supplementalDhAccelerationValid,
                    &B::supplementalJointAccelerationValid})};
}
void setRaised(State& state)
{
   state.setPositionState(position({0.5, -0.25}));
   state.setVelocityState(velocity({1.5, 2.5}));
   state.setAccelerationState(acceleration({3.5, 4.5}));
   raise(state);
   EXPECT_EQ(summary(state), "PVAFMB");
}

TEST(ActiveState, AChangeClearsWhatItCanAffectAndNoMore)
{
   const auto set = [](State& s, const ZqAccelerationState& accelerations)
   { return s.setAccelerationState(accelerations), true; };
   const std::tuple<bool, std::string, std::function<bool(State&)>> cases[] = {
      {false, "PVAFMB",
       [](State& s) {
          return s.setPositionState(position({0.5, -0.25}));
       }},
      {true, "------",
       [](State& s) {
          return s.setPositionState(position({0.5, 0.25}));
       }},
      {true, "------",
       [](State& s) {
          return s.setPositionState(position({0.5, -0.25}, 1.0));
       }},
      {true, "------",
       [](State& s) {
          return s.setPositionState(position({0.5, nan}));
       }},
      {false, "PVAFMB",
       [](State& s) {
          return s.setVelocityState(velocity({1.5, 2.5}));
       }},
      {true, "P---M-",
       [](State& s) {
          return s.setVelocityState(velocity({1.5, nan}));
       }},
      {true, "P---M-",
       [](State& s) {
          return s.setVelocityState(velocity({1.5, 2.5}, 1e-300));
       }},
      {true, "PV--M-",
       [&](State& s) {
          return set(s, acceleration({3.5, 4.5}));
       }},
      {true, "PV--M-",
       [&](State& s) {
          return set(s, acceleration({-3.5, 4.5}));
       }},
      {true, "------", [](State& s) { return s.invalidateAll(), true; }}};
   for (const auto& [result, left, change] : cases)
   {
      SCOPED_TRACE(left);
      State state;
      setRaised(state);
      EXPECT_EQ(change(state), result);
      EXPECT_EQ(summary(state), left);
      EXPECT_EQ(sizes(state), std::vector<unsigned>(7, 2));
      // Values stay in place.
      EXPECT_EQ(state.activeAccelerationState().linkDhAccelerationInLocal(1), motion(2));
      EXPECT_EQ(state.activeMassState().crbi(ZqBaseLinkIndex).mass(), 3.0);
   }
   // A position that is no number is never the present one.
   State state;
   EXPECT_TRUE(state.setPositionState(position({nan})));
   EXPECT_TRUE(state.setPositionState(position({nan})));
}

TEST(ActiveState, RecordsFollowTheNumberOfJoints)
{
   State state;
   setRaised(state);
   EXPECT_TRUE(state.setPositionState(position({1.0, 2.0, 3.0, 4.0})));
   EXPECT_EQ(sizes(state), std::vector<unsigned>(7, 4));
   EXPECT_EQ(summary(state), "------");
   raise(state);
   EXPECT_TRUE(state.setVelocityState(velocity({1.0})));
   EXPECT_EQ(sizes(state), (std::vector<unsigned>{4, 1, 4, 4, 4, 4, 4}));
   state.setAccelerationState(acceleration({1.0, 2.0}));
   EXPECT_EQ(sizes(state), (std::vector<unsigned>{4, 1, 2, 4, 4, 4, 4}));
   raise(state);
   EXPECT_TRUE(state.setPositionState(position({})));
   EXPECT_EQ(sizes(state), std::vector<unsigned>(7, 0));
   EXPECT_EQ(summary(state), "------");

   // Resized by itself, only the record of forces clears its flags.
   setRaised(state);
   state.activeVelocityState().resize(1);
   state.activeAccelerationState().resize(1);
   state.activeForceState().resize(2);
   state.activeMassState().resize(1);
   state.activeArticulationState().resize(1);
   EXPECT_EQ(summary(state), "PVA-MB");
   EXPECT_EQ(sizes(state), (std::vector<unsigned>{2, 1, 1, 2, 1, 1, 2}));
}

TEST(ActiveState, WhatIsKnownToBeClearIsNotClearedAgain)
{
   const std::pair<std::string, std::function<void(State&)>> cases[] = {
      {"--AF--",
       [](State& s)
       {
          std::as_const(s).activeAccelerationState();
          std::as_const(s).activeForceState();
       }},
      {"---F--", [](State& s) { s.activeAccelerationState(); }},
      {"--A---", [](State& s) { s.activeForceState(); }},
      {"---F--",
       [](State& s) { s.setActiveAccelerationState(std::as_const(s).activeAccelerationState()); }},
      {"--A---", [](State& s) { s.setActiveForceState(std::as_const(s).activeForceState()); }}};
   for (const auto& [left, announce] : cases)
      for (const bool byPosition : {true, false})
      {
         SCOPED_TRACE(left);
         // References from before all is cleared: through them nothing is announced.
         State state;
         setRaised(state);
         Accelerations& accelerations = state.activeAccelerationState();
         Forces& forces = state.activeForceState();
         state.invalidateAll();
         raise(accelerations);
         raise(forces);
         // Copies know nothing.
         State copy(state);
         State read;
         read.invalidateAll();
         ASSERT_TRUE(Zq::fromXml(read, zqTest::written(state)));
         EXPECT_EQ(read, state);
         announce(state);
         for (State* s : {&state, &copy, &read})
            EXPECT_TRUE(byPosition ? s->setPositionState(position({8.0, 9.0}))
                                   : s->setVelocityState(velocity({8.0, 9.0})));
         EXPECT_EQ(summary(state), left);
         EXPECT_EQ(summary(copy) + summary(read), "------------");
      }
}

TEST(SystemActiveState, FollowsPositionsAndTheNumberOfManipulators)
{
   using System = ZqSystemActiveState;
   const ZqPositionState p = position({0.5, -0.25});
   const ZqPositionState p2 = position({8.0, 9.0});
   const ZqVelocityState v = velocity({1.5, 2.5});
   const ZqVelocityState v2 = velocity({8.0, 9.0});
   const auto set = [](System& system, std::initializer_list<ZqPositionState> positions,
                       std::initializer_list<ZqVelocityState> velocities)
   {
      ZqManipulatorSystemState state;
      state.positionStates() = ZqXmlVectorType<ZqPositionState>(positions);
      state.velocityStates() = ZqXmlVectorType<ZqVelocityState>(velocities);
      system.setNonredundantState(state);
   };
   System::ActiveStates both(2);
   State& moved = both[0];
   State& faster = both[1];
   moved.setPositionState(p2);
   moved.setVelocityState(v);
   faster.setPositionState(p);
   faster.setVelocityState(v2);

   const std::tuple<bool, std::string, std::function<void(System&)>> cases[] = {
      {true, "PVAFMB PVAFMB ",
       [&](System& s) {
          set(s, {p, p}, {v, v});
       }},
      {true, "PVAFMB P---M- ",
       [&](System& s) {
          set(s, {p, p}, {v, v2});
       }},
      {false, "------ PVAFMB ",
       [&](System& s) {
          set(s, {p2, p}, {v, v});
       }},
      {false, "PVAFMB ", [&](System& s) { set(s, {p}, {v}); }},
      {true, "PVAFMB PVAFMB ",
       [&](System& s) {
          set(s, {p, p}, {v});
       }},
      {false, "------ P---M- ",
       [&](System& s) { s.setNonredundantStateFromActiveStateVector(both); }},
      {true, "PVAFMB P---M- ", [&](System& s) { s.setManipulatorNonredundantState(faster, 1); }},
      {false, "------ PVAFMB ", [&](System& s) { s.setManipulatorNonredundantState(moved, 0); }},
      {true, "PVAFMB PVAFMB ", [&](System& s) { s.setManipulatorNonredundantState(moved, 2); }},
      {false, "PVAFMB ------ ",
       [&](System& s) { s.setManipulatorNonredundantPositionState(p2, 1); }},
      {true, "PVAFMB PVAFMB ",
       [&](System& s)
       {
          s.setManipulatorNonredundantPositionState(p, 1);
          s.setManipulatorNonredundantPositionState(p2, ZqBaseLinkIndex);
       }},
      {true, "PVAFMB ", [](System& s) { s.setNumManipulators(1); }},
      {false, "PVAFMB PVAFMB ", [](System& s) { s.invalidateSystemLevel(); }},
      {false, "------ ------ ", [](System& s) { s.invalidateAll(); }}};
   LogCapture log;
   for (const auto& [valid, left, change] : cases)
   {
      System system;
      system.setNumManipulators(2);
      for (State& state : system.manipulatorActiveStateVector())
         setRaised(state);
      system.setGeneralForceValid(true);
      change(system);
      std::string summaries;
      for (const State& state : system.manipulatorActiveStateVector())
         summaries += summary(state) + ' ';
      EXPECT_EQ(summaries, left);
      EXPECT_EQ(system.generalForceValid(), valid) << left;
   }
   EXPECT_TRUE(log.empty()) << log.text();

   System system;
   system.setManipulatorActiveStateVector(both);
   system.generalForceVector().resize(2);
   system.setGeneralForceValid(true);
   system.attachmentMapState().manipulatorAttachmentState(1).basePositions().resize(2);
   const System copy(system);
   system.resetForSystemChange();
   EXPECT_EQ(system.manipulatorActiveStateVector().size() + system.generalForceVector().size(), 0U);
   EXPECT_EQ(copy.manipulatorActiveStateVector(), both);
   EXPECT_EQ(copy.generalForceVector().size(), 2U);
   EXPECT_TRUE(copy.generalForceValid());
   EXPECT_EQ(copy.attachmentMapState(), system.attachmentMapState());
}
} // namespace
