#include "support/persistentObject.h"

ZQ_TEST_PERSISTENT_CLASSES(StoredState, ZqPositionState, ZqVelocityState, ZqAccelerationState,
                           ZqActuatorState, ZqManipulatorSystemState, ZqAttachmentNodeState,
                           ZqAttachmentMapState)
