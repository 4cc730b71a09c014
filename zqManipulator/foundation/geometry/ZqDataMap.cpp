#include "zqManipulator/foundation/geometry/ZqDataMap.h"

template class ZqXmlMapType<ZqString, ZqReal>;
template class ZqXmlMapType<ZqString, ZqString>;
template class ZqXmlClass<ZqDataMap>;
template class ZqXmlMapType<ZqString, ZqDataMap>;

namespace
{
ZqDataMap makeBoundingColor()
{
   ZqDataMap map;
   for (const char* const light : {"zqAmbient", "zqDiffuse"})
   {
      const ZqString prefix(light);
      map.add(prefix + "Red", 0.5);
      map.add(prefix + "Green", 0.7);
      map.add(prefix + "Blue", 1.0);
      map.add(prefix + "Alpha", 0.3);
   }
   return map;
}
} // namespace

void ZqDataMap::add(const ZqString& name, ZqReal value)
{
   m_reals.add(name, value);
}

void ZqDataMap::add(const ZqString& name, const ZqString& value)
{
   m_strings.add(name, value);
}

ZqBoolean ZqDataMap::lookup(const ZqString& name, ZqReal& value) const
{
   return m_reals.lookup(name, value);
}

ZqBoolean ZqDataMap::lookup(const ZqString& name, ZqString& value) const
{
   return m_strings.lookup(name, value);
}

const ZqDataMap& ZqDataMap::boundingColor()
{
   static const auto& map = *new ZqDataMap(makeBoundingColor());
   return map;
}
