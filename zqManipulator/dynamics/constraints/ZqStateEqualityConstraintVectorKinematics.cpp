#include "zqManipulator/simulation/constraints/ZqStateEqualityConstraintVector.h"

#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

#include <algorithm>

namespace
{
/// Fills a stacked array with what `rowsOf` answers for each constraint, row below row.
template <class RowsOf>
const ZqReArray& stack(ZqReArray& stacked, const ZqStateEqualityConstraintVector& constraints,
                       ZqU32 columns, const RowsOf& rowsOf)
{
   stacked.setToZeros(constraints.doc(), columns);
   ZqU32 next = 0;
   for (const ZqBaseStateEqualityConstraint* constraint : constraints.vectorContainer())
   {
      const ZqU32 count = constraint != nullptr ? constraint->doc() : 0;
      if (count == 0)
         continue;
      const ZqReArray& rows = rowsOf(*constraint);
      const std::size_t width = std::min(rows.columns(), columns);
      for (ZqU32 i = 0; i < std::min(count, rows.rows()); ++i)
         std::copy_n(rows[i].begin(), width, stacked[next + i].begin());
      next += count;
   }
   return stacked;
}
} // namespace

bool ZqStateEqualityConstraintVector::constrainPosition(const ZqIndividualManipulator& manipulator,
                                                        ZqPositionState& position) const
{
   bool succeeded = true;
   for (const ZqBaseStateEqualityConstraint* constraint : vectorContainer())
      if (constraint != nullptr)
         succeeded = constraint->constrainPosition(manipulator, position) && succeeded;
   return succeeded;
}

bool ZqStateEqualityConstraintVector::constrainVelocity(const ZqIndividualManipulator& manipulator,
                                                        const ZqPositionState& position,
                                                        ZqVelocityState& velocity) const
{
   bool succeeded = true;
   for (const ZqBaseStateEqualityConstraint* constraint : vectorContainer())
      if (constraint != nullptr)
         succeeded = constraint->constrainVelocity(manipulator, position, velocity) && succeeded;
   return succeeded;
}

const ZqReArray&
ZqStateEqualityConstraintVector::jacobian(const ZqIndividualManipulator& manipulator,
                                          const ZqPositionState& position) const
{
   return stack(m_jacobian.get(), *this, manipulator.totalDof(),
                [&](const ZqBaseStateEqualityConstraint& constraint) -> const ZqReArray&
                { return constraint.jacobian(manipulator, position); });
}

const ZqReArray&
ZqStateEqualityConstraintVector::jacobianDerivative(const ZqIndividualManipulator& manipulator,
                                                    const ZqPositionState& position,
                                                    const ZqVelocityState& velocity) const
{
   return stack(m_jacobianDerivative.get(), *this, manipulator.totalDof(),
                [&](const ZqBaseStateEqualityConstraint& constraint) -> const ZqReArray&
                { return constraint.jacobianDerivative(manipulator, position, velocity); });
}

const ZqConstraintKinematics&
ZqStateEqualityConstraintVector::kinematics(const ZqIndividualManipulator& manipulator,
                                            ZqManipulatorActiveState& activeState) const
{
   manipulator.placeBase(activeState.activePositionState());
   ZqConstraintKinematics& stacked = m_kinematics.get();
   stacked.setToZeros(doc(), manipulator.totalDof());
   ZqU32 next = 0;
   for (const ZqBaseStateEqualityConstraint* constraint : vectorContainer())
      if (constraint != nullptr)
      {
         constraint->addKinematics(manipulator, activeState, next, stacked);
         next += constraint->doc();
      }
   return stacked;
}
