#pragma once

#include <span>
#include <string>

namespace zqReplay
{
/// The page that shows scenes, as it is installed with the program: beside it, or in `../share/zqManipulator` from
/// there. Throws `std::runtime_error` when there is none, or it cannot be read.
std::string readPage();

/// The page with scenes in it, each the JSON text of a `Recording`: it is whole in itself.
/// Throws `std::runtime_error` when the page has no place for scenes.
std::string makePage(const std::string& page, std::span<const std::string> scenes);
} // namespace zqReplay
