#pragma once

#include "zqManipulator/foundation/algebra/ZqReArray.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <string>

namespace zqTest
{
/// Collects by name how far numbers are from what they should be, relative to the largest of them.
class Comparison
{
public:
   using Real = long double;

   void operator()(const char* name, Real value, Real expected)
   {
      const Real difference = std::abs(value - expected);
      Entry& entry = m_entries[name];
      if (std::isnan(difference) || difference > entry.difference)
         entry.difference = difference;
      entry.size = std::max({entry.size, std::abs(value), std::abs(expected)});
   }
   void operator()(const char* name, const ZqReArray& value, const ZqReArray& expected)
   {
      ASSERT_EQ(value.rows(), expected.rows()) << name;
      ASSERT_EQ(value.columns(), expected.columns()) << name;
      for (std::size_t i = 0; i < value.rows(); ++i)
         for (std::size_t j = 0; j < value.columns(); ++j)
            operator()(name, value[i][j], expected[i][j]);
   }
   /// Relative also to a number that is not compared.
   void scale(const char* name, Real size) { operator()(name, size, size); }
   void expectWithin(Real tolerance) const
   {
      for (const auto& [name, entry] : m_entries)
         EXPECT_LE(entry.difference, tolerance * entry.size) << name << " of size " << entry.size;
   }

private:
   struct Entry
   {
      Real difference = 0;
      Real size = 1e-3L;
   };
   std::map<std::string, Entry> m_entries;
};
} // namespace zqTest
