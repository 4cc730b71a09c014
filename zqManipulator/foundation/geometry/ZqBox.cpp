#include "zqManipulator/foundation/geometry/ZqBox.h"

#include "zqManipulator/foundation/geometry/ZqShapeNumbers.h"

template class ZqXmlClass<ZqBox, ZqConvexShape>;

ZqConvex ZqBox::makeConvex() const
{
   return ZqConvex::box(zqConvex::properFrame(m_frame), zqConvex::finite(m_extents));
}

ZqString ZqBox::repair()
{
   const bool isTurned = zqConvex::repairFrame(m_frame);
   bool isBad = false;
   for (std::size_t i = 0; i < 3; ++i)
      isBad |= zqConvex::repairLength(m_extents[i]);
   return zqConvex::bothOf(isTurned, "its orientation is made to be of unit length", isBad,
                           "half extents below zero count as 0");
}

void ZqBox::transformSelfBy(const ZqCoordinateSystemTransformation& X)
{
   m_frame = X * m_frame;
   convexChanges();
}

void ZqBox::scaleSelfBy(ZqReal scale)
{
   m_frame.scaleTranslationBy(scale);
   m_extents *= scale;
   convexChanges();
}

void ZqBox::truncateSelf(ZqReal tolerance)
{
   zqConvex::truncate(m_frame, tolerance);
   zqConvex::truncate(m_extents, tolerance);
   convexChanges();
}

ZqVector ZqBox::axis(ZqU32 index) const noexcept
{
   const zqConvex::Pose frame = zqConvex::pose(zqConvex::properFrame(m_frame));
   return zqConvex::vector(frame.R.column(static_cast<int>(index)));
}
