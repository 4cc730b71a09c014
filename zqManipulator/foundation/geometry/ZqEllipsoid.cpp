#include "zqManipulator/foundation/geometry/ZqEllipsoid.h"

#include "zqManipulator/foundation/geometry/ZqShapeNumbers.h"

template class ZqXmlClass<ZqEllipsoid, ZqConvexShape>;

ZqConvex ZqEllipsoid::makeConvex() const
{
   return ZqConvex::ellipsoid(zqConvex::properFrame(m_frame), zqConvex::finite(m_semiAxes));
}

const char* ZqEllipsoid::repair()
{
   if (zqConvex::repairFrame(m_frame))
      return "its orientation is made to be of unit length";
   bool isBad = false;
   for (std::size_t i = 0; i < 3; ++i)
      isBad |= zqConvex::repairLength(m_semiAxes[i]);
   return isBad ? "semi-axes below zero count as 0" : nullptr;
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
