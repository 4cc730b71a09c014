#include "zqManipulator/foundation/geometry/ZqLineSegment.h"

template class ZqXmlClass<ZqLineSegment>;

const ZqLineSegment& ZqLineSegment::nullObject() noexcept
{
   static constinit const ZqLineSegment segment;
   return segment;
}
