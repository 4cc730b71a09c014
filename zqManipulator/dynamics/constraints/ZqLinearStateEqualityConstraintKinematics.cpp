#include "zqManipulator/simulation/constraints/ZqLinearStateEqualityConstraint.h"

#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"

#include <algorithm>
#include <span>

const ZqReArray&
ZqLinearStateEqualityConstraint::jacobian(const ZqIndividualManipulator& manipulator,
                                          const ZqPositionState&) const
{
   const ZqU32 rows = doc();
   if (rows == 0)
      return m_jacobian;

   m_jacobian.setToZeros(rows, manipulator.totalDof());
   copyWeights(manipulator, 0, m_jacobian);
   return m_jacobian;
}

void ZqLinearStateEqualityConstraint::copyWeights(const ZqIndividualManipulator& manipulator,
                                                  ZqU32 firstRow, ZqReArray& rows) const
{
   const std::size_t baseColumns = manipulator.isFixedBase() ? 0 : 6;
   const auto copyFitting = [](const std::vector<ZqReal>& weights, std::span<ZqReal> columns)
   { std::copy_n(weights.begin(), std::min(weights.size(), columns.size()), columns.begin()); };
   for (ZqU32 i = 0; i < doc(); ++i)
   {
      const std::span<ZqReal> row = rows[firstRow + i];
      copyFitting(m_baseWeights[i], row.first(baseColumns));
      copyFitting(m_jointWeights[i], row.subspan(baseColumns));
   }
}

void ZqLinearStateEqualityConstraint::addKinematics(const ZqIndividualManipulator& manipulator,
                                                    ZqManipulatorActiveState&, ZqU32 firstRow,
                                                    ZqConstraintKinematics& kinematics) const
{
   copyWeights(manipulator, firstRow, kinematics.jacobian);
}

const ZqReArray& ZqLinearStateEqualityConstraint::jacobianDerivative(
   const ZqIndividualManipulator& manipulator, const ZqPositionState&, const ZqVelocityState&) const
{
   return zeroDerivative(doc(), manipulator.totalDof());
}
