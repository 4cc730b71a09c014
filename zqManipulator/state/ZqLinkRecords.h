#pragma once

#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"
#include "zqManipulator/state/ZqEpoch.h"

#include <utility>
#include <vector>

/// What the records of one manipulator share: a record for each link below the base, by link index, and
/// one for the base link. Derived states the members in its list and the operations on them.
///
/// All flags of all records fall by one number: a new epoch. A record whose stamp is of an earlier epoch
/// is looked after when somebody asks for it. A reference to a record that is kept over a change of state
/// does not see its flags fall until then.
template <class Derived, class Record>
class ZqLinkRecords : public ZqXmlClass<Derived>
{
public:
   using Records = ZqXmlVectorType<Record>;

   ZqLinkRecords() = default;
   ZqLinkRecords(const ZqLinkRecords& other) = default;
   ZqLinkRecords(ZqLinkRecords&& other) noexcept = default;
   // A record keeps some of its own flags when it is assigned to: those must be right before. What was
   // computed in the epoch of the other may have been computed by whoever asked that one: a new one begins.
   ZqLinkRecords& operator=(const ZqLinkRecords& other)
   {
      if (this == &other)
         return *this;
      settle();
      other.settle();
      ZqXmlClass<Derived>::operator=(other);
      m_links = other.m_links;
      m_base = other.m_base;
      renew();
      return *this;
   }
   ZqLinkRecords& operator=(ZqLinkRecords&& other) noexcept
   {
      present(ZqBaseLinkIndex);
      other.settle();
      ZqXmlClass<Derived>::operator=(std::move(other));
      m_links = std::move(other.m_links);
      m_base = std::move(other.m_base);
      m_stamps = std::move(other.m_stamps);
      renew();
      return *this;
   }
   ~ZqLinkRecords() override = default;
   bool operator==(const ZqLinkRecords& other) const
   {
      settle();
      other.settle();
      return m_links == other.m_links && m_base == other.m_base;
   }
   bool read(ZqXmlReader& reader) override
   {
      settle();
      const bool succeeded = ZqXmlClass<Derived>::read(reader);
      renew();
      return succeeded;
   }
   bool write(ZqXmlWriter& writer) const override
   {
      settle();
      return ZqXmlClass<Derived>::write(writer);
   }
   const ZqXmlCompoundType::ComponentMap& componentMap() const override
   {
      settle();
      return ZqXmlClass<Derived>::componentMap();
   }

   /// The number of links below the base that have a record.
   virtual ZqU32 size() const { return m_links.size(); }
   /// The record of a link, or of the base for `ZqBaseLinkIndex`, where a query stores what it computes,
   /// in place. The index is not tested.
   Record& record(ZqU32 index) { return present(index); }
   const Record& record(ZqU32 index) const { return present(index); }
   /// Changes whenever all flags fall, to a number that no other records of the kind ever had.
   std::uint64_t epoch() const noexcept { return m_epoch; }

protected:
   void invalidateRecords() noexcept { m_epoch = zqNextEpoch(); }
   /// The same in an epoch that other kinds of records of the manipulator begin as well.
   void invalidateRecords(std::uint64_t epoch) noexcept { m_epoch = epoch; }
   void resizeRecords(ZqU32 count)
   {
      if (m_links.size() == count)
         return;
      m_links.resize(count);
      m_stamps.resize(count, m_epoch);
   }
   /// The list as others may see it, with the flags that are down cleared.
   Records& links() const
   {
      settle();
      return m_links;
   }
   void setLinks(const Records& links)
   {
      settle();
      m_links = links;
      renew();
   }

   mutable Records m_links;
   mutable Record m_base;

private:
   Record& present(ZqU32 index) const
   {
      if (index == ZqBaseLinkIndex)
      {
         if (m_baseStamp != m_epoch)
            lower(m_base, m_baseStamp);
         return m_base;
      }
      if (index >= m_stamps.size())
         settle(); // somebody has changed the list
      if (m_stamps[index] != m_epoch)
         lower(m_links[index], m_stamps[index]);
      return m_links[index];
   }
   void lower(Record& record, std::uint64_t& stamp) const
   {
      record.invalidateAll();
      stamp = m_epoch;
   }
   /// Lowers the flags of all records of earlier epochs.
   void settle() const
   {
      m_stamps.resize(m_links.size(), m_epoch);
      for (ZqU32 i = 0; i < m_links.size(); ++i)
         present(i);
      present(ZqBaseLinkIndex);
   }
   /// The flags that stand in the records are right, for a state that is new.
   void renew()
   {
      m_epoch = zqNextEpoch();
      m_stamps.assign(m_links.size(), m_epoch);
      m_baseStamp = m_epoch;
   }

   mutable std::vector<std::uint64_t>
      m_stamps; ///< by link: the epoch in which its flags were right
   mutable std::uint64_t m_baseStamp = 0;
   std::uint64_t m_epoch = 0;
};
