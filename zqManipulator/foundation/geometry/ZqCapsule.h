#pragma once

#include "zqManipulator/foundation/geometry/ZqBasePhysicalExtent.h"
#include "zqManipulator/foundation/geometry/ZqLineSegment.h"

/// A line segment swept by a ball: a cylinder with a half ball at each end.
class ZqCapsule final : public ZqXmlClass<ZqCapsule, ZqConvexShape>
{
public:
   ZqCapsule() { convexChanges(); }
   ZqCapsule(const ZqLineSegment& lineSegment, ZqReal radius)
      : m_lineSegment(lineSegment), m_radius(radius)
   {
      convexChanges();
   }

   static const ZqToken& classToken() { return ZqGeom::ZqCapsuleToken; }
   static constexpr const char* documentation = "a line segment swept by a ball";
   template <class This = ZqCapsule>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_lineSegment, &ZqGeom::ZqLineSegmentToken,
                                    "the middles of the two half balls"},
                        ZqComponent{&This::m_radius, &ZqGeom::ZqRadiusToken, "radius (m)"}};
   }
   bool operator==(const ZqCapsule& other) const
   {
      return ZqConvexShape::operator==(other) && m_lineSegment == other.m_lineSegment &&
             m_radius == other.m_radius;
   }

   ZqU32 shapeType() const override { return CapsuleShape; }
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

   friend ZqCapsule operator*(const ZqCoordinateSystemTransformation& X, const ZqCapsule& capsule)
   {
      ZqCapsule mapped = capsule;
      mapped.transformBy(X);
      return mapped;
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

extern template class ZqXmlClass<ZqCapsule, ZqConvexShape>;
