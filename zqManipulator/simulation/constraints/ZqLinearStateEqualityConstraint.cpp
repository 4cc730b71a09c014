#include "zqManipulator/simulation/constraints/ZqLinearStateEqualityConstraint.h"

#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/tools/labels/ZqModelEdit.h"

#include <algorithm>

template class ZqXmlClass<ZqLinearStateEqualityConstraint, ZqBaseStateEqualityConstraint>;

ZqU32 ZqLinearStateEqualityConstraint::doc() const
{
   return std::min({m_weightedSums.size(), m_baseWeights.size(), m_jointWeights.size()});
}

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

bool ZqLinearStateEqualityConstraint::apply(const ZqLinkEdit& edit)
{
   const ZqU32 before = doc();
   for (ZqU32 row = m_jointWeights.size(); row-- > 0;)
   {
      std::vector<ZqReal>& weights = m_jointWeights[row].values();
      bool stays = true;
      for (ZqU32 i = 0; i < weights.size(); ++i)
         stays = stays && (weights[i] == 0.0 || edit.index(i) != ZqNoLinkIndex);
      if (stays)
      {
         weights = edit.indices().moved(weights, 0.0);
         continue;
      }
      m_jointWeights.erase(row);
      if (row < m_baseWeights.size())
         m_baseWeights.erase(row);
      if (row < m_weightedSums.size())
         m_weightedSums.values().erase(m_weightedSums.begin() + row);
   }
   return before == 0 || doc() > 0;
}
