#include "zqManipulator/dynamics/motion/ZqArticulatedSweep.h"

namespace zqMotion
{
inline namespace ZQ_MOTION_TARGET
{
namespace
{
/// At least the length of a vector, and at most sqrt(3) of it.
ZQ_MOTION_INLINE ZqReal boundOfLength(const Vec3<ZqReal>& v)
{
   return (__builtin_fabs(v.x) + __builtin_fabs(v.y)) + __builtin_fabs(v.z);
}

/// Adds a body whose origin lies at a distance from that of the other.
ZQ_MOTION_INLINE void addAtDistance(const InertiaBound& body, ZqReal distance, InertiaBound& to)
{
   const ZqReal moved = body.m * distance;
   to.m += body.m;
   to.h += body.h + moved;
   to.S += body.S + distance * (2.0 * body.h + moved);
}

/// Of an element of the mass matrix's diagonal: s . I s.
ZQ_MOTION_INLINE ZqReal boundAlong(const Joint& joint, const InertiaBound& body,
                                   const Slot<ZqReal>* slots)
{
   if (joint.kind == JointKind::Revolute) [[likely]]
      return body.S + joint.driveInertia;
   if (joint.kind == JointKind::Prismatic)
      return body.m + joint.driveInertia;
   const ZqReal v = boundOfLength(slots[joint.slot].s.linear);
   const ZqReal omega = boundOfLength(slots[joint.slot].s.angular);
   return (body.m * v + 2.0 * body.h * omega) * v + body.S * omega * omega + joint.driveInertia;
}

/// What rounding may leave of an element of the diagonal, from which so many products have been subtracted.
/// Articulated bodies round more often than rows of a matrix, by which the factor 10 of those becomes 40.
ZQ_MOTION_INLINE ZqReal roundingOf(ZqReal diagonal, int subtracted)
{
   return 40.0 * (subtracted + 1) * __DBL_EPSILON__ * diagonal;
}
} // namespace

void computeLeastPivots(const Tree& tree, const Turn<ZqReal>* turns, const Slot<ZqReal>* slots,
                        InertiaBound* bounds, ZqReal* leastPivots)
{
   for (int i = 0; i <= tree.count; ++i)
   {
      const Body& body = tree.bodies[i];
      bounds[i] = {body.m, boundOfLength(body.h), (body.S.xx + body.S.yy) + body.S.zz};
   }
   for (int i = tree.count; i-- > 0;)
   {
      const Joint& joint = tree.joints[i];
      const ZqReal diagonal = boundAlong(joint, bounds[i + 1], slots);
      leastPivots[6 + i] = roundingOf(diagonal, endOf(tree, i) - i - 1);
      addAtDistance(bounds[i + 1], boundOfLength(turns[i].p), bounds[joint.parent + 1]);
   }
   for (int k = 0; k < 6; ++k)
      leastPivots[k] = roundingOf(k < 3 ? bounds[0].m : bounds[0].S, tree.count + k);
}

/// False with NaN. An inverse of zero is that of a pivot of zero: right where nothing could move.
ZQ_MOTION_INLINE bool isSound(ZqReal inverse, ZqReal least)
{
   return (inverse > 0.0 && least * inverse < 1.0) || (inverse == 0.0 && least == 0.0);
}

bool pivotsAreSound(const Tree& tree, bool isBaseFree, const Articulated<ZqReal>* articulated,
                    const ZqReal* leastPivots)
{
   bool sound = true;
   for (int i = 0; i < tree.count; ++i)
      sound &= isSound(articulated[i + 1].inversePivot, leastPivots[6 + i]);
   if (!isBaseFree || !sound)
      return sound;
   BaseFactor<ZqReal> base;
   factorBase(articulated[0], base);
   for (int k = 0; k < 6; ++k)
      sound &= isSound(base.inverse[k], leastPivots[k]);
   return sound;
}
} // namespace ZQ_MOTION_TARGET
} // namespace zqMotion
