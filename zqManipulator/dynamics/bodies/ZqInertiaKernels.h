#pragma once

#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/foundation/spatial/ZqSecondMoment.h"

#include <array>

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

   /// Becomes S - u a^T, where the outer product is symmetric.
   void subtractOuterProduct(const ZqVector& u, const ZqVector& a) noexcept
   {
      xx -= u.x() * a.x();
      yy -= u.y() * a.y();
      zz -= u.z() * a.z();
      xy -= u.x() * a.y();
      xz -= u.x() * a.z();
      yz -= u.y() * a.z();
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

/// The inertia [A, C; C^T, B] of an articulated body.
struct Articulated
{
   Symmetric A;
   Symmetric B;
   std::array<ZqVector, 3> C; ///< rows

   void rotate(const ZqRotationMatrix& R) noexcept
   {
      A = A.rotated(R);
      B = B.rotated(R);
      // Row i of R C is the combination of C's rows with the elements of R's row i.
      std::array<ZqVector, 3> turned;
      for (std::size_t i = 0; i < 3; ++i)
         turned[i] = R * (C[0] * R(i, 0) + C[1] * R(i, 1) + C[2] * R(i, 2));
      C = turned;
   }

   /// With P = [p x], K = A P: C becomes C - K, and B becomes B + P H + (P H)^T with H = C - K / 2.
   void translate(const ZqVector& p) noexcept
   {
      const ZqVector K0 = ZqVector(A.xx, A.xy, A.xz).cross(p);
      const ZqVector K1 = ZqVector(A.xy, A.yy, A.yz).cross(p);
      const ZqVector K2 = ZqVector(A.xz, A.yz, A.zz).cross(p);
      const ZqVector H0 = C[0] - K0 * 0.5;
      const ZqVector H1 = C[1] - K1 * 0.5;
      const ZqVector H2 = C[2] - K2 * 0.5;
      const ZqVector G0 = H2 * p.y() - H1 * p.z();
      const ZqVector G1 = H0 * p.z() - H2 * p.x();
      const ZqVector G2 = H1 * p.x() - H0 * p.y();
      B = {B.xx + 2.0 * G0.x(),      B.yy + 2.0 * G1.y(),      B.zz + 2.0 * G2.z(),
           B.xy + (G0.y() + G1.x()), B.xz + (G0.z() + G2.x()), B.yz + (G1.z() + G2.y())};
      C = {C[0] - K0, C[1] - K1, C[2] - K2};
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
