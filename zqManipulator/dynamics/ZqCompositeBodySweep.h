#pragma once

#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"
#include "zqManipulator/foundation/algebra/ZqTypes.h"
#include "zqManipulator/foundation/algebra/ZqVector.h"

#include <array>
#include <vector>

class ZqIndividualManipulator;
class ZqManipulatorActiveState;
class ZqReArray;
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
   /// Forgets what was computed.
   void clear() noexcept { m_manipulator = nullptr; }
   /// Computes motions and forces of a manipulator, and with them what the active state lacks of
   /// composite inertias.
   void run(const ZqIndividualManipulator& manipulator, ZqManipulatorActiveState& activeState,
            const ZqStatedSystemStruct* stateStruct);
   /// Whether the last run was for this manipulator.
   bool isFor(const ZqIndividualManipulator* manipulator) const noexcept
   {
      return m_manipulator != nullptr && m_manipulator == manipulator;
   }
   /// Fills the leading n x n elements of an array with those of the mass matrix.
   void addMassMatrixTo(ZqReArray& array) const;
   /// Element k of the force of joint i, the linear three first.
   ZqReal force(ZqU32 i, ZqU32 k) const noexcept { return m_forces[k][i]; }

private:
   struct Frame
   {
      ZqRotationMatrix R;
      ZqVector p;
   };
   using Column = std::vector<ZqReal>;

   const ZqIndividualManipulator* m_manipulator = nullptr; ///< not owned
   std::vector<Frame> m_frames;                            ///< DH frames in the base's
   std::vector<ZqU32> m_parents;
   std::vector<ZqU32> m_subtreeEnds; ///< one after the last index of each subtree
   std::array<Column, 6> m_motions;
   std::array<Column, 6> m_forces;
};
