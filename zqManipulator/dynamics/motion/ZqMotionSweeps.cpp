// The sweeps for real numbers: all of their headers, instantiated.
#define ZQ_MOTION_SWEEP

#include "zqManipulator/dynamics/motion/ZqArticulatedSweep.h"
#include "zqManipulator/dynamics/motion/ZqMotionCompositeSweep.h"
#include "zqManipulator/dynamics/motion/ZqPositionSweep.h"
#include "zqManipulator/dynamics/motion/ZqVelocitySweep.h"
