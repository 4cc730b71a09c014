#pragma once

#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"
#include "zqManipulator/tools/labels/ZqModelEdit.h"

#include <tuple>

/// The record that a manipulator was attached to a link of another one, or detached.
class ZqManipulatorAttachmentChange : public ZqXmlClass<ZqManipulatorAttachmentChange>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqManipulatorAttachmentChangeToken; }
   static constexpr const char* documentation = "the record of an attachment or a detachment";
   template <class This = ZqManipulatorAttachmentChange>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_manipulatorIndex, &ZqManip::ZqManipulatorIdToken,
                     "index of the manipulator that was attached or detached"},
         ZqComponent{&This::m_isAttach, &ZqManip::ZqIsAttachToken,
                     "true for attached, false for detached"},
         ZqComponent{&This::m_baseManipulatorIndex, &ZqManip::ZqBaseManipulatorIndexToken,
                     "index of the manipulator that it hangs on"},
         ZqComponent{&This::m_baseLinkLabel, &ZqManip::ZqBaseLinkLabelToken,
                     "label of the link that it hangs on"},
         ZqComponent{&This::m_offset, &ZqManip::ZqOffsetToken,
                     "frame of the attachment in the primary frame of that link"},
         ZqComponent{&This::m_name, &ZqManip::ZqNameToken, "name of the attachment"}};
   }
   bool operator==(const ZqManipulatorAttachmentChange&) const = default;

   void setFromManipulatorAttach(ZqU32 manipulatorIndex, ZqU32 baseManipulatorIndex,
                                 const ZqString& linkLabel,
                                 const ZqCoordinateSystemTransformation& offset,
                                 const ZqString& name)
   {
      m_manipulatorIndex = manipulatorIndex;
      m_isAttach = true;
      m_baseManipulatorIndex = baseManipulatorIndex;
      m_baseLinkLabel = linkLabel;
      m_offset = offset;
      m_name = name;
   }
   /// Leaves what tells of the place.
   void setFromManipulatorDetach(ZqU32 manipulatorIndex)
   {
      m_manipulatorIndex = manipulatorIndex;
      m_isAttach = false;
   }

   /// Follows the manipulators and the link. False when one of them is gone, and the change with it.
   bool apply(const ZqModelEdit& edit)
   {
      m_manipulatorIndex = edit.manipulator(m_manipulatorIndex);
      const auto carrier = edit.name(m_baseManipulatorIndex, m_baseLinkLabel);
      if (m_isAttach && carrier)
         m_offset = edit.restatement(m_baseManipulatorIndex, m_baseLinkLabel).T * m_offset;
      if (m_isAttach && carrier)
         std::tie(m_baseManipulatorIndex, m_baseLinkLabel) = *carrier;
      return m_manipulatorIndex != ZqRenumbering::gone && (!m_isAttach || carrier);
   }

   ZqU32 manipulatorIndex() const { return m_manipulatorIndex; }
   bool isAttach() const { return m_isAttach; }
   ZqU32 baseManipulatorIndex() const { return m_baseManipulatorIndex; }
   const ZqString& baseLinkLabel() const { return m_baseLinkLabel; }
   /// In the primary frame of the link.
   const ZqCoordinateSystemTransformation& offset() const { return m_offset; }
   const ZqString& name() const { return m_name; }

private:
   ZqU32 m_manipulatorIndex = 0;
   bool m_isAttach = false;
   ZqU32 m_baseManipulatorIndex = 0;
   ZqString m_baseLinkLabel;
   ZqCoordinateSystemTransformation m_offset;
   ZqString m_name;
};

extern template class ZqXmlClass<ZqManipulatorAttachmentChange>;
extern template class ZqXmlVectorType<ZqManipulatorAttachmentChange>;
