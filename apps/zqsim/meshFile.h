#pragma once

#include "zqManipulator/foundation/geometry/ZqTriangleMesh.h"

#include <string>

namespace zqsim
{
/// Reads the triangles of an STL file, binary or text, or of an OBJ file, told by the ending of its
/// name; lengths are taken as metres. A file that cannot be read, is cut short or has no triangle
/// is a `Failure`.
ZqTriangleMesh readMesh(const std::string& fileName);
} // namespace zqsim
