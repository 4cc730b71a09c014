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
/// left out.
Json drawShapes(const ZqManipulatorLink& link, const Fineness& fineness);
} // namespace zqReplay
