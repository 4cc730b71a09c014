#pragma once

#include "zqManipulator/dynamics/motion/ZqMotionCompositeSweep.h"

// Gradients of inverse dynamics in closed form (Carpentier and Mansard 2018; as sums over subtrees: Singh,
// Russell and Wensing 2022).
//
// All stands in the axes of the base, about its origin: there motions and forces of all links add up, and
// the outboard half of a row of a gradient is one product with numbers that stand side by side. Velocities
// are relative to the origin of the base: forces do not depend on its own. So the spatial acceleration of
// the base is that of its origin as of a point.
//
// Symbols: S the unit motion of a joint; S' = V x S, and what S changes in the axes of its link, where V is the
// velocity of the parent: the rate of S in time; S'' = A x S + V x (V x S), where A is the acceleration of the
// parent; I, B, F of a subtree its inertia, its Coriolis matrix (2 B S is the force on bodies that a motion S
// turns while they have the velocities that they have) and the force that moves it. Then with i inboard of j, or the same, where the last term of
// the first line is zero,
//
//    d tau_i / dq_j  = S_i . (I_j S''_j + 2 B_j S'_j + S_j x* F_j)
//    d tau_j / dq_i  = S_j . (I_j S''_i + 2 B_j S'_i)
//    d tau_i / dqd_j = S_i . 2 (I_j S'_j + B_j S_j)
//    d tau_j / dqd_i = S_j . 2 (I_j S'_i + B_j S_i)
//
// External forces are constant in the axes of their links. They turn with the bodies, as F does, and are part
// of it.
namespace zqMotion
{
/// The velocity (relative to the base's origin) and the spatial acceleration of a link.
struct SpatialState
{
   Vec6<ZqReal> v, a;
};

/// Sums over a subtree. With r the place of a point of mass and v its velocity:
struct SubtreeSums
{
   ZqReal m;       ///< mass (kg)
   Vec3<ZqReal> h; ///< integral of r dm
   Sym3<ZqReal> S; ///< integral of r r^T dm
   Vec3<ZqReal> p; ///< integral of v dm: the momentum (kg m/s)
   Mat3<ZqReal> Q; ///< integral of v r^T dm (kg m^2/s)
   Vec6<ZqReal> f; ///< the force that moves it, less external ones
};

/// The work space of the sweeps below. Owns nothing. A vector for each joint stands in columns: component k of
/// joint i at k * stride + i.
struct GradientWork
{
   /// Columns of all that follows.
   static constexpr int columns = 39;

   int stride;              ///< above the number of joints
   ZqReal* s;               ///< S
   ZqReal* sDot;            ///< S'
   ZqReal* sDotDot;         ///< S''
   ZqReal* momentum;        ///< I S
   ZqReal* coriolis;        ///< the angular part of 2 B^T S, whose linear part is zero
   ZqReal* forceByPosition; ///< I S'' + 2 B S' + S x* F
   ZqReal* forceByVelocity; ///< 2 (I S' + B S)
   SpatialState* motions;   ///< by link, the base first
   SubtreeSums* sums;       ///< by link, the base first

   /// Lays the columns out in columns * stride numbers.
   static constexpr GradientWork inSpace(ZqReal* numbers, int stride, SpatialState* motions,
                                         SubtreeSums* sums)
   {
      const int six = 6 * stride;
      return {stride,
              numbers,
              numbers + six,
              numbers + 2 * six,
              numbers + 3 * six,
              numbers + 6 * six,
              numbers + 4 * six,
              numbers + 5 * six,
              motions,
              sums};
   }
};

/// A matrix that a sweep writes, row after row: of forces by what they are differentiated by. The six of a free
/// base come first, linear before angular.
struct GradientMatrix
{
   ZqReal* numbers;
   int rowLength;
   int firstJoint; ///< the row and column of joint 0: 6 with a free base, else 0

