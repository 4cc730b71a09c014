#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <vector>

class ZqStatedSystem;

/// Whether two scenes move alike: how far their manipulators come apart in the same states.
///
/// Manipulators and joints are matched by their labels. Random joint positions within the limits of the first
/// scene (of what lies beyond pi, or pi metres, up to there) and joint rates up to 1 are given to both, and random
/// places and velocities to free bases; a fixed base, and a joint that only one has, is where its own scene has
/// it. The greatest of all deviations counts, and one that is not a number is greater than any. What state
/// equality constraints, interactions, contacts and drives do beyond their inertia and friction plays no part.
struct ZqMotionDifference
{
   struct Settings
   {
      ZqU32 states = 100;
      ZqU32 seed = 1; ///< the same states come of it everywhere
      /// Joints of the second scene go as far from its state as those of the first go from theirs, and its
      /// links are where they stand in the state of the first, moved as they move: zeros of joints and primary
      /// frames may differ.
      bool startsAtStates = false;
   };
   struct Deviation
   {
      ZqReal value = 0.0;
      ZqString place;  ///< `manipulator/link`; empty where nothing deviates
      ZqU32 state = 0; ///< number of the state

      void include(ZqReal other, const ZqString& otherPlace, ZqU32 otherState);
   };

   static ZqMotionDifference between(const ZqStatedSystem& first, const ZqStatedSystem& second,
                                     const Settings& settings);

   Deviation position;    ///< m, of the origins of primary frames in the system
   Deviation orientation; ///< rad, of primary frames
   Deviation mass;        ///< kg, of links
   /// Of joints and free bases under gravity, relative to the greatest of the manipulator in that state.
   Deviation acceleration;
   std::vector<ZqString> onlyInFirst;  ///< `manipulator` or `manipulator/link`
   std::vector<ZqString> onlyInSecond; ///< the same

   /// Whether there is nothing that only one has, and no deviation above the tolerance.
   bool isWithin(ZqReal tolerance) const;
};
