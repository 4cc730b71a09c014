#include "zqManipulator/kinematics/system/ZqStatedSystemStruct.h"
#include "zqManipulator/simulation/step/ZqSimulationMember.h"

#include <algorithm>
#include <cmath>
#include <limits>

// The accelerations at the middle of the step lead from its start to its end. The turn of a base is
// R1 = R0 cay(dt w), with w the mean of its angular velocities at both ends in axes of the base: for a
// free body this keeps energy and angular momentum (Lewis, Simo 1994; Austin, Krishnaprasad, Wang 1993).

namespace
{
/// The Cayley map: the rotation about u by the angle 2 atan(|u| / 2).
ZqOrientation cayley(const ZqVector& u)
{
   ZqOrientation result(1.0, 0.5 * u.x(), 0.5 * u.y(), 0.5 * u.z());
   result.normalize();
   return result;
}

/// About the same axis by half the angle.
ZqOrientation halfOf(const ZqOrientation& turn)
{
   ZqOrientation result(1.0 + turn.w(), turn.x(), turn.y(), turn.z());
   result.normalize();
   return result;
}
} // namespace

/// Solves the equations by iteration, until rounding keeps the velocities of the end from coming closer.
bool ZqSimulation::stepByImplicitMidpoint(ZqReal dt)
{
   for (ZqU32 i = 0; i < m_members.size(); ++i)
   {
      Member& member = m_members[i];
      const ZqOrientation toBody = member.start.orientation.inverse();
      member.startInBody = toBody * member.start.angular;
      member.endInBody = member.startInBody + toBody * member.angularSlope * dt;
      for (std::size_t k = 0; k < member.size(); ++k)
         member.end.rates[k] = member.start.rates[k] + dt * member.slopes[k];
      if (keepsMomentum(i))
         member.momentumAtStart =
            momentum(member.tree != nullptr ? member.tree->unit() : unitOf(i));
   }
   constexpr int mostIterations = 100;
   constexpr ZqReal rounding = 4.0 * std::numeric_limits<ZqReal>::epsilon();
   // From where on what grows again is rounding, which masses of different size make greater.
   constexpr ZqReal close = 1e-6;
   ZqReal before = std::numeric_limits<ZqReal>::infinity();
   for (int iteration = 0; iteration < mostIterations; ++iteration)
   {
      const ZqReal change = improveEnd(dt);
      if (change <= rounding || (change <= close && change >= before))
      {
         moveToEnd(dt);
         for (ZqU32 i = 0; i < m_members.size(); ++i)
            keepMomentum(i, dt, true);
         moveTo(&Member::end);
         return true;
      }
      if (!std::isfinite(change))
         return false;
      before = change;
   }
   return false;
}

/// The velocities of the end, by the accelerations at the middle between it and the start. Answers by
/// how much they have changed, relative to their size; that is not finite when they are not.
ZqReal ZqSimulation::improveEnd(ZqReal dt)
{
   moveToMiddle(dt);
   if (!isStateFarFromOverflow())
      return std::numeric_limits<ZqReal>::infinity();
   computeTrialAccelerations(m_state.time() + 0.5 * dt);
   for (ZqU32 i = 0; i < m_members.size(); ++i)
   {
      Member& member = m_members[i];
      readSlopes(i);
      member.previousEndRates = member.end.rates;
      member.previousEndInBody = member.endInBody;
      for (std::size_t k = 0; k < member.size(); ++k)
         member.end.rates[k] = member.start.rates[k] + dt * member.slopes[k];
      member.endInBody =
         member.startInBody + member.trial.orientation.inverse() * member.angularSlope * dt;
   }
   bool isAnyKept = false;
   for (ZqU32 i = 0; i < m_members.size() && !isAnyKept; ++i)
      isAnyKept = keepsMomentum(i);
   if (isAnyKept)
   {
      moveToEnd(dt);
      for (ZqU32 i = 0; i < m_members.size(); ++i)
         keepMomentum(i, dt, false);
   }

   ZqReal change = 0.0;
   ZqReal size = std::numeric_limits<ZqReal>::min();
   for (const Member& member : m_members)
   {
      for (std::size_t k = 0; k < member.size(); ++k)
      {
         change += std::abs(member.end.rates[k] - member.previousEndRates[k]);
         size += std::abs(member.end.rates[k]);
      }
      change += (member.endInBody - member.previousEndInBody).mag();
      size += member.endInBody.mag();
   }
   return change / size;
}

void ZqSimulation::moveToMiddle(ZqReal dt)
{
   for (Member& member : m_members)
   {
      const Motion& start = member.start;
      for (std::size_t k = 0; k < member.size(); ++k)
      {
         member.trial.rates[k] = 0.5 * (start.rates[k] + member.end.rates[k]);
         member.trial.positions[k] = start.positions[k] + 0.5 * dt * member.trial.rates[k];
      }
      const ZqVector omega = (member.startInBody + member.endInBody) * 0.5;
      member.trial.orientation = start.orientation * halfOf(cayley(omega * dt));
      member.trial.angular = member.trial.orientation * omega;
   }
   moveTo(&Member::trial);
}

