#pragma once

#include "zqManipulator/foundation/xml/ZqXmlBasicType.h"

/// \file
/// Plain values as persistent objects.

using ZqXmlString = ZqXmlBasicType<ZqString>;
using ZqXmlBoolean = ZqXmlBasicType<ZqBoolean>;
using ZqXmlU32 = ZqXmlBasicType<ZqU32>;
