#include "zqManipulator/dynamics/constraints/ZqStopFactor.h"

#include "zqManipulator/dynamics/constraints/ZqConstraintFactor.h"

#include <algorithm>
#include <cmath>

namespace
{
/// Of a row, for the impulse that moves it by one: it tells rows apart that depend on each other, and is far more
/// than rounding.
constexpr ZqReal softness = 1e-13;
} // namespace

void ZqStopFactor::clear(ZqU32 columns)
{
   m_rows.resize(0, columns);
}

std::span<ZqReal> ZqStopFactor::addRow()
{
   m_rows.resize(m_rows.rows() + 1, m_rows.columns());
   const std::span<ZqReal> row = m_rows[m_rows.rows() - 1];
   std::fill(row.begin(), row.end(), 0.0);
   return row;
}

void ZqStopFactor::keep(ZqConstraintFactor& constraints)
{
   // Less than this part of a row's effect is what rounding leaves of one that the constraints hold.
   constexpr ZqReal held = 1e-10;
   const ZqU32 n = m_rows.columns();
   m_zeros.setToZeros(constraints.constraintCount(), 1);
   m_column.resize(n, 1);
   const auto effectOn = [&](ZqU32 row)
   {
      ZqReal sum = 0.0;
      for (ZqU32 j = 0; j < n; ++j)
         sum += m_rows[row][j] * m_column[j][0];
      return sum;
   };
   for (ZqU32 row = 0; row < m_rows.rows(); ++row)
   {
      for (ZqU32 j = 0; j < n; ++j)
         m_column[j][0] = m_inertialRows[j][row];
      const ZqReal before = effectOn(row);
      constraints.impose(m_zeros, m_column);
      const ZqReal part = effectOn(row) > held * before ? 1.0 : 0.0;
      for (ZqU32 j = 0; j < n; ++j)
         m_inertialRows[j][row] = part * m_column[j][0];
   }
}

const ZqReArray& ZqStopFactor::leastChange(const std::vector<ZqReal>& b)
{
   m_rows.multiply(m_inertialRows, m_K);
   scaleRows(b);
   findImpulses();
   m_b.resize(m_rows.rows(), 1);
   for (ZqU32 i = 0; i < m_rows.rows(); ++i)
   {
      m_impulses[i] *= m_scales[i];
      m_b[i][0] = m_impulses[i];
   }
   m_inertialRows.multiply(m_b, m_column);
   return m_column;
}

/// Makes the diagonal of K one, so that rows of different units compare.
void ZqStopFactor::scaleRows(const std::vector<ZqReal>& b)
{
   const ZqU32 count = m_rows.rows();
   m_scales.resize(count);
   m_wanted.resize(count);
   for (ZqU32 i = 0; i < count; ++i)
   {
      m_scales[i] = m_K[i][i] > 0.0 ? 1.0 / std::sqrt(m_K[i][i]) : 0.0;
      m_wanted[i] = m_scales[i] * b[i];
   }
   for (ZqU32 i = 0; i < count; ++i)
      for (ZqU32 j = 0; j < count; ++j)
         m_K[i][j] *= m_scales[i] * m_scales[j];
}

/// Each row yields to its impulse by `softness`, so that rows that depend on each other have impulses of their
/// own. In a second pass as much is wanted more of it, which leaves no more than the square of that (the method of
/// multipliers, Rockafellar 1976).
void ZqStopFactor::findImpulses()
{
   const ZqU32 count = m_rows.rows();
   m_impulses.assign(count, 0.0);
   m_isActive.assign(count, false);
   m_active.clear();
   m_target = m_wanted;
   pushWhatLacks();
   for (ZqU32 i = 0; i < count; ++i)
      m_target[i] += softness * m_impulses[i];
   while (!solveActive())
   {
   }
   pushWhatLacks();
}

void ZqStopFactor::pushWhatLacks()
{
   // In exact arithmetic no active set comes twice: with rounding, this ends it.
   for (ZqU32 round = 0; round < 4 * m_rows.rows(); ++round)
   {
      const ZqU32 next = mostWanting();
      if (next == m_rows.rows())
         return;
      m_isActive[next] = true;
      m_active.push_back(next);
      while (!solveActive())
      {
      }
   }
}

/// The row that lacks most of what is wanted of it, of those that are not active; the number of rows if
/// nothing is lacking but rounding.
ZqU32 ZqStopFactor::mostWanting() const
{
   constexpr ZqReal rounding = 1e-13;
   ZqU32 result = m_rows.rows();
   ZqReal most = 0.0;
   for (const ZqReal wanted : m_wanted)
      most = std::max(most, rounding * std::abs(wanted));
   for (ZqU32 i = 0; i < m_rows.rows(); ++i)
   {
      if (m_isActive[i] || m_scales[i] == 0.0)
         continue;
      ZqReal lacking = m_target[i];
      for (const ZqU32 j : m_active)
         lacking -= m_K[i][j] * m_impulses[j];
      if (lacking > most)
      {
         most = lacking;
         result = i;
      }
   }
   return result;
}

/// Gives the active rows the impulses that they need. False when one would have to pull: then the impulses
/// go as far that way as none does, and that one is active no more.
bool ZqStopFactor::solveActive()
{
   const auto count = static_cast<ZqU32>(m_active.size());
   if (count == 0)
      return true;
   m_A.resize(count, count);
   m_b.resize(count, 1);
   for (ZqU32 i = 0; i < count; ++i)
   {
      m_b[i][0] = m_target[m_active[i]];
      for (ZqU32 j = 0; j < count; ++j)
         m_A[i][j] = m_K[m_active[i]][m_active[j]];
      m_A[i][i] += softness;
   }
   m_A.choleskyFactor(m_L);
   m_L.choleskySolve(m_b, m_solution);
   ZqReal part = 1.0;
   ZqU32 first = count;
   for (ZqU32 i = 0; i < count; ++i)
   {
      const ZqReal now = m_impulses[m_active[i]];
      const ZqReal reach = m_solution[i][0] > 0.0 ? 1.0 : now / (now - m_solution[i][0]);
      if (m_solution[i][0] > 0.0 || (first < count && !(reach < part)))
         continue;
      part = now > 0.0 ? reach : 0.0;
      first = i;
   }
   for (ZqU32 i = 0; i < count; ++i)
      m_impulses[m_active[i]] += part * (m_solution[i][0] - m_impulses[m_active[i]]);
   if (first == count)
      return true;
   takeOut(first);
   return false;
}

void ZqStopFactor::takeOut(ZqU32 place)
{
   const ZqU32 row = m_active[place];
   m_impulses[row] = 0.0;
   m_isActive[row] = false;
   m_active.erase(m_active.begin() + place);
}
