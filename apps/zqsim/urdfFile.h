#pragma once

#include "apps/zqsim/model.h"
#include "zqManipulator/tools/urdf/ZqConversionLoss.h"

namespace zqsim
{
/// What a robot in URDF does not say itself.
struct UrdfOptions
{
   std::vector<std::string> packages; ///< NAME=DIR
   bool hasFreeBase = false;
};

/// Reads a model from a file or standard input, in this library's form or, as its root element tells, in URDF.
/// Then there are losses. Options without a model that they are for are a `Failure`, as is one that cannot be
/// read. Answers what had to be repaired.
Diagnostics readModel(const std::string& fileName, const UrdfOptions& options,
                      ZqStatedSystem& scene, std::optional<ZqConversionLosses>& losses);
} // namespace zqsim
