#include "zqManipulator/tools/labels/ZqLabelPool.h"

#include <boost/lexical_cast.hpp>

#include <iterator>
#include <string_view>

void ZqLabelPool::addUsedLabel(const ZqString& label)
{
   m_usedLabels.insert(label);
}

bool ZqLabelPool::addUsingLabel(const ZqString& label, ZqU32 index)
{
   const bool inserted = m_usingLabels.try_emplace(label, index).second;
   if (inserted)
      m_usedLabels.insert(label);
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

   // The counter is wider than the number in the label, so that counting on cannot overflow.
   ZqString base;
   ZqString number;
   std::int64_t counter = 1;
   if (parseLabel(label, base, number) && !number.empty())
      counter = boost::lexical_cast<int>(number);
   else
      base = label;

   // A label that was taken stays so: numbers that were found taken are not asked for again.
   base += '-';
   std::map<std::int64_t, std::int64_t>& runs = m_takenNumbers[base];
   auto next = runs.upper_bound(counter);
   std::int64_t first = counter;
   if (next != runs.begin() && std::prev(next)->second >= counter)
   {
      first = std::prev(next)->first;
      counter = std::prev(next)->second;
   }
   ZqString candidate = base + std::to_string(counter);
   while (m_usedLabels.contains(candidate))
   {
      ++counter;
      if (next != runs.end() && next->first == counter)
      {
         counter = next->second;
         next = runs.erase(next);
      }
      candidate = base + std::to_string(counter);
   }
   if (counter > first)
      runs[first] = counter;
   return candidate;
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
