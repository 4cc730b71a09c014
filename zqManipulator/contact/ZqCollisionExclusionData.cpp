#include "zqManipulator/contact/ZqCollisionExclusionData.h"

template class ZqXmlClass<ZqCollisionExclusionData>;

void ZqCollisionExclusionData::addCollisionExclusionMap(const ZqString& name,
                                                        const ZqSystemCollisionExclusionMap& map)
{
   m_systemMaps.add(name, map);
}

const ZqSystemCollisionExclusionMap&
ZqCollisionExclusionData::getCollisionExclusionMap(const ZqString& name) const
{
   static const auto& empty = *new ZqSystemCollisionExclusionMap();
   const ZqSystemCollisionExclusionMap* map = m_systemMaps.lookupPointer(name);
   return map != nullptr ? *map : empty;
}
