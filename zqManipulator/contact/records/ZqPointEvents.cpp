#include "zqManipulator/contact/records/ZqPointEvents.h"

template class ZqXmlClass<ZqLinkPointEvent, ZqShapePointEvent>;
template class ZqXmlClass<ZqManipulatorPointEvent, ZqLinkPointEvent>;
template class ZqXmlClass<ZqSystemPointEvent, ZqManipulatorPointEvent>;
