#pragma once

#include "zqManipulator/foundation/algebra/ZqReArray.h"

#include <vector>

/// What constraints say of a manipulator in a state, one row for each degree of constraint. With v the
/// velocities of all degrees of freedom and a their accelerations, a state keeps to the constraints when
/// gap = 0, G v = 0 and G a + bias = 0.
///
/// Rows and velocities stand as for `ZqBaseStateEqualityConstraint::jacobian`.
struct ZqConstraintKinematics
{
   /// doc x 1: by how much the positions disagree (m, or the unit of the row). Its rate is G v, as seen
   /// from the frame in which the constraint states it. Zero in rows without a gap.
   ZqReArray gap;
   /// Whether a row is the rate of a gap. A relation of velocities alone has none.
   std::vector<bool> hasGap;
   /// doc x totalDof: G.
   ZqReArray jacobian;
   /// doc x 1: G' v, what the rows accelerate by when no degree of freedom does. Gravity has no part in
   /// it.
   ZqReArray bias;

   ZqU32 doc() const noexcept { return jacobian.rows(); }
   /// Rows of zeros, without gaps.
   void setToZeros(ZqU32 doc, ZqU32 totalDof)
   {
      gap.setToZeros(doc, 1);
      hasGap.assign(doc, false);
      jacobian.setToZeros(doc, totalDof);
      bias.setToZeros(doc, 1);
   }
};
