#pragma once

#include "zqManipulator/foundation/proximity/ZqSystemShapeCollisionCache.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorBasicType.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorType.h"

/// Where the search for the contact of two shapes begins, to be stored to the last bit: without it answers
/// differ within their error.
class ZqPairCacheState : public ZqXmlClass<ZqPairCacheState>
{
public:
   static const ZqToken& classToken() { return ZqManip::ZqPairCacheStateToken; }
   static constexpr const char* documentation =
      "where the search for the contact of two shapes begins";
   template <class This = ZqPairCacheState>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_manipulatorOneIndex, &ZqManip::ZqManipulatorOneIndexToken,
                     "index of the manipulator of body 1"},
         ZqComponent{&This::m_linkOneIndex, &ZqManip::ZqLinkOneIndexToken,
                     "index of the link that is body 1; 4294967294 for the base"},
         ZqComponent{&This::m_shapeOneIndex, &ZqManip::ZqShapeOneIndexToken,
                     "number of the shape of body 1"},
         ZqComponent{&This::m_manipulatorTwoIndex, &ZqManip::ZqManipulatorTwoIndexToken,
                     "index of the manipulator of body 2"},
         ZqComponent{&This::m_linkTwoIndex, &ZqManip::ZqLinkTwoIndexToken,
                     "index of the link that is body 2; 4294967294 for the base"},
         ZqComponent{&This::m_shapeTwoIndex, &ZqManip::ZqShapeTwoIndexToken,
                     "number of the shape of body 2"},
         ZqComponent{&This::m_numbers, &ZqManip::ZqPairCacheNumbersToken,
                     "evaluations since the pair was looked at, number of points, whether the "
                     "shapes overlapped, vertices and parts of both, two halves of a number that "
                     "tells the shapes; the points in both; of an overlap the normal, the least "
                     "depth, the motion for which that holds, and the pose; the direction of the "
                     "depth of compounds, or zero"}};
   }
   static ZqPairCacheState nullObject() { return {}; }
   bool operator==(const ZqPairCacheState&) const = default;

   ZqPairCacheState() = default;
   explicit ZqPairCacheState(const ZqPairCacheOfPair& pair);
   /// False, and no change, when there are not as many numbers as there should be, or one that cannot be.
   bool get(ZqPairCacheOfPair& pair) const;

private:
   ZqU32 m_manipulatorOneIndex = 0;
   ZqU32 m_linkOneIndex = 0;
   ZqU32 m_shapeOneIndex = 0;
   ZqU32 m_manipulatorTwoIndex = 0;
   ZqU32 m_linkTwoIndex = 0;
   ZqU32 m_shapeTwoIndex = 0;
   ZqXmlVectorBasicType<ZqReal> m_numbers;
};

extern template class ZqXmlClass<ZqPairCacheState>;
extern template class ZqXmlVectorType<ZqPairCacheState>;
