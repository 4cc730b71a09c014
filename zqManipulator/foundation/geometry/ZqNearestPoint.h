#pragma once

#include "zqManipulator/foundation/geometry/ZqConvex.h"

namespace zqConvex
{
/// The point of a core that is nearest to p, which is p itself inside; both in the core's frame. Not of
/// ellipsoids and half-spaces, for which it answers p. Of polytopes by all faces.
Vec3 nearestPoint(const ZqConvex& C, const Vec3& p) noexcept;
Vec3 nearestOnSegment(const Vec3& a, const Vec3& b, const Vec3& p) noexcept;
Vec3 nearestOnTriangle(const Vec3& a, const Vec3& b, const Vec3& c, const Vec3& p) noexcept;
} // namespace zqConvex
