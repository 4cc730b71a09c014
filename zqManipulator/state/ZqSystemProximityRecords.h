#pragma once

#include "zqManipulator/foundation/proximity/ZqSystemShapeCollisionCache.h"
#include "zqManipulator/state/ZqManipulatorLinkProximityState.h"

/// What an active state of a system remembers of where the links are near each other.
struct ZqSystemProximityRecords
{
   ZqSystemProximityRecords() = default;
   /// Starts without collisions.
   ZqSystemProximityRecords(const ZqSystemProximityRecords& other)
      : boxes(other.boxes), links(other.links), hasLinks(other.hasLinks), moved(other.moved),
        stamps(other.stamps), versions(other.versions),
        boundingVolumeLevel(other.boundingVolumeLevel), modifiedShapes(other.modifiedShapes),
        modifiedShape(other.modifiedShape)
   {
   }
   ZqSystemProximityRecords& operator=(const ZqSystemProximityRecords& other) = default;
   ~ZqSystemProximityRecords() = default;

   ZqSystemActiveBoundingBoxState boxes;
   ZqSystemShapeCollisionCache collisions;
   std::vector<ZqManipulatorLinkProximityState> links; ///< by manipulator
   bool hasLinks = false; ///< else they have not been asked for, and there are none

   /// By manipulator: which have moved, as setters of the state tell, since `links` were shown last.
   std::vector<bool> moved;

   /// By manipulator: what distances between its links and others were computed for last, and the number of
   /// that, which nothing else ever had.
   std::vector<ZqManipulatorStamp> stamps;
   std::vector<std::uint64_t> versions;
   ZqU32 boundingVolumeLevel = 0;

   std::vector<ZqShapeStateCacheKey> modifiedShapes;
   ZqShapeStateCacheKey modifiedShape = ZqShapeStateCacheKey::nullObject();
};
