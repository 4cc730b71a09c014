#include "zqManipulator/contact/forces/ZqMassSpringDamperCollisionForceProcessor.h"

template class ZqXmlClass<ZqMassSpringDamperCollisionForceProcessor,
                          ZqMassSpringCollisionForceProcessor>;
