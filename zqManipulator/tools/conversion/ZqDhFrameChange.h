#pragma once

#include "zqManipulator/kinematics/manipulator/ZqLinkUnion.h"

/// How what stands on the D-H frame of a link is told in a new one, in which the old one is known.
namespace zqDhFrameChange
{
/// Where the bases of manipulators stand that are merged into the link, for when they are taken off.
inline void tellUnion(ZqManipulatorLink& link, const ZqCoordinateSystemTransformation& oldInNew)
{
   if (link.linkUnion() == nullptr)
      return;
   ZqLinkUnion parts = *link.linkUnion();
   for (ZqLinkUnion::Member& member : parts.members)
      member.origin.X = oldInNew * member.origin.X;
   ZqLinkUnion::set(link, std::move(parts));
}

/// The children, all of which have joints.
inline void tellChildren(ZqManipulatorLink& link, const ZqCoordinateSystemTransformation& oldInNew)
{
   for (ZqManipulatorLink& child : link.childLinks())
      child.transformLinkTreeBy(oldInNew);
}
} // namespace zqDhFrameChange
