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

/// The numbers of the block's rows by column; zeros for null.
ZQ_MOTION_INLINE void loadColumns(const ZqReal* numbers, int width, const Block& block,
                                  Lanes* columns)
{
   if (numbers == nullptr)
   {
      for (int column = 0; column < width; ++column)
         columns[column] = Lanes{};
      return;
   }
   const ZqReal* rows[ZQ_MOTION_LANES];
   for (int lane = 0; lane < ZQ_MOTION_LANES; ++lane)
      rows[lane] = numbers + block.state(lane) * static_cast<std::size_t>(width);
   for (int column = 0; column < width; ++column)
      for (int lane = 0; lane < ZQ_MOTION_LANES; ++lane)
         columns[column][lane] = rows[lane][column];
}

/// Columns into the block's rows, from a column on of rows that may be longer; to null goes nothing.
ZQ_MOTION_INLINE void storeColumns(const Lanes* columns, int count, const Block& block,
                                   std::size_t rowSize, ZqReal* numbers)
{
   if (numbers == nullptr)
      return;
   for (int lane = 0; lane < block.count; ++lane)
   {
      ZqReal* const row = numbers + block.state(lane) * rowSize;
      for (int column = 0; column < count; ++column)
         row[column] = columns[column][lane];
   }
}

/// Rows of six, linear first.
ZQ_MOTION_INLINE Vec6<Lanes> loadVec6(const ZqReal* numbers, const Block& block)
{
   Lanes x[6];
   loadColumns(numbers, 6, block, x);
   return {{x[0], x[1], x[2]}, {x[3], x[4], x[5]}};
}
ZQ_MOTION_INLINE void storeVec6(const Vec6<Lanes>& v, const Block& block, ZqReal* numbers)
{
   const Lanes x[] = {v.linear.x,  v.linear.y,  v.linear.z,
                      v.angular.x, v.angular.y, v.angular.z};
   storeColumns(x, 6, block, 6, numbers);
}

/// Rows of seven, which may be parts of longer ones.
ZQ_MOTION_INLINE void storeFrame(const Frame<Lanes>& frame, const Block& block, std::size_t rowSize,
                                 ZqReal* numbers)
{
   const Lanes x[] = {frame.p.x, frame.p.y, frame.p.z, frame.q.w,
                      frame.q.x, frame.q.y, frame.q.z};
   storeColumns(x, 7, block, rowSize, numbers);
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
   Lanes x[7];
   loadColumns(job.placements, 7, block, x);
   return {{x[0], x[1], x[2]}, {x[3], x[4], x[5], x[6]}};
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
   loadColumns(job.q, job.tree.count, block, work.q);
   for (int i = 0; i < job.tree.count; ++i)
      if (job.tree.joints[i].kind == JointKind::Revolute)
      {
         const CosineSine<Lanes> half = halfCosineSine(work.q[i]);
         work.halfCos[i] = half.c;
         work.halfSin[i] = half.s;
      }
   if (job.tree.slots > 0)
      loadSlots(job, accelerations, block, work);
}

/// The motion of the base in its own axes; gravity is an upward acceleration. Accelerations are a null pointer
/// for zeros.
ZQ_MOTION_INLINE void loadBaseMotion(const BatchJob& job, const ZqReal* accelerations,
                                     const Frame<Lanes>& base, const Block& block, Work& work)
{
   const Vec6<Lanes> V = loadVec6(job.baseV, block);
   const Vec6<Lanes> A = loadVec6(accelerations, block);
   work.motions[0].omega = rotateBack(base.q, V.angular);
   work.motions[0].alpha = rotateBack(base.q, A.angular);
   work.motions[0].a = rotateBack(base.q, A.linear + constant<Lanes>(job.upGravity));
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
   loadColumns(job.v, n, block, work.v);
   loadColumns(job.given, n, block, work.given);
   loadBaseMotion(job, job.baseGiven, base, block, work);

   turnJoints(tree, work.q, work.halfCos, work.halfSin, work.slots, work.turns);
   computeMotions(tree, work.turns, work.v, work.given, work.slots, work.motions);
   computeBodyForces(tree, work.motions, work.forces);
   gatherForces(tree, work.turns, work.slots, work.forces, work.result);
   for (int i = 0; i < n; ++i)
      work.result[i] += tree.joints[i].driveInertia * work.given[i];
   storeColumns(work.result, n, block, static_cast<std::size_t>(n), job.result);
   const LinkForce<Lanes>& force = work.forces[0];
   storeVec6({rotate(base.q, force.f), rotate(base.q, force.n)}, block, job.baseResult);
}
