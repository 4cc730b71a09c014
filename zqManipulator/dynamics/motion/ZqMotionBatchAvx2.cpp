#define ZQ_MOTION_TARGET avx2
#define ZQ_MOTION_LANES 4
#define ZQ_MOTION_KERNEL avx2BatchKernel
#include "zqManipulator/dynamics/motion/ZqMotionBatchLanes.h"
