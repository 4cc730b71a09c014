#include "zqManipulator/simulation/constraints/ZqMultivariableJointStateConstraint.h"

#include "zqManipulator/state/ZqPositionState.h"
#include "zqManipulator/tools/labels/ZqModelEdit.h"

template class ZqXmlClass<ZqMultivariableJointStateConstraint, ZqBaseStateConstraint>;

ZqReal ZqMultivariableJointStateConstraint::evaluate(const ZqPositionState& position) const
{
   const ZqBaseMultivariableConstraint* const function = constraint();
   return function != nullptr ? function->evaluate(position.jointPositions()) : 0.0;
}

void ZqMultivariableJointStateConstraint::getGradient(const ZqPositionState& position,
                                                      std::vector<ZqReal>& gradient) const
{
   if (const ZqBaseMultivariableConstraint* const function = constraint())
      function->getGradient(position.jointPositions(), gradient);
   else
      gradient.assign(position.jointPositions().size(), 0.0);
}

bool ZqMultivariableJointStateConstraint::apply(const ZqLinkEdit& edit)
{
   ZqBaseMultivariableConstraint* const function = constraint();
   return function == nullptr ||
          function->apply([&](ZqU32 index) { return movedJoint(edit, index); });
}
