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

/// Whether a pivot stands above what rounding leaves of an element of the diagonal, from which so many have been
/// subtracted. Articulated bodies round more often than rows of a matrix.
ZQ_MOTION_INLINE bool isSound(ZqReal inversePivot, ZqReal diagonal, int subtracted)
{
   const ZqReal least = 40.0 * (subtracted + 1) * __DBL_EPSILON__ * diagonal;
   return inversePivot > 0.0 && least * inversePivot < 1.0;
}
} // namespace

bool pivotsAreSound(const Tree& tree, const Turn<ZqReal>* turns, const Slot<ZqReal>* slots,
                    bool isBaseFree, const Articulated<ZqReal>* articulated, InertiaBound* bounds)
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
      if (!isSound(articulated[i + 1].inversePivot, diagonal, joint.end - i - 1))
         return false;
      addAtDistance(bounds[i + 1], boundOfLength(turns[i].p), bounds[joint.parent + 1]);
   }
   if (!isBaseFree)
      return true;
   BaseFactor<ZqReal> base;
   factorBase(articulated[0], base);
   for (int k = 0; k < 6; ++k)
      if (!isSound(base.inverse[k], k < 3 ? bounds[0].m : bounds[0].S, tree.count + k))
         return false;
   return true;
}
} // namespace ZQ_MOTION_TARGET
} // namespace zqMotion
