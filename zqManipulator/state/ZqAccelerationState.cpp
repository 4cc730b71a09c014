#include "zqManipulator/state/ZqAccelerationState.h"

#include "zqManipulator/state/ZqStateValues.h"
#include "zqManipulator/state/ZqVelocityState.h"

template class ZqXmlClass<ZqAccelerationState>;

ZqAccelerationState ZqAccelerationState::zeroCompatibleState(const ZqVelocityState& velocityState)
{
   ZqAccelerationState state;
   state.resize(velocityState.jointVelocities().size());
   return state;
}

void ZqAccelerationState::setJointAccelerations(const ZqReArray& accelerations)
{
   ZqStateValues::copyColumn(accelerations, m_jointAccelerations.values(),
                             "ZqAccelerationState::setJointAccelerations()");
}

bool ZqAccelerationState::approxEq(const ZqAccelerationState& other, ZqReal tolerance) const
{
   return m_generalAcceleration.approxEq(other.m_generalAcceleration, tolerance) &&
          ZqStateValues::approxEq(m_jointAccelerations, other.m_jointAccelerations, tolerance);
}
