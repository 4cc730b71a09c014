#include "zqManipulator/tools/control/ZqOperationalSpaceController.h"

#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/simulation/step/ZqSimulation.h"

#include <Eigen/Cholesky>
#include <Eigen/Eigenvalues>

#include <algorithm>
#include <cmath>

namespace
{
/// At most six rows: without allocations.
using TaskMatrix = Eigen::Matrix<ZqReal, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor, 6, 6>;
using TaskVector = Eigen::Matrix<ZqReal, Eigen::Dynamic, 1, Eigen::ColMajor, 6, 1>;

/// For each row what brings the mean eigenvalue of its block to 1.
TaskVector scalesOf(const TaskMatrix& inverseInertia)
{
   TaskVector scales(inverseInertia.rows());
   for (Eigen::Index first = 0; first < scales.size(); first += 3)
   {
      const ZqReal mean = inverseInertia.diagonal().segment<3>(first).sum() / 3.0;
      scales.segment<3>(first).setConstant(mean > 0.0 ? 1.0 / std::sqrt(mean) : 1.0);
   }
   return scales;
}

/// By eigenvalues, of which those below the least one are damped.
TaskVector dampedSolution(const TaskMatrix& matrix, const TaskVector& b, ZqReal least)
{
   const Eigen::SelfAdjointEigenSolver<TaskMatrix> solver(matrix);
   TaskVector parts = solver.eigenvectors().transpose() * b;
   for (Eigen::Index k = 0; k < parts.size(); ++k)
   {
      const ZqReal s = std::max(0.0, solver.eigenvalues()[k]);
      const ZqReal divisor = std::max(s, least);
      parts[k] *= divisor > 0.0 ? s / (divisor * divisor) : 0.0;
   }
   return solver.eigenvectors() * parts;
}
} // namespace

bool ZqOperationalSpaceController::update(const ZqPositionState& position,
                                          const ZqVelocityState& velocity,
                                          const ZqTaskMotion& desired)
{
   if (!takeState(position, velocity))
      return false;
   if (!isOneForEach(m_posture, position.jointPositions().size(), true))
      return refuse("the posture does not have its joints");
   if (!(m_link < manipulator().jointDof()))
      return refuse("there is no link of the task");
   if (ZqOrientation axes = desired.orientation; m_task != Task::Position && !axes.normalize())
      return refuse("the desired orientation is none");
   computePostureAccelerations();
   takeMotion();
   computeCommand(desired);
   if (!solveTask())
      return false;
   computeJointTorques(m_accelerations);
   return computeMotorTorques();
}

bool ZqOperationalSpaceController::drive(ZqSimulation& simulation, const ZqTaskMotion& desired)
{
   const ZqManipulatorSystemState& state = simulation.state();
   const ZqU32 i = manipulatorIndex();
   return isIn(simulation) &&
          update(state.positionStates()[i], state.velocityStates()[i], desired) &&
          applyTo(simulation);
}

/// q0.
void ZqOperationalSpaceController::computePostureAccelerations()
{
   const auto& positions = activeState().positionState().jointPositions();
   const auto& velocities = activeState().velocityState().jointVelocities();
   m_accelerations.resize(positions.size());
   for (ZqU32 i = 0; i < positions.size(); ++i)
   {
      const ZqReal error = m_posture.empty() ? 0.0 : m_posture[i] - positions[i];
      m_accelerations[i] =
         m_postureGains.proportional * error - m_postureGains.derivative * velocities[i];
   }
}

/// J, the motion of the point, and J' q' + J q0.
void ZqOperationalSpaceController::takeMotion()
{
   using Axes = ZqMotionDerivativeTool::Axes;
   const auto& velocities = activeState().velocityState().jointVelocities();
   m_derivatives.setManipulator(&manipulator());
   const auto [J, rate] =
      m_derivatives.jacobianAndRate(m_link, m_point, Axes::Mixed, activeState());
   ZqVector v[2], a[2];
   for (ZqU32 k = 0; k < 6; ++k)
      for (ZqU32 i = 0; i < velocities.size(); ++i)
      {
         v[k / 3][k % 3] += J[k][i] * velocities[i];
         a[k / 3][k % 3] += J[k][i] * m_accelerations[i] + rate[k][i] * velocities[i];
      }
   const ZqCoordinateSystemTransformation& frame =
      manipulator().linkByIndex(m_link)->primaryFrameInSystem(activeState().activePositionState());
   m_present = {frame * m_point, v[0], {}, frame.orientation(), v[1], {}};
   m_unforced = {a[0], a[1]};

   m_jacobian.resize(rowCount(), velocities.size());
   for (ZqU32 k = 0; k < rowCount(); ++k)
      std::copy_n(J[firstRow() + k].data(), velocities.size(), m_jacobian[k].data());
}

void ZqOperationalSpaceController::computeCommand(const ZqTaskMotion& desired)
{
   const ZqTaskMotion& now = m_present;
   const ZqReal P = m_taskGains.proportional;
   const ZqReal D = m_taskGains.derivative;
   const ZqVector turn = (desired.orientation * now.orientation.inverse()).logarithm();
   const ZqVector asked[] = {desired.acceleration + (desired.velocity - now.velocity) * D +
                                (desired.position - now.position) * P,
                             desired.angularAcceleration +
                                (desired.angularVelocity - now.angularVelocity) * D + turn * P};
   m_command.resize(rowCount(), 1);
   m_residual.resize(rowCount(), 1);
   for (ZqU32 k = 0; k < rowCount(); ++k)
   {
      const ZqU32 row = firstRow() + k;
      m_command[k][0] = asked[row / 3][row % 3];
      m_residual[k][0] = m_command[k][0] - m_unforced[row];
   }
}

/// Adds to the accelerations what brings the task to its command.
bool ZqOperationalSpaceController::solveTask()
{
   m_masses.factorMassMatrix(manipulator(), activeState(), structure())
      .solveTranspose(m_jacobian, m_response);
   m_jacobian.multiply(m_response, m_inverseInertia);

   const auto rows = static_cast<Eigen::Index>(rowCount());
   const TaskMatrix inverse = Eigen::Map<const TaskMatrix>(m_inverseInertia.data(), rows, rows);
   const TaskVector scales = scalesOf(inverse);
   const TaskMatrix scaled = scales.asDiagonal() * inverse * scales.asDiagonal();
   if (!scaled.allFinite())
      return refuse("the inertia of the task is not finite");
   const TaskVector residual =
      scales.cwiseProduct(Eigen::Map<const TaskVector>(m_residual.data(), rows));
   // Definite also without the least eigenvalue, all are above it.
   const TaskMatrix rest = scaled - m_leastEigenvalue * TaskMatrix::Identity(rows, rows);
   m_isDamped = Eigen::LLT<TaskMatrix>(rest).info() != Eigen::Success;
   const TaskVector force =
      scales.cwiseProduct(m_isDamped ? dampedSolution(scaled, residual, m_leastEigenvalue)
                                     : TaskVector(Eigen::LLT<TaskMatrix>(scaled).solve(residual)));

   for (std::size_t i = 0; i < m_accelerations.size(); ++i)
      for (Eigen::Index j = 0; j < rows; ++j)
         m_accelerations[i] += m_response[i][static_cast<std::size_t>(j)] * force[j];
   return true;
}
