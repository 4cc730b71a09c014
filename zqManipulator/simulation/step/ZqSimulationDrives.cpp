#include "zqManipulator/simulation/step/ZqSimulationMember.h"

#include <algorithm>
#include <cmath>

/// Brings the motors of rigid joints up to the state.
void ZqSimulation::followJoints(ZqU32 index)
{
   const Member& member = m_members[index];
   const auto& positions = m_state.positionStates()[index].jointPositions().values();
   const auto& velocities = m_state.velocityStates()[index].jointVelocities().values();
   ZqActuatorState& drives = activeState(index).actuatorState();
   for (std::size_t j = 0; j < member.joints.size(); ++j)
   {
      const Joint& joint = member.joints[j];
      if (joint.isFlexible)
         continue;
      drives.motorPositions()[j] = joint.gearRatio * positions[j];
      drives.motorVelocities()[j] = joint.gearRatio * velocities[j];
   }
}

void ZqSimulation::advanceConverters(ZqU32 index, ZqReal dt)
{
   ZqActuatorState& drives = activeState(index).actuatorState();
   bool isFollowing = false;
   for (const Joint& joint : m_members[index].joints)
   {
      if (joint.converter == nullptr ||
          drives.powerConverterStates()[joint.link->linkIndex()].size() == 0)
         continue;
      if (!isFollowing)
         followJoints(index);
      isFollowing = true;
      advanceConverter(joint, dt, drives);
   }
}

/// x += dt f / (1 - dt f'), where f' is the derivative of f by x: the linearly implicit Euler method
/// (Hairer, Wanner 1996, IV.7), for each state by itself as converters couple them through the motor
/// alone. A derivative above zero is no reason to slow down, and is left out.
void ZqSimulation::advanceConverter(const Joint& joint, ZqReal dt, ZqActuatorState& drives)
{
   auto& x = drives.powerConverterStates()[joint.link->linkIndex()].values();
   // A converter that rejects the call leaves them as they are.
   m_derivatives.resize(0);
   joint.converter->computeStateDerivatives(joint.command, drives, m_derivatives);
   if (m_derivatives.size() != x.size())
      return;
   m_nextConverterState = x;
   for (std::size_t k = 0; k < x.size(); ++k)
   {
      constexpr ZqReal relativeStep = 1e-6;
      const ZqReal before = x[k];
      const ZqReal step = relativeStep * std::max(1.0, std::abs(before));
      x[k] = before + step;
      joint.converter->computeStateDerivatives(joint.command, drives, m_nearbyDerivatives);
      x[k] = before;
      const ZqReal slope = (m_nearbyDerivatives[k] - m_derivatives[k]) / step;
      m_nextConverterState[k] += dt * m_derivatives[k] / (1.0 - dt * std::min(slope, 0.0));
   }
   x = m_nextConverterState;
}

/// What the power converters put out, and what is given besides.
void ZqSimulation::computeMotorTorques(ZqU32 index)
{
   const Member& member = m_members[index];
   ZqXmlVectorBasicType<ZqReal>& torques = m_torques[index].jointTorques();
   ZqActuatorState& drives = activeState(index).actuatorState();
   for (std::size_t j = 0; j < member.joints.size(); ++j)
   {
      const Joint& joint = member.joints[j];
      torques[j] = joint.torque;
      if (joint.converter != nullptr)
         torques[j] += joint.converter->outputTorque(joint.command, drives);
   }
}

/// The accelerations of the motors that are bodies of their own.
void ZqSimulation::computeMotorAccelerations(ZqU32 index)
{
   const Member& member = m_members[index];
   for (std::size_t j = 0; j < member.joints.size(); ++j)
      if (member.joints[j].isFlexible)
         member.joints[j].driveTrain->acceleration(m_torques[index].jointTorques()[j],
                                                   activeState(index));
}

/// Integrates these by semi-implicit Euler.
void ZqSimulation::advanceMotors(ZqU32 index, ZqReal dt)
{
   computeMotorAccelerations(index);
   ZqActuatorState& drives = activeState(index).actuatorState();
   for (std::size_t j = 0; j < m_members[index].joints.size(); ++j)
   {
      if (!m_members[index].joints[j].isFlexible)
         continue;
      drives.motorVelocities()[j] += dt * drives.motorAccelerations()[j];
      drives.motorPositions()[j] += dt * drives.motorVelocities()[j];
   }
}
