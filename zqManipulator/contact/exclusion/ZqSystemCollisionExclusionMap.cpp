#include "zqManipulator/contact/exclusion/ZqSystemCollisionExclusionMap.h"

#include "zqManipulator/tools/labels/ZqModelEdit.h"

#include <algorithm>

template class ZqXmlClass<ZqSystemCollisionExclusionMap>;

template class ZqXmlSetType<ZqU32>;
template class ZqXmlSetType<ZqManipulatorLinkIdentifier>;
template class ZqXmlMapType<ZqU32, ZqXmlSetType<ZqU32>>;
template class ZqXmlMapType<ZqManipulatorLinkIdentifier, ZqXmlSetType<ZqU32>>;
template class ZqXmlMapType<ZqManipulatorLinkIdentifier, ZqXmlSetType<ZqManipulatorLinkIdentifier>>;

namespace
{
ZqU32 manipulatorOf(ZqU32 manipulator)
{
   return manipulator;
}

ZqU32 manipulatorOf(const ZqManipulatorLinkIdentifier& identifier)
{
   return identifier.manipulatorId();
}

const ZqString* linkLabelOf(ZqU32)
{
   return nullptr;
}

const ZqString* linkLabelOf(const ZqManipulatorLinkIdentifier& identifier)
{
   return &identifier.linkId();
}

ZqU32 shifted(ZqU32 manipulator, ZqU32 threshold, ZqU32 shift)
{
   return manipulator >= threshold ? manipulator + shift : manipulator;
}

ZqManipulatorLinkIdentifier shifted(const ZqManipulatorLinkIdentifier& identifier, ZqU32 threshold,
                                    ZqU32 shift)
{
   return {shifted(identifier.manipulatorId(), threshold, shift), identifier.linkId()};
}

template <class K, class Set>
void shiftKeysAndMembers(ZqXmlMapType<K, Set>& map, ZqU32 threshold, ZqU32 shift)
{
   ZqXmlMapType<K, Set> fresh;
   for (const auto& [key, members] : map.mapContainer())
   {
      Set shiftedMembers;
      for (const auto& member : members.setContainer())
         shiftedMembers.add(shifted(member, threshold, shift));
      fresh.add(shifted(key, threshold, shift), shiftedMembers);
   }
   map = std::move(fresh);
}

/// Erases keys, members and then keys without members. True when anything was erased.
template <class K, class Set, class Predicate>
bool eraseIf(ZqXmlMapType<K, Set>& map, const Predicate& isToGo)
{
   const auto goes = [&](auto& entry)
   { return isToGo(entry.first) || entry.second.setContainer().empty(); };
   bool erased = false;
   for (auto& [key, members] : map.mapContainer())
      if (!isToGo(key) && std::erase_if(members.setContainer(), isToGo) > 0)
         erased = true;
   return std::erase_if(map.mapContainer(), goes) > 0 || erased;
}

template <class K, class Set, class Member>
bool holds(const ZqXmlMapType<K, Set>& map, const K& key, const Member& member)
{
   const Set* members = map.lookupPointer(key);
   return members != nullptr && members->setContainer().contains(member);
}

/// Removes a member of the set of a key; the key stays even when its set is then empty.
template <class K, class Set, class Member>
bool removeFrom(ZqXmlMapType<K, Set>& map, const K& key, const Member& member)
{
   Set* members = map.lookupPointer(key);
   return members != nullptr && members->erase(member);
}

template <class K, class Set>
bool hasMembers(const ZqXmlMapType<K, Set>& map, const K& key)
{
   const Set* members = map.lookupPointer(key);
   return members != nullptr && !members->setContainer().empty();
}

template <class K, class Set, class Member>
bool isMemberOfAny(const ZqXmlMapType<K, Set>& map, const Member& member)
{
   const auto& entries = map.mapContainer();
   return std::any_of(entries.begin(), entries.end(),
                      [&](const auto& entry)
                      { return entry.second.setContainer().contains(member); });
}

template <class Map>
void assignEntries(Map& map, const Map& other)
{
   for (const auto& [key, members] : other.mapContainer())
      map.add(key, members);
}

bool follow(ZqU32& manipulator, const ZqModelEdit& edit)
{
   manipulator = edit.manipulator(manipulator);
   return manipulator != ZqRenumbering::gone;
}

bool follow(ZqManipulatorLinkIdentifier& identifier, const ZqModelEdit& edit)
{
   return identifier.apply(edit);
}

/// Puts pairs of two manipulators or of two links in order again after their indices or labels changed:
/// the lesser one is the key. Keys with an empty set stay.
template <class K, class Set>
void follow(ZqXmlMapType<K, Set>& map, const ZqModelEdit& edit)
{
   ZqXmlMapType<K, Set> fresh;
   for (const auto& [key, members] : map.mapContainer())
   {
      K newKey = key;
      if (!follow(newKey, edit))
         continue;
      if (members.setContainer().empty())
         fresh.mapContainer()[newKey];
      for (auto member : members.setContainer())
      {
         if (!follow(member, edit) || manipulatorOf(member) == manipulatorOf(newKey))
            continue;
         if constexpr (std::same_as<K, decltype(member)>)
         {
            const auto& [lesser, greater] = std::minmax(newKey, member);
            fresh.mapContainer()[lesser].add(greater);
         }
         else
            fresh.mapContainer()[newKey].add(member);
      }
   }
   map = std::move(fresh);
}

template <class Key, class Member>
bool holds(const std::vector<std::pair<Key, Member>>& entries, const Key& key, const Member& member)
{
   return std::binary_search(entries.begin(), entries.end(), std::pair(key, member));
}
} // namespace

