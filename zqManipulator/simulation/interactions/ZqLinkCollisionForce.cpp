#include "zqManipulator/simulation/interactions/ZqLinkCollisionForce.h"

template class ZqXmlClass<ZqLinkCollisionForce, ZqBaseLinkInteractions>;
