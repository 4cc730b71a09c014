#include "zqManipulator/foundation/algebra/ZqValueText.h"

#include "zqManipulator/foundation/algebra/ZqAngle.h"
#include "zqManipulator/foundation/algebra/ZqHalfAngle.h"
#include "zqManipulator/foundation/algebra/ZqOrientation.h"
#include "zqManipulator/foundation/algebra/ZqPlanarVector.h"
#include "zqManipulator/foundation/algebra/ZqReArray.h"
#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"
#include "zqManipulator/foundation/algebra/ZqSpatialMatrix.h"
#include "zqManipulator/foundation/algebra/ZqVector.h"

#include <array>
#include <charconv>
#include <ostream>

namespace
{
/// The texts of so many items with commas between, in brackets.
template <class TextOf>
ZqString listText(std::size_t count, char opening, char closing, TextOf textOf)
{
   ZqString text(1, opening);
   for (std::size_t i = 0; i < count; ++i)
      text.append(i == 0 ? "" : ", ").append(textOf(i));
   return text += closing;
}

/// The rows of a matrix.
template <class TextOfRow>
ZqString rowsText(std::size_t count, TextOfRow textOfRow)
{
   return listText(count, '[', ']', textOfRow);
}
} // namespace

ZqString ZqValueText::number(ZqReal value)
{
   std::array<char, 32> digits;
   const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
   return {digits.data(), end};
}

ZqString ZqValueText::tuple(std::span<const ZqReal> values)
{
   return listText(values.size(), '(', ')', [&](std::size_t i) { return number(values[i]); });
}

ZqString ZqValueText::tuple(const ZqVector& vector)
{
   return tuple(std::array{vector.x(), vector.y(), vector.z()});
}

ZqString ZqValueText::tuple(const ZqOrientation& orientation)
{
   return tuple(std::array{orientation.w(), orientation.x(), orientation.y(), orientation.z()});
}

ZqString ZqValueText::record(std::initializer_list<Part> parts)
{
   return listText(parts.size(), '{', '}',
                   [&](std::size_t i)
                   {
                      const Part& part = parts.begin()[i];
                      return ZqString(part.name) + ' ' + part.text;
                   });
}

// Each goes to the stream in one piece, so that a width that is set is that of the whole value.

std::ostream& operator<<(std::ostream& stream, const ZqVector& vector)
{
   return stream << ZqValueText::tuple(vector);
}

std::ostream& operator<<(std::ostream& stream, const ZqPlanarVector& vector)
{
   return stream << ZqValueText::tuple(std::array{vector.x(), vector.y()});
}

std::ostream& operator<<(std::ostream& stream, const ZqOrientation& orientation)
{
   return stream << ZqValueText::tuple(orientation);
}

std::ostream& operator<<(std::ostream& stream, const ZqAngle& angle)
{
   return stream << ZqValueText::number(angle);
}

std::ostream& operator<<(std::ostream& stream, const ZqHalfAngle& angle)
{
   return stream << ZqValueText::record(
             {{"cos", ZqValueText::number(angle.cos)}, {"sin", ZqValueText::number(angle.sin)}});
}

std::ostream& operator<<(std::ostream& stream, const ZqRotationMatrix& matrix)
{
   return stream << rowsText(3, [&](std::size_t i) { return ZqValueText::tuple(matrix.row(i)); });
}

std::ostream& operator<<(std::ostream& stream, const ZqSpatialMatrix& matrix)
{
   return stream << rowsText(3, [&](std::size_t i) { return ZqValueText::tuple(matrix[i]); });
}

std::ostream& operator<<(std::ostream& stream, const ZqReArray& array)
{
   return stream << rowsText(array.rows(),
                             [&](std::size_t i) { return ZqValueText::tuple(array[i]); });
}
