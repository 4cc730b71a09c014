#include "zqManipulator/simulation/constraints/ZqPointStateEqualityConstraint.h"

#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

const ZqReArray&
ZqPointStateEqualityConstraint::jacobian(const ZqIndividualManipulator& manipulator,
                                         const ZqPositionState& position) const
{
   ZqManipulatorActivePositionState& activeState = placedAt(position);
   manipulator.placeBase(activeState);
   m_jacobian.setToZeros(doc(), manipulator.totalDof());
   const ZqManipulatorLink* const first = manipulator.linkByIdentifier(m_firstLinkLabel);
   const ZqManipulatorLink* const second = manipulator.linkByIdentifier(m_secondLinkLabel);

   for (const ZqManipulatorLink* link = first; hasJoint(link); link = link->parentLink())
      addToColumn(manipulator, *link, pointMotion(*link, *first, m_firstLinkPoint, activeState),
                  1.0);
   for (const ZqManipulatorLink* link = second; hasJoint(link); link = link->parentLink())
      addToColumn(manipulator, *link, pointMotion(*link, *second, m_secondLinkPoint, activeState),
                  -1.0);

   if (manipulator.isFixedBase() || (first == nullptr) == (second == nullptr))
      return m_jacobian;
   // The point moves with the base as v + omega x r.
   const ZqReal sign = first != nullptr ? 1.0 : -1.0;
   const ZqVector p = first != nullptr ? positionInSystem(first, m_firstLinkPoint, activeState)
                                       : positionInSystem(second, m_secondLinkPoint, activeState);
   const ZqVector r = sign * (p - manipulator.dhFrameInSystem(activeState).translation());
   for (ZqU32 i = 0; i < 3; ++i)
      m_jacobian[i][i] = sign;
   m_jacobian[0][4] = r.z();
   m_jacobian[0][5] = -r.y();
   m_jacobian[1][3] = -r.z();
   m_jacobian[1][5] = r.x();
   m_jacobian[2][3] = r.y();
   m_jacobian[2][4] = -r.x();
   return m_jacobian;
}

void ZqPointStateEqualityConstraint::addKinematics(const ZqIndividualManipulator& manipulator,
                                                   ZqManipulatorActiveState& activeState,
                                                   ZqU32 firstRow,
                                                   ZqConstraintKinematics& kinematics) const
{
   addRelativeMotion(manipulator, activeState, ZqRotationMatrix(), false, firstRow, kinematics);
}
