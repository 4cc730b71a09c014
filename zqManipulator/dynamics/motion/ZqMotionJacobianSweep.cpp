#include "zqManipulator/dynamics/motion/ZqMotionJacobianSweep.h"

#include "zqManipulator/dynamics/motion/ZqMotionCompositeSweep.h"

namespace zqMotion
{
inline namespace ZQ_MOTION_TARGET
{
namespace
{
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
} // namespace

void writeJacobian(const Tree& tree, int link, const JacobianView& view, const GradientWork& work,
                   const JacobianMatrix& J)
{
   writePath(
      tree, link, J, [&](const Vec6<ZqReal>& e) { return seen(view, e); },
      [&](int i) { return seen(view, vec6At<ZqReal>(work.s + i, work.stride)); });
}

void writeJacobianRate(const Tree& tree, int link, const JacobianView& view,
                       const GradientWork& work, const JacobianMatrix& J)
{
   const Vec6<ZqReal> none{zeroVec3<ZqReal>(), zeroVec3<ZqReal>()};
   writePath(
      tree, link, J, [&](const Vec6<ZqReal>& e) { return rateSeen(view, e, none); },
      [&](int i)
      {
         return rateSeen(view, vec6At<ZqReal>(work.s + i, work.stride),
                         vec6At<ZqReal>(work.sDot + i, work.stride));
      });
}

void writeCentroidalMomentum(const Tree& tree, const Mat3<ZqReal>& R,
                             const Composite<ZqReal>& whole, const ZqReal* momenta, int stride,
                             const JacobianMatrix& J)
{
   const Vec3<ZqReal> center = whole.h * (1.0 / whole.m);
   const auto write = [&](int column, const Vec6<ZqReal>& momentum)
   {
      put(J.numbers + column, J.rowLength,
          Vec6<ZqReal>{R * momentum.linear,
                       R * (momentum.angular - cross(center, momentum.linear))});
   };
   for (int k = 0; k < J.firstJoint; ++k)
      write(k, inertiaTimes(whole, baseDirection(k)));
   for (int i = 0; i < tree.count; ++i)
      write(J.firstJoint + i, vec6At<ZqReal>(momenta + i, stride));
}

Vec6<ZqReal> centroidalMomentumBias(const Tree& tree, const Mat3<ZqReal>& R,
                                    const GradientWork& work)
{
   SubtreeSums<ZqReal> whole = sumsAt<ZqReal>(work.sums, work.stride);
   for (int i = 1; i <= tree.count; ++i)
   {
      const auto sums = sumsAt<ZqReal>(work.sums + i, work.stride);
      whole.m += sums.m;
      whole.h += sums.h;
      whole.f += sums.f;
   }
   const Vec3<ZqReal> center = whole.h * (1.0 / whole.m);
   return {R * whole.f.linear, R * (whole.f.angular - cross(center, whole.f.linear))};
}
} // namespace ZQ_MOTION_TARGET
} // namespace zqMotion
