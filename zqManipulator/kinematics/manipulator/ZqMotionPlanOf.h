#pragma once

#include "zqManipulator/dynamics/motion/ZqMotionPlan.h"

#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"

class ZqManipulatorLink;
class ZqRigidBodyMassProperties;

/// Flattens a tree: the links by their indices, and the body of the base, which is null for a tree
/// without one.
ZqMotionPlan zqMotionPlanOf(const std::vector<ZqManipulatorLink*>& links,
                            const ZqManipulatorLink* base);
/// A body that stands in a DH frame, in the frame in which that is given.
zqMotion::Body zqMotionBodyOf(const ZqRigidBodyMassProperties& masses,
                              const ZqCoordinateSystemTransformation& dhFrame);
