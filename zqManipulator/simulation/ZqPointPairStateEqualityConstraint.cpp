#include "zqManipulator/simulation/ZqPointPairStateEqualityConstraint.h"

#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"
#include "zqManipulator/kinematics/ZqIndividualManipulator.h"
#include "zqManipulator/tools/ZqModelEdit.h"

ZqVector ZqPointPairStateEqualityConstraint::pointMotion(
   const ZqManipulatorLink& jointLink, const ZqManipulatorLink& pointLink, const ZqVector& point,
   ZqManipulatorActivePositionState& activeState) const
{
   const ZqVector p = positionInSystem(&pointLink, point, activeState);
   const ZqCoordinateSystemTransformation& jointFrame = jointLink.dhFrameInSystem(activeState);
   const ZqGeneralMotion& motion = unitMotion(jointLink, activeState);
   const ZqRotationMatrix R(jointFrame.orientation());
   return (R * motion.angular()).cross(p - jointFrame.translation()) + R * motion.linear();
}

const ZqGeneralMotion&
ZqPointPairStateEqualityConstraint::unitMotion(const ZqManipulatorLink& jointLink,
                                               const ZqManipulatorActivePositionState& activeState)
{
   const std::vector<ZqReal>& positions = activeState.positionState().jointPositions();
   const ZqU32 index = jointLink.linkIndex();
   return jointLink.linkKinematicsContainer().calculateVelocity(
      index < positions.size() ? positions[index] : 0.0, 1.0);
}

ZqVector
ZqPointPairStateEqualityConstraint::positionInSystem(const ZqManipulatorLink* link,
                                                     const ZqVector& point,
                                                     ZqManipulatorActivePositionState& activeState)
{
   return link != nullptr ? link->primaryFrameInSystem(activeState) * point : point;
}

bool ZqPointPairStateEqualityConstraint::hasJoint(const ZqManipulatorLink* link)
{
   return link != nullptr && link->parentLink() != nullptr;
}

void ZqPointPairStateEqualityConstraint::addToColumn(const ZqIndividualManipulator& manipulator,
                                                     const ZqManipulatorLink& jointLink,
                                                     const ZqVector& motion, ZqReal sign) const
{
   const ZqU32 column = jointLink.linkIndex() + (manipulator.isFixedBase() ? 0 : 6);
   for (ZqU32 i = 0; i < m_jacobian.rows(); ++i)
      m_jacobian[i][column] += sign * motion[i];
}

bool ZqPointPairStateEqualityConstraint::apply(const ZqLinkEdit& edit)
{
   const bool firstStays = edit.apply(m_firstLinkLabel);
   return edit.apply(m_secondLinkLabel) && firstStays;
}
