#include "zqManipulator/foundation/tokens/ZqManipTokens.h"

#define ZQ_MANIP_NS "http://zqmanipulator.org/namespace/mn#"

namespace ZqManip
{
constinit const ZqToken ns{ZqToken::Literal{ZQ_MANIP_NS}};

#define ZQ_MANIP_TOKEN(identifier, name)                                                           \
   constinit const ZqToken identifier{ZqToken::Literal{ZQ_MANIP_NS name}};
#define ZQ_MANIP_PLAIN_TOKEN(identifier, name)                                                     \
   constinit const ZqToken identifier{ZqToken::Literal{name}};
#include "zqManipulator/foundation/tokens/ZqManipTokens.def"
} // namespace ZqManip
