#include "zqManipulator/dynamics/motion/ZqMotionPlan.h"
#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"
#include "zqManipulator/kinematics/joint/ZqJointAxis.h"
#include "zqManipulator/simulation/step/ZqSimulationMember.h"

#include <array>

// Scenes may have many bodies that are nothing but that. Of such a one the factors of its inertia, in its own
// axes, hold for all steps, and its accelerations need no more than these: the same operations on the same
// numbers as the solver's, which has them once more in each step.

/// Takes a free manipulator without joints for one body, if its inertia can be factored.
void ZqSimulation::findRigidBody(Member& member) const
{
   const ZqMotionPlan& plan = member.manipulator->motionPlan();
   if (m_settings.solver != Solver::Crbi || !member.isUnbound || !member.joints.empty() ||
       plan.hasOwnBase)
      return;
   zqMotion::Articulated<ZqReal> inertia;
   zqMotion::setRigid(plan.bodies[0], inertia);
   zqMotion::InertiaBound bound;
   std::array<ZqReal, 6> leastPivots;
   zqMotion::computeLeastPivots(plan.tree(), nullptr, nullptr, &bound, leastPivots.data());
   if (!zqMotion::pivotsAreSound(plan.tree(), true, &inertia, leastPivots.data()))
      return;
   RigidBody& result = member.rigidBody.emplace();
   result.body = plan.bodies[0];
   zqMotion::factorBase(inertia, result.factor);
}

/// By Newton and Euler, about the origin of the base and in its axes; gravity accelerates it upwards.
void ZqSimulation::accelerateRigidBody(ZqU32 index)
{
   using zqMotion::plain;
   Member& member = m_members[index];
   ZqManipulatorActiveState& active = activeState(index);
   const ZqRotationMatrix R(
      member.manipulator->dhFrameInSystem(active.activePositionState()).orientation());
   zqMotion::LinkMotion<ZqReal> motion;
   motion.omega = plain(R.transposeTimes(active.velocityState().generalVelocity().angular()));
   motion.alpha = {0.0, 0.0, 0.0};
   motion.a = plain(R.transposeTimes(m_scene.environment().upGravityVector()));
   motion.A = zqMotion::accelerationTensor(motion.omega, motion.alpha);
   const zqMotion::LinkForce<ZqReal> needed = zqMotion::bodyForce(member.rigidBody->body, motion);
   const ZqGeneralForce& given = member.force.baseForce();
   zqMotion::Vec3<ZqReal> a;
   zqMotion::Vec3<ZqReal> alpha;
   zqMotion::solveBase(member.rigidBody->factor,
                       {plain(given.force()) - needed.f, plain(given.moment()) - needed.n}, a,
                       alpha);
   member.accelerations.setGeneralAcceleration(
      {R * ZqVector(a.x, a.y, a.z), R * ZqVector(alpha.x, alpha.y, alpha.z)});
}

/// The velocity by the acceleration, then the position by the new velocity, as manipulators do.
void ZqSimulation::moveRigidBody(ZqU32 index, ZqReal dt)
{
   const Member& member = m_members[index];
   ZqGeneralMotion& V = m_state.velocityStates()[index].generalVelocity();
   V += member.accelerations.generalAcceleration() * dt;
   m_state.positionStates()[index].coordSysXForm().integrateReferenceFrameVelocity(
      {member.toPlace * V.linear(), member.toPlace * V.angular()}, dt);
}
