#include "zqManipulator/kinematics/system/ZqStatedSystemStruct.h"
#include "zqManipulator/simulation/step/ZqSimulationMember.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

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

/// Less than this part of a velocity is left where it stops, and must not lead outward.
constexpr ZqReal restOfStop = 4.0 * std::numeric_limits<ZqReal>::epsilon();
} // namespace

/// Finds the accelerations beside stops.
void ZqSimulation::stopAtLimits(const Unit& unit, ZqReal dt)
{
   Member& member = unit.member;
   std::fill(member.isFree.begin(), member.isFree.end(), true);
   member.stops.clear();
   for (Limit& limit : member.limits)
      limit.stops = 0;
   if (member.stepBook)
      member.freeAccelerations = member.accelerations;
   // To stop one joint may push another into its limit.
   while (findStops(unit, dt))
      solveAtStops(unit, dt);
}

/// Whether the step would exceed anything that is no stop yet; it is one then.
bool ZqSimulation::findStops(const Unit& unit, ZqReal dt)
{
   Member& member = unit.member;
   const std::size_t before = member.stops.size();
   findJointsAtLimits(unit, dt);
   if (!member.limits.empty() || !member.stops.empty())
   {
      predict(unit, dt);
      findLimitsOfSeveral(unit);
      findHighestRates(unit);
   }
   return member.stops.size() > before;
}

/// Where the step would lead: velocities, not clipped to the highest rates, and positions.
void ZqSimulation::predict(const Unit& unit, ZqReal dt)
{
   Member& member = unit.member;
   const auto& velocities = unit.velocity.jointVelocities().values();
   const auto& accelerations = member.accelerations.jointAccelerations().values();
   member.scratchPosition = unit.position;
   auto& positions = member.scratchPosition.jointPositions().values();
   member.nextVelocities.resize(member.joints.size());
   for (std::size_t j = 0; j < member.joints.size(); ++j)
   {
      member.nextVelocities[j] = velocities[j] + dt * accelerations[j];
      positions[j] += dt * clipped(member.nextVelocities[j], member.joints[j].maxRate);
   }
}

/// Those that the step would take beyond the limits of their drives are free no more.
void ZqSimulation::findJointsAtLimits(const Unit& unit, ZqReal dt)
{
   Member& member = unit.member;
   const auto& positions = unit.position.jointPositions().values();
   const auto& velocities = unit.velocity.jointVelocities().values();
   const auto& accelerations = member.accelerations.jointAccelerations().values();
   for (std::size_t j = 0; j < member.joints.size(); ++j)
   {
      const Joint& joint = member.joints[j];
      const ZqReal velocity = clipped(velocities[j] + dt * accelerations[j], joint.maxRate);
      const ZqReal position = positions[j] + dt * velocity;
      const bool isAbove = joint.upperLimit < position && velocity > 0.0;
      const bool isBelow = position < joint.lowerLimit && velocity < 0.0;
      if (!(isAbove || isBelow) || !member.isFree[j])
         continue;
      member.isFree[j] = false;
      const ZqReal sign = isAbove ? -1.0 : 1.0;
      addStop(unit, {static_cast<ZqU32>(j), sign, restOfStop * std::abs(velocities[j]), true})[j] =
         sign;
   }
}

/// Limits that depend on several joints, by their gradients where the step would lead: by another one, up to a
/// few, where the first stops lead to another part of the limit.
void ZqSimulation::findLimitsOfSeveral(const Unit& unit)
{
   constexpr int mostGradients = 4;
   constexpr ZqReal restOfGradient = 1e-12;
   Member& member = unit.member;
   const auto& velocities = unit.velocity.jointVelocities().values();
   for (Limit& limit : member.limits)
   {
      if (limit.stops == mostGradients ||
          !(limit.constraint->evaluate(member.scratchPosition) < 0.0))
         continue;
      limit.constraint->getGradient(member.scratchPosition, member.gradient);
      member.gradient.resize(member.joints.size());
      ZqReal rate = 0.0, size = 0.0, least = 0.0;
      for (std::size_t j = 0; j < member.joints.size(); ++j)
      {
         const ZqReal part =
            member.gradient[j] * clipped(member.nextVelocities[j], member.joints[j].maxRate);
         rate += part;
         size += std::abs(part);
         least += restOfStop * std::abs(member.gradient[j] * velocities[j]);
      }
      if (!(rate < (limit.stops > 0 ? -restOfGradient * size : 0.0)))
         continue;
      ++limit.stops;
      const std::span<ZqReal> row = addStop(unit, {limit.joint, 0.0, least, true});
      std::copy(member.gradient.begin(), member.gradient.end(), row.begin());
   }
}

