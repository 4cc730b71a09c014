#include "zqManipulator/dynamics/tools/ZqCrbiAccelerationTool.h"

#include "zqManipulator/dynamics/motion/ZqMotionPlan.h"
#include "zqManipulator/dynamics/tools/ZqOwnActuators.h"
#include "zqManipulator/foundation/algebra/ZqValueOrZero.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/kinematics/manipulator/ZqMotionStages.h"
#include "zqManipulator/kinematics/system/ZqManipulatorSystem.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/kinematics/system/ZqStatedSystemStruct.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <typeinfo>

namespace
{
/// Constraints contradict each other when more than this part of what they ask for cannot be fulfilled.
constexpr ZqReal grossContradiction = 0.1;

ZqReal greatest(std::span<const ZqReal> values)
{
   ZqReal result = 0.0;
   for (const ZqReal value : values)
      result = std::max(result, std::abs(value));
   return result;
}

/// Sets a tool to a manipulator; every query of a tool sizes its result in any case.
template <class Tool>
void bind(Tool& tool, const ZqIndividualManipulator& manipulator)
{
   if (tool.manipulator() != &manipulator)
      tool.setManipulator(&manipulator);
}

/// Fills a list from the column of an array, as far as there are numbers from the first row on.
void copyColumn(const ZqReArray& array, ZqU32 firstRow, ZqXmlVectorBasicType<ZqReal>& values)
{
   for (ZqU32 i = 0; i < values.size() && firstRow + i < array.rows(); ++i)
      values[i] = array[firstRow + i][0];
}

/// Copies the numbers of a row whose bit in a mask is the given one.
void gather(std::span<const ZqReal> row, const std::vector<bool>& mask, bool bit,
            std::span<ZqReal> result)
{
   std::size_t next = 0;
   for (std::size_t i = 0; i < row.size(); ++i)
      if (mask[i] == bit)
         result[next++] = row[i];
}

ZqOrientation baseOrientation(const ZqIndividualManipulator& manipulator,
                              ZqManipulatorActiveState& activeState)
{
   return manipulator.dhFrameInSystem(activeState.activePositionState()).orientation();
}

/// What acts on a free base less what its motion asks for, in its axes.
ZqGeneralForce forceOnBase(const ZqIndividualManipulator& manipulator,
                           const ZqManipulatorTorque& torque,
                           const ZqManipulatorExternalForce& externalForce,
                           ZqManipulatorActiveState& activeState,
                           const ZqStatedSystemStruct& stateStruct)
{
   return torque.generalForce() -
          manipulator.dhFrameForceInLocal(externalForce, activeState, &stateStruct);
}
} // namespace

bool ZqCrbiAccelerationTool::acceleration(const ZqStatedSystem& statedSystem,
                                          const ZqIndividualManipulator& manipulator,
                                          const ZqManipulatorTorque& torque,
                                          const ZqManipulatorExternalForce& externalForce,
                                          ZqAccelerationState& result,
                                          ZqManipulatorActiveState& activeState, bool recompute)
{
   const ZqStatedSystemStruct stateStruct(&statedSystem, manipulator.manipulatorIndex());
   if (recompute && needsNoMassMatrix(manipulator) &&
       accelerateByArticulatedBodies(manipulator, torque, externalForce, stateStruct, activeState,
                                     result))
      return true;
   calculateJointTorqueArray(manipulator, torque, externalForce, activeState, &stateStruct);
   if (recompute || !m_hasMassMatrixFactor)
      factorMassMatrix(manipulator, activeState, stateStruct);
   auto& jointAccelerations = result.jointAccelerations();
   if (manipulator.isFixedBase())
   {
      solve(m_jointTorques, manipulator, activeState, m_jointAccelerations);
      jointAccelerations.resize(manipulator.jointDof());
      copyColumn(m_jointAccelerations, 0, jointAccelerations);
      result.setGeneralAcceleration(ZqGeneralMotion::nullObject());
      return true;
   }

   const ZqGeneralForce baseForce =
      forceOnBase(manipulator, torque, externalForce, activeState, stateStruct);
   m_extendedTorques.resize(6 + m_jointTorques.rows(), 1);
   for (ZqU32 k = 0; k < 6; ++k)
      m_extendedTorques[k][0] = baseForce[k];
   std::copy_n(m_jointTorques.data(), m_jointTorques.rows(), m_extendedTorques.data() + 6);
   solve(m_extendedTorques, manipulator, activeState, m_extendedAccelerations);

   ZqGeneralMotion baseAcceleration;
   if (m_extendedAccelerations.rows() >= 6)
      baseAcceleration.copyFromArray(m_extendedAccelerations);
   baseAcceleration.transformBy(baseOrientation(manipulator, activeState));
   result.setGeneralAcceleration(baseAcceleration);
   jointAccelerations.resize(manipulator.jointDof());
   copyColumn(m_extendedAccelerations, 6, jointAccelerations);
   return true;
}

