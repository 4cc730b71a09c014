#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <vector>

class ZqCompositeBodySweep;
class ZqReArray;

namespace zqMotion
{
struct Factor;
}

/// The factors W and D of a mass matrix M = W^T D W, where W is lower triangular with a unit diagonal
/// and D is diagonal, from the leaves of the tree to the root (Featherstone 2008, section 6.5). Row i
/// of W is zero but for the degrees of freedom between joint i and the root, so that nothing is computed
/// between branches; from the root to the leaves those elements would fill up.
///
/// The six degrees of freedom of a free base are the root, one above the other, and stand before those
/// of the joints in what is solved for. Of them the linear ones are eliminated first, so that bodies
/// without a moment of inertia turn no further than they have to.
///
/// A degree of freedom whose pivot is nothing but rounding is dropped, as by
/// `ZqReArray::choleskyFactor`: what is solved for it is zero.
class ZqMassMatrixFactor
{
public:
   /// Factors the mass matrix M (n x n) of a manipulator with a fixed base, whose tree is that of a
   /// sweep.
   void factor(const ZqCompositeBodySweep& tree, const ZqReArray& M);
   /// The same with a free base: [I, D^T; D, M], with the inertia I (6 x 6) of the whole and the
   /// coupling D (n x 6).
   void factor(const ZqCompositeBodySweep& tree, const ZqReArray& M, const ZqReArray& D,
               const ZqReArray& I);
   /// The number of degrees of freedom.
   ZqU32 size() const noexcept { return static_cast<ZqU32>(m_depths.size()); }
   /// Solves M x = b for one column b. Where the size does not fit, it is logged and x is empty.
   ZqBoolean solve(const ZqReArray& b, ZqReArray& x);
   /// Solves M X = B^T, where each row of B (k x n) is a right-hand side: X is n x k. Where the size does
   /// not fit, it is logged and X is empty.
   ZqBoolean solveTranspose(const ZqReArray& B, ZqReArray& X);
   /// v^T M v for one column v: with velocities, twice the kinetic energy. Zero where the size does not
   /// fit, which is logged.
   ZqReal square(const ZqReArray& v);

private:
   void setTree(const ZqCompositeBodySweep& tree, ZqU32 baseDof, ZqU32 count);
   zqMotion::Factor factorOfNumbers() noexcept;
   bool fits(const char* operation, ZqU32 count) const;

   ZqU32 m_baseDof = 0;       ///< 6 for a free base
   std::vector<int> m_depths; ///< of each degree of freedom, from 0 at the root
   std::vector<int> m_ends;   ///< one past the last degree of freedom outboard of each
   std::size_t m_width = 0;   ///< of a row
   std::vector<ZqReal> m_rows;
   std::vector<ZqReal> m_inversePivots;
   std::vector<ZqReal> m_work;
   std::vector<int> m_path;
   std::vector<ZqReal> m_column;
};
