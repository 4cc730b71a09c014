#include "zqManipulator/state/ZqSystemActiveBoundingBoxState.h"

#include <algorithm>
#include <cmath>

template class ZqXmlClass<ZqSystemActiveBoundingBoxState>;

namespace
{
/// Of a coordinate: what rounding leaves in bounds and in distances, with room to spare. Shapes
/// that touch are never lost by it.
constexpr ZqReal relativeSlack = 1e-11;
} // namespace

ZqReal ZqSystemActiveBoundingBoxState::slackOf(const ZqAxisAlignedBoundingBox& box)
{
   ZqReal greatest = 0.0;
   for (const ZqVector& corner : {box.lower(), box.upper()})
      for (std::size_t i = 0; i < 3; ++i)
         if (std::isfinite(corner[i]))
            greatest = std::max(greatest, std::abs(corner[i]));
   return relativeSlack * greatest;
}

void ZqSystemActiveBoundingBoxState::setTolerance(const ZqReal& tolerance)
{
   const ZqReal usable = tolerance > 0.0 ? tolerance : 0.0;
   // All boxes get another size.
   if (usable != m_tolerance)
      m_isInitialized = false;
   m_tolerance = usable;
}

void ZqSystemActiveBoundingBoxState::reset()
{
   const ZqReal tolerance = m_tolerance;
   *this = ZqSystemActiveBoundingBoxState();
   m_tolerance = tolerance;
}

ZqU32 ZqSystemActiveBoundingBoxState::intervalOf(ZqU32 manipulatorIndex, ZqU32 linkIndex) const
{
   if (manipulatorIndex >= m_ranges.size())
      return ZqNoLinkIndex;
   const auto [first, linkCount] = m_ranges[manipulatorIndex];
   if (linkIndex == ZqBaseLinkIndex)
      return first + linkCount;
   return linkIndex < linkCount ? first + linkIndex : ZqNoLinkIndex;
}

bool ZqSystemActiveBoundingBoxState::getAABB(ZqU32 manipulatorIndex, ZqU32 linkIndex,
                                             ZqAxisAlignedBoundingBox& box) const
{
   const ZqU32 interval = intervalOf(manipulatorIndex, linkIndex);
   if (interval == ZqNoLinkIndex)
      return false;
   box = m_boxes[interval];
   return true;
}

/// Whether the box of a link still holds its shape, larger by half the tolerance, in another place.
/// A turn moves no point by more than its chord at the reach of the shape.
bool ZqSystemActiveBoundingBoxState::isCovered(const Interval& interval,
                                               const ZqCoordinateSystemTransformation& frame) const
{
   const ZqVector& origin = frame.translation();
   const ZqOrientation& axes = frame.orientation();
   if (origin == interval.origin && axes == interval.axes)
      return true;
   if (m_tolerance == 0.0)
      return false;
   const ZqReal chord = 2.0 * (interval.axes.inverse() * axes).vectorPart().mag();
   return (origin - interval.origin).mag() + chord * interval.reach <= m_tolerance;
}

/// What the processor looks at. Of two links that come within the tolerance, the box of each, where
/// the link is now, larger by half the tolerance, meets the other's; and a link may have moved by
/// the tolerance since its box was made.
ZqAxisAlignedBoundingBox ZqSystemActiveBoundingBoxState::searchBox(ZqU32 interval) const
{
   if (!m_intervals[interval].hasShape)
      return {};
   ZqAxisAlignedBoundingBox box = m_boxes[interval];
   box.enlarge(0.5 * m_tolerance + slackOf(box));
   return box;
}

void ZqSystemActiveBoundingBoxState::place(ZqU32 interval,
                                           const ZqCoordinateSystemTransformation& frame,
                                           const ZqAxisAlignedBoundingBox& box)
{
   m_intervals[interval].origin = frame.translation();
   m_intervals[interval].axes = frame.orientation();
   m_boxes[interval] = box;
   m_boxes[interval].enlarge(m_tolerance);
}

void ZqSystemActiveBoundingBoxState::sortDatabase()
{
   m_processor.sort();
}

std::span<const ZqU32> ZqSystemActiveBoundingBoxState::intersectionsOf(ZqU32 manipulatorIndex) const
{
   if (std::size_t{manipulatorIndex} + 1 >= m_pairStarts.size())
      return {};
   const ZqU32 first = m_pairStarts[manipulatorIndex];
   return std::span(m_pairPlaces).subspan(first, m_pairStarts[manipulatorIndex + 1] - first);
}

/// Takes the pairs of the processor over, and sorts their places by manipulator.
void ZqSystemActiveBoundingBoxState::takePairs()
{
   m_pairs.clear();
   m_pairStarts.assign(m_ranges.size() + 1, 0);
   const auto countOf = [&](const ZqLinkKey& key) -> ZqU32&
   { return m_pairStarts[key.manipulatorIndex()]; };
   for (const auto& [a, b] : m_processor.overlaps())
   {
      const auto& [first, second] = m_pairs.emplace_back(m_intervals[a].key, m_intervals[b].key);
      ++countOf(first);
      if (second.manipulatorIndex() != first.manipulatorIndex())
         ++countOf(second);
   }
   // Each start is first the end of its manipulator, and filled from behind.
   for (std::size_t i = 1; i < m_pairStarts.size(); ++i)
      m_pairStarts[i] += m_pairStarts[i - 1];
   m_pairPlaces.resize(m_pairStarts.back());
   for (auto i = static_cast<ZqU32>(m_pairs.size()); i-- > 0;)
   {
      const auto& [first, second] = m_pairs[i];
      m_pairPlaces[--countOf(first)] = i;
      if (second.manipulatorIndex() != first.manipulatorIndex())
         m_pairPlaces[--countOf(second)] = i;
   }
}
