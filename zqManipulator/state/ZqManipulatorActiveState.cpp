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
   const std::uint64_t epoch = m_activePositionState.epoch();
   m_activeVelocityState.invalidateAll(epoch);
   m_activeVelocityState.resize(joints);
   m_activeMassState.invalidateAll(epoch);
   m_activeMassState.resize(joints);
   m_activeArticulationState.invalidateAll(epoch);
   m_activeArticulationState.resize(joints);
   m_activeAccelerationState.invalidateAll(epoch);
   m_activeAccelerationState.resize(joints);
   m_activeForceState.resize(joints, epoch);
   m_actuatorState.resize(joints);
   return true;
}

bool ZqManipulatorActiveState::setVelocityState(const ZqVelocityState& state)
{
   if (state == m_activeVelocityState.velocityState())
      return false;
   m_activeVelocityState.setVelocityState(state);
   const std::uint64_t epoch = m_activeVelocityState.epoch();
   m_activeArticulationState.invalidateAll(epoch);
   m_activeAccelerationState.invalidateAll(epoch);
   m_activeForceState.invalidateAll(epoch);
   return true;
}

void ZqManipulatorActiveState::setAccelerationState(const ZqAccelerationState& state)
{
   m_activeAccelerationState.setAccelerationState(state);
   const std::uint64_t epoch = m_activeAccelerationState.epoch();
   m_activeForceState.invalidateAll(epoch);
   m_activeArticulationState.invalidateAll(epoch);
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
