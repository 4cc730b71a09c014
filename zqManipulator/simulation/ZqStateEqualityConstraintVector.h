#pragma once

#include "zqManipulator/foundation/xml/ZqXmlVariableVectorType.h"
#include "zqManipulator/simulation/ZqBaseStateEqualityConstraint.h"

class ZqLinkEdit;

extern template class ZqXmlVariableVectorType<ZqBaseStateEqualityConstraint>;

/// The state equality constraints of a manipulator, which stand one below the other. Places that are
/// null constrain nothing.
///
/// The arrays that are returned belong to the vector, and last until the next call of the same
/// operation.
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
   /// Has each constraint correct the state. True when all answer so.
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
   /// Has each constraint follow the links, and removes, with a message, those that speak of a link that
   /// is gone.
   void apply(const ZqLinkEdit& edit);

private:
   mutable ZqUncopied<ZqReArray> m_jacobian;
   mutable ZqUncopied<ZqReArray> m_jacobianDerivative;
};
