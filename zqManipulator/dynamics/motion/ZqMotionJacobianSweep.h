#pragma once

#include "zqManipulator/dynamics/motion/ZqMotionGradientSweep.h"

// Jacobians: matrices of six rows, linear before angular, that make velocities of points and momenta of the
// velocities of joints and base. All come from the unit motions S in the axes of the base and about its origin,
// with their rates S', that `moveInBase` leaves.
//
// The columns of a free base come first: velocity (m/s) and angular velocity (rad/s) of its origin along
// directions that stand still in the system, and are now those of its axes.
namespace zqMotion
{
/// Where a velocity is told: in which axes, and of which point.
struct JacobianView
{
   Mat3<ZqReal> A;     ///< from the axes of the base to those
   Vec3<ZqReal> r;     ///< the point, from the origin of the base in its axes (m)
   Vec3<ZqReal> rDot;  ///< its velocity, less that of the base's origin
   Vec3<ZqReal> omega; ///< with which those axes turn
};

/// A matrix of six rows that a sweep writes.
struct JacobianMatrix
{
   ZqReal* numbers;
   int rowLength;
   int firstJoint; ///< the column of joint 0: 6 with a free base, else 0
};

inline namespace ZQ_MOTION_TARGET
{
ZQ_MOTION_INLINE Mat3<ZqReal> transposed(const Mat3<ZqReal>& R)
{
   return {R.xx, R.yx, R.zx, R.xy, R.yy, R.zy, R.xz, R.yz, R.zz};
}

/// The point r that moves with a body, in the axes of the body (X, in which it stands in the base).
ZQ_MOTION_INLINE JacobianView viewInBody(const Place<ZqReal>& X, const Vec3<ZqReal>& r,
                                         const Vec6<ZqReal>& v)
{
   return {transposed(X.R), r, v.linear + cross(v.angular, r), v.angular};
}
/// The same point in the axes of the system, in which R are those of the base.
ZQ_MOTION_INLINE JacobianView viewAlongSystem(const Mat3<ZqReal>& R, const Vec3<ZqReal>& r,
                                              const Vec6<ZqReal>& v)
{
   return {R, r, v.linear + cross(v.angular, r), zeroVec3<ZqReal>()};
}
/// The point of the body that passes the origin of the system, in which the base's stands at p and has the
/// velocity v in its own axes.
ZQ_MOTION_INLINE JacobianView viewInSystem(const Mat3<ZqReal>& R, const Vec3<ZqReal>& p,
                                           const Vec3<ZqReal>& v)
{
   return {R, -transposeTimes(R, p), -v, zeroVec3<ZqReal>()};
}

/// The Jacobian of a point of a link.
void writeJacobian(const Tree& tree, int link, const JacobianView& view, const GradientWork& work,
                   const JacobianMatrix& J);
/// Its rate in time.
void writeJacobianRate(const Tree& tree, int link, const JacobianView& view,
                       const GradientWork& work, const JacobianMatrix& J);
/// The centroidal momentum matrix (Orin, Goswami and Lee 2013): from velocities to the momentum of the whole,
/// its angular part about the center of mass, in the axes of the system, in which R are those of the base.
/// The momentum of a unit motion is that of the subtree which it moves: six columns of so many numbers, as
/// `computeAxesAndForces` leaves them.
void writeCentroidalMomentum(const Tree& tree, const Mat3<ZqReal>& R,
                             const Composite<ZqReal>& whole, const ZqReal* momenta, int stride,
                             const JacobianMatrix& J);
/// The rate of that matrix times the velocities: the rate of the momentum when nothing accelerates, which the
/// motions in the work space are taken for.
Vec6<ZqReal> centroidalMomentumBias(const Tree& tree, const Mat3<ZqReal>& R,
                                    const GradientWork& work);
} // namespace ZQ_MOTION_TARGET
} // namespace zqMotion
