#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <limits>
#include <optional>
#include <vector>

class ZqXmlObject;

/// What differs between two persistent objects, by the paths of the elements of their documents.
///
/// Both are written with all their components, and the two documents are compared: what is saved and what is
/// compared cannot drift apart, and any persistent class can be compared, a user's own too. Elements are
/// matched by their names. Entries of lists are matched by their labels or keys where they have them
/// (manipulators, links, named points, entries of maps), or else by their places. All links of a manipulator stand
/// in one list, each with the label of its parent (`parent`; `<base>` below the base), so that a link that comes
/// between two others is one entry, and one more for the new parent of its child. States of joints and
/// manipulators go by the labels of these. What a link or a manipulator that only one of the two has brings along
/// in states and self collision maps is not told again. Links and manipulators that stand in another order differ
/// in `order` of their list, by the first two labels that do. An orientation and its negative are the same.
class ZqModelDifference
{
public:
   struct Settings
   {
      /// Numbers a and b are equal when |a - b| <= tolerance + relative max(|a|, |b|).
      /// @{
      ZqReal tolerance = 0.0;
      ZqReal relative = 0.0;
      /// @}
      /// Names of elements, one below the other and apart by `/`, that may stand anywhere in a path: what is at
      /// such a place or below is passed over. A name without a label stands for those with any label.
      std::vector<ZqString> ignored;
      /// How many entries are kept.
      std::size_t limit = std::numeric_limits<std::size_t>::max();
   };
   /// A value of each, or none where only the other object has the element. Of an element with further ones
   /// below, the value is empty. Of a list of numbers each that differs is an entry, once there are more than
   /// four; when there are not as many in both, the values tell how many.
   struct Entry
   {
      ZqString
         path; ///< `manipulatorSystem/manipulators[puma]/childLinks[hand]/massProperties/mass`
      std::optional<ZqString> first;
      std::optional<ZqString> second;

      bool operator==(const Entry&) const = default;
   };

   ZqModelDifference(const ZqXmlObject& first, const ZqXmlObject& second, const Settings& settings);
   ZqModelDifference(const ZqXmlObject& first, const ZqXmlObject& second)
      : ZqModelDifference(first, second, Settings())
   {
   }

   /// False when one of the two cannot be written (a number that is not finite), which is logged.
   bool isValid() const { return m_isValid; }
   /// Whether both could be written, and nothing differs.
   bool isEmpty() const { return m_isValid && m_count == 0; }
   /// Of all, also of those beyond the limit.
   std::size_t count() const { return m_count; }
   const std::vector<Entry>& entries() const { return m_entries; }
   /// One line for each entry.
   ZqString text() const;

private:
   bool m_isValid = false;
   std::size_t m_count = 0;
   std::vector<Entry> m_entries;
};
