#pragma once

#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"
#include "zqManipulator/tools/labels/ZqModelEdit.h"

#include <tuple>

/// Names a link across a system, by the index of its manipulator and its label. Ordered by index, then
/// by label.
class ZqManipulatorLinkIdentifier : public ZqXmlClass<ZqManipulatorLinkIdentifier>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqManipulatorLinkIdToken; }
   static constexpr const char* documentation = "a link of a system";
   template <class This = ZqManipulatorLinkIdentifier>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_manipulatorId, &ZqManip::ZqManipulatorIdToken,
                                    "index of the manipulator"},
                        ZqComponent{&This::m_linkId, &ZqManip::ZqLinkIdToken, "label of the link"}};
   }

   ZqManipulatorLinkIdentifier() = default;
   ZqManipulatorLinkIdentifier(ZqU32 manipulatorId, ZqString linkId)
      : m_manipulatorId(manipulatorId), m_linkId(std::move(linkId))
   {
   }
   bool operator==(const ZqManipulatorLinkIdentifier&) const = default;
   bool operator<(const ZqManipulatorLinkIdentifier& other) const
   {
      return m_manipulatorId != other.m_manipulatorId ? m_manipulatorId < other.m_manipulatorId
                                                      : m_linkId < other.m_linkId;
   }

   virtual ZqU32 manipulatorId() const { return m_manipulatorId; }
   virtual void setManipulatorId(ZqU32 index) { m_manipulatorId = index; }
   virtual const ZqString& linkId() const { return m_linkId; }
   virtual void setLinkId(const ZqString& label) { m_linkId = label; }

   /// Follows the link. False, with no change, when it is gone.
   bool apply(const ZqModelEdit& edit)
   {
      const auto name = edit.name(m_manipulatorId, m_linkId);
      if (name)
         std::tie(m_manipulatorId, m_linkId) = *name;
      return name.has_value();
   }

private:
   ZqU32 m_manipulatorId = 0;
   ZqString m_linkId;
};

extern template class ZqXmlClass<ZqManipulatorLinkIdentifier>;
