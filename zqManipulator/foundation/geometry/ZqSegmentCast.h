#pragma once

#include "zqManipulator/foundation/geometry/ZqLineSegment.h"

class ZqConvexParts;
struct ZqConvex;

namespace zqConvex
{
/// Where a segment (m) first enters a shape, at its start if that is inside. False when it does not, or is
/// not finite. All in the frame of the shape.
bool castSegment(const ZqConvex& convex, const ZqLineSegment& segment, ZqVector& point);
bool castSegment(const ZqConvexParts& parts, const ZqLineSegment& segment, ZqVector& point);
} // namespace zqConvex
