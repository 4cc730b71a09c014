// The kernel of batches, included by one source for each instruction set, which has defined
// ZQ_MOTION_TARGET, ZQ_MOTION_LANES and ZQ_MOTION_KERNEL, the name of the kernel. A lane is a state: the sweeps
// are run over packs.

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

/// The states of a pack: those from the first to the end, the last one as often as lanes are left.
struct Block
{
   std::size_t states[ZQ_MOTION_LANES];

   ZQ_MOTION_INLINE Block(std::size_t first, std::size_t end)
   {
      for (std::size_t lane = 0; lane < ZQ_MOTION_LANES; ++lane)
         states[lane] = first + lane < end ? first + lane : end - 1;
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
   ZqReal* zeros; ///< by joint, for arrays that are left out
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
   Lanes *axes, *axisForces; ///< component k of joint i at [k n + i]

   ZQ_MOTION_INLINE Work(const Tree& tree, WorkSpace& space)
   {
      const int n = tree.count;
      zeros = space.take<ZqReal>(n);
      slotsOfState = space.take<Slot<ZqReal>>(tree.slots);
      slots = space.take<Slot<Lanes>>(tree.slots);
      // No list of the standard library's, whose functions any object may be given.
      Lanes** const byJoint[] = {&q, &halfCos, &halfSin, &v, &given, &result};
      for (Lanes** const array : byJoint)
         *array = space.take<Lanes>(n);
      turns = space.take<Turn<Lanes>>(n);
      frames = space.take<Frame<Lanes>>(n + 1);
      motions = space.take<LinkMotion<Lanes>>(n + 1);
      forces = space.take<LinkForce<Lanes>>(n + 1);
      articulated = space.take<Articulated<Lanes>>(n + 1);
      composites = space.take<Composite<Lanes>>(n + 1);
      places = space.take<Place<Lanes>>(n + 1);
      axes = space.take<Lanes>(6 * n);
      axisForces = space.take<Lanes>(6 * n);
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
         of[lane] = numbers + block.states[lane] * rowSize;
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
   const Lanes x[] = {v.linear.x, v.linear.y, v.linear.z, v.angular.x, v.angular.y, v.angular.z};
   for (int i = 0; i < 6; ++i)
      rows.setColumn(i, x[i]);
}

/// Rows of seven, which may be parts of longer ones.
ZQ_MOTION_INLINE void storeFrame(const Frame<Lanes>& frame, const Block& block, std::size_t rowSize,
                                 ZqReal* numbers)
{
   const Rows<ZqReal> rows(numbers, rowSize, block);
   const Lanes x[] = {frame.p.x, frame.p.y, frame.p.z, frame.q.w, frame.q.x, frame.q.y, frame.q.z};
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
      const std::size_t at = block.states[lane] * n;
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

/// Joint positions alone, and where they put the links.
ZQ_MOTION_INLINE void loadPositions(const BatchJob& job, const Block& block, Work& work)
{
   const int n = job.tree.count;
   const Rows<const ZqReal> q(job.q, static_cast<std::size_t>(n), block);
   for (int i = 0; i < n; ++i)
      work.q[i] = q.column(i);
   halfCosineSines(work.q, n, work.halfCos, work.halfSin);
   if (job.tree.slots > 0)
      loadSlots(job, nullptr, block, work);
}

/// The same with velocities and what else is given by joint, which are accelerations or torques.
ZQ_MOTION_INLINE void loadStates(const BatchJob& job, const ZqReal* accelerations,
                                 const Block& block, Work& work)
{
   const int n = job.tree.count;
   const auto rowSize = static_cast<std::size_t>(n);
   const auto rowsOf = [&](const ZqReal* numbers)
   {
      return numbers != nullptr ? Rows<const ZqReal>(numbers, rowSize, block)
                                : Rows<const ZqReal>(work.zeros, 0, block);
   };
   const Rows<const ZqReal> q = rowsOf(job.q);
   const Rows<const ZqReal> v = rowsOf(job.v);
   const Rows<const ZqReal> given = rowsOf(job.given);
   for (int i = 0; i < n; ++i)
   {
      work.q[i] = q.column(i);
      work.v[i] = v.column(i);
      work.given[i] = given.column(i);
   }
   halfCosineSines(work.q, n, work.halfCos, work.halfSin);
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
   loadPositions(job, block, work);
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

/// The motions of links, and the forces that bodies take, link by link: in packs, it costs to fetch a motion once
/// more. The force on the base is zero where nobody needs it. Null stands for joint accelerations of zero.
ZQ_MOTION_INLINE void computeMotionsAndForces(const Tree& tree, const Lanes* accelerations,
                                              bool isBaseNeeded, Work& work)
{
   LinkMotion<Lanes>& base = work.motions[0];
   base.A = accelerationTensor(base.omega, base.alpha);
   work.forces[0] = {zeroVec3<Lanes>(), zeroVec3<Lanes>()};
   if (isBaseNeeded)
      work.forces[0] = bodyForce(tree.bodies[0], base);
   for (int i = 0; i < tree.count; ++i)
   {
      const Joint& joint = tree.joints[i];
      const Lanes* const qdd = accelerations != nullptr ? accelerations + i : nullptr;
      const LinkMotion<Lanes>& inboard = work.motions[joint.parent + 1];
      LinkMotion<Lanes>& motion = work.motions[i + 1];
      if (joint.isTwist)
         computeMotion<TwistAxes<Lanes>>(joint, work.turns[i], work.v[i], qdd, work.slots, inboard,
                                         motion);
      else
         computeMotion<GeneralAxes<Lanes>>(joint, work.turns[i], work.v[i], qdd, work.slots,
                                           inboard, motion);
      work.forces[i + 1] = bodyForce(tree.bodies[i + 1], motion);
   }
}

void computeTorques(const BatchJob& job, const Block& block, Work& work)
{
   const Tree& tree = job.tree;
   const int n = tree.count;
   const Frame<Lanes> base = loadBaseFrame(job, block);
   loadStates(job, job.given, block, work);
   loadBaseMotion(job, job.baseGiven, base, block, work);

   turnJoints(tree, work.q, work.halfCos, work.halfSin, work.slots, work.turns);
   computeMotionsAndForces(tree, work.given, job.baseResult != nullptr, work);
   gatherForces(tree, work.turns, work.slots, work.forces, work.result);
   for (int i = 0; i < n; ++i)
      work.result[i] += work.given[i] * tree.joints[i].driveInertia;
   storeJoints(work.result, n, block, job.result);
   storeInSystem({work.forces[0].f, work.forces[0].n}, base, block, job.baseResult);
}

/// The accelerations of joints, into `work.result`, and that of the base in its own axes, under the torques that
/// are given.
ZQ_MOTION_INLINE Vec6<Lanes> accelerate(const BatchJob& job, const Frame<Lanes>& base,
                                        const Block& block, Work& work)
{
   const Tree& tree = job.tree;
   loadStates(job, nullptr, block, work);
   loadBaseMotion(job, nullptr, base, block, work);

   turnJoints(tree, work.q, work.halfCos, work.halfSin, work.slots, work.turns);
   computeMotionsAndForces(tree, nullptr, job.isFree, work);
   articulateBodies(tree, work.turns, work.slots, work.given, work.forces, work.articulated);
   Articulated<Lanes>& whole = work.articulated[0];
   whole.a = whole.alpha = zeroVec3<Lanes>();
   if (job.isFree)
   {
      const Vec6<Lanes> F = loadInBase(job.baseGiven, base, block);
      const LinkForce<Lanes>& bias = work.forces[0];
      solveBase(whole, {F.linear - bias.f, F.angular - bias.n}, whole.a, whole.alpha);
   }
   accelerateJoints(tree, work.turns, work.slots, work.articulated, work.result);
   return {whole.a, whole.alpha};
}

void computeAccelerations(const BatchJob& job, const Block& block, Work& work)
{
   const Frame<Lanes> base = loadBaseFrame(job, block);
   const Vec6<Lanes> A = accelerate(job, base, block, work);
   storeJoints(work.result, job.tree.count, block, job.result);
   storeInSystem(A, base, block, job.baseResult);
}

ZQ_MOTION_INLINE Lanes squareRoot(Lanes x)
{
   for (int lane = 0; lane < ZQ_MOTION_LANES; ++lane)
      x[lane] = __builtin_sqrt(x[lane]);
   return x;
}

/// The turn by a rotation vector (rad).
ZQ_MOTION_INLINE Quat<Lanes> exponential(const Vec3<Lanes>& r)
{
   const Lanes square = dot(r, r);
   const Lanes angle = squareRoot(square);
   const CosineSine<Lanes> half = cosineSine<Lanes>(angle * 0.5);
   // Near zero, where the quotient is none, its series.
   const Lanes series = 0.5 - square * (1.0 / 48.0 - square * (1.0 / 3840.0 - square / 645120.0));
   const Vec3<Lanes> v = r * choose<Lanes>(square < 1e-4, series, half.s / angle);
   return {half.c, v.x, v.y, v.z};
}

/// The base after a step: with the new velocity, as everywhere in the axes of the system.
ZQ_MOTION_INLINE void stepBase(const BatchJob& job, Frame<Lanes> base, const Vec6<Lanes>& A,
                               const Block& block)
{
   const Vec6<Lanes> turned{rotate(base.q, A.linear), rotate(base.q, A.angular)};
   const Vec6<Lanes> V = loadVec6(job.baseV, block) + turned * job.dt;
   base.p += V.linear * job.dt;
   const Quat<Lanes> q = exponential(V.angular * job.dt) * base.q;
   const Lanes scale = 1.0 / squareRoot((q.w * q.w + q.x * q.x) + (q.y * q.y + q.z * q.z));
   base.q = {q.w * scale, q.x * scale, q.y * scale, q.z * scale};
   storeVec6(V, block, job.newBaseV);
   storeFrame(base, block, 7, job.newPlacements);
}

void computeStep(const BatchJob& job, const Block& block, Work& work)
{
   const Frame<Lanes> base = loadBaseFrame(job, block);
   const Vec6<Lanes> A = accelerate(job, base, block, work);
   for (int i = 0; i < job.tree.count; ++i)
   {
      work.v[i] += work.result[i] * job.dt;
      work.q[i] += work.v[i] * job.dt;
   }
   storeJoints(work.v, job.tree.count, block, job.newV);
   storeJoints(work.q, job.tree.count, block, job.newQ);
   if (job.isFree)
      stepBase(job, base, A, block);
}

/// A symmetric matrix of so many rows a state, one element after the other.
struct MassMatrix
{
   Rows<ZqReal> rows;
   int size;

   ZQ_MOTION_INLINE MassMatrix(ZqReal* numbers, int rowCount, const Block& block)
      : rows(numbers, static_cast<std::size_t>(rowCount) * static_cast<std::size_t>(rowCount),
             block),
        size(rowCount)
   {
   }
   ZQ_MOTION_INLINE void set(int i, int j, const Lanes& x) const
   {
      rows.setColumn(i * size + j, x);
      rows.setColumn(j * size + i, x);
   }
   ZQ_MOTION_INLINE void set(int i, int j, const Vec3<Lanes>& x) const
   {
      set(i, j, x.x);
      set(i, j + 1, x.y);
      set(i, j + 2, x.z);
   }
};

/// The rows of a free base: the whole as one body, and its coupling with the joints.
ZQ_MOTION_INLINE void storeBaseRows(const BatchJob& job, const Block& block, const Work& work,
                                    const MassMatrix& M)
{
   const int n = job.tree.count;
   const Quat<Lanes> q = loadBaseFrame(job, block).q;
   // What turns the axes of the base into those of the system: its rows are columns of the matrix back.
   const Lanes one = Constant<Lanes>::of(1.0);
   const Lanes zero{};
   const Vec3<Lanes> x = rotate(q, Vec3<Lanes>{one, zero, zero});
   const Vec3<Lanes> y = rotate(q, Vec3<Lanes>{zero, one, zero});
   const Vec3<Lanes> z = rotate(q, Vec3<Lanes>{zero, zero, one});
   Turn<Lanes> turn;
   turn.R = {x.x, y.x, z.x, x.y, y.y, z.y, x.z, y.z, z.z};
   const GeneralAxes<Lanes> axes(Joint{}, turn);
   Composite<Lanes> whole = work.composites[0];
   whole.h = axes.toParent(whole.h);
   whole.S = axes.toParent(whole.S);
   Lanes inertia[36];
   writeInertia(whole, inertia);
   for (int i = 0; i < 6; ++i)
      for (int j = 0; j <= i; ++j)
         M.set(i, j, inertia[6 * i + j]);
   for (int i = 0; i < n; ++i)
   {
      const Lanes* const F = work.axisForces + i;
      M.set(6 + i, 0, axes.toParent(Vec3<Lanes>{F[0], F[n], F[2 * n]}));
      M.set(6 + i, 3, axes.toParent(Vec3<Lanes>{F[3 * n], F[4 * n], F[5 * n]}));
   }
}

void computeMassMatrix(const BatchJob& job, const Block& block, Work& work)
{
   const Tree& tree = job.tree;
   const int n = tree.count;
   const int first = job.isFree ? 6 : 0;
   loadPositions(job, block, work);
   turnJoints(tree, work.q, work.halfCos, work.halfSin, work.slots, work.turns);
   composeBodies(tree, work.turns, work.composites);
   placeInBase(tree, work.turns, work.places);
   computeAxesAndForces(tree, work.places, work.composites, work.slots, work.axes, work.axisForces,
                        static_cast<std::size_t>(n));
   const MassMatrix M(job.result, first + n, block);
   if (job.isFree)
      storeBaseRows(job, block, work, M);
   for (int i = 0; i < n; ++i)
   {
      const Lanes* const F = work.axisForces + i;
      for (int j = 0; j <= i; ++j)
      {
         // Joints of different branches move each other through others alone.
         Lanes element{};
         const Lanes* const s = work.axes + j;
         if (i < tree.joints[j].end)
            element = (s[0] * F[0] + s[n] * F[n]) + (s[2 * n] * F[2 * n] + s[3 * n] * F[3 * n]) +
                      (s[4 * n] * F[4 * n] + s[5 * n] * F[5 * n]);
         if (i == j)
            element += tree.joints[i].driveInertia;
         M.set(first + i, first + j, element);
      }
   }
}

template <void (*computeBlock)(const BatchJob&, const Block&, Work&)>
void forBlocks(const BatchJob& job, std::size_t first, std::size_t end, void* space)
{
   WorkSpace workSpace{static_cast<char*>(space)};
   Work work(job.tree, workSpace);
   for (int i = 0; i < job.tree.count; ++i)
      work.zeros[i] = 0.0;
   for (std::size_t at = first; at < end; at += ZQ_MOTION_LANES)
      computeBlock(job, Block(at, end), work);
}

std::size_t workSize(const Tree& tree)
{
   WorkSpace counted{nullptr};
   const Work work(tree, counted);
   return counted.used;
}
} // namespace

constinit const zqMotion::BatchKernel zqMotion::ZQ_MOTION_KERNEL = {
   .lanes = ZQ_MOTION_LANES,
   .workSize = workSize,
   .frames = forBlocks<computeFrames>,
   .inverseDynamics = forBlocks<computeTorques>,
   .forwardDynamics = forBlocks<computeAccelerations>,
   .massMatrix = forBlocks<computeMassMatrix>,
   .step = forBlocks<computeStep>};
