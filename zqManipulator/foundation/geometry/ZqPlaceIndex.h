#pragma once

#include "zqManipulator/foundation/algebra/ZqVector.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <span>
#include <unordered_map>
#include <vector>

namespace zqConvex
{
/// Finds, of points that come one by one, an earlier one that is within a tolerance (m); one that is none
/// counts as 0.
class PlaceIndex
{
public:
   /// For points whose coordinates are no larger than the largest of these. A tolerance that is lost beside
   /// it counts as the least that is not. Cells are twice as wide as the tolerance, so that what is near a
   /// point is in one of eight.
   PlaceIndex(ZqReal tolerance, std::span<const ZqVector> points)
      : m_tolerance(tolerance > 0.0 && std::isfinite(tolerance)
                       ? std::max(tolerance, 1e-15 * largestOf(points))
                       : 0.0),
        m_cell(2.0 * m_tolerance)
   {
   }

   /// The index of an earlier point near this one among the places; else this is the next place.
   ZqU32 placeOf(const ZqVector& point, std::vector<ZqVector>& places)
   {
      const Cell base{lowerCell(point.x()), lowerCell(point.y()), lowerCell(point.z())};
      for (int i = 0; i < (m_cell > 0.0 ? 8 : 1); ++i)
      {
         const Cell cell{base[0] + (i & 1), base[1] + (i >> 1 & 1), base[2] + (i >> 2)};
         const auto [first, last] = m_cells.equal_range(cell);
         for (auto entry = first; entry != last; ++entry)
            if ((places[entry->second] - point).mag() <= m_tolerance)
               return entry->second;
      }
      const auto place = static_cast<ZqU32>(places.size());
      places.push_back(point);
      m_cells.emplace(Cell{cellOf(point.x()), cellOf(point.y()), cellOf(point.z())}, place);
      return place;
   }

private:
   static ZqReal largestOf(std::span<const ZqVector> points) noexcept
   {
      ZqReal largest = 0.0;
      for (const ZqVector& point : points)
         for (const ZqReal x : {point.x(), point.y(), point.z()})
            if (std::isfinite(x))
               largest = std::max(largest, std::abs(x));
      return largest;
   }

   using Cell = std::array<ZqReal, 3>;
   struct Hash
   {
      std::size_t operator()(const Cell& cell) const noexcept
      {
         std::size_t seed = 0;
         for (ZqReal x : cell) // equal numbers have equal hashes, -0.0 and 0.0 too
            seed = (seed ^ std::hash<ZqReal>()(x)) * 0x9E3779B97F4A7C15U + (seed >> 29U);
         return seed;
      }
   };
   ZqReal cellOf(ZqReal x) const noexcept { return m_cell > 0.0 ? std::floor(x / m_cell) : x; }
   ZqReal lowerCell(ZqReal x) const noexcept
   {
      return m_cell > 0.0 ? std::floor((x - m_tolerance) / m_cell) : x;
   }

   ZqReal m_tolerance;
   ZqReal m_cell;
   std::unordered_multimap<Cell, ZqU32, Hash> m_cells;
};
} // namespace zqConvex
