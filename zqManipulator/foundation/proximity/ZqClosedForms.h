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
/// The same of two shapes with thin cores, without going through the frames of these; and the distance of the cores
/// alone.
void thinSeparation(const ZqConvex& A, const ZqConvex& B, const Pose& X,
                    ZqSeparation& out) noexcept;
ZqReal thinDistance(const ZqConvex& A, const ZqConvex& B, const Pose& X) noexcept;
} // namespace zqConvex
