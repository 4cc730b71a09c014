#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <map>
#include <utility>

class ZqLinkEdit;

/// A mapping, one to one, between the new label of a link and the labels of the manipulator and the
/// link that it had before.
class ZqManipulatorLinkLabelMapping
{
public:
   /// The manipulator's label and the link's; ordered by the former, then by the latter.
   using ManipulatorLinkLabel = std::pair<ZqString, ZqString>;

   /// Adds both directions. False, with nothing changed, if either side is mapped already.
   bool insert(const ZqString& newLabel, const ManipulatorLinkLabel& manipulatorLinkLabel);

   /// Follows the links that have the new labels.
   void apply(const ZqLinkEdit& edit);

   const std::map<ZqString, ManipulatorLinkLabel>& newLabelToManipulatorLinkLabel() const
   {
      return m_newLabelToManipulatorLinkLabel;
   }
   const std::map<ManipulatorLinkLabel, ZqString>& manipulatorLinkLabelToNewLabel() const
   {
      return m_manipulatorLinkLabelToNewLabel;
   }

   bool operator==(const ZqManipulatorLinkLabelMapping&) const = default;

private:
   std::map<ZqString, ManipulatorLinkLabel> m_newLabelToManipulatorLinkLabel;
   std::map<ManipulatorLinkLabel, ZqString> m_manipulatorLinkLabelToNewLabel;
};
