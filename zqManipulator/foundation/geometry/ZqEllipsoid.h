#pragma once

#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"

/// An ellipsoid about the origin of its frame, with semi-axes (m) along the axes of that frame; the
/// origin alone by default. A plain value.
class ZqEllipsoid
{
public:
   ZqEllipsoid() noexcept = default;
   ZqEllipsoid(ZqReal semiAxisX, ZqReal semiAxisY, ZqReal semiAxisZ,
               const ZqCoordinateSystemTransformation& frame) noexcept
      : m_semiAxes(semiAxisX, semiAxisY, semiAxisZ), m_frame(frame)
   {
   }
   bool operator==(const ZqEllipsoid&) const noexcept = default;

   /// Along x, y and z of the frame.
   const ZqVector& semiAxes() const noexcept { return m_semiAxes; }
   const ZqCoordinateSystemTransformation& frame() const noexcept { return m_frame; }
   /// In cubic metres.
   ZqReal volume() const noexcept
   {
      return 4.0 / 3.0 * ZqMath::pi * m_semiAxes.x() * m_semiAxes.y() * m_semiAxes.z();
   }

private:
   ZqVector m_semiAxes;
   ZqCoordinateSystemTransformation m_frame;
};
