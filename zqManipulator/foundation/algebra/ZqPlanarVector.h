#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <cmath>
#include <iosfwd>

/// Two components x, y of a point or direction in a plane.
class ZqPlanarVector
{
public:
   ZqPlanarVector() noexcept = default;
   ZqPlanarVector(ZqReal x, ZqReal y) noexcept : m_x(x), m_y(y) {}
   ZqPlanarVector(const ZqPlanarVector&) noexcept = default;
   ZqPlanarVector& operator=(const ZqPlanarVector&) noexcept = default;
   virtual ~ZqPlanarVector() = default;

   virtual ZqReal x() const { return m_x; }
   virtual ZqReal y() const { return m_y; }
   virtual ZqReal mag() const { return std::hypot(m_x, m_y); }

   ZqPlanarVector operator-(const ZqPlanarVector& b) const noexcept
   {
      return {m_x - b.m_x, m_y - b.m_y};
   }
   bool operator==(const ZqPlanarVector& b) const noexcept { return m_x == b.m_x && m_y == b.m_y; }

   friend std::ostream& operator<<(std::ostream& stream, const ZqPlanarVector& vector);

private:
   ZqReal m_x = 0.0;
   ZqReal m_y = 0.0;
};
