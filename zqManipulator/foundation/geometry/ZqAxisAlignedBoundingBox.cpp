#include "zqManipulator/foundation/geometry/ZqAxisAlignedBoundingBox.h"

#include "zqManipulator/foundation/geometry/ZqCapsule.h"

template class ZqXmlClass<ZqAxisAlignedBoundingBox>;

void ZqAxisAlignedBoundingBox::resize(const ZqCapsule& capsule) noexcept
{
   *this = {};
   expandToInclude(capsule.lineSegment().endpoint0());
   expandToInclude(capsule.lineSegment().endpoint1());
   enlarge(capsule.radius());
}
