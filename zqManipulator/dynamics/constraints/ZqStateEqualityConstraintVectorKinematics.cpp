#include "zqManipulator/simulation/constraints/ZqStateEqualityConstraintVector.h"

#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

namespace
{
/// Calls a function for each constraint, with the first of its rows.
template <class Function>
void forRowsOfEach(const ZqStateEqualityConstraintVector& constraints, const Function& function)
{
   ZqU32 next = 0;
   for (const ZqBaseStateEqualityConstraint* constraint : constraints.vectorContainer())
   {
      const ZqU32 count = constraint != nullptr ? constraint->doc() : 0;
      if (count != 0)
         function(*constraint, next);
      next += count;
   }
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

void ZqStateEqualityConstraintVector::getJacobian(const ZqIndividualManipulator& manipulator,
                                                  const ZqPositionState& position,
                                                  ZqReArray& result) const
{
   result.setToZeros(doc(), manipulator.totalDof());
   forRowsOfEach(*this, [&](const ZqBaseStateEqualityConstraint& constraint, ZqU32 firstRow)
                 { constraint.copyJacobian(manipulator, position, firstRow, result); });
}

void ZqStateEqualityConstraintVector::getJacobianDerivative(
   const ZqIndividualManipulator& manipulator, const ZqPositionState& position,
   const ZqVelocityState& velocity, ZqReArray& result) const
{
   result.setToZeros(doc(), manipulator.totalDof());
   forRowsOfEach(
      *this, [&](const ZqBaseStateEqualityConstraint& constraint, ZqU32 firstRow)
      { constraint.copyJacobianDerivative(manipulator, position, velocity, firstRow, result); });
}

void ZqStateEqualityConstraintVector::getKinematics(const ZqIndividualManipulator& manipulator,
                                                    ZqManipulatorActiveState& activeState,
                                                    ZqConstraintKinematics& result) const
{
   manipulator.placeBase(activeState.activePositionState());
   result.setToZeros(doc(), manipulator.totalDof());
   forRowsOfEach(*this, [&](const ZqBaseStateEqualityConstraint& constraint, ZqU32 firstRow)
                 { constraint.addKinematics(manipulator, activeState, firstRow, result); });
}

const ZqReArray&
ZqStateEqualityConstraintVector::jacobian(const ZqIndividualManipulator& manipulator,
                                          const ZqPositionState& position) const
{
   getJacobian(manipulator, position, m_jacobian.get());
   return m_jacobian.get();
}

const ZqReArray&
ZqStateEqualityConstraintVector::jacobianDerivative(const ZqIndividualManipulator& manipulator,
                                                    const ZqPositionState& position,
                                                    const ZqVelocityState& velocity) const
{
   getJacobianDerivative(manipulator, position, velocity, m_jacobianDerivative.get());
   return m_jacobianDerivative.get();
}

const ZqConstraintKinematics&
ZqStateEqualityConstraintVector::kinematics(const ZqIndividualManipulator& manipulator,
                                            ZqManipulatorActiveState& activeState) const
{
   getKinematics(manipulator, activeState, m_kinematics.get());
   return m_kinematics.get();
}
