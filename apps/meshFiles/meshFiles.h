#pragma once

#include "zqManipulator/foundation/geometry/ZqTriangleMesh.h"

#include <string>

/// Triangles from files, for programs.
namespace meshFiles
{
/// Whether this build reads meshes: not without Assimp.
bool canRead() noexcept;

/// Reads the triangles of an STL file, binary or text, of an OBJ file, or of a COLLADA file, told by the ending of its
/// name. Lengths are taken as metres; a COLLADA file tells its own unit, and its up axis plays no part, as is usual
/// in URDF. A file that cannot be read, is cut short or has no triangle is a `std::runtime_error` with its name.
ZqTriangleMesh read(const std::string& fileName);
} // namespace meshFiles
