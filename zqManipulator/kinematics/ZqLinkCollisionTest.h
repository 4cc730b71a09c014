#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <vector>

/// A square table of bits: which links of a manipulator may collide. Row and column i stand for link i,
/// the last ones for the base. Rows without a bit that is set take no memory.
class ZqLinkCollisionTest
{
public:
   ZqU32 size() const { return m_size; }
   /// Clears all bits.
   void resize(ZqU32 size)
   {
      m_size = size;
      m_rows.clear();
   }
   /// Both indices are below the size.
   bool test(ZqU32 row, ZqU32 column) const
   {
      return !m_rows.empty() && !m_rows[row].empty() && m_rows[row][column];
   }
   void set(ZqU32 row, ZqU32 column)
   {
      m_rows.resize(m_size);
      if (m_rows[row].empty())
         m_rows[row].resize(m_size);
      m_rows[row][column] = true;
   }

private:
   ZqU32 m_size = 0;
   std::vector<std::vector<bool>> m_rows;
};
