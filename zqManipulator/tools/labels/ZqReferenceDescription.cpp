#include "zqManipulator/tools/labels/ZqReferenceDescription.h"

template class ZqXmlClass<ZqLinkReferenceDescription>;
template class ZqXmlClass<ZqManipulatorReferenceDescription>;
