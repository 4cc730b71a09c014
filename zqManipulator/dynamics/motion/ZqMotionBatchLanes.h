// The kernel of batches, included by one source for each instruction set, which has defined
// ZQ_MOTION_TARGET, ZQ_MOTION_LANES and ZQ_MOTION_KERNEL, the name of the kernel. A lane is a state: the sweeps
// are run over packs. Of the last states, where they do not fill a pack, the last one is repeated.

#include "zqManipulator/dynamics/motion/ZqArticulatedSweep.h"
#include "zqManipulator/dynamics/motion/ZqInverseDynamicsSweep.h"
#include "zqManipulator/dynamics/motion/ZqMotionBatchKernel.h"
#include "zqManipulator/dynamics/motion/ZqMotionCompositeSweep.h"
#include "zqManipulator/dynamics/motion/ZqMotionSineCosine.h"
#include "zqManipulator/dynamics/motion/ZqPositionSweep.h"

namespace
{
using namespace zqMotion;
using Lanes = Pack<ZQ_MOTION_LANES>;

/// The states of a pack.
struct Block
{
   std::size_t first;
   int count; ///< at least one; not more than there are lanes

   ZQ_MOTION_INLINE std::size_t state(int lane) const
   {
      return first + static_cast<std::size_t>(lane < count ? lane : count - 1);
   }
};

/// Hands out arrays of the work space, or, without one, counts how large it has to be.
struct WorkSpace
{
   char* begin;
   std::size_t used = 0;

   template <class T>
   ZQ_MOTION_INLINE T* take(int count)
   {
      T* const array = reinterpret_cast<T*>(begin + used);
      used += (static_cast<std::size_t>(count) * sizeof(T) + 63) / 64 * 64;
      return array;
   }
};

struct Work
{
   Slot<ZqReal>* slotsOfState;
   Slot<Lanes>* slots;
   Lanes *q, *halfCos, *halfSin, *v, *given, *result; ///< by joint
   Turn<Lanes>* turns;
   Frame<Lanes>* frames;
   LinkMotion<Lanes>* motions;
   LinkForce<Lanes>* forces;
   Articulated<Lanes>* articulated;
   Composite<Lanes>* composites;
   Place<Lanes>* places;
   Vec6<Lanes>*axes, *axisForces;

   ZQ_MOTION_INLINE Work(const Tree& tree, WorkSpace& space)
   {
      const int n = tree.count;
      slotsOfState = space.take<Slot<ZqReal>>(tree.slots);
      slots = space.take<Slot<Lanes>>(tree.slots);
      for (Lanes** const array : {&q, &halfCos, &halfSin, &v, &given, &result})
      {
         *array = space.take<Lanes>(n);
      }
      turns = space.take<Turn<Lanes>>(n);
      frames = space.take<Frame<Lanes>>(n + 1);
      motions = space.take<LinkMotion<Lanes>>(n + 1);
      forces = space.take<LinkForce<Lanes>>(n + 1);
      articulated = space.take<Articulated<Lanes>>(n + 1);
      composites = space.take<Composite<Lanes>>(n + 1);
      places = space.take<Place<Lanes>>(n + 1);
      axes = space.take<Vec6<Lanes>>(n);
      axisForces = space.take<Vec6<Lanes>>(n);
   }
};

// Rows and packs

/// The rows of the block's states in an array.
template <class Real>
struct Rows
{
   Real* of[ZQ_MOTION_LANES];