bool ZqSystemCollisionExclusionMap::operator==(const ZqSystemCollisionExclusionMap& other) const
{
   return std::apply([&](const auto&... component)
                     { return ((this->*component.member == other.*component.member) && ...); },
                     components());
}

bool ZqSystemCollisionExclusionMap::excludeLinkCollisionCandidate(ZqU32 manipulator1,
                                                                  const ZqString& link1,
                                                                  ZqU32 manipulator2,
                                                                  const ZqString& link2)
{
   if (manipulator1 == manipulator2)
      return false;
   // The manipulators differ, and decide which identifier is the lesser.
   ZqManipulatorLinkIdentifier lesser(manipulator1, link1);
   ZqManipulatorLinkIdentifier greater(manipulator2, link2);
   if (manipulator2 < manipulator1)
      std::swap(lesser, greater);
   m_linkExclusionMap.mapContainer()[lesser].add(greater);
   return true;
}

bool ZqSystemCollisionExclusionMap::excludeLinkCollisionCandidates(ZqU32 manipulator,
                                                                   const ZqString& link,
                                                                   ZqU32 otherManipulator)
{
   if (manipulator == otherManipulator)
      return false;
   m_linkManipulatorExclusionMap.mapContainer()[{manipulator, link}].add(otherManipulator);
   return true;
}

bool ZqSystemCollisionExclusionMap::excludeManipulatorCollisionCandidates(ZqU32 manipulator1,
                                                                          ZqU32 manipulator2)
{
   if (manipulator1 == manipulator2)
      return false;
   const auto [lesser, greater] = std::minmax({manipulator1, manipulator2});
   m_manipulatorExclusionMap.mapContainer()[lesser].add(greater);
   return true;
}

bool ZqSystemCollisionExclusionMap::removeLinkCollisionExclusionCandidate(ZqU32 manipulator1,
                                                                          const ZqString& link1,
                                                                          ZqU32 manipulator2,
                                                                          const ZqString& link2)
{
   if (manipulator1 == manipulator2)
      return false;
   ZqManipulatorLinkIdentifier lesser(manipulator1, link1);
   ZqManipulatorLinkIdentifier greater(manipulator2, link2);
   if (manipulator2 < manipulator1)
      std::swap(lesser, greater);
   return removeFrom(m_linkExclusionMap, lesser, greater);
}

bool ZqSystemCollisionExclusionMap::removeLinkCollisionExclusionCandidates(ZqU32 manipulator,
                                                                           const ZqString& link,
                                                                           ZqU32 otherManipulator)
{
   return manipulator != otherManipulator &&
          removeFrom(m_linkManipulatorExclusionMap, {manipulator, link}, otherManipulator);
}

bool ZqSystemCollisionExclusionMap::removeManipulatorCollisionExclusionCandidates(
   ZqU32 manipulator1, ZqU32 manipulator2)
{
   const auto [lesser, greater] = std::minmax({manipulator1, manipulator2});
   return lesser != greater && removeFrom(m_manipulatorExclusionMap, lesser, greater);
}

bool ZqSystemCollisionExclusionMap::isLinkCollisionCandidateExcluded(ZqU32 manipulator1,
                                                                     ZqU32 link1,
                                                                     ZqU32 manipulator2,
                                                                     ZqU32 link2) const
{
   if (manipulator1 == manipulator2)
      return false;
   if (isManipulatorCollisionExcluded(manipulator1, manipulator2))
      return true;
   const ZqManipulatorLinkIndex first{manipulator1, link1};
   const ZqManipulatorLinkIndex second{manipulator2, link2};
   if (!m_linkManipulatorIndices.empty() && (holds(m_linkManipulatorIndices, first, manipulator2) ||
                                             holds(m_linkManipulatorIndices, second, manipulator1)))
      return true;
   if (m_linkIndices.empty())
      return false;
   return manipulator1 >= manipulator2 ? holds(m_linkIndices, second, first)
                                       : holds(m_linkIndices, first, second);
}

bool ZqSystemCollisionExclusionMap::isLinkCollisionCandidateExcluded(ZqU32 manipulator1,
                                                                     const ZqString& link1,
                                                                     ZqU32 manipulator2,
                                                                     const ZqString& link2) const
{
   if (isManipulatorCollisionExcluded(manipulator1, manipulator2))
      return true;
   const ZqManipulatorLinkIdentifier first(manipulator1, link1);
   const ZqManipulatorLinkIdentifier second(manipulator2, link2);
   if (holds(m_linkManipulatorExclusionMap, first, manipulator2) ||
       holds(m_linkManipulatorExclusionMap, second, manipulator1))
      return true;
   return manipulator1 >= manipulator2 ? holds(m_linkExclusionMap, second, first)
                                       : holds(m_linkExclusionMap, first, second);
}

