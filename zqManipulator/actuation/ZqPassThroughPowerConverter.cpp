#include "zqManipulator/actuation/ZqPassThroughPowerConverter.h"

template class ZqXmlClass<ZqPassThroughPowerConverter, ZqBasePowerConverter>;

ZqReal ZqPassThroughPowerConverter::outputTorque(ZqReal input, ZqActuatorState&) const
{
   limitOutputTorque(input);
   return input;
}

void ZqPassThroughPowerConverter::computeStateDerivatives(
   ZqReal, ZqActuatorState&, ZqXmlVectorBasicType<ZqReal>& derivatives) const
{
   derivatives.resize(0);
}
