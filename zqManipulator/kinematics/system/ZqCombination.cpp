#include "zqManipulator/kinematics/system/ZqCombination.h"

#include "zqManipulator/foundation/log/ZqDiagnostic.h"
#include "zqManipulator/kinematics/manipulator/ZqLinkUnion.h"

#include <algorithm>
#include <optional>
#include <utility>

template class ZqXmlClass<ZqCombination>;
template class ZqXmlVectorType<ZqCombination>;

/// Adds the record of a manipulator, and behind it those of what came to it.
void ZqCombination::takeApart(ZqIndividualManipulator combined, ZqCombination record,
                              Combinations& combinations)
{
   const ZqU32 place = combinations.size();
   combinations.pushBack(record);
   // The last that came goes first.
   std::vector<std::pair<ZqIndividualManipulator, ZqCombination>> parts;
   while (const ZqLinkUnion::Member* last = ZqLinkUnion::lastIn(combined))
   {
      const ZqString label = last->manipulator.manipulatorLabel();
      ZqIndividualManipulator part;
      ZqCombination partRecord;
      const auto moved = combined.uncombine(label, part, partRecord.m_transform);
      if (!moved)
         break;
      partRecord.m_manipulatorIndex = moved->otherIndex;
      partRecord.m_carrier = place;
      partRecord.m_linkLabel = moved->linkLabel;
      parts.emplace_back(std::move(part), std::move(partRecord));
   }
   combinations[place].m_manipulator = std::move(combined);
   for (auto part = parts.rbegin(); part != parts.rend(); ++part)
      takeApart(std::move(part->first), std::move(part->second), combinations);
}

bool ZqCombination::append(const ZqIndividualManipulator& combined, Combinations& combinations)
{
   const Zq::DiagnosticCollector unheard;
   Combinations records;
   ZqCombination root;
   root.m_manipulatorIndex = combined.manipulatorIndex();
   takeApart(combined, root, records);
   ZqIndividualManipulator built;
   if (!build(records, 0, built) || !areAlike(built, combined))
      return false;
   const ZqU32 shift = combinations.size();
   for (ZqCombination& record : records)
   {
      if (record.m_carrier != noCarrier)
         record.m_carrier += shift;
      combinations.pushBack(record);
   }
   return true;
}

bool ZqCombination::build(const Combinations& combinations, ZqU32 record,
                          ZqIndividualManipulator& combined)
{
   ZqIndividualManipulator result = combinations[record].m_manipulator;
   result.setManipulatorIndex(combinations[record].m_manipulatorIndex);
   // Carriers stand before what came to them, so that this ends.
   for (ZqU32 i = record + 1; i < combinations.size(); ++i)
   {
      const ZqCombination& part = combinations[i];
      ZqIndividualManipulator built;
      if (part.m_carrier == record &&
          (!build(combinations, i, built) ||
           !result.combineManipulator(part.m_linkLabel, built, part.m_transform)))
         return false;
   }
   combined = std::move(result);
   combined.setManipulatorIndex(combinations[record].m_manipulatorIndex);
   return true;
}

bool ZqCombination::areAlike(const ZqIndividualManipulator& a, const ZqIndividualManipulator& b)
{
   ZqIndividualManipulator first = a;
   ZqIndividualManipulator second = b;
   ZqLinkUnion::forget(first);
   ZqLinkUnion::forget(second);
   return first == second;
}