bool ZqSystemCollisionExclusionMap::isManipulatorCollisionExcluded(ZqU32 manipulator1,
                                                                   ZqU32 manipulator2) const
{
   if (m_manipulatorExclusionMap.mapContainer().empty())
      return false;
   const auto [lesser, greater] = std::minmax({manipulator1, manipulator2});
   return holds(m_manipulatorExclusionMap, lesser, greater);
}

bool ZqSystemCollisionExclusionMap::isLinktoManipulatorCollisionExcluded(
   ZqU32 manipulator, const ZqString& link, ZqU32 otherManipulator) const
{
   return isManipulatorCollisionExcluded(manipulator, otherManipulator) ||
          holds(m_linkManipulatorExclusionMap, {manipulator, link}, otherManipulator);
}

bool ZqSystemCollisionExclusionMap::linkHasExclusionCandidate(ZqU32 manipulator,
                                                              const ZqString& link) const
{
   const ZqManipulatorLinkIdentifier identifier(manipulator, link);
   return manipulatorHasExclusionCandidate(manipulator) ||
          hasMembers(m_linkManipulatorExclusionMap, identifier) ||
          isMemberOfAny(m_linkManipulatorExclusionMap, manipulator) ||
          hasMembers(m_linkExclusionMap, identifier) ||
          isMemberOfAny(m_linkExclusionMap, identifier);
}

bool ZqSystemCollisionExclusionMap::manipulatorHasExclusionCandidate(ZqU32 manipulator) const
{
   return hasMembers(m_manipulatorExclusionMap, manipulator) ||
          isMemberOfAny(m_manipulatorExclusionMap, manipulator);
}

void ZqSystemCollisionExclusionMap::removeAllExclusionCandidates()
{
   m_manipulatorExclusionMap.clear();
   m_linkManipulatorExclusionMap.clear();
   m_linkExclusionMap.clear();
}

void ZqSystemCollisionExclusionMap::shiftManipulatorIndices(ZqU32 shift)
{
   conditionallyShiftManipulatorIndices(0, static_cast<int>(shift));
}

bool ZqSystemCollisionExclusionMap::mergeWith(const ZqSystemCollisionExclusionMap& other)
{
   assignEntries(m_manipulatorExclusionMap, other.m_manipulatorExclusionMap);
   assignEntries(m_linkManipulatorExclusionMap, other.m_linkManipulatorExclusionMap);
   assignEntries(m_linkExclusionMap, other.m_linkExclusionMap);
   return true;
}

void ZqSystemCollisionExclusionMap::deleteManipulatorAndShift(ZqU32 manipulator)
{
   removeManipulator(manipulator);
   conditionallyShiftManipulatorIndices(manipulator, -1);
}

bool ZqSystemCollisionExclusionMap::removeManipulator(ZqU32 manipulator)
{
   return eraseNamed([&](ZqU32 named, const ZqString*) { return named == manipulator; });
}

bool ZqSystemCollisionExclusionMap::eraseNamed(const NamePredicate& isToGo)
{
   const auto goes = [&](const auto& named)
   { return isToGo(manipulatorOf(named), linkLabelOf(named)); };
   bool erased = eraseIf(m_manipulatorExclusionMap, goes);
   erased = eraseIf(m_linkManipulatorExclusionMap, goes) || erased;
   return eraseIf(m_linkExclusionMap, goes) || erased;
}

void ZqSystemCollisionExclusionMap::conditionallyShiftManipulatorIndices(ZqU32 threshold, int shift)
{
   const auto offset = static_cast<ZqU32>(shift);
   shiftKeysAndMembers(m_manipulatorExclusionMap, threshold, offset);
   shiftKeysAndMembers(m_linkManipulatorExclusionMap, threshold, offset);
   shiftKeysAndMembers(m_linkExclusionMap, threshold, offset);
}

void ZqSystemCollisionExclusionMap::excludeByLinks(ZqU32 manipulator,
                                                   const std::vector<ZqString>& links)
{
   std::set<ZqU32> others;
   for (const auto& [lesser, greater] : m_manipulatorExclusionMap.mapContainer())
      for (const ZqU32 other : greater.setContainer())
         if (lesser == manipulator || other == manipulator)
            others.insert(lesser == manipulator ? other : lesser);
   for (const ZqU32 other : others)
      for (const ZqString& link : links)
         excludeLinkCollisionCandidates(manipulator, link, other);
   for (const auto& [other, manipulators] : m_linkManipulatorExclusionMap.mapContainer())
      if (manipulators.setContainer().contains(manipulator))
         for (const ZqString& link : links)
            excludeLinkCollisionCandidate(manipulator, link, other.manipulatorId(), other.linkId());
}

void ZqSystemCollisionExclusionMap::apply(const ZqModelEdit& edit)
{
   follow(m_manipulatorExclusionMap, edit);
   follow(m_linkManipulatorExclusionMap, edit);
   follow(m_linkExclusionMap, edit);
}
