#include "zqManipulator/tools/labels/ZqManipulatorLinkLabelMapping.h"

#include "zqManipulator/tools/labels/ZqManipulatorLinkIdentifier.h"
#include "zqManipulator/tools/labels/ZqModelEdit.h"

template class ZqXmlClass<ZqManipulatorLinkIdentifier>;

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

void ZqManipulatorLinkLabelMapping::apply(const ZqLinkEdit& edit)
{
   ZqManipulatorLinkLabelMapping applied;
   for (const auto& [label, source] : m_newLabelToManipulatorLinkLabel)
      if (const ZqString* newLabel = edit.label(label))
         applied.insert(*newLabel, source);
   *this = std::move(applied);
}
