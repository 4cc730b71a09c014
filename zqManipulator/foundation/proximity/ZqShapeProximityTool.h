#pragma once

#include "zqManipulator/foundation/proximity/ZqShapeProximity.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"

/// What the last query of a pair of shapes found, and what the next one may begin with.
class ZqShapeProximityData
{
public:
   const ZqSeparation& separation() const noexcept { return m_separation; }
   ZqSeparation& separation() noexcept { return m_separation; }
   ZqShapePairCache& pairCache() noexcept { return m_pairCache; }

private:
   ZqSeparation m_separation;
   ZqShapePairCache m_pairCache;
};

/// How far apart two shapes are. The transformation places shape 2 in the frame of shape 1.
///
/// Distances are signed: of shapes that overlap, minus the least translation that parts them. Every
/// query answers; false, and no change, when one of the shapes has no points.
class ZqShapeProximityTool
{
public:
   bool distance(const ZqShape& shape1, const ZqShape& shape2,
                 const ZqCoordinateSystemTransformation& transform, ZqReal& distance) const;
   /// With the nearest points, or those deepest in the other shape, each in the frame of its own
   /// shape.
   bool distance(const ZqShape& shape1, const ZqShape& shape2,
                 const ZqCoordinateSystemTransformation& transform, ZqVector& point1,
                 ZqVector& point2, ZqReal& distance) const;
   /// With all that is known: normal, parts, error. It begins with what the data has if that is of
   /// the same two shapes, and keeps it for the next. False, and a distance of 1e300, without
   /// points.
   bool distance(const ZqShape& shape1, const ZqShape& shape2,
                 const ZqCoordinateSystemTransformation& transform,
                 ZqShapeProximityData& data) const;
   /// Whether they come within a margin (m) of each other. It is faster than the distance.
   bool isWithin(const ZqShape& shape1, const ZqShape& shape2,
                 const ZqCoordinateSystemTransformation& transform, ZqReal margin,
                 ZqShapeProximityData* data = nullptr) const;
};
