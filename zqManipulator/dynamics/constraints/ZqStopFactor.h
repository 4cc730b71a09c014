#pragma once

#include "zqManipulator/foundation/algebra/ZqReArray.h"

#include <vector>

class ZqConstraintFactor;

/// The least change x, in the metric of a mass matrix M, for which C x >= b: what inelastic stops do to
/// velocities, which push along the rows of C (k x n) and do not pull.
///
/// x = M^-1 C^T p with impulses p >= 0, of which those are zero whose rows are exceeded: a linear
/// complementarity problem, which is that of least squares with nonnegative unknowns and is solved as such,
/// by an active set (Lawson, Hanson 1974, chapter 23). Rows that repeat others share what these do. Rows may
/// be opposite, however little room they leave: v + x, where C (v + x) >= 0 is wanted, has no more energy than v.
/// What is wanted is met to within 1e-11 of x by rows at ordinary angles, and to within 1e-6 by rows that are
/// opposite but for an angle below 1e-2; to less where masses are apart by 1e12. A row that nothing can move takes
/// no part.
class ZqStopFactor
{
public:
   /// Forgets all rows; those that are added have so many columns.
   void clear(ZqU32 columns);
   /// Adds a row of zeros, to be filled.
   std::span<ZqReal> addRow();
   const ZqReArray& rows() const noexcept { return m_rows; }
   /// M^-1 C^T (n x k), which the caller finds before the following operations.
   ZqReArray& inertialRows() noexcept { return m_inertialRows; }
   /// Restricts changes to those that keep G x, by the factors of G, behind which stands the same M.
   void keep(ZqConstraintFactor& constraints);
   /// The change (n x 1) for numbers b, one a row. It holds until the next call.
   const ZqReArray& leastChange(const std::vector<ZqReal>& b);
   /// The impulses of the last call, one a row.
   const std::vector<ZqReal>& impulses() const noexcept { return m_impulses; }
   /// Whether anything can be done along a row, from the last call.
   bool isMovable(std::size_t row) const { return m_scales[row] > 0.0; }

private:
   void scaleRows(const std::vector<ZqReal>& b);
   void findImpulses();
   void pushWhatLacks();
   ZqU32 mostWanting() const;
   bool solveActive();
   void takeOut(ZqU32 place);

   ZqReArray m_rows;
   ZqReArray m_inertialRows;
   ZqReArray m_column;
   ZqReArray m_zeros;
   ZqReArray m_K; ///< C M^-1 C^T, scaled to a diagonal of ones
   std::vector<ZqReal> m_scales;
   std::vector<ZqReal> m_wanted; ///< b, scaled
   std::vector<ZqReal> m_target; ///< with what rows yield
   std::vector<ZqReal> m_impulses;
   std::vector<bool> m_isActive;
   std::vector<ZqU32> m_active;
   ZqReArray m_A; ///< of the active rows
   ZqReArray m_L;
   ZqReArray m_b;
   ZqReArray m_solution;
};
