#include "zqManipulator/tools/labels/ZqLabelPool.h"

#include <boost/lexical_cast.hpp>

#include <charconv>
#include <iterator>
#include <string_view>

ZqString ZqLabelPool::unusedLabel(const ZqString& label) const
{
   try
   {
      return nextUnusedLabel(label);
   }
   catch (const boost::bad_lexical_cast&)
   {
      // A number of its own, to count on from.
      return nextUnusedLabel(label + "-1");
   }
}

void ZqLabelPool::addUsedLabel(const ZqString& label)
{
   take(label);
}

/// Runs of numbers are kept here, so that looking for a free one changes nothing and does not count
/// through all that are taken.
void ZqLabelPool::take(const ZqString& label)
{
   if (!m_usedLabels.insert(label).second)
      return;
   ZqString base;
   ZqString digits;
   std::int64_t number = 0;
   // No number that is counted has zeros before it or spaces behind it, or comes near the greatest.
   if (!parseLabel(label, base, digits) || digits.empty() || digits.size() > 18 ||
       label.back() == ' ' || (digits.size() > 1 && digits.front() == '0'))
      return;
   std::from_chars(digits.data(), digits.data() + digits.size(), number);
   std::map<std::int64_t, std::int64_t>& runs = m_takenNumbers[base];
   const auto next = runs.upper_bound(number);
   const auto run = next != runs.begin() && std::prev(next)->second == number
                       ? std::prev(next)
                       : runs.emplace_hint(next, number, number);
   run->second = number + 1;
   if (next != runs.end() && next->first == number + 1)
   {
      run->second = next->second;
      runs.erase(next);
   }
}

bool ZqLabelPool::addUsingLabel(const ZqString& label, ZqU32 index)
{
   const bool inserted = m_usingLabels.try_emplace(label, index).second;
   if (inserted)
      take(label);
   return inserted;
}

void ZqLabelPool::clearUsingLabels()
{
   m_usingLabels.clear();
}

void ZqLabelPool::deleteUsingLabel(const ZqString& label)
{
   m_usingLabels.erase(label);
}

bool ZqLabelPool::indexOfUsingLabel(const ZqString& label, ZqU32& index) const
{
   const auto found = m_usingLabels.find(label);
   if (found == m_usingLabels.end())
      return false;
   index = found->second;
   return true;
}

bool ZqLabelPool::isLabelUsing(const ZqString& label) const
{
   return m_usingLabels.contains(label);
}

ZqString ZqLabelPool::nextUnusedLabel(const ZqString& label) const
{
   if (!m_usedLabels.contains(label))
      return label;

   // The counter is wider than the number in the label, so that the next one cannot overflow.
   ZqString base;
   ZqString number;
   std::int64_t counter = 1;
   if (parseLabel(label, base, number) && !number.empty())
      counter = boost::lexical_cast<int>(number);
   else
      base = label;

   if (const auto runs = m_takenNumbers.find(base); runs != m_takenNumbers.end())
   {
      const auto next = runs->second.upper_bound(counter);
      if (next != runs->second.begin() && counter < std::prev(next)->second)
         counter = std::prev(next)->second;
   }
   return base + '-' + std::to_string(counter);
}

bool ZqLabelPool::parseLabel(const ZqString& label, ZqString& base, ZqString& number)
{
   const auto lastNonSpace = label.find_last_not_of(' ');
   if (lastNonSpace == ZqString::npos)
      return false;
   const std::string_view text(label.data(), lastNonSpace + 1);

   const auto dash = text.find_last_not_of("0123456789");
   if (dash == std::string_view::npos || text[dash] != '-')
      return false;

   base = text.substr(0, dash);
   number = text.substr(dash + 1);
   return true;
}
