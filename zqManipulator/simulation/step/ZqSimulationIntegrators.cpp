#include "zqManipulator/simulation/step/ZqSimulationMember.h"

#include <algorithm>
#include <array>

namespace
{
/// The three numbers of a vector in a list.
ZqVector vectorAt(const std::vector<ZqReal>& list, std::size_t place)
{
   return {list[place], list[place + 1], list[place + 2]};
}

void setVectorAt(std::vector<ZqReal>& list, std::size_t place, const ZqVector& vector)
{
   list[place] = vector.x();
   list[place + 1] = vector.y();
   list[place + 2] = vector.z();
}
} // namespace

struct ZqSimulation::Scheme
{
   Integrator integrator;
   /// Moves everything from the accelerations of the start over a step. False when it cannot.
   bool (ZqSimulation::*step)(ZqReal dt);
};

const ZqSimulation::Scheme& ZqSimulation::scheme(Integrator integrator)
{
   static constexpr std::array<Scheme, 3> schemes{
      {{Integrator::SemiImplicitEuler, &ZqSimulation::stepBySemiImplicitEuler},
       {Integrator::ImplicitMidpoint, &ZqSimulation::stepByImplicitMidpoint},
       {Integrator::RungeKutta, &ZqSimulation::stepByRungeKutta}}};
   const auto found =
      std::find_if(schemes.begin(), schemes.end(),
                   [&](const Scheme& scheme) { return scheme.integrator == integrator; });
   return found != schemes.end() ? *found : schemes.front();
}

/// Moves everything over the step. False when something is not finite.
bool ZqSimulation::advance(ZqReal dt)
{
   if (m_settings.integrator == Integrator::SemiImplicitEuler)
      return stepBySemiImplicitEuler(dt);

   for (ZqU32 i = 0; i < m_members.size(); ++i)
      readStart(i);
   bool isDone = (this->*scheme(m_settings.integrator).step)(dt);
   for (const auto& tree : m_trees)
      tree->whole.stops.clear();
   for (ZqU32 i = 0; i < m_members.size(); ++i)
   {
      m_members[i].stops.clear();
      isDone = isDone && !isBeyondALimit(i);
   }
   if (isDone)
      return true;
   ++m_substitutedSteps;
   returnToStart();
   return stepBySemiImplicitEuler(dt);
}

/// The velocities by the accelerations, then the positions by the new velocities.
bool ZqSimulation::stepBySemiImplicitEuler(ZqReal dt)
{
   for (const ZqU32 i : m_jointed)
      if (m_members[i].tree == nullptr)
         stopAtLimits(unitOf(i), dt);
   for (const auto& tree : m_trees)
      stopAtLimits(*tree, dt);
   for (ZqU32 i = 0; i < m_members.size(); ++i)
   {
      if (const std::optional<Place> place = firstNotFinite(i, dt))
      {
         diverge(*place, "motion");
         return false;
      }
      if (m_members[i].rigidBody)
         moveRigidBody(i, dt);
      else
         moveWithinLimits(i, dt);
   }
   for (const auto& tree : m_trees)
      bookLimits(*tree, dt);
   for (const ZqU32 i : m_accelerated)
      activeState(i).setAccelerationState(m_members[i].accelerations);
   for (const ZqU32 i : m_jointed)
      advanceMotors(i, dt);
   return true;
}

/// Keeps the start of the step, and its accelerations.
void ZqSimulation::readStart(ZqU32 index)
{
   Member& member = m_members[index];
   const std::size_t n = member.joints.size();
   const ZqPositionState& position = m_state.positionStates()[index];
   const ZqVelocityState& velocity = m_state.velocityStates()[index];
   const ZqGeneralMotion V =
      member.manipulator->isFixedBase() ? ZqGeneralMotion() : velocity.generalVelocity();
   const ZqCoordinateSystemTransformation& X = position.coordSysXForm();
   member.drivesAtStart = activeState(index).actuatorState();
   member.forceAtStart = member.force;

   Motion& start = member.start;
   std::copy_n(position.jointPositions().values().begin(), n, start.positions.begin());
   std::copy_n(velocity.jointVelocities().values().begin(), n, start.rates.begin());
   setVectorAt(start.positions, n, X.translation());
   setVectorAt(start.rates, n, member.toPlace * V.linear());
   for (std::size_t j = 0; j < n; ++j)
   {
      const bool isBody = member.joints[j].isFlexible;
      start.positions[n + 3 + j] = isBody ? member.drivesAtStart.motorPositions()[j] : 0.0;
      start.rates[n + 3 + j] = isBody ? member.drivesAtStart.motorVelocities()[j] : 0.0;
   }
   start.orientation = X.orientation();
   start.angular = member.toPlace * V.angular();
   readSlopes(index);
}

/// Takes the accelerations that were computed for the present state.
void ZqSimulation::readSlopes(ZqU32 index)
{
   Member& member = m_members[index];
   const std::size_t n = member.joints.size();
   activeState(index).setAccelerationState(member.accelerations);
   computeMotorAccelerations(index);
   const ZqGeneralMotion& A = member.accelerations.generalAcceleration();
   const ZqActuatorState& drives = activeState(index).actuatorState();
   std::copy_n(member.accelerations.jointAccelerations().values().begin(), n,
               member.slopes.begin());
   setVectorAt(member.slopes, n, member.toPlace * A.linear());
   for (std::size_t j = 0; j < n; ++j)
      member.slopes[n + 3 + j] = member.joints[j].isFlexible ? drives.motorAccelerations()[j] : 0.0;
   member.angularSlope = member.toPlace * A.angular();
}

/// Puts one motion of all manipulators into the state, and takes attached ones along. What friction and
/// backlash remember is that of the start: it changes once in a step.
void ZqSimulation::moveTo(Motion Member::*which)
{
   for (ZqU32 i = 0; i < m_members.size(); ++i)
   {
      const Member& member = m_members[i];
      const Motion& motion = member.*which;
      const std::size_t n = member.joints.size();
      ZqPositionState& position = m_state.positionStates()[i];
      ZqVelocityState& velocity = m_state.velocityStates()[i];
      ZqActuatorState& drives = activeState(i).actuatorState();
      drives = member.drivesAtStart;
      std::copy_n(motion.positions.begin(), n, position.jointPositions().values().begin());
      std::copy_n(motion.rates.begin(), n, velocity.jointVelocities().values().begin());
      for (std::size_t j = 0; j < n; ++j)
      {
         if (!member.joints[j].isFlexible)
            continue;
         drives.motorPositions()[j] = motion.positions[n + 3 + j];
         drives.motorVelocities()[j] = motion.rates[n + 3 + j];
      }
      if (member.manipulator->isFixedBase())
      {
         velocity.setGeneralVelocity(ZqGeneralMotion());
         continue;
      }
      const ZqOrientation toSystem = member.toPlace.inverse();
      position.setCoordSysXForm({vectorAt(motion.positions, n), motion.orientation});
      velocity.setGeneralVelocity(
         {toSystem * vectorAt(motion.rates, n), toSystem * motion.angular});
   }
   followCarriers();
}

/// Undoes what a scheme has tried, up to the accelerations of the start. What interactions did there
/// holds: they have remembered that they did it.
void ZqSimulation::returnToStart()
{
   m_state = m_stateBefore;
   for (ZqU32 i = 0; i < m_members.size(); ++i)
      m_members[i].force = m_members[i].forceAtStart;
   for (const ZqU32 i : m_jointed)
      activeState(i).actuatorState() = m_members[i].drivesBefore;
   takeState();
   solveAll();
}
