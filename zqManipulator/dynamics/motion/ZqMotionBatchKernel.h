#pragma once

#include "zqManipulator/dynamics/motion/ZqMotionTree.h"

#include <cstddef>

/// What a kernel of batches is told, and the kernels that there are: one for each instruction set.
namespace zqMotion
{
/// What to do with a batch of states. Arrays are row-major, a row a state; bases stand in the axes of the
/// system. A null pointer stands for zeros where numbers are read, and for nothing to do where they are written.
struct BatchJob
{
   Tree tree;
   bool isFree;
   Vec3<ZqReal> upGravity;
   ZqReal dt;

   const ZqReal* q;          ///< n x dof
   const ZqReal* placements; ///< n x 7: origin, quaternion
   Frame<ZqReal> placement;  ///< of all states, where these are null
   const ZqReal* v;          ///< n x dof
   const ZqReal* baseV;      ///< n x 6, linear first
   const ZqReal* given;      ///< n x dof: accelerations, or torques
   const ZqReal* baseGiven;  ///< n x 6

   ZqReal* result;     ///< n x dof: torques, or accelerations; n x dof x dof; n x links x 7
   ZqReal* baseResult; ///< n x 6
   ZqReal* newQ;       ///< of a step: where q stands, and so on
   ZqReal* newPlacements;
   ZqReal* newV;
   ZqReal* newBaseV;

   /// Fills the slots of a state, in the order of their numbers; asks virtual functions of joints.
   void (*fillSlots)(const void* model, const ZqReal* q, const ZqReal* v, const ZqReal* a,
                     Slot<ZqReal>* slots);
   const void* model;
};

/// A kernel of one instruction set: functions that do a job for the states from `first` up to `end`. The work
/// space is aligned to 64 bytes, and of `workSize` bytes.
struct BatchKernel
{
   using Function = void (*)(const BatchJob& job, std::size_t first, std::size_t end, void* work);

   int lanes;
   std::size_t (*workSize)(const Tree& tree);
   Function frames, inverseDynamics, forwardDynamics, massMatrix, step;
};

extern const BatchKernel baselineBatchKernel;
extern const BatchKernel avx2BatchKernel;
extern const BatchKernel avx512BatchKernel;
} // namespace zqMotion
