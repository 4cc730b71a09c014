#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <cstddef>

namespace Zq
{
/// The number of a list at an index, 0.0 beyond its end: states and torques may list fewer joints than a
/// manipulator has.
template <class List>
ZqReal valueOrZero(const List& list, std::size_t index)
{
   return index < list.size() ? list[static_cast<ZqU32>(index)] : 0.0;
}
} // namespace Zq