/// Whether nothing is constrained, and no derived class computes torques or mass matrix in its own way.
bool ZqCrbiAccelerationTool::needsNoMassMatrix(const ZqIndividualManipulator& manipulator) const
{
   return manipulator.stateEqualityConstraints().size() == 0 &&
          typeid(*this) == typeid(ZqCrbiAccelerationTool);
}

/// The pivots of the mass matrix from the leaves to the root are the inertias of articulated bodies at
/// their joints (Featherstone 2008, section 10.2): for one column of torques its factors are found in a time
/// that grows as the number of joints, without the matrix. False where a pivot may be rounding.
bool ZqCrbiAccelerationTool::accelerateByArticulatedBodies(
   const ZqIndividualManipulator& manipulator, const ZqManipulatorTorque& torque,
   const ZqManipulatorExternalForce& externalForce, const ZqStatedSystemStruct& stateStruct,
   ZqManipulatorActiveState& activeState, ZqAccelerationState& result)
{
   manipulator.placeBase(activeState.activePositionState());
   m_hasMassMatrixFactor = false;
   ZqMotionStages stages(manipulator, activeState);
   const auto count = static_cast<ZqU32>(stages.tree().count);
   if (count != manipulator.jointDof())
      return false;
   m_netTorques.compute(manipulator, torque, externalForce, activeState, &stateStruct, m_netTorque);
   // Accelerations add to those of the state, which drives resist as well.
   const auto& present = activeState.accelerationState().jointAccelerations();
   if (stages.plan().anyDrive)
      for (ZqU32 i = 0; i < std::min(count, present.size()); ++i)
         m_netTorque.jointTorques()[i] -= stages.driveInertia(i) * present[i];
   if (!stages.solve(externalForce, m_netTorque, &stateStruct))
      return false;

   const ZqMotionWorkspace& work = stages.work();
   result.jointAccelerations().values().assign(work.jointAccelerations.begin(),
                                               work.jointAccelerations.begin() + count);
   ZqGeneralMotion baseAcceleration;
   if (!manipulator.isFixedBase())
   {
      const auto& [x, y, z] = work.articulated[0].a;
      const auto& [u, v, w] = work.articulated[0].alpha;
      baseAcceleration = {ZqVector(x, y, z), ZqVector(u, v, w)};
      baseAcceleration.transformBy(baseOrientation(manipulator, activeState));
   }
   result.setGeneralAcceleration(baseAcceleration);
   return true;
}

bool ZqCrbiAccelerationTool::acceleration(
   const ZqStatedSystem& statedSystem, const ZqIndividualManipulator& manipulator,
   const ZqPositionState& position, const ZqVelocityState& velocity,
   const ZqManipulatorTorque& torque, const ZqManipulatorExternalForce& externalForce,
   ZqAccelerationState& result, ZqManipulatorActiveState* activeState, bool recompute)
{
   if (activeState == nullptr)
   {
      activeState = &m_activeState;
      const ZqVector& gravity = statedSystem.system().environment().upGravityVector();
      prepareOwnActiveState(manipulator, position, velocity, gravity, gravity);
   }
   return acceleration(statedSystem, manipulator, torque, externalForce, result, *activeState,
                       recompute);
}

