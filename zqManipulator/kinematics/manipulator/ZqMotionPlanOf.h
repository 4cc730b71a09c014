#pragma once

#include "zqManipulator/dynamics/motion/ZqMotionPlan.h"

class ZqManipulatorLink;

/// Flattens a tree: the links by their indices, and the body of the base, which is null for a tree
/// without one.
ZqMotionPlan zqMotionPlanOf(const std::vector<ZqManipulatorLink*>& links,
                            const ZqManipulatorLink* base);
