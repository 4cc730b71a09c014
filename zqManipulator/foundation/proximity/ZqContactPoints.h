#pragma once

#include "zqManipulator/foundation/proximity/ZqContactPatch.h"

namespace zqConvex
{
/// The places where two shapes touch, from how far apart their cores are.
///
/// What the two turn towards each other is cut in the plane, along the normal: the corners of the patch that
/// both cover are corners of either and the places where their edges cross. Each has a separation of its own, and
/// those count as well where the shapes are apart: so a patch keeps its points, and each its share of the patch,
/// while a body rocks.
/// Neither side takes part other than the other does, so nothing jumps when another face becomes the better
/// one to measure from. Two edges give two points where they run side by side, and one where they cross; all
/// else gives the deepest place alone. That is always among the points: where it is no corner of the patch, as
/// on the rim of a cap that leans, it is one more.
///
/// The points go round the patch, counter-clockwise about the normal, from the one with the lowest name. More
/// than eight are thinned: the deepest stays, and of the rest those that keep the patch as large as can be.
///
/// A name is that of the feature of the first shape, and of the second: vertex and nothing, nothing and vertex,
/// or edge and edge. So it does not depend on which faces meet, and stays when a body rocks from its face over
/// an edge to a corner. Where features coincide within 1e-9 of the size, 1e-6 with curved cores, the corner has the name of a vertex,
/// if there is one. What no rule can keep still: where edges of both lie upon each other almost, their crossing
/// runs along them; and the deepest place of the rim of a cap that leans by less than its surroundings move runs
/// round it, with one name, in place of the rim's own point next to it.
///
/// A shape that sweeps a ball touches as far out along the normal as its ball reaches: where a face leans by an
/// angle against the normal, its point is deeper than its surface by the radius times one minus the cosine.
///
/// The first core may be a half-space, the second may not.
///
/// Left out is what is further apart than `farthest` (m), but never the deepest.
///
/// Without `hasPoints` the answer's points are not known yet: they are computed if it takes them. `features` may
/// hold a patch from a normal near the answer's; else they are found.
void contactPoints(CorePair& pair, CoreAnswer& answer, bool hasPoints, ZqReal farthest,
                   FacingFeatures& features, ZqContactManifold& out) noexcept;
/// The points as seen from the other shape, of which X gives the pose in the frame of this one; again the one
/// with the lowest name comes first.
void seeFromOther(const Pose& X, ZqContactManifold& out) noexcept;
/// The patch that two shapes, of which X places B in the frame of A, cover together along a unit normal in A's
/// frame, however far apart they are; no points where they cover none.
void patchAlong(const ZqConvex& A, const ZqConvex& B, const Pose& X, const Vec3& n,
                ZqContactManifold& out) noexcept;
} // namespace zqConvex
