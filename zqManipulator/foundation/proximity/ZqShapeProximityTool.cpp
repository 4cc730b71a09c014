#include "zqManipulator/foundation/proximity/ZqShapeProximityTool.h"

#include "zqManipulator/foundation/geometry/ZqShape.h"

bool ZqShapeProximityTool::distance(const ZqShape& shape1, const ZqShape& shape2,
                                    const ZqCoordinateSystemTransformation& transform,
                                    ZqReal& distance) const
{
   ZqVector point1;
   ZqVector point2;
   return this->distance(shape1, shape2, transform, point1, point2, distance);
}

bool ZqShapeProximityTool::distance(const ZqShape& shape1, const ZqShape& shape2,
                                    const ZqCoordinateSystemTransformation& transform,
                                    ZqVector& point1, ZqVector& point2, ZqReal& distance) const
{
   ZqSeparation found;
   zqConvex::distance(shape1, shape2, zqConvex::pose(transform), nullptr, found);
   if (!(found.distance < 1e300))
      return false;
   distance = found.distance;
   point1 = found.point1;
   point2 = found.point2;
   return true;
}

bool ZqShapeProximityTool::distance(const ZqShape& shape1, const ZqShape& shape2,
                                    const ZqCoordinateSystemTransformation& transform,
                                    ZqShapeProximityData& data) const
{
   zqConvex::distance(shape1, shape2, zqConvex::pose(transform), &data.pairCache(),
                      data.separation());
   return data.separation().distance < 1e300;
}

bool ZqShapeProximityTool::isWithin(const ZqShape& shape1, const ZqShape& shape2,
                                    const ZqCoordinateSystemTransformation& transform,
                                    ZqReal margin, ZqShapeProximityData* data) const
{
   return zqConvex::isWithin(shape1, shape2, zqConvex::pose(transform), margin,
                             data ? &data->pairCache() : nullptr);
}
