#include "zqManipulator/tools/control/ZqBaseController.h"

#include "zqManipulator/dynamics/tools/ZqOwnActuators.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/simulation/step/ZqSimulation.h"

#include <algorithm>
#include <cmath>

ZqBaseController::ZqBaseController(const ZqStatedSystem& scene, ZqU32 manipulator)
   : m_scene(&scene), m_index(manipulator), m_structure(&scene, manipulator)
{
}

const ZqIndividualManipulator& ZqBaseController::manipulator() const
{
   return *m_scene->manipulatorByIndex(m_index);
}

bool ZqBaseController::refuse(const char* what)
{
   Zq::Print::instance().write(Zq::Rejected, "A controller of manipulator %u does nothing: %s.\n",
                               m_index, what);
   for (ZqManipulatorTorque* torques : {&m_jointTorques, &m_motorTorques})
      std::fill(torques->jointTorques().begin(), torques->jointTorques().end(), 0.0);
   return false;
}

bool ZqBaseController::hasRigidDrives() const
{
   const auto& links = manipulator().linkPointerVector();
   return std::all_of(links.begin(), links.end(),
                      [](const ZqManipulatorLink* link)
                      { return link->jointActuator().isRigid(); });
}

bool ZqBaseController::hasOneOrAll(const Gains& gains) const
{
   return gains.size() == 1 || gains.size() == manipulator().jointDof();
}

bool ZqBaseController::isOneForEach(const ZqRealVector& numbers, ZqU32 joints, bool mayBeMissing)
{
   return numbers.size() == joints || (mayBeMissing && numbers.empty());
}

bool ZqBaseController::isIn(const ZqSimulation& simulation)
{
   return m_index < simulation.state().positionStates().size() ||
          refuse("the simulation does not have it");
}

bool ZqBaseController::takeState(const ZqPositionState& position, const ZqVelocityState& velocity)
{
   if (m_scene->manipulatorByIndex(m_index) == nullptr)
      return refuse("the scene does not have it");
   const ZqU32 joints = manipulator().jointDof();
   m_jointTorques.jointTorques().resize(joints);
   m_motorTorques.jointTorques().resize(joints);
   if (!manipulator().isFixedBase())
      return refuse("its base is not fixed");
   if (!hasRigidDrives())
      return refuse("a drive has a flexible shaft");
   if (position.jointPositions().size() != joints || velocity.jointVelocities().size() != joints)
      return refuse("the state does not have its joints");
   m_activeState.setPositionState(position);
   m_activeState.setVelocityState(velocity);
   manipulator().placeBase(m_activeState.activePositionState());
   if (m_compensatesFriction)
      zqMoveOwnActuators(manipulator(), m_activeState,
                         m_activeState.actuatorState().motorPositions().size() != joints);
   return true;
}

ZqRealVector& ZqBaseController::computeJointTorques(const ZqRealVector& accelerations)
{
   m_acceleration.jointAccelerations().values() = accelerations;
   m_acceleration.setGeneralAcceleration({m_scene->environment().upGravityVector(), ZqVector()});
   m_activeState.setAccelerationState(m_acceleration);
   m_noForce.resize(manipulator().jointDof());
   m_inverseDynamics.setManipulator(&manipulator());
   m_inverseDynamics.setTotalTorqueType(ZqTotalTorqueTool::BodyTorque);
   auto& torques = m_jointTorques.jointTorques().values();
   torques =
      m_inverseDynamics.torques(m_noForce, m_activeState, &m_structure).jointTorques().values();
   return torques;
}

/// What the drive of a link loses, at the joint.
ZqReal ZqBaseController::frictionAt(const ZqManipulatorLink& link, ZqReal load)
{
   const auto* drive = link.jointActuator().mechanicalComponentContainer().topElement();
   if (drive == nullptr)
      return 0.0;
   const ZqReal rate = m_activeState.actuatorState().motorVelocities()[link.linkIndex()];
   const bool slips = std::abs(rate) >= drive->limitingVelocityStickRegion();
   return drive->viscousFrictionTorque(m_activeState) +
          (slips ? drive->dryFrictionTorque(load, m_activeState) : 0.0);
}

bool ZqBaseController::computeMotorTorques()
{
   const auto& joint = m_jointTorques.jointTorques().values();
   auto& motor = m_motorTorques.jointTorques().values();
   for (std::size_t i = 0; i < motor.size(); ++i)
   {
      const ZqManipulatorLink& link = *manipulator().linkPointerVector()[i];
      const auto* drive = link.jointActuator().mechanicalComponentContainer().topElement();
      const ZqReal gear = drive != nullptr ? drive->gearRatio() * drive->efficiency() : 0.0;
      const ZqReal friction = m_compensatesFriction ? frictionAt(link, joint[i]) : 0.0;
      motor[i] = gear != 0.0 ? (joint[i] + friction) / gear : 0.0;
      if (!std::isfinite(joint[i]) || !std::isfinite(motor[i]))
         return refuse("a torque is not finite");
   }
   return true;
}

bool ZqBaseController::applyTo(ZqSimulation& simulation) const
{
   const auto& torques = m_motorTorques.jointTorques();
   for (ZqU32 i = 0; i < torques.size(); ++i)
      if (!simulation.setTorque({m_index, i}, torques[i]))
         return false;
   return true;
}
