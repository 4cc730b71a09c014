#pragma once

#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/foundation/algebra/ZqOrientation.h"
#include "zqManipulator/foundation/algebra/ZqReArray.h"
#include "zqManipulator/foundation/algebra/ZqSpatialMatrix.h"
#include "zqManipulator/foundation/algebra/ZqVector.h"

#include <limits>
#include <random>

namespace zqTest
{
inline constexpr ZqReal epsilon = std::numeric_limits<ZqReal>::epsilon();
inline constexpr ZqReal pi = ZqMath::pi;
inline constexpr ZqReal nan = std::numeric_limits<ZqReal>::quiet_NaN();
inline constexpr ZqReal infinity = std::numeric_limits<ZqReal>::infinity();

/// Reproducible values for tests. The engine's raw stream is the same everywhere and is turned into
/// numbers here, since the standard's distributions differ between libraries.
class RandomValues
{
public:
   explicit RandomValues(ZqU32 seed) : m_engine(seed) {}

   ZqReal real(ZqReal low = -1.0, ZqReal high = 1.0)
   {
      return low + (high - low) * (static_cast<ZqReal>(m_engine()) / 4294967296.0);
   }
   /// A whole number from low to high, both included.
   ZqU32 index(ZqU32 low, ZqU32 high)
   {
      return low + static_cast<ZqU32>(m_engine() % (high - low + 1));
   }
   ZqVector vector(ZqReal size = 1.0) { return {real() * size, real() * size, real() * size}; }
   ZqVector unitVector()
   {
      ZqVector v;
      while (v.magSquared() < 0.01 || v.magSquared() > 1.0)
         v = vector();
      return v.unitVector();
   }
   ZqOrientation orientation()
   {
      ZqOrientation q;
      q.setFromAngleAxis(real(-3.1, 3.1), unitVector());
      return q;
   }
   ZqSpatialMatrix spatialMatrix() { return {vector(), vector(), vector()}; }
   ZqReArray array(ZqU32 rows, ZqU32 columns)
   {
      ZqReArray result(rows, columns);
      for (ZqU32 i = 0; i < rows; ++i)
         for (ZqReal& value : result[i])
            value = real();
      return result;
   }
   /// Symmetric, with eigenvalues from 1 to about n.
   ZqReArray positiveDefinite(ZqU32 n)
   {
      const ZqReArray A = array(n, n);
      return A * A.transpose() + ZqReArray::identity(n);
   }

private:
   std::mt19937 m_engine;
};
} // namespace zqTest
