#include "zqManipulator/contact/friction/ZqFrictionCoefficientLookupTool.h"

#include <algorithm>

template class ZqXmlMapType<ZqString, ZqReal>;
template class ZqXmlMapType<ZqString, ZqXmlMapType<ZqString, ZqReal>>;
template class ZqXmlClass<ZqFrictionCoefficientLookupTool>;

bool ZqFrictionCoefficientLookupTool::read(ZqXmlReader& reader)
{
   const bool succeeded = ZqXmlCompoundType::read(reader);
   for (PairMap* map :
        {&m_normalStaticFrictionMap, &m_tangentialStaticFrictionMap, &m_kineticFrictionMap,
         &m_viscousFrictionMap, &m_rotationalFrictionScaleFactorMap, &m_assumedMassMap})
      maintainOrder(*map, *map);
   return succeeded;
}

bool ZqFrictionCoefficientLookupTool::lookupValue(const ZqString& a, const ZqString& b,
                                                  const PairMap& map, ZqReal& value) const
{
   const auto& [lesser, greater] = std::minmax(a, b);
   const auto* row = map.lookupPointer(greater);
   return row != nullptr && row->lookup(lesser, value);
}

bool ZqFrictionCoefficientLookupTool::setFrictionValue(const ZqString& a, const ZqString& b,
                                                       ZqReal value, PairMap& map) const
{
   const auto& [lesser, greater] = std::minmax(a, b);
   map.mapContainer()[greater].add(lesser, value);
   return true;
}

void ZqFrictionCoefficientLookupTool::maintainOrder(PairMap& ordered, const PairMap& map) const
{
   PairMap result;
   for (const auto& [key, row] : map.mapContainer())
      for (const auto& [name, value] : row.mapContainer())
         setFrictionValue(key, name, value, result);
   ordered = std::move(result);
}

ZqReal ZqFrictionCoefficientLookupTool::valueOr(ZqReal fallback, const ZqString& a,
                                                const ZqString& b, const PairMap& map) const
{
   lookupValue(a, b, map, fallback);
   return fallback;
}

ZqReal ZqFrictionCoefficientLookupTool::rotationalFrictionScaleFactor(const ZqString& a,
                                                                      const ZqString& b) const
{
   return valueOr(m_defaultAngularFrictionScaleFactor, a, b, m_rotationalFrictionScaleFactorMap);
}
bool ZqFrictionCoefficientLookupTool::setRotationalFrictionScaleFactor(const ZqString& a,
                                                                       const ZqString& b,
                                                                       ZqReal value)
{
   return setFrictionValue(a, b, value, m_rotationalFrictionScaleFactorMap);
}
ZqReal
ZqFrictionCoefficientLookupTool::tangentialCoefficientOfStaticFriction(const ZqString& a,
                                                                       const ZqString& b) const
{
   return valueOr(m_defaultLinearTangentialStaticFrictionCoefficient, a, b,
                  m_tangentialStaticFrictionMap);
}
bool ZqFrictionCoefficientLookupTool::setTangentialCoefficientOfStaticFriction(const ZqString& a,
                                                                               const ZqString& b,
                                                                               ZqReal value)
{
   return setFrictionValue(a, b, value, m_tangentialStaticFrictionMap);
}
ZqReal ZqFrictionCoefficientLookupTool::normalCoefficientOfStaticFriction(const ZqString& a,
                                                                          const ZqString& b) const
{
   return valueOr(m_defaultLinearNormalStaticFrictionCoefficient, a, b, m_normalStaticFrictionMap);
}
bool ZqFrictionCoefficientLookupTool::setNormalCoefficientOfStaticFriction(const ZqString& a,
                                                                           const ZqString& b,
                                                                           ZqReal value)
{
   return setFrictionValue(a, b, value, m_normalStaticFrictionMap);
}
ZqReal ZqFrictionCoefficientLookupTool::coefficientOfKineticFriction(const ZqString& a,
                                                                     const ZqString& b) const
{
   return valueOr(m_defaultLinearKineticFrictionCoefficient, a, b, m_kineticFrictionMap);
}
bool ZqFrictionCoefficientLookupTool::setCoefficientOfKineticFriction(const ZqString& a,
                                                                      const ZqString& b,
                                                                      ZqReal value)
{
   return setFrictionValue(a, b, value, m_kineticFrictionMap);
}
ZqReal ZqFrictionCoefficientLookupTool::coefficientOfViscousFriction(const ZqString& a,
                                                                     const ZqString& b) const
{
   return valueOr(m_defaultViscousFrictionCoefficient, a, b, m_viscousFrictionMap);
}
bool ZqFrictionCoefficientLookupTool::setCoefficientOfViscousFriction(const ZqString& a,
                                                                      const ZqString& b,
                                                                      ZqReal value)
{
   return setFrictionValue(a, b, value, m_viscousFrictionMap);
}
ZqReal ZqFrictionCoefficientLookupTool::assumedMass(const ZqString& a, const ZqString& b) const
{
   return valueOr(m_defaultAssumedMass, a, b, m_assumedMassMap);
}
bool ZqFrictionCoefficientLookupTool::setAssumedMass(const ZqString& a, const ZqString& b,
                                                     ZqReal value)
{
   return setFrictionValue(a, b, value, m_assumedMassMap);
}

const ZqFrictionCoefficientLookupTool& ZqFrictionCoefficientLookupTool::defaultObject()
{
   static const auto& tool = *[]
   {
      auto* made = new ZqFrictionCoefficientLookupTool();
      const auto setStatic = [made](const char* a, const char* b, ZqReal value)
      {
         made->setTangentialCoefficientOfStaticFriction(a, b, value);
         made->setNormalCoefficientOfStaticFriction(a, b, value);
      };
      setStatic("steel", "steel", 0.84);
      setStatic("wood", "steel", 0.94);
      setStatic("steel", "ice", 0.1);
      setStatic("metal", "metal", 0.5);
      made->setCoefficientOfKineticFriction("steel", "steel", 0.42);
      made->setCoefficientOfKineticFriction("wood", "wood", 0.4);
      made->setCoefficientOfKineticFriction("steel", "ice", 0.1);
      made->setCoefficientOfKineticFriction("metal", "metal", 0.25);
      made->setCoefficientOfViscousFriction("steel", "steel", 0.5);
      made->setCoefficientOfViscousFriction("metal", "steel", 0.5);
      made->setCoefficientOfViscousFriction("metal", "metal", 0.5);
      made->setRotationalFrictionScaleFactor("metal", "metal", 0.25);
      return made;
   }();
   return tool;
}
