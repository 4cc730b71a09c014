#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/simulation/step/ZqSimulationMember.h"

/// Has the solver take constraints by what they mean, and begins with closed loops where it can.
void ZqSimulation::beginWithClosedLoops(ZqU32 index)
{
   Member& member = m_members[index];
   member.isConstrained =
      m_settings.solver == Solver::Crbi && member.manipulator->stateEqualityConstraints().doc() > 0;
   if (!member.isConstrained)
      return;
   member.solvers->crbi.setUsesConstraintKinematics(true);
   const ZqStateEqualityConstraintVector::Gap gap = gapOf(index);
   if (!(gap.size <= member.solvers->projection.tolerance()))
      Zq::Print::instance().write(
         Zq::Oddity, "%s begins with a gap of %g m in %s, %s.\n",
         member.manipulator->manipulatorLabel().c_str(), gap.size,
         member.manipulator->stateEqualityConstraints().description(gap.constraint).c_str(),
         m_settings.closesLoops ? "which is closed if that can be" : "which stays");
   closeLoops(index);
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
