#pragma once

#include "zqManipulator/dynamics/motion/ZqMotionTree.h"

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

struct ZqMotionPlan;

/// What the sweeps compute in one state of a manipulator, in stages that build on one another. Each stage
/// remembers in which epoch of the state it was done; a state that changes gets a new epoch, and nothing
/// need be cleared.
struct ZqMotionWorkspace
{
   enum Stage : unsigned
   {
      Angles,        ///< of joints: half angles, slots
      Turns,         ///< each link in its parent
      Frames,        ///< each link in the system
      Velocities,    ///< of each link, the linear part with it, which `Motions` does not need
      Motions,       ///< angular velocities, accelerations
      Forces,        ///< inverse dynamics
      Composites,    ///< subtrees as rigid bodies
      Axes,          ///< unit motions and forces of composites, in the base
      Articulated,   ///< articulated bodies
      Accelerations, ///< that the torques of `Articulated` add
      StageCount
   };

   enum Input : unsigned
   {
      Position,
      Velocity,
      Acceleration,
      InputCount
   };

   ZqMotionWorkspace() { forget(); }
   bool isDone(Stage stage, std::uint64_t epoch) const noexcept { return done[stage] == epoch; }
   void forget() noexcept { done.fill(~std::uint64_t{0}); }

   std::shared_ptr<const ZqMotionPlan> plan; ///< that the numbers belong to
   zqMotion::Tree tree{};
   std::array<std::uint64_t, StageCount> done;
   std::array<std::uint64_t, InputCount>
      inputs{}; ///< the epochs of the states that were asked for last
   std::vector<std::uint64_t>
      framesDone; ///< by link, the base first: where single links were placed

   std::uint64_t placedEpoch = 0; ///< in which `placed` were
   int placed = 0;                ///< a bound on the number of links that were placed singly

   std::vector<zqMotion::Joint> joints; ///< where those of the plan do not do
   std::vector<zqMotion::Body> bodies;  ///< with what is attached
   std::vector<zqMotion::Slot<ZqReal>> slots;
   std::vector<ZqReal> positions, velocities, accelerations, torques; ///< where a state has too few
   std::vector<ZqReal> halfCos, halfSin;
   std::vector<zqMotion::Turn<ZqReal>> turns;
   std::vector<zqMotion::Frame<ZqReal>> frames;
   std::vector<zqMotion::Vec6<ZqReal>> linkVelocities;
   std::vector<zqMotion::LinkMotion<ZqReal>> motions;
   std::vector<zqMotion::LinkForce<ZqReal>> forces, biasForces;
   std::vector<ZqReal> inverseTorques; ///< of `Forces`, without the inertia of drives
   std::vector<zqMotion::Composite<ZqReal>> composites;
   std::vector<ZqReal> composedAt; ///< the positions of joints that these are for
   std::vector<zqMotion::Place<ZqReal>> places;
   std::vector<ZqReal> axes, axisForces; ///< six rows, one number a joint
   std::vector<zqMotion::Articulated<ZqReal>> articulated;
   std::vector<ZqReal> jointAccelerations;
   std::vector<ZqReal> leastPivots; ///< to tell a pivot from rounding
   std::vector<zqMotion::InertiaBound> bounds;
   bool leastPivotsAreConstant = false; ///< as long as the plan is the same
};
