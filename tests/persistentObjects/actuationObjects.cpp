#include "support/persistentObject.h"

ZQ_TEST_PERSISTENT_CLASSES(Actuation, ZqMechanicalActuatorComponent,
                           ZqMechanicalActuatorComponentContainer, ZqJointActuator)
