#include "zqManipulator/simulation/step/ZqSimulationMember.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace
{
bool isFinite(const ZqVector& vector)
{
   return std::isfinite(vector.x()) && std::isfinite(vector.y()) && std::isfinite(vector.z());
}

bool isFinite(const ZqOrientation& q)
{
   return std::isfinite(q.w()) && std::isfinite(q.x()) && std::isfinite(q.y()) &&
          std::isfinite(q.z());
}
} // namespace

/// Of what the step leads to, the first that is not finite. When all joints are not, the one that is
/// to blame had a torque that is not finite, or else was the fastest.
std::optional<ZqSimulation::Place> ZqSimulation::firstNotFinite(ZqU32 index, ZqReal dt)
{
   const Member& member = m_members[index];
   const ZqPositionState& position = m_state.positionStates()[index];
   const ZqVelocityState& velocity = m_state.velocityStates()[index];
   const auto& positions = position.jointPositions().values();
   const auto& velocities = velocity.jointVelocities().values();
   const auto& accelerations = member.accelerations.jointAccelerations().values();
   const auto& torques = activeState(index).actuatorState().outputTorques().values();
   std::optional<Place> result;
   ZqReal highest = -1.0;
   for (std::size_t j = 0; j < member.joints.size(); ++j)
   {
      if (std::isfinite(positions[j] + dt * (velocities[j] + dt * accelerations[j])))
         continue;
      const bool hasTorque = j >= torques.size() || std::isfinite(torques[j]);
      const ZqReal speed =
         hasTorque ? std::abs(velocities[j]) : std::numeric_limits<ZqReal>::infinity();
      if (speed > highest)
      {
         highest = speed;
         result = Place{index, static_cast<ZqU32>(j)};
      }
   }
   const ZqGeneralMotion& V = velocity.generalVelocity();
   const ZqGeneralMotion& A = member.accelerations.generalAcceleration();
   if (!result &&
       !(::isFinite(position.coordSysXForm().translation() + (V.linear() + A.linear() * dt) * dt) &&
         ::isFinite((V.angular() + A.angular() * dt) * dt)))
      result = Place{index, ZqBaseLinkIndex};
   return result;
}

void ZqSimulation::diverge(const Place& place, const char* quantity)
{
   m_divergence = Divergence{place, m_state.time(), quantity, m_deepestContact};
}

/// Of the state that a step has led to, with its energy; else that is the divergence.
bool ZqSimulation::isStateFinite()
{
   if (isStateFarFromOverflow())
      return true;
   for (ZqU32 i = 0; i < m_members.size(); ++i)
   {
      const ZqCoordinateSystemTransformation& X = m_state.positionStates()[i].coordSysXForm();
      const ZqGeneralMotion& V = m_state.velocityStates()[i].generalVelocity();
      if (!(::isFinite(X.translation()) && ::isFinite(X.orientation()) && ::isFinite(V.linear()) &&
            ::isFinite(V.angular())))
      {
         diverge({i, ZqBaseLinkIndex}, "motion");
         return false;
      }
   }
   energy();
   return !m_divergence;
}

/// Whether all positions and rates are so small that their squares, and so the energy, are finite.
bool ZqSimulation::isStateFarFromOverflow()
{
   constexpr ZqReal far = 1e50;
   const auto isBelow = [](ZqReal number) { return std::abs(number) < far; };
   const auto areBelow = [&](const ZqXmlVectorBasicType<ZqReal>& numbers)
   { return std::all_of(numbers.values().begin(), numbers.values().end(), isBelow); };
   const auto isVectorBelow = [&](const ZqVector& vector)
   { return isBelow(vector.x()) && isBelow(vector.y()) && isBelow(vector.z()); };
   for (ZqU32 i = 0; i < m_members.size(); ++i)
   {
      const ZqPositionState& position = m_state.positionStates()[i];
      const ZqVelocityState& velocity = m_state.velocityStates()[i];
      const ZqGeneralMotion& V = velocity.generalVelocity();
      if (!(areBelow(position.jointPositions()) && areBelow(velocity.jointVelocities()) &&
            areBelow(activeState(i).actuatorState().motorVelocities()) &&
            isVectorBelow(position.coordSysXForm().translation()) &&
            ::isFinite(position.coordSysXForm().orientation()) && isVectorBelow(V.linear()) &&
            isVectorBelow(V.angular())))
         return false;
   }
   return true;
}

/// The joint or the base of a manipulator with the highest rate: what it carries may have more energy,
/// but is not to blame. When all are at rest, what was given.
ZqSimulation::Place ZqSimulation::fastest(const Place& otherwise) const
{
   const ZqVelocityState& velocity = m_state.velocityStates()[otherwise.manipulator];
   const auto& rates = velocity.jointVelocities().values();
   const ZqGeneralMotion& V = velocity.generalVelocity();
   Place result = otherwise;
   ZqReal highest = 0.0;
   const auto compare = [&](ZqReal rate, ZqU32 link)
   {
      if (std::abs(rate) > highest)
      {
         highest = std::abs(rate);
         result.link = link;
      }
   };
   for (const ZqReal rate : {V.linear().x(), V.linear().y(), V.linear().z(), V.angular().x(),
                             V.angular().y(), V.angular().z()})
      compare(rate, ZqBaseLinkIndex);
   for (std::size_t j = 0; j < rates.size(); ++j)
      compare(rates[j], static_cast<ZqU32>(j));
   return result;
}
