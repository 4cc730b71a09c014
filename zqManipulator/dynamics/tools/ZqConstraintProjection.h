#pragma once

#include "zqManipulator/dynamics/constraints/ZqConstraintFactor.h"
#include "zqManipulator/dynamics/tools/ZqCrbiAccelerationTool.h"
#include "zqManipulator/simulation/constraints/ZqConstraintKinematics.h"

/// Brings states back to the state equality constraints of a manipulator, from which the error of the
/// integration lets them drift, by the least change in the metric of the mass matrix: as impulses at the
/// constraints would. So a velocity loses the energy of what violates the constraints and no other, and
/// between the links of a free manipulator no momentum.
///
/// Constraints are taken by their `addKinematics`. Repeated rows are no burden; the rank that is found is
/// that of `ZqConstraintFactor`. Masses are those of the solver, drives and attachments included.
///
/// The limits of joints play no part: a joint that has to go beyond one goes there, and the result tells.
class ZqConstraintProjection
{
public:
   struct Result
   {
      /// Whether what is left is within the tolerance. If it is not, the state is left as it was.
      bool converged = true;
      ZqU32 iterations = 0;
      /// The greatest gap of a constraint (m), or the greatest rate of one (m/s), before and after. If
      /// there was no convergence, `after` is the least that was reached on the way.
      ZqReal before = 0.0;
      ZqReal after = 0.0;
      /// The constraint of which `after` is, by index; `ZqNoLinkIndex` when none has a gap.
      ZqU32 constraint = ZqNoLinkIndex;
      /// A joint that went beyond one of its limits; `ZqNoLinkIndex` if none did.
      ZqU32 jointBeyondLimit = ZqNoLinkIndex;
   };

   /// Closes the gaps by steps of Newton, each in the metric of the first position and shortened to move
   /// no joint by more than 1 (rad or m) and not to widen the gaps. A free base moves as well, and turns
   /// by the exponential. Rows without a gap are kept to by the steps as they are by velocities.
   Result projectPosition(const ZqStatedSystem& statedSystem,
                          const ZqIndividualManipulator& manipulator, ZqPositionState& position);
   /// v - M^-1 G^T (G M^-1 G^T)^+ G v, twice, which takes away what rounding left. The velocity of the base
   /// stands in the system, as in the state.
   Result projectVelocity(const ZqStatedSystem& statedSystem,
                          const ZqIndividualManipulator& manipulator,
                          const ZqPositionState& position, ZqVelocityState& velocity);

   /// The gap (m), or rate (m/s), with which a loop counts as closed: 1e-6, since a model may have lengths
   /// of six digits. The steps go on as long as they gain, until 1e-12.
   ZqReal tolerance() const noexcept { return m_tolerance; }
   void setTolerance(ZqReal tolerance) noexcept { m_tolerance = tolerance; }
   /// The most steps for one position: 50.
   ZqU32 maxIterations() const noexcept { return m_maxIterations; }
   void setMaxIterations(ZqU32 count) noexcept { m_maxIterations = count; }

private:
   const ZqConstraintKinematics& placeAt(const ZqPositionState& position,
                                         const ZqIndividualManipulator& manipulator);
   void factorConstraints(const ZqIndividualManipulator& manipulator,
                          const ZqConstraintKinematics& kinematics, ZqMassMatrixFactor& massMatrix);
   void moveBy(ZqReal part, const ZqIndividualManipulator& manipulator, ZqPositionState& position);

   ZqReal m_tolerance = 1e-6;
   ZqU32 m_maxIterations = 50;
   ZqCrbiAccelerationTool m_solver;
   ZqConstraintFactor m_constraintFactor;
   ZqManipulatorActiveState m_activeState;
   ZqConstraintKinematics m_kinematics;
   ZqReArray m_jacobian;
   ZqReArray m_step; ///< base first, in the axes of the base
   ZqReArray m_rows;
   ZqReArray m_zeros;
   ZqPositionState m_reached;
   ZqPositionState m_tried;
   ZqVelocityState m_rest;
};
