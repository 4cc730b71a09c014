#include "zqManipulator/state/ZqPairCacheState.h"

#include "zqManipulator/foundation/proximity/ZqPairCacheNumbers.h"

#include <algorithm>
#include <cmath>

template class ZqXmlClass<ZqPairCacheState>;
template class ZqXmlVectorType<ZqPairCacheState>;

namespace
{
/// Of those that are whole, which come first.
constexpr std::size_t wholeNumberCount = 9;

bool isWhole(ZqReal x, ZqReal most)
{
   return x >= 0.0 && x <= most && x == std::floor(x);
}
} // namespace

ZqPairCacheState::ZqPairCacheState(const ZqPairCacheOfPair& pair)
   : m_manipulatorOneIndex(pair.key1.manipulatorIndex()), m_linkOneIndex(pair.key1.linkIndex()),
     m_shapeOneIndex(pair.key1.shapeIndex()), m_manipulatorTwoIndex(pair.key2.manipulatorIndex()),
     m_linkTwoIndex(pair.key2.linkIndex()), m_shapeTwoIndex(pair.key2.shapeIndex())
{
   ZqShapePairCache cache = pair.cache;
   const ZqPairCache& convex = cache.convex;
   m_numbers = {static_cast<ZqReal>(pair.age),
                static_cast<ZqReal>(convex.count),
                static_cast<ZqReal>(convex.overlapped),
                static_cast<ZqReal>(convex.atA),
                static_cast<ZqReal>(convex.atB),
                static_cast<ZqReal>(cache.part1),
                static_cast<ZqReal>(cache.part2),
                static_cast<ZqReal>(convex.cores >> 32),
                static_cast<ZqReal>(convex.cores & 0xFFFFFFFF)};
   zqConvex::visitNumbers(cache, [this](ZqReal x) { m_numbers.pushBack(x); });
}

bool ZqPairCacheState::get(ZqPairCacheOfPair& pair) const
{
   constexpr ZqReal mostU32 = 4294967295.0;
   constexpr ZqReal mostInt = 2147483647.0;
   constexpr ZqReal most[wholeNumberCount] = {mostU32, 4.0,     1.0,     mostInt, mostInt,
                                              mostU32, mostU32, mostU32, mostU32};
   const std::vector<ZqReal>& numbers = m_numbers.values();
   if (numbers.size() < wholeNumberCount || numbers[0] == 0.0 ||
       !std::equal(most, most + wholeNumberCount, numbers.begin(),
                   [](ZqReal limit, ZqReal x) { return isWhole(x, limit); }))
      return false;

   ZqShapePairCache cache{};
   ZqPairCache& convex = cache.convex;
   convex.count = static_cast<std::int8_t>(numbers[1]);
   convex.overlapped = numbers[2] != 0.0;
   convex.atA = static_cast<int>(numbers[3]);
   convex.atB = static_cast<int>(numbers[4]);
   cache.part1 = static_cast<ZqU32>(numbers[5]);
   cache.part2 = static_cast<ZqU32>(numbers[6]);
   convex.cores = static_cast<std::uint64_t>(numbers[7]) << 32 | static_cast<ZqU32>(numbers[8]);
   std::size_t next = wholeNumberCount;
   zqConvex::visitNumbers(cache,
                          [&](ZqReal& x)
                          {
                             x = next < numbers.size() ? numbers[next] : 0.0;
                             ++next;
                          });
   if (next != numbers.size() || !zqConvex::isSound(cache))
      return false;
   pair = {{m_manipulatorOneIndex, m_linkOneIndex, m_shapeOneIndex},
           {m_manipulatorTwoIndex, m_linkTwoIndex, m_shapeTwoIndex},
           static_cast<ZqU32>(numbers[0]),
           cache};
   return true;
}
