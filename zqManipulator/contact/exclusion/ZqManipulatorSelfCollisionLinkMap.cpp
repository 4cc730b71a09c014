#include "zqManipulator/contact/exclusion/ZqManipulatorSelfCollisionLinkMap.h"

#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/tools/labels/ZqModelEdit.h"

#include <algorithm>

template class ZqXmlMapType<ZqString, ZqXmlMapType<ZqString, bool>>;
template class ZqXmlMapType<ZqString, bool>;

namespace
{
/// The labels of all links and of the base, each once, in order.
std::vector<const ZqString*> sortedLabels(const ZqIndividualManipulator& manipulator)
{
   const ZqU32 n = manipulator.jointDof();
   std::vector<const ZqString*> labels;
   labels.reserve(n + std::size_t{1});
   for (ZqU32 i = 0; i <= n; ++i)
      if (const ZqManipulatorLink* link = manipulator.linkByIndex(i == n ? ZqBaseLinkIndex : i))
         labels.push_back(&link->linkLabel());
   std::sort(labels.begin(), labels.end(),
             [](const ZqString* a, const ZqString* b) { return *a < *b; });
   labels.erase(std::unique(labels.begin(), labels.end(),
                            [](const ZqString* a, const ZqString* b) { return *a == *b; }),
                labels.end());
   return labels;
}

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

bool ZqManipulatorSelfCollisionLinkMap::buildMapFromSystem(
   const ZqIndividualManipulator& manipulator)
{
   const std::vector<const ZqString*> labels = sortedLabels(manipulator);
   // In the order of the labels each entry goes right behind the one before, without a search.
   auto& rows = mapContainer();
   auto nextRow = rows.begin();
   for (std::size_t i = 0; i < labels.size(); ++i)
   {
      const auto row = rows.try_emplace(nextRow, *labels[i]);
      nextRow = std::next(row);
      auto& pairs = row->second.mapContainer();
      auto nextPair = pairs.begin();
      for (std::size_t j = 0; j <= i; ++j)
         nextPair = std::next(pairs.insert_or_assign(nextPair, *labels[j], false));
   }
   return true;
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
   // All that is named by an old label comes out before anything goes in by a new one.
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
