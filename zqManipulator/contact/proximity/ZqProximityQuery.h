#pragma once

#include "zqManipulator/foundation/geometry/ZqAxisAlignedBoundingBox.h"
#include "zqManipulator/foundation/proximity/ZqIntervalIntersectionProcessor.h"
#include "zqManipulator/foundation/proximity/ZqShapeKeys.h"
#include "zqManipulator/foundation/proximity/ZqShapeProximityTool.h"

#include <cstdint>
#include <limits>
#include <vector>

class ZqShape;
class ZqStatedSystem;
class ZqSystemActiveState;

/// How near two links are: all in the system.
struct ZqLinkSeparation
{
   ZqLinkKey link1;
   ZqLinkKey link2;
   ZqReal distance; ///< m; of links that overlap, minus the least translation that parts them
   ZqReal error;    ///< what the distance may be off by, as in `ZqSeparation`
   ZqVector point1; ///< nearest to link 2, or deepest in it
   ZqVector point2;
   ZqVector normal; ///< unit, from link 1 to link 2
};

/// The pairs of links of a scene that are near each other, the nearest first.
///
/// It compares the true shapes, of every pair within the margin and of no other, and keeps what the
/// next query may begin with: where little moves, that costs little, and allocates nothing. Nothing
/// that it keeps can make an answer wrong: another state, another model or another scene are seen.
/// Answers with and without it agree within their error. A query serves one thread.
///
///     ZqProximityQuery query;
///     for (const ZqLinkSeparation& pair : query.closestPairs(scene, activeState, 0.1))
///        use(pair.distance, pair.point1, pair.point2);
class ZqProximityQuery
{
public:
   using Separations = std::vector<ZqLinkSeparation>;
   enum class Pairs
   {
      MayCollide, ///< that neither the manipulators nor the scene exclude from collisions
      All
   };
   static constexpr ZqReal anyDistance = std::numeric_limits<ZqReal>::infinity();

   /// The pairs of links with shapes that are no further apart than a margin (m), which may be
   /// below zero. Equally near ones are in the order of manipulators and links. The reference holds
   /// until the next query.
   const Separations& closestPairs(const ZqStatedSystem& scene, ZqSystemActiveState& activeState,
                                   ZqReal margin = anyDistance, Pairs pairs = Pairs::MayCollide);

private:
   /// A link with a shape.
   struct Body
   {
      ZqLinkKey key;
      const ZqShape* shape;
      ZqCoordinateSystemTransformation frame;
   };
   /// What is kept of a pair of bodies, by their places.
   struct Kept
   {
      ZqIntervalIntersectionProcessor::Pair bodies;
      ZqShapeProximityData data;
   };

   bool knowsModel(const ZqStatedSystem& scene) const;
   void takeModel(const ZqStatedSystem& scene);
   void placeBoxes(const ZqStatedSystem& scene, ZqSystemActiveState& activeState, ZqReal margin);
   void compare(const Body& a, const Body& b, ZqReal margin, ZqShapeProximityData& data);

   std::vector<std::uint64_t> m_versions; ///< by manipulator
   std::vector<Body> m_bodies;
   std::vector<ZqAxisAlignedBoundingBox> m_boxes;
   ZqIntervalIntersectionProcessor m_processor;
   std::vector<Kept> m_kept, m_keptBefore; ///< sorted
   Separations m_separations;
};
