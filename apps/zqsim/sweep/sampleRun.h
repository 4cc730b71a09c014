#pragma once

#include "apps/zqsim/commands.h"

#include <cstdint>
#include <string>

namespace zqsim
{
/// One sample of a study that is run by itself, and what is to be written of it, as with `zqsim run`. Names of files
/// that are empty are not written.
struct OneSample
{
   std::string study;
   std::uint64_t sample = 0;
   std::string out;      ///< a table (.csv) over time, or its states (.xml)
   std::string contacts; ///< a table of contacts over time
   std::string energy;   ///< a table of energies over time
   std::string plot;     ///< a drawing of the motion (.svg)
   std::string replay;   ///< a page for the browser (.html)
   std::string columns;  ///< of the table and the plot, as of `zqsim run`; empty for the usual ones
   bool json = false;
};

/// Runs it, and prints its outcome and its metrics: to the bit those of its row in the table of the whole sweep,
/// whatever is written besides. A sample without metrics is a `Failure` with its reason, of the code `NumericalFailure` when it diverged.
ExitCode runOneSample(const OneSample& options);
} // namespace zqsim
