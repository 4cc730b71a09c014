#include "zqManipulator/foundation/geometry/ZqPlane.h"

template class ZqXmlClass<ZqPlane>;
