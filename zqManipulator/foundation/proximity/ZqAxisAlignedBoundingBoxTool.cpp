#include "zqManipulator/foundation/proximity/ZqAxisAlignedBoundingBoxTool.h"

#include "zqManipulator/foundation/geometry/ZqAxisAlignedBoundingBox.h"
#include "zqManipulator/foundation/geometry/ZqShape.h"

void ZqAxisAlignedBoundingBoxTool::axisAlignedBoundingBoxInSystem(
   const ZqCoordinateSystemTransformation& frame, const ZqShape& shape,
   ZqAxisAlignedBoundingBox& box) const
{
   box = shape.axisAlignedBoundingBox(frame);
}
