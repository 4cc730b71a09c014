#include "zqManipulator/tools/labels/ZqManufacturerData.h"

template class ZqXmlClass<ZqManufacturerData>;
template class ZqXmlVectorType<ZqManufacturerData>;
