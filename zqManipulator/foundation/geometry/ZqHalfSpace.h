#pragma once

#include "zqManipulator/foundation/geometry/ZqConvex.h"
#include "zqManipulator/foundation/geometry/ZqPlane.h"
#include "zqManipulator/foundation/geometry/ZqShape.h"

/// All on the side of a plane that its normal leads away from: a floor. It has no end, and so no furthest
/// point and no volume around it.
class ZqHalfSpace final : public ZqXmlClass<ZqHalfSpace, ZqShape>
{
public:
   ZqHalfSpace() { convexChanges(); }
   /// A normal of no length counts as z.
   explicit ZqHalfSpace(const ZqPlane& plane) : m_plane(plane) { convexChanges(); }

   static const ZqToken& classToken() { return ZqGeom::ZqHalfSpaceToken; }
   static constexpr const char* documentation = "all behind a plane";
   template <class This = ZqHalfSpace>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_plane, &ZqGeom::ZqPlaneToken,
                                    "the surface, whose normal leads outward"}};
   }
   bool read(ZqXmlReader& reader) override;
   bool operator==(const ZqHalfSpace& other) const
   {
      return ZqShape::operator==(other) && m_plane == other.m_plane;
   }

   ZqU32 shapeType() const override { return HalfSpaceShape; }
   const ZqConvex* convex() const override { return &m_convex; }
   const ZqPlane& plane() const noexcept { return m_plane; }
   void setPlane(const ZqPlane& plane)
   {
      m_plane = plane;
      convexChanges();
   }

protected:
   void transformSelfBy(const ZqCoordinateSystemTransformation& X) override;
   void scaleSelfBy(ZqReal scale) override;
   void truncateSelf(ZqReal tolerance) override;

private:
   void convexChanges();

   ZqPlane m_plane;
   ZqConvex m_convex; ///< follows from the plane
};

extern template class ZqXmlClass<ZqHalfSpace, ZqShape>;
