#include "zqManipulator/tools/posture/ZqBoundedStep.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace zqPosture
{
namespace
{
/// A pivot that is less than so much of its diagonal is rounding: the row says what others have said.
constexpr ZqReal leastPivot = 1e-14;

ZqReal& at(std::vector<ZqReal>& list, int i)
{
   return list[static_cast<std::size_t>(i)];
}
} // namespace

void BoundedStep::resize(int rows, int variables)
{
   m_rows = rows;
   m_variables = variables;
   const auto m = static_cast<std::size_t>(rows);
   const auto n = static_cast<std::size_t>(variables);
   damping.assign(m, 0.0);
   freedom.assign(n, 1.0);
   lower.assign(n, 0.0);
   upper.assign(n, 0.0);
   d.assign(n, 0.0);
   held.assign(n, 0);
   m_matrix.resize(m * m);
   m_y.resize(m);
   m_pivots.resize(m);
   m_wanted.resize(n);
   m_wasReleased.resize(n);
}

void BoundedStep::solve(const ZqReal* K, const ZqReal* r, int firstRow, const ZqReal* preferred)
{
   std::fill(held.begin(), held.end(), static_cast<signed char>(0));
   std::fill(m_wasReleased.begin(), m_wasReleased.end(), false);
   // Each variable is held, released and held again at most: so it ends.
   for (;;)
   {
      assemble(K, r, firstRow, preferred);
      factorAndSolve(firstRow);
      for (int k = 0; k < m_variables; ++k)
      {
         ZqReal pull = 0.0;
         for (int i = firstRow; i < m_rows; ++i)
            pull += K[i * m_variables + k] * at(m_y, i);
         at(m_wanted, k) = (preferred != nullptr ? preferred[k] : 0.0) - at(freedom, k) * pull;
      }
      if (!hold() && !release())
         return;
   }
}

void BoundedStep::assemble(const ZqReal* K, const ZqReal* r, int firstRow, const ZqReal* preferred)
{
   for (int i = firstRow; i < m_rows; ++i)
   {
      const ZqReal* const row = K + i * m_variables;
      for (int j = firstRow; j <= i; ++j)
      {
         const ZqReal* const other = K + j * m_variables;
         ZqReal sum = i == j ? at(damping, i) : 0.0;
         for (int k = 0; k < m_variables; ++k)
            if (held[static_cast<std::size_t>(k)] == 0)
               sum += row[k] * at(freedom, k) * other[k];
         at(m_matrix, i * m_rows + j) = sum;
      }
      ZqReal right = r[i];
      for (int k = 0; k < m_variables; ++k)
         if (held[static_cast<std::size_t>(k)] != 0)
            right += row[k] * at(d, k);
         else if (preferred != nullptr)
            right += row[k] * preferred[k];
      at(m_y, i) = right;
   }
}

/// By Cholesky's factors; a row that others make up has no part.
void BoundedStep::factorAndSolve(int firstRow)
{
   for (int i = firstRow; i < m_rows; ++i)
   {
      ZqReal* const row = m_matrix.data() + i * m_rows;
      const ZqReal diagonal = row[i];
      ZqReal right = at(m_y, i);
      for (int j = firstRow; j < i; ++j)
      {
         const ZqReal* const other = m_matrix.data() + j * m_rows;
         ZqReal sum = row[j];
         for (int k = firstRow; k < j; ++k)
            sum -= row[k] * other[k];
         row[j] = sum * at(m_pivots, j);
         row[i] -= row[j] * row[j];
         right -= row[j] * at(m_y, j);
      }
      at(m_pivots, i) = row[i] > leastPivot * diagonal ? 1.0 / std::sqrt(row[i]) : 0.0;
      at(m_y, i) = right * at(m_pivots, i);
   }
   for (int i = m_rows - 1; i >= firstRow; --i)
   {
      ZqReal sum = at(m_y, i);
      for (int j = i + 1; j < m_rows; ++j)
         sum -= at(m_matrix, j * m_rows + i) * at(m_y, j);
      at(m_y, i) = sum * at(m_pivots, i);
   }
}

/// Holds what would go beyond its bounds; whether there was any.
bool BoundedStep::hold()
{
   bool any = false;
   for (std::size_t k = 0; k < d.size(); ++k)
   {
      if (held[k] != 0)
         continue;
      d[k] = m_wanted[k];
      if (d[k] > upper[k])
         held[k] = 1;
      else if (d[k] < lower[k])
         held[k] = -1;
      else
         continue;
      d[k] = held[k] > 0 ? upper[k] : lower[k];
      any = true;
   }
   return any;
}

/// Releases the one of those held that is farthest from where it would be; whether there was any.
bool BoundedStep::release()
{
   std::size_t worst = d.size();
   ZqReal most = 0.0;
   for (std::size_t k = 0; k < d.size(); ++k)
   {
      const ZqReal inside = held[k] * (d[k] - m_wanted[k]);
      if (held[k] != 0 && !m_wasReleased[k] && inside > most)
      {
         worst = k;
         most = inside;
      }
   }
   if (worst == d.size())
      return false;
   held[worst] = 0;
   m_wasReleased[worst] = true;
   return true;
}
} // namespace zqPosture
