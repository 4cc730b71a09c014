#pragma once

#include <algorithm>
#include <string_view>

/// White space as XML knows it.
namespace ZqXmlWhiteSpace
{
constexpr bool isSpace(char c)
{
   return c == ' ' || c == '\n' || c == '\t' || c == '\r';
}

constexpr bool isAllSpace(std::string_view text)
{
   return std::all_of(text.begin(), text.end(), isSpace);
}

/// The text without the white space around it.
constexpr std::string_view trimmed(std::string_view text)
{
   while (!text.empty() && isSpace(text.front()))
      text.remove_prefix(1);
   while (!text.empty() && isSpace(text.back()))
      text.remove_suffix(1);
   return text;
}

/// Takes the first word off the front of the text.
constexpr std::string_view takeWord(std::string_view& text)
{
   while (!text.empty() && isSpace(text.front()))
      text.remove_prefix(1);
   const auto* end = std::find_if(text.data(), text.data() + text.size(), isSpace);
   const std::string_view word = text.substr(0, static_cast<std::size_t>(end - text.data()));
   text.remove_prefix(word.size());
   return word;
}
} // namespace ZqXmlWhiteSpace
