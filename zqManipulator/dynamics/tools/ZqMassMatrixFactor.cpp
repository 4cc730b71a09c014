#include "zqManipulator/dynamics/tools/ZqMassMatrixFactor.h"

#include "zqManipulator/dynamics/tools/ZqCompositeBodySweep.h"
#include "zqManipulator/foundation/algebra/ZqReArrayKernels.h"
#include "zqManipulator/foundation/log/ZqPrint.h"

#include <algorithm>

using zqReArrayDetail::acceptPivot;
using zqReArrayDetail::addRows;
using zqReArrayDetail::dot;
using zqReArrayDetail::inversePivot;

namespace
{
constexpr ZqU32 freeBaseDof = 6;

/// Changes between the order of a free base's numbers outside, the linear ones first, and that of their
/// depths.
void swapBaseHalves(ZqReal* numbers)
{
   std::swap_ranges(numbers, numbers + 3, numbers + 3);
}
} // namespace

void ZqMassMatrixFactor::setTree(const ZqCompositeBodySweep& tree, ZqU32 baseDof, ZqU32 count)
{
   const std::size_t size = baseDof + count;
   m_dofs.resize(size);
   for (std::size_t i = 0; i < baseDof; ++i)
   {
      m_dofs[i].depth = i;
      m_dofs[i].end = size;
   }
   std::size_t width = baseDof;
   for (ZqU32 i = 0; i < count; ++i)
   {
      const ZqU32 parent = tree.parent(i);
      DegreeOfFreedom& joint = m_dofs[baseDof + i];
      joint.depth = parent < i ? m_dofs[baseDof + parent].depth + 1 : baseDof;
      joint.end = std::min<std::size_t>(baseDof + tree.subtreeEnd(i), size);
      width = std::max(width, joint.depth + 1);
   }
   m_baseDof = baseDof;
   m_width = width;
   m_rows.resize(2 * width * size);
   m_path.resize(width);
   m_pathJoints.resize(width);
}

void ZqMassMatrixFactor::gatherMassMatrix(const ZqReArray& M)
{
   const std::size_t base = m_baseDof;
   std::size_t* const path = m_pathJoints.data();
   for (std::size_t i = base; i < m_dofs.size(); ++i)
   {
      const std::size_t depth = m_dofs[i].depth;
      path[depth] = i - base;
      const ZqReal* const from = M.data() + (i - base) * M.columns();
      ZqReal* const to = row(i);
      for (std::size_t k = base; k <= depth; ++k)
         to[k] = from[path[k]];
   }
}

void ZqMassMatrixFactor::factor(const ZqCompositeBodySweep& tree, const ZqReArray& M)
{
   setTree(tree, 0, std::min(M.rows(), tree.size()));
   gatherMassMatrix(M);
   eliminate();
}

void ZqMassMatrixFactor::factor(const ZqCompositeBodySweep& tree, const ZqReArray& M,
                                const ZqReArray& D, const ZqReArray& I)
{
   setTree(tree, freeBaseDof, std::min(M.rows(), tree.size()));
   for (ZqU32 k = 0; k < freeBaseDof; ++k)
   {
      std::copy_n(I[(k + 3) % freeBaseDof].data(), freeBaseDof, row(k));
      swapBaseHalves(row(k));
   }
   for (ZqU32 i = freeBaseDof; i < size(); ++i)
   {
      std::copy_n(D[i - freeBaseDof].data(), freeBaseDof, row(i));
      swapBaseHalves(row(i));
   }
   gatherMassMatrix(M);
   eliminate();
}

void ZqMassMatrixFactor::eliminate() noexcept
{
   const std::size_t width = m_width;
   for (std::size_t i = m_dofs.size(); i-- > 0;)
   {
      // What is outboard is done, and takes its share off this row.
      DegreeOfFreedom& dof = m_dofs[i];
      const std::size_t depth = dof.depth;
      const std::size_t outboard = dof.end - i - 1;
      ZqReal* const __restrict W = row(i);
      ZqReal* const __restrict DW = W + width;
      const ZqReal* const next = W + 2 * width;
      const ZqReal diagonal = W[depth];
      addRows<-1>(W, next + width + depth, 2 * width, next, 2 * width, outboard, depth + 1);
      ZqReal pivot = W[depth];
      acceptPivot(pivot, outboard, diagonal);
      const ZqReal inverse = dof.inversePivot = inversePivot(pivot);
      for (std::size_t k = 0; k < depth; ++k)
      {
         DW[k] = W[k];
         W[k] *= inverse;
      }
   }
}

/// In the order of indices, and against it, the inboard numbers of a degree of freedom are at each time
/// the last ones at their depths.
void ZqMassMatrixFactor::solveInPlace(std::span<ZqReal> x) noexcept
{
   if (m_baseDof != 0)
      swapBaseHalves(x.data());
   ZqReal* const path = m_path.data();
   std::fill_n(path, m_width, 0.0);
   for (std::size_t i = x.size(); i-- > 0;)
   {
      const std::size_t depth = m_dofs[i].depth;
      x[i] -= path[depth];
      path[depth] = 0.0;
      addRows<1>(path, &x[i], 1, row(i), m_width, 1, depth);
   }
   for (std::size_t i = 0; i < x.size(); ++i)
   {
      const std::size_t depth = m_dofs[i].depth;
      path[depth] = x[i] = x[i] * m_dofs[i].inversePivot - dot(row(i), path, depth);
   }
   if (m_baseDof != 0)
      swapBaseHalves(x.data());
}

bool ZqMassMatrixFactor::fits(const char* operation, ZqU32 count) const
{
   if (count == size())
      return true;
   Zq::Print::instance().write(Zq::Rejected,
                               "ZqMassMatrixFactor::%s: %u numbers for %u degrees of freedom\n",
                               operation, count, size());
   return false;
}

ZqReal ZqMassMatrixFactor::square(const ZqReArray& v)
{
   if (!fits("square", v.rows()))
      return 0.0;
   m_column.assign(v.data(), v.data() + size());
   if (m_baseDof != 0)
      swapBaseHalves(m_column.data());
   ZqReal sum = 0.0;
   for (std::size_t i = 0; i < m_column.size(); ++i)
   {
      const std::size_t depth = m_dofs[i].depth;
      m_path[depth] = m_column[i];
      const ZqReal ofRow = m_column[i] + dot(row(i), m_path.data(), depth);
      if (m_dofs[i].inversePivot != 0.0)
         sum += ofRow * ofRow / m_dofs[i].inversePivot;
   }
   return sum;
}

ZqBoolean ZqMassMatrixFactor::solve(const ZqReArray& b, ZqReArray& x)
{
   if (!fits("solve", b.rows()))
   {
      x.resize(0, 0);
      return false;
   }
   x = b;
   solveInPlace({x.data(), x.rows()});
   return true;
}

ZqBoolean ZqMassMatrixFactor::solveTranspose(const ZqReArray& B, ZqReArray& X)
{
   if (!fits("solveTranspose", B.columns()))
   {
      X.resize(0, 0);
      return false;
   }
   X.resize(B.columns(), B.rows());
   m_column.resize(B.columns());
   for (ZqU32 k = 0; k < B.rows(); ++k)
   {
      std::copy_n(B[k].data(), m_column.size(), m_column.data());
      solveInPlace(m_column);
      for (ZqU32 i = 0; i < B.columns(); ++i)
         X[i][k] = m_column[i];
   }
   return true;
}
