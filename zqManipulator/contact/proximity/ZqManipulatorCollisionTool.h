#pragma once

#include "zqManipulator/contact/proximity/ZqManipulatorProximityTool.h"
#include "zqManipulator/foundation/proximity/ZqShapeCollisionTool.h"

class ZqManipulatorActiveState;
class ZqManipulatorLink;

/// Finds where two links touch, and leaves records of it in the cache of an active state, for those
/// who compute contact forces.
///
/// Links far apart are told so by their coarsest volumes; of close ones the volumes of the tool's
/// level count, which is 1 at first. A tool and an active state serve one thread at a time.
class ZqManipulatorCollisionTool : public ZqShapeCollisionTool
{
public:
   /// Looks at two links. False always: what it found stands in the cache.
   bool computeLinkCollisionData(ZqU32 manipulator1, ZqU32 link1, ZqU32 manipulator2, ZqU32 link2,
                                 const ZqManipulatorSystem& system,
                                 ZqSystemActiveState& activeState) const;

   /// Has the records of manipulators that were changed since the last look not be valid: they
   /// would tell of shapes and links that are gone. Every look does it; who walks over the records
   /// without one calls it before.
   void followModel(const ZqManipulatorSystem& system, ZqSystemActiveState& activeState) const;

   ZqU32 boundingVolumeLevel() const noexcept { return m_boundingVolumeLevel; }
   void setBoundingVolumeLevel(ZqU32 level) noexcept { m_boundingVolumeLevel = level; }

protected:
   /// Places link 2 in the frame of link 1, both by their primary frames.
   ZqCoordinateSystemTransformation
   computeShape2In1Transform(const ZqManipulatorLink& link1, const ZqManipulatorLink& link2,
                             ZqManipulatorActivePositionState& state1,
                             ZqManipulatorActivePositionState& state2) const;
   /// Adds to a record what the system knows: the normal and the line of action, and the velocities of
   /// the primary frames, now and when they were stored last. A record without points is logged, and
   /// the middle of its deepest points taken to be the unit vector along y.
   void computeAndStoreCollisionInformation(const ZqShapeKey& key1, const ZqShapeKey& key2,
                                            const ZqManipulatorLink& link1,
                                            const ZqManipulatorLink& link2,
                                            ZqManipulatorActiveState& activeState1,
                                            ZqManipulatorActiveState& activeState2,
                                            ZqShapeCollisionData& collisionData) const;

private:
   ZqU32 m_boundingVolumeLevel = 1;
   mutable std::vector<ZqShapeProximityKey> m_touching; ///< of the last look
   mutable std::vector<std::uint64_t> m_versions;       ///< of the model
};