/// Puts position and velocity into the tool's own active state. The acceleration that stands for gravity
/// is set where there is none yet.
void ZqCrbiAccelerationTool::prepareOwnActiveState(const ZqIndividualManipulator& manipulator,
                                                   const ZqPositionState& position,
                                                   const ZqVelocityState& velocity,
                                                   const ZqVector& gravity,
                                                   const ZqVector& baseAcceleration)
{
   const ZqU32 rates = velocity.jointVelocities().size();
   const bool actuatorsAreNew = m_activeState.actuatorState().outputTorques().size() < rates;
   m_activeState.setPositionState(position);
   m_activeState.setVelocityState(velocity);
   const ZqAccelerationState& present = m_activeState.accelerationState();
   if (present.jointAccelerations().size() < rates ||
       (present.generalAcceleration().linear() == ZqVector() && !(gravity == ZqVector())))
   {
      ZqAccelerationState state;
      state.setGeneralAcceleration({baseAcceleration, ZqVector()});
      state.resize(rates);
      m_activeState.setAccelerationState(state);
   }
   zqMoveOwnActuators(manipulator, m_activeState, actuatorsAreNew);
   m_activeState.invalidateAll();
}

bool ZqCrbiAccelerationTool::calculateJointTorqueArray(
   const ZqIndividualManipulator& manipulator, const ZqManipulatorTorque& torque,
   const ZqManipulatorExternalForce& externalForce, ZqManipulatorActiveState& activeState,
   const ZqStatedSystemStruct* stateStruct)
{
   bind(m_totalTorqueTool, manipulator);
   m_totalTorqueTool.setTotalTorqueType(ZqTotalTorqueTool::BodyTorque);
   const auto& bias =
      m_totalTorqueTool.torques(externalForce, activeState, stateStruct).jointTorques();
   m_jointTorques.resize(bias.size(), 1);
   const bool anyDrive = manipulator.motionPlan().anyDrive;
   for (ZqU32 i = 0; i < bias.size(); ++i)
   {
      ZqReal output = 0.0;
      if (const ZqManipulatorLink* link = anyDrive ? manipulator.linkByIndex(i) : nullptr)
         output = link->jointActuator().mechanicalComponentContainer().outputTorque(
            Zq::valueOrZero(torque.jointTorques(), i), bias[i], activeState);
      m_jointTorques[i][0] = output - bias[i];
   }
   return true;
}

/// Adds the inertia of the actuators to the diagonal of the joints.
void ZqCrbiAccelerationTool::addActuatorInertia(const ZqIndividualManipulator& manipulator,
                                                const ZqManipulatorActiveState& activeState,
                                                ZqReArray& matrix)
{
   const auto& links = manipulator.linkPointerVector();
   const auto& positions = activeState.positionState().jointPositions();
   const auto count = std::min<std::size_t>({matrix.rows(), links.size(), positions.size()});
   for (std::size_t i = 0; i < count; ++i)
      if (links[i] != nullptr)
         matrix[i][i] += links[i]->jointActuator().effectiveInertia(positions[i]);
}

bool ZqCrbiAccelerationTool::calculateMassMatrix(const ZqIndividualManipulator& manipulator,
                                                 ZqManipulatorActiveState& activeState,
                                                 const ZqStatedSystemStruct* stateStruct)
{
   bind(m_massMatrixTool, manipulator);
   m_massMatrix = m_massMatrixTool.massMatrix(activeState, stateStruct);
   addActuatorInertia(manipulator, activeState, m_massMatrix);
   return true;
}

bool ZqCrbiAccelerationTool::calculateExtendedMassMatrixInBase(
   const ZqIndividualManipulator& manipulator, ZqManipulatorActiveState& activeState,
   const ZqStatedSystemStruct* stateStruct)
{
   bind(m_massMatrixTool, manipulator);
   m_extendedMassMatrix = m_massMatrixTool.extendedMassMatrixInBase(activeState, stateStruct);
   addActuatorInertia(manipulator, activeState, m_extendedMassMatrix);
   return true;
}