/// Beside stops a velocity is not just clipped: that would lead beyond limits of several joints, and a joint that
/// the impulse of a stop throws, or another that it turns, would be faster than its energy allows.
void ZqSimulation::findHighestRates(const Unit& unit)
{
   Member& member = unit.member;
   if (member.stops.empty())
      return;
   for (std::size_t j = 0; j < member.joints.size(); ++j)
   {
      const ZqReal most = member.joints[j].maxRate;
      const ZqReal sign = member.nextVelocities[j] > 0.0 ? -1.0 : 1.0;
      const auto joint = static_cast<ZqU32>(j);
      if (std::abs(member.nextVelocities[j]) > most &&
          std::none_of(member.stops.begin(), member.stops.end(),
                       [&](const Stop& stop)
                       { return !stop.isLimit && stop.joint == joint && stop.sign == sign; }))
         addStop(unit, {joint, sign, -most, false})[j] = sign;
   }
}

/// The part of its row that is for the joints.
std::span<ZqReal> ZqSimulation::addStop(const Unit& unit, const Stop& stop)
{
   Member& member = unit.member;
   if (member.stops.empty())
   {
      member.freeAccelerations = member.accelerations;
      member.solvers->stops.clear(member.manipulator->totalDof());
      member.solvers->massMatrix = nullptr;
   }
   member.stops.push_back(stop);
   return member.solvers->stops.addRow().last(member.joints.size());
}

/// Finds what the mass matrix, and the constraints, make of the rows of the stops.
void ZqSimulation::factorStops(const Unit& unit)
{
   Member& member = unit.member;
   Solvers& solvers = *member.solvers;
   ZqManipulatorActiveState& active = unit.active;
   const ZqIndividualManipulator& manipulator = *member.manipulator;
   if (solvers.massMatrix == nullptr)
   {
      solvers.massMatrix = &solvers.crbi.factorMassMatrix(
         manipulator, active, ZqStatedSystemStruct(&unit.scene, manipulator.manipulatorIndex()));
      if (member.isConstrained)
      {
         manipulator.stateEqualityConstraints().getKinematics(manipulator, active,
                                                              member.constraintKinematics);
         solvers.jacobian = member.constraintKinematics.jacobian;
         if (!manipulator.isFixedBase())
            ZqConstraintFactor::turnBaseColumns(
               manipulator.dhFrameInSystem(active.activePositionState()).orientation(),
               solvers.jacobian);
         solvers.constraintsBesideStops.factor(solvers.jacobian);
         solvers.massMatrix->solveTranspose(solvers.constraintsBesideStops.basis(),
                                            solvers.constraintsBesideStops.inertialBasis());
      }
   }
   solvers.massMatrix->solveTranspose(solvers.stops.rows(), solvers.stops.inertialRows());
   if (member.isConstrained)
      solvers.stops.keep(solvers.constraintsBesideStops);
}

