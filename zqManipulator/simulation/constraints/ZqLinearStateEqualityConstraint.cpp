#include "zqManipulator/simulation/constraints/ZqLinearStateEqualityConstraint.h"

#include "zqManipulator/tools/labels/ZqModelEdit.h"

#include <algorithm>

template class ZqXmlClass<ZqLinearStateEqualityConstraint, ZqBaseStateEqualityConstraint>;

ZqU32 ZqLinearStateEqualityConstraint::doc() const
{
   return std::min({m_weightedSums.size(), m_baseWeights.size(), m_jointWeights.size()});
}

bool ZqLinearStateEqualityConstraint::apply(const ZqLinkEdit& edit)
{
   const ZqU32 before = doc();
   // What moves as a part of another link has no velocity of its own.
   const bool baseStays = edit.index(ZqBaseLinkIndex) == ZqBaseLinkIndex && !edit.baseIsMerged();
   for (ZqU32 row = m_jointWeights.size(); row-- > 0;)
   {
      std::vector<ZqReal>& weights = m_jointWeights[row].values();
      bool stays = baseStays || row >= m_baseWeights.size() ||
                   std::all_of(m_baseWeights[row].begin(), m_baseWeights[row].end(),
                               [](ZqReal weight) { return weight == 0.0; });
      for (ZqU32 i = 0; i < weights.size(); ++i)
         stays = stays && (weights[i] == 0.0 || edit.index(i) != ZqNoLinkIndex);
      if (stays)
      {
         weights = edit.indices().moved(weights, 0.0);
         restate(weights, row, edit);
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

/// The sum of w q stays what it was, told by other values of q.
void ZqLinearStateEqualityConstraint::restate(std::vector<ZqReal>& weights, ZqU32 row,
                                              const ZqLinkEdit& edit)
{
   for (ZqU32 i = 0; edit.hasRestatements() && i < weights.size(); ++i)
   {
      const ZqLinkRestatement& restatement = edit.restatement(i);
      weights[i] *= restatement.jointSign;
      if (row < m_weightedSums.size())
         m_weightedSums[row] += weights[i] * restatement.jointShift;
   }
}
