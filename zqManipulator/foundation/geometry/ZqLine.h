#pragma once

#include "zqManipulator/foundation/algebra/ZqVector.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"

/// The infinite straight line through a point (m) along a direction; the x axis by default.
class ZqLine : public ZqXmlClass<ZqLine>
{
public:
   ZqLine() noexcept = default;
   /// The direction need not be of unit length. One of no length, or not finite, makes a line along x.
   ZqLine(const ZqVector& point, const ZqVector& direction) noexcept;

   static const ZqToken& classToken() { return ZqGeom::ZqLineToken; }
   static constexpr const char* documentation = "the straight line through a point";
   template <class This = ZqLine>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_point, &ZqGeom::ZqPointToken, "x y z of a point of it (m)"},
         ZqComponent{&This::m_unitVector, &ZqGeom::ZqDirectionToken,
                     "x y z of its direction, of whatever length"}};
   }
   bool read(ZqXmlReader& reader) override;
   bool operator==(const ZqLine&) const noexcept = default;

   const ZqVector& point() const noexcept { return m_point; }
   /// Its direction, of length 1.
   const ZqVector& unitVector() const noexcept { return m_unitVector; }

   /// The squared distance (m^2) to another line. The nearest points are `point() + s unitVector()` of this
   /// line and the same with t of the other; of parallel lines, those nearest to the middle between their
   /// points.
   ZqReal distanceSquaredToLine(const ZqLine& other, ZqReal& s, ZqReal& t) const noexcept;

   friend ZqLine operator*(const ZqCoordinateSystemTransformation& X, const ZqLine& line) noexcept
   {
      ZqLine mapped;
      mapped.m_point = X * line.m_point;
      mapped.m_unitVector = X.orientation() * line.m_unitVector;
      return mapped;
   }

private:
   ZqVector m_point;
   ZqVector m_unitVector = ZqVector(1.0, 0.0, 0.0);
};

extern template class ZqXmlClass<ZqLine>;
