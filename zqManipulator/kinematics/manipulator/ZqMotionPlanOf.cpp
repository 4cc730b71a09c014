#include "zqManipulator/kinematics/manipulator/ZqMotionPlanOf.h"

#include "zqManipulator/actuation/ZqDcElectricMotor.h"
#include "zqManipulator/actuation/ZqHydraulicCylinder.h"
#include "zqManipulator/kinematics/joint/ZqJointAxis.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/state/ZqEpoch.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <typeinfo>

namespace
{
bool isTwist(const zqMotion::Mat3<ZqReal>& E)
{
   constexpr ZqReal rounding = 2.0 * std::numeric_limits<ZqReal>::epsilon();
   return std::abs(E.xy) < rounding && std::abs(E.xz) < rounding && E.xx > 0.0;
}

/// Takes out of a turn about x alone what is rounding.
void straighten(zqMotion::Joint& joint)
{
   zqMotion::Quat<ZqReal>& q = joint.EAsQuat;
   const ZqReal length = std::sqrt(q.w * q.w + q.x * q.x);
   q = {q.w / length, q.x / length, 0.0, 0.0};
   const ZqReal norm = std::sqrt(joint.E.zz * joint.E.zz + joint.E.zy * joint.E.zy);
   joint.cosTwist = joint.E.zz / norm;
   joint.sinTwist = joint.E.zy / norm;
   joint.E = {1.0,           0.0, 0.0, 0.0, joint.cosTwist, -joint.sinTwist, 0.0, joint.sinTwist,
              joint.cosTwist};
}

void setPlacement(zqMotion::Joint& joint, const ZqJointAxis& axis, const ZqJointAxis* parent)
{
   ZqCoordinateSystemTransformation X = axis.inInboard;
   if (parent != nullptr && parent->hasDhOffset)
      X = parent->dhFrame * X;
   joint.kind = axis.kind;
   joint.E = zqMotion::matrixOf(X.orientation());
   joint.p = zqMotion::plain(X.translation());
   joint.EAsQuat = zqMotion::plain(X.orientation());
   joint.cosTwist = 1.0;
   joint.sinTwist = 0.0;
   joint.isTwist = axis.kind != zqMotion::JointKind::Slot && isTwist(joint.E);
   if (joint.isTwist)
      straighten(joint);
   joint.hasDhOffset = axis.hasDhOffset;
   joint.B = zqMotion::matrixOf(axis.dhFrame.orientation());
   joint.pB = zqMotion::plain(axis.dhFrame.translation());
   joint.BAsQuat = zqMotion::plain(axis.dhFrame.orientation());
}

/// Whether a drive is one of the library's, whose inertia is the same in every position.
bool isOwnDrive(const ZqMechanicalActuatorComponent& drive)
{
   return typeid(drive) != typeid(ZqMechanicalActuatorComponent) &&
          typeid(drive) != typeid(ZqDcElectricMotor) &&
          typeid(drive) != typeid(ZqHydraulicCylinder);
}

void setDrive(const ZqManipulatorLink& link, zqMotion::Joint& joint, ZqMotionPlan& plan)
{
   joint.driveInertia = link.jointActuator().effectiveInertia(0.0);
   if (const auto* drive = link.jointActuator().mechanicalComponentContainer().topElement())
   {
      plan.anyDrive = true;
      plan.anyOwnDrive = plan.anyOwnDrive || isOwnDrive(*drive);
   }
   plan.anyLimitConstraint = plan.anyLimitConstraint || link.hasLimitConstraint();
   plan.anySpringOrDamper = plan.anySpringOrDamper || !link.springProperties().isEmpty() ||
                            !link.damperProperties().isEmpty();
}
} // namespace

/// The integral of r r^T follows from the second moment I: trace(I) / 2 E - I.
zqMotion::Body zqMotionBodyOf(const ZqRigidBodyMassProperties& masses,
                              const ZqCoordinateSystemTransformation& dhFrame)
{
   ZqRigidBodyMassProperties moved = masses;
   if (dhFrame.mode() != ZqCoordinateSystemTransformation::NoChange)
      moved.transformBy(dhFrame);
   const ZqSecondMoment& I = moved.secondMoment();
   const ZqReal half = 0.5 * (I.xx() + I.yy() + I.zz());
   return {moved.mass(),
           zqMotion::plain(moved.firstMoment()),
           {half - I.xx(), half - I.yy(), half - I.zz(), -I.xy(), -I.xz(), -I.yz()}};
}

ZqMotionPlan zqMotionPlanOf(const std::vector<ZqManipulatorLink*>& links)
{
   ZqMotionPlan plan;
   plan.joints.resize(links.size());
   plan.bodies.resize(links.size() + 1);
   plan.primaryFrames.resize(links.size());
   plan.model = zqNextEpoch();
   std::vector<ZqJointAxis> axes(links.size());
   for (std::size_t i = 0; i < links.size(); ++i)
   {
      zqMotion::Joint& joint = plan.joints[i];
      if (links[i] == nullptr)
      {
         // Nothing has this index: a joint without a body, on which nothing hangs.
         joint = {};
         joint.parent = joint.slot = -1;
         joint.end = static_cast<int>(i) + 1;
         ZqJointAxis axis;
         axis.kind = zqMotion::JointKind::Revolute;
         setPlacement(joint, axis, nullptr);
         continue;
      }
      const ZqManipulatorLink& link = *links[i];
      const ZqManipulatorLink* const parentLink = link.parentLink();
      const std::size_t parent = parentLink != nullptr ? parentLink->linkIndex() : i;
      const bool isRoot = parent >= i || links[parent] == nullptr;
      joint.parent = isRoot ? -1 : static_cast<int>(parent);
      joint.depth = isRoot ? 0 : plan.joints[parent].depth + 1;
      joint.end = static_cast<int>(i) + 1;
      // The joint as the parent sees it.
      axes[i] = ZqJointAxis::of(link.linkKinematicsContainer());
      setPlacement(joint, axes[i], isRoot ? nullptr : &axes[parent]);
      joint.slot = -1;
      if (joint.kind == zqMotion::JointKind::Slot)
      {
         joint.slot = static_cast<int>(plan.slotLinks.size());
         plan.slotLinks.push_back(static_cast<ZqU32>(i));
      }
      plan.anyPrismatic = plan.anyPrismatic || joint.kind == zqMotion::JointKind::Prismatic;
      plan.bodies[i + 1] = zqMotionBodyOf(link.massPropertiesInDHFrame(), axes[i].dhFrame);
      plan.primaryFrames[i] = link.primaryFrame();
      setDrive(link, joint, plan);
   }
   for (std::size_t i = links.size(); i-- > 0;)
      if (plan.joints[i].parent >= 0)
      {
         zqMotion::Joint& parent = plan.joints[static_cast<std::size_t>(plan.joints[i].parent)];
         parent.end = std::max(parent.end, plan.joints[i].end);
      }
   plan.linkBodies = plan.bodies;
   return plan;
}

void zqSetBase(const ZqIndividualManipulator& base, ZqMotionPlan& plan)
{
   plan.hasOwnBase = typeid(base) != typeid(ZqIndividualManipulator);
   plan.bodies[0] = zqMotionBodyOf(base.massPropertiesInDHFrame(), {});
}
