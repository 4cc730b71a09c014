#include "support/persistentObject.h"

ZQ_TEST_PERSISTENT_CLASSES(ActiveState, ZqLinkPositionState, ZqLinkVelocityState,
                           ZqLinkAccelerationState, ZqLinkForceState, ZqLinkMassState,
                           ZqLinkArticulationState, ZqManipulatorActivePositionState,
                           ZqManipulatorActiveVelocityState, ZqManipulatorActiveAccelerationState,
                           ZqManipulatorActiveForceState, ZqManipulatorActiveMassState,
                           ZqManipulatorActiveArticulationState, ZqManipulatorActiveState,
                           ZqSystemActiveState)
