#pragma once

#include "zqManipulator/dynamics/motion/ZqMotionPlan.h"

#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"

class ZqIndividualManipulator;
class ZqManipulatorLink;
class ZqRigidBodyMassProperties;

/// Flattens a tree, the links by their indices; null where none has an index. Nothing stands at the base.
ZqMotionPlan zqMotionPlanOf(const std::vector<ZqManipulatorLink*>& links);
/// Gives a plan the base of a manipulator.
void zqSetBase(const ZqIndividualManipulator& base, ZqMotionPlan& plan);
/// A body that stands in a DH frame, in the frame in which that is given.
zqMotion::Body zqMotionBodyOf(const ZqRigidBodyMassProperties& masses,
                              const ZqCoordinateSystemTransformation& dhFrame);
