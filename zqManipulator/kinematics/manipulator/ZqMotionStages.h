#pragma once

#include "zqManipulator/dynamics/motion/ZqMotionWorkspace.h"
#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <memory>
#include <vector>

class ZqIndividualManipulator;
class ZqManipulatorActivePositionState;
class ZqManipulatorActiveState;
class ZqManipulatorExternalForce;
class ZqManipulatorLink;
class ZqManipulatorTorque;
class ZqRotationMatrix;
class ZqStatedSystemStruct;
struct ZqMotionPlan;

/// Brings the numbers of an active state up to date, as far as somebody asks: each operation runs a sweep,
/// after those that it builds on, unless it was run in this epoch of the state. What it answers stands in
/// the workspace of the active state; arrays by link have the base first.
///
/// The motion of the base comes from the base's own queries, so that a class of a user that answers
/// otherwise is heeded.
class ZqMotionStages
{
public:
   /// For frames alone.
   ZqMotionStages(const ZqIndividualManipulator& manipulator,
                  ZqManipulatorActivePositionState& positions);
   ZqMotionStages(const ZqIndividualManipulator& manipulator,
                  ZqManipulatorActiveState& activeState);
   /// Of the manipulator that a link belongs to; of its own tree for a link that belongs to none.
   ZqMotionStages(const ZqManipulatorLink& link, ZqManipulatorActivePositionState& positions);
   ZqMotionStages(const ZqManipulatorLink& link, ZqManipulatorActiveState& activeState);

   /// As many links as the manipulator and the state both have.
   const zqMotion::Tree& tree() const noexcept { return m_work.tree; }
   bool has(ZqU32 link) const noexcept { return link < static_cast<ZqU32>(m_work.tree.count); }
   const ZqMotionPlan& plan() const noexcept { return *m_plan; }
   ZqMotionWorkspace& work() const noexcept { return m_work; }
   const zqMotion::Joint& joint(ZqU32 link) const noexcept { return m_work.tree.joints[link]; }

   /// The axis frame of one link in the system, and of others as far as that is cheaper than to place them
   /// one by one.
   const zqMotion::Frame<ZqReal>& frame(ZqU32 link);
   const zqMotion::Frame<ZqReal>* frames();
   const zqMotion::Turn<ZqReal>* turns();
   const zqMotion::Vec6<ZqReal>* velocities();
   const zqMotion::LinkMotion<ZqReal>* motions();
   const zqMotion::LinkForce<ZqReal>* forces(const ZqManipulatorExternalForce& externalForce,
                                             const ZqStatedSystemStruct* stateStruct);
   /// The torques at the joints that go with the forces, without the inertia of drives.
   const ZqReal* inverseTorques() const noexcept { return m_work.inverseTorques.data(); }
   const zqMotion::Composite<ZqReal>* composites(const ZqStatedSystemStruct* stateStruct);
   /// \name Of the base, with its own body
   /// What stands at the base in the arrays of forces, composite and articulated bodies is that of its
   /// children alone: manipulators that refer to the same links may have other bases.
   /// @{
   struct ArticulatedBase
   {
      zqMotion::Articulated<ZqReal> body;
      zqMotion::LinkForce<ZqReal> bias;
   };
   zqMotion::LinkForce<ZqReal> baseForce(const ZqManipulatorExternalForce& externalForce,
                                         const ZqStatedSystemStruct* stateStruct);
   zqMotion::Composite<ZqReal> whole(const ZqStatedSystemStruct* stateStruct);
   ArticulatedBase articulatedBase(const ZqManipulatorExternalForce& externalForce,
                                   const ZqManipulatorTorque& torque,
                                   const ZqStatedSystemStruct* stateStruct);
   /// @}
   /// Unit motions and forces of composite bodies: `axes` and `axisForces` of the workspace.
   void axes(const ZqStatedSystemStruct* stateStruct);
   const zqMotion::Articulated<ZqReal>* articulated(const ZqManipulatorExternalForce& externalForce,
                                                    const ZqManipulatorTorque& torque,
                                                    const ZqStatedSystemStruct* stateStruct);
   /// What the torques add: those of the joints, and in the articulated bodies those of the links.
   const ZqReal* jointAccelerations(const ZqManipulatorExternalForce& externalForce,
                                    const ZqManipulatorTorque& torque,
                                    const ZqStatedSystemStruct* stateStruct);
   /// The accelerations that torques and the force on a free base add, by articulated bodies that take the place
   /// of those that queries have left: `jointAccelerations` of the workspace, and that of the base in its
   /// articulated body. False, and nothing, where a pivot may be nothing but rounding.
   bool solve(const ZqManipulatorExternalForce& externalForce, const ZqManipulatorTorque& torque,
              const ZqStatedSystemStruct* stateStruct);
   /// From the DH axes of a link to those of its parent.
   ZqRotationMatrix dhRotation(ZqU32 link);
   /// The inertia of a drive at its joint, as it is in this position.
   ZqReal driveInertia(ZqU32 link) const;
   /// Gives the joints of the tree the inertia of their drives in this position.
   void takeDriveInertias();
   /// Gives the tree the bodies of a scene.
   void takeBodies(const ZqStatedSystemStruct* stateStruct);
   /// Takes forces from outside off what has to move the links: by link, the base first, in axis frames.
   void takeExternalForces(const ZqManipulatorExternalForce& externalForce,
                           std::vector<zqMotion::LinkForce<ZqReal>>& forces) const;

private:
   const ZqManipulatorLink* linkAt(ZqU32 index) const;
   void flatten(const ZqManipulatorLink& link);
   void prepare();
   void takePlan(std::size_t count);
   void forgetWhatFollowsFrom(ZqMotionWorkspace::Input input, std::uint64_t epoch,
                              ZqMotionWorkspace::Stage first);
   void shorten(ZqU32 count);
   void angles();
   void place(ZqU32 link);
   void placeBase();
   void setBaseMotion(zqMotion::LinkMotion<ZqReal>& base);
   void articulate(const ZqManipulatorExternalForce& externalForce,
                   const ZqManipulatorTorque& torque, const ZqStatedSystemStruct* stateStruct);
   void accelerate();
   void findLeastPivots(const ZqStatedSystemStruct* stateStruct);
   void takeLinkBodies(const ZqStatedSystemStruct* stateStruct);
   zqMotion::Body baseBody(const ZqStatedSystemStruct* stateStruct) const;
   void takeExternalForcesOnLinks(const ZqManipulatorExternalForce& externalForce,
                                  std::vector<zqMotion::LinkForce<ZqReal>>& forces) const;
   zqMotion::LinkForce<ZqReal> forceOnBaseBody(const ZqManipulatorExternalForce& externalForce,
                                               const ZqStatedSystemStruct* stateStruct);
   void addBase(const ZqManipulatorExternalForce& externalForce,
                const ZqStatedSystemStruct* stateStruct, zqMotion::Articulated<ZqReal>& body,
                zqMotion::LinkForce<ZqReal>& bias);

   const ZqIndividualManipulator* m_manipulator; ///< null for a tree that belongs to none
   std::vector<ZqManipulatorLink*> m_loneLinks;  ///< of such a tree, by index
   std::shared_ptr<const ZqMotionPlan> m_lonePlan;
   ZqManipulatorActivePositionState& m_positions;
   ZqManipulatorActiveState* m_activeState = nullptr; ///< null for frames alone
   ZqMotionWorkspace& m_work;
   const ZqMotionPlan* m_plan = nullptr;
   const ZqReal* m_q = nullptr; ///< positions of joints, as many as the tree has
};
