#include "zqManipulator/contact/exclusion/ZqSystemCollisionExclusionMap.h"
#include "zqManipulator/kinematics/system/ZqManipulatorSystem.h"

#include <map>
#include <set>

namespace
{
template <class Key, class Member>
void flatten(const std::map<Key, std::set<Member>>& map,
             std::vector<std::pair<Key, Member>>& entries)
{
   entries.clear();
   for (const auto& [key, members] : map)
      for (const Member& member : members)
         entries.emplace_back(key, member);
}
} // namespace

bool ZqSystemCollisionExclusionMap::buildMapFromSystem(const ZqManipulatorSystem& system)
{
   const Manipulators& manipulators = system.manipulators();
   ZqManipulatorLinkIndex key;
   ZqManipulatorLinkIndex member;
   // Of two labels of one link, the sets do not mix: the last one counts.
   std::map<ZqManipulatorLinkIndex, std::set<ZqManipulatorLinkIndex>> links;
   for (const auto& [identifier, identifiers] : m_linkExclusionMap.mapContainer())
      if (convertToManipulatorLinkIndex(manipulators, identifier, key))
      {
         auto& members = links[key];
         members.clear();
         for (const ZqManipulatorLinkIdentifier& other : identifiers.setContainer())
            if (convertToManipulatorLinkIndex(manipulators, other, member))
               members.insert(member);
      }
   flatten(links, m_linkIndices);

   std::map<ZqManipulatorLinkIndex, std::set<ZqU32>> linkManipulators;
   for (const auto& [identifier, others] : m_linkManipulatorExclusionMap.mapContainer())
      if (convertToManipulatorLinkIndex(manipulators, identifier, key))
         linkManipulators[key] = others.setContainer();
   flatten(linkManipulators, m_linkManipulatorIndices);
   return true;
}

bool ZqSystemCollisionExclusionMap::trimMap(const ZqManipulatorSystem& system)
{
   const Manipulators& manipulators = system.manipulators();
   return eraseNamed(
      [&](ZqU32 manipulator, const ZqString* link)
      {
         ZqManipulatorLinkIndex index;
         return manipulator >= manipulators.size() ||
                (link != nullptr &&
                 !convertToManipulatorLinkIndex(manipulators, {manipulator, *link}, index));
      });
}

bool ZqSystemCollisionExclusionMap::convertToManipulatorLinkIndex(
   const Manipulators& manipulators, const ZqManipulatorLinkIdentifier& identifier,
   ZqManipulatorLinkIndex& index) const
{
   const ZqU32 manipulator = identifier.manipulatorId();
   if (manipulator >= manipulators.size())
      return false;
   const ZqManipulatorLink* link = manipulators[manipulator].linkByIdentifier(identifier.linkId());
   if (link == nullptr)
      return false;
   index = {manipulator, link->linkIndex()};
   return true;
}

bool ZqSystemCollisionExclusionMap::obtainManipulatorLinkIndices(
   const Manipulators& manipulators, ZqU32 manipulator,
   std::vector<ZqManipulatorLinkIndex>& indices) const
{
   if (manipulator >= manipulators.size())
      return false;
   indices.clear();
   for (ZqU32 i = 0; i < manipulators[manipulator].jointDof(); ++i)
      indices.push_back({manipulator, i});
   indices.push_back({manipulator, ZqBaseLinkIndex});
   return true;
}
