#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

/// What this library tells of itself.
namespace Zq::manipulatorInfo
{
const ZqString& xmlNamespace();
const ZqString& projectName();
const ZqString& repositoryName();
const ZqString& solutionName();

/// Empty: the library is no plug-in.
const ZqString& pluginLibraryFileName();
bool projectIsPlugin();
} // namespace Zq::manipulatorInfo
