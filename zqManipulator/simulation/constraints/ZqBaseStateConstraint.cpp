#include "zqManipulator/simulation/constraints/ZqBaseStateConstraint.h"

#include "zqManipulator/tools/labels/ZqModelEdit.h"

#include <cmath>

const std::vector<ZqReal>& ZqBaseStateConstraint::gradient(const ZqPositionState& position,
                                                           bool) const
{
   getGradient(position, gradientBuffer());
   return gradientBuffer();
}

ZqBaseMultivariableConstraint::Moved ZqBaseStateConstraint::movedJoint(const ZqLinkEdit& edit,
                                                                       ZqU32 index)
{
   const ZqU32 newIndex = edit.index(index);
   const ZqLinkRestatement& restatement = edit.restatement(newIndex);
   return {newIndex, restatement.jointSign, restatement.jointShift};
}

void ZqBaseStateConstraint::normalizeGradient() const
{
   ZqReal squares = 0.0;
   for (const ZqReal value : gradientBuffer())
      squares += value * value;
   if (!(squares > 0.0))
      return;
   const ZqReal length = std::sqrt(squares);
   for (ZqReal& value : gradientBuffer())
      value /= length;
}
