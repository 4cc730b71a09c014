#pragma once

#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"

/// What the records of one manipulator share: a record for each link below the base, by link index, and
/// one for the base link. Derived states the members in its list and the operations on them.
template <class Derived, class Record>
class ZqLinkRecords : public ZqXmlClass<Derived>
{
public:
   bool operator==(const ZqLinkRecords&) const = default;

   using Records = ZqXmlVectorType<Record>;

   /// The number of links below the base that have a record.
   virtual ZqU32 size() const { return m_links.size(); }
   /// The record of a link, or of the base for `ZqBaseLinkIndex`, where a query stores what it computes,
   /// in place. The index is not tested.
   Record& record(ZqU32 index) { return index == ZqBaseLinkIndex ? m_base : m_links[index]; }
   const Record& record(ZqU32 index) const
   {
      return index == ZqBaseLinkIndex ? m_base : m_links[index];
   }

protected:
   void invalidateRecords()
   {
      for (Record& link : m_links)
         link.invalidateAll();
      m_base.invalidateAll();
   }
   void resizeRecords(ZqU32 count)
   {
      if (m_links.size() != count)
         m_links.resize(count);
   }

   Records m_links;
   Record m_base;
};
