#include "zqManipulator/actuation/ZqBasePowerConverter.h"

#include "zqManipulator/actuation/ZqDriveTrain.h"

void ZqBasePowerConverter::scaleBy(ZqReal scale)
{
   const ZqReal fifthPower = scale * scale * scale * scale * scale;
   m_maxTorque = ZqDriveTrain::scaledLimit(m_maxTorque, fifthPower);
   m_minTorque = ZqDriveTrain::scaledLimit(m_minTorque, fifthPower);
}
