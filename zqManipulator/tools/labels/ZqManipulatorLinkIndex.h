#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <compare>

/// A link by its indices: that of its manipulator in the system, and its own in the manipulator. A
/// link index of 0xFFFFFFFE names the root link. Ordered by manipulator, then by link.
struct ZqManipulatorLinkIndex
{
   ZqU32 manipulatorIndex = 0;
   ZqU32 linkIndex = 0;

   friend constexpr auto operator<=>(const ZqManipulatorLinkIndex&,
                                     const ZqManipulatorLinkIndex&) noexcept = default;
};
