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
   const bool secondStays = edit.apply(m_secondLinkLabel);
   m_firstLinkPoint = edit.restatement(m_firstLinkLabel).T * m_firstLinkPoint;
   m_secondLinkPoint = edit.restatement(m_secondLinkLabel).T * m_secondLinkPoint;
   return firstStays && secondStays;
}
