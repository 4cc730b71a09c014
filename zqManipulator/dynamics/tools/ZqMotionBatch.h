#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"
#include "zqManipulator/foundation/algebra/ZqVector.h"

#include <memory>
#include <span>

class ZqIndividualManipulator;

/// Many states of one manipulator at once: each operation is that of the tools for single states, a lane of the
/// processor's vector registers a state. Its results agree with those of single states but for rounding
/// (1e-13), and in all bits with those of any other number of states or threads, by the same instruction set.
///
/// Arrays are contiguous, a row a state. Joints stand in the order of the link indices (rad or m, and N m or N).
/// Bases stand in a second array, **all in the axes of the system**: a placement is that of the base's DH frame
/// in the system, its origin and then its axes as a quaternion of unit length (n x 7: x y z, w x y z); a
/// velocity or an acceleration is that of its origin, a force acts there, the linear part first (n x 6).
///
/// | array                     | joints  | bases | of a fixed base                                |
/// |---------------------------|---------|-------|------------------------------------------------|
/// | positions                 | n x dof | n x 7 | may be left out: it is where the model is      |
/// | velocities, accelerations | n x dof | n x 6 | left out: the base is at rest                  |
/// | torques                   | n x dof | n x 6 | left out where given; as a result what holds it |
///
/// An empty array of given rates, accelerations or torques stands for zeros; an empty one for results of the
/// base is not filled. Torques are those at the joints: the inertia of drives counts, as a constant of the
/// model, while the losses and limits of drives, springs, dampers, equality constraints, and what is attached
/// in a scene play no part.
///
/// Arrays whose sizes do not fit are refused with a message: the operation then answers false and writes
/// nothing. A state that is not finite spoils its own row alone. Nothing is allocated but when a batch or a
/// model needs more room than any before.
///
/// The batch does not own the manipulator, which may change between two operations. A batch serves one caller
/// at a time.
class ZqMotionBatch
{
public:
   enum class InstructionSet : ZqU32
   {
      Baseline, ///< any processor: two lanes
      Avx2,     ///< four lanes
      Avx512    ///< eight lanes; foundation, DQ and VL
   };
   struct Input
   {
      std::span<const ZqReal> joints;
      std::span<const ZqReal> bases = {};
   };
   struct Output
   {
      std::span<ZqReal> joints;
      std::span<ZqReal> bases = {};
   };

   /// Gravity (m/s^2) is a vector in the system that points up, as in `ZqSystemEnvironment`.
   explicit ZqMotionBatch(const ZqIndividualManipulator& manipulator, const ZqVector& upGravity);
   ZqMotionBatch(ZqMotionBatch&& other) noexcept;
   ZqMotionBatch& operator=(ZqMotionBatch&& other) noexcept;
   ~ZqMotionBatch();

   const ZqVector& upGravity() const;
   void setUpGravity(const ZqVector& gravity);

   /// \name Processor
   /// The widest instruction set that the processor has is taken, until another one is set.
   /// @{
   static bool isSupported(InstructionSet set);
   InstructionSet instructionSet() const;
   /// False, with a message, when the processor does not have it.
   bool setInstructionSet(InstructionSet set);
   /// How many threads share the states of a batch, the caller among them.
   ZqU32 threads() const;
   /// Zero stands for one. False, with a message, when there are fewer: as the system has no more, or for more
   /// than 1024.
   bool setThreads(ZqU32 count);
   /// @}

   /// The DH frame of each link in the system, as placements (n x links x 7).
   bool frames(Input positions, std::span<ZqReal> result);
   /// The torques that the joints, and the force that the base, have to bear so that all move as given.
   bool inverseDynamics(Input positions, Input velocities, Input accelerations, Output torques);
   /// Of articulated bodies.
   bool forwardDynamics(Input positions, Input velocities, Input torques, Output accelerations);
   /// The inertia that joints have to accelerations (n x dof x dof), that of drives included; for a free base
   /// with six directions before those of the joints (n x (6 + dof) x (6 + dof)): linear, then angular.
   bool massMatrix(Input positions, std::span<ZqReal> result);
   /// A step of semi-implicit Euler as `ZqStatedSystem::propagateTo` makes it: v += dt a, and x += dt v with
   /// the new v. **Limits of joints and of their rates are not applied.** A step that is not finite is refused
   /// with a message.
   bool step(Output positions, Output velocities, Input torques, ZqReal dt);

private:
   class Implementation;
   std::unique_ptr<Implementation> m_implementation;
};
