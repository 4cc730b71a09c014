#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"

#define ZQ_NS_ZqXml "http://zqmanipulator.org/namespace/xml#"
#define ZQ_NS_ZqFoundCommon "http://zqmanipulator.org/namespace/common#"
#define ZQ_NS_ZqGeom "http://zqmanipulator.org/namespace/geom#"
#define ZQ_NS_ZqFunction "http://zqmanipulator.org/namespace/function#"
#define ZQ_NS_ZqSensorInterface "http://zqmanipulator.org/namespace/sensor#"

constinit const ZqToken ZqXml::ns{ZqToken::Literal{ZQ_NS_ZqXml}};
constinit const ZqToken ZqFoundCommon::ns{ZqToken::Literal{ZQ_NS_ZqFoundCommon}};
constinit const ZqToken ZqGeom::ns{ZqToken::Literal{ZQ_NS_ZqGeom}};
constinit const ZqToken ZqFunction::ns{ZqToken::Literal{ZQ_NS_ZqFunction}};
constinit const ZqToken ZqSensorInterface::ns{ZqToken::Literal{ZQ_NS_ZqSensorInterface}};

#define ZQ_FOUNDATION_TOKEN(space, identifier, name)                                               \
   constinit const ZqToken space::identifier{ZqToken::Literal{ZQ_NS_##space name}};
#define ZQ_FOUNDATION_PLAIN_TOKEN(space, identifier, name)                                         \
   constinit const ZqToken space::identifier{ZqToken::Literal{name}};
#include "zqManipulator/foundation/tokens/ZqFoundationTokens.def"
