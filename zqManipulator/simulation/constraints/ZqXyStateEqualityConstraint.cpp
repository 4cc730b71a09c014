#include "zqManipulator/simulation/constraints/ZqXyStateEqualityConstraint.h"

#include "zqManipulator/tools/labels/ZqModelEdit.h"

template class ZqXmlClass<ZqXyStateEqualityConstraint, ZqPointPairStateEqualityConstraint>;

bool ZqXyStateEqualityConstraint::apply(const ZqLinkEdit& edit)
{
   const bool stays = ZqPointPairStateEqualityConstraint::apply(edit);
   m_xyOrientation = edit.restatement(secondLinkLabel()).T.orientation() * m_xyOrientation;
   return stays;
}
