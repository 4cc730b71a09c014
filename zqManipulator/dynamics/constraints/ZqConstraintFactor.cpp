#include "zqManipulator/dynamics/constraints/ZqConstraintFactor.h"

#include "zqManipulator/foundation/algebra/ZqReArrayKernels.h"
#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"

#include <algorithm>
#include <cmath>

using zqReArrayDetail::addRows;
using zqReArrayDetail::dot;

namespace
{
constexpr ZqReal relativeThreshold = 1e-9;
constexpr ZqReal absoluteThreshold = 1e-13;

ZqReal length(std::span<const ZqReal> row)
{
   return std::sqrt(dot(row.data(), row.data(), row.size()));
}

/// row -= factor * other.
void subtract(std::span<ZqReal> row, ZqReal factor, std::span<const ZqReal> other)
{
   addRows<-1>(row.data(), &factor, 1, other.data(), 0, 1, row.size());
}

void scale(std::span<ZqReal> row, ZqReal factor)
{
   for (ZqReal& x : row)
      x *= factor;
}
} // namespace

ZqReal ZqConstraintFactor::longestRow(const ZqReArray& G)
{
   ZqReal longest = 0.0;
   for (ZqU32 i = 0; i < G.rows(); ++i)
      longest = std::max(longest, length(G[i]));
   return longest;
}

void ZqConstraintFactor::turnBaseColumns(const ZqOrientation& base, ZqReArray& G)
{
   if (G.columns() < 6)
      return;
   const ZqRotationMatrix R(base);
   for (ZqU32 i = 0; i < G.rows(); ++i)
      for (std::size_t k = 0; k < 6; k += 3)
      {
         const auto part = G[i].subspan(k, 3);
         const ZqVector turned = R.transposeTimes(ZqVector(part[0], part[1], part[2]));
         std::copy_n(&turned[0], 3, part.begin());
      }
}

void ZqConstraintFactor::factor(const ZqReArray& G, ZqReal longest)
{
   longest = std::max(longest, longestRow(G));
   findBasis(G, std::max(relativeThreshold * longest, absoluteThreshold));
   orthogonaliseColumns();
}

/// G = C Q; the coefficients C, transposed, stand in the place of U.
void ZqConstraintFactor::findBasis(const ZqReArray& G, ZqReal threshold)
{
   const ZqU32 most = std::min(G.rows(), G.columns());
   m_rest = G;
   m_isTaken.assign(G.rows(), false);
   m_Q.resize(most, G.columns());
   m_U.setToZeros(most, G.rows());
   ZqU32 rank = 0;
   for (; rank < most; ++rank)
   {
      ZqU32 next = 0;
      ZqReal longest = 0.0;
      for (ZqU32 i = 0; i < G.rows(); ++i)
         if (const ZqReal left = m_isTaken[i] ? 0.0 : length(m_rest[i]); left > longest)
         {
            longest = left;
            next = i;
         }
      if (!(longest > threshold))
         break;

      const auto q = m_Q[rank];
      std::copy_n(m_rest[next].begin(), q.size(), q.begin());
      scale(q, 1.0 / longest);
      for (ZqU32 j = 0; j < rank; ++j)
         subtract(q, dot(q.data(), m_Q[j].data(), q.size()), m_Q[j]);
      scale(q, 1.0 / length(q));
      for (ZqU32 i = 0; i < G.rows(); ++i)
         if (!m_isTaken[i])
         {
            m_U[rank][i] = dot(m_rest[i].data(), q.data(), q.size());
            subtract(m_rest[i], m_U[rank][i], q);
         }
      m_isTaken[next] = true;
   }
   m_Q.resize(rank, G.columns());
   m_U.resize(rank, G.rows());
}

/// C = U T.
void ZqConstraintFactor::orthogonaliseColumns()
{
   m_T.setToZeros(rank(), rank());
   for (ZqU32 j = 0; j < rank(); ++j)
   {
      const auto u = m_U[j];
      for (int pass = 0; pass < 2; ++pass)
         for (ZqU32 i = 0; i < j; ++i)
         {
            const ZqReal along = dot(u.data(), m_U[i].data(), u.size());
            m_T[i][j] += along;
            subtract(u, along, m_U[i]);
         }
      m_T[j][j] = length(u);
      scale(u, 1.0 / m_T[j][j]);
   }
}

void ZqConstraintFactor::impose(const ZqReArray& b, ZqReArray& x, ZqReal mostContradiction,
                                ZqReal greatestChange)
{
   // The part of b that is orthogonal to all columns of U cannot be fulfilled by any x.
   m_contradiction = b;
   m_shares.resize(rank(), 1);
   for (ZqU32 j = 0; j < rank(); ++j)
   {
      m_shares[j][0] = dot(m_U[j].data(), b.data(), b.rows());
      addRows<-1>(m_contradiction.data(), m_shares[j].data(), 1, m_U[j].data(), 0, 1, b.rows());
   }
   const ZqReal beyond = length({m_contradiction.data(), m_contradiction.rows()});
   if (beyond > mostContradiction * length({b.data(), b.rows()}))
      m_shares *= 0.0;

   // Q x has to be y, where T y = -U^T b.
   m_Q.multiply(x, m_excess);
   m_multipliers.resize(rank(), 1);
   for (ZqU32 j = rank(); j-- > 0;)
   {
      ZqReal y = -m_shares[j][0];
      for (ZqU32 i = j + 1; i < rank(); ++i)
         y -= m_T[j][i] * m_multipliers[i][0];
      m_multipliers[j][0] = y / m_T[j][j];
   }
   m_Q.multiply(m_W, m_A);
   m_A.choleskyFactor(m_L);
   if (std::isfinite(greatestChange))
   {
      // Of d = M^-1 Q^T A^-1 y, with A = Q M^-1 Q^T, d^T M d is y^T A^-1 y.
      m_L.choleskySolve(m_multipliers, m_shares);
      if (dot(m_multipliers.data(), m_shares.data(), rank()) > greatestChange)
         m_multipliers *= 0.0;
   }
   m_excess -= m_multipliers;
   m_L.choleskySolve(m_excess, m_multipliers);
   m_W.multiply(m_multipliers, m_excess);
   x -= m_excess;
}

void ZqConstraintFactor::getMultipliers(ZqReArray& lambda)
{
   // G^T lambda = Q^T mu: with lambda = U z, T^T z = mu.
   lambda.setToZeros(m_U.columns(), 1);
   ZqReArray& z = m_shares;
   z = m_multipliers;
   for (ZqU32 j = 0; j < rank(); ++j)
   {
      for (ZqU32 i = 0; i < j; ++i)
         z[j][0] -= m_T[i][j] * z[i][0];
      z[j][0] /= m_T[j][j];
      for (ZqU32 i = 0; i < lambda.rows(); ++i)
         lambda[i][0] += z[j][0] * m_U[j][i];
   }
}
