#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <string_view>

namespace Zq
{
/// The SHA-256 of bytes (FIPS 180-4), as 64 hexadecimal digits: what `sha256sum` tells of a file of them. It
/// says which document something was made from.
ZqString sha256(std::string_view bytes);
} // namespace Zq
