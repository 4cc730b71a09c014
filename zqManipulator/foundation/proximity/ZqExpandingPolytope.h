#pragma once

#include "zqManipulator/foundation/proximity/ZqPartedCores.h"

namespace zqConvex
{
/// How deep two cores that overlap lie in each other, by a polytope that grows inside A - B from `first`, if
/// that spans a volume (van den Bergen 2001). It need not hold the origin: faces that the origin is beyond
/// have negative offsets, and are expanded first. Of cores apart a depth below zero or near it comes out.
Penetration penetrate(CorePair& pair, const Simplex* first) noexcept;
} // namespace zqConvex
