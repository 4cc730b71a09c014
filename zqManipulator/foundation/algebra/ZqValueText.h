#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <initializer_list>
#include <span>
#include <string_view>

class ZqOrientation;
class ZqVector;

/// The texts of which `operator<<` of value types makes its own: see "Values as text" in docs/concepts.md.
namespace ZqValueText
{
/// A part of a record: its name and its text.
struct Part
{
   std::string_view name;
   ZqString text;
};

/// The shortest number that reads back the same.
ZqString number(ZqReal value);
/// "(1, 2, 3)"
ZqString tuple(std::span<const ZqReal> values);
ZqString tuple(const ZqVector& vector);
/// w first.
ZqString tuple(const ZqOrientation& orientation);
/// "{linear (1, 2, 3), angular (4, 5, 6)}"
ZqString record(std::initializer_list<Part> parts);
} // namespace ZqValueText
