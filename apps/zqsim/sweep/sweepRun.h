#pragma once

#include "apps/zqsim/sweep/sampleRunner.h"
#include "apps/zqsim/sweep/sweepRecord.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zqsim
{
/// What samples are, and how one is run.
struct SweepJob
{
   std::string hash; ///< of all that they depend on
   std::vector<std::string> metricNames;
   std::uint64_t sampleCount = 0;
   std::function<SampleRow(std::uint64_t)> run;
   std::vector<std::string> warnings{}; ///< that are told once, before the first sample
};

struct SweepSettings
{
   std::string out;                    ///< the table, or "-"
   std::size_t workers = 1;            ///< of this rank: how many samples run at the same time
   std::optional<std::uint64_t> limit; ///< of samples that are run now
   TableStart start = TableStart::GoOn;
   bool showsProgress = true; ///< on a terminal
};

/// What came of a sweep.
struct SweepReport
{
   std::uint64_t sampleCount = 0;
   std::uint64_t kept = 0;     ///< how many were done before
   std::uint64_t done = 0;     ///< with them
   std::uint64_t repeated = 0; ///< whose process had died
   std::map<std::string, std::uint64_t> outcomes;
   std::size_t lostWorkers = 0;
   bool isInterrupted = false;
};

/// Runs the samples of a job that are not in its table yet, in processes of this one and of all ranks of MPI. None on
/// the ranks that only helped. The table holds the same bytes however many took part, and however often it was
/// interrupted. A sample that kills its process twice has the outcome "died". What cannot be is a `Failure`.
std::optional<SweepReport> sweep(const SweepSettings& settings,
                                 const std::function<SweepJob()>& makeJob);
} // namespace zqsim
