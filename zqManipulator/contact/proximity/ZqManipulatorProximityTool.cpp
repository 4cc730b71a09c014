#include "zqManipulator/contact/proximity/ZqManipulatorProximityTool.h"

#include "zqManipulator/contact/proximity/ZqNearLinks.h"
#include "zqManipulator/foundation/geometry/ZqAxisAlignedBoundingBox.h"
#include "zqManipulator/foundation/geometry/ZqShape.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"

#include <boost/current_function.hpp>

#include <algorithm>
#include <array>

namespace
{
/// No two points of the boxes are nearer than this.
ZqReal gapBetween(const ZqAxisAlignedBoundingBox& a, const ZqAxisAlignedBoundingBox& b)
{
   ZqReal gap = 0.0;
   for (std::size_t i = 0; i < 3; ++i)
      gap = std::max({gap, a.lower()[i] - b.upper()[i], b.lower()[i] - a.upper()[i]});
   return gap;
}

ZqAxisAlignedBoundingBox boxOf(const ZqPlacedShape& placed, ZqU32 level)
{
   return zqVolumeUpTo(*placed.shape, level).axisAlignedBoundingBox(*placed.frame);
}
} // namespace

bool ZqManipulatorProximityTool::shapeDistance(const ZqPlacedShape& a, const ZqPlacedShape& b,
                                               ZqReal& distance, ZqVector* points) const
{
   if (a.shape == nullptr || b.shape == nullptr)
      return false;
   const ZqShape& shape1 = zqVolumeUpTo(*a.shape, m_boundingVolumeLevel);
   const ZqShape& shape2 = zqVolumeUpTo(*b.shape, m_boundingVolumeLevel);
   const ZqCoordinateSystemTransformation X = zqRelativeFrame(*a.frame, *b.frame);
   if (points == nullptr)
      return m_shapeProximityTool.distance(shape1, shape2, X, distance);
   if (!m_shapeProximityTool.distance(shape1, shape2, X, points[0], points[1], distance))
      return false;
   points[0] = *a.frame * points[0];
   points[1] = *b.frame * points[1];
   return true;
}

bool ZqManipulatorProximityTool::checkLinkCollision(ZqU32 manipulator1, ZqU32 link1,
                                                    ZqU32 manipulator2, ZqU32 link2,
                                                    const ZqStatedSystem& scene,
                                                    ZqManipulatorActivePositionState& state1,
                                                    ZqManipulatorActivePositionState& state2,
                                                    ZqReal margin) const
{
   const ZqManipulatorSystem& system = scene.system();
   ZqPlacedShape a, b;
   if (!zqPlaceBoth(system, {{manipulator1, link1}, {manipulator2, link2}, state1, state2},
                    BOOST_CURRENT_FUNCTION, "ZqManipulatorProximityTool::checkLinkCollision", a, b))
      return false;
   if (!scene.canCollide(manipulator1, link1, manipulator2, link2, false) || a.shape == nullptr ||
       b.shape == nullptr)
      return false;
   const ZqCoordinateSystemTransformation X = zqRelativeFrame(*a.frame, *b.frame);
   const auto [first, second] = zqNearVolumes(*a.shape, *b.shape, X, m_boundingVolumeLevel, margin);
   ZqReal distance = 0.0;
   return first != nullptr && m_shapeProximityTool.distance(*first, *second, X, distance) &&
          distance <= margin;
}

bool ZqManipulatorProximityTool::checkManipulatorCollision(
   ZqU32 manipulatorIndex, const ZqStatedSystem& scene, ZqSystemActiveState& activeState,
   ZqReal margin, std::vector<LinkKeyCollisionPair>& pairs) const
{
   const std::size_t before = pairs.size();
   ZqNearLinks(*this, scene, activeState, margin, manipulatorIndex)
      .find(manipulatorIndex,
            [&](const ZqLinkKey& own, const ZqLinkKey& other, ZqReal distance)
            {
               if (distance <= margin)
                  pairs.push_back({own.manipulatorIndex(), own.linkIndex(),
                                   other.manipulatorIndex(), other.linkIndex(), distance});
               return false;
            });
   return pairs.size() > before;
}

bool ZqManipulatorProximityTool::checkManipulatorCollision(
   ZqU32 manipulatorIndex, const ZqStatedSystem& scene, ZqSystemActiveState& activeState,
   ZqReal margin, ZqU32& contactLink, ZqU32& otherManipulator, ZqU32& otherLink, ZqU32& nearestLink,
   ZqU32& nearestManipulator, ZqU32& nearestOtherLink, ZqReal& nearestDistance) const
{
   const ZqFirstHit hit = ZqNearLinks(*this, scene, activeState, margin, manipulatorIndex)
                             .findFirst(manipulatorIndex, margin);
   contactLink = hit.link;
   otherManipulator = hit.other.manipulatorIndex();
   otherLink = hit.other.linkIndex();
   nearestLink = hit.nearestLink;
   nearestManipulator = hit.nearestOther.manipulatorIndex();
   nearestOtherLink = hit.nearestOther.linkIndex();
   nearestDistance = hit.nearestDistance;
   return hit.isHit;
}

