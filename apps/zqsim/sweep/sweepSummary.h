#pragma once

#include "apps/zqsim/output.h"

#include <string>

namespace zqsim
{
/// What the table of a sweep tells: of each metric how many samples have it, mean, standard deviation, least and
/// greatest value and quantiles; how many samples came to which end, and of the first that failed number and reason. The
/// table is read in a stream; for quantiles, which are exact, it takes 8 bytes for each number. The same table gives the
/// same bytes.
Json summarizeSweep(const std::string& tableFile);
/// The same for people.
std::string describeSweep(const Json& summary);
/// Draws the distribution of each metric, as SVG.
void plotSweep(const std::string& tableFile, const std::string& plotFile);
} // namespace zqsim
