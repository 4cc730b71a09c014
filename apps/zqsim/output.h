#pragma once

#include "zqManipulator/foundation/spatial/ZqCoordinateSystemTransformation.h"

#include <nlohmann/json_fwd.hpp>

#include <span>
#include <string>
#include <string_view>

/// What goes to standard output and standard error. Each command collects its data in one JSON value;
/// that is printed as it is, or as text made from it.
namespace zqsim
{
using Json = nlohmann::ordered_json;

/// Grows when a member of what is printed goes or changes its meaning, not when one comes.
constexpr int jsonVersion = 1;

/// A column of a table: its title, and the JSON pointer to its value in a row.
struct Column
{
   const char* title;
   const char* value;
};

/// A JSON value in a text: numbers with six digits, and what is zero but for rounding as zero; the
/// elements of an array one after the other; null as "-". It stays in its line.
std::string text(const Json& value);
/// One line for each element of an array, below the titles; numbers are aligned to the right.
std::string table(const Json& rows, std::span<const Column> columns);

/// The shortest text that reads back as the same number.
std::string exact(ZqReal value);

Json toJson(const ZqVector& vector);
/// An object of position and orientation, the latter as w, x, y and z.
Json toJson(const ZqCoordinateSystemTransformation& frame);
/// Null for a number that stands for "none": from 1e300 on, and what is not finite.
Json bounded(ZqReal value);

/// Writes to standard output. When nobody reads any more, what is left is dropped; when it cannot be
/// written, that is a `Failure`. An object of JSON begins with `jsonVersion`, as "formatVersion".
void print(const std::string& text);
void print(const Json& json);
/// Writes a line to standard error: "zqsim: " and the message, folded.
void complain(std::string_view message);
} // namespace zqsim