ZqMassMatrixFactor&
ZqCrbiAccelerationTool::factorMassMatrix(const ZqIndividualManipulator& manipulator,
                                         ZqManipulatorActiveState& activeState,
                                         const ZqStatedSystemStruct& stateStruct)
{
   m_hasMassMatrixFactor = true;
   ZqCompositeBodySweep& sweep = m_massMatrixTool.sweep();
   sweep.clear();
   calculateMassMatrix(manipulator, activeState, &stateStruct);
   // A derived class may have computed the mass matrix without the sweep.
   if (!sweep.isFor(manipulator))
      sweep.run(manipulator, activeState, &stateStruct);
   if (manipulator.isFixedBase())
   {
      m_massMatrixFactor.factor(sweep, m_massMatrix);
      return m_massMatrixFactor;
   }
   bind(m_matrixDTool, manipulator);
   const ZqReArray& D = m_matrixDTool.matrixD(sweep);
   manipulator.crbi(activeState, &stateStruct).getArray(m_baseInertia);
   m_massMatrixFactor.factor(sweep, m_massMatrix, D, m_baseInertia);
   return m_massMatrixFactor;
}

/// Makes the Jacobian that of the motions that the equations are in, and the bias the derivative of the
/// Jacobian times the velocities. False when nothing is constrained.
bool ZqCrbiAccelerationTool::prepareConstraints(const ZqIndividualManipulator& manipulator,
                                                ZqManipulatorActiveState& activeState)
{
   const ZqStateEqualityConstraintVector& constraints = manipulator.stateEqualityConstraints();
   if (constraints.size() == 0 || constraints.doc() == 0)
      return false;
   if (m_usesConstraintKinematics)
   {
      constraints.getKinematics(manipulator, activeState, m_constraintKinematics);
      m_jacobian = m_constraintKinematics.jacobian;
      m_constraintBias = m_constraintKinematics.bias;
   }
   else
   {
      const ZqPositionState& position = activeState.positionState();
      const ZqVelocityState& velocity = activeState.velocityState();
      constraints.getJacobianDerivative(manipulator, position, velocity, m_jacobianDerivative);
      setConstraintBias(m_jacobianDerivative, manipulator.isFixedBase() ? 0 : 6, velocity);
      constraints.getJacobian(manipulator, position, m_jacobian);
   }
   if (!manipulator.isFixedBase())
      ZqConstraintFactor::turnBaseColumns(baseOrientation(manipulator, activeState), m_jacobian);
   return true;
}

void ZqCrbiAccelerationTool::setConstraintBias(const ZqReArray& derivative, ZqU32 jointColumn,
                                               const ZqVelocityState& velocity)
{
   m_constraintBias.setToZeros(derivative.rows(), 1);
   for (ZqU32 i = 0; i < derivative.rows(); ++i)
   {
      const auto row = derivative[i];
      for (ZqU32 j = 0; j < row.size(); ++j)
         m_constraintBias[i][0] +=
            row[j] * (j < jointColumn
                         ? velocity.generalVelocity()[j]
                         : Zq::valueOrZero(velocity.jointVelocities(), j - jointColumn));
   }
}

/// Changes unconstrained accelerations so that they fulfil the constraints. Constraints that contradict
/// each other by more than the rounding of a numeric Jacobian derivative are named in a message.
void ZqCrbiAccelerationTool::impose(const ZqReArray& bias,
                                    const ZqIndividualManipulator& manipulator,
                                    const ZqVelocityState& velocity, ZqReArray& accelerations,
                                    ZqReal greatestChange)
{
   m_constraintFactor.impose(bias, accelerations, grossContradiction, greatestChange);

   ZqReal rate = greatest(velocity.jointVelocities());
   for (ZqU32 k = 0; k < 6; ++k)
      rate = std::max(rate, std::abs(velocity.generalVelocity()[k]));
   const ZqReal row = ZqConstraintFactor::longestRow(m_jacobian);
   const ZqReal noise =
      1e-3 * std::max(greatest({bias.data(), bias.rows()}), row * rate * rate) + 1e-6 * row * rate;
   const ZqReArray& contradiction = m_constraintFactor.contradiction();
   for (ZqU32 i = 0; i < contradiction.rows(); ++i)
   {
      if (!(std::abs(contradiction[i][0]) > noise))
         continue;
      const ZqStateEqualityConstraintVector& constraints = manipulator.stateEqualityConstraints();
      const ZqU32 constraint = constraints.constraintOfRow(i);
      if (m_namedContradictions.insert({&manipulator, constraint}).second)
         Zq::Print::instance().write(
            Zq::Oddity,
            "ZqCrbiAccelerationTool: no acceleration of \"%s\" fulfils all of its constraints: %s "
            "contradicts others by %g in row %u.\n",
            manipulator.manipulatorLabel().c_str(), constraints.description(constraint).c_str(),
            contradiction[i][0], i);
   }
}

