#pragma once

#include "zqManipulator/foundation/geometry/ZqBasePhysicalExtent.h"
#include "zqManipulator/foundation/geometry/ZqLineSegment.h"

/// A frustum of a cone: a radius at each end of the axis, either of which may be zero. An axis without length
/// lies along z.
class ZqCone final : public ZqXmlClass<ZqCone, ZqConvexShape>
{
public:
   ZqCone() { convexChanges(); }
   ZqCone(const ZqLineSegment& lineSegment, ZqReal firstRadius, ZqReal secondRadius)
      : m_lineSegment(lineSegment), m_firstRadius(firstRadius), m_secondRadius(secondRadius)
   {
      convexChanges();
   }

   static const ZqToken& classToken() { return ZqGeom::ZqConeToken; }
   static constexpr const char* documentation = "a cone, or a frustum of one";
   template <class This = ZqCone>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_lineSegment, &ZqGeom::ZqLineSegmentToken,
                                    "the middles of the two ends"},
                        ZqComponent{&This::m_firstRadius, &ZqGeom::ZqFirstRadiusToken,
                                    "radius at the first end (m)"},
                        ZqComponent{&This::m_secondRadius, &ZqGeom::ZqSecondRadiusToken,
                                    "radius at the other end (m)"}};
   }
   bool operator==(const ZqCone& other) const
   {
      return ZqConvexShape::operator==(other) && m_lineSegment == other.m_lineSegment &&
             m_firstRadius == other.m_firstRadius && m_secondRadius == other.m_secondRadius;
   }

   ZqU32 shapeType() const override { return ConeShape; }
   const ZqLineSegment& lineSegment() const noexcept { return m_lineSegment; }
   void setLineSegment(const ZqLineSegment& lineSegment)
   {
      m_lineSegment = lineSegment;
      convexChanges();
   }
   const ZqReal& firstRadius() const noexcept { return m_firstRadius; }
   void setFirstRadius(ZqReal firstRadius)
   {
      m_firstRadius = firstRadius;
      convexChanges();
   }
   const ZqReal& secondRadius() const noexcept { return m_secondRadius; }
   void setSecondRadius(ZqReal secondRadius)
   {
      m_secondRadius = secondRadius;
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
   ZqReal m_firstRadius = 0.0;
   ZqReal m_secondRadius = 0.0;
};

extern template class ZqXmlClass<ZqCone, ZqConvexShape>;
