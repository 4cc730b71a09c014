#include "zqManipulator/simulation/constraints/ZqConditionalJointStateConstraint.h"

#include "zqManipulator/foundation/function/ZqLinearMultivariableConstraint.h"
#include "zqManipulator/state/ZqPositionState.h"
#include "zqManipulator/tools/labels/ZqModelEdit.h"

#include <algorithm>
#include <limits>

template class ZqXmlClass<ZqConditionalJointStateConstraint, ZqBaseStateConstraint>;

const ZqBaseMultivariableConstraint*
ZqConditionalJointStateConstraint::getActiveConstraint(ZqReal x) const
{
   const auto& constraints = m_constraints.vectorContainer();
   for (std::size_t i = 0; i < std::min<std::size_t>(constraints.size(), m_conditionals.size());
        ++i)
      if (x <= m_conditionals[i])
         return constraints[i];
   return nullptr;
}

const ZqBaseMultivariableConstraint*
ZqConditionalJointStateConstraint::constraintAt(const ZqPositionState& position) const
{
   if (isUnconditional())
      return m_constraints.vectorContainer().front();
   const std::vector<ZqReal>& q = position.jointPositions();
   return m_index < q.size() ? getActiveConstraint(q[m_index]) : nullptr;
}

ZqReal ZqConditionalJointStateConstraint::evaluate(const ZqPositionState& position) const
{
   const ZqBaseMultivariableConstraint* const function = constraintAt(position);
   return function != nullptr ? function->evaluate(position.jointPositions()) : 0.0;
}

void ZqConditionalJointStateConstraint::getGradient(const ZqPositionState& position,
                                                    std::vector<ZqReal>& gradient) const
{
   if (const ZqBaseMultivariableConstraint* const function = constraintAt(position))
      function->getGradient(position.jointPositions(), gradient);
   else
      gradient.assign(position.jointPositions().size(), 0.0);
}

bool ZqConditionalJointStateConstraint::apply(const ZqLinkEdit& edit)
{
   if (!isUnconditional())
   {
      m_index = edit.index(m_index);
      if (m_index == ZqNoLinkIndex)
         return false;
      restateBounds(edit.restatement(m_index));
   }
   const auto& constraints = m_constraints.vectorContainer();
   return std::all_of(constraints.begin(), constraints.end(),
                      [&](ZqBaseMultivariableConstraint* function)
                      {
                         return function == nullptr ||
                                function->apply([&](ZqU32 index)
                                                { return movedJoint(edit, index); });
                      });
}

/// The ranges keep their functions when the joint that selects is told by other positions. Where its sense
/// turns, the last range is the first one, before it stands the one without a limit, and the first, which had no
/// lower bound, has no upper one.
void ZqConditionalJointStateConstraint::restateBounds(const ZqLinkRestatement& restatement)
{
   for (ZqReal& bound : m_conditionals.values())
      bound = restatement.position(bound);
   if (restatement.jointSign > 0.0 || m_conditionals.size() == 0)
      return;
   auto& bounds = m_conditionals.values();
   const std::size_t count = std::min<std::size_t>(bounds.size(), m_constraints.size());
   bounds.resize(count);
   std::reverse(bounds.begin(), bounds.end());
   bounds.push_back(std::numeric_limits<ZqReal>::max());
   ZqMultivariableConstraintVector turned;
   turned.pushBack(ZqLinearMultivariableConstraint());
   for (std::size_t i = count; i-- > 0;)
      turned.pushBack(*m_constraints.vectorContainer()[i]);
   m_constraints = turned;
}