/// The square, in the metric of the mass matrix, of the acceleration that turns the velocities by a
/// radian in the step.
ZqReal ZqCrbiAccelerationTool::greatestBiasAcceleration(const ZqIndividualManipulator& manipulator,
                                                        ZqManipulatorActiveState& activeState)
{
   if (!(m_projectedStep > 0.0))
      return std::numeric_limits<ZqReal>::infinity();
   const ZqVelocityState& velocity = activeState.velocityState();
   const std::vector<ZqReal>& rates = velocity.jointVelocities();
   m_velocities.setToZeros(manipulator.totalDof(), 1);
   ZqU32 next = 0;
   if (!manipulator.isFixedBase())
   {
      const ZqGeneralMotion ofBase =
         baseOrientation(manipulator, activeState).inverse() * velocity.generalVelocity();
      for (; next < 6; ++next)
         m_velocities[next][0] = ofBase[next];
   }
   for (ZqU32 i = 0; next < m_velocities.rows(); ++i, ++next)
      m_velocities[next][0] = Zq::valueOrZero(rates, i);
   return m_massMatrixFactor.square(m_velocities) / (m_projectedStep * m_projectedStep);
}

/// The accelerations under given torques and under the forces that keep to the constraints, by
/// multipliers of Lagrange: M a = torques - G^T lambda, where G a + bias = 0.
void ZqCrbiAccelerationTool::solve(const ZqReArray& torques,
                                   const ZqIndividualManipulator& manipulator,
                                   ZqManipulatorActiveState& activeState, ZqReArray& accelerations)
{
   m_massMatrixFactor.solve(torques, accelerations);
   if (!prepareConstraints(manipulator, activeState))
      return;
   m_constraintFactor.factor(m_jacobian);
   m_massMatrixFactor.solveTranspose(m_constraintFactor.basis(),
                                     m_constraintFactor.inertialBasis());
   impose(m_constraintBias, manipulator, activeState.velocityState(), accelerations,
          greatestBiasAcceleration(manipulator, activeState));
}

bool ZqCrbiAccelerationTool::hybridTorqueAcceleration(
   const ZqStatedSystem& statedSystem, const ZqIndividualManipulator& manipulator,
   const ZqManipulatorExternalForce& externalForce, const std::vector<bool>& mask,
   ZqManipulatorTorque& torque, ZqAccelerationState& acceleration,
   ZqManipulatorActiveState& activeState, bool recompute)
{
   const ZqStatedSystemStruct stateStruct(&statedSystem, manipulator.manipulatorIndex());
   const ZqU32 n = manipulator.jointDof();
   acceleration.resize(n);
   if (torque.jointTorques().size() < n)
      torque.jointTorques().resize(n);

   calculateJointTorqueArray(manipulator, torque, externalForce, activeState, &stateStruct);
   if (recompute)
      calculateHybridControlMassIntermediates(manipulator, externalForce, mask, stateStruct, torque,
                                              activeState, acceleration, m_hybridBaseForce);
   if (manipulator.stateEqualityConstraints().size() != 0)
      hybridTorqueAccelerationWithConstraints(manipulator, activeState);
   else
      hybridTorqueAccelerationNoConstraints(manipulator, activeState);
   scatter(manipulator, torque, acceleration);
   return true;
}

bool ZqCrbiAccelerationTool::hybridTorqueAcceleration(
   const ZqStatedSystem& statedSystem, const ZqIndividualManipulator& manipulator,
   const ZqPositionState& position, const ZqVelocityState& velocity,
   const ZqManipulatorExternalForce& externalForce, const std::vector<bool>& mask,
   ZqManipulatorTorque& torque, ZqAccelerationState& acceleration,
   ZqManipulatorActiveState* activeState, bool recompute)
{
   if (activeState == nullptr)
   {
      activeState = &m_activeState;
      const ZqVector& gravity = statedSystem.system().environment().upGravityVector();
      prepareOwnActiveState(manipulator, position, velocity, gravity,
                            position.coordSysXForm().orientation().inverse() * gravity);
   }
   return hybridTorqueAcceleration(statedSystem, manipulator, externalForce, mask, torque,
                                   acceleration, *activeState, recompute);
}

