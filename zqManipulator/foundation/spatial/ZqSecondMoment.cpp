#include "zqManipulator/foundation/spatial/ZqSecondMoment.h"

#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"
#include "zqManipulator/foundation/algebra/ZqValueText.h"

#include <Eigen/Eigenvalues>

#include <algorithm>
#include <cmath>
#include <limits>
#include <ostream>

template class ZqXmlClass<ZqSecondMoment>;

namespace
{
/// The spread of the mass along each principal axis, the integral of x^2 dm: the triangle inequality
/// of the moments says that none is negative, and with it no moment is. Halved before they are added,
/// so that nothing overflows.
ZqVector spreads(const ZqVector& moments)
{
   const ZqVector half = moments * 0.5;
   return {half.y() + half.z() - half.x(), half.x() + half.z() - half.y(),
           half.x() + half.y() - half.z()};
}

/// Whether no spread is negative, to within a tolerance relative to the largest moment.
bool noneNegative(const ZqVector& spread, const ZqVector& moments, ZqReal tolerance)
{
   const ZqReal least =
      -tolerance * std::max({std::abs(moments.x()), std::abs(moments.y()), std::abs(moments.z())});
   return spread.x() >= least && spread.y() >= least && spread.z() >= least;
}
} // namespace

ZqSecondMoment ZqSecondMoment::fromMatrix(const ZqSpatialMatrix& m) noexcept
{
   return {m[0][0],
           m[1][1],
           m[2][2],
           (m[0][1] + m[1][0]) / 2.0,
           (m[0][2] + m[2][0]) / 2.0,
           (m[1][2] + m[2][1]) / 2.0};
}

ZqSpatialMatrix ZqSecondMoment::matrix() const noexcept
{
   return {m_xx, m_xy, m_xz, m_xy, m_yy, m_yz, m_xz, m_yz, m_zz};
}

bool ZqSecondMoment::approxEq(const ZqSecondMoment& b, ZqReal tolerance) const noexcept
{
   const ZqSecondMoment d = *this - b;
   return ZqVector(d.m_xx, d.m_yy, d.m_zz).approxEq(ZqVector(), tolerance) &&
          ZqVector(d.m_xy, d.m_xz, d.m_yz).approxEq(ZqVector(), tolerance);
}

ZqSecondMoment ZqSecondMoment::rotated(const ZqOrientation& orientation) const noexcept
{
   const ZqRotationMatrix R(orientation);
   // The rows of R I, each turned by R in turn.
   const ZqVector x = R * (*this * R.row(0));
   const ZqVector y = R * (*this * R.row(1));
   const ZqVector z = R * (*this * R.row(2));
   return {x.x(), y.y(), z.z(), x.y(), x.z(), y.z()};
}

ZqBoolean ZqSecondMoment::principalAxes(ZqVector& moments, ZqOrientation& axes) const
{
   Eigen::Matrix3d m;
   m << m_xx, m_xy, m_xz, m_xy, m_yy, m_yz, m_xz, m_yz, m_zz;
   if (!m.allFinite())
      return false;
   const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver(m);
   if (solver.info() != Eigen::Success)
      return false;
   const auto column = [&](int i)
   {
      const Eigen::Vector3d v = solver.eigenvectors().col(i);
      return ZqVector(v(0), v(1), v(2));
   };
   moments = {solver.eigenvalues()(0), solver.eigenvalues()(1), solver.eigenvalues()(2)};
   // The third axis completes a right-handed frame.
   axes.setFromDcmColumns(column(0), column(1), column(0).cross(column(1)));
   return true;
}

ZqBoolean ZqSecondMoment::isValid(ZqReal tolerance) const
{
   ZqVector moments;
   ZqOrientation axes;
   if (!principalAxes(moments, axes))
      return false;
   return noneNegative(spreads(moments), moments, tolerance);
}

void ZqSecondMoment::makeValid()
{
   // What the turn to the principal axes and back leaves; without it a second call would change the
   // last digits again.
   constexpr ZqReal roundingTolerance = 16.0 * std::numeric_limits<ZqReal>::epsilon();
   ZqVector moments;
   ZqOrientation axes;
   if (!principalAxes(moments, axes))
   {
      *this = ZqSecondMoment();
      return;
   }
   const ZqVector spread = spreads(moments);
   if (noneNegative(spread, moments, roundingTolerance))
      return;
   const ZqReal x = std::max(spread.x(), 0.0);
   const ZqReal y = std::max(spread.y(), 0.0);
   const ZqReal z = std::max(spread.z(), 0.0);
   *this = ZqSecondMoment(y + z, x + z, x + y, 0.0, 0.0, 0.0).rotated(axes);
}

std::ostream& operator<<(std::ostream& stream, const ZqSecondMoment& moment)
{
   return stream << moment.matrix();
}
