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
   Mat3<ZqReal> A; ///< from the axes of the base to those
   Vec3<ZqReal> r; ///< the point, from the origin of the base in its axes (m)
   Vec3<ZqReal> rDot,
      omega; ///< its velocity, less that of the base's origin, and how those axes turn
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

/// A motion S as it is seen.
ZQ_MOTION_INLINE Vec6<ZqReal> seen(const JacobianView& view, const Vec6<ZqReal>& s)
{
   return {view.A * (s.linear + cross(s.angular, view.r)), view.A * s.angular};
}
/// The rate of that in time.
ZQ_MOTION_INLINE Vec6<ZqReal> rateSeen(const JacobianView& view, const Vec6<ZqReal>& s,
                                       const Vec6<ZqReal>& sDot)
{
   const Vec3<ZqReal> linear = s.linear + cross(s.angular, view.r);
   const Vec3<ZqReal> rate =
      sDot.linear + cross(sDot.angular, view.r) + cross(s.angular, view.rDot);
   return {view.A * (rate - cross(view.omega, linear)),
           view.A * (sDot.angular - cross(view.omega, s.angular))};
}

/// Column by column: what `column` makes of each direction of a free base, and of each joint between a link (-1
/// for the base) and the base. Zeros for all other joints.
template <class OfBase, class OfJoint>
ZQ_MOTION_INLINE void writePath(const Tree& tree, int link, const JacobianMatrix& J,
                                const OfBase& ofBase, const OfJoint& ofJoint)
{
   for (int k = 0; k < 6 * J.rowLength; ++k)
      J.numbers[k] = 0.0;
   for (int k = 0; k < J.firstJoint; ++k)
      put(J.numbers + k, J.rowLength, ofBase(baseDirection(k)));
   for (int i = link; i >= 0; i = tree.joints[i].parent)
      put(J.numbers + J.firstJoint + i, J.rowLength, ofJoint(i));
}

/// The Jacobian of a point of a link.
inline void writeJacobian(const Tree& tree, int link, const JacobianView& view,
                          const GradientWork& work, const JacobianMatrix& J)
{
   writePath(
      tree, link, J, [&](const Vec6<ZqReal>& e) { return seen(view, e); },
      [&](int i) { return seen(view, vec6At(work.s + i, work.stride)); });
}
/// Its rate in time.
inline void writeJacobianRate(const Tree& tree, int link, const JacobianView& view,
                              const GradientWork& work, const JacobianMatrix& J)
{
   const Vec6<ZqReal> none{zeroVec3<ZqReal>(), zeroVec3<ZqReal>()};
   writePath(
      tree, link, J, [&](const Vec6<ZqReal>& e) { return rateSeen(view, e, none); },
      [&](int i) {
         return rateSeen(view, vec6At(work.s + i, work.stride), vec6At(work.sDot + i, work.stride));
      });
}

/// The bodies of all subtrees in the axes of the base, the whole first.
inline void composeInBase(const Tree& tree, const Place<ZqReal>* places, Body* composites)
{
   for (int i = 0; i <= tree.count; ++i)
      composites[i] = bodyInBase(places[i], tree.bodies[i]);
   for (int i = tree.count; i-- > 0;)
   {
      Body& parent = composites[tree.joints[i].parent + 1];
      parent.m += composites[i + 1].m;
      parent.h += composites[i + 1].h;
      parent.S += composites[i + 1].S;
   }
}

/// The centroidal momentum matrix (Orin, Goswami and Lee 2013): from velocities to the momentum of the whole,
/// its angular part about the center of mass, in the axes of the system, in which R are those of the base.
/// The momentum of a unit motion is that of the subtree which it moves.
inline void writeCentroidalMomentum(const Tree& tree, const Mat3<ZqReal>& R, const Body* composites,
                                    const GradientWork& work, const JacobianMatrix& J)
{
   const Vec3<ZqReal> center = composites[0].h * (1.0 / composites[0].m);
   const auto put6 = [&](int column, const Vec6<ZqReal>& momentum)
   {
      put(J.numbers + column, J.rowLength,
          Vec6<ZqReal>{R * momentum.linear,
                       R * (momentum.angular - cross(center, momentum.linear))});
   };
   for (int k = 0; k < J.firstJoint; ++k)
      put6(k, inertiaTimes(composites[0], baseDirection(k)));
   for (int i = 0; i < tree.count; ++i)
      put6(J.firstJoint + i, inertiaTimes(composites[i + 1], vec6At(work.s + i, work.stride)));
}

/// The rate of that matrix times the velocities: the rate of the momentum when nothing accelerates, which the
/// motions in the work space are taken for.
inline Vec6<ZqReal> centroidalMomentumBias(const Tree& tree, const Mat3<ZqReal>& R,
                                           const GradientWork& work)
{
   Vec3<ZqReal> h = work.sums[0].h;
   ZqReal m = work.sums[0].m;
   Vec6<ZqReal> f = work.sums[0].f;
   for (int i = 1; i <= tree.count; ++i)
   {
      h += work.sums[i].h;
      m += work.sums[i].m;
      f += work.sums[i].f;
   }
   return {R * f.linear, R * (f.angular - cross(h * (1.0 / m), f.linear))};
}
} // namespace ZQ_MOTION_TARGET
} // namespace zqMotion
