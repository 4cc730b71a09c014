#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace
{
/// Work space of a step. A thread keeps one, so that its memory is used again; a step within a step, by a
/// function of the user, has its own.
struct StepWork
{
   std::vector<ZqPositionState> starts;
   ZqStatedSystem::PropagationResults collisions;
};

class KeptStepWork
{
public:
   KeptStepWork() : m_work(std::exchange(kept(), {})) {}
   KeptStepWork(const KeptStepWork&) = delete;
   KeptStepWork& operator=(const KeptStepWork&) = delete;
   ~KeptStepWork() { kept() = std::move(m_work); }
   StepWork* operator->() noexcept { return &m_work; }

private:
   static StepWork& kept()
   {
      thread_local StepWork work;
      return work;
   }
   StepWork m_work;
};

enum CollisionMode : ZqU32
{
   ReturnAll = 1,
   ReturnCollidingOnes = 2
};

/// What of a step a collision may undo.
struct CollisionStep
{
   ZqU32 count; ///< of manipulators
   const ZqManipulatorSystemState& state;
   std::vector<ZqPositionState>& positions; ///< of the state
   const std::vector<ZqPositionState>& startPositions;
   std::vector<ZqPropagationResultData>& results;
   const std::vector<ZqPropagationResultData>& collisions; ///< of the last search

   void takeClosest()
   {
      for (ZqU32 i = 0; i < count; ++i)
      {
         results[i].setClosestManipulator(collisions[i].closestManipulator());
         results[i].setClosestLink(collisions[i].closestLink());
         results[i].setOtherClosestLink(collisions[i].otherClosestLink());
         results[i].setOtherClosestManipulator(collisions[i].otherClosestManipulator());
         results[i].setClosestDistance(collisions[i].closestDistance());
      }
   }
   void takeCollided(ZqU32 i)
   {
      results[i].setCollisionOccurred(true);
      results[i].setCollidedManipulator(collisions[i].collidedManipulator());
      results[i].setCollidedLink(collisions[i].collidedLink());
      results[i].setOtherCollidedLink(collisions[i].otherCollidedLink());
      results[i].setOtherCollidedManipulator(collisions[i].otherCollidedManipulator());
   }
   void returnToStart(ZqU32 i) { positions[i] = startPositions[i]; }
};

/// All manipulators return when any collide. `search` answers whether any do.
template <class Search>
void returnAll(CollisionStep& step, ZqSystemActiveState& activeState, Search search)
{
   activeState.setNonredundantState(step.state);
   const bool hit = search();
   step.takeClosest();
   if (!hit)
      return;
   for (ZqU32 i = 0; i < step.count; ++i)
   {
      step.returnToStart(i);
      step.takeCollided(i);
   }
}

/// Those that collide are put back in the active state, until none do: then they return. As long as
/// some still do when every manipulator has had its pass, or when all do at once, the active state
/// alone holds the starts.
template <class Search>
void returnCollidingOnes(CollisionStep& step, ZqSystemActiveState& activeState, Search search)
{
   activeState.setNonredundantState(step.state);
   for (ZqU32 pass = 0; pass < step.count; ++pass)
   {
      const bool hit = search();
      step.takeClosest();
      if (!hit)
      {
         for (ZqU32 i = 0; i < step.count; ++i)
            if (step.results[i].collisionOccurred())
               step.returnToStart(i);
         return;
      }
      ZqU32 collided = 0;
      for (ZqU32 i = 0; i < step.count; ++i)
         if (step.collisions[i].collisionOccurred())
         {
            activeState.setManipulatorNonredundantPositionState(step.startPositions[i], i);
            step.takeCollided(i);
            ++collided;
         }
      if (collided == step.count)
         return;
   }
}

/// Puts attached manipulators where those that carry them have come to, moving as they do.
void moveAttachedManipulators(const ZqManipulatorAttachmentMap& map,
                              const ZqIndividualManipulator::Manipulators& manipulators,
                              ZqU32 count, ZqManipulatorSystemState& state,
                              ZqSystemActiveState& activeState)
{
   auto& activeStates = activeState.manipulatorActiveStateVector();
   auto& positions = state.positionStates();
   auto& velocities = state.velocityStates();
   for (ZqU32 i = 0; i < count; ++i)
   {
      activeStates[i].setPositionState(positions[i]);
      activeStates[i].setVelocityState(velocities[i]);
   }
   ZqAttachmentNodeState& attached = activeState.attachmentMapState().systemAttachmentState();
   const std::vector<ZqU32>& indices = attached.dependentManipulatorIndices().values();
   map.calculateBaseLocationsAndVelocities(
      manipulators, activeStates, attached.dependentManipulatorIndices().values(),
      attached.basePositions().vectorContainer(), attached.baseVelocities().vectorContainer());
   for (std::size_t i = 0; i < indices.size(); ++i)
   {
      positions[indices[i]].setCoordSysXForm(attached.basePositions()[i]);
      velocities[indices[i]].setGeneralVelocity(attached.baseVelocities()[i]);
   }
}
} // namespace

