#include "zqManipulator/tools/ZqManipulatorLinkLabelMapping.h"

bool ZqManipulatorLinkLabelMapping::insert(const ZqString& newLabel,
                                           const ManipulatorLinkLabel& manipulatorLinkLabel)
{
   if (m_newLabelToManipulatorLinkLabel.contains(newLabel) ||
       m_manipulatorLinkLabelToNewLabel.contains(manipulatorLinkLabel))
      return false;

   m_newLabelToManipulatorLinkLabel.emplace(newLabel, manipulatorLinkLabel);
   m_manipulatorLinkLabelToNewLabel.emplace(manipulatorLinkLabel, newLabel);
   return true;
}
