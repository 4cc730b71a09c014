#pragma once

#include "zqManipulator/foundation/tokens/ZqToken.h"

// The tokens of the value types, the containers and the geometry. All are constants that need no
// start-up code; ZqFoundationTokens.def lists them.

/// Tokens of the containers and the basic types.
namespace ZqXml
{
extern const ZqToken ns;
}

/// Tokens of the spatial value types and the surface parameters.
namespace ZqFoundCommon
{
extern const ZqToken ns;
}

/// Tokens of shapes.
namespace ZqGeom
{
extern const ZqToken ns;
}

/// Tokens of functions of joint positions.
namespace ZqFunction
{
extern const ZqToken ns;
}

/// Tokens of sensors.
namespace ZqSensorInterface
{
extern const ZqToken ns;
}

#define ZQ_FOUNDATION_TOKEN(space, identifier, name)                                               \
   namespace space                                                                                 \
   {                                                                                               \
   extern const ZqToken identifier;                                                                \
   }
#define ZQ_FOUNDATION_PLAIN_TOKEN(space, identifier, name)                                         \
   ZQ_FOUNDATION_TOKEN(space, identifier, name)
#include "zqManipulator/foundation/tokens/ZqFoundationTokens.def"
