#include "zqManipulator/state/ZqManipulatorActiveState.h"

template class ZqXmlClass<ZqManipulatorActiveState>;
template class ZqXmlVectorType<ZqManipulatorActiveState>;

bool ZqManipulatorActiveState::setPositionState(const ZqPositionState& state)
{
   if (state == m_activePositionState.positionState() &&
       state.hasSamePlacement(m_activePositionState.positionState()))
      return false;
   m_activePositionState.setPositionState(state);
   const ZqU32 joints = m_activePositionState.positionState().jointPositions().size();
   m_activeVelocityState.invalidateAll();
   m_activeVelocityState.resize(joints);
   m_activeMassState.invalidateAll();
   m_activeMassState.resize(joints);
   m_activeArticulationState.invalidateAll();
   m_activeArticulationState.resize(joints);
   m_activeAccelerationState.invalidateAll();
   m_activeAccelerationState.resize(joints);
   m_activeForceState.resize(joints); // and invalidates
   m_actuatorState.resize(joints);
   return true;
}

bool ZqManipulatorActiveState::setVelocityState(const ZqVelocityState& state)
{
   if (state == m_activeVelocityState.velocityState())
      return false;
   m_activeVelocityState.setVelocityState(state);
   m_activeArticulationState.invalidateAll();
   m_activeAccelerationState.invalidateAll();
   m_activeForceState.invalidateAll();
   return true;
}

void ZqManipulatorActiveState::setAccelerationState(const ZqAccelerationState& state)
{
   m_activeAccelerationState.setAccelerationState(state);
   m_activeForceState.invalidateAll();
   m_activeArticulationState.invalidateAll();
}

void ZqManipulatorActiveState::invalidateAll()
{
   m_activePositionState.invalidateAll();
   m_activeVelocityState.invalidateAll();
   m_activeMassState.invalidateAll();
   m_activeAccelerationState.invalidateAll();
   m_activeForceState.invalidateAll();
   m_activeArticulationState.invalidateAll();
}
