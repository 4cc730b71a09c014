#pragma once

#include "zqManipulator/kinematics/link/ZqManipulatorLink.h"

/// How what stands on the D-H frame of a link is told in a new one, in which the old one is known.
namespace zqDhFrameChange
{
/// The children, all of which have joints.
inline void tellChildren(ZqManipulatorLink& link, const ZqCoordinateSystemTransformation& oldInNew)
{
   for (ZqManipulatorLink& child : link.childLinks())
      child.transformLinkTreeBy(oldInNew);
}
} // namespace zqDhFrameChange
