#pragma once

#include "zqManipulator/dynamics/motion/ZqInverseDynamicsSweep.h"
#include "zqManipulator/dynamics/motion/ZqMotionPack.h"

/// Forward dynamics in as many steps as there are joints, by articulated bodies (Featherstone 2008, ch. 7).
///
/// Velocity products and gravity are part of the forces with which this begins, those of a motion without
/// joint accelerations. What remains is linear: accelerations that torques add to such a motion.
///
/// The inertia of an articulated body is [M, H^T; H, I], 21 numbers, and changes its origin by products of
/// 3 x 3 blocks.
namespace zqMotion
{
inline namespace ZQ_MOTION_TARGET
{
/// 1 / pivot, and zero where the pivot is at most `least`.
ZQ_MOTION_INLINE ZqReal inverseAbove(ZqReal least, ZqReal pivot)
{
   return pivot <= least ? 0.0 : 1.0 / pivot;
}
template <IsPack P>
ZQ_MOTION_INLINE P inverseAbove(const P& least, const P& pivot)
{
   return choose<P>(pivot <= least, P{}, 1.0 / pivot);
}

/// A rigid body as one that is articulated.
template <class T>
ZQ_MOTION_INLINE void setRigid(const Body& body, Articulated<T>& A)
{
   const T o = Constant<T>::of(0.0);
   const T m = Constant<T>::of(body.m);
   const Vec3<T> h = constant<T>(body.h);
   const Sym3<ZqReal>& S = body.S;
   A.M = {m, m, m, o, o, o};
   A.H = {o, -h.z, h.y, h.z, o, -h.x, -h.y, h.x, o};
   A.I = constant<T>(Sym3<ZqReal>{S.yy + S.zz, S.xx + S.zz, S.xx + S.yy, -S.xy, -S.xz, -S.yz});
}

/// U = I s, the force that a unit acceleration of the joint takes, and d = s . U.
template <class T>
ZQ_MOTION_INLINE Vec6<T> forceOfJoint(const Joint& joint, const Articulated<T>& A,
                                      const Slot<T>* slots, T& d)
{
   if (joint.kind == JointKind::Revolute) [[likely]]
   {
      d = A.I.zz;
      return {{A.H.zx, A.H.zy, A.H.zz}, {A.I.xz, A.I.yz, A.I.zz}};
   }
   if (joint.kind == JointKind::Prismatic)
   {
      d = A.M.zz;
      return {{A.M.xz, A.M.yz, A.M.zz}, {A.H.xz, A.H.yz, A.H.zz}};
   }
   const Vec6<T>& s = slots[joint.slot].s;
   const Vec6<T> U{A.M * s.linear + transposeTimes(A.H, s.angular),
                   A.H * s.linear + A.I * s.angular};
   d = dot(s, U);
   return U;
}

/// Adds an inertia, turned to the parent's axes already, about an origin at p: with G = H + [p]x M, the blocks
/// are M, G and I - H [p]x + [p]x G^T.
template <class T>
ZQ_MOTION_INLINE void addShifted(const Sym3<T>& M, const Mat3<T>& H, const Sym3<T>& I,
                                 const Vec3<T>& p, Articulated<T>& to)
{
   const T &x = p.x, &y = p.y, &z = p.z;
   const Mat3<T> G{
      H.xx + (y * M.xz - z * M.xy), H.xy + (y * M.yz - z * M.yy), H.xz + (y * M.zz - z * M.yz),
      H.yx + (z * M.xx - x * M.xz), H.yy + (z * M.xy - x * M.yz), H.yz + (z * M.xz - x * M.zz),
      H.zx + (x * M.xy - y * M.xx), H.zy + (x * M.yy - y * M.xy), H.zz + (x * M.yz - y * M.xz)};
   to.M += M;
   to.H += G;
   to.I += Sym3<T>{I.xx + (H.xz * y - H.xy * z) + (y * G.xz - z * G.xy),
                   I.yy + (H.yx * z - H.yz * x) + (z * G.yx - x * G.yz),
                   I.zz + (H.zy * x - H.zx * y) + (x * G.zy - y * G.zx),
                   I.xy + (H.xx * z - H.xz * x) + (y * G.yz - z * G.yy),
                   I.xz + (H.xy * x - H.xx * y) + (y * G.zz - z * G.zy),
                   I.yz + (H.yy * x - H.yx * y) + (z * G.zx - x * G.zz)};
}

/// What a joint lets through of its link's articulated body, added to that of the parent: the inertia
/// I - U U^T / d, and the force f + U (tau - s . f) / d.
template <class Axes, class T>
ZQ_MOTION_INLINE void passArticulated(const Joint& joint, const Turn<T>& turn, const Slot<T>* slots,
                                      const T& torque, const LinkForce<T>& force, Articulated<T>& A,
                                      Articulated<T>& inboard, LinkForce<T>& inboardForce)
{
   T d;
   const Vec6<T> U = forceOfJoint(joint, A, slots, d);
   const T inverse = inverseOrZero(d + joint.driveInertia);
   const Vec6<T> g = U * inverse;
   const T u = (torque - forceAlong(joint, force, slots)) * inverse;
   A.inversePivot = inverse;
   A.gain = g;
   A.u = u;
   const Vec3<T>&Uf = U.linear, &Un = U.angular, &gf = g.linear, &gn = g.angular;
   const Sym3<T> M{A.M.xx - gf.x * Uf.x, A.M.yy - gf.y * Uf.y, A.M.zz - gf.z * Uf.z,
                   A.M.xy - gf.x * Uf.y, A.M.xz - gf.x * Uf.z, A.M.yz - gf.y * Uf.z};
   const Mat3<T> H{A.H.xx - gn.x * Uf.x, A.H.xy - gn.x * Uf.y, A.H.xz - gn.x * Uf.z,
                   A.H.yx - gn.y * Uf.x, A.H.yy - gn.y * Uf.y, A.H.yz - gn.y * Uf.z,
                   A.H.zx - gn.z * Uf.x, A.H.zy - gn.z * Uf.y, A.H.zz - gn.z * Uf.z};
   const Sym3<T> I{A.I.xx - gn.x * Un.x, A.I.yy - gn.y * Un.y, A.I.zz - gn.z * Un.z,
                   A.I.xy - gn.x * Un.y, A.I.xz - gn.x * Un.z, A.I.yz - gn.y * Un.z};
   const Axes axes(joint, turn);
   addShifted(axes.toParent(M), axes.toParent(H), axes.toParent(I), turn.p, inboard);
   passForce<Axes>(joint, turn, {force.f + Uf * u, force.n + Un * u}, inboardForce);
}

/// From the leaves to the base: each link's articulated body and what its joint makes of it.
/// `torques` (N m or N) are those of the joints. `bias` has the forces of bodies with velocity products and
/// gravity, less external ones, and sums up inwards; after it, `articulated[0]` and `bias[0]` are those of the base.
template <class T>
void articulateBodies(const Tree& tree, const Turn<T>* turns, const Slot<T>* slots,
                      const T* torques, LinkForce<T>* bias, Articulated<T>* articulated)
{
   for (int i = 0; i <= tree.count; ++i)
      setRigid(tree.bodies[i], articulated[i]);
   for (int i = tree.count; i-- > 0;)
   {
      const Joint& joint = tree.joints[i];
      const int parent = joint.parent + 1;
      if (joint.isTwist)
         passArticulated<TwistAxes<T>>(joint, turns[i], slots, torques[i], bias[i + 1],
                                       articulated[i + 1], articulated[parent], bias[parent]);
      else
         passArticulated<GeneralAxes<T>>(joint, turns[i], slots, torques[i], bias[i + 1],
                                         articulated[i + 1], articulated[parent], bias[parent]);
   }
}

/// The factors of a free base's inertia, K = L D L^T without roots, linear rows first. A pivot that is
/// nothing but rounding is dropped with its acceleration: its inverse is zero.
template <class T>
struct BaseFactor
{
   T K[6][6]; ///< below the diagonal: L D
   T inverse[6];
};

template <class T>
ZQ_MOTION_INLINE void factorBase(const Articulated<T>& base, BaseFactor<T>& factor)
{
   constexpr ZqReal epsilon = __DBL_EPSILON__;
   const Sym3<T>&M = base.M, &I = base.I;
   const Mat3<T>& H = base.H;
   const T rows[6][6] = {{M.xx},
                         {M.xy, M.yy},
                         {M.xz, M.yz, M.zz},
                         {H.xx, H.xy, H.xz, I.xx},
                         {H.yx, H.yy, H.yz, I.xy, I.yy},
                         {H.zx, H.zy, H.zz, I.xz, I.yz, I.zz}};
   T(&K)[6][6] = factor.K;
   for (int r = 0; r < 6; ++r)
      for (int k = 0; k <= r; ++k)
         K[r][k] = rows[r][k];
   for (int k = 0; k < 6; ++k)
   {
      factor.inverse[k] = inverseAbove(rows[k][k] * (10.0 * k * epsilon), K[k][k]);
      for (int r = k + 1; r < 6; ++r)
      {
         const T g = K[r][k] * factor.inverse[k];
         for (int e = k + 1; e <= r; ++e)
            K[r][e] = K[r][e] - g * K[e][k];
      }
   }
}

/// The acceleration of a free base under a force about its origin, in its axes.
template <class T>
ZQ_MOTION_INLINE void solveBase(const BaseFactor<T>& factor, const Vec6<T>& force, Vec3<T>& a,
                                Vec3<T>& alpha)
{
   const Vec3<T>&f = force.linear, &n = force.angular;
   T x[6] = {f.x, f.y, f.z, n.x, n.y, n.z};
   for (int k = 0; k < 6; ++k)
   {
      x[k] = x[k] * factor.inverse[k];
      for (int r = k + 1; r < 6; ++r)
         x[r] = x[r] - factor.K[r][k] * x[k];
   }
   for (int k = 6; k-- > 0;)
   {
      T sum = Constant<T>::of(0.0);
      for (int r = k + 1; r < 6; ++r)
         sum = sum + factor.K[r][k] * x[r];
      x[k] = x[k] - sum * factor.inverse[k];
   }
   a = {x[0], x[1], x[2]};
   alpha = {x[3], x[4], x[5]};
}
template <class T>
ZQ_MOTION_INLINE void solveBase(const Articulated<T>& base, const Vec6<T>& force, Vec3<T>& a,
                                Vec3<T>& alpha)
{
   BaseFactor<T> factor;
   factorBase(base, factor);
   solveBase(factor, force, a, alpha);
}

/// The joint's acceleration, and with it the link's.
template <class Axes, class T>
ZQ_MOTION_INLINE T accelerateJoint(const Joint& joint, const Turn<T>& turn, const Slot<T>* slots,
                                   const Articulated<T>& inboard, Articulated<T>& A)
{
   const Axes axes(joint, turn);
   Vec3<T> a = axes.toChild(inboard.a + cross(inboard.alpha, turn.p));
   Vec3<T> alpha = axes.toChild(inboard.alpha);
   const T qdd = A.u - (dot(A.gain.linear, a) + dot(A.gain.angular, alpha));
   if (joint.kind == JointKind::Revolute) [[likely]]
      alpha.z += qdd;
   else if (joint.kind == JointKind::Prismatic)
      a.z += qdd;
   else
   {
      a += slots[joint.slot].s.linear * qdd;
      alpha += slots[joint.slot].s.angular * qdd;
   }
   A.a = a;
   A.alpha = alpha;
   return qdd;
}

/// From the base to the leaves: the accelerations of joints (rad/s^2 or m/s^2), where a and alpha of
/// `articulated[0]` are given: zero for a fixed base, else what `solveBase` makes of less `bias[0]`.
template <class T>
void accelerateJoints(const Tree& tree, const Turn<T>* turns, const Slot<T>* slots,
                      Articulated<T>* articulated, T* accelerations)
{
   for (int i = 0; i < tree.count; ++i)
   {
      const Joint& joint = tree.joints[i];
      const Articulated<T>& inboard = articulated[joint.parent + 1];
      Articulated<T>& A = articulated[i + 1];
      if (joint.isTwist)
         accelerations[i] = accelerateJoint<TwistAxes<T>>(joint, turns[i], slots, inboard, A);
      else
         accelerations[i] = accelerateJoint<GeneralAxes<T>>(joint, turns[i], slots, inboard, A);
   }
}

ZQ_MOTION_SWEEP template void articulateBodies(const Tree&, const Turn<ZqReal>*,
                                               const Slot<ZqReal>*, const ZqReal*,
                                               LinkForce<ZqReal>*, Articulated<ZqReal>*);
ZQ_MOTION_SWEEP template void accelerateJoints(const Tree&, const Turn<ZqReal>*,
                                               const Slot<ZqReal>*, Articulated<ZqReal>*, ZqReal*);

/// Pivots up to which they may be nothing but rounding against the mass matrix's diagonal, whose elements are
/// bounded from above: six of a free base, then those of joints. They are constants of a model all of whose
/// joints are revolute. `bounds` is work space by link.
void computeLeastPivots(const Tree& tree, const Turn<ZqReal>* turns, const Slot<ZqReal>* slots,
                        InertiaBound* bounds, ZqReal* leastPivots);

/// Whether all pivots of articulated bodies stand above those, so that they may serve instead of the mass
/// matrix's own. Else, and with any NaN, forward dynamics has to go by a factor that drops what is rounding.
bool pivotsAreSound(const Tree& tree, bool isBaseFree, const Articulated<ZqReal>* articulated,
                    const ZqReal* leastPivots);
} // namespace ZQ_MOTION_TARGET
} // namespace zqMotion
