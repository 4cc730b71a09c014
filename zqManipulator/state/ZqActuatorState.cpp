#include "zqManipulator/state/ZqActuatorState.h"

template class ZqXmlClass<ZqActuatorState>;
template class ZqXmlVectorType<ZqXmlBasicType<bool>>;
template class ZqXmlVectorType<ZqXmlVectorBasicType<ZqReal>>;

void ZqActuatorState::resize(unsigned jointCount)
{
   for (Reals* reals :
        {&m_outputTorques, &m_motorPositions, &m_motorVelocities, &m_motorAccelerations,
         &m_springDamperCenters, &m_lastVelocities, &m_reverseMotionPositions})
      reals->resize(jointCount);
   m_nonRigidActuatorFlags.resize(jointCount);
   m_staticFrictionModes.resize(jointCount);
}
