#include "zqManipulator/dynamics/tools/ZqArbiAccelerationTool.h"

#include "zqManipulator/dynamics/bodies/ZqManipulatorExternalForce.h"
#include "zqManipulator/dynamics/tools/ZqOwnActuators.h"
#include "zqManipulator/foundation/algebra/ZqValueOrZero.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"
#include "zqManipulator/kinematics/system/ZqManipulatorSystem.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/kinematics/system/ZqStatedSystemStruct.h"

#include <algorithm>

namespace
{
const ZqMechanicalActuatorComponentContainer& driveOf(const ZqManipulatorLink& link)
{
   return link.jointActuator().mechanicalComponentContainer();
}

bool anyHasDrive(const ZqIndividualManipulator& manipulator)
{
   const auto& links = manipulator.linkPointerVector();
   return std::any_of(links.begin(), links.end(),
                      [](const ZqManipulatorLink* link)
                      { return link != nullptr && driveOf(*link).topElement() != nullptr; });
}
} // namespace

void ZqArbiAccelerationTool::resize(const ZqIndividualManipulator& manipulator)
{
   m_netTorque.jointTorques().assign(manipulator.jointDof(), 0.0);
}

/// What the actuators put out, less springs and dampers.
void ZqArbiAccelerationTool::computeNetTorques(const ZqIndividualManipulator& manipulator,
                                               const ZqManipulatorTorque& torque,
                                               const ZqManipulatorExternalForce& externalForce,
                                               ZqManipulatorActiveState& activeState,
                                               const ZqStatedSystemStruct& stateStruct)
{
   resize(manipulator);
   m_netTorque.setGeneralForce(torque.generalForce());
   // The load on a joint matters to what drives it, and to nothing else.
   const ZqXmlVectorBasicType<ZqReal>* bias = nullptr;
   if (anyHasDrive(manipulator))
   {
      m_totalTorqueTool.setManipulator(&manipulator);
      m_totalTorqueTool.setTotalTorqueType(ZqTotalTorqueTool::BodyTorque);
      bias = &m_totalTorqueTool.torques(externalForce, activeState, &stateStruct).jointTorques();
   }
   const auto& links = manipulator.linkPointerVector();
   const auto& given = torque.jointTorques();
   auto& net = m_netTorque.jointTorques();
   for (std::size_t i = 0; i < std::min<std::size_t>(net.size(), links.size()); ++i)
   {
      if (links[i] == nullptr)
         continue;
      if (bias != nullptr && i < bias->size())
         net[i] =
            driveOf(*links[i]).outputTorque(Zq::valueOrZero(given, i), (*bias)[i], activeState);
      net[i] -= links[i]->totalLocalTorque(activeState);
   }
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
   computeNetTorques(manipulator, torque, externalForce, activeState, stateStruct);

   // Three sweeps: motions outwards, articulated bodies inwards, accelerations outwards. Each finds its
   // neighbours done, so that no query recurses along the tree.
   const auto& links = manipulator.linkPointerVector();
   const auto inState = std::min<std::size_t>(
      {links.size(), activeState.positionState().jointPositions().size(),
       activeState.activeVelocityState().linkVelocityStates().size(),
       activeState.activeArticulationState().linkArticulationStates().size()});
   for (std::size_t i = 0; i < inState; ++i)
      if (links[i] != nullptr)
         links[i]->dhFrameAccelerationInLocal(activeState);
   for (std::size_t i = inState; i-- > 0;)
      if (links[i] != nullptr)
         links[i]->arbd(externalForce, m_netTorque, activeState, &stateStruct);
   // The base first: links of a reference know only the base of its model, and would ask that one.
   ZqGeneralMotion ofBase = manipulator.arbiBaseAccelerationInLocal(externalForce, m_netTorque,
                                                                    activeState, &stateStruct);
   auto& jointAccelerations = result.jointAccelerations();
   jointAccelerations.resize(links.size());
   for (std::size_t i = 0; i < links.size(); ++i)
      if (links[i] != nullptr)
         jointAccelerations[i] =
            links[i]->arbiJointAcceleration(externalForce, m_netTorque, activeState, &stateStruct);

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
