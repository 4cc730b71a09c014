#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <algorithm>
#include <vector>

/// Which links of a manipulator may collide: place i stands for link i, the last one for the base.
///
/// Links belong to groups, one for each label, and the pairs that may collide are pairs of groups: memory
/// grows with the links and with the pairs of labels. Links that are in no pair are in group 0.
class ZqLinkCollisionTest
{
public:
   ZqU32 size() const { return static_cast<ZqU32>(m_groups.size()); }
   /// Clears all pairs, and puts every link into group 0.
   void resize(ZqU32 size)
   {
      m_groups.assign(size, 0);
      m_partners.clear();
   }
   /// Both indices are below the size.
   bool test(ZqU32 first, ZqU32 second) const
   {
      const ZqU32 group = m_groups[first];
      return group < m_partners.size() &&
             std::binary_search(m_partners[group].begin(), m_partners[group].end(),
                                m_groups[second]);
   }
   void setGroup(ZqU32 index, ZqU32 group) { m_groups[index] = group; }
   /// Lets the links of one group collide with those of another, or with each other.
   void setPair(ZqU32 group, ZqU32 other)
   {
      addPartner(group, other);
      addPartner(other, group);
   }

private:
   void addPartner(ZqU32 group, ZqU32 partner)
   {
      if (m_partners.size() <= group)
         m_partners.resize(std::size_t{group} + 1);
      std::vector<ZqU32>& partners = m_partners[group];
      const auto place = std::lower_bound(partners.begin(), partners.end(), partner);
      if (place == partners.end() || *place != partner)
         partners.insert(place, partner);
   }

   std::vector<ZqU32> m_groups;                ///< by link
   std::vector<std::vector<ZqU32>> m_partners; ///< by group, in order
};
