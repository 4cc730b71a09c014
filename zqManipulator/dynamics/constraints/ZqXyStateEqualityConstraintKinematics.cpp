#include "zqManipulator/simulation/constraints/ZqXyStateEqualityConstraint.h"

#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

const ZqReArray& ZqXyStateEqualityConstraint::jacobian(const ZqIndividualManipulator& manipulator,
                                                       const ZqPositionState& position) const
{
   ZqManipulatorActivePositionState& activeState = placedAt(position);
   manipulator.placeBase(activeState);
   m_jacobian.setToZeros(doc(), manipulator.totalDof());
   const ZqManipulatorLink* const first = manipulator.linkByIdentifier(m_firstLinkLabel);
   const ZqManipulatorLink* const second = manipulator.linkByIdentifier(m_secondLinkLabel);

   if (second != nullptr)
   {
      // The plane, as long as a joint moves the first link.
      ZqRotationMatrix R;
      if (hasJoint(first))
         R = ZqRotationMatrix(second->primaryFrameInSystem(activeState).orientation() *
                              m_xyOrientation);
      for (const ZqManipulatorLink* link = first; hasJoint(link); link = link->parentLink())
         addToColumn(manipulator, *link,
                     R.transposeTimes(pointMotion(*link, *first, m_firstLinkPoint, activeState)),
                     1.0);

      // What turns the plane moves the first point in it, unless the points coincide.
      const ZqVector d = positionInSystem(first, m_firstLinkPoint, activeState) -
                         pointPosition(*second, m_secondLinkPoint, activeState);
      const ZqCoordinateSystemTransformation frame(m_secondLinkPoint);
      ZqGeneralMotion motion;
      for (const ZqManipulatorLink* link = second; hasJoint(link); link = link->parentLink())
      {
         getFrameMotion(*link, *second, frame, activeState, motion);
         addToColumn(manipulator, *link,
                     R.transposeTimes(motion.angular().cross(d) + motion.linear()), -1.0);
      }
   }

   if (!manipulator.isFixedBase() && (first == nullptr) != (second == nullptr))
   {
      if (first != nullptr)
         calculateFloatingBaseJacobian(manipulator, *first, m_firstLinkPoint, activeState);
      else
         calculateFloatingBaseJacobian(manipulator, *second, m_secondLinkPoint, activeState);
   }
   return m_jacobian;
}

void ZqXyStateEqualityConstraint::addKinematics(const ZqIndividualManipulator& manipulator,
                                                ZqManipulatorActiveState& activeState,
                                                ZqU32 firstRow,
                                                ZqConstraintKinematics& kinematics) const
{
   const ZqManipulatorLink* const second = manipulator.linkByIdentifier(m_secondLinkLabel);
   const ZqOrientation plane =
      second != nullptr
         ? second->primaryFrameInSystem(activeState.activePositionState()).orientation() *
              m_xyOrientation
         : m_xyOrientation;
   addRelativeMotion(manipulator, activeState, ZqRotationMatrix(plane), true, firstRow, kinematics);
}

void ZqXyStateEqualityConstraint::getFrameMotion(const ZqManipulatorLink& jointLink,
                                                 const ZqManipulatorLink& frameLink,
                                                 const ZqCoordinateSystemTransformation& frame,
                                                 ZqManipulatorActivePositionState& activeState,
                                                 ZqGeneralMotion& motion) const
{
   const ZqVector origin = positionInSystem(&frameLink, frame.translation(), activeState);
   const ZqCoordinateSystemTransformation& jointFrame = jointLink.dhFrameInSystem(activeState);
   motion = unitMotion(jointLink, activeState);
   motion.transformBy(jointFrame.orientation());
   motion.transformBy(jointFrame.translation() - origin);
}

ZqVector
ZqXyStateEqualityConstraint::pointPosition(const ZqManipulatorLink& link, const ZqVector& point,
                                           ZqManipulatorActivePositionState& activeState) const
{
   return positionInSystem(&link, point, activeState);
}

void ZqXyStateEqualityConstraint::calculateFloatingBaseJacobian(
   const ZqIndividualManipulator& manipulator, const ZqManipulatorLink& link, const ZqVector& point,
   ZqManipulatorActivePositionState& activeState) const
{
   const ZqVector r = pointPosition(link, point, activeState) -
                      manipulator.dhFrameInSystem(activeState).translation();
   const ZqRotationMatrix R(m_xyOrientation);
   for (ZqU32 i = 0; i < 2; ++i)
   {
      // Row i of R^T (v + omega x r): e . (omega x r) is omega . (r x e).
      const ZqVector axis = R.column(i);
      const ZqVector turned = r.cross(axis);
      for (ZqU32 j = 0; j < 3; ++j)
      {
         m_jacobian[i][j] = axis[j];
         m_jacobian[i][3 + j] = turned[j];
      }
   }
}
