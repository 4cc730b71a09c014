#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <vector>

/// Something that a conversion between forms of documents could not carry over, or only in another way.
struct ZqConversionLoss
{
   enum class Kind : ZqU32
   {
      Lost,   ///< has no place on the other side, and is gone
      Changed ///< is told otherwise on the other side, to another effect
   };

   Kind kind = Kind::Lost;
   ZqString place;   ///< of what it was: "link 'forearm'", "joint 'elbow'", "robot"
   ZqString element; ///< its name in the document, or the name of the property: "safety_controller"
   ZqString text;    ///< what is lost or changed, in a line without a full stop
   unsigned long line = 0; ///< in the document that was read, from 1; or 0

   auto operator<=>(const ZqConversionLoss&) const = default;
};

/// In the order in which they were found.
using ZqConversionLosses = std::vector<ZqConversionLoss>;
