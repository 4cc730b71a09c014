#pragma once

#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"

class ZqAxisAlignedBoundingBox;
class ZqShape;

/// Boxes of shapes along the axes of the system.
class ZqAxisAlignedBoundingBoxTool
{
public:
   /// The box of a shape that the frame places in the system.
   void axisAlignedBoundingBoxInSystem(const ZqCoordinateSystemTransformation& frame,
                                       const ZqShape& shape, ZqAxisAlignedBoundingBox& box) const;
};
