#pragma once

#include "zqManipulator/foundation/proximity/ZqSystemShapeCollisionCache.h"
#include "zqManipulator/state/ZqManipulatorLinkProximityState.h"

/// What an active state of a system remembers of where the links are near each other.
struct ZqSystemProximityRecords
{
   ZqSystemProximityRecords() = default;
   /// Starts without collisions.
   ZqSystemProximityRecords(const ZqSystemProximityRecords& other)
      : boxes(other.boxes), links(other.links), hasLinks(other.hasLinks), stamps(other.stamps),
        generation(other.generation), boundingVolumeLevel(other.boundingVolumeLevel),
        modifiedShapes(other.modifiedShapes), modifiedShape(other.modifiedShape)
   {
   }
   ZqSystemProximityRecords& operator=(const ZqSystemProximityRecords& other) = default;
   ~ZqSystemProximityRecords() = default;

   ZqSystemActiveBoundingBoxState boxes;
   ZqSystemShapeCollisionCache collisions;
   std::vector<ZqManipulatorLinkProximityState> links; ///< by manipulator
   bool hasLinks = false; ///< else they have not been asked for, and there are none

   /// What distances between links were computed for last, by manipulator. No two generations have one
   /// number.
   std::vector<ZqManipulatorStamp> stamps;
   std::uint64_t generation = 0;
   ZqU32 boundingVolumeLevel = 0;

   std::vector<ZqShapeStateCacheKey> modifiedShapes;
   ZqShapeStateCacheKey modifiedShape = ZqShapeStateCacheKey::nullObject();
};
