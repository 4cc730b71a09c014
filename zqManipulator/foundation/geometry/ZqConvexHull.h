#pragma once

#include "zqManipulator/foundation/geometry/ZqBasePhysicalExtent.h"
#include "zqManipulator/foundation/xml/ZqXmlVectorBasicType.h"

/// The convex hull of points (m), some of which may lie inside; the origin alone where there are none.
/// Points that are not finite are passed over.
class ZqConvexHull final : public ZqXmlClass<ZqConvexHull, ZqConvexShape>
{
public:
   ZqConvexHull() { convexChanges(); }
   explicit ZqConvexHull(std::vector<ZqVector> points) : m_points(std::move(points))
   {
      convexChanges();
   }

   static const ZqToken& classToken() { return ZqGeom::ZqConvexHullToken; }
   static constexpr const char* documentation = "the convex hull of points";
   template <class This = ZqConvexHull>
   static constexpr auto components()
   {
      return std::tuple{
         ZqComponent{&This::m_points, &ZqGeom::ZqPointsToken, "x y z of each point (m)"}};
   }
   bool operator==(const ZqConvexHull& other) const
   {
      return ZqConvexShape::operator==(other) && m_points == other.m_points;
   }

   ZqU32 shapeType() const override { return ConvexHullShape; }
   const std::vector<ZqVector>& points() const noexcept { return m_points.values(); }
   void setPoints(std::vector<ZqVector> points)
   {
      m_points.values() = std::move(points);
      convexChanges();
   }
   /// Its vertices, edges and faces, about the middle of `convex()->frame`; shared by copies.
   std::shared_ptr<const ZqHull> hull() const { return convex()->hull; }
   /// Keeps the corners of the hull alone, and of those nearer to each other than the tolerance, one.
   void removeRedundancy(ZqReal tolerance) override;

protected:
   ZqConvex makeConvex() const override;
   ZqString repair() override;
   void transformSelfBy(const ZqCoordinateSystemTransformation& X) override;
   void scaleSelfBy(ZqReal scale) override;
   void truncateSelf(ZqReal tolerance) override;

private:
   ZqXmlVectorVector m_points;
};

extern template class ZqXmlClass<ZqConvexHull, ZqConvexShape>;
