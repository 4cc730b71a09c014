#include "zqManipulator/contact/proximity/ZqNearLinks.h"

#include "zqManipulator/contact/proximity/ZqManipulatorProximityTool.h"
#include "zqManipulator/contact/proximity/ZqManipulatorStampOf.h"
#include "zqManipulator/foundation/geometry/ZqShape.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/state/ZqEpoch.h"
#include "zqManipulator/state/ZqSystemActiveState.h"
#include "zqManipulator/state/ZqSystemProximityRecords.h"

#include <algorithm>

ZqPlacedShape zqPlacedShapeOf(const ZqManipulatorSystem& system, const ZqLinkKey& key,
                              ZqManipulatorActivePositionState& state)
{
   const ZqIndividualManipulator& manipulator = system.manipulators()[key.manipulatorIndex()];
   ZqPlacedShape result;
   result.link = manipulator.linkByIndex(key.linkIndex());
   result.shape = result.link != nullptr ? result.link->shape() : nullptr;
   if (result.shape == nullptr)
      return result;
   manipulator.placeBase(state);
   result.frame = &result.link->primaryFrameInSystem(state);
   return result;
}

bool zqHasManipulators(const ZqManipulatorSystem& system, ZqU32 manipulator1, ZqU32 manipulator2,
                       const char* function, const char* operation)
{
   if (std::max(manipulator1, manipulator2) < system.numberOfManipulators())
      return true;
   Zq::Print::instance().write(Zq::Rejected, "%s: %s-->Invalid Manipulator ID\n", function,
                               operation);
   return false;
}

bool zqPlaceBoth(const ZqManipulatorSystem& system, const ZqLinkPlaces& places,
                 const char* function, const char* operation, ZqPlacedShape& a, ZqPlacedShape& b)
{
   if (!zqHasManipulators(system, places.key1.manipulatorIndex(), places.key2.manipulatorIndex(),
                          function, operation))
      return false;
   a = zqPlacedShapeOf(system, places.key1, places.state1);
   b = zqPlacedShapeOf(system, places.key2, places.state2);
   if (a.link != nullptr && b.link != nullptr)
      return true;
   Zq::Print::instance().write(Zq::Rejected, "%s: %s-->Null link pointer\n", function, operation);
   return false;
}

ZqCoordinateSystemTransformation zqRelativeFrame(const ZqCoordinateSystemTransformation& a,
                                                 const ZqCoordinateSystemTransformation& b)
{
   const ZqOrientation inverse = a.orientation().inverse();
   return {inverse * (b.translation() - a.translation()), inverse * b.orientation()};
}

bool zqMayCollide(const ZqStatedSystem& scene, const ZqLinkKey& a, const ZqLinkKey& b)
{
   const ZqU32 m = a.manipulatorIndex();
   if (m == b.manipulatorIndex())
      return scene.system().manipulators()[m].canCollide(a.linkIndex(), b.linkIndex());
   return scene.canCollide(m, a.linkIndex(), b.manipulatorIndex(), b.linkIndex(), false);
}

const ZqShape& zqVolumeUpTo(const ZqShape& shape, ZqU32 level)
{
   const ZqShape* volume = &shape;
   while (volume->volumeLevel() < level && volume->coarserVolume() != nullptr)
      volume = volume->coarserVolume();
   return *volume;
}

/// The same from the coarsest: the coarsest that is not above the level, or the finest.
static const ZqShape& volumeDownTo(const ZqShape& coarsest, ZqU32 level)
{
   const ZqShape* volume = &coarsest;
   while (volume->volumeLevel() > level && volume->finerVolume() != nullptr)
      volume = volume->finerVolume();
   return *volume;
}

ZqVolumePair zqNearVolumes(const ZqShape& shape1, const ZqShape& shape2,
                           const ZqCoordinateSystemTransformation& X, ZqU32 level, ZqReal margin)
{
   const ZqShape& coarsest1 = zqVolumeUpTo(shape1, ZqNoLinkIndex);
   const ZqShape& coarsest2 = zqVolumeUpTo(shape2, ZqNoLinkIndex);
   ZqReal distance = 0.0;
   if (std::max(coarsest1.volumeLevel(), coarsest2.volumeLevel()) > level &&
       (!ZqShapeProximityTool().distance(coarsest1, coarsest2, X, distance) || distance > margin))
      return {};
   return {&volumeDownTo(coarsest1, level), &volumeDownTo(coarsest2, level)};
}

