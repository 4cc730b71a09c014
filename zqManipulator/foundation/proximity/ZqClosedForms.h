#pragma once

#include "zqManipulator/foundation/proximity/ZqCorePair.h"

namespace zqConvex
{
/// A point or a segment.
inline bool isThin(const ZqConvex& C) noexcept
{
   return C.core == ZqConvex::Core::Box && C.dimension <= 1;
}
/// Signed distance of two cores in closed form: points and segments with each other, a point with any core but a
/// polytope, a half-space with everything. False where there is none.
bool closedForm(CorePair& pair, CoreAnswer& out) noexcept;
/// The same of two thin cores, whose shapes X places, about the middle of A and along the axes of its shape.
void thinDistance(const ZqConvex& A, const ZqConvex& B, const Pose& X, CoreAnswer& out) noexcept;
} // namespace zqConvex
