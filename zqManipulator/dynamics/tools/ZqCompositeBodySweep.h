#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <memory>

class ZqIndividualManipulator;
class ZqManipulatorActiveState;
class ZqReArray;
class ZqStatedSystemStruct;
struct ZqMotionPlan;
struct ZqMotionWorkspace;

/// Composite rigid bodies for the tools that need them: of each joint its unit motion s, and the force F
/// that gives this motion to all that lies outboard of the joint taken as one rigid body, both in the
/// base's DH frame. There an element of the mass matrix is one product of six numbers, and the forces are
/// the coupling between the joints and the base (Featherstone 2008, section 6.2).
///
/// The numbers stand in the active state of the last run, which has to live, and are right until that changes.
/// Before a first run there is nothing to ask for but the size.
class ZqCompositeBodySweep
{
public:
   /// Computes what the active state lacks. A link that the state does not have is rejected with a message.
   void run(const ZqIndividualManipulator& manipulator, ZqManipulatorActiveState& activeState,
            const ZqStatedSystemStruct* stateStruct);
   /// Forgets what was computed.
   void clear() noexcept { *this = ZqCompositeBodySweep(); }
   /// Whether the last run was for this manipulator.
   bool isFor(const ZqIndividualManipulator& manipulator) const noexcept
   {
      return m_manipulator == &manipulator;
   }
   /// The model of the last run.
   const std::shared_ptr<const ZqMotionPlan>& plan() const noexcept;
   /// Whether the state has all joints of the model. The numbers of those that it lacks are zero.
   bool isWhole() const noexcept { return m_isWhole; }
   /// The number of joints.
   ZqU32 size() const noexcept { return m_size; }
   /// The index of the parent of a link, `ZqBaseLinkIndex` for the base: else below that of the link.
   ZqU32 parent(ZqU32 link) const noexcept;
   /// The index after the last one of the subtree of a link.
   ZqU32 subtreeEnd(ZqU32 link) const noexcept;
   /// Writes the mass matrix over the leading rows and columns of an array, but for the elements of
   /// joints on different branches, which are zero.
   void writeMassMatrix(ZqReArray& array) const noexcept;
   /// Component k of the force F of a joint: the force (k = 0, 1, 2), then the moment (3, 4, 5).
   ZqReal force(ZqU32 joint, ZqU32 k) const noexcept;

private:
   const ZqIndividualManipulator* m_manipulator = nullptr; ///< not owned
   const ZqMotionWorkspace* m_work = nullptr;              ///< not owned
   ZqU32 m_size = 0;
   bool m_isWhole = false;
};
