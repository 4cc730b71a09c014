#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"
#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"

/// What two shapes come to: how far apart they are (m, negative where they overlap), and whether they
/// touch.
class ZqShapePointEvent : public ZqXmlClass<ZqShapePointEvent>
{
public:
   static const ZqToken& classToken() { return ZqGeom::ZqShapePointEventToken; }
   static constexpr const char* documentation = "how near two shapes come";
   template <class This = ZqShapePointEvent>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_distance, &ZqGeom::ZqDistanceToken, "distance (m)"},
         ZqComponent{&This::m_isImpacted, &ZqGeom::ZqIsImpactedToken, "whether they touch"}};
   }
   bool operator==(const ZqShapePointEvent&) const = default;

   virtual const ZqReal& distance() const { return m_distance; }
   virtual void setDistance(ZqReal distance) { m_distance = distance; }
   virtual const bool& isImpacted() const { return m_isImpacted; }
   virtual void setIsImpacted(bool isImpacted) { m_isImpacted = isImpacted; }

private:
   ZqReal m_distance = 0.0;
   bool m_isImpacted = false;
};

extern template class ZqXmlClass<ZqShapePointEvent>;
