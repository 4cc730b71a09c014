#include "zqManipulator/contact/exclusion/ZqManipulatorSelfCollisionLinkMap.h"

#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"

#include <algorithm>
#include <vector>

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
} // namespace

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
