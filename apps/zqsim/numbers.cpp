#include "apps/zqsim/numbers.h"

#include "apps/zqsim/commands.h"

#include <charconv>
#include <cmath>
#include <string>

namespace
{
[[noreturn]] void fail(std::string_view option, std::string_view word, const char* what)
{
   throw zqsim::Failure(
      zqsim::Usage, std::string(option).append(": \"").append(word).append("\" is not ") + what);
}
} // namespace

std::vector<ZqReal> zqsim::parseNumbers(std::string_view option, std::string_view text)
{
   constexpr std::string_view space = " \t\n";
   std::vector<ZqReal> numbers;
   for (;;)
   {
      const auto begin = text.find_first_not_of(space);
      if (begin == std::string_view::npos)
         return numbers;
      text.remove_prefix(begin);
      const std::string_view word = text.substr(0, text.find_first_of(space));
      ZqReal number = 0.0;
      const auto end = std::from_chars(word.data(), word.data() + word.size(), number);
      if (end.ec != std::errc() || end.ptr != word.data() + word.size() || !std::isfinite(number))
         fail(option, word, "a finite number");
      numbers.push_back(number);
      text.remove_prefix(word.size());
   }
}

std::uint64_t zqsim::parseCount(std::string_view option, std::string_view text)
{
   std::uint64_t count = 0;
   const auto end = std::from_chars(text.data(), text.data() + text.size(), count);
   if (end.ec != std::errc() || end.ptr != text.data() + text.size() || count == 0)
      fail(option, text, "a whole number above zero");
   return count;
}

ZqReal zqsim::parseNumber(std::string_view option, std::string_view text)
{
   const std::vector<ZqReal> numbers = parseNumbers(option, text);
   if (numbers.size() != 1)
      fail(option, text, "one number");
   return numbers.front();
}

ZqReal zqsim::parsePositive(std::string_view option, std::string_view text)
{
   const std::vector<ZqReal> numbers = parseNumbers(option, text);
   if (numbers.size() != 1 || !(numbers.front() > 0.0))
      fail(option, text, "a number above zero");
   return numbers.front();
}
