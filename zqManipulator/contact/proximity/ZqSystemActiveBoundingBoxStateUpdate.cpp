#include "zqManipulator/contact/proximity/ZqManipulatorStampOf.h"
#include "zqManipulator/foundation/geometry/ZqShape.h"
#include "zqManipulator/foundation/proximity/ZqAxisAlignedBoundingBoxTool.h"
#include "zqManipulator/kinematics/system/ZqManipulatorSystem.h"
#include "zqManipulator/state/ZqManipulatorActiveState.h"
#include "zqManipulator/state/ZqSystemActiveBoundingBoxState.h"

#include <algorithm>
#include <cmath>

namespace
{
ZqAxisAlignedBoundingBox boxOf(const ZqShape& shape, const ZqCoordinateSystemTransformation& frame)
{
   ZqAxisAlignedBoundingBox box;
   ZqAxisAlignedBoundingBoxTool().axisAlignedBoundingBoxInSystem(frame, shape, box);
   return box;
}

/// Of the corner of a box that is furthest from the origin.
ZqReal reachOf(const ZqAxisAlignedBoundingBox& box)
{
   ZqVector corner;
   for (std::size_t i = 0; i < 3; ++i)
      corner[i] = std::max(std::abs(box.lower()[i]), std::abs(box.upper()[i]));
   return corner.mag();
}

/// Calls a function with the index of each link of a manipulator, as boxes are numbered.
template <class Function>
void forEachLink(const ZqIndividualManipulator& manipulator, Function function)
{
   const ZqU32 count = manipulator.jointDof();
   for (ZqU32 i = 0; i < count; ++i)
      function(i);
   function(ZqBaseLinkIndex);
}
} // namespace

void ZqSystemActiveBoundingBoxState::intervalIDtoShapeKeyID(const ZqU32& intervalID,
                                                            const ZqManipulatorSystem& system,
                                                            ZqShapeKey& key) const
{
   ZqU32 rest = intervalID;
   for (ZqU32 i = 0; i < system.numberOfManipulators(); ++i)
   {
      const ZqU32 linkCount = system.jointDof(i);
      if (rest <= linkCount)
      {
         key.setManipulatorIndex(i);
         key.setLinkIndex(rest == linkCount ? ZqBaseLinkIndex : rest);
         return;
      }
      rest -= linkCount + 1;
   }
}

void ZqSystemActiveBoundingBoxState::shapeKeyIDToIntervalID(const ZqShapeKey& key,
                                                            const ZqManipulatorSystem& system,
                                                            ZqU32& intervalID) const
{
   if (key.manipulatorIndex() >= system.numberOfManipulators())
      return;
   const ZqU32 linkCount = system.jointDof(key.manipulatorIndex());
   const ZqU32 place = key.linkIndex() == ZqBaseLinkIndex ? linkCount : key.linkIndex();
   if (place > linkCount || (place == linkCount && key.linkIndex() != ZqBaseLinkIndex))
      return;
   intervalID = place;
   for (ZqU32 i = 0; i < key.manipulatorIndex(); ++i)
      intervalID += system.jointDof(i) + 1;
}

void ZqSystemActiveBoundingBoxState::buildAABBDatabase(const ZqManipulatorSystem& system,
                                                       ActiveStates& activeStates)
{
   m_ranges.clear();
   m_intervals.clear();
   m_boxes.clear();
   m_stamps.clear();
   m_isInitialized = false;
   m_isSorted = false;
   const ZqU32 count = std::min(system.numberOfManipulators(), activeStates.size());
   if (count == 0)
   {
      m_processor.setBoxes({});
      return;
   }
   for (ZqU32 m = 0; m < count; ++m)
   {
      const ZqIndividualManipulator& manipulator = system.manipulators()[m];
      ZqManipulatorActivePositionState& state = activeStates[m].activePositionState();
      manipulator.placeBase(state);
      m_ranges.push_back({static_cast<ZqU32>(m_intervals.size()), manipulator.jointDof()});
      m_stamps.push_back(zqStampOf(manipulator, state));
      forEachLink(manipulator,
                  [&](ZqU32 index) {
                     addInterval(manipulator.linkByIndex(index), {m, index}, state);
                  });
   }
   std::vector<ZqAxisAlignedBoundingBox> boxes(m_boxes.size());
   for (ZqU32 i = 0; i < boxes.size(); ++i)
      boxes[i] = searchBox(i);
   m_processor.setBoxes(boxes);
   m_isInitialized = true;
}

