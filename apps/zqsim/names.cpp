#include "apps/zqsim/names.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>
#include <vector>

namespace
{
/// How many letters one has to insert, drop or replace (Wagner and Fischer 1974).
std::size_t editsBetween(std::string_view a, std::string_view b)
{
   std::vector<std::size_t> row(b.size() + 1);
   std::iota(row.begin(), row.end(), std::size_t(0));
   for (std::size_t i = 0; i < a.size(); ++i)
   {
      std::size_t diagonal = std::exchange(row[0], i + 1);
      for (std::size_t j = 0; j < b.size(); ++j)
      {
         const std::size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
         diagonal = row[j + 1];
         row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
      }
   }
   return row.back();
}
} // namespace

std::string zqsim::namesNear(std::string_view name, std::span<const std::string> names)
{
   constexpr std::size_t longestName = 200;
   constexpr std::size_t most = 3;
   const std::string_view sought = name.substr(0, longestName);
   std::vector<std::pair<std::size_t, std::size_t>> distances; // of an index
   for (std::size_t i = 0; i < names.size(); ++i)
      distances.emplace_back(
         editsBetween(sought, std::string_view(names[i]).substr(0, longestName)), i);
   const std::size_t count = std::min(most, distances.size());
   std::partial_sort(distances.begin(), distances.begin() + static_cast<std::ptrdiff_t>(count),
                     distances.end());
   std::string list;
   for (std::size_t i = 0; i < count; ++i)
   {
      if (i > 0)
         list += i + 1 == count ? " or " : ", ";
      list += '"' + names[distances[i].second] + '"';
   }
   return list;
}
