#pragma once

#include "apps/zqsim/model.h"
#include "zqManipulator/tools/urdf/ZqConversionLoss.h"

#include <string>

namespace zqsim
{
/// How a model is written as URDF.
struct UrdfOutOptions
{
   std::string form; ///< urdf or model; without one, what the ending of the file says
   std::string
      manipulator; ///< by its label; of a model with one that nothing carries it may be empty
   std::string meshFolder; ///< for files of triangles; none are written without one
   std::string
      meshUri; ///< before their names in the document; without one, the way from it to the folder
};

/// Whether a file is one in URDF: its name ends in `.urdf`, or the options say so.
bool isUrdf(const std::string& fileName, const UrdfOutOptions& options);
/// Writes a manipulator with what it carries to a file or standard output, and answers what has no place in URDF. A
/// folder for meshes is made where there is none. What cannot be written is a `Failure`.
ZqConversionLosses writeUrdf(const ZqStatedSystem& scene, const std::string& fileName,
                             const UrdfOutOptions& options);
} // namespace zqsim
