#pragma once

#include "zqManipulator/foundation/proximity/ZqSystemShapeCollisionCache.h"

/// Finds where the shapes of two links touch, and keeps records of it.
class ZqShapeCollisionTool
{
public:
   ZqShapeCollisionTool() = default;
   ZqShapeCollisionTool(const ZqShapeCollisionTool&) = default;
   ZqShapeCollisionTool& operator=(const ZqShapeCollisionTool&) = default;
   virtual ~ZqShapeCollisionTool() = default;

   /// Looks at the shapes of two links, of which the transformation places the second in the frame
   /// of the first. Shapes that touch or overlap (separation <= 0) get a record in the cache, which
   /// is valid then, and their keys are appended to `touching`. True when any do.
   ///
   /// With a flag, the members of that compound are shapes of their own, each with the number that
   /// `memberByIndex` knows it by; without one, the compound is one shape, of number 0.
   /// `separation` becomes the least of all pairs that are within the margin of each other, unless
   /// it was less.
   virtual bool computeCollisionData(const ZqLinkKey& link1, const ZqLinkKey& link2,
                                     const ZqShape& shape1, const ZqShape& shape2, bool flag1,
                                     bool flag2, const ZqCoordinateSystemTransformation& transform,
                                     ZqSystemShapeCollisionCache& cache,
                                     std::vector<ZqShapeProximityKey>& touching,
                                     ZqReal& separation) const;

   /// Two convex shapes that touch, among them meshes around a convex solid, keep the whole patch that
   /// they turn to each other, however far apart it is. Of compounds the parts do that are no further
   /// apart than this (m), or than a hundredth of the largest extent of the smaller one if that is
   /// less: so what rests on one of several feet by a hair's breadth keeps the points of all.
   ZqReal contactMargin() const noexcept { return m_contactMargin; }
   void setContactMargin(ZqReal margin) noexcept
   {
      m_contactMargin = margin >= 0.0 ? margin : m_contactMargin;
   }

private:
   /// The same of two shapes that each have one record.
   bool computeMemberData(const ZqShapeKey& key1, const ZqShapeKey& key2, const ZqShape& shape1,
                          const ZqShape& shape2, const zqConvex::Pose& X,
                          ZqSystemShapeCollisionCache& cache,
                          std::vector<ZqShapeProximityKey>& touching, ZqReal& separation) const;

   ZqReal m_contactMargin = 1e-3;
};
