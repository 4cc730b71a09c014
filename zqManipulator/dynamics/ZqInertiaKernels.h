#pragma once

#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/spatial/ZqSecondMoment.h"

/// The arithmetic of inertias on plain numbers.
namespace zqInertiaKernels
{
/// A symmetric 3 x 3 matrix.
struct Symmetric
{
   ZqReal xx;
   ZqReal yy;
   ZqReal zz;
   ZqReal xy;
   ZqReal xz;
   ZqReal yz;

   static Symmetric of(const ZqSecondMoment& S) noexcept
   {
      return {S.xx(), S.yy(), S.zz(), S.xy(), S.xz(), S.yz()};
   }
   operator ZqSecondMoment() const noexcept { return {xx, yy, zz, xy, xz, yz}; }

   /// R S R^T. A multiple of the unit matrix, which no rotation changes, is taken out first; the
   /// rest is x u^T + u x^T + y v^T + v y^T, where x, y and z are the images of the axes.
   Symmetric rotated(const ZqRotationMatrix& R) const noexcept
   {
      const ZqVector x = R.column(0);
      const ZqVector y = R.column(1);
      const ZqVector z = R.column(2);
      const ZqVector u = x * (0.5 * (xx - zz)) + y * xy + z * xz;
      const ZqVector v = y * (0.5 * (yy - zz)) + z * yz;
      return {zz + 2.0 * (x.x() * u.x() + y.x() * v.x()),
              zz + 2.0 * (x.y() * u.y() + y.y() * v.y()),
              zz + 2.0 * (x.z() * u.z() + y.z() * v.z()),
              (x.x() * u.y() + x.y() * u.x()) + (y.x() * v.y() + y.y() * v.x()),
              (x.x() * u.z() + x.z() * u.x()) + (y.x() * v.z() + y.z() * v.x()),
              (x.y() * u.z() + x.z() * u.y()) + (y.y() * v.z() + y.z() * v.y())};
   }

   /// Moves a body of mass m and first moment h by p: the parallel axis theorem for a body whose
   /// center of mass is anywhere.
   void moveBody(ZqReal m, const ZqVector& h, const ZqVector& p) noexcept
   {
      const ZqVector k = h + p * (0.5 * m);
      const ZqReal x = 2.0 * (p.x() * k.x());
      const ZqReal y = 2.0 * (p.y() * k.y());
      const ZqReal z = 2.0 * (p.z() * k.z());
      xx += y + z;
      yy += x + z;
      zz += x + y;
      xy -= p.x() * k.y() + p.y() * k.x();
      xz -= p.x() * k.z() + p.z() * k.x();
      yz -= p.y() * k.z() + p.z() * k.y();
   }
};

inline bool hasRotation(const ZqCoordinateSystemTransformation& X) noexcept
{
   return (X.mode() & ZqCoordinateSystemTransformation::TranslationOnly) == 0;
}
inline bool hasTranslation(const ZqCoordinateSystemTransformation& X) noexcept
{
   return (X.mode() & ZqCoordinateSystemTransformation::RotationOnly) == 0;
}
} // namespace zqInertiaKernels
