#include "zqManipulator/actuation/ZqDcElectricMotor.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/state/ZqActuatorState.h"

template class ZqXmlClass<ZqDcElectricMotor, ZqBasePowerConverter>;

ZqReal ZqDcElectricMotor::outputTorque(ZqReal, ZqActuatorState& state) const
{
   const ZqU32 j = jointIndex();
   const auto& states = state.powerConverterStates();
   if (j >= states.size())
   {
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqDcElectricMotor::outputTorque - index out of range\n");
      return 0.0;
   }
   ZqReal torque = states[j].size() > 0 ? m_torqueConstant * states[j][0] : 0.0;
   limitOutputTorque(torque);
   return torque;
}

void ZqDcElectricMotor::computeStateDerivatives(ZqReal input, ZqActuatorState& state,
                                                ZqXmlVectorBasicType<ZqReal>& derivatives) const
{
   if (m_armatureInductance == 0.0)
   {
      Zq::Print::instance().write(
         Zq::Rejected, "ZqDcElectricMotor::computeStateDerivatives - divided by zeroo\n");
      return;
   }
   const ZqU32 j = jointIndex();
   const auto& states = state.powerConverterStates();
   const auto& velocities = state.motorVelocities();
   if (j >= states.size() || j >= state.motorPositions().size() || j >= velocities.size())
   {
      Zq::Print::instance().write(
         Zq::Rejected, "ZqDcElectricMotor::computeStateDerivatives - index out of range\n");
      return;
   }
   if (states[j].size() == 0)
      return;
   derivatives.resize(m_theStateSize);
   if (m_armatureInductance > 0.0)
      derivatives[0] =
         (input - states[j][0] * m_armatureResistance - velocities[j] * m_torqueConstant) /
         m_armatureInductance;
}
