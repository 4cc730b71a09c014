#include "zqManipulator/kinematics/manipulator/ZqMotionRecords.h"

#include "zqManipulator/dynamics/bodies/ZqArticulatedBodyDynamics.h"
#include "zqManipulator/dynamics/bodies/ZqRigidBodyMassProperties.h"
#include "zqManipulator/dynamics/motion/ZqArticulatedSweep.h"
#include "zqManipulator/kinematics/joint/ZqJointAxis.h"

#include <tuple>

namespace zqMotion
{
namespace
{
/// A motion of the axis frame's origin as one of the DH frame's, in the axes of that; `across` is what the
/// linear part differs by between the two.
ZqGeneralMotion atDhFrame(const Joint& joint, const Vec3<ZqReal>& linear,
                          const Vec3<ZqReal>& angular, const Vec3<ZqReal>& across) noexcept
{
   return {vectorOf(transposeTimes(joint.B, linear + across)),
           vectorOf(transposeTimes(joint.B, angular))};
}
} // namespace

ZqGeneralMotion velocityOfDhFrame(const Joint& joint, const Vec6<ZqReal>& velocity) noexcept
{
   const auto& [v, omega] = velocity;
   if (!joint.hasDhOffset)
      return {vectorOf(v), vectorOf(omega)};
   return atDhFrame(joint, v, omega, cross(omega, joint.pB));
}

ZqGeneralMotion accelerationOfDhFrame(const Joint& joint, const LinkMotion<ZqReal>& motion) noexcept
{
   if (!joint.hasDhOffset)
      return {vectorOf(motion.a), vectorOf(motion.alpha)};
   return atDhFrame(joint, motion.a, motion.alpha, motion.A * joint.pB);
}

ZqGeneralMotion addedAccelerationOfDhFrame(const Joint& joint,
                                           const Articulated<ZqReal>& body) noexcept
{
   if (!joint.hasDhOffset)
      return {vectorOf(body.a), vectorOf(body.alpha)};
   return atDhFrame(joint, body.a, body.alpha, cross(body.alpha, joint.pB));
}

ZqGeneralForce forceAtDhFrame(const Joint& joint, const LinkForce<ZqReal>& force) noexcept
{
   const auto& [f, n] = force;
   if (!joint.hasDhOffset)
      return {vectorOf(f), vectorOf(n)};
   return {vectorOf(transposeTimes(joint.B, f)),
           vectorOf(transposeTimes(joint.B, n - cross(joint.pB, f)))};
}

void takeMasses(const Composite<ZqReal>& body, const Joint* joint,
                ZqRigidBodyMassProperties& result)
{
   const Sym3<ZqReal>& S = body.S;
   result.set(ZqNonNegReal(body.m), vectorOf(body.h),
              ZqSecondMoment(S.yy + S.zz, S.xx + S.zz, S.xx + S.yy, -S.xy, -S.xz, -S.yz), false);
   if (joint != nullptr && joint->hasDhOffset)
      result.transformBy(dhFrameOf(*joint).inverse());
}

void takeArticulatedBody(const Articulated<ZqReal>& body, const LinkForce<ZqReal>& bias,
                         const Joint* joint, bool isRigid, ZqArticulatedBodyDynamics& result)
{
   const auto& [M, H, I] = std::tie(body.M, body.H, body.I);
   // The coupling block leads from angular accelerations to forces: the transpose of H.
   ZqSpatialMatrix coupling(H.xx, H.yx, H.zx, H.xy, H.yy, H.zy, H.xz, H.yz, H.zz);
   result.set(ZqArticulatedBodyInertia(ZqSecondMoment(M.xx, M.yy, M.zz, M.xy, M.xz, M.yz),
                                       ZqSecondMoment(I.xx, I.yy, I.zz, I.xy, I.xz, I.yz), coupling,
                                       isRigid),
              {vectorOf(bias.f), vectorOf(bias.n)});
   if (joint != nullptr && joint->hasDhOffset)
      result.transformBy(dhFrameOf(*joint).inverse());
}

ZqGeneralMotion accelerationOfBase(const Articulated<ZqReal>& body, const LinkForce<ZqReal>& bias,
                                   const ZqGeneralForce& force) noexcept
{
   Vec3<ZqReal> a;
   Vec3<ZqReal> alpha;
   solveBase(body, {plain(force.force()) - bias.f, plain(force.moment()) - bias.n}, a, alpha);
   return {vectorOf(a), vectorOf(alpha)};
}
} // namespace zqMotion
