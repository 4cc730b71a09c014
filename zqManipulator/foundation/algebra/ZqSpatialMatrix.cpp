#include "zqManipulator/foundation/algebra/ZqSpatialMatrix.h"

#include <algorithm>
#include <cmath>
#include <limits>

const ZqSpatialMatrix& ZqSpatialMatrix::nullObject()
{
   static const ZqSpatialMatrix zero;
   return zero;
}

const ZqSpatialMatrix& ZqSpatialMatrix::identity()
{
   static const ZqSpatialMatrix one(1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0);
   return one;
}

ZqSpatialMatrix ZqSpatialMatrix::rotated(const ZqRotationMatrix& R) const noexcept
{
   // Row i of R M is the combination of M's rows with the elements of R's row i.
   const ZqVector RM0 = rowTimes(R.row(0));
   const ZqVector RM1 = rowTimes(R.row(1));
   const ZqVector RM2 = rowTimes(R.row(2));
   return {R * RM0, R * RM1, R * RM2};
}

ZqBoolean ZqSpatialMatrix::invert(ZqSpatialMatrix& result) const noexcept
{
   // Dividing by the largest element keeps the determinant in range for inertias of any size.
   ZqReal largest = 0.0;
   for (const ZqVector& row : m_rows)
      largest = std::max({largest, std::abs(row.x()), std::abs(row.y()), std::abs(row.z())});
   const ZqReal scale = 1.0 / largest;
   const ZqSpatialMatrix M = *this * scale;
   const ZqVector c0 = M[1].cross(M[2]);
   const ZqVector c1 = M[2].cross(M[0]);
   const ZqVector c2 = M[0].cross(M[1]);
   const ZqReal factor = scale / M[0].dot(c0);
   if (!std::isfinite(factor) || factor == 0.0)
   {
      result = ZqSpatialMatrix();
      return false;
   }
   result =
      ZqSpatialMatrix(c0.x(), c1.x(), c2.x(), c0.y(), c1.y(), c2.y(), c0.z(), c1.z(), c2.z()) *
      factor;
   return true;
}

ZqSpatialMatrix ZqSpatialMatrix::inverse() const noexcept
{
   ZqSpatialMatrix result;
   invert(result);
   return result;
}

ZqSpatialMatrix ZqSpatialMatrix::transpose() const
{
   return {column(0), column(1), column(2)};
}

void ZqSpatialMatrix::setToDcm(const ZqOrientation& orientation)
{
   const ZqRotationMatrix R(orientation);
   for (std::size_t i = 0; i < 3; ++i)
      m_rows[i] = R.row(i);
}

void ZqSpatialMatrix::setToCrossProductMatrix(const ZqVector& v)
{
   *this = crossProductMatrix(v);
}

void ZqSpatialMatrix::multiplyOnRightByCrossProductMatrix(const ZqVector& v)
{
   // A row r of M times [v x] is r x v.
   for (ZqVector& row : m_rows)
      row = row.cross(v);
}

void ZqSpatialMatrix::multiplyOnLeftByCrossProductMatrix(const ZqVector& v)
{
   *this =
      ZqSpatialMatrix(m_rows[2] * v.y() - m_rows[1] * v.z(), m_rows[0] * v.z() - m_rows[2] * v.x(),
                      m_rows[1] * v.x() - m_rows[0] * v.y());
}

ZqBoolean ZqSpatialMatrix::choleskyDecomposition(ZqSpatialMatrix& result) const
{
   constexpr ZqReal epsilon = std::numeric_limits<ZqReal>::epsilon();

   ZqSpatialMatrix L;
   ZqBoolean positiveDefinite = true;
   for (std::size_t j = 0; j < 3; ++j)
   {
      ZqReal pivot = m_rows[j][j];
      for (std::size_t k = 0; k < j; ++k)
         pivot -= L[j][k] * L[j][k];
      if (!(pivot > 10.0 * static_cast<ZqReal>(j) * epsilon * m_rows[j][j]) ||
          !std::isnormal(pivot))
      {
         positiveDefinite = false;
         L[j][j] = std::isfinite(pivot) ? 0.0 : std::numeric_limits<ZqReal>::quiet_NaN();
         continue;
      }
      L[j][j] = std::sqrt(pivot);
      for (std::size_t i = j + 1; i < 3; ++i)
      {
         ZqReal element = m_rows[i][j];
         for (std::size_t k = 0; k < j; ++k)
            element -= L[i][k] * L[j][k];
         L[i][j] = element / L[j][j];
      }
   }
   result = L;
   return positiveDefinite;
}
