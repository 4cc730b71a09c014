#include "zqManipulator/foundation/geometry/ZqAxisAlignedBoundingBox.h"

template class ZqXmlClass<ZqAxisAlignedBoundingBox>;