void ZqCrbiAccelerationTool::calculateHybridControlMassIntermediates(
   const ZqIndividualManipulator& manipulator, const ZqManipulatorExternalForce& externalForce,
   const std::vector<bool>& mask, const ZqStatedSystemStruct& stateStruct,
   ZqManipulatorTorque& torque, ZqManipulatorActiveState& activeState,
   ZqAccelerationState& acceleration, ZqGeneralForce& baseForce)
{
   const bool isFixed = manipulator.isFixedBase();
   if (isFixed)
      calculateMassMatrix(manipulator, activeState, &stateStruct);
   else
   {
      calculateExtendedMassMatrixInBase(manipulator, activeState, &stateStruct);
      baseForce = forceOnBase(manipulator, torque, externalForce, activeState, stateStruct);
   }
   const ZqReArray& matrix = isFixed ? m_massMatrix : m_extendedMassMatrix;
   const ZqU32 dof = matrix.rows();
   const ZqU32 n = isFixed ? dof : dof - 6;

   m_controlMask.assign(dof, true);
   std::copy_n(mask.begin(), std::min<std::size_t>(mask.size(), dof), m_controlMask.begin());
   const auto known =
      static_cast<ZqU32>(std::count(m_controlMask.begin(), m_controlMask.end(), true));
   const ZqU32 unknown = dof - known;
   m_knownTorques.resize(known, 1);
   m_unknownTorques.resize(unknown, 1);
   m_knownAccelerations.resize(unknown, 1);
   m_unknownAccelerations.resize(known, 1);
   m_torqueBlock.resize(known, known);
   m_couplingBlock.resize(known, unknown);
   m_accelerationBlock.resize(unknown, unknown);

   ZqU32 t = 0;
   ZqU32 p = 0;
   for (ZqU32 i = 0; i < dof; ++i)
   {
      if (m_controlMask[i])
      {
         m_knownTorques[t][0] = i < n ? m_jointTorques[i][0] : baseForce[i - n];
         gather(matrix[i], m_controlMask, true, m_torqueBlock[t]);
         gather(matrix[i], m_controlMask, false, m_couplingBlock[t]);
         ++t;
      }
      else
      {
         m_knownAccelerations[p][0] = i < n ? Zq::valueOrZero(acceleration.jointAccelerations(), i)
                                            : acceleration.generalAcceleration()[i - n];
         gather(matrix[i], m_controlMask, false, m_accelerationBlock[p]);
         ++p;
      }
   }
   m_torqueBlock.choleskyFactor(m_torqueBlockFactor);
   m_couplingBlock.transpose(m_couplingBlockTransposed);
}

bool ZqCrbiAccelerationTool::hybridTorqueAccelerationNoConstraints(const ZqIndividualManipulator&,
                                                                   ZqManipulatorActiveState&)
{
   computeHybridResidual();
   m_torqueBlockFactor.choleskySolve(m_hybridResidual, m_unknownAccelerations);
   computeUnknownTorques();
   return true;
}

bool ZqCrbiAccelerationTool::hybridTorqueAccelerationWithConstraints(
   const ZqIndividualManipulator& manipulator, ZqManipulatorActiveState& activeState)
{
   if (!prepareConstraints(manipulator, activeState))
      return hybridTorqueAccelerationNoConstraints(manipulator, activeState);
   splitJacobian(manipulator);

   // M_TT a_T + G_T^T lambda = r and G_T a_T + bias + G_P a_P = 0.
   computeHybridResidual();
   m_torqueBlockFactor.choleskySolve(m_hybridResidual, m_unknownAccelerations);
   m_constraintBlockP.multiply(m_knownAccelerations, m_hybridBias);
   m_hybridBias += m_constraintBias;
   m_constraintFactor.factor(m_constraintBlockT, ZqConstraintFactor::longestRow(m_jacobian));
   m_torqueBlockFactor.choleskySolveTranspose(m_constraintFactor.basis(),
                                              m_constraintFactor.inertialBasis());
   impose(m_hybridBias, manipulator, activeState.velocityState(), m_unknownAccelerations);

   computeUnknownTorques();
   m_constraintFactor.getMultipliers(m_multipliers);
   m_constraintBlockP.leftTransposeMultiply(m_multipliers, m_product);
   m_unknownTorques += m_product;
   return true;
}

