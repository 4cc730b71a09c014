#include "zqManipulator/simulation/constraints/ZqPointPairStateEqualityConstraint.h"

#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"
#include "zqManipulator/foundation/algebra/ZqValueOrZero.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"

namespace
{
/// A walk from a link over its parents to the base, and then to the environment, which is null. A fixed
/// base counts as the environment.
class InwardWalk
{
public:
   InwardWalk(const ZqManipulatorLink* link, bool isFixedBase)
      : m_link(link), m_isFixed(isFixedBase)
   {
      skipFixedBase();
   }
   const ZqManipulatorLink* link() const noexcept { return m_link; }
   bool isAtBase() const { return m_link->parentLink() == nullptr; }
   /// Whether the walk is further out than another one that is at another place: link indices grow
   /// outwards.
   bool isBeyond(const InwardWalk& other) const
   {
      if (m_link == nullptr || other.m_link == nullptr)
         return other.m_link == nullptr;
      return !isAtBase() && (other.isAtBase() || m_link->linkIndex() > other.m_link->linkIndex());
   }
   void step()
   {
      m_link = m_link->parentLink();
      skipFixedBase();
   }

private:
   void skipFixedBase()
   {
      if (m_isFixed && m_link != nullptr && isAtBase())
         m_link = nullptr;
   }

   const ZqManipulatorLink* m_link;
   bool m_isFixed;
};

ZqVector angularVelocityOf(const ZqManipulatorLink* link, ZqManipulatorActiveState& activeState)
{
   return link != nullptr ? link->dhFrameVelocityInSystem(activeState).angular() : ZqVector();
}

struct Rows
{
   ZqU32 first;
   ZqU32 count;
};

/// The motion of a point of one link against the point of another link that is in the same place, while
/// no degree of freedom accelerates: the sum of what each joint between the links, and the base, adds.
/// All in the system; the columns of the Jacobian along some axes.
struct RelativeMotion
{
   const ZqIndividualManipulator& manipulator;
   ZqManipulatorActiveState& activeState;
   const ZqVector& point;
   const ZqRotationMatrix& axes;
   Rows rows;
   ZqReArray& jacobian;
   ZqVector velocity = {};
   ZqVector acceleration = {};

   void addJointsBetween(const ZqManipulatorLink* first, const ZqManipulatorLink* second);
   void addJoint(const ZqManipulatorLink& link, ZqReal sign);
   void addBase(ZqReal sign);
   void setColumn(ZqU32 column, const ZqVector& motion);
};

/// Goes from both links inwards to where the two ways meet: joints that carry both links do not count.
void RelativeMotion::addJointsBetween(const ZqManipulatorLink* first,
                                      const ZqManipulatorLink* second)
{
   InwardWalk ofFirst(first, manipulator.isFixedBase());
   InwardWalk ofSecond(second, manipulator.isFixedBase());
   while (ofFirst.link() != ofSecond.link())
   {
      const bool isFirst = ofFirst.isBeyond(ofSecond);
      InwardWalk& walk = isFirst ? ofFirst : ofSecond;
      const ZqReal sign = isFirst ? 1.0 : -1.0;
      if (walk.isAtBase())
         addBase(sign);
      else
         addJoint(*walk.link(), sign);
      walk.step();
   }
}

/// A joint moves the point by its own motion, with twice the cross product of Coriolis.
void RelativeMotion::addJoint(const ZqManipulatorLink& link, ZqReal sign)
{
   const ZqU32 index = link.linkIndex();
   const ZqReal q = Zq::valueOrZero(activeState.positionState().jointPositions(), index);
   const ZqReal rate = Zq::valueOrZero(activeState.velocityState().jointVelocities(), index);
   const ZqCoordinateSystemTransformation& frame =
      link.dhFrameInSystem(activeState.activePositionState());
   const ZqRotationMatrix R(frame.orientation());
   const ZqVector r = point - frame.translation();
   const ZqLinkKinematicsContainer& joint = link.linkKinematicsContainer();

   const ZqGeneralMotion unit = joint.velocityAt(q, 1.0);
   const ZqVector axis = R * unit.angular();
   const ZqVector motion = R * unit.linear() + axis.cross(r);
   setColumn(index + (manipulator.isFixedBase() ? 0 : 6), sign * motion);

   const ZqVector omega = rate * axis;
   const ZqGeneralMotion own = joint.accelerationAt(q, rate, 0.0);
   velocity += (sign * rate) * motion;
   acceleration +=
      sign * (R * own.linear() + (R * own.angular()).cross(r) + omega.cross(omega.cross(r)) +
              2.0 * rate * angularVelocityOf(link.parentLink(), activeState).cross(motion));
}

/// A free base moves the point by v + omega x r.
void RelativeMotion::addBase(ZqReal sign)
{
   const ZqVector r =
      point - manipulator.dhFrameInSystem(activeState.activePositionState()).translation();
   for (ZqU32 k = 0; k < 3; ++k)
   {
      const ZqVector axis(k == 0 ? 1.0 : 0.0, k == 1 ? 1.0 : 0.0, k == 2 ? 1.0 : 0.0);
      setColumn(k, sign * axis);
      setColumn(k + 3, sign * axis.cross(r));
   }
   const ZqGeneralMotion& ofBase = activeState.velocityState().generalVelocity();
   const ZqVector turning = ofBase.angular().cross(r);
   velocity += sign * (ofBase.linear() + turning);
   acceleration += sign * ofBase.angular().cross(turning);
}

void RelativeMotion::setColumn(ZqU32 column, const ZqVector& motion)
{
   for (ZqU32 i = 0; i < rows.count; ++i)
      jacobian[rows.first + i][column] = axes.column(i).dot(motion);
}
} // namespace

