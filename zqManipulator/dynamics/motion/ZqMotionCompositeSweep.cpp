#include "zqManipulator/dynamics/motion/ZqMotionCompositeSweep.h"

#include "zqManipulator/dynamics/motion/ZqMotionPack.h"

namespace zqMotion
{
inline namespace ZQ_MOTION_TARGET
{
namespace
{
/// A motion times a force, their components one after the other.
template <class T, class S>
ZQ_MOTION_INLINE T product(const S* motion, const T* force)
{
   return (motion[0] * force[0] + motion[1] * force[1]) +
          (motion[2] * force[2] + motion[3] * force[3]) +
          (motion[4] * force[4] + motion[5] * force[5]);
}

/// The elements of rows i, ..., i + rows - 1 of the mass matrix, in columns i to end.
template <std::size_t rows>
ZQ_MOTION_INLINE void writeRows(const ZqReal* axes, const ZqReal* forces, std::size_t width,
                                std::size_t i, std::size_t end, ZqReal* M, std::size_t columns)
{
   using Pair = Pack<2>;
   ZqReal s[rows][6];
   for (std::size_t r = 0; r < rows; ++r)
      for (std::size_t k = 0; k < 6; ++k)
         s[r][k] = axes[k * width + i + r];
   std::size_t j = i;
   for (; j + 2 <= end; j += 2)
   {
      Pair F[6];
      for (std::size_t k = 0; k < 6; ++k)
         F[k] = loadPack<Pair>(forces + k * width + j);
      for (std::size_t r = 0; r < rows; ++r)
         storePack(M + (i + r) * columns + j, product(s[r], F));
   }
   if (j < end)
   {
      ZqReal F[6];
      for (std::size_t k = 0; k < 6; ++k)
         F[k] = forces[k * width + j];
      for (std::size_t r = 0; r < rows; ++r)
         M[(i + r) * columns + j] = product(s[r], F);
   }
}

/// Copies what stands right of four rows' diagonal below it, in blocks of four by two.
ZQ_MOTION_INLINE void mirrorFourRows(std::size_t i, std::size_t end, ZqReal* M, std::size_t columns)
{
   using Pair = Pack<2>;
   ZqReal* const row = M + i * columns;
   for (std::size_t r = 1; r < 4; ++r)
      for (std::size_t k = 0; k < r; ++k)
         row[r * columns + i + k] = row[k * columns + i + r];
   std::size_t j = i + 4;
   for (; j + 2 <= end; j += 2)
   {
      const Pair a = loadPack<Pair>(row + j), b = loadPack<Pair>(row + columns + j);
      const Pair c = loadPack<Pair>(row + 2 * columns + j),
                 d = loadPack<Pair>(row + 3 * columns + j);
      ZqReal* const mirrored = M + j * columns + i;
      storePack(mirrored, Pair{a[0], b[0]});
      storePack(mirrored + 2, Pair{c[0], d[0]});
      storePack(mirrored + columns, Pair{a[1], b[1]});
      storePack(mirrored + columns + 2, Pair{c[1], d[1]});
   }
   for (; j < end; ++j)
      for (std::size_t r = 0; r < 4; ++r)
         M[j * columns + i + r] = row[r * columns + j];
}

/// Whether so many links from this one on follow one another without a branch up to the end of the subtree.
bool isStretch(const Tree& tree, int first, int links)
{
   const int end = endOf(tree, first);
   if (first + links > end)
      return false;
   for (int i = first + 1; i < first + links; ++i)
      if (endOf(tree, i) != end)
         return false;
   return true;
}
} // namespace

void writeMassMatrix(const Tree& tree, const ZqReal* axes, const ZqReal* forces, std::size_t width,
                     ZqReal* M, std::size_t columns)
{
   // A link and its only child share the columns: two rows at a time.
   for (int i = 0; i < tree.count;)
   {
      const auto row = static_cast<std::size_t>(i);
      const auto end = static_cast<std::size_t>(endOf(tree, i));
      const int rows = isStretch(tree, i, 2) ? 2 : 1;
      if (rows == 2)
         writeRows<2>(axes, forces, width, row, end, M, columns);
      else
         writeRows<1>(axes, forces, width, row, end, M, columns);
      i += rows;
   }
   for (int i = 0; i < tree.count;)
   {
      const auto row = static_cast<std::size_t>(i);
      const auto end = static_cast<std::size_t>(endOf(tree, i));
      const int rows = isStretch(tree, i, 4) ? 4 : 1;
      if (rows == 4)
         mirrorFourRows(row, end, M, columns);
      else
         for (std::size_t j = row + 1; j < end; ++j)
            M[j * columns + row] = M[row * columns + j];
      i += rows;
   }
}
} // namespace ZQ_MOTION_TARGET
} // namespace zqMotion
