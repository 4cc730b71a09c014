#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <vector>

class ZqStatedSystem;

/// Whether two scenes move alike: how far their manipulators come apart in the same states.
///
/// Manipulators and joints are matched by their labels. Their states are told from the scenes' own, so that zeros of
/// joints, their senses and frames may differ: both scenes are to be the same one in these. From there joints go as
/// far at random in both, within the limits of the first scene and up to pi, or pi metres, with rates up to 1, and
/// free bases to random places, with random velocities; a fixed base, and a joint that only one has, is where its own
/// scene has it. A joint has the sense in which, alone, it moves its link more nearly as in the first scene.
///
/// A link is where its mass is: its center is compared in each state, and its moments about that in the scenes' own.
/// One without a mass is where its primary frame or, if that stands elsewhere in the two scenes, its D-H frame is.
/// Its orientation is how far it has turned since the scenes' own states. The greatest of all deviations counts, and
/// one that is not a number is greater than any. What state equality constraints, interactions, contacts and drives do
/// beyond their inertia and friction plays no part.
struct ZqMotionDifference
{
   struct Settings
   {
      ZqU32 states = 100;
      ZqU32 seed = 1; ///< the same states come of it everywhere
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

   Deviation position;    ///< m, of links in the system
   Deviation orientation; ///< rad, of links
   Deviation mass;        ///< kg, of links
   Deviation inertia;     ///< kg m^2, of links about their centers of mass, in axes of the system
   /// Of joints and free bases under gravity, relative to the greatest of the manipulator in that state.
   Deviation acceleration;
   std::vector<ZqString> onlyInFirst;  ///< `manipulator` or `manipulator/link`
   std::vector<ZqString> onlyInSecond; ///< the same

   /// Whether there is nothing that only one has, and no deviation above the tolerance.
   bool isWithin(ZqReal tolerance) const;
};
