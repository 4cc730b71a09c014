#include "zqManipulator/simulation/constraints/ZqPointPairStateEqualityConstraint.h"

#include "zqManipulator/tools/labels/ZqModelEdit.h"

ZqString ZqPointPairStateEqualityConstraint::description() const
{
   return ZqBaseStateEqualityConstraint::description() + " between \"" + m_firstLinkLabel +
          "\" and \"" + m_secondLinkLabel + "\"";
}

bool ZqPointPairStateEqualityConstraint::apply(const ZqLinkEdit& edit)
{
   const bool firstStays = edit.apply(m_firstLinkLabel);
   return edit.apply(m_secondLinkLabel) && firstStays;
}
