#pragma once

#include "zqManipulator/dynamics/motion/ZqInverseDynamicsSweep.h"
#include "zqManipulator/dynamics/motion/ZqMotionCompositeSweep.h"
#include "zqManipulator/dynamics/motion/ZqMotionPack.h"

/// Momentum: of links, of all that they carry, and of the whole about its center of mass. It stands as a
/// force does, linear (kg m/s) and angular (kg m^2/s), about the origin of a link's axis frame in its axes.
namespace zqMotion
{
/// A whole in its base's axes.
template <class T>
struct WholeMotion
{
   Vec3<T> center;   ///< the center of mass from the base's origin (m)
   Vec3<T> velocity; ///< of the center of mass (m/s)
   Vec3<T> momentum; ///< linear
   Vec3<T> spin;     ///< angular momentum about the center of mass
};

inline namespace ZQ_MOTION_TARGET
{
/// The momentum of each body, the base's first, from the velocities of links.
template <class T>
void computeMomenta(const Tree& tree, const Body* bodies, const Vec6<T>* velocities,
                    LinkForce<T>* momenta)
{
   for (int i = 0; i <= tree.count; ++i)
   {
      const Body& body = bodies[i];
      const Vec3<T>&v = velocities[i].linear, &omega = velocities[i].angular;
      const ZqReal trace = (body.S.xx + body.S.yy) + body.S.zz;
      momenta[i] = {v * body.m + cross(omega, body.h),
                    (omega * trace - body.S * omega) + cross(body.h, v)};
   }
}

/// Sums momenta inwards, in place: each link's then is that of all that lies outboard of its joint.
template <class T>
void gatherMomenta(const Tree& tree, const Turn<T>* turns, LinkForce<T>* momenta)
{
   for (int i = tree.count; i-- > 0;)
   {
      const Joint& joint = tree.joints[i];
      if (joint.isTwist)
         passForce<TwistAxes<T>>(joint, turns[i], momenta[i + 1], momenta[joint.parent + 1]);
      else
         passForce<GeneralAxes<T>>(joint, turns[i], momenta[i + 1], momenta[joint.parent + 1]);
   }
}

/// From the momentum of the whole about the base's origin, and the whole as one body. Without mass the center
/// is the origin, at rest.
template <class T>
WholeMotion<T> motionOfWhole(const Composite<T>& whole, const LinkForce<T>& momentum)
{
   const T inverse = inverseOrZero(whole.m);
   const Vec3<T> center = whole.h * inverse;
   return {center, momentum.f * inverse, momentum.f, momentum.n - cross(center, momentum.f)};
}

ZQ_MOTION_SWEEP template void computeMomenta(const Tree&, const Body*, const Vec6<ZqReal>*,
                                             LinkForce<ZqReal>*);
ZQ_MOTION_SWEEP template void gatherMomenta(const Tree&, const Turn<ZqReal>*, LinkForce<ZqReal>*);
ZQ_MOTION_SWEEP template WholeMotion<ZqReal> motionOfWhole(const Composite<ZqReal>&,
                                                           const LinkForce<ZqReal>&);
} // namespace ZQ_MOTION_TARGET
} // namespace zqMotion