ZqNearLinks::ZqNearLinks(const ZqManipulatorProximityTool& tool, const ZqStatedSystem& scene,
                         ZqSystemActiveState& activeState, ZqReal margin, ZqU32 manipulatorIndex)
   : m_tool(tool), m_scene(scene), m_activeState(activeState)
{
   if (!has(manipulatorIndex))
      return;
   bringUpToDate();
   m_boxes = &activeState.systemActiveBoundingBoxState();
   if (margin != 0.0)
   {
      m_boxes =
         &activeState.proximityRecords().links[manipulatorIndex].systemActiveBoundingBoxState();
      if (m_boxes->tolerance() < margin)
         m_boxes->setTolerance(margin);
   }
   m_pairs = &m_boxes->intersectionList(scene.system(), activeState.manipulatorActiveStateVector());
}

/// What a manipulator remembers, without what is not right any more of a pair.
ZqManipulatorLinkProximityState& ZqNearLinks::distancesOf(ZqU32 manipulatorIndex, ZqU32 other)
{
   ZqSystemProximityRecords& records = m_activeState.proximityRecords();
   ZqManipulatorLinkProximityState& distances = records.links[manipulatorIndex];
   if (!distances.isInitialized())
      distances.initialize(manipulatorIndex, m_scene.system());
   distances.follow(manipulatorIndex, records.versions[manipulatorIndex]);
   distances.follow(other, records.versions[other]);
   return distances;
}

bool ZqNearLinks::has(ZqU32 manipulatorIndex) const
{
   return manipulatorIndex < std::min(m_scene.numberOfManipulators(),
                                      m_activeState.manipulatorActiveStateVector().size());
}

/// Numbers anew whatever is not as it was when distances were computed last: manipulators that
/// moved in whatever way, models that changed, and all at another level.
void ZqNearLinks::bringUpToDate()
{
   const auto& manipulators = m_scene.system().manipulators();
   auto& activeStates = m_activeState.manipulatorActiveStateVector();
   ZqSystemProximityRecords& records = m_activeState.proximityRecords();
   const ZqU32 count = std::min(manipulators.size(), activeStates.size());
   // A change of one manipulator may have left less than one for each.
   if (records.links.size() < count)
      records.links.resize(count);
   const bool isOtherLevel = records.boundingVolumeLevel != m_tool.boundingVolumeLevel();
   records.boundingVolumeLevel = m_tool.boundingVolumeLevel();
   records.stamps.resize(count);
   records.versions.resize(count);
   for (ZqU32 m = 0; m < count; ++m)
   {
      ZqManipulatorActivePositionState& state = activeStates[m].activePositionState();
      manipulators[m].placeBase(state);
      const ZqManipulatorStamp stamp = zqStampOf(manipulators[m], state);
      if (stamp == records.stamps[m] && records.versions[m] != 0 && !isOtherLevel)
         continue;
      records.stamps[m] = stamp;
      records.versions[m] = zqNextEpoch();
   }
}

/// That which is remembered by either manipulator, or else computes it. False when there is none.
bool ZqNearLinks::distance(ZqU32 manipulatorIndex, const ZqLinkKey& a, const ZqLinkKey& b,
                           ZqReal& distance)
{
   const ZqU32 other =
      a.manipulatorIndex() == manipulatorIndex ? b.manipulatorIndex() : a.manipulatorIndex();
   ZqManipulatorLinkProximityState& own = distancesOf(manipulatorIndex, other);
   if (own.isValid(a, b))
   {
      distance = own.getDistance(a, b);
      return true;
   }
   ZqManipulatorLinkProximityState& others = distancesOf(other, manipulatorIndex);
   if (others.isValid(a, b))
      distance = others.getDistance(a, b);
   else
   {
      auto& activeStates = m_activeState.manipulatorActiveStateVector();
      if (!m_tool.linkToLinkDistance(
             a.manipulatorIndex(), a.linkIndex(), b.manipulatorIndex(), b.linkIndex(),
             m_scene.system(), activeStates[a.manipulatorIndex()].activePositionState(),
             activeStates[b.manipulatorIndex()].activePositionState(), distance))
         return false;
   }
   own.setDistance(a, b, distance);
   return true;
}

ZqFirstHit ZqNearLinks::findFirst(ZqU32 manipulatorIndex, ZqReal margin)
{
   ZqFirstHit result;
   result.isHit = find(manipulatorIndex,
                       [&](const ZqLinkKey& own, const ZqLinkKey& other, ZqReal distance)
                       {
                          if (distance < result.nearestDistance)
                          {
                             result.nearestLink = own.linkIndex();
                             result.nearestOther = other;
                             result.nearestDistance = distance;
                          }
                          if (!(distance <= margin))
                             return false;
                          result.link = own.linkIndex();
                          result.other = other;
                          return true;
                       });
   return result;
}
