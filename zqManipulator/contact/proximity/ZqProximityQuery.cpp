#include "zqManipulator/contact/proximity/ZqProximityQuery.h"

#include "zqManipulator/contact/proximity/ZqNearLinks.h"
#include "zqManipulator/foundation/geometry/ZqShape.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <algorithm>
#include <cmath>
#include <tuple>
#include <utility>

const ZqProximityQuery::Separations&
ZqProximityQuery::closestPairs(const ZqStatedSystem& scene, ZqSystemActiveState& activeState,
                               ZqReal margin, Pairs pairs)
{
   if (!knowsModel(scene))
      takeModel(scene);
   placeBoxes(scene, activeState, margin);
   std::swap(m_kept, m_keptBefore);
   m_kept.clear();
   m_separations.clear();
   auto before = m_keptBefore.begin();
   for (const auto& bodies : m_processor.overlaps())
   {
      const Body& a = m_bodies[bodies.first];
      const Body& b = m_bodies[bodies.second];
      if (pairs == Pairs::MayCollide && !zqMayCollide(scene, a.key, b.key))
         continue;
      // Both lists are sorted.
      while (before != m_keptBefore.end() && before->bodies < bodies)
         ++before;
      const bool isKnown = before != m_keptBefore.end() && before->bodies == bodies;
      m_kept.push_back(isKnown ? std::move(*before) : Kept{bodies, {}});
      compare(a, b, margin, m_kept.back().data);
      // Of all pairs there are too many.
      if (!std::isfinite(margin))
         m_kept.pop_back();
   }
   std::sort(
      m_separations.begin(), m_separations.end(),
      [](const ZqLinkSeparation& a, const ZqLinkSeparation& b)
      { return std::tie(a.distance, a.link1, a.link2) < std::tie(b.distance, b.link1, b.link2); });
   return m_separations;
}

bool ZqProximityQuery::knowsModel(const ZqStatedSystem& scene) const
{
   const auto& manipulators = scene.system().manipulators();
   return std::equal(m_versions.begin(), m_versions.end(), manipulators.begin(), manipulators.end(),
                     [](std::uint64_t version, const ZqIndividualManipulator& manipulator)
                     { return version == manipulator.shapesVersion(); });
}

void ZqProximityQuery::takeModel(const ZqStatedSystem& scene)
{
   m_versions.clear();
   m_bodies.clear();
   m_kept.clear();
   for (ZqU32 m = 0; m < scene.numberOfManipulators(); ++m)
   {
      const ZqIndividualManipulator& manipulator = scene.system().manipulators()[m];
      m_versions.push_back(manipulator.shapesVersion());
      const ZqU32 count = manipulator.jointDof();
      for (ZqU32 i = 0; i <= count; ++i)
      {
         const ZqLinkKey key(m, i < count ? i : ZqBaseLinkIndex);
         const ZqManipulatorLink* link = manipulator.linkByIndex(key.linkIndex());
         if (link != nullptr && link->shape() != nullptr)
            m_bodies.push_back({key, nullptr, {}});
      }
   }
}

/// Links that are within the margin have boxes that meet when each is larger by half of it. Those
/// of manipulators without an active state are nowhere.
void ZqProximityQuery::placeBoxes(const ZqStatedSystem& scene, ZqSystemActiveState& activeState,
                                  ZqReal margin)
{
   auto& activeStates = activeState.manipulatorActiveStateVector();
   m_boxes.assign(m_bodies.size(), {});
   for (std::size_t i = 0; i < m_bodies.size(); ++i)
   {
      Body& body = m_bodies[i];
      const ZqU32 m = body.key.manipulatorIndex();
      if (m >= activeStates.size())
         continue;
      const ZqPlacedShape placed =
         zqPlacedShapeOf(scene.system(), body.key, activeStates[m].activePositionState());
      body.shape = placed.shape;
      body.frame = *placed.frame;
      m_boxes[i] = body.shape->axisAlignedBoundingBox(body.frame);
      m_boxes[i].enlarge(0.5 * std::max(margin, 0.0) +
                         ZqSystemActiveBoundingBoxState::slackOf(m_boxes[i]));
   }
   m_processor.setBoxes(m_boxes);
}

void ZqProximityQuery::compare(const Body& a, const Body& b, ZqReal margin,
                               ZqShapeProximityData& data)
{
   const ZqCoordinateSystemTransformation X = zqRelativeFrame(a.frame, b.frame);
   if (!ZqShapeProximityTool().distance(*a.shape, *b.shape, X, data))
      return;
   const ZqSeparation& found = data.separation();
   if (found.distance <= margin)
      m_separations.push_back({a.key, b.key, found.distance, found.error, a.frame * found.point1,
                               b.frame * found.point2, a.frame.orientation() * found.normal});
}
