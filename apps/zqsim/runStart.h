#pragma once

#include "apps/zqsim/inputs.h"
#include "apps/zqsim/runner.h"

#include <memory>
#include <optional>

namespace zqsim
{
struct RunOptions;

/// A simulation before its first step, and what else the run needs.
struct RunStart
{
   ZqStatedSystem scene; ///< before the first step, also while the simulation goes on
   std::unique_ptr<ZqSimulation> simulation;
   std::optional<Inputs> inputs;
   ZqReal step = 0.0;       ///< s
   ZqReal stepBefore = 0.0; ///< of the run that it goes on from (s)
};

/// By the options, with a model or with a checkpoint. What cannot be is a `Failure`, what is odd a
/// warning.
RunStart startRun(const RunOptions& options);

/// Writes a checkpoint with which `startRun` goes on.
void writeCheckpoint(const RunStart& run, const std::string& fileName);
} // namespace zqsim
