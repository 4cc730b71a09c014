#pragma once

#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"
#include "zqManipulator/foundation/algebra/ZqTypes.h"
#include "zqManipulator/foundation/algebra/ZqVector.h"

#include <array>
#include <vector>

class ZqGeneralMotion;
class ZqIndividualManipulator;
class ZqManipulatorActiveState;
class ZqManipulatorLink;
class ZqReArray;
class ZqRigidBodyMassProperties;
class ZqStatedSystemStruct;

/// Work space for the tools that need composite rigid bodies: of each joint its unit motion s, and the
/// force F that gives this motion to all that lies outboard of the joint taken as one rigid body, both
/// in the base's DH frame. There an element of the mass matrix is one product of six numbers, and the
/// forces are the coupling between the joints and the base (Featherstone 2008, section 6.2).
///
/// Numbers of one kind stand together by link index, so that a subtree, whose indices follow one
/// another, is one contiguous block.
class ZqCompositeBodySweep
{
public:
   /// Computes motions and forces of a manipulator, and with them what the active state lacks of
   /// composite inertias.
   void run(const ZqIndividualManipulator& manipulator, ZqManipulatorActiveState& activeState,
            const ZqStatedSystemStruct* stateStruct);
   /// Forgets what was computed.
   void clear() noexcept { m_manipulator = nullptr; }
   /// Whether the last run was for this manipulator.
   bool isFor(const ZqIndividualManipulator& manipulator) const noexcept
   {
      return m_manipulator == &manipulator;
   }
   /// The number of joints.
   ZqU32 size() const noexcept { return static_cast<ZqU32>(m_frames.size()); }
   /// The index of the parent of a link, `ZqBaseLinkIndex` for the base: else below that of the link.
   ZqU32 parent(ZqU32 link) const noexcept { return m_parents[link]; }
   /// The index after the last one of the subtree of a link.
   ZqU32 subtreeEnd(ZqU32 link) const noexcept { return m_subtreeEnds[link]; }
   /// Writes the mass matrix over the leading rows and columns of an array, but for the elements of
   /// joints on different branches, which are zero.
   void writeMassMatrix(ZqReArray& array) const noexcept;
   /// Component k of the force F of a joint: the force (k = 0, 1, 2), then the moment (3, 4, 5).
   ZqReal force(ZqU32 joint, ZqU32 k) const noexcept { return m_forces[k][joint]; }

private:
   struct Frame
   {
      ZqRotationMatrix R;
      ZqVector p;
   };
   using Numbers = std::array<std::vector<ZqReal>, 6>;

   void resize(std::size_t count);
   void findSubtrees(const std::vector<ZqManipulatorLink*>& links);
   const Frame& frameOfParent(ZqU32 link) const noexcept;
   void place(ZqU32 link, const ZqRotationMatrix& R, const ZqVector& p);
   void setToZeros(ZqU32 link);
   void setMotionAndForce(ZqU32 link, const ZqGeneralMotion& unitMotion,
                          const ZqRigidBodyMassProperties& body);
   static void set(Numbers& numbers, ZqU32 i, const ZqVector& linear, const ZqVector& angular)
   {
      for (ZqU32 k = 0; k < 3; ++k)
      {
         numbers[k][i] = linear[k];
         numbers[k + 3][i] = angular[k];
      }
   }

   const ZqIndividualManipulator* m_manipulator = nullptr; ///< not owned
   std::vector<Frame> m_frames;                            ///< the DH frames
   std::vector<ZqU32> m_parents;
   std::vector<ZqU32> m_subtreeEnds;
   Numbers m_motions;
   Numbers m_forces;
};
