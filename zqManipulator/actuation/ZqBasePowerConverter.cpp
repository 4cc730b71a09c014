#include "zqManipulator/actuation/ZqBasePowerConverter.h"

#include "zqManipulator/actuation/ZqDriveTrain.h"

#include <cmath>

void ZqBasePowerConverter::scaleBy(ZqReal scale)
{
   const ZqReal fifthPower = std::pow(scale, 5.0);
   m_maxTorque = ZqDriveTrain::scaledLimit(m_maxTorque, fifthPower);
   m_minTorque = ZqDriveTrain::scaledLimit(m_minTorque, fifthPower);
}
