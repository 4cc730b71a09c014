#include "zqManipulator/dynamics/motion/ZqMotionFactor.h"

#include "zqManipulator/dynamics/motion/ZqMotionCompositeSweep.h"
#include "zqManipulator/dynamics/motion/ZqMotionFactorRows.h"
#include "zqManipulator/dynamics/motion/ZqMotionPack.h"

namespace zqMotion
{
inline namespace ZQ_MOTION_TARGET
{
namespace
{
using Pair = Pack<2>;

constexpr int freeBaseDofs = 6;
constexpr std::size_t widthForWidePacks = 24;

/// The place of a free base's linear or angular degree of freedom k, the linear ones first, among the rows.
constexpr int rowOfBase(int k)
{
   return (k + 3) % freeBaseDofs;
}

void swapBaseHalves(ZqReal* x)
{
   for (int k = 0; k < 3; ++k)
   {
      const ZqReal linear = x[k];
      x[k] = x[k + 3];
      x[k + 3] = linear;
   }
}

/// to += factor * from, for n numbers.
ZQ_MOTION_INLINE void addScaled(ZqReal* to, ZqReal factor, const ZqReal* from, int n)
{
   int k = 0;
   for (; k + 2 <= n; k += 2)
      storePack(to + k, loadPack<Pair>(to + k) + factor * loadPack<Pair>(from + k));
   if (k < n)
      to[k] += factor * from[k];
}

/// The dot product of a row and the numbers inboard of it, of which the last ones were written just now, one by
/// one: reading them in pairs would wait for that.
ZQ_MOTION_INLINE ZqReal dotOf(const ZqReal* row, const ZqReal* path, int n)
{
   Pair pairs{};
   int k = 0;
   for (; k + 4 <= n; k += 2)
      pairs += loadPack<Pair>(row + k) * loadPack<Pair>(path + k);
   ZqReal sum = pairs[0] + pairs[1];
   if (k + 2 <= n)
   {
      sum += row[k] * path[k];
      sum += row[k + 1] * path[k + 1];
      k += 2;
   }
   if (k < n)
      sum += row[k] * path[k];
   return sum;
}

/// Four numbers, one of each of four columns, that stand one beside the other.
struct Four
{
   Pair a, b;

   ZQ_MOTION_INLINE static Four at(const ZqReal* numbers, int i)
   {
      return {loadPack<Pair>(numbers + 4 * i), loadPack<Pair>(numbers + 4 * i + 2)};
   }
   ZQ_MOTION_INLINE void put(ZqReal* numbers, int i) const
   {
      storePack(numbers + 4 * i, a);
      storePack(numbers + 4 * i + 2, b);
   }
};
ZQ_MOTION_INLINE Four operator+(const Four& x, const Four& y)
{
   return {x.a + y.a, x.b + y.b};
}
ZQ_MOTION_INLINE Four operator-(const Four& x, const Four& y)
{
   return {x.a - y.a, x.b - y.b};
}
ZQ_MOTION_INLINE Four operator*(const Four& x, ZqReal y)
{
   return {x.a * y, x.b * y};
}

/// The products of a force with the motions of two joints, whose components stand apart by a width.
ZQ_MOTION_INLINE Pair rowProducts(const ZqReal* motions, std::size_t width, const ZqReal* F)
{
   Pair products[6];
   for (std::size_t k = 0; k < 6; ++k)
      products[k] = F[k] * loadPack<Pair>(motions + k * width);
   return (products[0] + products[1]) + (products[2] + products[3]) + (products[4] + products[5]);
}

/// Puts the motions of a joint and of all that follow without a branch where they belong by depth: gives one
/// past the last of them.
int copyStretch(const Tree& tree, int first, const ZqReal* axes, std::size_t width,
                const Factor& factor)
{
   int end = first + 1;
   while (end < tree.count && tree.joints[end].parent == end - 1)
      ++end;
   const ZqReal* from = axes + first;
   ZqReal* to = factor.work + tree.joints[first].depth;
   for (int k = 0; k < 6; ++k, from += width, to += factor.width)
      for (int i = 0; i < end - first; ++i)
         to[i] = from[i];
   return end;
}
} // namespace

int shapeFactor(const Tree& tree, bool isBaseFree, int* depths, int* ends)
{
   const int base = isBaseFree ? freeBaseDofs : 0;
   int greatest = 0;
   for (int k = 0; k < base; ++k)
   {
      greatest = depths[k] = k;
      ends[k] = base + tree.count;
   }
   for (int i = 0; i < tree.count; ++i)
   {
      const int depth = depths[base + i] = base + tree.joints[i].depth;
      ends[base + i] = base + endOf(tree, i);
      if (depth > greatest)
         greatest = depth;
   }
   return greatest;
}

void gatherFactor(const Tree& tree, const ZqReal* axes, const ZqReal* forces, std::size_t width,
                  const Composite<ZqReal>& whole, const Factor& factor)
{
   const int base = factor.baseDofs;
   if (base > 0)
   {
      ZqReal inertia[36];
      writeInertia(whole, inertia);
      gatherBase(inertia, nullptr, factor);
   }
   // The motions of the joints between one and the root, by depth: without branches, those of all.
   const bool hasBranches = tree.count > 0 && tree.joints[tree.count - 1].depth < tree.count - 1;
   const ZqReal* const path = hasBranches ? factor.work : axes;
   const std::size_t pathWidth = hasBranches ? factor.width : width;
   int copied = 0;
   for (int i = 0; i < tree.count; ++i)
   {
      const int depth = tree.joints[i].depth;
      ZqReal F[6];
      for (std::size_t k = 0; k < 6; ++k)
         F[k] = (forces + i)[k * width];
      if (hasBranches && i == copied)
         copied = copyStretch(tree, i, axes, width, factor);
      ZqReal* const row = rowOf(factor, base + i);
      for (int k = 0; k < base; ++k)
         row[rowOfBase(k)] = F[k];
      for (int column = 0; column <= depth; column += 2)
         storePack(row + base + column, rowProducts(path + column, pathWidth, F));
      row[base + depth] += tree.joints[i].driveInertia;
   }
}

void gatherMassMatrix(const ZqReal* M, std::size_t columns, const Factor& factor)
{
   const int base = factor.baseDofs;
   int* const path = factor.path; // the joints between one and the root, by depth
   for (int i = base; i < factor.size; ++i)
   {
      const int depth = factor.depths[i];
      const ZqReal* const from = M + static_cast<std::size_t>(i - base) * columns;
      ZqReal* const row = rowOf(factor, i);
      path[depth] = i - base;
      for (int column = base; column <= depth; ++column)
         row[column] = from[path[column]];
   }
}

void gatherBase(const ZqReal* inertia, const ZqReal* coupling, const Factor& factor)
{
   for (int r = 0; r < freeBaseDofs; ++r)
      for (int k = 0; k < freeBaseDofs; ++k)
         rowOf(factor, rowOfBase(r))[rowOfBase(k)] = inertia[freeBaseDofs * r + k];
   if (!coupling)
      return;
   for (int i = freeBaseDofs; i < factor.size; ++i, coupling += freeBaseDofs)
      for (int k = 0; k < freeBaseDofs; ++k)
         rowOf(factor, i)[rowOfBase(k)] = coupling[k];
}

void eliminate(const Factor& factor)
{
#ifdef ZQ_WIDE_FACTOR
   // Short rows would be read before they are written as a whole.
   if (factor.width >= widthForWidePacks && __builtin_cpu_supports("avx"))
   {
      eliminateByAvx(factor);
      return;
   }
#endif
   eliminateRows<Pair>(factor);
}

// In the order of indices, and against it, the numbers inboard of a degree of freedom are at each time the last
// ones at their depths.
void solveFactored(const Factor& factor, ZqReal* x)
{
   if (factor.baseDofs != 0)
      swapBaseHalves(x);
   ZqReal* const path = factor.work;
   for (std::size_t k = 0; k < factor.width; ++k)
      path[k] = 0.0;
   for (int i = factor.size; i-- > 0;)
   {
      const int depth = factor.depths[i];
      const ZqReal y = (x[i] - path[depth]) * factor.inverse[i];
      x[i] = y;
      path[depth] = 0.0;
      addScaled(path, y, rowOf(factor, i), depth);
   }
   for (int i = 0; i < factor.size; ++i)
   {
      const int depth = factor.depths[i];
      path[depth] = x[i] = x[i] - dotOf(rowOf(factor, i), path, depth) * factor.inverse[i];
   }
   if (factor.baseDofs != 0)
      swapBaseHalves(x);
}

void solveFourFactored(const Factor& factor, ZqReal* x)
{
   const Four zero{Pair{}, Pair{}};
   const auto place = [&](int i) { return i < factor.baseDofs ? rowOfBase(i) : i; };
   ZqReal* const path = factor.work;
   for (int k = 0; k < static_cast<int>(factor.width); ++k)
      zero.put(path, k);
   for (int i = factor.size; i-- > 0;)
   {
      const int depth = factor.depths[i];
      const ZqReal* const row = rowOf(factor, i);
      const Four y = (Four::at(x, place(i)) - Four::at(path, depth)) * factor.inverse[i];
      y.put(x, place(i));
      zero.put(path, depth);
      for (int k = 0; k < depth; ++k)
         (Four::at(path, k) + y * row[k]).put(path, k);
   }
   for (int i = 0; i < factor.size; ++i)
   {
      const int depth = factor.depths[i];
      const ZqReal* const row = rowOf(factor, i);
      Four even = zero, odd = zero;
      int k = 0;
      for (; k + 2 <= depth; k += 2)
      {
         even = even + Four::at(path, k) * row[k];
         odd = odd + Four::at(path, k + 1) * row[k + 1];
      }
      if (k < depth)
         even = even + Four::at(path, k) * row[k];
      const Four y = Four::at(x, place(i)) - (even + odd) * factor.inverse[i];
      y.put(x, place(i));
      y.put(path, depth);
   }
}

ZqReal squareOf(const Factor& factor, const ZqReal* x)
{
   ZqReal* const path = factor.work;
   ZqReal sum = 0.0;
   for (int i = 0; i < factor.size; ++i)
   {
      const int depth = factor.depths[i];
      path[depth] = x[i < factor.baseDofs ? rowOfBase(i) : i];
      const ZqReal inverse = factor.inverse[i];
      const ZqReal ofRow = path[depth] + dotOf(rowOf(factor, i), path, depth) * inverse;
      if (inverse != 0.0)
         sum += ofRow * ofRow / inverse;
   }
   return sum;
}
} // namespace ZQ_MOTION_TARGET
} // namespace zqMotion