void ZqCrbiAccelerationTool::getConstraintForces(ZqReArray& forces)
{
   m_constraintFactor.getMultipliers(forces);
   forces *= -1.0;
}

/// The given torques less what the given accelerations ask for.
void ZqCrbiAccelerationTool::computeHybridResidual()
{
   m_couplingBlock.multiply(m_knownAccelerations, m_product);
   m_hybridResidual = m_knownTorques;
   m_hybridResidual -= m_product;
}

/// The torques that go with all accelerations.
void ZqCrbiAccelerationTool::computeUnknownTorques()
{
   m_couplingBlockTransposed.multiply(m_unknownAccelerations, m_unknownTorques);
   m_accelerationBlock.multiply(m_knownAccelerations, m_product);
   m_unknownTorques += m_product;
}

/// Splits the columns of the Jacobian, which has the base first, by the mask, which has it last.
void ZqCrbiAccelerationTool::splitJacobian(const ZqIndividualManipulator& manipulator)
{
   const ZqU32 rows = m_jacobian.rows();
   m_constraintBlockT.setToZeros(rows, m_knownTorques.rows());
   m_constraintBlockP.setToZeros(rows, m_unknownTorques.rows());
   const ZqU32 dof = m_jacobian.columns();
   if (m_controlMask.size() != dof)
      return;
   const ZqU32 baseColumns = manipulator.isFixedBase() ? 0 : 6;
   const ZqU32 n = dof - baseColumns;
   ZqU32 t = 0;
   ZqU32 p = 0;
   for (ZqU32 i = 0; i < dof; ++i)
   {
      const ZqU32 column = i < n ? i + baseColumns : i - n;
      ZqReArray& block = m_controlMask[i] ? m_constraintBlockT : m_constraintBlockP;
      const ZqU32 place = m_controlMask[i] ? t++ : p++;
      for (ZqU32 row = 0; row < rows; ++row)
         block[row][place] = m_jacobian[row][column];
   }
}

/// Copies the solution into the lists of the caller.
void ZqCrbiAccelerationTool::scatter(const ZqIndividualManipulator& manipulator,
                                     ZqManipulatorTorque& torque,
                                     ZqAccelerationState& acceleration) const
{
   const auto hasGivenTorque = [this](ZqU32 i)
   { return i >= m_controlMask.size() || m_controlMask[i]; };
   auto& accelerations = acceleration.jointAccelerations();
   auto& torques = torque.jointTorques();
   const ZqU32 n = accelerations.size();
   ZqU32 t = 0;
   ZqU32 p = 0;
   for (ZqU32 i = 0; i < n; ++i)
   {
      if (hasGivenTorque(i))
      {
         if (t < m_unknownAccelerations.rows())
            accelerations[i] = m_unknownAccelerations[t++][0];
         continue;
      }
      // A joint that no command can reach leaves its torque to the next one.
      const ZqManipulatorLink* const link = manipulator.linkByIndex(i);
      const ZqReal ratio = link != nullptr ? link->jointActuator().gearRatio() : 0.0;
      if (std::abs(ratio) > 0.0 && p < m_unknownTorques.rows())
         torques[i] += (m_unknownTorques[p++][0] - m_jointTorques[i][0]) / ratio;
   }
   if (manipulator.isFixedBase())
   {
      acceleration.setGeneralAcceleration(ZqGeneralMotion::nullObject());
      return;
   }
   for (ZqU32 k = 0; k < 6; ++k)
   {
      if (!hasGivenTorque(n + k))
      {
         if (p < m_unknownTorques.rows())
            torque.generalForce().setScalarValue(
               k, torque.generalForce()[k] + m_unknownTorques[p++][0] - m_hybridBaseForce[k]);
      }
      else if (t < m_unknownAccelerations.rows())
         acceleration.generalAcceleration().setScalarValue(k, m_unknownAccelerations[t++][0]);
   }
}
