#include "zqManipulator/state/ZqManipulatorLinkProximityState.h"

ZqLinkProximityData& ZqManipulatorLinkProximityState::getData(const ZqLinkKey& a,
                                                              const ZqLinkKey& b)
{
   return m_data[ZqLinkProximityKey(a, b)];
}

const ZqLinkProximityData& ZqManipulatorLinkProximityState::getData(const ZqLinkKey& a,
                                                                    const ZqLinkKey& b) const
{
   return m_data[ZqLinkProximityKey(a, b)];
}

bool ZqManipulatorLinkProximityState::setDistance(const ZqLinkKey& a, const ZqLinkKey& b,
                                                  const ZqReal& distance)
{
   getData(a, b).setDistance(distance);
   setValid(a, b);
   return true;
}

const ZqReal& ZqManipulatorLinkProximityState::getDistance(const ZqLinkKey& a,
                                                           const ZqLinkKey& b) const
{
   return getData(a, b).distance();
}

void ZqManipulatorLinkProximityState::countMove(ZqU32 manipulatorIndex)
{
   // Before a counter comes to what it was once, nothing is left that might take that for the
   // present.
   if (++m_moves[manipulatorIndex] == ZqLinkProximityData::never)
   {
      m_data.clear();
      m_moves[manipulatorIndex] = 0;
   }
}

void ZqManipulatorLinkProximityState::invalidateAll()
{
   for (ZqU32 i = 0; i < m_moves.size(); ++i)
      countMove(i);
   forgetUnknown();
   m_boxes.invalidateAll();
}

void ZqManipulatorLinkProximityState::invalidate(const ZqU32& manipulatorIndex)
{
   if (manipulatorIndex < m_moves.size())
      countMove(manipulatorIndex);
   else
      forgetUnknown();
   m_boxes.invalidateAll();
}

/// Manipulators that it does not know have no counter: when one moves, what is stored of any is
/// gone.
void ZqManipulatorLinkProximityState::forgetUnknown()
{
   if (!m_hasUnknown)
      return;
   m_hasUnknown = false;
   for (auto it = m_data.begin(); it != m_data.end();)
      it = isKnown(it->first.first()) && isKnown(it->first.second()) ? std::next(it)
                                                                     : m_data.erase(it);
}

void ZqManipulatorLinkProximityState::follow(ZqU32 manipulatorIndex, std::uint64_t version)
{
   if (m_versions.size() <= manipulatorIndex)
      m_versions.resize(std::size_t{manipulatorIndex} + 1);
   if (m_versions[manipulatorIndex] == version)
      return;
   m_versions[manipulatorIndex] = version;
   // One that was not known stood at 0.
   if (m_moves.size() <= manipulatorIndex)
   {
      forgetUnknown();
      m_moves.resize(std::size_t{manipulatorIndex} + 1, 0);
   }
   countMove(manipulatorIndex);
}

// A pair may have been stored the other way round.
bool ZqManipulatorLinkProximityState::isValid(const ZqLinkKey& a, const ZqLinkKey& b) const
{
   const auto found = m_data.find(ZqLinkProximityKey(a, b));
   if (found == m_data.end())
      return false;
   const bool isSwapped = !(found->first.first() == a);
   const ZqLinkProximityData& data = found->second;
   return data.updateTime1() == movesOf(isSwapped ? b : a) &&
          data.updateTime2() == movesOf(isSwapped ? a : b);
}

void ZqManipulatorLinkProximityState::setValid(const ZqLinkKey& a, const ZqLinkKey& b)
{
   m_hasUnknown = m_hasUnknown || !isKnown(a) || !isKnown(b);
   const auto entry = m_data.try_emplace(ZqLinkProximityKey(a, b)).first;
   const bool isSwapped = !(entry->first.first() == a);
   entry->second.setUpdateTime1(movesOf(isSwapped ? b : a));
   entry->second.setUpdateTime2(movesOf(isSwapped ? a : b));
}

/// Of the two in either order.
std::size_t
ZqManipulatorLinkProximityState::Hash::operator()(const ZqLinkProximityKey& key) const noexcept
{
   const auto x =
      std::uint64_t{key.first().guesstimate()} + std::uint64_t{key.second().guesstimate()};
   std::uint64_t h = (x << 21) + ~x;
   h = (h ^ (h >> 24)) * 265;
   h = (h ^ (h >> 14)) * 21;
   h = (h ^ (h >> 28)) * 0x80000001;
   return static_cast<std::size_t>(h);
}
