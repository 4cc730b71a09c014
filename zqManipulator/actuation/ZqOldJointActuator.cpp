#include "zqManipulator/actuation/ZqOldJointActuator.h"

template class ZqXmlClass<ZqOldJointActuator, ZqBaseJointActuator>;
template class ZqDriveTrainClass<ZqOldJointActuator, ZqBaseJointActuator>;

void ZqOldJointActuator::scaleBy(ZqReal scale, ZqReal jointScale)
{
   scaleParametersBy(scale, jointScale);
   const ZqReal fifthPower = scale * scale * scale * scale * scale;
   m_minTorque = scaledLimit(m_minTorque, fifthPower);
   m_maxTorque = scaledLimit(m_maxTorque, fifthPower);
}
