#include "zqManipulator/simulation/constraints/ZqXyStateEqualityConstraint.h"

template class ZqXmlClass<ZqXyStateEqualityConstraint, ZqPointPairStateEqualityConstraint>;
