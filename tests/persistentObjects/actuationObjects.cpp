#include "support/persistentObject.h"

ZQ_TEST_PERSISTENT_CLASSES(Actuation, ZqMechanicalActuatorComponent,
                           ZqMechanicalActuatorComponentContainer, ZqJointActuator,
                           ZqOldJointActuator, ZqJointActuatorContainer,
                           ZqPassThroughPowerConverter, ZqDcElectricMotor, ZqHydraulicCylinder,
                           ZqPowerConverterContainer)
