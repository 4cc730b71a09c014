#pragma once

#include <nlohmann/json_fwd.hpp>

class ZqManipulatorLink;

namespace zqReplay
{
using Json = nlohmann::ordered_json;

/// In how many parts a quarter of a circle is drawn.
struct Fineness
{
   int quarter = 16;

   /// For so many shapes that are drawn as round meshes: fewer parts where there are very many of them.
   static Fineness forShapes(std::size_t count) noexcept;
};

/// The shapes of a link that are drawn as meshes of triangles, and are round.
std::size_t countRoundMeshes(const ZqManipulatorLink& link);

/// The shapes of a link that are no bounding volumes, in its primary frame, as an array. Those without extent are
/// left out, and unions are their members. Each has its kind, name and material ("surfaceMaterialType" of the
/// surface, or empty), and
///
/// | kind      | has                                                                                           |
/// |-----------|-----------------------------------------------------------------------------------------------|
/// | sphere    | center, radius                                                                                |
/// | capsule   | from, to, radius                                                                              |
/// | cylinder  | from, to, radius                                                                              |
/// | box       | frame (x y z w x y z), halfExtents                                                            |
/// | halfSpace | point, normal: outward                                                                        |
/// | mesh      | positions, k x 3 of single precision; indices, t x 3 of 32 bits, counter-clockwise seen from  |
/// |           | outside, as the arrays of `Recording::json`; flat: whether facets are to be seen. Else        |
/// |           | normals are to be smooth over triangles that share a vertex: creases have vertices of their   |
/// |           | own on either side                                                                            |
Json drawShapes(const ZqManipulatorLink& link, const Fineness& fineness);
} // namespace zqReplay
