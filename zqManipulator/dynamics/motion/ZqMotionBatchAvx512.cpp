#define ZQ_MOTION_TARGET avx512
#define ZQ_MOTION_LANES 8
#define ZQ_MOTION_KERNEL avx512BatchKernel
#include "zqManipulator/dynamics/motion/ZqMotionBatchLanes.h"