bool ZqManipulatorProximityTool::linkToLinkDistance(ZqU32 manipulator1, ZqU32 link1,
                                                    ZqU32 manipulator2, ZqU32 link2,
                                                    const ZqManipulatorSystem& system,
                                                    ZqManipulatorActivePositionState& state1,
                                                    ZqManipulatorActivePositionState& state2,
                                                    ZqReal& distance) const
{
   ZqPlacedShape a, b;
   if (!zqPlaceBoth(system, {{manipulator1, link1}, {manipulator2, link2}, state1, state2},
                    BOOST_CURRENT_FUNCTION, "ZqManipulatorProximityTool::linkToLinkDistance", a, b))
      return false;
   return shapeDistance(a, b, distance, nullptr);
}

bool ZqManipulatorProximityTool::linkToLinkDistanceAndWitnessPoints(
   ZqU32 manipulator1, ZqU32 link1, ZqU32 manipulator2, ZqU32 link2,
   const ZqManipulatorSystem& system, ZqManipulatorActivePositionState& state1,
   ZqManipulatorActivePositionState& state2, ZqReal& distance, ZqVector& point1,
   ZqVector& point2) const
{
   ZqPlacedShape a, b;
   if (!zqPlaceBoth(system, {{manipulator1, link1}, {manipulator2, link2}, state1, state2},
                    BOOST_CURRENT_FUNCTION,
                    "ZqManipulatorProximityTool::linkToLinkDistanceAndWitnessPoints", a, b))
      return false;
   std::array<ZqVector, 2> points;
   if (!shapeDistance(a, b, distance, points.data()))
      return false;
   point1 = points[0];
   point2 = points[1];
   return true;
}

/// The nearest pair of links, the first of those equally near. A pair of which the boxes are
/// further apart than the nearest so far is passed over.
bool ZqManipulatorProximityTool::manipulatorDistance(ZqU32 manipulator1, ZqU32 manipulator2,
                                                     const ZqManipulatorSystem& system,
                                                     ZqManipulatorActivePositionState& state1,
                                                     ZqManipulatorActivePositionState& state2,
                                                     ZqReal& distance, ZqVector* points) const
{
   distance = 1e300;
   const auto forEachShape = [&](ZqU32 manipulator, auto& state, auto function)
   {
      const ZqU32 count = system.jointDof(manipulator);
      for (ZqU32 i = 0; i <= count; ++i)
      {
         const ZqLinkKey key(manipulator, i < count ? i : ZqBaseLinkIndex);
         const ZqPlacedShape placed = zqPlacedShapeOf(system, key, state);
         if (placed.shape != nullptr)
            function(placed, boxOf(placed, m_boundingVolumeLevel));
      }
   };
   // What boxes and distances may be off by.
   const auto isFurther = [&](ZqReal gap) { return gap * (1.0 - 1e-9) > std::max(distance, 0.0); };
   forEachShape(manipulator1, state1,
                [&](const ZqPlacedShape& a, const ZqAxisAlignedBoundingBox& boxOfA)
                {
                   forEachShape(manipulator2, state2,
                                [&](const ZqPlacedShape& b, const ZqAxisAlignedBoundingBox& boxOfB)
                                {
                                   std::array<ZqVector, 2> found;
                                   ZqReal d = 0.0;
                                   if (isFurther(gapBetween(boxOfA, boxOfB)) ||
                                       !shapeDistance(a, b, d, points ? found.data() : nullptr) ||
                                       !(d < distance))
                                      return;
                                   distance = d;
                                   if (points != nullptr)
                                      std::copy(found.begin(), found.end(), points);
                                });
                });
   return true;
}

bool ZqManipulatorProximityTool::manipulatorToManipulatorDistance(
   ZqU32 manipulator1, ZqU32 manipulator2, const ZqManipulatorSystem& system,
   ZqManipulatorActivePositionState& state1, ZqManipulatorActivePositionState& state2,
   ZqReal& distance) const
{
   if (!zqHasManipulators(system, manipulator1, manipulator2, BOOST_CURRENT_FUNCTION,
                          "ZqManipulatorProximityTool::manipulatorToManipulatorDistance"))
      return false;
   return manipulatorDistance(manipulator1, manipulator2, system, state1, state2, distance,
                              nullptr);
}

bool ZqManipulatorProximityTool::manipulatorToManipulatorDistanceAndWitnessPoints(
   ZqU32 manipulator1, ZqU32 manipulator2, const ZqManipulatorSystem& system,
   ZqManipulatorActivePositionState& state1, ZqManipulatorActivePositionState& state2,
   ZqReal& distance, ZqVector& point1, ZqVector& point2) const
{
   if (!zqHasManipulators(
          system, manipulator1, manipulator2, BOOST_CURRENT_FUNCTION,
          "ZqManipulatorProximityTool::manipulatorToManipulatorDistanceAndWitnessPoints"))
      return false;
   std::array<ZqVector, 2> points{point1, point2};
   const bool isFound = manipulatorDistance(manipulator1, manipulator2, system, state1, state2,
                                            distance, points.data());
   point1 = points[0];
   point2 = points[1];
   return isFound;
}
