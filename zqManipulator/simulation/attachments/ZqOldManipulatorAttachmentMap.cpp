#include "zqManipulator/simulation/attachments/ZqOldManipulatorAttachmentMap.h"

#include "zqManipulator/simulation/attachments/ZqManipulatorAttachmentMap.h"

template class ZqXmlPairType<ZqManipulatorLinkIdentifier, ZqCoordinateSystemTransformation>;
template class ZqXmlMapType<
   ZqU32, ZqXmlPairType<ZqManipulatorLinkIdentifier, ZqCoordinateSystemTransformation>>;

namespace
{
ZqManipulatorAttachmentMap converted(const ZqOldManipulatorAttachmentMap& oldMap)
{
   ZqManipulatorAttachmentMap map;
   map.convertFromOldFormat(oldMap);
   return map;
}
} // namespace

bool ZqOldManipulatorAttachmentMap::equality(const ZqXmlObject* other) const
{
   const auto* same = dynamic_cast<const ZqOldManipulatorAttachmentMap*>(other);
   return same != nullptr && *this == *same;
}

bool ZqOldManipulatorAttachmentMap::attachManipulator(
   ZqU32 manipulatorIndex, ZqU32 baseManipulatorIndex, const ZqString& linkLabel,
   const ZqCoordinateSystemTransformation& offset)
{
   if (manipulatorIndex == baseManipulatorIndex || lookupPointer(manipulatorIndex) != nullptr)
      return false;
   add(manipulatorIndex, {{baseManipulatorIndex, linkLabel}, offset});
   return true;
}

bool ZqOldManipulatorAttachmentMap::calculateBaseLocations(
   ZqU32 manipulatorIndex, const ZqXmlVectorType<ZqIndividualManipulator>& manipulators,
   ZqXmlVectorType<ZqManipulatorActiveState>& activeStates, std::vector<ZqU32>& indices,
   std::vector<ZqCoordinateSystemTransformation>& positions) const
{
   return converted(*this).calculateBaseLocations(manipulatorIndex, manipulators, activeStates,
                                                  indices, positions);
}

std::vector<ZqU32>
ZqOldManipulatorAttachmentMap::dependentManipulators(ZqU32 manipulatorIndex) const
{
   return converted(*this).dependentManipulators(manipulatorIndex);
}

bool ZqOldManipulatorAttachmentMap::getDependentManipulatorInfo(
   ZqU32 manipulatorIndex, ZqU32& baseManipulatorIndex, ZqString& linkLabel,
   ZqCoordinateSystemTransformation& offset) const
{
   const auto* entry = lookupPointer(manipulatorIndex);
   if (entry == nullptr)
      return false;
   baseManipulatorIndex = entry->first().manipulatorId();
   linkLabel = entry->first().linkId();
   offset = entry->second();
   return true;
}

bool ZqOldManipulatorAttachmentMap::getDependentManipulatorsAndOffsets(
   ZqU32 manipulatorIndex, const ZqString& linkLabel, std::vector<ZqU32>& indices,
   std::vector<ZqCoordinateSystemTransformation>& offsets) const
{
   indices.clear();
   offsets.clear();
   for (const auto& [index, place] : mapContainer())
      if (place.first() == ZqManipulatorLinkIdentifier(manipulatorIndex, linkLabel))
      {
         indices.push_back(index);
         offsets.push_back(place.second());
      }
   return !indices.empty();
}

bool ZqOldManipulatorAttachmentMap::removeManipulatorAttachment(ZqU32 manipulatorIndex)
{
   return erase(manipulatorIndex);
}

void ZqOldManipulatorAttachmentMap::apply(const ZqModelEdit& edit)
{
   ZqOldManipulatorAttachmentMap applied;
   for (const auto& [index, place] : mapContainer())
   {
      ZqManipulatorLinkIdentifier carrier = place.first();
      const ZqCoordinateSystemTransformation& T =
         edit.restatement(carrier.manipulatorId(), carrier.linkId()).T;
      const ZqU32 newIndex = edit.manipulator(index);
      if (newIndex != ZqRenumbering::gone && carrier.apply(edit))
         applied.attachManipulator(newIndex, carrier.manipulatorId(), carrier.linkId(),
                                   T * place.second());
   }
   *this = std::move(applied);
}
