#include "zqManipulator/foundation/proximity/ZqShapeCollisionTool.h"

#include "zqManipulator/foundation/geometry/ZqBoxHierarchy.h"
#include "zqManipulator/foundation/geometry/ZqConvexParts.h"
#include "zqManipulator/foundation/geometry/ZqShape.h"

namespace
{
/// Of the smaller shape: points that are further from the other one do not rest on it.
constexpr ZqReal marginPerExtent = 0.01;

/// The triangle of its mesh that a part is; 0 for other parts.
ZqU32 featureOf(const ZqShape& shape, ZqU32 part)
{
   const ZqConvexParts* parts = shape.convex() ? nullptr : shape.parts();
   return parts && part < parts->size() ? part - parts->members()[parts->memberOf(part)].firstPart
                                        : 0;
}

/// Which member of a compound a record is of, or all of it.
const ZqShape* shapeOf(const ZqShape& shape, bool flag, ZqU32 index)
{
   ZqU32 counter = 0;
   return flag ? shape.memberByIndex(index, counter) : &shape;
}

/// The largest extent (m), of a core with its ball or of a compound; endless for a half-space.
ZqReal extentOf(const ZqShape& shape)
{
   if (const ZqConvex* convex = shape.convex())
      return convex->isBounded() ? 2.0 * (convex->size + convex->radius) : 1e300;
   const ZqConvexParts* parts = shape.parts();
   if (!parts || parts->size() == 0)
      return 0.0;
   const zqConvex::AlignedBox box = parts->tree().bounds();
   const zqConvex::Vec3 extents = box.upper - box.lower;
   return std::max({extents.x, extents.y, extents.z});
}
} // namespace

bool ZqShapeCollisionTool::computeCollisionData(const ZqLinkKey& link1, const ZqLinkKey& link2,
                                                const ZqShape& shape1, const ZqShape& shape2,
                                                bool flag1, bool flag2,
                                                const ZqCoordinateSystemTransformation& transform,
                                                ZqSystemShapeCollisionCache& cache,
                                                std::vector<ZqShapeProximityKey>& touching,
                                                ZqReal& separation) const
{
   cache.beginPair(link1, link2);
   const zqConvex::Pose X = zqConvex::pose(transform);
   if (shape1.convex() && shape2.convex())
      return computeMemberData({link1, 0}, {link2, 0}, shape1, shape2, X, cache, touching,
                               separation);
   auto& pairs = cache.memberPairs();
   zqConvex::nearMembers(shape1, shape2, X, m_contactMargin, pairs);
   for (auto& [first, second] : pairs)
   {
      first = flag1 ? first : 0;
      second = flag2 ? second : 0;
   }
   std::sort(pairs.begin(), pairs.end());
   pairs.erase(std::unique(pairs.begin(), pairs.end()), pairs.end());

   bool doesAnyTouch = false;
   for (const auto& [first, second] : pairs)
   {
      const ZqShape* member1 = shapeOf(shape1, flag1, first);
      const ZqShape* member2 = shapeOf(shape2, flag2, second);
      if (!member1 || !member2)
         continue;
      doesAnyTouch |= computeMemberData({link1, first}, {link2, second}, *member1, *member2, X,
                                        cache, touching, separation);
   }
   return doesAnyTouch;
}

bool ZqShapeCollisionTool::computeMemberData(const ZqShapeKey& key1, const ZqShapeKey& key2,
                                             const ZqShape& shape1, const ZqShape& shape2,
                                             const zqConvex::Pose& X,
                                             ZqSystemShapeCollisionCache& cache,
                                             std::vector<ZqShapeProximityKey>& touching,
                                             ZqReal& separation) const
{
   ZqShapeCollisionData& data = cache.lookAt(key1, key2);
   ZqContactManifold& manifold = data.manifold();
   const ZqReal margin =
      std::min(m_contactMargin, marginPerExtent * std::min(extentOf(shape1), extentOf(shape2)));
   zqConvex::contact(shape1, shape2, X, margin, &data.pairCache(), manifold);
   separation = std::min(separation, manifold.separation);
   if (!(manifold.separation <= 0.0))
   {
      manifold.count = 0;
      return false;
   }
   // Half-spaces overlap without end, and have no point where a force could act.
   if (manifold.count == 0)
      return true;
   cache.touch(data);
   data.takeManifold(X);
   const ZqU32 feature1 = featureOf(shape1, data.pairCache().part1);
   const ZqU32 feature2 = featureOf(shape2, data.pairCache().part2);
   data.setClosestPointIndex(key1, feature1);
   data.setClosestPointIndex(key2, feature2);
   shape1.setClosestPointIndex(feature1);
   shape2.setClosestPointIndex(feature2);
   touching.emplace_back(key1, key2);
   return true;
}
