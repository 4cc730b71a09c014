#include "zqManipulator/tools/ZqManufacturerData.h"

template class ZqXmlClass<ZqManufacturerData>;
template class ZqXmlVectorType<ZqManufacturerData>;
