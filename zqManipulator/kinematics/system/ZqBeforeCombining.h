#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

/// What spoke of the links of manipulators before these were combined, and what that became. While it is still
/// what it became, in a system of the same manipulators, an operation that takes the manipulators apart again
/// gives it back: by the record of what moved alone, what spoke of a base that was merged would stay with the
/// link that it was merged into.
template <class Holders>
class ZqBeforeCombining
{
public:
   using Labels = std::vector<ZqString>; ///< of all manipulators, by index

   void keep(const ZqString& combined, const Labels& labels, Holders before, Holders after)
   {
      m_entries.push_back({combined, labels, std::move(before), std::move(after)});
   }
   /// Takes out what there was before the last combination of a manipulator; none when anything has changed since.
   std::optional<Holders> take(const ZqString& combined, const Labels& labels, const Holders& now)
   {
      const auto found =
         std::find_if(m_entries.rbegin(), m_entries.rend(),
                      [&combined](const Entry& entry) { return entry.combined == combined; });
      if (found == m_entries.rend())
         return std::nullopt;
      Entry entry = std::move(*found);
      m_entries.erase(std::next(found).base());
      if (entry.labels == labels && entry.after == now)
         return std::move(entry.before);
      return std::nullopt;
   }

private:
   struct Entry
   {
      ZqString combined;
      Labels labels;
      Holders before;
      Holders after;
   };
   std::vector<Entry> m_entries;
};
