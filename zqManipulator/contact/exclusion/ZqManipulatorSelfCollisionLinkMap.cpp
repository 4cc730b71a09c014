#include "zqManipulator/contact/exclusion/ZqManipulatorSelfCollisionLinkMap.h"

#include "zqManipulator/tools/labels/ZqModelEdit.h"

#include <algorithm>

template class ZqXmlMapType<ZqString, ZqXmlMapType<ZqString, bool>>;
template class ZqXmlMapType<ZqString, bool>;

namespace
{
void setAll(ZqManipulatorSelfCollisionLinkMap& table, bool isCandidate)
{
   for (auto& [label, row] : table.mapContainer())
      for (auto& pair : row.mapContainer())
         pair.second = isCandidate;
}
} // namespace

bool ZqManipulatorSelfCollisionLinkMap::equality(const ZqXmlObject* other) const
{
   const auto* same = dynamic_cast<const ZqManipulatorSelfCollisionLinkMap*>(other);
   return same != nullptr && *this == *same;
}

bool ZqManipulatorSelfCollisionLinkMap::setLinkCollisionCanditateByIdentifier(
   const ZqString& label1, const ZqString& label2, bool isCandidate)
{
   const auto& [lesser, greater] = std::minmax(label1, label2);
   mapContainer()[greater].mapContainer()[lesser] = isCandidate;
   return true;
}

bool ZqManipulatorSelfCollisionLinkMap::linkCollisionCanditateByIdentifier(const ZqString& label1,
                                                                           const ZqString& label2,
                                                                           bool& isCandidate) const
{
   const auto& [lesser, greater] = std::minmax(label1, label2);
   const auto* row = lookupPointer(greater);
   return row != nullptr && row->lookup(lesser, isCandidate);
}

void ZqManipulatorSelfCollisionLinkMap::setAllAsCollisionCandidates()
{
   setAll(*this, true);
}

void ZqManipulatorSelfCollisionLinkMap::unsetAllAsCollisionCandidates()
{
   setAll(*this, false);
}

bool ZqManipulatorSelfCollisionLinkMap::linkHasExclusionCandidate(const ZqString& label) const
{
   for (const auto& [key, row] : mapContainer())
   {
      const auto& pairs = row.mapContainer();
      if (key == label &&
          std::any_of(pairs.begin(), pairs.end(), [](const auto& pair) { return !pair.second; }))
         return true;
      const bool* isCandidate = row.lookupPointer(label);
      if (isCandidate != nullptr && !*isCandidate)
         return true;
   }
   return false;
}

void ZqManipulatorSelfCollisionLinkMap::addLink(const ZqString& label)
{
   auto& rows = mapContainer();
   const auto own = rows.try_emplace(label).first;
   auto& pairs = own->second.mapContainer();
   for (auto row = rows.begin(); row != own; ++row)
      pairs.insert_or_assign(pairs.end(), row->first, false);
   for (auto row = own; row != rows.end(); ++row)
      row->second.mapContainer().insert_or_assign(label, false);
}

void ZqManipulatorSelfCollisionLinkMap::apply(const ZqLinkEdit& edit)
{
   struct Pair
   {
      ZqString greater;
      ZqString lesser;
      bool isCandidate;
   };
   // All entries under old labels are taken out before any is put in under a new label, since labels may
   // be exchanged.
   std::vector<Pair> moving;
   auto& rows = mapContainer();
   for (const auto& change : edit.changedLabels())
   {
      const ZqString& label = change.first;
      if (auto row = rows.extract(label))
         for (const auto& [lesser, isCandidate] : row.mapped().mapContainer())
            moving.push_back({label, lesser, isCandidate});
      for (auto row = rows.upper_bound(label); row != rows.end(); ++row)
         if (auto pair = row->second.mapContainer().extract(label))
            moving.push_back({row->first, label, pair.mapped()});
   }
   for (const auto& [greater, lesser, isCandidate] : moving)
   {
      const ZqString* first = edit.label(greater);
      const ZqString* second = edit.label(lesser);
      if (first != nullptr && second != nullptr)
         setLinkCollisionCanditateByIdentifier(*first, *second, isCandidate);
   }
}
