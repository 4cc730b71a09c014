#include "zqManipulator/kinematics/joint/ZqLinkKinematicsContainer.h"
#include "zqManipulator/tools/variation/ZqLinkPropertyRandomVariation.h"

void ZqLinkKinematicsRandomVariation::getRandomLinkKinematics(const ZqLinkKinematicsContainer& in,
                                                              ZqLinkKinematicsContainer& out) const
{
   ZqCoordinateSystemTransformation offset;
   getRandomLinkKinematicsOffset(offset);
   if (&out != &in)
      out = in;
   if (offset != ZqCoordinateSystemTransformation::identity())
      out.transformBy(offset);
}
