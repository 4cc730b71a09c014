#include "zqManipulator/simulation/step/ZqSimulationMember.h"

#include <cmath>
#include <limits>

namespace
{
/// As the velocity is clipped when it is propagated.
ZqReal clipped(ZqReal velocity, ZqReal maxRate)
{
   if (maxRate <= velocity)
      velocity = maxRate;
   if (velocity <= -maxRate)
      velocity = -maxRate;
   return velocity;
}
} // namespace

/// Whether the step would take joints that are free beyond their limits; they are free no more.
bool ZqSimulation::findJointsAtLimits(ZqU32 index, ZqReal dt)
{
   Member& member = m_members[index];
   const auto& positions = m_state.positionStates()[index].jointPositions().values();
   const auto& velocities = m_state.velocityStates()[index].jointVelocities().values();
   const auto& accelerations = member.accelerations.jointAccelerations().values();
   bool isAnyFound = false;
   for (std::size_t j = 0; j < member.joints.size(); ++j)
   {
      Joint& joint = member.joints[j];
      const ZqReal velocity = clipped(velocities[j] + dt * accelerations[j], joint.maxRate);
      const ZqReal position = positions[j] + dt * velocity;
      const bool isAbove = joint.upperLimit < position && velocity > 0.0;
      const bool isBelow = position < joint.lowerLimit && velocity < 0.0;
      if ((isAbove || isBelow) && member.isFree[j])
      {
         // At rest but for less than rounding, which must not lead outward.
         constexpr ZqReal rounding = 4.0 * std::numeric_limits<ZqReal>::epsilon();
         const ZqReal inward = std::abs(velocities[j]) * rounding;
         joint.velocityAtLimit = isAbove ? -inward : inward;
         member.isFree[j] = false;
         member.isAnyHeld = true;
         isAnyFound = true;
      }
   }
   return isAnyFound;
}

/// The accelerations with all joints at limits coming to rest. The torques that this needs are the
/// reactions of the stops.
void ZqSimulation::solveAtLimits(ZqU32 index, ZqReal dt)
{
   Member& member = m_members[index];
   ZqManipulatorActiveState& active = activeState(index);
   const auto& velocities = m_state.velocityStates()[index].jointVelocities().values();
   auto& accelerations = member.accelerations.jointAccelerations().values();
   for (std::size_t j = 0; j < member.joints.size(); ++j)
      if (!member.isFree[j])
         accelerations[j] = (member.joints[j].velocityAtLimit - velocities[j]) / dt;
   member.torqueAtLimits = member.torque;
   member.crbi.hybridTorqueAcceleration(m_scene, *member.manipulator, member.externalForce,
                                        member.isFree, member.torqueAtLimits, member.accelerations,
                                        active, true);
   // That of a free base comes in the axes of the base.
   member.accelerations.generalAcceleration().transformBy(
      member.manipulator->dhFrameInSystem(active.activePositionState()).orientation());
}

void ZqSimulation::noteLimit(ZqU32 manipulator, ZqU32 joint)
{
   auto& joints = m_members[manipulator].joints;
   if (joint >= joints.size() || joints[joint].wasAtLimit)
      return;
   joints[joint].wasAtLimit = true;
   m_limitHits.push_back({{manipulator, joint}, m_state.time()});
}
