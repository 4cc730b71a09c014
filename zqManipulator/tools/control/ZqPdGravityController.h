#pragma once

#include "zqManipulator/tools/control/ZqBaseController.h"

/// Brings joints to a posture by springs and dampers between, while gravity is held (Takegaki and Arimoto 1981):
///
///     torque = P (q_d - q) - D q' + g(q)
///
/// with the gains P (N m/rad or N/m) and D (N m s/rad or N s/m), and g what gravity and springs of the model ask
/// for. The posture is reached for any gains above zero, whatever the masses; on the way the joints couple.
/// Dampers and the friction of drives help, and are not compensated in any case.
class ZqPdGravityController : public ZqBaseController
{
public:
   /// The scene is not owned. Gains are zero.
   ZqPdGravityController(const ZqStatedSystem& scene, ZqU32 manipulator)
      : ZqBaseController(scene, manipulator)
   {
   }

   /// One entry for all joints, or one for each.
   const std::vector<ZqControlGains>& gains() const noexcept { return m_gains; }
   void setGains(const std::vector<ZqControlGains>& gains) { m_gains = gains; }
   /// For a state, where joints are to come to positions (rad or m). False when it is refused.
   bool update(const ZqPositionState& position, const ZqVelocityState& velocity,
               const ZqRealVector& desired);
   /// For the present of a simulation, which the torques then drive.
   bool drive(ZqSimulation& simulation, const ZqRealVector& desired);

private:
   Gains m_gains{1};
   ZqRealVector m_noAccelerations;
   ZqVelocityState m_rest;
};
