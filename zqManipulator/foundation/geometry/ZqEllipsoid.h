#pragma once

#include "zqManipulator/foundation/geometry/ZqBasePhysicalExtent.h"

/// An ellipsoid about the origin of its frame, with semi-axes along the axes of that frame; the origin alone
/// by default.
class ZqEllipsoid final : public ZqXmlClass<ZqEllipsoid, ZqConvexShape>
{
public:
   ZqEllipsoid() { convexChanges(); }
   ZqEllipsoid(ZqReal semiAxisX, ZqReal semiAxisY, ZqReal semiAxisZ,
               const ZqCoordinateSystemTransformation& frame)
      : m_semiAxes(semiAxisX, semiAxisY, semiAxisZ), m_frame(frame)
   {
      convexChanges();
   }

   static const ZqToken& classToken() { return ZqGeom::ZqEllipsoidToken; }
   static constexpr const char* documentation = "an ellipsoid";
   template <class This = ZqEllipsoid>
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&This::m_semiAxes, &ZqGeom::ZqSemiAxesToken,
                                    "semi-axes along x y z of the frame (m)"},
                        ZqComponent{&This::m_frame, &ZqGeom::ZqFrameToken,
                                    "frame of the middle, with axes along the semi-axes"}};
   }
   bool operator==(const ZqEllipsoid& other) const
   {
      return ZqConvexShape::operator==(other) && m_semiAxes == other.m_semiAxes &&
             m_frame == other.m_frame;
   }

   ZqU32 shapeType() const override { return EllipsoidShape; }
   const ZqVector& semiAxes() const noexcept { return m_semiAxes; }
   void setSemiAxes(const ZqVector& semiAxes)
   {
      m_semiAxes = semiAxes;
      convexChanges();
   }
   const ZqCoordinateSystemTransformation& frame() const noexcept { return m_frame; }
   void setFrame(const ZqCoordinateSystemTransformation& frame)
   {
      m_frame = frame;
      convexChanges();
   }

protected:
   ZqConvex makeConvex() const override;
   ZqString repair() override;
   void transformSelfBy(const ZqCoordinateSystemTransformation& X) override;
   void scaleSelfBy(ZqReal scale) override;
   void truncateSelf(ZqReal tolerance) override;

private:
   ZqVector m_semiAxes;
   ZqCoordinateSystemTransformation m_frame;
};

extern template class ZqXmlClass<ZqEllipsoid, ZqConvexShape>;
