#include "support/logCapture.h"
#include "support/randomValues.h"
#include "zqManipulator/foundation/algebra/ZqReArray.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

namespace
{
using zqTest::nan;

/// Rounding of sums over n products of numbers up to n.
ZqReal rounding(ZqU32 n)
{
   return 20.0 * zqTest::epsilon * (n + 1) * (n + 1);
}

/// The product by its definition.
ZqReArray product(const ZqReArray& A, const ZqReArray& B)
{
   ZqReArray result(A.rows(), B.columns());
   for (ZqU32 i = 0; i < A.rows(); ++i)
      for (ZqU32 j = 0; j < B.columns(); ++j)
         for (ZqU32 k = 0; k < A.columns(); ++k)
            result[i][j] += A[i][k] * B[k][j];
   return result;
}

/// The largest of 1 and the sizes of the elements.
ZqReal largest(const ZqReArray& A)
{
   ZqReal size = 1.0;
   for (ZqU32 i = 0; i < A.rows(); ++i)
      for (const ZqReal value : A[i])
         size = std::max(size, std::abs(value));
   return size;
}

/// The product of the factors that stand in one square array.
ZqReArray productOfLu(const ZqReArray& F)
{
   ZqReArray L = ZqReArray::identity(F.rows());
   ZqReArray U(F.rows(), F.rows());
   for (ZqU32 i = 0; i < F.rows(); ++i)
      for (ZqU32 j = 0; j < F.rows(); ++j)
         (j < i ? L : U)[i][j] = F[i][j];
   EXPECT_LE(largest(L), 1.0);
   return product(L, U);
}

/// Sizes around the steps of the unrolled loops, and one beyond the local work space.
const ZqU32 sizes[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 13, 31, 133};

TEST(ReArray, ProductsAgreeWithTheDefinition)
{
   zqTest::RandomValues random(20);
   for (int sample = 0; sample < 300; ++sample)
   {
      const ZqU32 r = random.index(0, 10);
      const ZqU32 c = random.index(0, 10);
      const ZqU32 k = random.index(0, 3);
      const ZqReArray A = random.array(r, c);
      const ZqReArray T = A.transpose();
      ZqReArray B = random.array(c, k);
      ZqReArray X = random.array(3, 3);
      EXPECT_TRUE((A * B).approxEq(product(A, B), rounding(10)));
      B = random.array(r, k);
      EXPECT_TRUE(A.leftTransposeMultiply(B, X));
      EXPECT_TRUE(X.approxEq(product(T, B), rounding(10)));
      B = random.array(k, c);
      EXPECT_TRUE(A.multiplyByTranspose(B, X));
      EXPECT_TRUE(X.approxEq(product(A, B.transpose()), rounding(10)));
      B = random.array(c, c);
      A.transform(B, X);
      EXPECT_TRUE(X.approxEq(product(product(A, B), T), rounding(10)));
      B = random.array(r, r);
      A.leftTransposeTransform(B, X);
      EXPECT_TRUE(X.approxEq(product(product(T, B), A), rounding(10)));
      EXPECT_EQ(A - T.transpose() * 2.0 + A, ZqReArray(r, c));
   }
}

TEST(ReArray, ResultMayBeAnOperand)
{
   zqTest::RandomValues random(21);
   ZqReArray LU = random.array(5, 5);
   std::vector<ZqU32> indices;
   ASSERT_TRUE(LU.luFactor(indices));
   const std::function<void(const ZqReArray&, const ZqReArray&, ZqReArray&)> operations[] = {
      [](const auto& a, const auto& b, auto& x) { a.multiply(b, x); },
      [](const auto& a, const auto& b, auto& x) { a.leftTransposeMultiply(b, x); },
      [](const auto& a, const auto& b, auto& x) { a.multiplyByTranspose(b, x); },
      [](const auto& a, const auto& b, auto& x) { a.transform(b, x); },
      [](const auto& a, const auto& b, auto& x) { a.leftTransposeTransform(b, x); },
      [](const auto& a, const auto&, auto& x) { a.transpose(x); },
      [](const auto& a, const auto&, auto& x) { a.choleskyFactor(x); },
      [](const auto& a, const auto& b, auto& x) { a.choleskySolve(b, x); },
      [](const auto& a, const auto& b, auto& x) { a.choleskySolveTranspose(b, x); },
      [&](const auto& a, const auto& b, auto& x) { a.luSolve(indices, b, x); },
   };
   for (const ZqReArray& a : {random.positiveDefinite(5), LU})
      for (const auto& operation : operations)
      {
         const ZqReArray B = random.array(5, 5);
         ZqReArray expected;
         operation(a, B, expected);
         ZqReArray first = a;
         operation(first, B, first);
         EXPECT_EQ(first, expected);
         ZqReArray second = B;
         operation(a, second, second);
         EXPECT_EQ(second, expected);
      }
   ZqReArray sum = LU;
   sum += sum;
   EXPECT_EQ(sum, LU * 2.0);
}

TEST(ReArray, ResizeKeepsRows)
{
   zqTest::RandomValues random(22);
   const ZqReArray A = random.array(3, 4);
   ZqReArray B = A;
   B.resize(5, ZqRealVector{1.0, 2.0, 3.0, 4.0});
   for (ZqU32 i = 0; i < 5; ++i)
      for (ZqU32 j = 0; j < 4; ++j)
         EXPECT_EQ(B[i][j], i < 3 ? A[i][j] : j + 1.0);
   B.resize(2, ZqRealVector{7.0, 8.0});
   EXPECT_EQ(B[1][1], A[1][1]);
}

TEST(ReArray, CholeskySolvesAgreeWithTheMatrix)
{
   zqTest::RandomValues random(23);
   for (const ZqU32 n : sizes)
   {
      const ZqReArray M = random.positiveDefinite(n);
      ZqReArray L = M;
      // What stands above the diagonal is not read.
      for (ZqU32 i = 0; i < n; ++i)
         std::fill(L[i].begin() + i + 1, L[i].end(), nan);
      ASSERT_TRUE(L.choleskyFactor(L)) << n;
      for (ZqU32 i = 0; i < n; ++i)
         EXPECT_TRUE(
            std::all_of(L[i].begin() + i + 1, L[i].end(), [](ZqReal x) { return x == 0.0; }));
      EXPECT_TRUE(product(L, L.transpose()).approxEq(M, rounding(n))) << n;

      for (const ZqU32 k : {0U, 1U, 2U, 6U})
      {
         const ZqReArray B = random.array(k, n);
         ZqReArray X;
         ZqReArray Y;
         ASSERT_TRUE(L.choleskySolveTranspose(B, X));
         EXPECT_TRUE(product(M, X).approxEq(B.transpose(), rounding(n))) << n;
         ASSERT_TRUE(L.choleskySolve(B.transpose(), Y));
         EXPECT_EQ(X, Y);
      }
   }
}

TEST(ReArray, CholeskyRefusesWhatIsNotPositiveDefinite)
{
   for (const ZqU32 n : {1U, 3U, 7U, 20U})
      for (ZqU32 i = 0; i < n; ++i)
         for (const ZqReal bad : {0.0, 5e-324, -1.0, nan, zqTest::infinity})
         {
            ZqReArray L = ZqReArray::identity(n);
            L[i][i] = bad;
            EXPECT_FALSE(L.choleskyFactor(L));
            // What is not a number does not turn into one in a solution.
            ZqReArray x;
            EXPECT_TRUE(L.choleskySolve(ZqReArray(n, 1), x));
            EXPECT_EQ(std::isnan(x[i][0]), !std::isfinite(bad));
         }
}

TEST(ReArray, LuSolvesAndReproducesThePermutedMatrix)
{
   zqTest::RandomValues random(25);
   for (const ZqU32 n : sizes)
   {
      // With zeros on the diagonal, so that rows must be exchanged.
      ZqReArray A = random.array(n, n);
      for (ZqU32 i = 0; i + 1 < n; ++i)
         A[i][i] = 0.0;
      ZqReArray F = A;
      std::vector<ZqU32> indices;
      ASSERT_TRUE(F.luFactor(indices)) << n;
      const ZqReArray LU = productOfLu(F);
      for (ZqU32 i = 0; i < n; ++i)
         for (ZqU32 j = 0; j < n; ++j)
            EXPECT_NEAR(LU[i][j], A[indices[i]][j], rounding(n));
      const ZqReArray b = random.array(n, 3);
      ZqReArray x;
      ASSERT_TRUE(F.luSolve(indices, b, x));
      // The residual of a stable solution is small against the solution, however ill the matrix.
      EXPECT_TRUE(product(A, x).approxEq(b, largest(x) * rounding(n))) << n;
   }
   ZqReArray singular = ZqReArray::identity(4);
   singular[2][2] = 0.0;
   std::vector<ZqU32> indices;
   EXPECT_FALSE(singular.luFactor(indices));
   ZqReArray notFinite = ZqReArray::identity(4);
   notFinite[3][0] = nan;
   EXPECT_FALSE(notFinite.luFactor(indices));
}

/// A random r x c matrix of the given rank in the corner of a square array, as its user sets it up.
struct KernelCase
{
   KernelCase(zqTest::RandomValues& random, ZqU32 r, ZqU32 c, ZqU32 rank)
      : J(random.array(r, rank) * random.array(rank, c)), work(std::max(r, c), std::max(r, c))
   {
      fill(nan);
   }
   /// Sets what surrounds the matrix to a value that must not matter.
   void fill(ZqReal outside)
   {
      for (ZqU32 i = 0; i < work.rows(); ++i)
         for (ZqU32 j = 0; j < work.columns(); ++j)
            work[i][j] = i < J.rows() && j < J.columns() ? J[i][j] : outside;
   }
   ZqReArray J;
   ZqReArray work;
};

void expectKernelAndFactors(const ZqReArray& J, ZqU32 rank, const ZqReArray& F, const ZqReArray& N,
                            const std::vector<ZqU32>& indices)
{
   const ZqU32 m = F.rows();
   const ZqU32 c = J.columns();
   ASSERT_EQ(N.rows(), c);
   ASSERT_EQ(N.columns(), c - rank);
   ASSERT_EQ(indices.size(), 2 * m);

   // In the kernel, relative to the size of the basis, and linearly independent.
   const ZqReArray none(J.rows(), c - rank);
   EXPECT_TRUE(product(J, N).approxEq(none, 100.0 * largest(N) * rounding(m)));
   ZqReArray gram;
   N.leftTransposeMultiply(N, gram);
   EXPECT_TRUE(gram.choleskyFactor(gram));

   const ZqReArray LU = productOfLu(F);
   for (ZqU32 i = 0; i < m; ++i)
   {
      EXPECT_EQ(F[i][i] != 0.0, i < rank);
      for (ZqU32 j = 0; j < m; ++j)
      {
         const bool isInside = indices[i] < J.rows() && indices[m + j] < c;
         EXPECT_NEAR(LU[i][j], isInside ? J[indices[i]][indices[m + j]] : 0.0, rounding(m));
      }
   }
}

TEST(ReArray, NullSpaceSpansTheKernelAtAnyRank)
{
   zqTest::RandomValues random(26);
   for (int sample = 0; sample < 300; ++sample)
   {
      const ZqU32 r = random.index(0, 8);
      const ZqU32 c = random.index(1, 12);
      const ZqU32 rank = random.index(0, std::min(r, c));
      KernelCase example(random, r, c, rank);
      ZqReArray N;
      std::vector<ZqU32> indices;
      ASSERT_TRUE(example.work.nullSpaceAndLu(N, r, indices, c));
      expectKernelAndFactors(example.J, rank, example.work, N, indices);
   }
}

TEST(ReArray, SparseNullSpaceIsTheDenseOne)
{
   zqTest::RandomValues random(27);
   for (int sample = 0; sample < 300; ++sample)
   {
      const ZqU32 r = random.index(1, 8);
      const ZqU32 c = random.index(1, 14);
      KernelCase example(random, r, c, std::min(r, c));
      std::vector<ZqU32> zeroStart;
      std::vector<ZqU32> sparsityIndices;
      for (ZqU32 i = 0; i < r; ++i)
      {
         zeroStart.push_back(random.index(0, c));
         sparsityIndices.push_back(random.index(0, zeroStart.back()));
         for (ZqU32 j = 0; j < c; ++j)
            if (j < sparsityIndices[i] || j >= zeroStart[i])
               example.J[i][j] = 0.0;
      }
      // Lists may end early.
      zeroStart.resize(random.index(0, r));
      example.fill(0.0);
      ZqReArray dense = example.work;
      ZqReArray denseN;
      std::vector<ZqU32> denseIndices;
      ASSERT_TRUE(dense.nullSpaceAndLu(denseN, r, denseIndices, c));
      // The zeros are not even looked at.
      for (ZqU32 i = 0; i < r; ++i)
         for (ZqU32 j = 0; j < c; ++j)
            if (j < sparsityIndices[i] || (i < zeroStart.size() && j >= zeroStart[i]))
               example.work[i][j] = nan;
      ZqReArray N;
      std::vector<ZqU32> indices;
      ASSERT_TRUE(example.work.sparseNullSpaceAndLu(N, r, indices, zeroStart, sparsityIndices, c));
      EXPECT_EQ(example.work, dense);
      EXPECT_EQ(N, denseN);
      EXPECT_EQ(indices, denseIndices);
   }
}

TEST(ReArray, SizesThatDoNotFitAreRejected)
{
   const ZqReArray A(2, 3);
   const ZqReArray B(2, 2);
   std::vector<ZqU32> indices{0, 9};
   using Operation = std::function<bool(ZqReArray&)>;
   const Operation operations[] = {
      [&](auto& x) { return A.multiply(A, x); },
      [&](auto& x) { return A.leftTransposeMultiply(ZqReArray(3, 2), x); },
      [&](auto& x) { return A.multiplyByTranspose(B, x); },
      [&](auto& x) { return A.transform(B, x), false; },
      [&](auto& x) { return A.leftTransposeTransform(A, x), false; },
      [&](auto& x) { return A.choleskyFactor(x); },
      [&](auto& x) { return A.choleskySolve(B, x); },
      [&](auto& x) { return B.choleskySolveTranspose(A, x); },
      [&](auto& x) { return B.luSolve(indices, B, x); },
      [&](auto& x) { return ZqReArray(A).nullSpaceAndLu(x, 2, indices); },
      [&](auto& x) { return x = A + B, false; },
   };
   for (const Operation& operation : operations)
   {
      zqTest::LogCapture log;
      ZqReArray result(4, 4);
      EXPECT_FALSE(operation(result));
      EXPECT_EQ(result, ZqReArray());
      EXPECT_EQ(log.size(), 1U);
      EXPECT_TRUE(log.contains("sizes do not fit"));
   }

   zqTest::LogCapture log;
   ZqReArray unchanged = ZqReArray::identity(2);
   unchanged += A;
   unchanged -= A;
   EXPECT_EQ(unchanged, ZqReArray::identity(2));
   EXPECT_EQ(log.messages()[0].text, "ZqReArray::operator+=: sizes do not fit, 2 x 2 with 2 x 3");
}
} // namespace
