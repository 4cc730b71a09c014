#pragma once

#include "zqManipulator/foundation/geometry/ZqBasePhysicalExtent.h"

/// A box about the origin of its frame, with its edges along the axes of that frame.
class ZqBox final : public ZqXmlClass<ZqBox, ZqConvexShape>
{
public:
   ZqBox() { convexChanges(); }
   ZqBox(const ZqCoordinateSystemTransformation& frame, const ZqVector& extents)
      : m_frame(frame), m_extents(extents)
   {
      convexChanges();
   }

   static const ZqToken& classToken() { return ZqGeom::ZqBoxToken; }
   static constexpr const char* documentation = "a box of any orientation";
   template <class This = ZqBox>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_frame, &ZqGeom::ZqFrameToken,
                                    "frame of the middle, with axes along the edges"},
                        ZqComponent{&This::m_extents, &ZqGeom::ZqHalfExtentsToken,
                                    "half the lengths of the edges along x y z of the frame (m)"}};
   }
   bool operator==(const ZqBox& other) const
   {
      return ZqConvexShape::operator==(other) && m_frame == other.m_frame &&
             m_extents == other.m_extents;
   }

   ZqU32 shapeType() const override { return BoxShape; }
   const ZqCoordinateSystemTransformation& frame() const noexcept { return m_frame; }
   void setFrame(const ZqCoordinateSystemTransformation& frame)
   {
      m_frame = frame;
      convexChanges();
   }
   const ZqVector& extents() const noexcept { return m_extents; }
   void setExtents(const ZqVector& extents)
   {
      m_extents = extents;
      convexChanges();
   }
   const ZqVector& center() const noexcept { return m_frame.translation(); }
   const ZqOrientation& orientation() const noexcept { return m_frame.orientation(); }
   /// The unit vector along the edges 0, 1 or 2.
   ZqVector axis(ZqU32 index) const noexcept;

protected:
   ZqConvex makeConvex() const override;
   ZqString repair() override;
   void transformSelfBy(const ZqCoordinateSystemTransformation& X) override;
   void scaleSelfBy(ZqReal scale) override;
   void truncateSelf(ZqReal tolerance) override;

private:
   ZqCoordinateSystemTransformation m_frame;
   ZqVector m_extents;
};

extern template class ZqXmlClass<ZqBox, ZqConvexShape>;
