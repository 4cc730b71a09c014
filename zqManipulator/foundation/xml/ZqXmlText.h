#pragma once

#include "zqManipulator/foundation/algebra/ZqAngle.h"
#include "zqManipulator/foundation/algebra/ZqNonNegReal.h"
#include "zqManipulator/foundation/algebra/ZqOrientation.h"
#include "zqManipulator/foundation/algebra/ZqSpatialMatrix.h"
#include "zqManipulator/foundation/algebra/ZqTypes.h"
#include "zqManipulator/foundation/algebra/ZqVector.h"

#include <string_view>

/// How a single value stands in a document as text. For each type T that has a text form:
/// - `parse(text, value)`: the whole text, without white space around it, must be a value; false
///   leaves the value as it was. Numbers must be finite; nothing depends on the locale.
/// - `append(out, value)`: appends the shortest text that parses to the same value; false for a
///   number that is not finite.
/// - `expected`: what a message calls it; `schemaType`: its XML Schema type.
/// - `words`: how many words apart by white space it takes.
template <class T>
struct ZqXmlText;

template <>
struct ZqXmlText<ZqReal>
{
   static constexpr const char* expected = "a real number";
   static constexpr const char* schemaType = "double";
   static constexpr unsigned words = 1;
   static bool parse(std::string_view text, ZqReal& value);
   static bool append(ZqString& out, ZqReal value);
};

template <>
struct ZqXmlText<ZqU32>
{
   static constexpr const char* expected = "an unsigned integer below 4294967296";
   static constexpr const char* schemaType = "unsignedInt";
   static constexpr unsigned words = 1;
   static bool parse(std::string_view text, ZqU32& value);
   static bool append(ZqString& out, ZqU32 value);
};

template <>
struct ZqXmlText<int>
{
   static constexpr const char* expected = "an integer from -2147483648 to 2147483647";
   static constexpr const char* schemaType = "int";
   static constexpr unsigned words = 1;
   static bool parse(std::string_view text, int& value);
   static bool append(ZqString& out, int value);
};

template <>
struct ZqXmlText<bool>
{
   static constexpr const char* expected = "true or false";
   static constexpr const char* schemaType = "boolean";
   static constexpr unsigned words = 1;
   static bool parse(std::string_view text, bool& value);
   static bool append(ZqString& out, bool value);
};

/// Text is taken as it stands, white space included.
template <>
struct ZqXmlText<ZqString>
{
   static constexpr const char* expected = "a text";
   static constexpr const char* schemaType = "string";
   static constexpr unsigned words = 1;
   static bool parse(std::string_view text, ZqString& value);
   static bool append(ZqString& out, const ZqString& value);
};

/// Radians.
template <>
struct ZqXmlText<ZqAngle>
{
   static constexpr const char* expected = "a real number";
   static constexpr const char* schemaType = "double";
   static constexpr unsigned words = 1;
   static bool parse(std::string_view text, ZqAngle& value);
   static bool append(ZqString& out, const ZqAngle& value);
};

template <>
struct ZqXmlText<ZqNonNegReal>
{
   static constexpr const char* expected = "a real number of at least 0";
   static constexpr const char* schemaType = "double";
   static constexpr unsigned words = 1;
   static bool parse(std::string_view text, ZqNonNegReal& value);
   static bool append(ZqString& out, const ZqNonNegReal& value);
};

/// x y z
template <>
struct ZqXmlText<ZqVector>
{
   static constexpr const char* expected = "three real numbers";
   static constexpr const char* schemaType = "doubles";
   static constexpr unsigned words = 3;
   static bool parse(std::string_view text, ZqVector& value);
   static bool append(ZqString& out, const ZqVector& value);
};

/// w x y z; taken as it stands, but a quaternion of length zero is no orientation.
template <>
struct ZqXmlText<ZqOrientation>
{
   static constexpr const char* expected = "four real numbers that are not all zero";
   static constexpr const char* schemaType = "doubles";
   static constexpr unsigned words = 4;
   static bool parse(std::string_view text, ZqOrientation& value);
   static bool append(ZqString& out, const ZqOrientation& value);
};

/// Row by row.
template <>
struct ZqXmlText<ZqSpatialMatrix>
{
   static constexpr const char* expected = "nine real numbers";
   static constexpr const char* schemaType = "doubles";
   static constexpr unsigned words = 9;
   static bool parse(std::string_view text, ZqSpatialMatrix& value);
   static bool append(ZqString& out, const ZqSpatialMatrix& value);
};

/// Types with a text form.
template <class T>
concept ZqTextual = requires
{
   ZqXmlText<T>::words;
};
