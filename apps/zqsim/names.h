#pragma once

#include <span>
#include <string>
#include <string_view>

namespace zqsim
{
/// Up to three names that are nearest to one that there is not, for a message: each in quotation marks, the last
/// behind "or". Empty when there are no names.
std::string namesNear(std::string_view name, std::span<const std::string> names);
} // namespace zqsim
