#include "zqManipulator/state/ZqJacobianState.h"

#include "zqManipulator/foundation/log/ZqPrint.h"

#include <algorithm>

void ZqJacobianState::invalidateAll()
{
   m_jacobianValid = m_softJacobianValid = m_nullSpaceValid = m_jacobianLUValid = false;
   m_singularityProximityMeasureValid = false;
}

const ZqReArray& ZqJacobianState::jacobian() const
{
   if (!m_jacobianValid)
      Zq::Print::instance().write(Zq::Rejected, "Jacobian not ready");
   return m_jacobian;
}

ZqReArray& ZqJacobianState::jacobianReferenceToSet()
{
   m_jacobianValid = true;
   m_nullSpaceValid = m_jacobianLUValid = false;
   return m_jacobian;
}

void ZqJacobianState::setJacobian(const ZqReArray& jacobian)
{
   jacobianReferenceToSet() = jacobian;
}

const ZqReArray& ZqJacobianState::softJacobian() const
{
   if (!m_softJacobianValid)
      Zq::Print::instance().write(Zq::Rejected, "Soft Jacobian not ready");
   return m_softJacobian;
}

ZqReArray& ZqJacobianState::softJacobianReferenceToSet()
{
   m_softJacobianValid = true;
   return m_softJacobian;
}

void ZqJacobianState::setSoftJacobian(const ZqReArray& jacobian)
{
   softJacobianReferenceToSet() = jacobian;
}

const ZqReArray& ZqJacobianState::nullSpace()
{
   if (!m_nullSpaceValid)
      calculateNullSpaceAndJacobianLU();
   return m_nullSpace;
}

void ZqJacobianState::setNullSpace(const ZqReArray& nullSpace)
{
   m_nullSpace = nullSpace;
   m_nullSpaceValid = true;
}

const ZqReArray& ZqJacobianState::jacobianLU()
{
   if (!m_jacobianLUValid)
      calculateNullSpaceAndJacobianLU();
   return m_jacobianLU;
}

const std::vector<ZqU32>& ZqJacobianState::indices()
{
   if (!m_jacobianLUValid)
      calculateNullSpaceAndJacobianLU();
   return m_indices;
}

void ZqJacobianState::calculateNullSpaceAndJacobianLU()
{
   if (!m_jacobianValid)
   {
      Zq::Print::instance().write(Zq::Rejected, "Jacobian not available.");
      return;
   }
   const ZqU32 rows = m_jacobian.rows();
   const ZqU32 columns = m_jacobian.columns();
   const ZqU32 size = std::max(rows, columns);
   if (m_jacobianLU.rows() != size || m_jacobianLU.columns() != size)
      m_jacobianLU.resize(size, size);
   for (ZqU32 i = 0; i < rows; ++i)
      std::copy_n(m_jacobian[i].begin(), columns, m_jacobianLU[i].begin());
   // The columns that fill the work array up to a square are no part of the kernel.
   const bool isDone =
      m_isSparse ? m_jacobianLU.sparseNullSpaceAndLu(m_nullSpace, rows, m_indices, m_zeroStart,
                                                     m_sparsityIndices, columns)
                 : m_jacobianLU.nullSpaceAndLu(m_nullSpace, rows, m_indices, columns);
   m_nullSpaceValid = m_jacobianLUValid = isDone;
}

void ZqJacobianState::setSingularityProximityMeasure(ZqReal measure)
{
   m_singularityProximityMeasure = measure;
   m_singularityProximityMeasureValid = true;
}
