#pragma once

#include "zqManipulator/foundation/tokens/ZqToken.h"

/// The vocabulary of the library's documents: a token for each element, attribute and enumeration
/// value. An identifier is its text with a capital first letter between `Zq` and `Token`, with the
/// exceptions that ZqManipTokens.def shows. All are constants that need no start-up code.
namespace ZqManip
{
/// The namespace of all of them but the plain ones.
extern const ZqToken ns;

#define ZQ_MANIP_TOKEN(identifier, name) extern const ZqToken identifier;
#define ZQ_MANIP_PLAIN_TOKEN(identifier, name) extern const ZqToken identifier;
#include "zqManipulator/foundation/tokens/ZqManipTokens.def"
} // namespace ZqManip
