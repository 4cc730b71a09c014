#include "zqManipulator/dynamics/motion/ZqMotionGradientSweep.h"

#include "zqManipulator/dynamics/motion/ZqMotionPack.h"

namespace zqMotion
{
inline namespace ZQ_MOTION_TARGET
{
namespace
{
/// Two numbers side by side: of neighbouring joints, or of two vectors of one joint.
using JointPair = Pack<2>;

/// v x* f: the same for a force.
ZQ_MOTION_INLINE Vec6<ZqReal> crossForce(const Vec6<ZqReal>& v, const Vec6<ZqReal>& f)
{
   return {cross(v.angular, f.linear), cross(v.angular, f.angular) + cross(v.linear, f.linear)};
}

ZQ_MOTION_INLINE Vec6<ZqReal> forceInBase(const Place<ZqReal>& X, const LinkForce<ZqReal>& force)
{
   const Vec3<ZqReal> f = X.R * force.f;
   return {f, X.R * force.n + cross(X.p, f)};
}

/// S of a joint that is no slot.
ZQ_MOTION_INLINE Vec6<ZqReal> unitMotion(const Joint& joint, const Place<ZqReal>& X)
{
   const Vec3<ZqReal> z = axisZ(X.R);
   return joint.kind == JointKind::Revolute ? Vec6<ZqReal>{cross(X.p, z), z}
                                            : Vec6<ZqReal>{z, zeroVec3<ZqReal>()};
}

/// Moves link i by its joint's unit motion S, which changes by itself at a rate.
ZQ_MOTION_INLINE void moveLink(const GradientWork& work, const SpatialState& parent, int i,
                               const Vec6<ZqReal>& s, const Vec6<ZqReal>& ownRate, ZqReal qd,
                               ZqReal qdd)
{
   const Vec6<ZqReal> carried = crossMotion(parent.v, s);
   const Vec6<ZqReal> sDot = carried + ownRate;
   SpatialState& own = work.motions[i + 1];
   own.v = parent.v + s * qd;
   own.a = parent.a + s * qdd + sDot * qd;
   put(work.s + i, work.stride, s);
   put(work.sDot + i, work.stride, sDot);
   put(work.sDotDot + i, work.stride, crossMotion(parent.a, s) + crossMotion(parent.v, carried));
}

/// The same for a slot. The bias of its joint is the rate of S in the axes of the DH frame times qd and, since
/// it is the acceleration of a point, the inward one of a joint that turns about a distant axis.
[[gnu::noinline]] void moveSlot(const GradientWork& work, const SpatialState& parent, int i,
                                const Place<ZqReal>& X, const Slot<ZqReal>& slot, ZqReal qd,
                                ZqReal qdd)
{
   const Vec6<ZqReal> bias{slot.bias.linear - cross(slot.v.angular, slot.v.linear),
                           slot.bias.angular};
   const Vec6<ZqReal> rate = bias * (qd != 0.0 ? 1.0 / qd : 0.0);
   moveLink(work, parent, i, motionInBase(X, slot.s), motionInBase(X, rate), qd, qdd);
}
} // namespace

void moveInBase(const Tree& tree, const BaseMotion<ZqReal>& base, const Place<ZqReal>* places,
                const Slot<ZqReal>* slots, const ZqReal* qd, const ZqReal* qdd,
                const GradientWork& work)
{
   const Vec6<ZqReal> still{zeroVec3<ZqReal>(), zeroVec3<ZqReal>()};
   work.motions[0] = {{zeroVec3<ZqReal>(), base.omega}, {base.a, base.alpha}};
   for (int i = 0; i < tree.count; ++i)
   {
      const Joint& joint = tree.joints[i];
      const Place<ZqReal>& X = places[i + 1];
      const SpatialState& parent = work.motions[joint.parent + 1];
      const ZqReal acceleration = qdd != nullptr ? qdd[i] : 0.0;
      if (joint.kind == JointKind::Slot)
         moveSlot(work, parent, i, X, slots[joint.slot], qd[i], acceleration);
      else
         moveLink(work, parent, i, unitMotion(joint, X), still, qd[i], acceleration);
   }
}

namespace
{
/// What a body adds to the sums over subtrees.
ZQ_MOTION_INLINE void weigh(const Body& body, const SpatialState& motion, SubtreeSums& sums)
{
   const Vec3<ZqReal>& v = motion.v.linear;
   const Vec3<ZqReal>& w = motion.v.angular;
   const Vec3<ZqReal>& h = body.h;
   const Sym3<ZqReal>& S = body.S;
   // The velocity of a point is v + w x r.
   const Vec3<ZqReal> p = v * body.m + cross(w, h);
   const Vec3<ZqReal> x = v * h.x + cross(w, Vec3<ZqReal>{S.xx, S.xy, S.xz});
   const Vec3<ZqReal> y = v * h.y + cross(w, Vec3<ZqReal>{S.xy, S.yy, S.yz});
   const Vec3<ZqReal> z = v * h.z + cross(w, Vec3<ZqReal>{S.xz, S.yz, S.zz});
   // The force is the rate of the momentum (p, L), which is carried along: I A + V x* (p, L).
   const Vec3<ZqReal> L{y.z - z.y, z.x - x.z, x.y - y.x};
   const Vec6<ZqReal> f = inertiaTimes(body, motion.a) + crossForce(motion.v, {p, L});
   sums.m = body.m;
   sums.h = h;
   sums.S = S;
   sums.p = p;
   sums.Q = {x.x, y.x, z.x, x.y, y.y, z.y, x.z, y.z, z.z};
   sums.f = f;
}
} // namespace

void weighBodies(const Tree& tree, const Place<ZqReal>* places, const LinkForce<ZqReal>* added,
                 const GradientWork& work)
{
   for (int i = 0; i <= tree.count; ++i)
   {
      weigh(bodyInBase(places[i], tree.bodies[i]), work.motions[i], work.sums[i]);
      if (added != nullptr)
         work.sums[i].f += forceInBase(places[i], added[i]);
   }
}

namespace
{
ZQ_MOTION_INLINE void add(SubtreeSums& a, const SubtreeSums& b)
{
   a.m += b.m;
   a.h += b.h;
   a.S += b.S;
   a.p += b.p;
   a.Q += b.Q;
   a.f += b.f;
}

/// 2 B times a motion that turns by w: the Coriolis force, twice the integral of w x v and of r x (w x v).
template <class T>
ZQ_MOTION_INLINE Vec6<T> twiceCoriolis(const SubtreeSums& sums, const Vec3<T>& w)
{
   const ZqReal trace = (sums.Q.xx + sums.Q.yy) + sums.Q.zz;
   return Vec6<T>{cross(w, sums.p), w * trace - sums.Q * w} * 2.0;
}

/// (2 B)^T times a motion: twice the integral of v x (velocity of the point in that motion), angular.
ZQ_MOTION_INLINE Vec3<ZqReal> twiceCoriolisTransposed(const SubtreeSums& sums,
                                                      const Vec6<ZqReal>& s)
{
   const ZqReal trace = (sums.Q.xx + sums.Q.yy) + sums.Q.zz;
   return (cross(sums.p, s.linear) + s.angular * trace - transposeTimes(sums.Q, s.angular)) * 2.0;
}

/// Two vectors in the lanes of one, and back.
ZQ_MOTION_INLINE Vec3<JointPair> beside(const Vec3<ZqReal>& a, const Vec3<ZqReal>& b)
{
   return {JointPair{a.x, b.x}, JointPair{a.y, b.y}, JointPair{a.z, b.z}};
}

ZQ_MOTION_INLINE Vec6<JointPair> beside(const Vec6<ZqReal>& a, const Vec6<ZqReal>& b)
{
   return {beside(a.linear, b.linear), beside(a.angular, b.angular)};
}

ZQ_MOTION_INLINE Vec3<ZqReal> lane(const Vec3<JointPair>& v, int i)
{
   return {v.x[i], v.y[i], v.z[i]};
}

ZQ_MOTION_INLINE Vec6<ZqReal> lane(const Vec6<JointPair>& v, int i)
{
   return {lane(v.linear, i), lane(v.angular, i)};
}
} // namespace

void gatherGradients(const Tree& tree, ZqReal* torques, const GradientWork& work)
{
   const int stride = work.stride;
   for (int i = tree.count; i-- > 0;)
   {
      const SubtreeSums& sums = work.sums[i + 1];
      const Vec6<ZqReal> s = vec6At(work.s + i, stride);
      const Vec6<ZqReal> sDot = vec6At(work.sDot + i, stride);
      const Vec6<ZqReal> sDotDot = vec6At(work.sDotDot + i, stride);
      torques[i] = dot(s, sums.f);
      put(work.momentum + i, stride, inertiaTimes(sums, s));
      put(work.coriolis + i, stride, twiceCoriolisTransposed(sums, s));
      // By position and by velocity: I S'' + 2 B S' beside I 2 S' + 2 B S.
      const Vec6<JointPair> forces = inertiaTimes(sums, beside(sDotDot, sDot * 2.0)) +
                                     twiceCoriolis(sums, beside(sDot.angular, s.angular));
      put(work.forceByPosition + i, stride, lane(forces, 0) + crossForce(s, sums.f));
      put(work.forceByVelocity + i, stride, lane(forces, 1));
      add(work.sums[tree.joints[i].parent + 1], sums);
   }
}

namespace
{
ZQ_MOTION_INLINE void spread(const ZqReal* columns, int stride, JointPair* v, int count)
{
   for (int k = 0; k < count; ++k)
      v[k] = JointPair{columns[k * stride], columns[k * stride]};
}

ZQ_MOTION_INLINE JointPair dot3(const JointPair* v, const ZqReal* columns, int stride)
{
   return (v[0] * loadPack<JointPair>(columns) + v[1] * loadPack<JointPair>(columns + stride)) +
          v[2] * loadPack<JointPair>(columns + 2 * stride);
}

ZQ_MOTION_INLINE JointPair dot6(const JointPair* v, const ZqReal* columns, int stride)
{
   return dot3(v, columns, stride) + dot3(v + 3, columns + 3 * stride, stride);
}

/// Side by side in a row, the second number only if there is one.
ZQ_MOTION_INLINE void storeRow(ZqReal* to, JointPair pair, bool both)
{
   to[0] = pair[0];
   if (both)
      to[1] = pair[1];
}

ZQ_MOTION_INLINE void storeColumn(ZqReal* to, int rowLength, JointPair pair, bool both)
{
   to[0] = pair[0];
   if (both)
      to[rowLength] = pair[1];
}

/// What a joint i and its subtree have to do with each other: of row i the elements in the columns of the
/// subtree, and of column i those in its rows.
inline void writeSubtree(const GradientWork& work, int i, int end, const GradientMatrix& byPosition,
                         const GradientMatrix& byVelocity)
{
   const int stride = work.stride;
   JointPair s[6];
   JointPair sDot[6];
   JointPair sDotDot[6];
   spread(work.s + i, stride, s, 6);
   spread(work.sDot + i, stride, sDot, 6);
   spread(work.sDotDot + i, stride, sDotDot, 6);
   for (int j = i; j < end; j += 2)
   {
      const bool both = j + 1 < end;
      const ZqReal* const momentum = work.momentum + j;
      const ZqReal* const coriolis = work.coriolis + j;
      storeRow(byPosition.ofJoints(i, j), dot6(s, work.forceByPosition + j, stride), both);
      storeRow(byVelocity.ofJoints(i, j), dot6(s, work.forceByVelocity + j, stride), both);
      storeColumn(byPosition.ofJoints(j, i), byPosition.rowLength,
                  dot6(sDotDot, momentum, stride) + dot3(sDot + 3, coriolis, stride), both);
      const JointPair half = dot6(sDot, momentum, stride);
      storeColumn(byVelocity.ofJoints(j, i), byVelocity.rowLength,
                  half + half + dot3(s + 3, coriolis, stride), both);
   }
}
} // namespace

void clearBetweenBranches(const Tree& tree, const GradientMatrix& matrix)
{
   for (int i = 0; i < tree.count; ++i)
   {
      const Joint& joint = tree.joints[i];
      ZqReal* const row = matrix.ofJoints(i, 0);
      if (joint.depth < i)
         for (int j = 0; j < i; ++j)
            row[j] = 0.0;
      for (int j = joint.end; j < tree.count; ++j)
         row[j] = 0.0;
   }
}

void writeGradients(const Tree& tree, const GradientWork& work, const GradientMatrix& byPosition,
                    const GradientMatrix& byVelocity)
{
   clearBetweenBranches(tree, byPosition);
   clearBetweenBranches(tree, byVelocity);
   for (int i = 0; i < tree.count; ++i)
      writeSubtree(work, i, tree.joints[i].end, byPosition, byVelocity);
}

namespace
{
/// One row in the columns of a free base: that of a force whose I S and 2 B^T S are given.
///
/// The base turns by a small rotation d about its axes, while its velocity and acceleration stay as they are
/// in the system: in its own axes they change by omega x d, and so on. Its translation changes nothing, nor
/// does its velocity.
inline void writeBaseColumns(const BaseMotion<ZqReal>& base, const Vec6<ZqReal>& momentum,
                             const Vec3<ZqReal>& coriolis, ZqReal* byPosition, ZqReal* byVelocity)
{
   // S' of a base that turns about e is omega x e.
   const Vec3<ZqReal> v = cross(momentum.angular, base.omega) + coriolis;
   const Vec3<ZqReal> q =
      cross(v, base.omega) + cross(momentum.linear, base.a) + cross(momentum.angular, base.alpha);
   const auto write = [](ZqReal* to, const Vec3<ZqReal>& angular)
   {
      to[0] = to[1] = to[2] = 0.0;
      put(to + 3, 1, angular);
   };
   write(byPosition, q);
   write(byVelocity, v);
}
} // namespace

void writeBaseGradients(const Tree& tree, const BaseMotion<ZqReal>& base, const GradientWork& work,
                        const GradientMatrix& byPosition, const GradientMatrix& byVelocity)
{
   const int stride = work.stride;
   for (int k = 0; k < 6; ++k)
   {
      const Vec6<ZqReal> e = baseDirection(k);
      ZqReal* const q = byPosition.row(k);
      ZqReal* const v = byVelocity.row(k);
      writeBaseColumns(base, inertiaTimes(work.sums[0], e),
                       twiceCoriolisTransposed(work.sums[0], e), q, v);
      for (int j = 0; j < tree.count; ++j)
      {
         q[6 + j] = work.forceByPosition[k * stride + j];
         v[6 + j] = work.forceByVelocity[k * stride + j];
      }
   }
   for (int i = 0; i < tree.count; ++i)
      writeBaseColumns(base, vec6At(work.momentum + i, stride), vec3At(work.coriolis + i, stride),
                       byPosition.row(6 + i), byVelocity.row(6 + i));
}

void writeBaseInertia(const Tree& tree, const Composite<ZqReal>& whole, const ZqReal* momenta,
                      int stride, const GradientMatrix& M)
{
   for (int k = 0; k < 6; ++k)
   {
      put(M.row(k), 1, inertiaTimes(whole, baseDirection(k)));
      for (int j = 0; j < tree.count; ++j)
         M.row(k)[6 + j] = M.row(6 + j)[k] = momenta[k * stride + j];
   }
}
} // namespace ZQ_MOTION_TARGET
} // namespace zqMotion