void ZqSystemActiveBoundingBoxState::addInterval(const ZqManipulatorLink* link, ZqLinkKey key,
                                                 ZqManipulatorActivePositionState& state)
{
   Interval interval;
   interval.key = key;
   const ZqShape* const shape = link != nullptr ? link->shape() : nullptr;
   interval.hasShape = shape != nullptr;
   if (shape != nullptr)
      interval.reach = reachOf(boxOf(*shape, ZqCoordinateSystemTransformation::identity()));
   m_intervals.push_back(interval);
   // Who has no shape shows the box before.
   m_boxes.push_back(m_boxes.empty() ? ZqAxisAlignedBoundingBox() : m_boxes.back());
   if (shape == nullptr)
      return;
   const auto& frame = link->primaryFrameInSystem(state);
   place(static_cast<ZqU32>(m_intervals.size() - 1), frame, boxOf(*shape, frame));
}

void ZqSystemActiveBoundingBoxState::updateLinkPosition(const ZqManipulatorLink& link,
                                                        const ZqIndividualManipulator& manipulator,
                                                        ZqManipulatorActivePositionState& state)
{
   const ZqU32 interval = intervalOf(manipulator.manipulatorIndex(), link.linkIndex());
   const ZqShape* const shape = link.shape();
   if (interval == ZqNoLinkIndex || shape == nullptr || !m_intervals[interval].hasShape)
      return;
   const auto& frame = link.primaryFrameInSystem(state);
   if (isCovered(m_intervals[interval], frame))
      return;
   place(interval, frame, boxOf(*shape, frame));
   m_processor.updateBox(interval, searchBox(interval));
   m_isSorted = false;
}

void ZqSystemActiveBoundingBoxState::updateBoxPositions(const ZqManipulatorSystem& system,
                                                        ActiveStates& activeStates)
{
   if (!isOf(system, activeStates))
   {
      buildAABBDatabase(system, activeStates);
      return;
   }
   for (ZqU32 m = 0; m < m_ranges.size(); ++m)
   {
      const ZqIndividualManipulator& manipulator = system.manipulators()[m];
      ZqManipulatorActivePositionState& state = activeStates[m].activePositionState();
      manipulator.placeBase(state);
      const ZqManipulatorStamp stamp = zqStampOf(manipulator, state);
      if (stamp == m_stamps[m])
         continue;
      forEachLink(manipulator,
                  [&](ZqU32 index)
                  {
                     if (const ZqManipulatorLink* link = manipulator.linkByIndex(index))
                        updateLinkPosition(*link, manipulator, state);
                  });
      m_stamps[m] = stamp;
   }
   sortDatabase();
}

/// Whether the boxes are those of this model.
bool ZqSystemActiveBoundingBoxState::isOf(const ZqManipulatorSystem& system,
                                          const ActiveStates& activeStates) const
{
   const auto& manipulators = system.manipulators();
   if (!m_isInitialized || m_ranges.size() != std::min(manipulators.size(), activeStates.size()))
      return false;
   for (ZqU32 m = 0; m < m_ranges.size(); ++m)
      if (m_stamps[m].model != manipulators[m].shapesVersion())
         return false;
   return true;
}

const ZqSystemActiveBoundingBoxState::Pairs&
ZqSystemActiveBoundingBoxState::intersectionList(const ZqManipulatorSystem& system,
                                                 ActiveStates& activeStates)
{
   updateBoxPositions(system, activeStates);
   if (!m_isSorted)
      takePairs();
   m_isSorted = true;
   return m_pairs;
}
