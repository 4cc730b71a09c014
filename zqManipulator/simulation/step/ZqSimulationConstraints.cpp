#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/simulation/step/ZqSimulationMember.h"

/// Begins with closed loops where it can, and tells where it cannot.
void ZqSimulation::beginWithClosedLoops(ZqU32 index)
{
   const Member& member = m_members[index];
   if (m_settings.solver == Solver::Arbi &&
       member.manipulator->stateEqualityConstraints().size() > 0)
      Zq::Print::instance().write(Zq::Oddity,
                                  "%s has constraints, which the solver arbi ignores.\n",
                                  member.manipulator->manipulatorLabel().c_str());
   if (!member.isConstrained)
      return;
   const ZqStateEqualityConstraintVector::Gap gap = gapOf(index);
   if (!(gap.size <= member.solvers->projection.tolerance()))
      Zq::Print::instance().write(
         Zq::Oddity, "%s begins with a gap of %g m in %s, %s.\n",
         member.manipulator->manipulatorLabel().c_str(), gap.size,
         member.manipulator->stateEqualityConstraints().description(gap.constraint).c_str(),
         m_settings.closesLoops ? "which is closed if that can be" : "which stays");
   closeLoops(index);
}

/// Tells the solvers by which step (s) they lead to a projection.
void ZqSimulation::setProjectedStep(ZqReal dt)
{
   m_projectedStep = dt;
   for (const ZqU32 i : m_constrained)
      m_members[i].solvers->crbi.setProjectedStep(dt);
}

/// Projects the present state onto the constraints, and takes down what gap is left. A loop that cannot be
/// closed is told once. One that never was keeps to its gap; another is tried again after each step.
void ZqSimulation::closeLoops(ZqU32 index)
{
   Member& member = m_members[index];
   if (!member.isConstrained)
      return;
   const ZqIndividualManipulator& manipulator = *member.manipulator;
   if (m_settings.closesLoops)
   {
      ZqPositionState& position = m_state.positionStates()[index];
      const bool isTried = member.wasClosed || !member.isToldOpen;
      const bool isClosed =
         isTried &&
         member.solvers->projection.projectPosition(m_scene, manipulator, position).converged;
      member.wasClosed = member.wasClosed || isClosed;
      if (!isClosed && !member.isToldOpen)
      {
         member.isToldOpen = true;
         Zq::Print::instance().write(
            Zq::Oddity, "%s: a loop that is open at %g s cannot be closed, and stays as it is.\n",
            manipulator.manipulatorLabel().c_str(), m_state.time());
      }
      member.solvers->projection.projectVelocity(m_scene, manipulator, position,
                                                 m_state.velocityStates()[index]);
   }
   const ZqStateEqualityConstraintVector::Gap gap = gapOf(index);
   if (!m_greatestGap || gap.size > m_greatestGap->size)
      m_greatestGap = LoopGap{index, gap.constraint, gap.size, m_state.time()};
}

/// The greatest in the present state.
ZqStateEqualityConstraintVector::Gap ZqSimulation::gapOf(ZqU32 index)
{
   Member& member = m_members[index];
   const ZqIndividualManipulator& manipulator = *member.manipulator;
   m_active.setManipulatorNonredundantPositionState(m_state.positionStates()[index], index);
   const ZqStateEqualityConstraintVector& constraints = manipulator.stateEqualityConstraints();
   constraints.getKinematics(manipulator, activeState(index), member.constraintKinematics);
   return constraints.greatestGap(member.constraintKinematics);
}