void ZqSimulation::moveToEnd(ZqReal dt)
{
   for (Member& member : m_members)
   {
      const Motion& start = member.start;
      for (std::size_t k = 0; k < member.size(); ++k)
         member.end.positions[k] =
            start.positions[k] + 0.5 * dt * (start.rates[k] + member.end.rates[k]);
      const ZqVector omega = (member.startInBody + member.endInBody) * 0.5;
      member.end.orientation = start.orientation * cayley(omega * dt);
      member.end.orientation.normalize();
      member.end.angular = member.end.orientation * member.endInBody;
   }
   moveTo(&Member::end);
}

/// Whether nothing but gravity acts on a manipulator, or on the tree that it carries, from outside.
bool ZqSimulation::keepsMomentum(ZqU32 index) const
{
   const Member& member = m_members[index];
   return member.isLeftAlone && !member.isPushed &&
          (member.tree == nullptr ||
           std::none_of(member.tree->parts.begin(), member.tree->parts.end(),
                        [&](const Tree::Part& part)
                        { return m_members[part.manipulator].isPushed; }));
}

/// In the present state: the sum over all bodies, about the origin of the base and then about the center.
ZqSimulation::Momentum ZqSimulation::momentum(const Unit& unit)
{
   const Member& member = unit.member;
   const ZqIndividualManipulator& manipulator = *member.manipulator;
   ZqManipulatorActiveState& active = unit.active;
   const ZqStatedSystemStruct stateStruct(&unit.scene, manipulator.manipulatorIndex());
   const auto& X = manipulator.dhFrameInSystem(active.activePositionState());
   ZqRigidBodyMassProperties allBodies = manipulator.crbi(active, &stateStruct);
   ZqVector center;
   allBodies.getCenterOfMass(center);
   allBodies.transformBy(-center);

   Momentum result;
   result.mass = allBodies.mass();
   result.inverseInertia = allBodies.invSecondMoment();
   result.base = X.orientation();
   result.lever = X.orientation() * center;
   result.center = X.translation() + result.lever;
   const auto add = [&](const ZqManipulatorLink& link)
   {
      const ZqGeneralForce ofBody =
         link.massPropertiesInDHFrame().calculateForce(link.dhFrameVelocityInLocal(active));
      const auto& X_link = link.dhFrameInSystem(active.activePositionState());
      const ZqVector linear = X_link.orientation() * ofBody.force();
      result.linear += linear;
      result.angular += X_link.orientation() * ofBody.moment() +
                        (X_link.translation() - X.translation()).cross(linear);
   };
   add(manipulator);
   for (const Joint& joint : member.joints)
      add(*joint.link);
   result.angular -= result.lever.cross(result.linear);
   return result;
}

/// Turns and moves all of a free manipulator as one body, so that its momentum at the end is that of the
/// start and what gravity has added. With the position, the center of mass is on its parabola too.
void ZqSimulation::keepMomentum(ZqU32 index, ZqReal dt, bool withPosition)
{
   Member& member = m_members[index];
   if (!keepsMomentum(index))
      return;
   if (member.tree != nullptr)
      gatherState(*member.tree, member.tree->position, member.tree->velocity);
   const Unit unit = member.tree != nullptr ? member.tree->unit() : unitOf(index);
   placeActive(unit);
   unit.active.setVelocityState(unit.velocity);
   const Momentum& start = member.momentumAtStart;
   const Momentum end = momentum(unit);
   const ZqVector linear = start.linear - m_scene.environment().upGravityVector() * (end.mass * dt);
   const ZqVector turnInBody =
      end.inverseInertia * (end.base.inverse() * (start.angular - end.angular));
   const ZqVector turn = end.base * turnInBody;
   const ZqVector shift = (linear - end.linear) / end.mass + end.lever.cross(turn);
   member.endInBody += turnInBody;
   member.end.angular = member.end.orientation * member.endInBody;
   const ZqVector shiftInPlace = member.toPlace * shift;
   const std::size_t n = member.joints.size();
   member.end.rates[n] += shiftInPlace.x();
   member.end.rates[n + 1] += shiftInPlace.y();
   member.end.rates[n + 2] += shiftInPlace.z();
   if (!withPosition)
      return;
   const ZqVector way = (start.linear + linear) * (0.5 * dt / end.mass);
   const ZqVector off = member.toPlace * (start.center + way - end.center);
   member.end.positions[n] += off.x();
   member.end.positions[n + 1] += off.y();
   member.end.positions[n + 2] += off.z();
}