ZqVector ZqPointPairStateEqualityConstraint::pointMotion(
   const ZqManipulatorLink& jointLink, const ZqManipulatorLink& pointLink, const ZqVector& point,
   ZqManipulatorActivePositionState& activeState) const
{
   const ZqVector p = positionInSystem(&pointLink, point, activeState);
   const ZqCoordinateSystemTransformation& jointFrame = jointLink.dhFrameInSystem(activeState);
   const ZqGeneralMotion motion = unitMotion(jointLink, activeState);
   const ZqRotationMatrix R(jointFrame.orientation());
   return (R * motion.angular()).cross(p - jointFrame.translation()) + R * motion.linear();
}

ZqGeneralMotion
ZqPointPairStateEqualityConstraint::unitMotion(const ZqManipulatorLink& jointLink,
                                               const ZqManipulatorActivePositionState& activeState)
{
   const std::vector<ZqReal>& positions = activeState.positionState().jointPositions();
   const ZqU32 index = jointLink.linkIndex();
   return jointLink.linkKinematicsContainer().velocityAt(Zq::valueOrZero(positions, index), 1.0);
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

void ZqPointPairStateEqualityConstraint::addRelativeMotion(
   const ZqIndividualManipulator& manipulator, ZqManipulatorActiveState& activeState,
   const ZqRotationMatrix& axes, bool axesTurn, ZqU32 firstRow,
   ZqConstraintKinematics& kinematics) const
{
   ZqManipulatorActivePositionState& frames = activeState.activePositionState();
   const ZqManipulatorLink* const first = manipulator.linkByIdentifier(m_firstLinkLabel);
   const ZqManipulatorLink* const second = manipulator.linkByIdentifier(m_secondLinkLabel);
   const ZqVector p = positionInSystem(first, m_firstLinkPoint, frames);
   const ZqVector gap = p - positionInSystem(second, m_secondLinkPoint, frames);

   RelativeMotion motion{manipulator, activeState, p, axes, {firstRow, doc()}, kinematics.jacobian};
   motion.addJointsBetween(first, second);

   // The rate of the velocity that is seen from the second link.
   const ZqVector turning = angularVelocityOf(second, activeState).cross(motion.velocity);
   const ZqVector bias = motion.acceleration - (axesTurn ? 2.0 : 1.0) * turning;
   for (ZqU32 i = 0; i < doc(); ++i)
   {
      const ZqVector axis = axes.column(i);
      kinematics.gap[firstRow + i][0] = axis.dot(gap);
      kinematics.hasGap[firstRow + i] = true;
      kinematics.bias[firstRow + i][0] = axis.dot(bias);
   }
}
