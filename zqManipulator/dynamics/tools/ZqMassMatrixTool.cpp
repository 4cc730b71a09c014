#include "zqManipulator/dynamics/tools/ZqMassMatrixTool.h"

#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"

#include <algorithm>

void ZqMassMatrixTool::setManipulator(const ZqIndividualManipulator* manipulator)
{
   m_manipulator = manipulator;
   resize();
}

void ZqMassMatrixTool::resize()
{
   const ZqU32 n = m_manipulator != nullptr ? m_manipulator->jointDof() : 0;
   m_massMatrix.setToZeros(n, n);
   m_zerosOf = nullptr;
}

void ZqMassMatrixTool::setPositionState(const ZqPositionState& state)
{
   m_activeState.setPositionState(state);
}

const ZqReArray& ZqMassMatrixTool::massMatrix(ZqManipulatorActiveState& activeState,
                                              const ZqStatedSystemStruct* stateStruct)
{
   if (m_manipulator == nullptr)
   {
      resize();
      return m_massMatrix;
   }
   m_sweep.run(*m_manipulator, activeState, stateStruct);
   // Zeros between branches are not written again, where the state has all joints.
   const bool isWhole = m_sweep.size() == m_manipulator->jointDof();
   if (!isWhole || m_zerosOf != m_sweep.plan())
      resize();
   m_zerosOf = isWhole ? m_sweep.plan() : nullptr;
   m_sweep.writeMassMatrix(m_massMatrix);
   return m_massMatrix;
}

const ZqReArray& ZqMassMatrixTool::massMatrix(ZqManipulatorActiveState* activeState,
                                              const ZqStatedSystemStruct* stateStruct)
{
   return massMatrix(activeStateOr(activeState), stateStruct);
}

const ZqReArray& ZqMassMatrixTool::extendedMassMatrixInBase(ZqManipulatorActiveState& activeState,
                                                            const ZqStatedSystemStruct* stateStruct)
{
   if (m_manipulator == nullptr)
      return m_extendedMassMatrix;
   const ZqReArray& D = computeBlocks(activeState, stateStruct);
   assemble(D, m_extendedMassMatrix);
   return m_extendedMassMatrix;
}

const ZqReArray& ZqMassMatrixTool::extendedMassMatrixInBase(ZqManipulatorActiveState* activeState,
                                                            const ZqStatedSystemStruct* stateStruct)
{
   return extendedMassMatrixInBase(activeStateOr(activeState), stateStruct);
}

const ZqReArray&
ZqMassMatrixTool::extendedMassMatrixInSystem(ZqManipulatorActiveState& activeState,
                                             const ZqStatedSystemStruct* stateStruct)
{
   if (m_manipulator == nullptr)
      return m_extendedMassMatrixInSystem;
   const ZqReArray& D = computeBlocks(activeState, stateStruct);
   const ZqOrientation& R =
      m_manipulator->dhFrameInSystem(activeState.activePositionState()).orientation();
   m_matrixDTool.transformMatrixD(D, R, m_matrixDInSystem);
   m_baseMassProperties.transformBy(R);
   assemble(m_matrixDInSystem, m_extendedMassMatrixInSystem);
   return m_extendedMassMatrixInSystem;
}

const ZqReArray&
ZqMassMatrixTool::extendedMassMatrixInSystem(ZqManipulatorActiveState* activeState,
                                             const ZqStatedSystemStruct* stateStruct)
{
   return extendedMassMatrixInSystem(activeStateOr(activeState), stateStruct);
}

/// The blocks of the extended matrix, with those of the base in its axes: the mass matrix and the
/// inertia of the whole as members, and the coupling as result.
const ZqReArray& ZqMassMatrixTool::computeBlocks(ZqManipulatorActiveState& activeState,
                                                 const ZqStatedSystemStruct* stateStruct)
{
   m_sweep.clear();
   massMatrix(activeState, stateStruct);
   m_baseMassProperties = m_manipulator->crbi(activeState, stateStruct);
   m_matrixDTool.setManipulator(m_manipulator);
   return m_sweep.isFor(*m_manipulator) ? m_matrixDTool.matrixD(m_sweep)
                                        : m_matrixDTool.matrixD(activeState, nullptr);
}

void ZqMassMatrixTool::assemble(const ZqReArray& D, ZqReArray& result)
{
   const ZqU32 n = std::min(m_massMatrix.rows(), D.rows());
   m_baseMassProperties.getArray(m_baseInertia);
   result.resize(n + 6, n + 6);
   for (ZqU32 i = 0; i < n; ++i)
   {
      std::copy_n(m_massMatrix[i].data(), n, result[i].data());
      std::copy_n(D[i].data(), 6, result[i].data() + n);
      for (ZqU32 k = 0; k < 6; ++k)
         result[n + k][i] = D[i][k];
   }
   for (ZqU32 k = 0; k < 6; ++k)
      std::copy_n(m_baseInertia[k].data(), 6, result[n + k].data() + n);
}

const ZqReArray& ZqMassMatrixTool::nullSpaceTorque(ZqManipulatorActiveState& activeState,
                                                   const ZqReArray& basis)
{
   if (m_manipulator == nullptr)
      return m_nullSpaceTorque;
   if (&basis == &m_nullSpaceTorque)
      return nullSpaceTorque(activeState, ZqReArray(basis));
   m_totalTorqueTool.setManipulator(m_manipulator);
   m_totalTorqueTool.setTotalTorqueType(ZqTotalTorqueTool::BodyTorque);
   const ZqReArray* used = &basis;
   if (basis.rows() == 0 && basis.columns() == 0 && m_degreesOfConstraint == 0)
   {
      const ZqU32 size =
         m_isFixedBase ? m_manipulator->jointDof() : m_manipulator->jointAndBaseDof();
      if (m_identityBasis.rows() != size)
         m_identityBasis = ZqReArray::identity(size);
      used = &m_identityBasis;
   }
   const ZqU32 rows = used->rows();
   m_nullSpaceTorque.setToZeros(used->columns(), rows);

   m_velocityState.jointVelocities().assign(rows, 0.0);
   activeState.setVelocityState(m_velocityState);
   m_accelerationState = activeState.accelerationState();
   m_accelerationState.setGeneralAcceleration(ZqGeneralMotion::nullObject());
   m_accelerationState.jointAccelerations().resize(rows);
   m_noForce.resize(m_manipulator->jointDof());
   for (ZqU32 column = 0; column < used->columns(); ++column)
   {
      for (ZqU32 i = 0; i < rows; ++i)
         m_accelerationState.jointAccelerations()[i] = (*used)[i][column];
      activeState.setAccelerationState(m_accelerationState);
      const auto& torques =
         m_totalTorqueTool.torques(m_noForce, activeState, nullptr).jointTorques();
      std::copy_n(torques.begin(), std::min<ZqU32>(rows, torques.size()),
                  m_nullSpaceTorque[column].begin());
   }
   return m_nullSpaceTorque;
}

const ZqReArray& ZqMassMatrixTool::nullSpaceTorque(ZqManipulatorActiveState* activeState,
                                                   const ZqReArray& basis)
{
   return nullSpaceTorque(activeStateOr(activeState), basis);
}
