#pragma once

#include "zqManipulator/foundation/proximity/ZqCorePair.h"
#include "zqManipulator/foundation/proximity/ZqSimplex.h"

namespace zqConvex
{
/// Moves the points of a simplex that lie on the rims of turned cores along them to where they are nearest the flat
/// feature that the other side's points span. The iteration alone halves the angle at each step; with this it ends in
/// a few. The points stay points of the cores, so the simplex stays valid; points that have become one are one
/// afterwards. False, and no change, where there is nothing to slide.
bool slideOnRims(const CorePair& pair, Simplex& S) noexcept;
} // namespace zqConvex
