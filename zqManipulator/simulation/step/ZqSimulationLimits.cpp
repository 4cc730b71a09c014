#include "zqManipulator/simulation/step/ZqSimulationMember.h"

#include <algorithm>
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

/// Finds the accelerations beside joints that the step brings to rest in their limits.
void ZqSimulation::stopAtLimits(const Unit& unit, ZqReal dt)
{
   Member& member = unit.member;
   std::fill(member.isFree.begin(), member.isFree.end(), true);
   member.isAnyHeld = false;
   if (member.stepBook)
      member.stepBook->freeAccelerations = member.accelerations;
   // To hold one joint may push another into its limit.
   while (findJointsAtLimits(unit, dt))
      solveAtLimits(unit, dt);
}

/// Whether the step would take joints that are free beyond their limits; they are free no more.
bool ZqSimulation::findJointsAtLimits(const Unit& unit, ZqReal dt)
{
   Member& member = unit.member;
   const auto& positions = unit.position.jointPositions().values();
   const auto& velocities = unit.velocity.jointVelocities().values();
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
void ZqSimulation::solveAtLimits(const Unit& unit, ZqReal dt)
{
   Member& member = unit.member;
   const auto& velocities = unit.velocity.jointVelocities().values();
   auto& accelerations = member.accelerations.jointAccelerations().values();
   for (std::size_t j = 0; j < member.joints.size(); ++j)
      if (!member.isFree[j])
         accelerations[j] = (member.joints[j].velocityAtLimit - velocities[j]) / dt;
   member.torqueAtLimits = unit.torque;
   member.solvers->crbi.hybridTorqueAcceleration(unit.scene, *member.manipulator, member.force,
                                                 member.isFree, member.torqueAtLimits,
                                                 member.accelerations, unit.active, true);
   // That of a free base comes in the axes of the base.
   member.accelerations.generalAcceleration().transformBy(
      member.manipulator->dhFrameInSystem(unit.active.activePositionState()).orientation());
}

/// Moves a manipulator by its accelerations: back to where it was, when that meets a limit that depends
/// on several joints.
void ZqSimulation::moveWithinLimits(ZqU32 index, ZqReal dt)
{
   const ZqIndividualManipulator& manipulator = *m_members[index].manipulator;
   ZqPositionState& position = m_state.positionStates()[index];
   ZqVelocityState& velocity = m_state.velocityStates()[index];
   manipulator.propagateVelocityState(m_members[index].accelerations, dt, velocity);
   if (m_members[index].tree == nullptr)
      bookLimits(unitOf(index), m_stateBefore.velocityStates()[index], velocity, dt);
   manipulator.propagateState(velocity, dt, position, m_results[index]);
   if (!m_results[index].hitJointLimit())
      return;
   noteReturn(index);
   position = m_stateBefore.positionStates()[index];
}

/// Whether the present state is beyond a limit or a rate, and on its way further out.
bool ZqSimulation::isBeyondALimit(ZqU32 index)
{
   Member& member = m_members[index];
   const ZqVelocityState& velocity = m_state.velocityStates()[index];
   for (std::size_t j = 0; j < member.joints.size(); ++j)
      if (std::abs(velocity.jointVelocities()[static_cast<ZqU32>(j)]) > member.joints[j].maxRate)
         return true;
   // A step of no length looks at the limits, and moves nothing.
   member.scratchPosition = m_state.positionStates()[index];
   member.manipulator->propagateState(velocity, 0.0, member.scratchPosition, m_results[index]);
   const bool isBeyond = m_results[index].hitJointLimit();
   m_results[index].reset();
   return isBeyond;
}

void ZqSimulation::noteLimit(ZqU32 manipulator, ZqU32 joint)
{
   auto& joints = m_members[manipulator].joints;
   if (joint >= joints.size() || joints[joint].wasAtLimit)
      return;
   joints[joint].wasAtLimit = true;
   m_limitHits.push_back({{manipulator, joint}, m_state.time()});
}
