#include "zqManipulator/kinematics/joint/ZqJointAxis.h"

#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"
#include "zqManipulator/foundation/spatial/ZqGeneralMotion.h"
#include "zqManipulator/kinematics/joint/ZqDenavitHartenberg.h"
#include "zqManipulator/kinematics/joint/ZqLinkKinematicsContainer.h"

#include <typeinfo>

ZqJointAxis ZqJointAxis::of(const ZqLinkKinematicsContainer& container)
{
   using Dh = ZqDenavitHartenberg;
   using Transform = ZqCoordinateSystemTransformation;
   ZqJointAxis axis;
   const ZqLinkKinematics* const joint = container.topElement();
   if (joint == nullptr || typeid(*joint) != typeid(Dh))
      return axis;
   const auto& dh = static_cast<const Dh&>(*joint);
   if (dh.dhType() > Dh::General || dh.jointType() > Dh::Prismatic)
      return axis;

   axis.kind = dh.jointType() == Dh::Rotational ? zqMotion::JointKind::Revolute
                                                : zqMotion::JointKind::Prismatic;
   const Transform atZero = dh.transformAt(0.0);
   if (dh.dhType() != Dh::Paul && dh.dhType() != Dh::GeneralPaul)
   {
      // The DH frame stands on the axis.
      axis.inInboard = atZero;
      return axis;
   }
   // In Paul's types the axis is the z axis of the inboard frame, with the precursor; the DH frame lies
   // behind what follows the joint.
   if (dh.dhType() == Dh::GeneralPaul)
      axis.inInboard = dh.precursor();
   if (axis.kind == zqMotion::JointKind::Prismatic)
      axis.inInboard = axis.inInboard * Transform(ZqOrientation::zRotation(dh.dhTheta()));
   axis.dhFrame = axis.inInboard.inverse() * atZero;
   axis.hasDhOffset = true;
   return axis;
}

namespace zqMotion
{
Vec3<ZqReal> plain(const ZqVector& v) noexcept
{
   return {v.x(), v.y(), v.z()};
}

Quat<ZqReal> plain(const ZqOrientation& q) noexcept
{
   return {q.w(), q.x(), q.y(), q.z()};
}

Mat3<ZqReal> matrixOf(const ZqOrientation& q) noexcept
{
   const ZqRotationMatrix R(q);
   return {R(0, 0), R(0, 1), R(0, 2), R(1, 0), R(1, 1), R(1, 2), R(2, 0), R(2, 1), R(2, 2)};
}

ZqCoordinateSystemTransformation dhFrameOf(const Joint& joint) noexcept
{
   const auto& [w, x, y, z] = joint.BAsQuat;
   return {ZqVector(joint.pB.x, joint.pB.y, joint.pB.z), ZqOrientation(w, x, y, z)};
}

Vec6<ZqReal> plain(const ZqGeneralMotion& motion) noexcept
{
   return {plain(motion.linear()), plain(motion.angular())};
}

void place(const ZqLinkKinematicsContainer& joint, const Joint* parent, ZqReal q,
           Slot<ZqReal>& slot)
{
   ZqCoordinateSystemTransformation X = joint.transformAt(q);
   if (parent != nullptr && parent->hasDhOffset)
      X = dhFrameOf(*parent) * X;
   slot.R = matrixOf(X.orientation());
   slot.p = plain(X.translation());
   slot.RAsQuat = plain(X.orientation());
   slot.s = plain(joint.accelerationAt(q, 0.0, 1.0));
}

void move(const ZqLinkKinematicsContainer& joint, ZqReal q, ZqReal qd, Slot<ZqReal>& slot)
{
   slot.v = plain(joint.velocityAt(q, qd));
}

void accelerate(const ZqLinkKinematicsContainer& joint, ZqReal q, ZqReal qd, ZqReal qdd,
                Slot<ZqReal>& slot)
{
   move(joint, q, qd, slot);
   slot.bias = plain(joint.accelerationAt(q, qd, 0.0));
   slot.a = slot.bias + slot.s * qdd;
}
} // namespace zqMotion
