#include "zqManipulator/dynamics/tools/ZqMatrixDTool.h"

#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"

#include <algorithm>

void ZqMatrixDTool::setManipulator(const ZqIndividualManipulator* manipulator)
{
   m_manipulator = manipulator;
   resize();
}

void ZqMatrixDTool::resize()
{
   if (m_manipulator != nullptr)
      m_matrixD.resize(m_manipulator->jointDof(), 6);
}

void ZqMatrixDTool::setPositionState(const ZqPositionState& state)
{
   m_activeState.setPositionState(state);
}

const ZqReArray& ZqMatrixDTool::matrixD(ZqManipulatorActiveState& activeState,
                                        const ZqStatedSystemStruct* stateStruct)
{
   if (m_manipulator == nullptr)
      return m_matrixD;
   m_sweep.run(*m_manipulator, activeState, stateStruct);
   return matrixD(m_sweep);
}

const ZqReArray& ZqMatrixDTool::matrixD(ZqManipulatorActiveState* activeState,
                                        const ZqStatedSystemStruct* stateStruct)
{
   return matrixD(activeState != nullptr ? *activeState : m_activeState, stateStruct);
}

const ZqReArray& ZqMatrixDTool::matrixD(const ZqCompositeBodySweep& sweep)
{
   if (m_manipulator == nullptr)
      return m_matrixD;
   resize();
   const auto& links = m_manipulator->linkPointerVector();
   for (ZqU32 i = 0; i < std::min(m_matrixD.rows(), sweep.size()); ++i)
   {
      if (links[i] == nullptr)
      {
         Zq::Print::instance().write(Zq::Rejected,
                                     "ZqMatrixDTool::matrixD() -> NULL link for index %d\n",
                                     static_cast<int>(i));
         continue;
      }
      const auto row = m_matrixD[i];
      for (ZqU32 k = 0; k < 6; ++k)
         row[k] = sweep.force(i, k);
   }
   return m_matrixD;
}

void ZqMatrixDTool::transformMatrixD(const ZqReArray& D, const ZqOrientation& orientation,
                                     ZqReArray& result) const
{
   if (D.rows() > 0 && D.columns() != 6)
   {
      Zq::Print::instance().write(
         Zq::Rejected, "ZqMatrixDTool::transformMatrixD(): %u columns are not 6.\n", D.columns());
      result.resize(0, 0);
      return;
   }
   result.resize(D.rows(), D.columns());
   const ZqRotationMatrix R(orientation);
   for (ZqU32 i = 0; i < D.rows(); ++i)
   {
      const auto from = D[i];
      const auto to = result[i];
      for (ZqU32 k = 0; k < 6; k += 3)
      {
         const ZqVector turned = R * ZqVector(from[k], from[k + 1], from[k + 2]);
         to[k] = turned.x();
         to[k + 1] = turned.y();
         to[k + 2] = turned.z();
      }
   }
}
