#include "zqManipulator/simulation/ZqBaseStateEqualityConstraint.h"

#include "zqManipulator/foundation/algebra/ZqMath.h"
#include "zqManipulator/kinematics/ZqIndividualManipulator.h"
#include "zqManipulator/state/ZqVelocityState.h"

#include <algorithm>

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

const ZqReArray&
ZqBaseStateEqualityConstraint::jacobianDerivative(const ZqIndividualManipulator& manipulator,
                                                  const ZqPositionState& position,
                                                  const ZqVelocityState& velocity) const
{
   Work& work = m_work.get();
   work.jacobianDerivative = jacobian(manipulator, position);

   // States need not have as many joints as the manipulator.
   const std::vector<ZqReal>& rates = velocity.jointVelocities();
   const ZqU32 joints =
      static_cast<ZqU32>(std::min({std::size_t{manipulator.jointDof()}, rates.size(),
                                   position.jointPositions().values().size()}));
   ZqReal dt = m_theMaxTimeIncrementForFiniteDifferencing;
   for (ZqU32 i = 0; i < joints; ++i)
      if (dt * rates[i] > m_theMaxJointIncrementForFiniteDifferencing)
         dt = m_theMaxJointIncrementForFiniteDifferencing / ZqMath::nonZeroPos(rates[i]);

   work.perturbedPosition = position;
   for (ZqU32 i = 0; i < joints; ++i)
      work.perturbedPosition.jointPositions()[i] += dt * rates[i];
   // A base at rest keeps its frame to the last bit: a difference would show as motion.
   if (!(velocity.generalVelocity() == ZqGeneralMotion::nullObject()))
      work.perturbedPosition.coordSysXForm().integrateReferenceFrameVelocity(
         velocity.generalVelocity(), joints * dt);

   work.jacobianDerivative -= jacobian(manipulator, work.perturbedPosition);
   work.jacobianDerivative *= 1.0 / ZqMath::nonZeroPos(-dt);
   return work.jacobianDerivative;
}
