#include "support/persistentObject.h"

ZQ_TEST_PERSISTENT_CLASSES(Simulation, ZqManipulatorSelfCollisionLinkMap,
                           ZqSystemCollisionExclusionMap, ZqCollisionExclusionData,
                           ZqManipulatorAttachmentNode, ZqManipulatorAttachmentChange,
                           ZqManipulatorAttachmentMap, ZqLinkAttachment,
                           ZqOldManipulatorAttachmentMap, ZqSpringProperties, ZqDamperProperties,
                           ZqLinearStateEqualityConstraint, ZqPointStateEqualityConstraint,
                           ZqXyStateEqualityConstraint, ZqStateEqualityConstraintVector,
                           ZqPropagationDescriptor, ZqPropagationResultData,
                           ZqComPolygonalStoppingCriterion, ZqStoppingCriterionVector)
