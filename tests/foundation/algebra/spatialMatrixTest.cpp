#include "support/randomValues.h"
#include "zqManipulator/foundation/algebra/ZqSpatialMatrix.h"

#include <gtest/gtest.h>

#include <cmath>

namespace
{
using zqTest::nan;
/// Sums of a few dozen products of numbers up to one.
constexpr ZqReal matrixTolerance = 100.0 * zqTest::epsilon;

TEST(SpatialMatrix, TurnsAndMultipliesByCrossProducts)
{
   zqTest::RandomValues random(2);
   for (int i = 0; i < 100; ++i)
   {
      const ZqSpatialMatrix A = random.spatialMatrix();
      const ZqVector u = random.vector();
      const ZqVector v = random.vector();
      ZqSpatialMatrix right = A;
      right.multiplyOnRightByCrossProductMatrix(v);
      EXPECT_TRUE((right * u).approxEq(A * v.cross(u), matrixTolerance));
      ZqSpatialMatrix left = A;
      left.multiplyOnLeftByCrossProductMatrix(v);
      EXPECT_TRUE((left * u).approxEq(v.cross(A * u), matrixTolerance));
      EXPECT_NEAR(u.dot(A * v), A.transposeTimes(u).dot(v), matrixTolerance);
      const ZqOrientation q = random.orientation();
      EXPECT_TRUE((A.rotated(q) * (q * u)).approxEq(q * (A * u), matrixTolerance));
   }
}

TEST(SpatialMatrix, InverseAtAnyScale)
{
   zqTest::RandomValues random(3);
   for (const ZqReal scale : {1e-200, 1e-9, 1.0, 1e200})
   {
      // Diagonally dominant, hence far from singular.
      const ZqSpatialMatrix M =
         (random.spatialMatrix() + ZqSpatialMatrix::identity() * 4.0) * scale;
      ZqSpatialMatrix inverse = M;
      ASSERT_TRUE(inverse.invert(inverse));
      EXPECT_TRUE((M * inverse).approxEq(ZqSpatialMatrix::identity(), matrixTolerance));
      EXPECT_TRUE((inverse * M).approxEq(ZqSpatialMatrix::identity(), matrixTolerance));
   }
   const ZqSpatialMatrix notInvertible[] = {ZqSpatialMatrix(),
                                            {1.0, 2.0, 3.0, 2.0, 4.0, 6.0, 0.0, 1.0, 0.0},
                                            {1.0, 0.0, 0.0, 0.0, nan, 0.0, 0.0, 0.0, 1.0}};
   for (const ZqSpatialMatrix& M : notInvertible)
   {
      ZqSpatialMatrix inverse = ZqSpatialMatrix::identity();
      EXPECT_FALSE(M.invert(inverse));
      EXPECT_EQ(inverse, ZqSpatialMatrix());
   }
}

TEST(SpatialMatrix, CholeskyTellsWhatIsPositiveDefinite)
{
   zqTest::RandomValues random(4);
   for (int i = 0; i < 100; ++i)
   {
      const ZqSpatialMatrix A = random.spatialMatrix();
      ZqSpatialMatrix M = A * A.transpose() + ZqSpatialMatrix::identity() * 0.01;
      const ZqSpatialMatrix expected = M;
      // What stands above the diagonal is not read.
      M[0][1] = M[0][2] = M[1][2] = nan;
      ASSERT_TRUE(M.choleskyDecomposition(M));
      EXPECT_TRUE(M[0][1] == 0.0 && M[0][2] == 0.0 && M[1][2] == 0.0);
      EXPECT_TRUE((M * M.transpose()).approxEq(expected, matrixTolerance));
   }

   ZqSpatialMatrix L;
   ZqSpatialMatrix M = ZqSpatialMatrix::identity();
   for (std::size_t i = 0; i < 3; ++i)
      for (const ZqReal bad : {0.0, -1.0, nan, zqTest::infinity})
      {
         M[i][i] = bad;
         EXPECT_FALSE(M.choleskyDecomposition(L));
         EXPECT_TRUE(std::isfinite(bad) ? L[i][i] == 0.0 : std::isnan(L[i][i]));
         M[i][i] = 1.0;
      }
   M[2][1] = nan;
   EXPECT_FALSE(M.choleskyDecomposition(L));
}
} // namespace
