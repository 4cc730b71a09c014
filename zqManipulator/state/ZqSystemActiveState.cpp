#include "zqManipulator/state/ZqSystemActiveState.h"

template class ZqXmlClass<ZqSystemActiveState>;

void ZqSystemActiveState::setNonredundantState(const ZqManipulatorSystemState& state)
{
   const auto& positions = state.positionStates();
   const auto& velocities = state.velocityStates();
   bool changed = resizeManipulators(positions.size());
   for (ZqU32 i = 0; i < positions.size(); ++i)
      changed |=
         setManipulatorState(i, positions[i], i < velocities.size() ? &velocities[i] : nullptr);
   if (changed)
      invalidateSystemLevel();
}

void ZqSystemActiveState::setNonredundantStateFromActiveStateVector(const ActiveStates& states)
{
   bool changed = resizeManipulators(states.size());
   for (ZqU32 i = 0; i < states.size(); ++i)
      changed |= setManipulatorState(i, states[i].activePositionState().positionState(),
                                     &states[i].activeVelocityState().velocityState());
   if (changed)
      invalidateSystemLevel();
}

void ZqSystemActiveState::setManipulatorNonredundantState(const ZqManipulatorActiveState& state,
                                                          ZqU32 index)
{
   if (index < m_manipulatorActiveStateVector.size() &&
       setManipulatorState(index, state.activePositionState().positionState(),
                           &state.activeVelocityState().velocityState()))
      invalidateSystemLevel();
}

void ZqSystemActiveState::setManipulatorNonredundantPositionState(const ZqPositionState& state,
                                                                  ZqU32 index)
{
   if (index < m_manipulatorActiveStateVector.size() && setManipulatorState(index, state, nullptr))
      invalidateSystemLevel();
}

bool ZqSystemActiveState::setManipulatorState(ZqU32 index, const ZqPositionState& position,
                                              const ZqVelocityState* velocity)
{
   ZqManipulatorActiveState& manipulator = m_manipulatorActiveStateVector[index];
   const bool changed = manipulator.setPositionState(position);
   if (velocity != nullptr)
      manipulator.setVelocityState(*velocity);
   return changed;
}

bool ZqSystemActiveState::resizeManipulators(ZqU32 count)
{
   if (m_manipulatorActiveStateVector.size() == count)
      return false;
   m_manipulatorActiveStateVector.resize(count);
   return true;
}

void ZqSystemActiveState::invalidateAll()
{
   for (ZqManipulatorActiveState& manipulator : m_manipulatorActiveStateVector)
      manipulator.invalidateAll();
   invalidateSystemLevel();
}

void ZqSystemActiveState::resetForSystemChange()
{
   m_manipulatorActiveStateVector.resize(0);
   m_generalForceVector.resize(0);
}

void ZqSystemActiveState::invalidateSystemLevel()
{
   m_generalForceValid = false;
}
