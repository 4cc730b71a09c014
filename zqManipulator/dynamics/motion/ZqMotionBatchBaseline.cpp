#define ZQ_MOTION_TARGET baseline
#define ZQ_MOTION_LANES 2
#define ZQ_MOTION_KERNEL baselineBatchKernel
#include "zqManipulator/dynamics/motion/ZqMotionBatchLanes.h"
