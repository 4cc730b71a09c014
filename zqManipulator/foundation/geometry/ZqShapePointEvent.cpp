#include "zqManipulator/foundation/geometry/ZqShapePointEvent.h"

template class ZqXmlClass<ZqShapePointEvent>;
