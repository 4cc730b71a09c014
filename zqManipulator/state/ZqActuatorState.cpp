#include "zqManipulator/state/ZqActuatorState.h"

template class ZqXmlClass<ZqActuatorState>;
template class ZqXmlVectorType<ZqXmlBasicType<bool>>;
template class ZqXmlVectorType<ZqXmlVectorBasicType<ZqReal>>;

bool ZqActuatorState::hasSize(ZqU32 jointCount) const noexcept
{
   return m_outputTorques.size() == jointCount && m_motorPositions.size() == jointCount &&
          m_motorVelocities.size() == jointCount && m_motorAccelerations.size() == jointCount &&
          m_springDamperCenters.size() == jointCount && m_lastVelocities.size() == jointCount &&
          m_reverseMotionPositions.size() == jointCount &&
          m_nonRigidActuatorFlags.size() == jointCount &&
          m_staticFrictionModes.size() == jointCount;
}

void ZqActuatorState::resize(unsigned jointCount)
{
   if (hasSize(jointCount))
      return;
   for (Reals* reals :
        {&m_outputTorques, &m_motorPositions, &m_motorVelocities, &m_motorAccelerations,
         &m_springDamperCenters, &m_lastVelocities, &m_reverseMotionPositions})
      reals->resize(jointCount);
   m_nonRigidActuatorFlags.resize(jointCount);
   m_staticFrictionModes.resize(jointCount);
}
