#include "zqManipulator/simulation/constraints/ZqConditionalJointStateConstraint.h"

#include "zqManipulator/foundation/function/ZqLinearMultivariableConstraint.h"
#include "zqManipulator/state/ZqPositionState.h"
#include "zqManipulator/tools/labels/ZqModelEdit.h"
#include "zqManipulator/tools/labels/ZqModelScaling.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

template class ZqXmlClass<ZqConditionalJointStateConstraint, ZqBaseStateConstraint>;

namespace
{
/// No position is beyond it.
constexpr ZqReal noBound = std::numeric_limits<ZqReal>::max();

bool allowsEverything(const ZqBaseMultivariableConstraint* function)
{
   const auto* const linear = dynamic_cast<const ZqLinearMultivariableConstraint*>(function);
   return function == nullptr ||
          (linear != nullptr && *linear == ZqLinearMultivariableConstraint());
}
} // namespace

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
      const ZqLinkRestatement& restatement = edit.restatement(m_index);
      if (restatement.jointSign < 0.0)
         turn();
      moveBounds(1.0, restatement.jointShift);
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

void ZqConditionalJointStateConstraint::scaleBy(const ZqModelScaling& scaling)
{
   moveBounds(scaling.jointFactor(m_index), 0.0);
   for (ZqBaseMultivariableConstraint* function : m_constraints.vectorContainer())
      if (function != nullptr)
         function->apply(
            [&](ZqU32 index) {
               return ZqBaseMultivariableConstraint::Moved{index, scaling.jointFactor(index), 0.0};
            });
}

/// One beyond all positions stays so.
void ZqConditionalJointStateConstraint::moveBounds(ZqReal factor, ZqReal shift)
{
   for (ZqReal& bound : m_conditionals.values())
      if (std::abs(bound) < noBound)
         bound = std::clamp(factor * bound + shift, -noBound, noBound);
}

/// Has the ranges keep their functions when positions x become -x. One that went up to its bound, from after the
/// bound before, ends just before that one now; the last is the first, and before it stands what was beyond all
/// bounds. Turned twice, each selects what it did.
void ZqConditionalJointStateConstraint::turn()
{
   const auto& functions = m_constraints.vectorContainer();
   const std::vector<ZqReal>& bounds = m_conditionals.values();
   // The bounds below which ranges begin, for those that select anything.
   std::vector<std::pair<ZqReal, const ZqBaseMultivariableConstraint*>> ranges;
   ZqReal last = -noBound;
   for (std::size_t i = 0; i < std::min<std::size_t>(functions.size(), bounds.size()); ++i)
      if (bounds[i] > last)
      {
         ranges.emplace_back(last, functions[i]);
         last = bounds[i];
      }
   if (ranges.empty())
      return;
   const ZqLinearMultivariableConstraint everything;
   if (last < noBound)
      ranges.emplace_back(last, &everything);
   // What is beyond all bounds needs no function.
   if (allowsEverything(ranges.front().second))
      ranges.erase(ranges.begin());

   std::vector<ZqReal> turnedBounds;
   ZqMultivariableConstraintVector turned;
   for (auto range = ranges.rbegin(); range != ranges.rend(); ++range)
   {
      const auto& [start, function] = *range;
      turnedBounds.push_back(start > -noBound ? std::nextafter(-start, -noBound) : noBound);
      turned.pushBack(function != nullptr ? *function : everything);
   }
   m_conditionals = turnedBounds;
   m_constraints = turned;
}
