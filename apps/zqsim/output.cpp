#include "apps/zqsim/output.h"

#include "apps/zqsim/commands.h"
#include "zqManipulator/foundation/log/ZqDiagnostic.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <vector>

namespace
{
/// Of UTF-8, the number of code points.
std::size_t width(std::string_view text)
{
   return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) >> 6U) != 2; }));
}

std::string shortNumber(ZqReal value)
{
   constexpr ZqReal rounding = 1e-12;
   std::array<char, 32> digits{};
   const auto end =
      std::to_chars(digits.data(), digits.data() + digits.size(),
                    std::abs(value) < rounding ? 0.0 : value, std::chars_format::general, 6);
   return {digits.data(), end.ptr};
}
} // namespace

std::string zqsim::text(const Json& value)
{
   if (value.is_null())
      return "-";
   if (value.is_number_float())
      return shortNumber(value.get<ZqReal>());
   if (value.is_string())
      return Zq::oneLine(value.get_ref<const std::string&>());
   if (!value.is_array())
      return value.dump();
   std::string result;
   for (const Json& element : value)
   {
      if (!result.empty())
         result += ' ';
      result += text(element);
   }
   return result;
}

std::string zqsim::table(const Json& rows, std::span<const Column> columns)
{
   struct Cell
   {
      std::string text;
      bool isNumber;
   };
   std::vector<std::vector<Cell>> lines(rows.size() + 1);
   std::vector<std::size_t> widths;
   for (const Column& column : columns)
   {
      const Json::json_pointer place(column.value);
      const bool areNumbers = !rows.empty() && !rows.front().at(place).is_string();
      lines[0].push_back({column.title, areNumbers});
      for (std::size_t i = 0; i < rows.size(); ++i)
         lines[i + 1].push_back({text(rows[i].at(place)), areNumbers});
      std::size_t widest = 0;
      for (const auto& line : lines)
         widest = std::max(widest, width(line.back().text));
      widths.push_back(widest);
   }

   std::string result;
   for (const auto& line : lines)
   {
      for (std::size_t i = 0; i < line.size(); ++i)
      {
         const std::string padding(widths[i] - width(line[i].text), ' ');
         result += "  ";
         result += line[i].isNumber ? padding + line[i].text : line[i].text + padding;
      }
      result.erase(result.find_last_not_of(' ') + 1);
      result += '\n';
   }
   return result;
}

std::string zqsim::exact(ZqReal value)
{
   std::array<char, 32> digits{};
   const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value);
   return {digits.data(), end.ptr};
}

zqsim::Json zqsim::toJson(const ZqVector& vector)
{
   return {vector.x(), vector.y(), vector.z()};
}

zqsim::Json zqsim::toJson(const ZqCoordinateSystemTransformation& frame)
{
   const ZqOrientation& q = frame.orientation();
   return {{"position", toJson(frame.translation())},
           {"orientation", {q.w(), q.x(), q.y(), q.z()}}};
}

zqsim::Json zqsim::bounded(ZqReal value)
{
   return std::abs(value) < 1e300 ? Json(value) : Json();
}

void zqsim::print(const std::string& text)
{
   errno = 0;
   const bool written =
      std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
   if (!written && errno != EPIPE)
      throw Failure(Failed,
                    "cannot write to standard output: " + std::string(std::strerror(errno)));
}

void zqsim::print(const Json& json)
{
   Json versioned{{"formatVersion", jsonVersion}};
   versioned.update(json);
   // File names may be anything; what is not UTF-8 is replaced.
   print(versioned.dump(2, ' ', false, Json::error_handler_t::replace) + '\n');
}

void zqsim::complain(std::string_view message)
{
   const std::string line = "zqsim: " + Zq::oneLine(message) + '\n';
   std::fwrite(line.data(), 1, line.size(), stderr);
}
