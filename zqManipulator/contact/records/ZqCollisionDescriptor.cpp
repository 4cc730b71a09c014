#include "zqManipulator/contact/records/ZqCollisionDescriptor.h"

template class ZqXmlClass<ZqCollisionDescriptor>;
