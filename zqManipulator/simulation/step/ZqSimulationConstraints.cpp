#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/simulation/step/ZqSimulationMember.h"

/// Begins with closed loops where it can, and tells where it cannot.
void ZqSimulation::beginWithClosedLoops()
{
   if (m_settings.solver == Solver::Arbi)
      for (const Member& member : m_members)
         if (member.manipulator->stateEqualityConstraints().size() > 0)
            Zq::Print::instance().write(Zq::Oddity,
                                        "%s has constraints, which the solver arbi ignores.\n",
                                        member.manipulator->manipulatorLabel().c_str());
   for (const ZqU32 i : m_constrained)
      beginWithClosedLoops(unitOf(i));
   for (const auto& tree : m_trees)
   {
      if (!tree->whole.isConstrained)
         continue;
      gatherState(*tree);
      beginWithClosedLoops(tree->unit());
   }
}

void ZqSimulation::beginWithClosedLoops(const Unit& unit)
{
   const ZqStateEqualityConstraintVector::Gap gap = gapOf(unit);
   const Place place = constraintAt(unit, gap.constraint);
   if (!(gap.size <= unit.member.solvers->projection.tolerance()))
      Zq::Print::instance().write(
         Zq::Oddity, "%s begins with a gap of %g m in %s, %s.\n",
         m_members[place.manipulator].manipulator->manipulatorLabel().c_str(), gap.size,
         descriptionOf(place).c_str(),
         m_settings.closesLoops ? "which is closed if that can be" : "which stays");
   closeLoops(unit);
}

/// Of which manipulator a constraint is, and which one of it.
ZqSimulation::Place ZqSimulation::constraintAt(const Unit& unit, ZqU32 constraint) const
{
   if (unit.tree == nullptr || constraint >= unit.tree->constraints.size())
      return {unit.index, constraint};
   const auto& [manipulator, own] = unit.tree->constraints[constraint];
   return {manipulator, own};
}

ZqString ZqSimulation::descriptionOf(const Place& constraint) const
{
   return m_members[constraint.manipulator].manipulator->stateEqualityConstraints().description(
      constraint.link);
}

/// Who remembers whether the loops of a manipulator were closed: a tree does with the one that carries the others.
ZqSimulation::Member& ZqSimulation::ownerOfLoops(ZqU32 index)
{
   Member& member = m_members[index];
   return member.tree != nullptr && member.tree->root() == index ? member.tree->whole : member;
}

const ZqSimulation::Member& ZqSimulation::ownerOfLoops(ZqU32 index) const
{
   return const_cast<ZqSimulation*>(this)->ownerOfLoops(index);
}

/// Tells the solvers by which step (s) they lead to a projection.
void ZqSimulation::setProjectedStep(ZqReal dt)
{
   m_projectedStep = dt;
   for (const ZqU32 i : m_constrained)
      m_members[i].solvers->crbi.setProjectedStep(dt);
   for (const auto& tree : m_trees)
      tree->whole.solvers->crbi.setProjectedStep(dt);
}

/// Whether there are any.
bool ZqSimulation::closeAllLoops()
{
   bool isAny = !m_constrained.empty();
   for (const ZqU32 i : m_constrained)
      closeLoops(unitOf(i));
   for (const auto& tree : m_trees)
   {
      if (!tree->whole.isConstrained)
         continue;
      gatherState(*tree, tree->position, tree->velocity);
      closeLoops(tree->unit());
      isAny = true;
   }
   return isAny;
}

/// Projects the present state onto the constraints, and takes down what gap is left. A loop that cannot be
/// closed is told once. One that never was keeps to its gap; another is tried again after each step.
void ZqSimulation::closeLoops(const Unit& unit)
{
   Member& member = unit.member;
   const ZqIndividualManipulator& manipulator = *member.manipulator;
   if (m_settings.closesLoops)
   {
      ZqPositionState& position = unit.position;
      const bool isTried = member.wasClosed || !member.isToldOpen;
      const bool isClosed =
         isTried &&
         member.solvers->projection.projectPosition(unit.scene, manipulator, position).converged;
      member.wasClosed = member.wasClosed || isClosed;
      if (!isClosed && !member.isToldOpen)
      {
         member.isToldOpen = true;
         const Place open = constraintAt(unit, gapOf(unit).constraint);
         Zq::Print::instance().write(
            Zq::Oddity, "%s: a loop that is open at %g s cannot be closed, and stays as it is.\n",
            m_members[open.manipulator].manipulator->manipulatorLabel().c_str(), m_state.time());
      }
      member.solvers->projection.projectVelocity(unit.scene, manipulator, position, unit.velocity);
      if (unit.tree != nullptr)
         scatterState(*unit.tree);
   }
   const ZqStateEqualityConstraintVector::Gap gap = gapOf(unit);
   if (m_greatestGap && !(gap.size > m_greatestGap->size))
      return;
   const Place place = constraintAt(unit, gap.constraint);
   m_greatestGap = LoopGap{place.manipulator, place.link, gap.size, m_state.time()};
}

/// The greatest in the present state.
ZqStateEqualityConstraintVector::Gap ZqSimulation::gapOf(const Unit& unit)
{
   Member& member = unit.member;
   const ZqIndividualManipulator& manipulator = *member.manipulator;
   placeActive(unit);
   const ZqStateEqualityConstraintVector& constraints = manipulator.stateEqualityConstraints();
   constraints.getKinematics(manipulator, unit.active, member.constraintKinematics);
   return constraints.greatestGap(member.constraintKinematics);
}
