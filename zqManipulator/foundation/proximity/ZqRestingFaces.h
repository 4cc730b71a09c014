#pragma once

#include "zqManipulator/foundation/proximity/ZqContactPatch.h"

namespace zqConvex
{
enum class Rest
{
   Unknown,
   Found,
   Apart ///< by more than was asked for; the answer has a lower bound of the distance and no points
};

/// How far apart two cores are of which one stands on a face of the other, without iteration: so bodies rest. It
/// answers what `coreDistance` answers, or nothing: there is a proof for each answer. `normal` is a direction to look
/// along, or null. The features may come to hold a patch from almost the answer's normal.
Rest restOnFaces(CorePair& pair, const Vec3* normal, ZqReal reach, FacingFeatures& features,
                 CoreAnswer& answer) noexcept;
/// Two boxes, by the axes that could part them. Found if they overlap, without the points.
Rest restOfBoxes(CorePair& pair, ZqReal reach, CoreAnswer& answer) noexcept;
} // namespace zqConvex
