#include "zqManipulator/state/ZqManipulatorActiveState.h"

template class ZqXmlClass<ZqManipulatorActiveState>;
template class ZqXmlVectorType<ZqManipulatorActiveState>;

ZqManipulatorActiveState::ZqManipulatorActiveState(const ZqManipulatorActiveState& other)
   : ZqXmlClass(other), m_activePositionState(other.m_activePositionState),
     m_activeVelocityState(other.m_activeVelocityState),
     m_activeAccelerationState(other.m_activeAccelerationState),
     m_activeForceState(other.m_activeForceState), m_activeMassState(other.m_activeMassState),
     m_activeArticulationState(other.m_activeArticulationState),
     m_actuatorState(other.m_actuatorState)
{
}

ZqManipulatorActiveState& ZqManipulatorActiveState::operator=(const ZqManipulatorActiveState& other)
{
   if (this == &other)
      return *this;
   ZqXmlClass::operator=(other);
   m_activePositionState = other.m_activePositionState;
   m_activeVelocityState = other.m_activeVelocityState;
   m_activeAccelerationState = other.m_activeAccelerationState;
   m_activeForceState = other.m_activeForceState;
   m_activeMassState = other.m_activeMassState;
   m_activeArticulationState = other.m_activeArticulationState;
   m_actuatorState = other.m_actuatorState;
   m_accelerationInvalidated = false;
   m_forceInvalidated = false;
   return *this;
}

bool ZqManipulatorActiveState::operator==(const ZqManipulatorActiveState& other) const
{
   return m_activePositionState == other.m_activePositionState &&
          m_activeVelocityState == other.m_activeVelocityState &&
          m_activeAccelerationState == other.m_activeAccelerationState &&
          m_activeForceState == other.m_activeForceState &&
          m_activeMassState == other.m_activeMassState &&
          m_activeArticulationState == other.m_activeArticulationState &&
          m_actuatorState == other.m_actuatorState;
}

bool ZqManipulatorActiveState::read(ZqXmlReader& reader)
{
   const bool succeeded = ZqXmlClass::read(reader);
   m_accelerationInvalidated = false;
   m_forceInvalidated = false;
   return succeeded;
}

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
   if (m_activeAccelerationState.size() != joints)
   {
      m_activeAccelerationState.resize(joints);
      m_accelerationInvalidated = false;
   }
   if (m_activeForceState.size() != joints)
   {
      m_activeForceState.resize(joints);
      m_forceInvalidated = false;
   }
   m_actuatorState.resize(joints);
   invalidateAccelerations();
   invalidateForces();
   return true;
}

bool ZqManipulatorActiveState::setVelocityState(const ZqVelocityState& state)
{
   if (state == m_activeVelocityState.velocityState())
      return false;
   m_activeVelocityState.setVelocityState(state);
   m_activeArticulationState.invalidateAll();
   invalidateAccelerations();
   invalidateForces();
   return true;
}

void ZqManipulatorActiveState::setAccelerationState(const ZqAccelerationState& state)
{
   m_activeAccelerationState.setAccelerationState(state);
   invalidateForces();
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
   m_accelerationInvalidated = true;
   m_forceInvalidated = true;
}

void ZqManipulatorActiveState::invalidateAccelerations()
{
   if (m_accelerationInvalidated)
      return;
   m_activeAccelerationState.invalidateAll();
   m_accelerationInvalidated = true;
}

void ZqManipulatorActiveState::invalidateForces()
{
   if (m_forceInvalidated)
      return;
   m_activeForceState.invalidateAll();
   m_forceInvalidated = true;
}
