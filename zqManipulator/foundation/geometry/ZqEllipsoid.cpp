#include "zqManipulator/foundation/geometry/ZqEllipsoid.h"

#include "zqManipulator/foundation/geometry/ZqShapeNumbers.h"

template class ZqXmlClass<ZqEllipsoid, ZqConvexShape>;

ZqConvex ZqEllipsoid::makeConvex() const
{
   return ZqConvex::ellipsoid(zqConvex::properFrame(m_frame), zqConvex::finite(m_semiAxes));
}

ZqString ZqEllipsoid::repair()
{
   const bool isTurned = zqConvex::repairFrame(m_frame);
   bool isBad = false;
   for (std::size_t i = 0; i < 3; ++i)
      isBad |= zqConvex::repairLength(m_semiAxes[i]);
   return zqConvex::bothOf(isTurned, "its orientation is made to be of unit length", isBad,
                           "semi-axes below zero count as 0");
}

void ZqEllipsoid::transformSelfBy(const ZqCoordinateSystemTransformation& X)
{
   m_frame = X * m_frame;
   convexChanges();
}

void ZqEllipsoid::scaleSelfBy(ZqReal scale)
{
   m_frame.scaleTranslationBy(scale);
   m_semiAxes *= scale;
   convexChanges();
}

void ZqEllipsoid::truncateSelf(ZqReal tolerance)
{
   zqConvex::truncate(m_frame, tolerance);
   zqConvex::truncate(m_semiAxes, tolerance);
   convexChanges();
}
