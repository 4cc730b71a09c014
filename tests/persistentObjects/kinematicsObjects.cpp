#include "support/persistentObject.h"

ZQ_TEST_PERSISTENT_CLASSES(Kinematics, ZqDenavitHartenberg, ZqLinkKinematicsContainer,
                           ZqSystemEnvironment, ZqManipulatorSystem,
                           ZqManipulatorSystemConfiguration, ZqManipulatorSystemContainer,
                           ZqStatedSystem, ZqLinkReferenceDescription,
                           ZqManipulatorReferenceDescription, ZqManipulatorLinkIdentifier,
                           ZqBaseLinkInterface, ZqManipulatorLink, ZqIndividualManipulator)
