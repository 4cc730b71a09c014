#include "zqManipulator/dynamics/tools/ZqArbiAccelerationTool.h"

#include "zqManipulator/dynamics/bodies/ZqManipulatorExternalForce.h"
#include "zqManipulator/dynamics/tools/ZqOwnActuators.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/kinematics/manipulator/ZqMotionStages.h"
#include "zqManipulator/kinematics/system/ZqManipulatorSystem.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/kinematics/system/ZqStatedSystemStruct.h"

void ZqArbiAccelerationTool::resize(const ZqIndividualManipulator& manipulator)
{
   m_netTorque.jointTorques().assign(manipulator.jointDof(), 0.0);
}

bool ZqArbiAccelerationTool::acceleration(const ZqStatedSystem& statedSystem,
                                          const ZqIndividualManipulator& manipulator,
                                          const ZqPositionState&, const ZqVelocityState&,
                                          const ZqManipulatorTorque& torque,
                                          const ZqManipulatorExternalForce& externalForce,
                                          ZqAccelerationState& result,
                                          ZqManipulatorActiveState& activeState)
{
   const ZqStatedSystemStruct stateStruct(&statedSystem, manipulator.manipulatorIndex());
   manipulator.placeBase(activeState.activePositionState());
   resize(manipulator);
   m_netTorques.compute(manipulator, torque, externalForce, activeState, &stateStruct, m_netTorque);

   ZqMotionStages stages(manipulator, activeState);
   const ZqReal* const found = stages.jointAccelerations(externalForce, m_netTorque, &stateStruct);
   const auto count = static_cast<ZqU32>(stages.tree().count);
   const auto& links = manipulator.linkPointerVector();
   auto& jointAccelerations = result.jointAccelerations();
   jointAccelerations.resize(links.size());
   for (ZqU32 i = 0; i < links.size(); ++i)
      jointAccelerations[i] = i < count ? found[i]
                                        : links[i]->arbiJointAcceleration(
                                             externalForce, m_netTorque, activeState, &stateStruct);
   if (manipulator.isFixedBase())
   {
      result.setGeneralAcceleration(ZqGeneralMotion::nullObject());
      return true;
   }
   ZqGeneralMotion ofBase = manipulator.arbiBaseAccelerationInLocal(externalForce, m_netTorque,
                                                                    activeState, &stateStruct);
   ofBase.transformBy(manipulator.dhFrameInSystem(activeState.activePositionState()).orientation());
   result.setGeneralAcceleration(ofBase);
   return true;
}

bool ZqArbiAccelerationTool::acceleration(
   const ZqStatedSystem& statedSystem, const ZqIndividualManipulator& manipulator,
   const ZqPositionState& position, const ZqVelocityState& velocity,
   const ZqManipulatorTorque& torque, const ZqManipulatorExternalForce& externalForce,
   ZqAccelerationState& result, ZqManipulatorActiveState* activeState)
{
   if (activeState == nullptr)
   {
      activeState = &m_activeState;
      prepareOwnActiveState(statedSystem, manipulator, position, velocity);
   }
   return acceleration(statedSystem, manipulator, position, velocity, torque, externalForce, result,
                       *activeState);
}

void ZqArbiAccelerationTool::prepareOwnActiveState(const ZqStatedSystem& statedSystem,
                                                   const ZqIndividualManipulator& manipulator,
                                                   const ZqPositionState& position,
                                                   const ZqVelocityState& velocity)
{
   const bool actuatorsAreNew =
      m_activeState.actuatorState().outputTorques().size() < position.jointPositions().size();
   m_activeState.setPositionState(position);
   m_activeState.setVelocityState(velocity);
   const ZqU32 rates = velocity.jointVelocities().size();
   const ZqU32 accelerations = m_activeState.accelerationState().jointAccelerations().size();
   if (rates == 0 || accelerations < rates)
   {
      ZqAccelerationState gravity;
      gravity.setGeneralAcceleration(
         {statedSystem.system().environment().upGravityVector(), ZqVector()});
      gravity.resize(rates);
      m_activeState.setAccelerationState(gravity);
   }
   zqMoveOwnActuators(manipulator, m_activeState, actuatorsAreNew);
   m_activeState.invalidateAll();
}
