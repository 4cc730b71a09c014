#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <cstdint>
#include <string_view>
#include <vector>

/// Numbers on the command line. What is not a number as it should be is a `Failure`, which names the
/// option.
namespace zqsim
{
/// Finite numbers with white space between them.
std::vector<ZqReal> parseNumbers(std::string_view option, std::string_view text);
/// A whole number above zero.
std::uint64_t parseCount(std::string_view option, std::string_view text);
/// One finite number.
ZqReal parseNumber(std::string_view option, std::string_view text);
/// Likewise above zero.
ZqReal parsePositive(std::string_view option, std::string_view text);
} // namespace zqsim
