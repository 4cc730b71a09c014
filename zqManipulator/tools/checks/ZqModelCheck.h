#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"
#include "zqManipulator/foundation/log/ZqDiagnostic.h"

#include <optional>
#include <vector>

class ZqStatedSystem;

namespace Zq
{
/// What is odd about a scene in its state, manipulator by manipulator; empty when nothing is. An error
/// cannot be simulated, or not as it is meant; a warning can. The codes and what they mean are listed in
/// docs/documents.md. Nothing is logged, and the scene stays as it is. The diagnostics have neither a file
/// nor lines.
///
/// A note is what is as it should be, but may not be known. A step that is too long for contact is a warning; when no
/// step (s) is told, it is a note of one of 1 ms.
std::vector<Diagnostic> checkModel(const ZqStatedSystem& scene,
                                   std::optional<ZqReal> step = std::nullopt);
} // namespace Zq