   constexpr ZqReal* row(int i) const { return numbers + static_cast<long>(i) * rowLength; }
   constexpr ZqReal* ofJoints(int i, int j) const { return row(firstJoint + i) + firstJoint + j; }
};

inline namespace ZQ_MOTION_TARGET
{
ZQ_MOTION_INLINE Vec3<ZqReal> vec3At(const ZqReal* columns, int stride)
{
   return {columns[0], columns[stride], columns[2 * stride]};
}
ZQ_MOTION_INLINE Vec6<ZqReal> vec6At(const ZqReal* columns, int stride)
{
   return {vec3At(columns, stride), vec3At(columns + 3 * stride, stride)};
}
ZQ_MOTION_INLINE void put(ZqReal* columns, int stride, const Vec3<ZqReal>& v)
{
   columns[0] = v.x;
   columns[stride] = v.y;
   columns[2 * stride] = v.z;
}
ZQ_MOTION_INLINE void put(ZqReal* columns, int stride, const Vec6<ZqReal>& v)
{
   put(columns, stride, v.linear);
   put(columns + 3 * stride, stride, v.angular);
}
/// v x s: how a motion s that is carried along by a body in motion v changes (Featherstone 2008, 2.9).
ZQ_MOTION_INLINE Vec6<ZqReal> crossMotion(const Vec6<ZqReal>& v, const Vec6<ZqReal>& s)
{
   return {cross(v.angular, s.linear) + cross(v.linear, s.angular), cross(v.angular, s.angular)};
}
/// A motion of an axis frame, about its origin, in the axes of the base and about that of the base.
ZQ_MOTION_INLINE Vec6<ZqReal> motionInBase(const Place<ZqReal>& X, const Vec6<ZqReal>& v)
{
   const Vec3<ZqReal> w = X.R * v.angular;
   return {X.R * v.linear + cross(X.p, w), w};
}
/// R S R^T.
ZQ_MOTION_INLINE Sym3<ZqReal> turned(const Mat3<ZqReal>& R, const Sym3<ZqReal>& S)
{
   const Vec3<ZqReal> x{R.xx, R.xy, R.xz};
   const Vec3<ZqReal> y{R.yx, R.yy, R.yz};
   const Vec3<ZqReal> z{R.zx, R.zy, R.zz};
   const Vec3<ZqReal> u = S * x;
   const Vec3<ZqReal> v = S * y;
   return {dot(u, x), dot(v, y), dot(S * z, z), dot(u, y), dot(u, z), dot(v, z)};
}
/// The mass, first moment and S of a body that stands in the base.
ZQ_MOTION_INLINE Body bodyInBase(const Place<ZqReal>& X, const Body& body)
{
   const Vec3<ZqReal> Rh = X.R * body.h;
   const Vec3<ZqReal> mp = X.p * body.m;
   const Vec3<ZqReal> g = Rh + mp * 0.5; // p g^T + g p^T = p (R h)^T + R h p^T + m p p^T
   const Vec3<ZqReal>& p = X.p;
   Sym3<ZqReal> S = turned(X.R, body.S);
   S += {2.0 * (p.x * g.x),     2.0 * (p.y * g.y),     2.0 * (p.z * g.z),
         p.x * g.y + p.y * g.x, p.x * g.z + p.z * g.x, p.y * g.z + p.z * g.y};
   return {body.m, Rh + mp, S};
}
/// The inertia times a motion: the momentum, its angular part about the base's origin. The second moment is
/// trace(S) E - S.
template <class Inertial, class T>
ZQ_MOTION_INLINE Vec6<T> inertiaTimes(const Inertial& body, const Vec6<T>& v)
{
   const Sym3<ZqReal>& S = body.S;
   return {v.linear * body.m - cross(body.h, v.angular),
           (v.angular * ((S.xx + S.yy) + S.zz) - S * v.angular) + cross(body.h, v.linear)};
}
/// The unit motion of a free base in direction k.
ZQ_MOTION_INLINE Vec6<ZqReal> baseDirection(int k)
{
   const auto one = [&](int i) { return i == k ? 1.0 : 0.0; };
   return {{one(0), one(1), one(2)}, {one(3), one(4), one(5)}};
}

/// Unit motions with their rates, and the velocities and accelerations of all links: V = V_parent + S qd,
/// A = A_parent + S qdd + S' qd. Null accelerations stand for zeros.
void moveInBase(const Tree& tree, const BaseMotion<ZqReal>& base, const Place<ZqReal>* places,
                const Slot<ZqReal>* slots, const ZqReal* qd, const ZqReal* qdd,
                const GradientWork& work);
/// The sums of each link alone. What is added to the forces stands in axis frames, the base's first: external
/// forces, negative. Null for nothing.
void weighBodies(const Tree& tree, const Place<ZqReal>* places, const LinkForce<ZqReal>* added,
                 const GradientWork& work);
/// Sums over the subtrees, from the tips inwards, and what the gradients need of each. Answers the torques
/// as inverse dynamics does, without the inertia of drives; the force on the base is left in its sum.
void gatherGradients(const Tree& tree, ZqReal* torques, const GradientWork& work);
/// Zeros for joints on different branches.
void clearBetweenBranches(const Tree& tree, const GradientMatrix& matrix);
/// The gradients of the torques by positions and velocities of the joints.
void writeGradients(const Tree& tree, const GradientWork& work, const GradientMatrix& byPosition,
                    const GradientMatrix& byVelocity);
/// Rows and columns of a free base: the force on it, its position, velocity and acceleration, in its axes.
void writeBaseGradients(const Tree& tree, const BaseMotion<ZqReal>& base, const GradientWork& work,
                        const GradientMatrix& byPosition, const GradientMatrix& byVelocity);
/// The same of the mass matrix: I S in six columns, as `computeAxesAndForces` leaves them.
void writeBaseInertia(const Tree& tree, const Composite<ZqReal>& whole, const ZqReal* momenta,
                      int stride, const GradientMatrix& M);
} // namespace ZQ_MOTION_TARGET
} // namespace zqMotion
