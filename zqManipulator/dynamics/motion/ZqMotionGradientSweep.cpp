#include "zqManipulator/dynamics/motion/ZqMotionGradientSweep.h"

namespace zqMotion
{
inline namespace ZQ_MOTION_TARGET
{
namespace
{
/// Numbers of two neighbouring joints or links.
using Pair = Pack<2>;

/// v x s: how a motion s that is carried along by a body in motion v changes (Featherstone 2008, 2.9).
ZQ_MOTION_INLINE Vec6<ZqReal> crossMotion(const Vec6<ZqReal>& v, const Vec6<ZqReal>& s)
{
   return {cross(v.angular, s.linear) + cross(v.linear, s.angular), cross(v.angular, s.angular)};
}
/// v x* f: the same for a force.
template <class T>
ZQ_MOTION_INLINE Vec6<T> crossForce(const Vec6<T>& v, const Vec6<T>& f)
{
   return {cross(v.angular, f.linear), cross(v.angular, f.angular) + cross(v.linear, f.linear)};
}

/// A motion of an axis frame, about its origin, in the axes of the base and about that of the base.
ZQ_MOTION_INLINE Vec6<ZqReal> motionInBase(const Place<ZqReal>& X, const Vec6<ZqReal>& v)
{
   const Vec3<ZqReal> w = X.R * v.angular;
   return {X.R * v.linear + cross(X.p, w), w};
}

/// S of a joint that is no slot.
ZQ_MOTION_INLINE Vec6<ZqReal> unitMotion(const Joint& joint, const Place<ZqReal>& X)
{
   const Vec3<ZqReal> z = axisZ(X.R);
   return joint.kind == JointKind::Revolute ? Vec6<ZqReal>{cross(X.p, z), z}
                                            : Vec6<ZqReal>{z, zeroVec3<ZqReal>()};
}

/// Moves link i by its joint's unit motion S, which changes by itself at a rate. Answers the link's velocity.
ZQ_MOTION_INLINE Vec6<ZqReal> moveLink(const GradientWork& work, int parent, int i,
                                       const Vec6<ZqReal>& s, const Vec6<ZqReal>& ownRate,
                                       ZqReal qd, ZqReal qdd)
{
   const int stride = work.stride;
   const Vec6<ZqReal> v = vec6At<ZqReal>(work.v + parent + 1, stride);
   const Vec6<ZqReal> a = vec6At<ZqReal>(work.a + parent + 1, stride);
   const Vec6<ZqReal> carried = crossMotion(v, s);
   const Vec6<ZqReal> sDot = carried + ownRate;
   const Vec6<ZqReal> ofLink = v + s * qd;
   put(work.s + i, stride, s);
   put(work.sDot + i, stride, sDot);
   put(work.sDotDot + i, stride, crossMotion(a, s) + crossMotion(v, carried));
   put(work.v + i + 1, stride, ofLink);
   put(work.a + i + 1, stride, a + s * qdd + sDot * qd);
   return ofLink;
}

/// The same for a slot. The bias of its joint is the rate of S in the axes of the DH frame times qd and, since
/// it is the acceleration of a point, the inward one of a joint that turns about a distant axis.
[[gnu::noinline]] void moveSlot(const GradientWork& work, int parent, int i, const Place<ZqReal>& X,
                                const Slot<ZqReal>& slot, const SlotChange& change, ZqReal qd,
                                ZqReal qdd)
{
   if (!change.isKnown)
   {
      const Vec6<ZqReal> bias{slot.bias.linear - cross(slot.v.angular, slot.v.linear),
                              slot.bias.angular};
      const Vec6<ZqReal> rate = bias * (qd != 0.0 ? 1.0 / qd : 0.0);
      moveLink(work, parent, i, motionInBase(X, slot.s), motionInBase(X, rate), qd, qdd);
      return;
   }
   const Vec6<ZqReal> rate = motionInBase(X, change.first * qd);
   const Vec6<ZqReal> v = moveLink(work, parent, i, motionInBase(X, slot.s), rate, qd, qdd);
   const Vec6<ZqReal> inboard = vec6At<ZqReal>(work.v + parent + 1, work.stride);
   const Vec6<ZqReal> ownChange = motionInBase(X, change.first * qdd + change.second * (qd * qd));
   ZqReal* const sDotDot = work.sDotDot + i;
   put(sDotDot, work.stride,
       vec6At<ZqReal>(sDotDot, work.stride) + ownChange + crossMotion(v + inboard, rate));
}
} // namespace

void moveInBase(const Tree& tree, const BaseMotion<ZqReal>& base, const Place<ZqReal>* places,
                const Slot<ZqReal>* slots, const SlotChange* changes, const ZqReal* qd,
                const ZqReal* qdd, const GradientWork& work)
{
   const Vec6<ZqReal> still{zeroVec3<ZqReal>(), zeroVec3<ZqReal>()};
   put(work.v, work.stride, Vec6<ZqReal>{zeroVec3<ZqReal>(), base.omega});
   put(work.a, work.stride, Vec6<ZqReal>{base.a, base.alpha});
   for (int i = 0; i < tree.count; ++i)
   {
      const Joint& joint = tree.joints[i];
      const Place<ZqReal>& X = places[i + 1];
      const ZqReal acceleration = qdd != nullptr ? qdd[i] : 0.0;
      if (joint.kind == JointKind::Slot)
         moveSlot(work, joint.parent, i, X, slots[joint.slot], changes[joint.slot], qd[i],
                  acceleration);
      else
         moveLink(work, joint.parent, i, unitMotion(joint, X), still, qd[i], acceleration);
   }
}

namespace
{
/// Two vectors and the like in the lanes of one.
ZQ_MOTION_INLINE Vec3<Pair> beside(const Vec3<ZqReal>& a, const Vec3<ZqReal>& b)
{
   return {Pair{a.x, b.x}, Pair{a.y, b.y}, Pair{a.z, b.z}};
}
ZQ_MOTION_INLINE Place<Pair> beside(const Place<ZqReal>& a, const Place<ZqReal>& b)
{
   return {{Pair{a.R.xx, b.R.xx}, Pair{a.R.xy, b.R.xy}, Pair{a.R.xz, b.R.xz}, Pair{a.R.yx, b.R.yx},
            Pair{a.R.yy, b.R.yy}, Pair{a.R.yz, b.R.yz}, Pair{a.R.zx, b.R.zx}, Pair{a.R.zy, b.R.zy},
            Pair{a.R.zz, b.R.zz}},
           beside(a.p, b.p)};
}
ZQ_MOTION_INLINE Composite<Pair> beside(const Body& a, const Body& b)
{
   return {Pair{a.m, b.m},
           beside(a.h, b.h),
           {Pair{a.S.xx, b.S.xx}, Pair{a.S.yy, b.S.yy}, Pair{a.S.zz, b.S.zz}, Pair{a.S.xy, b.S.xy},
            Pair{a.S.xz, b.S.xz}, Pair{a.S.yz, b.S.yz}}};
}

/// R S R^T.
template <class T>
ZQ_MOTION_INLINE Sym3<T> turned(const Mat3<T>& R, const Sym3<T>& S)
{
   const Vec3<T> x{R.xx, R.xy, R.xz};
   const Vec3<T> y{R.yx, R.yy, R.yz};
   const Vec3<T> z{R.zx, R.zy, R.zz};
   const Vec3<T> u = S * x;
   const Vec3<T> v = S * y;
   return {dot(u, x), dot(v, y), dot(S * z, z), dot(u, y), dot(u, z), dot(v, z)};
}

/// A body that stands in the base at X.
template <class T>
ZQ_MOTION_INLINE Composite<T> bodyInBase(const Place<T>& X, const Composite<T>& body)
{
   const Vec3<T>& p = X.p;
   const Vec3<T> Rh = X.R * body.h;
   const Vec3<T> mp = p * body.m;
   const Vec3<T> g = Rh + mp * 0.5; // p g^T + g p^T = p (R h)^T + R h p^T + m p p^T
   Sym3<T> S = turned(X.R, body.S);
   S += Sym3<T>{2.0 * (p.x * g.x),     2.0 * (p.y * g.y),     2.0 * (p.z * g.z),
                p.x * g.y + p.y * g.x, p.x * g.z + p.z * g.x, p.y * g.z + p.z * g.y};
   return {body.m, Rh + mp, S};
}

/// What a body in a motion (velocity V, acceleration A) adds to the sums over subtrees.
template <class T>
ZQ_MOTION_INLINE SubtreeSums<T> sumsOf(const Composite<T>& body, const Vec6<T>& V, const Vec6<T>& A)
{
   const Vec3<T>& v = V.linear;
   const Vec3<T>& w = V.angular;
   const Vec3<T>& h = body.h;
   const Sym3<T>& S = body.S;
   // The velocity of a point is v + w x r.
   const Vec3<T> p = v * body.m + cross(w, h);
   const Vec3<T> x = v * h.x + cross(w, Vec3<T>{S.xx, S.xy, S.xz});
   const Vec3<T> y = v * h.y + cross(w, Vec3<T>{S.xy, S.yy, S.yz});
   const Vec3<T> z = v * h.z + cross(w, Vec3<T>{S.xz, S.yz, S.zz});
   // The force is the rate of the momentum (p, L), which is carried along: I A + V x* (p, L).
   const Vec3<T> L{y.z - z.y, z.x - x.z, x.y - y.x};
   return {body.m,
           h,
           S,
           p,
           {x.x, y.x, z.x, x.y, y.y, z.y, x.z, y.z, z.z},
           inertiaTimes(body, A) + crossForce(V, Vec6<T>{p, L})};
}

template <class T>
ZQ_MOTION_INLINE void putSums(ZqReal* columns, int stride, const SubtreeSums<T>& sums)
{
   const Sym3<T>& S = sums.S;
   const Mat3<T>& Q = sums.Q;
   put(columns, sums.m);
   put(columns + stride, stride, sums.h);
   put(columns + 4 * stride, stride, Vec6<T>{{S.xx, S.yy, S.zz}, {S.xy, S.xz, S.yz}});
   put(columns + 10 * stride, stride, sums.p);
   put(columns + 13 * stride, stride, Vec6<T>{{Q.xx, Q.xy, Q.xz}, {Q.yx, Q.yy, Q.yz}});
   put(columns + 19 * stride, stride, Vec3<T>{Q.zx, Q.zy, Q.zz});
   put(columns + 22 * stride, stride, sums.f);
}
} // namespace

void weighBodies(const Tree& tree, const Place<ZqReal>* places, const LinkForce<ZqReal>* added,
                 const GradientWork& work)
{
   const int stride = work.stride;
   for (int i = 0; i <= tree.count; i += 2)
   {
      const int next = i < tree.count ? i + 1 : i; // the last one twice, where it has no neighbour
      const Place<Pair> X = beside(places[i], places[next]);
      const Composite<Pair> body = bodyInBase(X, beside(tree.bodies[i], tree.bodies[next]));
      SubtreeSums<Pair> sums =
         sumsOf(body, vec6At<Pair>(work.v + i, stride), vec6At<Pair>(work.a + i, stride));
      if (added != nullptr)
      {
         const Vec3<Pair> f = X.R * beside(added[i].f, added[next].f);
         sums.f += {f, X.R * beside(added[i].n, added[next].n) + cross(X.p, f)};
      }
      putSums(work.sums + i, stride, sums);
   }
}

namespace
{
/// 2 B times a motion that turns by w: the Coriolis force, twice the integral of w x v and of r x (w x v).
template <class T>
ZQ_MOTION_INLINE Vec6<T> twiceCoriolis(const SubtreeSums<T>& sums, const Vec3<T>& w)
{
   const T trace = (sums.Q.xx + sums.Q.yy) + sums.Q.zz;
   return Vec6<T>{cross(w, sums.p), w * trace - sums.Q * w} * 2.0;
}

/// (2 B)^T times a motion: twice the integral of v x (velocity of the point in that motion), angular.
template <class T>
ZQ_MOTION_INLINE Vec3<T> twiceCoriolisTransposed(const SubtreeSums<T>& sums, const Vec6<T>& s)
{
   const T trace = (sums.Q.xx + sums.Q.yy) + sums.Q.zz;
   return (cross(sums.p, s.linear) + s.angular * trace - transposeTimes(sums.Q, s.angular)) * 2.0;
}

/// From the tips inwards.
void sumSubtrees(const Tree& tree, const GradientWork& work)
{
   for (int i = tree.count; i-- > 0;)
   {
      const ZqReal* const own = work.sums + i + 1;
      ZqReal* const parent = work.sums + tree.joints[i].parent + 1;
      for (int k = 0; k < GradientWork::sumColumns; ++k)
         parent[k * work.stride] += own[k * work.stride];
   }
}
} // namespace

void gatherGradients(const Tree& tree, ZqReal* torques, const GradientWork& work)
{
   const int stride = work.stride;
   sumSubtrees(tree, work);
   for (int i = 0; i < tree.count; i += 2)
   {
      const SubtreeSums<Pair> sums = sumsAt<Pair>(work.sums + i + 1, stride);
      const Vec6<Pair> s = vec6At<Pair>(work.s + i, stride);
      const Vec6<Pair> sDot = vec6At<Pair>(work.sDot + i, stride);
      const Vec6<Pair> sDotDot = vec6At<Pair>(work.sDotDot + i, stride);
      put(torques + i, dot(s, sums.f));
      put(work.momentum + i, stride, inertiaTimes(sums, s));
      put(work.coriolis + i, stride, twiceCoriolisTransposed(sums, s));
      put(work.forceByPosition + i, stride,
          inertiaTimes(sums, sDotDot) + twiceCoriolis(sums, sDot.angular) + crossForce(s, sums.f));
      put(work.forceByVelocity + i, stride,
          inertiaTimes(sums, sDot) * 2.0 + twiceCoriolis(sums, s.angular));
   }
}

namespace
{
ZQ_MOTION_INLINE void spread(const ZqReal* columns, int stride, Pair* v, int count)
{
   for (int k = 0; k < count; ++k)
      v[k] = Pair{columns[k * stride], columns[k * stride]};
}

ZQ_MOTION_INLINE Pair dot3(const Pair* v, const ZqReal* columns, int stride)
{
   return (v[0] * loadPack<Pair>(columns) + v[1] * loadPack<Pair>(columns + stride)) +
          v[2] * loadPack<Pair>(columns + 2 * stride);
}

ZQ_MOTION_INLINE Pair dot6(const Pair* v, const ZqReal* columns, int stride)
{
   return dot3(v, columns, stride) + dot3(v + 3, columns + 3 * stride, stride);
}

/// Side by side in a row, the second number only if there is one.
ZQ_MOTION_INLINE void storeRow(ZqReal* to, Pair pair, bool both)
{
   to[0] = pair[0];
   if (both)
      to[1] = pair[1];
}

ZQ_MOTION_INLINE void storeColumn(ZqReal* to, int rowLength, Pair pair, bool both)
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
   Pair s[6];
   Pair sDot[6];
   Pair sDotDot[6];
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
      const Pair half = dot6(sDot, momentum, stride);
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

ZqReal torqueByOwnChange(int link, const Place<ZqReal>& place, const SlotChange& change,
                         const GradientWork& work)
{
   return dot(motionInBase(place, change.first),
              sumsAt<ZqReal>(work.sums + link + 1, work.stride).f);
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
   const auto whole = sumsAt<ZqReal>(work.sums, stride);
   for (int k = 0; k < 6; ++k)
   {
      const Vec6<ZqReal> e = baseDirection(k);
      ZqReal* const q = byPosition.row(k);
      ZqReal* const v = byVelocity.row(k);
      writeBaseColumns(base, inertiaTimes(whole, e), twiceCoriolisTransposed(whole, e), q, v);
      for (int j = 0; j < tree.count; ++j)
      {
         q[6 + j] = work.forceByPosition[k * stride + j];
         v[6 + j] = work.forceByVelocity[k * stride + j];
      }
   }
   for (int i = 0; i < tree.count; ++i)
      writeBaseColumns(base, vec6At<ZqReal>(work.momentum + i, stride),
                       vec3At<ZqReal>(work.coriolis + i, stride), byPosition.row(6 + i),
                       byVelocity.row(6 + i));
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
