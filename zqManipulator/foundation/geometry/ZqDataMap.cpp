#include "zqManipulator/foundation/geometry/ZqDataMap.h"

namespace
{
template <typename Value>
bool find(const std::map<ZqString, Value>& values, const ZqString& name, Value& value)
{
   const auto found = values.find(name);
   if (found == values.end())
      return false;
   value = found->second;
   return true;
}

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
   m_reals.insert_or_assign(name, value);
}

void ZqDataMap::add(const ZqString& name, const ZqString& value)
{
   m_strings.insert_or_assign(name, value);
}

ZqBoolean ZqDataMap::lookup(const ZqString& name, ZqReal& value) const
{
   return find(m_reals, name, value);
}

ZqBoolean ZqDataMap::lookup(const ZqString& name, ZqString& value) const
{
   return find(m_strings, name, value);
}

const ZqDataMap& ZqDataMap::boundingColor()
{
   static const auto& map = *new ZqDataMap(makeBoundingColor());
   return map;
}
