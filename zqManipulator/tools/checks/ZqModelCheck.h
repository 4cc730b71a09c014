#pragma once

#include "zqManipulator/foundation/log/ZqDiagnostic.h"

#include <vector>

class ZqStatedSystem;

namespace Zq
{
/// What is odd about a scene in its state, manipulator by manipulator; empty when nothing is. An error
/// cannot be simulated, or not as it is meant; a warning can. The codes and what they mean are listed in
/// docs/documents.md. Nothing is logged, and the scene stays as it is. The diagnostics have neither a file
/// nor lines.
std::vector<Diagnostic> checkModel(const ZqStatedSystem& scene);
} // namespace Zq
