#pragma once

#include "zqManipulator/foundation/proximity/ZqShapeProximityTool.h"

#include <vector>

class ZqManipulatorActivePositionState;
class ZqManipulatorSystem;
class ZqStatedSystem;
class ZqSystemActiveState;
struct ZqPlacedShape;

/// Two links that are near each other, as `checkManipulatorCollision` tells them.
struct LinkKeyCollisionPair
{
   ZqU32 manipulatorIndex; ///< that was asked for
   ZqU32 linkIndex;        ///< of that manipulator
   ZqU32 otherManipulatorIndex;
   ZqU32 otherLinkIndex;
   ZqReal distance; ///< m, negative where they overlap
};

/// How far links and manipulators are from each other. `ZqBaseLinkIndex` is the base of a
/// manipulator.
///
/// A link that has bounding volumes is compared by the one of the tool's level, or by the coarsest
/// below it. The level is 1 at first: where links have volumes around their shapes, these are what
/// is compared, unless the level is set to 0.
///
/// Manipulators and links that are not there are rejected with a message. All distances are signed
/// (m), and negative where shapes overlap; links without a shape have none. A tool serves any
/// number of threads, an active state one.
class ZqManipulatorProximityTool
{
public:
   /// Whether two links are within a margin (m) of each other; false also for links that the scene
   /// excludes from collisions with each other. Links far apart are told so by their coarsest
   /// volumes; of close ones the volumes of the tool's level count.
   bool checkLinkCollision(ZqU32 manipulator1, ZqU32 link1, ZqU32 manipulator2, ZqU32 link2,
                           const ZqStatedSystem& scene, ZqManipulatorActivePositionState& state1,
                           ZqManipulatorActivePositionState& state2, ZqReal margin) const;
   /// Appends the pairs of links within a margin of each other in which a manipulator takes part,
   /// its own link first, as the scene lets them collide. Whether there are any.
   ///
   /// Pairs of which the boxes around the true shapes are apart by more than the margin are none,
   /// of whatever level. Distances are remembered by the active state as long as they are right.
   bool checkManipulatorCollision(ZqU32 manipulatorIndex, const ZqStatedSystem& scene,
                                  ZqSystemActiveState& activeState, ZqReal margin,
                                  std::vector<LinkKeyCollisionPair>& pairs) const;
   /// The same up to the first pair within the margin, which it answers for. The nearest pair is
   /// that of those that were looked at until then; 0 and 1e300 when there were none.
   /// `ZqProximityQuery` tells the nearest pairs of all.
   bool checkManipulatorCollision(ZqU32 manipulatorIndex, const ZqStatedSystem& scene,
                                  ZqSystemActiveState& activeState, ZqReal margin,
                                  ZqU32& contactLink, ZqU32& otherManipulator, ZqU32& otherLink,
                                  ZqU32& nearestLink, ZqU32& nearestManipulator,
                                  ZqU32& nearestOtherLink, ZqReal& nearestDistance) const;
   /// False, and no change, when either has no shape.
   bool linkToLinkDistance(ZqU32 manipulator1, ZqU32 link1, ZqU32 manipulator2, ZqU32 link2,
                           const ZqManipulatorSystem& system,
                           ZqManipulatorActivePositionState& state1,
                           ZqManipulatorActivePositionState& state2, ZqReal& distance) const;
   /// The same with the nearest or deepest points, in the system.
   bool linkToLinkDistanceAndWitnessPoints(ZqU32 manipulator1, ZqU32 link1, ZqU32 manipulator2,
                                           ZqU32 link2, const ZqManipulatorSystem& system,
                                           ZqManipulatorActivePositionState& state1,
                                           ZqManipulatorActivePositionState& state2,
                                           ZqReal& distance, ZqVector& point1,
                                           ZqVector& point2) const;
   /// Of all pairs of links of two manipulators; 1e300 when there is none with shapes.
   bool manipulatorToManipulatorDistance(ZqU32 manipulator1, ZqU32 manipulator2,
                                         const ZqManipulatorSystem& system,
                                         ZqManipulatorActivePositionState& state1,
                                         ZqManipulatorActivePositionState& state2,
                                         ZqReal& distance) const;
   bool manipulatorToManipulatorDistanceAndWitnessPoints(ZqU32 manipulator1, ZqU32 manipulator2,
                                                         const ZqManipulatorSystem& system,
                                                         ZqManipulatorActivePositionState& state1,
                                                         ZqManipulatorActivePositionState& state2,
                                                         ZqReal& distance, ZqVector& point1,
                                                         ZqVector& point2) const;

   ZqU32 boundingVolumeLevel() const noexcept { return m_boundingVolumeLevel; }
   void setBoundingVolumeLevel(ZqU32 level) noexcept { m_boundingVolumeLevel = level; }

private:
   bool shapeDistance(const ZqPlacedShape& a, const ZqPlacedShape& b, ZqReal& distance,
                      ZqVector* points) const;
   bool manipulatorDistance(ZqU32 manipulator1, ZqU32 manipulator2,
                            const ZqManipulatorSystem& system,
                            ZqManipulatorActivePositionState& state1,
                            ZqManipulatorActivePositionState& state2, ZqReal& distance,
                            ZqVector* points) const;

   ZqShapeProximityTool m_shapeProximityTool;
   ZqU32 m_boundingVolumeLevel = 1;
};
