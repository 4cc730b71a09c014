#pragma once

#include "zqManipulator/foundation/geometry/ZqBasePhysicalExtent.h"
#include "zqManipulator/foundation/geometry/ZqLineSegment.h"

/// A cylinder with flat ends, whose middles are those of its line segment. A segment without length lies along z.
class ZqCylinder final : public ZqXmlClass<ZqCylinder, ZqConvexShape>
{
public:
   ZqCylinder() { convexChanges(); }
   ZqCylinder(const ZqLineSegment& lineSegment, ZqReal radius)
      : m_lineSegment(lineSegment), m_radius(radius)
   {
      convexChanges();
   }

   static const ZqToken& classToken() { return ZqGeom::ZqCylinderToken; }
   static constexpr const char* documentation = "a cylinder with flat ends";
   template <class This = ZqCylinder>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_lineSegment, &ZqGeom::ZqLineSegmentToken,
                                    "the middles of the two ends"},
                        ZqComponent{&This::m_radius, &ZqGeom::ZqRadiusToken, "radius (m)"}};
   }
   bool operator==(const ZqCylinder& other) const
   {
      return ZqConvexShape::operator==(other) && m_lineSegment == other.m_lineSegment &&
             m_radius == other.m_radius;
   }

   ZqU32 shapeType() const override { return CylinderShape; }
   const ZqLineSegment& lineSegment() const noexcept { return m_lineSegment; }
   void setLineSegment(const ZqLineSegment& lineSegment)
   {
      m_lineSegment = lineSegment;
      convexChanges();
   }
   const ZqReal& radius() const noexcept { return m_radius; }
   void setRadius(ZqReal radius)
   {
      m_radius = radius;
      convexChanges();
   }

protected:
   ZqConvex makeConvex() const override;
   ZqString repair() override;
   void transformSelfBy(const ZqCoordinateSystemTransformation& X) override;
   void scaleSelfBy(ZqReal scale) override;
   void truncateSelf(ZqReal tolerance) override;

private:
   ZqLineSegment m_lineSegment;
   ZqReal m_radius = 0.0;
};

extern template class ZqXmlClass<ZqCylinder, ZqConvexShape>;
