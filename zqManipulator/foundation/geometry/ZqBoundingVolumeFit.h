#pragma once

#include "zqManipulator/foundation/geometry/ZqCapsule.h"

#include <memory>
#include <optional>

namespace zqConvex
{
/// A volume of a type (`ZqShape::ZqShapeValues`) that is fitted closely around a shape and holds it: a box, a
/// capsule, a sphere or a convex hull. Null for another type, and for a shape without points or without end.
///
/// Of a sphere, capsule, box, ellipsoid, cylinder, cone, lozenge or triangle by itself the volume is the least
/// one along its own axes; of other shapes the least of those that were tried. A hull of something round
/// touches it from outside and is up to 2 % wider.
std::unique_ptr<ZqShape> volumeAround(const ZqShape& shape, ZqU32 type);
std::optional<ZqCapsule> capsuleAround(const ZqShape& shape);
} // namespace zqConvex
