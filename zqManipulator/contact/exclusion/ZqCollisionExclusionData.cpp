#include "zqManipulator/contact/exclusion/ZqCollisionExclusionData.h"

template class ZqXmlClass<ZqCollisionExclusionData>;
template class ZqXmlMapType<ZqString, ZqSystemCollisionExclusionMap>;
template class ZqXmlVectorType<ZqManipulatorSelfCollisionLinkMap>;

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

void ZqCollisionExclusionData::apply(const ZqModelEdit& edit)
{
   for (auto& [name, map] : m_systemMaps.mapContainer())
      map.apply(edit);
   for (ZqU32 i = 0; i < m_selfCollision.size(); ++i)
      m_selfCollision[i].apply(edit.links(i));
   m_selfCollision.vectorContainer() =
      edit.manipulators().moved(m_selfCollision.vectorContainer(), {});
}