   ZQ_MOTION_INLINE Rows(Real* numbers, std::size_t rowSize, const Block& block)
   {
      for (int lane = 0; lane < ZQ_MOTION_LANES; ++lane)
         of[lane] = numbers + block.state(lane) * rowSize;
   }
   ZQ_MOTION_INLINE Lanes column(int i) const
   {
      Lanes pack{};
      for (int lane = 0; lane < ZQ_MOTION_LANES; ++lane)
         pack[lane] = of[lane][i];
      return pack;
   }
   /// A state that stands in more than one lane is written more than once, with the same number.
   ZQ_MOTION_INLINE void setColumn(int i, const Lanes& pack) const
   {
      for (int lane = 0; lane < ZQ_MOTION_LANES; ++lane)
         of[lane][i] = pack[lane];
   }
};

/// An array by joint; zeros for null.
ZQ_MOTION_INLINE void loadJoints(const ZqReal* numbers, int n, const Block& block, Lanes* joints)
{
   if (numbers == nullptr)
   {
      for (int i = 0; i < n; ++i)
         joints[i] = Lanes{};
      return;
   }
   const Rows<const ZqReal> rows(numbers, static_cast<std::size_t>(n), block);
   for (int i = 0; i < n; ++i)
      joints[i] = rows.column(i);
}
ZQ_MOTION_INLINE void storeJoints(const Lanes* joints, int n, const Block& block, ZqReal* numbers)
{
   const Rows<ZqReal> rows(numbers, static_cast<std::size_t>(n), block);
   for (int i = 0; i < n; ++i)
      rows.setColumn(i, joints[i]);
}

/// Rows of six, linear first.
ZQ_MOTION_INLINE Vec6<Lanes> loadVec6(const ZqReal* numbers, const Block& block)
{
   const Rows<const ZqReal> rows(numbers, 6, block);
   return {{rows.column(0), rows.column(1), rows.column(2)},
           {rows.column(3), rows.column(4), rows.column(5)}};
}
ZQ_MOTION_INLINE void storeVec6(const Vec6<Lanes>& v, const Block& block, ZqReal* numbers)
{
   const Rows<ZqReal> rows(numbers, 6, block);
   const Lanes x[] = {v.linear.x,  v.linear.y,  v.linear.z,
                      v.angular.x, v.angular.y, v.angular.z};
   for (int i = 0; i < 6; ++i)
      rows.setColumn(i, x[i]);
}

/// Rows of seven, which may be parts of longer ones.
ZQ_MOTION_INLINE void storeFrame(const Frame<Lanes>& frame, const Block& block, std::size_t rowSize,
                                 ZqReal* numbers)
{
   const Rows<ZqReal> rows(numbers, rowSize, block);
   const Lanes x[] = {frame.p.x, frame.p.y, frame.p.z, frame.q.w,
                      frame.q.x, frame.q.y, frame.q.z};
   for (int i = 0; i < 7; ++i)
      rows.setColumn(i, x[i]);
}

// The states of a block

ZQ_MOTION_INLINE Frame<Lanes> loadBaseFrame(const BatchJob& job, const Block& block)
{
   if (job.placements == nullptr)
   {
      const Quat<ZqReal>& q = job.placement.q;
      return {constant<Lanes>(job.placement.p),
              {Constant<Lanes>::of(q.w), Constant<Lanes>::of(q.x), Constant<Lanes>::of(q.y),
               Constant<Lanes>::of(q.z)}};
   }
   const Rows<const ZqReal> rows(job.placements, 7, block);
   return {{rows.column(0), rows.column(1), rows.column(2)},
           {rows.column(3), rows.column(4), rows.column(5), rows.column(6)}};
}

/// What joints of other kinds do, state by state into the lanes. All members of a slot are of the scalar type.
void loadSlots(const BatchJob& job, const ZqReal* accelerations, const Block& block, Work& work)
{
   constexpr int scalars = sizeof(Slot<ZqReal>) / sizeof(ZqReal);
   const auto n = static_cast<std::size_t>(job.tree.count);
   for (int lane = 0; lane < ZQ_MOTION_LANES; ++lane)
   {
      const std::size_t at = block.state(lane) * n;
      job.fillSlots(job.model, job.q + at, job.v == nullptr ? nullptr : job.v + at,
                    accelerations == nullptr ? nullptr : accelerations + at, work.slotsOfState);
      for (int k = 0; k < job.tree.slots; ++k)
      {
         const auto* const from = reinterpret_cast<const ZqReal*>(work.slotsOfState + k);
         auto* const to = reinterpret_cast<Lanes*>(work.slots + k);
         for (int i = 0; i < scalars; ++i)
            to[i][lane] = from[i];
      }
   }
}

/// Joint positions and their half angles.
ZQ_MOTION_INLINE void loadPositions(const BatchJob& job, const ZqReal* accelerations,
                                    const Block& block, Work& work)
{
   loadJoints(job.q, job.tree.count, block, work.q);
   halfCosineSines(work.q, job.tree.count, work.halfCos, work.halfSin);
   if (job.tree.slots > 0)
      loadSlots(job, accelerations, block, work);
}

/// Six numbers a state, in the axes of the system, into those of the base; zeros for null.
ZQ_MOTION_INLINE Vec6<Lanes> loadInBase(const ZqReal* numbers, const Frame<Lanes>& base,
                                        const Block& block)
{
   if (numbers == nullptr)
      return {zeroVec3<Lanes>(), zeroVec3<Lanes>()};
   const Vec6<Lanes> x = loadVec6(numbers, block);
   return {rotateBack(base.q, x.linear), rotateBack(base.q, x.angular)};
}
ZQ_MOTION_INLINE void storeInSystem(const Vec6<Lanes>& x, const Frame<Lanes>& base,
                                    const Block& block, ZqReal* numbers)
{
   if (numbers != nullptr)
      storeVec6({rotate(base.q, x.linear), rotate(base.q, x.angular)}, block, numbers);
}

/// The motion of the base in its own axes; gravity is an upward acceleration.
ZQ_MOTION_INLINE void loadBaseMotion(const BatchJob& job, const ZqReal* accelerations,
                                     const Frame<Lanes>& base, const Block& block, Work& work)
{
   const Vec6<Lanes> A = loadInBase(accelerations, base, block);
   LinkMotion<Lanes>& motion = work.motions[0];
   motion.omega = loadInBase(job.baseV, base, block).angular;
   motion.alpha = A.angular;
   motion.a = A.linear + rotateBack(base.q, constant<Lanes>(job.upGravity));
}

// What a batch does, block by block

void computeFrames(const BatchJob& job, const Block& block, Work& work)
{
   const Tree& tree = job.tree;
   loadPositions(job, nullptr, block, work);
   work.frames[0] = loadBaseFrame(job, block);
   placeLinks(tree, work.q, work.halfCos, work.halfSin, work.slots, work.frames);
   const std::size_t rowSize = 7 * static_cast<std::size_t>(tree.count);
   for (int i = 0; i < tree.count; ++i)
   {
      const Joint& joint = tree.joints[i];
      Frame<Lanes> frame = work.frames[i + 1];
      if (joint.hasDhOffset)
         frame = {frame.p + rotate(frame.q, constant<Lanes>(joint.pB)), frame.q * joint.BAsQuat};
      storeFrame(frame, block, rowSize, job.result + 7 * i);
   }
}

void computeTorques(const BatchJob& job, const Block& block, Work& work)
{
   const Tree& tree = job.tree;
   const int n = tree.count;
   const Frame<Lanes> base = loadBaseFrame(job, block);
   loadPositions(job, job.given, block, work);
   loadJoints(job.v, n, block, work.v);
   loadJoints(job.given, n, block, work.given);
   loadBaseMotion(job, job.baseGiven, base, block, work);

   turnJoints(tree, work.q, work.halfCos, work.halfSin, work.slots, work.turns);
   computeMotions(tree, work.turns, work.v, work.given, work.slots, work.motions);
   computeBodyForces(tree, tree.bodies, work.motions, work.forces);
   gatherForces(tree, work.turns, work.slots, work.forces, work.result);
   for (int i = 0; i < n; ++i)
      work.result[i] += tree.joints[i].driveInertia * work.given[i];
   storeJoints(work.result, n, block, job.result);
   storeInSystem({work.forces[0].f, work.forces[0].n}, base, block, job.baseResult);
}
