#include "zqManipulator/simulation/constraints/ZqPointStateEqualityConstraint.h"

template class ZqXmlClass<ZqPointStateEqualityConstraint, ZqPointPairStateEqualityConstraint>;
