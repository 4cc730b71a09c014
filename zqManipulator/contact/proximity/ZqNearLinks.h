#pragma once

#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"
#include "zqManipulator/state/ZqSystemActiveBoundingBoxState.h"

class ZqManipulatorLinkProximityState;
class ZqManipulatorProximityTool;
class ZqShape;
class ZqStatedSystem;
class ZqSystemActiveState;

// What the tools of proximity have in common.

/// A link's shape and where it is.
struct ZqPlacedShape
{
   const ZqManipulatorLink* link = nullptr;
   const ZqShape* shape = nullptr; ///< null for a link without one
   /// The primary frame in the system, in the state; null without a shape.
   const ZqCoordinateSystemTransformation* frame = nullptr;
};

/// Of a manipulator that is there.
ZqPlacedShape zqPlacedShapeOf(const ZqManipulatorSystem& system, const ZqLinkKey& key,
                              ZqManipulatorActivePositionState& state);
/// Whether a system has two manipulators; else, with the name of the function and of the operation,
/// logs that it has not.
bool zqHasManipulators(const ZqManipulatorSystem& system, ZqU32 manipulator1, ZqU32 manipulator2,
                       const char* function, const char* operation);
/// Two links and the states of their manipulators.
struct ZqLinkPlaces
{
   ZqLinkKey key1, key2;
   ZqManipulatorActivePositionState& state1;
   ZqManipulatorActivePositionState& state2;
};
/// False, logged as above, when one of two links is not there.
bool zqPlaceBoth(const ZqManipulatorSystem& system, const ZqLinkPlaces& places,
                 const char* function, const char* operation, ZqPlacedShape& a, ZqPlacedShape& b);
/// Places b in the frame of a. Far from the origin of the system, places lose no more digits by it
/// than their difference does.
ZqCoordinateSystemTransformation zqRelativeFrame(const ZqCoordinateSystemTransformation& a,
                                                 const ZqCoordinateSystemTransformation& b);
/// Whether a scene lets two links collide, of one or of two manipulators.
bool zqMayCollide(const ZqStatedSystem& scene, const ZqLinkKey& a, const ZqLinkKey& b);
/// The volume in the stack of a shape at a level: the finest that is not below it, or the coarsest.
const ZqShape& zqVolumeUpTo(const ZqShape& shape, ZqU32 level);
/// The volumes of two links with shapes that count at a level, of which X places the second in the
/// frame of the first; nulls where the coarsest of all tell already that they are further apart
/// than a margin (m).
struct ZqVolumePair
{
   const ZqShape* first = nullptr;
   const ZqShape* second = nullptr;
};
ZqVolumePair zqNearVolumes(const ZqShape& shape1, const ZqShape& shape2,
                           const ZqCoordinateSystemTransformation& X, ZqU32 level, ZqReal margin);

/// The first pair of links within a margin that was found, and the nearest of those before it and
/// itself.
struct ZqFirstHit
{
   bool isHit = false;
   ZqU32 link = 0;
   ZqLinkKey other;
   ZqU32 nearestLink = 0;
   ZqLinkKey nearestOther;
   ZqReal nearestDistance = 1e300;
};

/// The links near those of a manipulator that may collide with them, and how far they are: of a
/// scene in an active state, whose records it brings up to date.
class ZqNearLinks
{
public:
   /// With the boxes of the active state, where there is no margin (m), or else with those of the
   /// distances of the manipulator.
   ZqNearLinks(const ZqManipulatorProximityTool& tool, const ZqStatedSystem& scene,
               ZqSystemActiveState& activeState, ZqReal margin, ZqU32 manipulatorIndex);
   /// Calls a function with the own link, the other one and the distance, in the order of the
   /// boxes, until it answers true. Then true.
   template <class Function>
   bool find(ZqU32 manipulatorIndex, Function function);
   ZqFirstHit findFirst(ZqU32 manipulatorIndex, ZqReal margin);

private:
   bool has(ZqU32 manipulatorIndex) const;
   void bringUpToDate();
   ZqManipulatorLinkProximityState& distancesOf(ZqU32 manipulatorIndex, ZqU32 other);
   bool distance(ZqU32 manipulatorIndex, const ZqLinkKey& a, const ZqLinkKey& b, ZqReal& distance);

   const ZqManipulatorProximityTool& m_tool;
   const ZqStatedSystem& m_scene;
   ZqSystemActiveState& m_activeState;
   ZqSystemActiveBoundingBoxState* m_boxes = nullptr;
   const ZqSystemActiveBoundingBoxState::Pairs* m_pairs =
      nullptr; ///< null when nothing is compared
};

template <class Function>
bool ZqNearLinks::find(ZqU32 manipulatorIndex, Function function)
{
   if (m_pairs == nullptr || !has(manipulatorIndex))
      return false;
   for (const ZqU32 place : m_boxes->intersectionsOf(manipulatorIndex))
   {
      const auto& [a, b] = (*m_pairs)[place];
      ZqReal found = 0.0;
      if (!zqMayCollide(m_scene, a, b) || !distance(manipulatorIndex, a, b, found))
         continue;
      const bool isFirst = a.manipulatorIndex() == manipulatorIndex;
      if (function(isFirst ? a : b, isFirst ? b : a, found))
         return true;
   }
   return false;
}