/// The accelerations with nothing exceeded that is a stop. The impulses that this needs are the reactions of
/// the stops.
void ZqSimulation::solveAtStops(const Unit& unit, ZqReal dt)
{
   Member& member = unit.member;
   Solvers& solvers = *member.solvers;
   factorStops(unit);
   const auto& velocities = unit.velocity.jointVelocities().values();
   member.accelerations = member.freeAccelerations;
   auto& accelerations = member.accelerations.jointAccelerations().values();
   solvers.lacking.clear();
   for (std::size_t k = 0; k < member.stops.size(); ++k)
   {
      const auto row = solvers.stops.rows()[k].last(member.joints.size());
      ZqReal speed = 0.0;
      for (std::size_t j = 0; j < member.joints.size(); ++j)
         if (row[j] != 0.0)
            speed += row[j] * (velocities[j] + dt * accelerations[j]);
      solvers.lacking.push_back(member.stops[k].least - speed);
   }
   const ZqReArray& change = solvers.stops.leastChange(solvers.lacking);
   const std::size_t base = change.rows() - member.joints.size();
   for (std::size_t j = 0; j < member.joints.size(); ++j)
      accelerations[j] += change[base + j][0] / dt;
   for (std::size_t k = 0; k < member.stops.size(); ++k)
   {
      Stop& stop = member.stops[k];
      stop.acts = solvers.stops.impulses()[k] > 0.0 || !solvers.stops.isMovable(k);
      // Exactly, also for a joint without inertia.
      if (stop.sign != 0.0 && stop.acts)
         accelerations[stop.joint] = (stop.sign * stop.least - velocities[stop.joint]) / dt;
   }
   if (base == 0)
      return;
   ZqGeneralMotion ofBase;
   ofBase.copyFromArray(change);
   // In the axes of the base.
   ofBase.transformBy(
      member.manipulator->dhFrameInSystem(unit.active.activePositionState()).orientation());
   member.accelerations.generalAcceleration() += ofBase * (1.0 / dt);
}

/// Moves a manipulator by its accelerations, which lead beyond limits by no more than rounding.
void ZqSimulation::moveWithinLimits(ZqU32 index, ZqReal dt)
{
   const ZqIndividualManipulator& manipulator = *m_members[index].manipulator;
   ZqVelocityState& velocity = m_state.velocityStates()[index];
   manipulator.propagateVelocityState(m_members[index].accelerations, dt, velocity);
   if (m_members[index].stepBook != nullptr && m_members[index].tree == nullptr)
      bookLimits(unitOf(index), m_stateBefore.velocityStates()[index], velocity, dt);
   manipulator.propagateState(velocity, dt, m_state.positionStates()[index], m_results[index]);
   // It tells of what is beyond by rounding.
   if (m_results[index].hitJointLimit())
      m_results[index].reset();
}

/// Whether the present state is beyond a rate, or beyond a limit on its way further out, or where the step began
/// within that limit.
bool ZqSimulation::isBeyondALimit(ZqU32 index)
{
   Member& member = m_members[index];
   const ZqPositionState& position = m_state.positionStates()[index];
   const ZqPositionState& positionBefore = m_stateBefore.positionStates()[index];
   const auto& positions = position.jointPositions().values();
   const auto& before = positionBefore.jointPositions().values();
   const auto& velocities = m_state.velocityStates()[index].jointVelocities().values();
   for (std::size_t j = 0; j < member.joints.size(); ++j)
   {
      const Joint& joint = member.joints[j];
      if (std::abs(velocities[j]) > joint.maxRate ||
          (joint.upperLimit < positions[j] &&
           (velocities[j] > 0.0 || before[j] <= joint.upperLimit)) ||
          (positions[j] < joint.lowerLimit &&
           (velocities[j] < 0.0 || joint.lowerLimit <= before[j])))
         return true;
   }
   for (const Limit& limit : member.limits)
   {
      if (!(limit.constraint->evaluate(position) < 0.0))
         continue;
      if (limit.constraint->evaluate(positionBefore) >= 0.0)
         return true;
      limit.constraint->getGradient(position, member.gradient);
      member.gradient.resize(member.joints.size());
      if (std::inner_product(member.gradient.begin(), member.gradient.end(), velocities.begin(),
                             0.0) < 0.0)
         return true;
   }
   return false;
}

void ZqSimulation::noteLimit(ZqU32 manipulator, ZqU32 joint)
{
   auto& joints = m_members[manipulator].joints;
   if (joint >= joints.size() || joints[joint].wasAtLimit)
      return;
   joints[joint].wasAtLimit = true;
   m_limitHits.push_back({{manipulator, joint}, m_state.time()});
}
