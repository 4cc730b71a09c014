#define ZQ_MOTION_TARGET avx
#include "zqManipulator/dynamics/motion/ZqMotionFactorRows.h"

void zqMotion::eliminateByAvx(const Factor& factor)
{
   eliminateRows<Pack<4>>(factor);
}
