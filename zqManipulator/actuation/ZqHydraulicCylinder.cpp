#include "zqManipulator/actuation/ZqHydraulicCylinder.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/state/ZqActuatorState.h"

#include <algorithm>
#include <cmath>

template class ZqXmlClass<ZqHydraulicCylinder, ZqBasePowerConverter>;

ZqReal ZqHydraulicCylinder::outputTorque(ZqReal, ZqActuatorState& state) const
{
   const ZqU32 j = jointIndex();
   const auto& states = state.powerConverterStates();
   if (j >= states.size())
   {
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqHydraulicCylinder::outputTorque - index out of range\n");
      return 0.0;
   }
   const auto& pressures = states[j];
   ZqReal torque = pressures.size() >= m_theStateSize
                      ? m_effectiveArea1 * pressures[0] - m_effectiveArea2 * pressures[1]
                      : 0.0;
   limitOutputTorque(torque);
   return torque;
}

void ZqHydraulicCylinder::computeStateDerivatives(ZqReal input, ZqActuatorState& state,
                                                  ZqXmlVectorBasicType<ZqReal>& derivatives) const
{
   if (!(m_fluidDensity > 0.0) || m_fluidVolume1 == 0.0 || m_fluidVolume2 == 0.0)
   {
      Zq::Print::instance().write(
         Zq::Rejected,
         "ZqHydraulicCylinder::computeStateDerivatives - potentially divided by zeroo\n");
      return;
   }
   const ZqU32 j = jointIndex();
   const auto& states = state.powerConverterStates();
   const auto& positions = state.motorPositions();
   const auto& velocities = state.motorVelocities();
   if (j >= states.size() || j >= positions.size() || j >= velocities.size())
   {
      Zq::Print::instance().write(
         Zq::Rejected, "ZqHydraulicCylinder::computeStateDerivatives - index out of range\n");
      return;
   }
   const auto& pressures = states[j];
   if (pressures.size() < m_theStateSize)
      return;
   derivatives.resize(m_theStateSize);

   // Through the valve, into chamber 1 and out of chamber 2.
   ZqReal flow1 = 0.0;
   ZqReal flow2 = 0.0;
   if (input != 0.0)
   {
      if (input > m_maximumValveOpening)
         input = m_maximumValveOpening;
      else if (input < -m_maximumValveOpening)
         input = -m_maximumValveOpening;
      const auto flow = [&](ZqReal pressureDrop)
      {
         const ZqReal size = std::sqrt(2.0 * std::abs(pressureDrop) / m_fluidDensity) *
                             m_flowAreaGradient * m_dischargeCoefficient * input;
         return pressureDrop < 0.0 ? -size : size;
      };
      if (input > 0.0)
      {
         flow1 = flow(m_supplyPressure - pressures[0]);
         flow2 = flow(pressures[1] - m_drainPressure);
      }
      else if (input < 0.0)
      {
         flow1 = flow(pressures[0] - m_drainPressure);
         flow2 = flow(m_supplyPressure - pressures[1]);
      }
   }

   // The rest of the flow, beyond what the motion of the piston takes up, compresses the fluid.
   const ZqReal x = positions[j];
   const ZqReal v = velocities[j];
   const ZqReal rest = std::max(m_maximumFluidLength - x, 0.0);
   derivatives[0] =
      m_fluidBulkModulus / (m_effectiveArea1 * x + m_fluidVolume1) * (flow1 - m_effectiveArea1 * v);
   derivatives[1] = m_fluidBulkModulus / (m_effectiveArea2 * rest + m_fluidVolume2) *
                    (m_effectiveArea2 * v - flow2);
}
