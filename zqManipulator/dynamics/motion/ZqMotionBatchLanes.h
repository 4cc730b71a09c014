// The kernel of batches, included by one source for each instruction set, which has defined
// ZQ_MOTION_TARGET, ZQ_MOTION_LANES and ZQ_MOTION_KERNEL, the name of the kernel. A lane is a state: the sweeps
// are run over packs. Of the last states, where they do not fill a pack, the last one is repeated.

#include "zqManipulator/dynamics/motion/ZqArticulatedBodySweep.h"
#include "zqManipulator/dynamics/motion/ZqCompositeBodySweep.h"
#include "zqManipulator/dynamics/motion/ZqInverseDynamicsSweep.h"
#include "zqManipulator/dynamics/motion/ZqMotionBatchKernel.h"
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
