#include "zqManipulator/dynamics/tools/ZqMassMatrixFactor.h"

#include "zqManipulator/dynamics/motion/ZqMotionFactor.h"
#include "zqManipulator/dynamics/tools/ZqCompositeBodySweep.h"
#include "zqManipulator/foundation/algebra/ZqReArray.h"
#include "zqManipulator/foundation/log/ZqPrint.h"

#include <algorithm>

namespace
{
constexpr ZqU32 freeBaseDof = 6;
}

void ZqMassMatrixFactor::setTree(const ZqCompositeBodySweep& tree, ZqU32 baseDof, ZqU32 count)
{
   const std::size_t size = baseDof + count;
   m_baseDof = baseDof;
   m_depths.resize(size);
   m_ends.resize(size);
   for (ZqU32 i = 0; i < baseDof; ++i)
   {
      m_depths[i] = static_cast<int>(i);
      m_ends[i] = static_cast<int>(size);
   }
   for (ZqU32 i = 0; i < count; ++i)
   {
      const ZqU32 parent = tree.parent(i);
      m_depths[baseDof + i] =
         parent < i ? m_depths[baseDof + parent] + 1 : static_cast<int>(baseDof);
      m_ends[baseDof + i] =
         static_cast<int>(std::min<std::size_t>(baseDof + tree.subtreeEnd(i), size));
   }
   const auto deepest = std::max_element(m_depths.begin(), m_depths.end());
   m_width = zqMotion::widthOfFactor(deepest != m_depths.end() ? *deepest : 0);
   m_rows.resize(m_width * size);
   m_inversePivots.resize(size);
   m_work.resize(zqMotion::workOfFactor(static_cast<int>(size), m_width));
   m_path.resize(m_width);
}

zqMotion::Factor ZqMassMatrixFactor::factorOfNumbers() noexcept
{
   return {static_cast<int>(m_depths.size()),
           static_cast<int>(m_baseDof),
           m_width,
           m_depths.data(),
           m_ends.data(),
           m_rows.data(),
           m_inversePivots.data(),
           m_work.data(),
           m_path.data()};
}

void ZqMassMatrixFactor::factor(const ZqCompositeBodySweep& tree, const ZqReArray& M)
{
   setTree(tree, 0, std::min(M.rows(), tree.size()));
   const zqMotion::Factor factor = factorOfNumbers();
   gatherMassMatrix(M.data(), M.columns(), factor);
   eliminate(factor);
}

void ZqMassMatrixFactor::factor(const ZqCompositeBodySweep& tree, const ZqReArray& M,
                                const ZqReArray& D, const ZqReArray& I)
{
   setTree(tree, freeBaseDof, std::min(M.rows(), tree.size()));
   const zqMotion::Factor factor = factorOfNumbers();
   gatherBase(I.data(), D.data(), factor);
   gatherMassMatrix(M.data(), M.columns(), factor);
   eliminate(factor);
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
   return fits("square", v.rows()) ? squareOf(factorOfNumbers(), v.data()) : 0.0;
}

ZqBoolean ZqMassMatrixFactor::solve(const ZqReArray& b, ZqReArray& x)
{
   if (!fits("solve", b.rows()))
   {
      x.resize(0, 0);
      return false;
   }
   x = b;
   solveFactored(factorOfNumbers(), x.data());
   return true;
}

ZqBoolean ZqMassMatrixFactor::solveTranspose(const ZqReArray& B, ZqReArray& X)
{
   if (!fits("solveTranspose", B.columns()))
   {
      X.resize(0, 0);
      return false;
   }
   const ZqU32 n = B.columns();
   const ZqU32 count = B.rows();
   X.resize(n, count);
   m_column.resize(4 * static_cast<std::size_t>(n));
   const zqMotion::Factor factor = factorOfNumbers();
   ZqU32 k = 0;
   for (; k + 4 <= count; k += 4)
   {
      for (ZqU32 lane = 0; lane < 4; ++lane)
         for (ZqU32 i = 0; i < n; ++i)
            m_column[4 * i + lane] = B[k + lane][i];
      solveFourFactored(factor, m_column.data());
      for (ZqU32 i = 0; i < n; ++i)
         std::copy_n(m_column.data() + 4 * i, 4, X[i].data() + k);
   }
   for (; k < count; ++k)
   {
      std::copy_n(B[k].data(), n, m_column.data());
      solveFactored(factor, m_column.data());
      for (ZqU32 i = 0; i < n; ++i)
         X[i][k] = m_column[i];
   }
   return true;
}
