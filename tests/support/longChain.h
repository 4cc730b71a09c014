#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

namespace zqTest
{
/// So many links in a row can be copied and numbered on an ordinary stack.
#if defined(__OPTIMIZE__) && !defined(__SANITIZE_ADDRESS__)
constexpr ZqU32 longChain = 10000;
#else
constexpr ZqU32 longChain = 2500; // frames on the stack are a few times as large
#endif
} // namespace zqTest
