#include "zqManipulator/dynamics/tools/ZqTotalTorqueTool.h"

#include "zqManipulator/dynamics/bodies/ZqManipulatorExternalForce.h"
#include "zqManipulator/foundation/algebra/ZqValueOrZero.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"

#include <algorithm>

void ZqTotalTorqueTool::setManipulator(const ZqIndividualManipulator* manipulator)
{
   m_manipulator = manipulator;
   resize();
}

void ZqTotalTorqueTool::resize()
{
   if (m_manipulator != nullptr)
      m_torques.jointTorques().resize(m_manipulator->jointDof());
}

void ZqTotalTorqueTool::setBaseAccelerationFromGravityVector(const ZqVector& gravity)
{
   m_accelerationState = m_activeState.accelerationState();
   m_accelerationState.setGeneralAcceleration({gravity, ZqVector()});
   m_activeState.setAccelerationState(m_accelerationState);
}

void ZqTotalTorqueTool::setPositionState(const ZqPositionState& state)
{
   m_activeState.setPositionState(state);
}

void ZqTotalTorqueTool::setVelocityState(const ZqVelocityState& state)
{
   m_activeState.setVelocityState(state);
}

void ZqTotalTorqueTool::setAccelerationState(const ZqAccelerationState& state)
{
   m_activeState.setAccelerationState(state);
}

/// Computes motions from the base outwards and forces from the tips inwards, in the order of the indices
/// and against it. Queries of links then find their neighbours done, and do not recurse along the tree.
void ZqTotalTorqueTool::sweepForces(const ZqManipulatorExternalForce& externalForce,
                                    ZqManipulatorActiveState& activeState,
                                    const ZqStatedSystemStruct* stateStruct) const
{
   m_manipulator->placeBase(activeState.activePositionState());
   const auto& links = m_manipulator->linkPointerVector();
   const auto count =
      std::min<std::size_t>({links.size(), activeState.positionState().jointPositions().size(),
                             activeState.activeVelocityState().linkVelocityStates().size(),
                             activeState.activeForceState().size()});
   for (std::size_t i = 0; i < count; ++i)
      if (links[i] != nullptr)
         links[i]->dhFrameAccelerationInLocal(activeState);
   for (std::size_t i = count; i-- > 0;)
      if (links[i] != nullptr)
         links[i]->dhFrameForceInLocal(externalForce, activeState, stateStruct);
}

const ZqManipulatorTorque&
ZqTotalTorqueTool::torques(const ZqManipulatorExternalForce& externalForce,
                           ZqManipulatorActiveState& activeState,
                           const ZqStatedSystemStruct* stateStruct)
{
   if (m_manipulator == nullptr)
      return m_torques;
   resize();
   sweepForces(externalForce, activeState, stateStruct);
   auto& jointTorques = m_torques.jointTorques();
   for (unsigned int i = 0; i < jointTorques.size(); ++i)
      jointTorques[i] = torque(i, externalForce, activeState, stateStruct);
   m_torques.setGeneralForce(generalForce(externalForce, activeState, stateStruct));
   return m_torques;
}

const ZqManipulatorTorque&
ZqTotalTorqueTool::torques(const ZqManipulatorExternalForce& externalForce,
                           ZqManipulatorActiveState* activeState,
                           const ZqStatedSystemStruct* stateStruct)
{
   return torques(externalForce, activeStateOr(activeState), stateStruct);
}

const ZqManipulatorTorque&
ZqTotalTorqueTool::torquesNoBaseForce(const ZqManipulatorExternalForce& externalForce,
                                      ZqManipulatorActiveState& activeState,
                                      const ZqStatedSystemStruct* stateStruct)
{
   if (m_manipulator == nullptr)
      return m_torques;
   torques(externalForce, activeState, nullptr).generalForce().copyToArray(m_baseForce);
   m_manipulator->crbiSpatialCholeskyDecomposition(activeState, stateStruct)
      .choleskySolve(m_baseForce, m_baseAcceleration);
   ZqGeneralMotion acceleration;
   acceleration.copyFromArray(m_baseAcceleration);
   acceleration *= -1.0;
   acceleration.transformBy(
      m_manipulator->dhFrameInSystem(activeState.activePositionState()).orientation());

   m_accelerationState = activeState.accelerationState();
   m_accelerationState.generalAcceleration() += acceleration;
   activeState.setAccelerationState(m_accelerationState);
   return torques(externalForce, activeState, nullptr);
}

const ZqManipulatorTorque&
ZqTotalTorqueTool::torquesNoBaseForce(const ZqManipulatorExternalForce& externalForce,
                                      ZqManipulatorActiveState* activeState,
                                      const ZqStatedSystemStruct* stateStruct)
{
   return torquesNoBaseForce(externalForce, activeStateOr(activeState), stateStruct);
}

ZqReal ZqTotalTorqueTool::torque(unsigned int index,
                                 const ZqManipulatorExternalForce& externalForce,
                                 ZqManipulatorActiveState& activeState,
                                 const ZqStatedSystemStruct* stateStruct)
{
   if (m_manipulator == nullptr)
      return 0.0;
   const auto& links = m_manipulator->linkPointerVector();
   if (index >= links.size() || links[index] == nullptr)
      return 0.0;
   const ZqManipulatorLink& link = *links[index];
   const ZqReal q = Zq::valueOrZero(activeState.positionState().jointPositions(), index);
   m_manipulator->placeBase(activeState.activePositionState());
   const ZqGeneralForce& force = link.dhFrameForceInLocal(externalForce, activeState, stateStruct);
   const ZqGeneralMotion& unitMotion =
      link.linkKinematicsContainer().calculateAcceleration(q, 0.0, 1.0);
   ZqReal torque = force.moment().dot(unitMotion.angular()) +
                   force.force().dot(unitMotion.linear()) + link.totalLocalTorque(activeState);

   const auto& jointAccelerations = activeState.accelerationState().jointAccelerations();
   if (index < jointAccelerations.size())
      torque += link.jointActuator().effectiveInertia(q) * jointAccelerations[index];

   const ZqMechanicalActuatorComponentContainer& drive =
      link.jointActuator().mechanicalComponentContainer();
   switch (m_totalTorqueType)
   {
   case ActuatorOutputSubtracted:
      return torque - drive.outputTorque(0.0, torque, activeState);
   case LinearTorqueAdded:
      return torque + drive.linearTorque(activeState);
   default:
      return torque;
   }
}

ZqReal ZqTotalTorqueTool::torque(unsigned int index,
                                 const ZqManipulatorExternalForce& externalForce,
                                 ZqManipulatorActiveState* activeState,
                                 const ZqStatedSystemStruct* stateStruct)
{
   return torque(index, externalForce, activeStateOr(activeState), stateStruct);
}

const ZqGeneralForce&
ZqTotalTorqueTool::generalForce(const ZqManipulatorExternalForce& externalForce,
                                ZqManipulatorActiveState& activeState,
                                const ZqStatedSystemStruct* stateStruct)
{
   return m_manipulator != nullptr
             ? m_manipulator->dhFrameForceInLocal(externalForce, activeState, stateStruct)
             : ZqGeneralForce::nullObject();
}

const ZqGeneralForce&
ZqTotalTorqueTool::generalForce(const ZqManipulatorExternalForce& externalForce,
                                ZqManipulatorActiveState* activeState,
                                const ZqStatedSystemStruct* stateStruct)
{
   return generalForce(externalForce, activeStateOr(activeState), stateStruct);
}
