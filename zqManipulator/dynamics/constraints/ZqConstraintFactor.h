#pragma once

#include "zqManipulator/foundation/algebra/ZqReArray.h"

#include <limits>
#include <vector>

class ZqOrientation;

/// The factors of a constraint Jacobian G (k x n), and the least change, in the metric of a mass matrix M,
/// that makes velocities or accelerations fulfil G x + b = 0.
///
/// G = U T Q with r rows in Q (r x n) that are orthonormal, as are the r columns of U (k x r), and with T
/// upper triangular: a complete orthogonal decomposition, by Gram and Schmidt with every vector
/// orthogonalised twice. The **rank** r is a matter of geometry, whatever the masses: rows are taken by
/// what is left of them, the longest first, until what is left is not above 1e-9 of the longest row of G
/// (or 1e-13, below which no row means anything in SI units). What is left then is rounding: a row that
/// repeats others, or that nothing can move, takes no part.
///
/// So with M behind it stands Q M^-1 Q^T, which is no worse conditioned than M. Where no x fulfils all
/// rows, x does so in the sense of least squares.
class ZqConstraintFactor
{
public:
   /// Factors G. A part of the columns of a Jacobian is judged by the longest row of the whole.
   void factor(const ZqReArray& G, ZqReal longestRow = 0.0);
   ZqU32 rank() const noexcept { return m_Q.rows(); }
   ZqU32 constraintCount() const noexcept { return m_U.columns(); }
   /// Q, for which the caller finds M^-1 Q^T before the following operations.
   const ZqReArray& basis() const noexcept { return m_Q; }
   /// M^-1 Q^T (n x r).
   ZqReArray& inertialBasis() noexcept { return m_W; }
   /// Changes x (n x 1) to fulfil G x + b = 0, with b k x 1. If more than a part of b is beyond any x, the
   /// rows mean nothing together, and x is made to fulfil G x = 0: accelerations then do not follow
   /// products of velocities that violate the constraints, which would grow without bound. The same
   /// holds when what b alone changes x by, d, has a d^T M d above the greatest one.
   void impose(const ZqReArray& b, ZqReArray& x, ZqReal mostContradiction = 1.0,
               ZqReal greatestChange = std::numeric_limits<ZqReal>::infinity());
   /// What b asks for and no x fulfils (k x 1), from the last call of `impose`.
   const ZqReArray& contradiction() const noexcept { return m_contradiction; }
   /// The multipliers lambda (k x 1) of the last call: x was changed by -M^-1 G^T lambda. Of those that do
   /// the same the shortest.
   void getMultipliers(ZqReArray& lambda);

   /// The length of the longest row.
   static ZqReal longestRow(const ZqReArray& G);
   /// Turns the columns of a free base from the axes of the system into its own, which mass matrices are
   /// in.
   static void turnBaseColumns(const ZqOrientation& base, ZqReArray& G);

private:
   void findBasis(const ZqReArray& G, ZqReal threshold);
   void orthogonaliseColumns();

   ZqReArray m_rest; ///< what is left of the rows
   std::vector<bool> m_isTaken;
   ZqReArray m_Q;
   ZqReArray m_U; ///< transposed: r x k
   ZqReArray m_T;
   ZqReArray m_W;
   ZqReArray m_A; ///< Q M^-1 Q^T
   ZqReArray m_L; ///< its factor
   ZqReArray m_excess;
   ZqReArray m_multipliers; ///< of the rows of Q
   ZqReArray m_shares;
   ZqReArray m_contradiction;
};
