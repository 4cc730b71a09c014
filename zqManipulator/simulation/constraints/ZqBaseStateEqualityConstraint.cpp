#include "zqManipulator/simulation/constraints/ZqBaseStateEqualityConstraint.h"

bool ZqBaseStateEqualityConstraint::constrainPosition(const ZqIndividualManipulator&,
                                                      ZqPositionState&) const
{
   return true;
}

bool ZqBaseStateEqualityConstraint::constrainVelocity(const ZqIndividualManipulator&,
                                                      const ZqPositionState&,
                                                      ZqVelocityState&) const
{
   return true;
}

bool ZqBaseStateEqualityConstraint::constrainAcceleration(const ZqIndividualManipulator&,
                                                          const ZqPositionState&,
                                                          const ZqVelocityState&,
                                                          ZqAccelerationState&) const
{
   return true;
}

ZqString ZqBaseStateEqualityConstraint::description() const
{
   return ZqString(token().localName());
}
