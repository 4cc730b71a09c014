#include "zqManipulator/kinematics/ZqReferenceDescription.h"

template class ZqXmlClass<ZqLinkReferenceDescription>;
template class ZqXmlClass<ZqManipulatorReferenceDescription>;
