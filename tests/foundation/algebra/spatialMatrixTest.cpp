#include "support/randomValues.h"
#include "zqManipulator/foundation/algebra/ZqSpatialMatrix.h"

#include <gtest/gtest.h>

namespace
{
using zqTest::nan;
/// Sums of a few dozen products of numbers up to one.
constexpr ZqReal tolerance = 100.0 * zqTest::epsilon;

/// The product by its definition.
ZqSpatialMatrix product(const ZqSpatialMatrix& a, const ZqSpatialMatrix& b)
{
   ZqSpatialMatrix result;
   for (std::size_t i = 0; i < 3; ++i)
      for (std::size_t j = 0; j < 3; ++j)
         for (std::size_t k = 0; k < 3; ++k)
            result[i][j] += a[i][k] * b[k][j];
   return result;
}

TEST(SpatialMatrix, ProductsAgreeWithTheDefinition)
{
   zqTest::RandomValues random(2);
   for (int i = 0; i < 100; ++i)
   {
      const ZqSpatialMatrix A = random.spatialMatrix();
      const ZqSpatialMatrix B = random.spatialMatrix();
      const ZqVector u = random.vector();
      const ZqVector v = random.vector();
      EXPECT_TRUE((A * B).approxEq(product(A, B), tolerance));
      EXPECT_TRUE((A * B * v).approxEq(A * (B * v), tolerance));
      EXPECT_TRUE(A.transposeTimes(v).approxEq(A.transpose() * v, tolerance));
      EXPECT_NEAR(u.dot(A * v), v.dot(A.transpose() * u), tolerance);
      EXPECT_EQ(A - B, A + -B);

      const ZqSpatialMatrix V = ZqSpatialMatrix::crossProductMatrix(v);
      EXPECT_TRUE((V * u).approxEq(v.cross(u), tolerance));
      ZqSpatialMatrix right = A;
      right.multiplyOnRightByCrossProductMatrix(v);
      EXPECT_TRUE(right.approxEq(product(A, V), tolerance));
      ZqSpatialMatrix left = A;
      left.multiplyOnLeftByCrossProductMatrix(v);
      EXPECT_TRUE(left.approxEq(product(V, A), tolerance));

      const ZqOrientation q = random.orientation();
      ZqSpatialMatrix R;
      R.setToDcm(q);
      EXPECT_TRUE((R * v).approxEq(q * v, tolerance));
      EXPECT_TRUE(A.rotated(q).approxEq(product(product(R, A), R.transpose()), tolerance));
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
      EXPECT_TRUE((M * inverse).approxEq(ZqSpatialMatrix::identity(), tolerance));
      EXPECT_TRUE((inverse * M).approxEq(ZqSpatialMatrix::identity(), tolerance));
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
      EXPECT_TRUE((M * M.transpose()).approxEq(expected, tolerance));
   }

   ZqSpatialMatrix L;
   ZqSpatialMatrix M = ZqSpatialMatrix::identity();
   for (std::size_t i = 0; i < 3; ++i)
      for (const ZqReal bad : {0.0, -1.0, nan, zqTest::infinity})
      {
         M[i][i] = bad;
         EXPECT_FALSE(M.choleskyDecomposition(L));
         M[i][i] = 1.0;
      }
   M[2][1] = nan;
   EXPECT_FALSE(M.choleskyDecomposition(L));
}
} // namespace
