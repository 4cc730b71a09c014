#include "zqManipulator/simulation/constraints/ZqPointPairStateEqualityConstraint.h"

#include "zqManipulator/tools/labels/ZqModelEdit.h"
#include "zqManipulator/tools/labels/ZqModelScaling.h"

ZqString ZqPointPairStateEqualityConstraint::description() const
{
   return ZqBaseStateEqualityConstraint::description() + " between \"" + m_firstLinkLabel +
          "\" and \"" + m_secondLinkLabel + "\"";
}

bool ZqPointPairStateEqualityConstraint::apply(const ZqLinkEdit& edit)
{
   const auto follow = [&edit](ZqString& label, ZqVector& point)
   {
      if (const ZqCoordinateSystemTransformation* placement = edit.placement(label))
         point = *placement * point;
      return edit.apply(label);
   };
   const bool firstStays = follow(m_firstLinkLabel, m_firstLinkPoint);
   return follow(m_secondLinkLabel, m_secondLinkPoint) && firstStays;
}

void ZqPointPairStateEqualityConstraint::scaleBy(const ZqModelScaling& scaling)
{
   m_firstLinkPoint = scaling.scaled(m_firstLinkLabel, m_firstLinkPoint);
   m_secondLinkPoint = scaling.scaled(m_secondLinkLabel, m_secondLinkPoint);
}
