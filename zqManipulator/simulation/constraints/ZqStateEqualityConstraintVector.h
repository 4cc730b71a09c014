#pragma once

#include "zqManipulator/foundation/xml/ZqXmlVariableVectorType.h"
#include "zqManipulator/simulation/constraints/ZqBaseStateEqualityConstraint.h"

class ZqLinkEdit;

extern template class ZqXmlVariableVectorType<ZqBaseStateEqualityConstraint>;

/// The state equality constraints of a manipulator, which stand one below the other. Places that are
/// null constrain nothing.
///
/// The arrays that are returned belong to the vector, and last until the next call of the same
/// operation, which is for one thread at a time. The operations that fill a record or an array of the
/// caller's serve any number of threads.
class ZqStateEqualityConstraintVector
   : public ZqXmlVariableVectorType<ZqBaseStateEqualityConstraint>
{
public:
   ZqXmlObject* clone() const override;
   ZqXmlObject* newObject() const override;
   bool equality(const ZqXmlObject* other) const override;
   static const ZqToken& classToken() { return ZqManip::ZqStateEqualityConstraintVectorToken; }
   static ZqXmlObject* creator() { return new ZqStateEqualityConstraintVector(); }
   const ZqToken& token() const override;
   void registerComponentCreators() override;
   bool operator==(const ZqStateEqualityConstraintVector&) const = default;

   /// The number of rows of all constraints.
   virtual ZqU32 doc() const;
   /// Lets each constraint correct the state. True when all of them answer true.
   virtual bool constrainPosition(const ZqIndividualManipulator& manipulator,
                                  ZqPositionState& position) const;
   virtual bool constrainVelocity(const ZqIndividualManipulator& manipulator,
                                  const ZqPositionState& position, ZqVelocityState& velocity) const;
   /// `doc` x `totalDof`, as for each constraint.
   virtual const ZqReArray& jacobian(const ZqIndividualManipulator& manipulator,
                                     const ZqPositionState& position) const;
   virtual const ZqReArray& jacobianDerivative(const ZqIndividualManipulator& manipulator,
                                               const ZqPositionState& position,
                                               const ZqVelocityState& velocity) const;
   /// What `addKinematics` of all constraints answers, row below row, for the position and the velocity
   /// of the active state. A state of another size than the manipulator is filled up with zeros.
   virtual const ZqConstraintKinematics& kinematics(const ZqIndividualManipulator& manipulator,
                                                    ZqManipulatorActiveState& activeState) const;

   /// \name The same, for any number of threads
   /// @{
   void getJacobian(const ZqIndividualManipulator& manipulator, const ZqPositionState& position,
                    ZqReArray& result) const;
   void getJacobianDerivative(const ZqIndividualManipulator& manipulator,
                              const ZqPositionState& position, const ZqVelocityState& velocity,
                              ZqReArray& result) const;
   void getKinematics(const ZqIndividualManipulator& manipulator,
                      ZqManipulatorActiveState& activeState, ZqConstraintKinematics& result) const;
   /// @}

   /// The size of a gap or of another quantity that has a number for each row, and whose it is.
   struct Gap
   {
      ZqReal size = 0.0;
      ZqU32 constraint = ZqNoLinkIndex; ///< by index; `ZqNoLinkIndex` where all are zero
   };
   /// The greatest for a constraint of numbers that stand one below the other for all rows (doc x 1):
   /// those of a constraint count together, as the length of a vector. NaN counts as the greatest.
   Gap greatest(const ZqReArray& rows) const;
   /// The greatest gap (m, or the unit of the row) of kinematics that come from this vector.
   Gap greatestGap(const ZqConstraintKinematics& kinematics) const
   {
      return greatest(kinematics.gap);
   }
   /// The index of the constraint that a row belongs to; the size for a row beyond the last.
   ZqU32 constraintOfRow(ZqU32 row) const;
   /// What to call a constraint in a message: its index and its description.
   ZqString description(ZqU32 constraint) const;
   /// Changes the labels of links in each constraint as the edit says. Those that name a link that is
   /// gone are removed, with a message.
   void apply(const ZqLinkEdit& edit);
   void scaleBy(const ZqModelScaling& scaling);

private:
   mutable ZqUncopied<ZqConstraintKinematics> m_kinematics;
   mutable ZqUncopied<ZqReArray> m_jacobian;
   mutable ZqUncopied<ZqReArray> m_jacobianDerivative;
};
