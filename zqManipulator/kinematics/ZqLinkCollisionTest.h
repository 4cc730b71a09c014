#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <vector>

/// A square table of bits: which links of a manipulator may collide. Row and column i stand for link i,
/// the last ones for the base. A row without a bit that is set takes no memory.
class ZqLinkCollisionTest
{
public:
   ZqU32 size() const { return static_cast<ZqU32>(m_rows.size()); }
   /// Clears all bits.
   void resize(ZqU32 size) { m_rows.assign(size, {}); }
   /// Both indices are below the size.
   bool test(ZqU32 row, ZqU32 column) const { return !m_rows[row].empty() && m_rows[row][column]; }
   void set(ZqU32 row, ZqU32 column)
   {
      if (m_rows[row].empty())
         m_rows[row].resize(size());
      m_rows[row][column] = true;
   }

private:
   std::vector<std::vector<bool>> m_rows;
};
