#include "zqManipulator/dynamics/motion/ZqMotionSineCosine.h"
#include "zqManipulator/foundation/algebra/ZqMath.h"

ZqMath::CosineSine ZqMath::cosineSine(ZqReal angle) noexcept
{
   const zqMotion::CosineSine<ZqReal> result = zqMotion::cosineSine(angle);
   return {result.c, result.s};
}
