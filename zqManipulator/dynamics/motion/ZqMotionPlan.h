#pragma once

#include "zqManipulator/dynamics/motion/ZqMotionTree.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"

#include <cstdint>
#include <vector>

/// A manipulator as plain numbers: what `zqMotion::Tree` looks into. It does not change once it is made, and
/// serves any number of threads.
struct ZqMotionPlan
{
   std::vector<zqMotion::Joint> joints;
   std::vector<zqMotion::Body> linkBodies; ///< the following with nothing at the base
   std::vector<zqMotion::Body> bodies;     ///< that of the base first
   std::vector<ZqCoordinateSystemTransformation> primaryFrames; ///< in the DH frames
   std::vector<ZqU32> slotLinks; ///< the links whose joints are of the kind `Slot`
   bool anyPrismatic = false;
   /// Changes with the model: references have that of the manipulator whose links they have.
   std::uint64_t model = 0;
   /// The base is of a class of a user, whose queries may answer otherwise than the library's.
   bool hasOwnBase = false;
   bool anySpringOrDamper = false;
   bool anyLimitConstraint = false; ///< at any link: a limit that depends on several joints
   bool anyDrive = false;           ///< a mechanical component at any joint
   /// A drive of a class that is not the library's: its inertia may depend on the position.
   bool anyOwnDrive = false;

   zqMotion::Tree tree() const noexcept
   {
      return {static_cast<int>(joints.size()), static_cast<int>(slotLinks.size()), anyPrismatic,
              joints.data(), bodies.data()};
   }
};