void ZqStatedSystem::propagateTo(ZqReal time, ZqManipulatorSystemState& state,
                                 PropagationResults& results, ZqSystemActiveState& activeState,
                                 ZqU32 mode, const ZqReal&, const ZqU32& fidelity,
                                 const ZqReal& tolerance) const
{
   const ZqReal dt = time - state.time();
   if (!std::isfinite(dt))
   {
      Zq::Print::instance().write(
         Zq::Rejected,
         "ZqStatedSystem::propagateTo(): there is no finite step from %g s to %g s.\n",
         state.time(), time);
      return;
   }
   const auto& manipulators = system().manipulators().vectorContainer();
   auto& positions = state.positionStates().vectorContainer();
   auto& velocities = state.velocityStates().vectorContainer();
   auto& activeStates = activeState.manipulatorActiveStateVector().vectorContainer();
   auto& flags = results.vectorContainer();
   KeptStepWork work;
   std::vector<ZqPositionState>& starts = work->starts;
   PropagationResults& collisions = work->collisions;
   const auto count =
      static_cast<ZqU32>(std::min({positions.size(), velocities.size(), manipulators.size()}));
   if (activeStates.size() != count)
   {
      activeStates.resize(count);
      activeState.invalidateSystemLevel();
   }
   flags.resize(count);
   if (mode != 0)
      collisions.vectorContainer().assign(count, ZqPropagationResultData());
   starts = positions;

   // Velocities first: with them the positions make the step a symplectic one.
   for (ZqU32 i = 0; i < count; ++i)
   {
      const ZqAccelerationState& acceleration =
         activeStates[i].activeAccelerationState().accelerationState();
      propagateSingleVelocityStateBy(i, acceleration, dt, velocities[i]);
      propagateSingleStateBy(i, velocities[i], dt, positions[i], flags[i]);
      if (flags[i].hitJointLimit())
         positions[i] = starts[i];
   }

   const ZqManipulatorAttachmentMap& map = configuration().attachmentMap();
   if (map.baseNodes().size() > 0)
      moveAttachedManipulators(map, system().manipulators(), count, state, activeState);

   CollisionStep step{count, state, positions, starts, flags, collisions.vectorContainer()};
   const auto search = [&]
   { return checkForCollisions(activeState, dt, fidelity, tolerance, collisions); };
   if (mode == ReturnCollidingOnes)
      returnCollidingOnes(step, activeState, search);
   else if (mode == ReturnAll)
      returnAll(step, activeState, search);

   for (ZqU32 i = 0; i < count; ++i)
      for (const ZqBaseStoppingCriterion* criterion :
           manipulators[i].stoppingCriteria().vectorContainer())
         if (criterion != nullptr && criterion->stop(activeState, *this, time, i, flags[i]))
            step.returnToStart(i);
   state.setTime(time);
}

// The other forms

namespace
{
constexpr ZqU32 noCollisions = 0;
constexpr ZqReal anyStep = 1.0;
constexpr ZqU32 anyFidelity = 1;
constexpr ZqReal noTolerance = 0.0;

/// An active state that is made at first use. Nobody outside can tell it of a changed model, so that
/// nothing of an earlier use counts.
ZqSystemActiveState& freshActiveState(std::unique_ptr<ZqSystemActiveState>& activeState)
{
   if (activeState == nullptr)
      activeState = std::make_unique<ZqSystemActiveState>();
   else
      activeState->invalidateAll();
   return *activeState;
}
} // namespace

void ZqStatedSystem::propagateTo(ZqReal time, ZqManipulatorSystemState& state,
                                 PropagationResults& results,
                                 ZqSystemActiveState& activeState) const
{
   propagateTo(time, state, results, activeState, noCollisions, anyStep, anyFidelity, noTolerance);
}

void ZqStatedSystem::propagateTo(ZqReal time, ZqManipulatorSystemState& state,
                                 ZqSystemActiveState* activeState) const
{
   propagateTo(time, state, m_propagationResults, activeStateOr(activeState), noCollisions, anyStep,
               anyFidelity, noTolerance);
}

void ZqStatedSystem::propagateSelfTo(ZqReal time, PropagationResults& results,
                                     ZqSystemActiveState* activeState, ZqU32 mode, const ZqReal& dt,
                                     const ZqU32& fidelity, const ZqReal& tolerance)
{
   propagateTo(time, stateToModify(), results, activeStateOr(activeState), mode, dt, fidelity,
               tolerance);
}

void ZqStatedSystem::propagateSelfTo(ZqReal time, PropagationResults& results,
                                     ZqSystemActiveState* activeState)
{
   propagateTo(time, stateToModify(), results, activeStateOr(activeState));
}

void ZqStatedSystem::propagateSelfTo(ZqReal time, ZqSystemActiveState* activeState)
{
   propagateTo(time, stateToModify(), activeState);
}

/// The one that is given, or for null the one that is kept.
ZqSystemActiveState& ZqStatedSystem::activeStateOr(ZqSystemActiveState* activeState) const
{
   return activeState != nullptr ? *activeState : freshActiveState(m_activeState);
}

void ZqStatedSystem::propagateSingleStateBy(ZqU32 index, const ZqVelocityState& velocity, ZqReal dt,
                                            ZqPositionState& position,
                                            ZqPropagationResultData& results) const
{
   if (const ZqIndividualManipulator* manipulator = manipulatorByIndex(index))
      manipulator->propagateState(velocity, dt, position, results);
}

void ZqStatedSystem::propagateSingleStateBy(ZqU32 index, const ZqVelocityState& velocity, ZqReal dt,
                                            ZqPositionState& position) const
{
   if (const ZqIndividualManipulator* manipulator = manipulatorByIndex(index))
      manipulator->propagateState(velocity, dt, position);
}

void ZqStatedSystem::propagateSingleVelocityStateBy(ZqU32 index,
                                                    const ZqAccelerationState& acceleration,
                                                    ZqReal dt, ZqVelocityState& velocity) const
{
   if (const ZqIndividualManipulator* manipulator = manipulatorByIndex(index))
      manipulator->propagateVelocityState(acceleration, dt, velocity);
}

bool ZqStatedSystem::generateCollisionReport(PropagationResults& results, const ZqU32& fidelity,
                                             const ZqReal& tolerance) const
{
   ZqSystemActiveState& activeState = freshActiveState(m_reportActiveState);
   activeState.setNonredundantState(m_state);
   return checkForCollisions(activeState, anyStep, fidelity, tolerance, results);
}
