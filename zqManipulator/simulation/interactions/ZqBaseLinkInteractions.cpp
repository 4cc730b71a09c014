#include "zqManipulator/simulation/interactions/ZqBaseLinkInteractions.h"

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace
{
bool isTaken(bool isFinite, const char* operation)
{
   if (!isFinite)
      Zq::Print::instance().write(Zq::Rejected, "%s: the value is not finite.\n", operation);
   return isFinite;
}

bool isFiniteFrame(const ZqCoordinateSystemTransformation& frame)
{
   const ZqVector& p = frame.translation();
   const ZqOrientation& q = frame.orientation();
   const std::array numbers{p.x(), p.y(), p.z(), q.w(), q.x(), q.y(), q.z()};
   return std::all_of(numbers.begin(), numbers.end(),
                      [](ZqReal number) { return std::isfinite(number); });
}
} // namespace

void ZqBaseLinkInteractions::take(ZqReal& member, ZqReal number, const char* operation)
{
   if (isTaken(std::isfinite(number), operation))
      member = number;
}

void ZqBaseLinkInteractions::take(ZqCoordinateSystemTransformation& member,
                                  const ZqCoordinateSystemTransformation& frame,
                                  const char* operation)
{
   if (isTaken(isFiniteFrame(frame), operation))
      member = frame;
}
