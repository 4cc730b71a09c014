#include "zqManipulator/state/ZqActuatorState.h"

template class ZqXmlClass<ZqActuatorState>;
template class ZqXmlVectorType<ZqXmlBasicType<bool>>;
template class ZqXmlVectorType<ZqXmlVectorBasicType<ZqReal>>;

void ZqActuatorState::resize(unsigned jointCount)
{
   for (Reals* reals :
        {&m_outputTorques, &m_motorPositions, &m_motorVelocities, &m_motorAccelerations,
         &m_springDamperCenters, &m_lastVelocities, &m_reverseMotionPositions})
      if (reals->size() != jointCount)
         reals->resize(jointCount);
   if (m_nonRigidActuatorFlags.size() != jointCount)
      m_nonRigidActuatorFlags.resize(jointCount);
   if (m_staticFrictionModes.size() != jointCount)
      m_staticFrictionModes.resize(jointCount);
}
