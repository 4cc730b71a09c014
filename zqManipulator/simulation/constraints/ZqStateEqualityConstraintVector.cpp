#include "zqManipulator/simulation/constraints/ZqStateEqualityConstraintVector.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/simulation/constraints/ZqLinearStateEqualityConstraint.h"
#include "zqManipulator/simulation/constraints/ZqPointStateEqualityConstraint.h"
#include "zqManipulator/simulation/constraints/ZqXyStateEqualityConstraint.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

#include <algorithm>
#include <cmath>

template class ZqXmlVariableVectorType<ZqBaseStateEqualityConstraint>;

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

ZqXmlObject* ZqStateEqualityConstraintVector::clone() const
{
   return new ZqStateEqualityConstraintVector(*this);
}

ZqXmlObject* ZqStateEqualityConstraintVector::newObject() const
{
   return new ZqStateEqualityConstraintVector();
}

bool ZqStateEqualityConstraintVector::equality(const ZqXmlObject* other) const
{
   const auto* same = dynamic_cast<const ZqStateEqualityConstraintVector*>(other);
   return same != nullptr && *this == *same;
}

const ZqToken& ZqStateEqualityConstraintVector::token() const
{
   return classToken();
}

void ZqStateEqualityConstraintVector::registerComponentCreators()
{
   registerComponentCreator(ZqLinearStateEqualityConstraint::classToken(),
                            ZqLinearStateEqualityConstraint::creator);
   registerComponentCreator(ZqPointStateEqualityConstraint::classToken(),
                            ZqPointStateEqualityConstraint::creator);
   registerComponentCreator(ZqXyStateEqualityConstraint::classToken(),
                            ZqXyStateEqualityConstraint::creator);
}

ZqU32 ZqStateEqualityConstraintVector::doc() const
{
   ZqU32 sum = 0;
   for (const ZqBaseStateEqualityConstraint* constraint : vectorContainer())
      sum += constraint != nullptr ? constraint->doc() : 0;
   return sum;
}

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

ZqStateEqualityConstraintVector::Gap
ZqStateEqualityConstraintVector::greatest(const ZqReArray& rows) const
{
   Gap result;
   ZqU32 row = 0;
   for (ZqU32 i = 0; i < size(); ++i)
   {
      const ZqBaseStateEqualityConstraint* const constraint = vectorContainer()[i];
      const ZqU32 end =
         std::min(row + (constraint != nullptr ? constraint->doc() : 0), rows.rows());
      ZqReal length = 0.0;
      for (; row < end; ++row)
         length = std::hypot(length, rows[row][0]);
      if (!(length <= result.size))
         result = {length, i};
   }
   return result;
}

ZqU32 ZqStateEqualityConstraintVector::constraintOfRow(ZqU32 row) const
{
   ZqU32 end = 0;
   for (ZqU32 i = 0; i < size(); ++i)
   {
      end += vectorContainer()[i] != nullptr ? vectorContainer()[i]->doc() : 0;
      if (row < end)
         return i;
   }
   return size();
}

ZqString ZqStateEqualityConstraintVector::description(ZqU32 constraint) const
{
   ZqString text = "constraint " + ZqINT2STRING(constraint, 10);
   if (constraint < size() && vectorContainer()[constraint] != nullptr)
      text += " (" + vectorContainer()[constraint]->description() + ")";
   return text;
}

void ZqStateEqualityConstraintVector::apply(const ZqLinkEdit& edit)
{
   for (ZqU32 i = size(); i-- > 0;)
   {
      ZqBaseStateEqualityConstraint* constraint = vectorContainer()[i];
      if (constraint == nullptr || constraint->apply(edit))
         continue;
      erase(i);
      Zq::Print::instance().write(
         Zq::Oddity,
         "ZqStateEqualityConstraintVector::apply(): constraint %u is removed "
         "with a link of it.\n",
         i);
   }
}
