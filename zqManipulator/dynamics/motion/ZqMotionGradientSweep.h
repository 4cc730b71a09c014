#pragma once

#include "zqManipulator/dynamics/motion/ZqMotionCompositeSweep.h"
#include "zqManipulator/dynamics/motion/ZqMotionPack.h"

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
// turns while they have the velocities that they have) and the force that moves it. Then with i inboard of j,
// or the same, where the last term of the first line is zero,
//
//    d tau_i / dq_j  = S_i . (I_j S''_j + 2 B_j S'_j + S_j x* F_j)
//    d tau_j / dq_i  = S_j . (I_j S''_i + 2 B_j S'_i)
//    d tau_i / dqd_j = S_i . 2 (I_j S'_j + B_j S_j)
//    d tau_j / dqd_i = S_j . 2 (I_j S'_i + B_j S_i)
//
// The unit motion of a slot changes with its position too, in the axes of its link: by s = dS/dq and t = d2S/dq2.
// With R = s qd, S' = V x S + R has its own rate. Then its position moves the bodies outboard of it by S; their
// velocities change by S' besides, so that S'' = A x S + V x (V x S) + s qdd + t qd^2 + (V + V_i) x R, where V_i is
// the velocity of its link. The torque of the slot itself changes by s . F besides.
//
// External forces are constant in the axes of their links. They turn with the bodies, as F does, and are part
// of it.
namespace zqMotion
{
/// Sums over a subtree. With r the place of a point of mass and v its velocity:
template <class T>
struct SubtreeSums
{
   T m;       ///< mass (kg)
   Vec3<T> h; ///< integral of r dm
   Sym3<T> S; ///< integral of r r^T dm
   Vec3<T> p; ///< integral of v dm: the momentum (kg m/s)
   Mat3<T> Q; ///< integral of v r^T dm (kg m^2/s)
   Vec6<T> f; ///< the force that moves it, less external ones
};

/// How the unit motion of a slot, in the axes of the DH frame, changes with its position: dS/dq and d2S/dq2.
struct SlotChange
{
   Vec6<ZqReal> first, second;
   bool isKnown; ///< else they are not used
};

/// The work space of the sweeps below. Owns nothing. Numbers stand in columns: component k of joint i at
/// k * stride + i; of link i at k * stride + i + 1, since the base is first. So two neighbours are a pack, and
/// take the same steps at once.
struct GradientWork
{
   static constexpr int sumColumns = 28;
   static constexpr int columns = 51 + sumColumns;

   int stride;              ///< by joint and by link alike: see `strideFor`
   ZqReal* s;               ///< S
   ZqReal* sDot;            ///< S'
   ZqReal* sDotDot;         ///< S''
   ZqReal* momentum;        ///< I S
   ZqReal* forceByPosition; ///< I S'' + 2 B S' + S x* F
   ZqReal* forceByVelocity; ///< 2 (I S' + B S)
   ZqReal* v;               ///< by link: velocity, relative to the base's origin
   ZqReal* a;               ///< by link: spatial acceleration
   ZqReal* sums;            ///< by link: `SubtreeSums`
   ZqReal* coriolis;        ///< the angular part of 2 B^T S, whose linear part is zero

