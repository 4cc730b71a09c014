/// \file
/// All public headers of zqManipulator.
#pragma once

#include "zqManipulator/foundation/tokens/ZqFoundationTokens.h"
#include "zqManipulator/foundation/tokens/ZqManipTokens.h"
#include "zqManipulator/foundation/tokens/ZqManipulatorInfo.h"
#include "zqManipulator/tools/ZqLabelPool.h"
#include "zqManipulator/tools/ZqManipulatorLinkIndex.h"
#include "zqManipulator/tools/ZqManipulatorLinkLabelMapping.h"
