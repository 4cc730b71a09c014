#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <vector>

namespace zqPosture
{
/// The step d, within bounds, that makes least
///
///     sum_i (K d + r)_i^2 / damping_i + sum_k (d - p)_k^2 / freedom_k,
///
/// where a row without damping is fulfilled, or as well as rows before it allow. Found in the space of the rows,
/// of which there are few: with the multipliers y of (K F K^T + damping) y = K p + r over the variables that are
/// off their bounds, d = p - F K^T y.
class BoundedStep
{
public:
   /// The numbers of rows and variables.
   void resize(int rows, int variables);
   /// Rows from `firstRow` on alone count. `preferred` may be null for zeros.
   void solve(const ZqReal* K, const ZqReal* r, int firstRow, const ZqReal* preferred);

   std::vector<ZqReal> damping;      ///< by row
   std::vector<ZqReal> freedom;      ///< by variable
   std::vector<ZqReal> lower, upper; ///< of d, by variable; zero between them
   std::vector<ZqReal> d;
   /// -1 or 1 for a variable that stands at its bound, and would go beyond.
   std::vector<signed char> held;

private:
   void assemble(const ZqReal* K, const ZqReal* r, int firstRow, const ZqReal* preferred);
   void factorAndSolve(int firstRow);
   bool hold();
   bool release();

   int m_rows = 0, m_variables = 0;
   std::vector<ZqReal> m_matrix, m_y, m_pivots;
   std::vector<ZqReal> m_wanted; ///< d where nothing is held
   std::vector<bool> m_wasReleased;
};
} // namespace zqPosture