   /// Room for the last pair of links.
   static constexpr int strideFor(int joints) { return (joints + 3) / 2 * 2; }
   /// Lays the columns out in columns * stride numbers.
   static constexpr GradientWork inSpace(ZqReal* numbers, int stride)
   {
      const int six = 6 * stride;
      ZqReal* const sums = numbers + 8 * six;
      return {stride,
              numbers,
              numbers + six,
              numbers + 2 * six,
              numbers + 3 * six,
              numbers + 4 * six,
              numbers + 5 * six,
              numbers + 6 * six,
              numbers + 7 * six,
              sums,
              sums + sumColumns * stride};
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
/// \name Columns
/// One number, or those of two neighbours.
/// @{
template <class T>
ZQ_MOTION_INLINE T numberAt(const ZqReal* columns)
{
   if constexpr (IsPack<T>)
      return loadPack<T>(columns);
   else
      return *columns;
}
template <class T>
ZQ_MOTION_INLINE Vec3<T> vec3At(const ZqReal* columns, int stride)
{
   return {numberAt<T>(columns), numberAt<T>(columns + stride), numberAt<T>(columns + 2 * stride)};
}
template <class T>
ZQ_MOTION_INLINE Vec6<T> vec6At(const ZqReal* columns, int stride)
{
   return {vec3At<T>(columns, stride), vec3At<T>(columns + 3 * stride, stride)};
}
template <class T>
ZQ_MOTION_INLINE void put(ZqReal* column, const T& number)
{
   if constexpr (IsPack<T>)
      storePack(column, number);
   else
      *column = number;
}
template <class T>
ZQ_MOTION_INLINE void put(ZqReal* columns, int stride, const Vec3<T>& v)
{
   put(columns, v.x);
   put(columns + stride, v.y);
   put(columns + 2 * stride, v.z);
}
template <class T>
ZQ_MOTION_INLINE void put(ZqReal* columns, int stride, const Vec6<T>& v)
{
   put(columns, stride, v.linear);
   put(columns + 3 * stride, stride, v.angular);
}
/// @}

/// The inertia times a motion: the momentum.
template <class T>
ZQ_MOTION_INLINE Vec6<T> inertiaTimes(const SubtreeSums<T>& body, const Vec6<T>& v)
{
   return inertiaTimes(Composite<T>{body.m, body.h, body.S}, v);
}
/// The unit motion of a free base in direction k.
ZQ_MOTION_INLINE Vec6<ZqReal> baseDirection(int k)
{
   const auto one = [&](int i) { return i == k ? 1.0 : 0.0; };
   return {{one(0), one(1), one(2)}, {one(3), one(4), one(5)}};
}

/// Unit motions with their rates, and the velocities and accelerations of all links: V = V_parent + S qd,
/// A = A_parent + S qdd + S' qd. Null accelerations stand for zeros. Slots stand beside their changes.
void moveInBase(const Tree& tree, const BaseMotion<ZqReal>& base, const Place<ZqReal>* places,
                const Slot<ZqReal>* slots, const SlotChange* changes, const ZqReal* qd,
                const ZqReal* qdd, const GradientWork& work);
/// The sums of each link alone. What is added to the forces stands in axis frames, the base's first: external
/// forces, negative. Null for nothing.
void weighBodies(const Tree& tree, const Place<ZqReal>* places, const LinkForce<ZqReal>* added,
                 const GradientWork& work);
/// The sums of a link, or of two neighbours.
template <class T>
ZQ_MOTION_INLINE SubtreeSums<T> sumsAt(const ZqReal* x, int stride)
{
   const auto at = [&](int k) { return numberAt<T>(x + k * stride); };
   return {at(0),
           vec3At<T>(x + stride, stride),
           {at(4), at(5), at(6), at(7), at(8), at(9)},
           vec3At<T>(x + 10 * stride, stride),
           {at(13), at(14), at(15), at(16), at(17), at(18), at(19), at(20), at(21)},
           vec6At<T>(x + 22 * stride, stride)};
}
/// Sums over the subtrees, from the tips inwards, and what the gradients need of each. Answers the torques
/// as inverse dynamics does, without the inertia of drives, up to the stride; the force on the base is left in
/// its sum.
void gatherGradients(const Tree& tree, ZqReal* torques, const GradientWork& work);
/// Zeros for joints on different branches.
void clearBetweenBranches(const Tree& tree, const GradientMatrix& matrix);
/// The gradients of the torques by positions and velocities of the joints. What is not known of a slot's changes is
/// missing in the column of its position.
void writeGradients(const Tree& tree, const GradientWork& work, const GradientMatrix& byPosition,
                    const GradientMatrix& byVelocity);
/// What the torque of a slot itself changes with its position by: to be added to what is written.
ZqReal torqueByOwnChange(int link, const Place<ZqReal>& place, const SlotChange& change,
                         const GradientWork& work);
/// Rows and columns of a free base: the force on it, its position, velocity and acceleration, in its axes.
void writeBaseGradients(const Tree& tree, const BaseMotion<ZqReal>& base, const GradientWork& work,
                        const GradientMatrix& byPosition, const GradientMatrix& byVelocity);
/// The same of the mass matrix: I S in six columns, as `computeAxesAndForces` leaves them.
void writeBaseInertia(const Tree& tree, const Composite<ZqReal>& whole, const ZqReal* momenta,
                      int stride, const GradientMatrix& M);
} // namespace ZQ_MOTION_TARGET
} // namespace zqMotion
