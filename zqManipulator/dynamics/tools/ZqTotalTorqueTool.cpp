#include "zqManipulator/dynamics/tools/ZqTotalTorqueTool.h"

#include "zqManipulator/dynamics/bodies/ZqManipulatorExternalForce.h"
#include "zqManipulator/dynamics/motion/ZqMotionPlan.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/kinematics/manipulator/ZqMotionStages.h"

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

const ZqManipulatorTorque&
ZqTotalTorqueTool::torques(const ZqManipulatorExternalForce& externalForce,
                           ZqManipulatorActiveState& activeState,
                           const ZqStatedSystemStruct* stateStruct)
{
   if (m_manipulator == nullptr)
      return m_torques;
   resize();
   m_manipulator->placeBase(activeState.activePositionState());
   ZqMotionStages stages(*m_manipulator, activeState);
   stages.forces(externalForce, stateStruct);
   const auto count = static_cast<ZqU32>(stages.tree().count);
   auto& jointTorques = m_torques.jointTorques();
   const bool onlyBodies = !stages.plan().anyDrive && !stages.plan().anySpringOrDamper;
   const ZqU32 copied = onlyBodies ? count : 0;
   std::copy_n(stages.inverseTorques(), copied, jointTorques.values().data());
   for (ZqU32 i = copied; i < jointTorques.size(); ++i)
      jointTorques[i] = i < count ? totalTorque(i, stages, activeState)
                                  : torque(i, externalForce, activeState, stateStruct);
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
   m_manipulator->placeBase(activeState.activePositionState());
   ZqMotionStages stages(*m_manipulator, activeState);
   if (index < static_cast<ZqU32>(stages.tree().count))
      stages.forces(externalForce, stateStruct);
   else
      links[index]->dhFrameForceInLocal(externalForce, activeState, stateStruct); // says why not
   return totalTorque(index, stages, activeState);
}

/// What moves the bodies, with what springs, dampers and the drive take.
ZqReal ZqTotalTorqueTool::totalTorque(ZqU32 index, const ZqMotionStages& stages,
                                      ZqManipulatorActiveState& activeState) const
{
   const ZqManipulatorLink& link = *m_manipulator->linkPointerVector()[index];
   ZqReal torque =
      index < static_cast<ZqU32>(stages.tree().count) ? stages.inverseTorques()[index] : 0.0;
   if (stages.plan().anySpringOrDamper)
      torque += link.totalLocalTorque(activeState);
   if (!stages.plan().anyDrive)
      return torque;

   const auto& jointAccelerations = activeState.accelerationState().jointAccelerations();
   if (index < std::min(jointAccelerations.size(), static_cast<ZqU32>(stages.tree().count)))
      torque += stages.driveInertia(index) * jointAccelerations[index];
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
