#pragma once

#include "zqManipulator/foundation/algebra/ZqReArray.h"
#include "zqManipulator/foundation/xml/ZqBaseExpressionTree.h"
#include "zqManipulator/foundation/xml/ZqXmlClass.h"
#include "zqManipulator/simulation/constraints/ZqConstraintKinematics.h"
#include "zqManipulator/state/ZqManipulatorActivePositionState.h"
#include "zqManipulator/state/ZqUncopied.h"

class ZqAccelerationState;
class ZqIndividualManipulator;
class ZqLinkEdit;
class ZqManipulatorActiveState;
class ZqVelocityState;
struct ZqModelScaling;

/// A relation between the degrees of freedom of one manipulator that holds in both directions, such as
/// a closed loop of links. Forward dynamics finds forces by which G a + G' v = 0, with v the velocity,
/// a the acceleration, G the Jacobian and G' its rate.
///
/// G is `doc` x `totalDof` of the manipulator. The columns of a free base come first, those of the
/// velocity of the base's DH frame in the system, linear and then angular; a fixed base has none.
/// One column for each joint follows, by link index.
///
/// There are two computations of it. `addKinematics` is what the relation means, and what to take for a
/// simulation: Jacobian, rate and gap belong together whatever moves. `jacobian` and
/// `jacobianDerivative` are kept as they have always answered; where they differ, they say so.
///
/// Only accelerations are held to the relation: positions and velocities that agree with it at the
/// start drift from it with the error of the integration. `ZqConstraintProjection` brings them back.
///
/// The arrays that are returned belong to the constraint; a call of either operation overwrites both: these
/// operations are for one thread at a time. All else that is const serves any number of threads, and so
/// does an `addKinematics` of one's own that keeps nothing.
class ZqBaseStateEqualityConstraint
   : public ZqXmlAbstractClass<ZqBaseStateEqualityConstraint, ZqBaseExpressionTreeElement>
{
public:
   /// Jacobians are results, and no part of the value.
   bool operator==(const ZqBaseStateEqualityConstraint&) const noexcept { return true; }

   /// The degree of constraint: the number of rows.
   virtual ZqU32 doc() const = 0;
   /// \name Correction of states
   /// What a constraint can do to have a state agree with the relation, and whether it does then. A
   /// constraint that has no correction takes every state as it is, and answers true.
   /// @{
   virtual bool constrainPosition(const ZqIndividualManipulator& manipulator,
                                  ZqPositionState& position) const;
   virtual bool constrainVelocity(const ZqIndividualManipulator& manipulator,
                                  const ZqPositionState& position, ZqVelocityState& velocity) const;
   virtual bool constrainAcceleration(const ZqIndividualManipulator& manipulator,
                                      const ZqPositionState& position,
                                      const ZqVelocityState& velocity,
                                      ZqAccelerationState& acceleration) const;
   /// @}
   virtual const ZqReArray& jacobian(const ZqIndividualManipulator& manipulator,
                                     const ZqPositionState& position) const = 0;
   /// The rate of the Jacobian (1/s) while the manipulator moves with a velocity.
   ///
   /// By one difference over 1e-8 s, or over the time in which the fastest forward joint moves by 1e-7,
   /// if that is less. On random trees of up to eight links of a metre or two, an element is off by up
   /// to 1e-6 while joints move at 1 rad/s, which is rounding, and by up to 6e-6 at 10 rad/s.
   ///
   /// The base is moved for n times as long as the joints, n being their number: what the motion of
   /// the base contributes comes out n times as large. Its velocity is taken in the frame in which the
   /// base's frame stands in the state.
   virtual const ZqReArray& jacobianDerivative(const ZqIndividualManipulator& manipulator,
                                               const ZqPositionState& position,
                                               const ZqVelocityState& velocity) const;
   /// Follows the links that it speaks of. False when one of them is gone, and the constraint with it.
   /// A constraint that names no link stays as it is.
   virtual bool apply(const ZqLinkEdit&) { return true; }
   /// Follows a change of size of its manipulator, so that what agreed with it does so still. One that has
   /// neither lengths nor what depends on them stays as it is.
   virtual void scaleBy(const ZqModelScaling&) {}

   /// Writes the rows of this constraint, from a first row on, into a record that has room for them and
   /// holds zeros there. Position and velocity are those of the active state, whose frames and
   /// velocities are shared between constraints; accelerations play no part.
   ///
   /// A constraint that does not override this gets its `jacobian`, no gap, and as bias the central
   /// difference over states that lie 5e-6 s, or the time in which the fastest joint moves by 5e-6,
   /// before and after. Base and joints move for the same time. The bias is good to about 1e-10 of the
   /// Jacobian times the square of the rates. All constraints that do not override it share a lock.
   virtual void addKinematics(const ZqIndividualManipulator& manipulator,
                              ZqManipulatorActiveState& activeState, ZqU32 firstRow,
                              ZqConstraintKinematics& kinematics) const;
   /// What to call the constraint in a message: its kind, and the links that it relates.
   virtual ZqString description() const;
   /// \name What `jacobian` and `jacobianDerivative` answer, for any number of threads
   /// As much of it as there is room for, from a row on. They share a lock with all constraints.
   /// @{
   void copyJacobian(const ZqIndividualManipulator& manipulator, const ZqPositionState& position,
                     ZqU32 firstRow, ZqReArray& rows) const;
   void copyJacobianDerivative(const ZqIndividualManipulator& manipulator,
                               const ZqPositionState& position, const ZqVelocityState& velocity,
                               ZqU32 firstRow, ZqReArray& rows) const;
   /// @}
   /// A clone for another model, under the same lock. The caller owns it.
   static ZqBaseStateEqualityConstraint* cloneOf(const ZqBaseStateEqualityConstraint& constraint);

protected:
   static constexpr ZqReal m_theMaxTimeIncrementForFiniteDifferencing = 1e-8;  ///< s
   static constexpr ZqReal m_theMaxJointIncrementForFiniteDifferencing = 1e-7; ///< rad or m
   /// At this step the error of rounding is about that of the curvature.
   static constexpr ZqReal m_theIncrementForCentralDifferencing = 5e-6; ///< s, rad or m

   /// Where links are asked for their frames, with no frame valid yet.
   ZqManipulatorActivePositionState& placedAt(const ZqPositionState& position) const
   {
      ZqManipulatorActivePositionState& state = m_work.get().activeState;
      state.ZqManipulatorActivePositionState::setPositionState(position);
      return state;
   }
   ZqReArray& zeroDerivative(ZqU32 rows, ZqU32 columns) const
   {
      m_work.get().jacobianDerivative.setToZeros(rows, columns);
      return m_work.get().jacobianDerivative;
   }

   mutable ZqReArray m_jacobian;

private:
   struct Work
   {
      ZqReArray jacobianDerivative;
      ZqPositionState perturbedPosition;
      ZqManipulatorActivePositionState activeState;
   };
   mutable ZqUncopied<Work> m_work;
};
