#pragma once

#include "zqManipulator/tools/control/ZqBaseController.h"
#include "zqManipulator/tools/control/ZqBaseTrajectory.h"

/// Has joints follow a motion by inverse dynamics (Luh, Walker and Paul 1980; Craig 2005, section 10.4):
///
///     torque = M(q) (q_d'' + D (q_d' - q') + P (q_d - q)) + h(q, q')
///
/// with the gains P (1/s^2) and D (1/s), and h all that the motion asks for without accelerations: products of
/// velocities, gravity, springs and dampers. M has the inertia of the drives on its diagonal. With the model that is
/// controlled the error e = q_d - q then has the dynamics e'' + D e' + P e = 0, joint by joint.
class ZqComputedTorqueController : public ZqBaseController
{
public:
   /// The scene is not owned. Gains are zero.
   ZqComputedTorqueController(const ZqStatedSystem& scene, ZqU32 manipulator)
      : ZqBaseController(scene, manipulator)
   {
   }

   /// One entry for all joints, or one for each.
   const std::vector<ZqControlGains>& gains() const noexcept { return m_gains; }
   void setGains(const std::vector<ZqControlGains>& gains) { m_gains = gains; }
   /// For a state, where joints are to be at a point. False when it is refused.
   bool update(const ZqPositionState& position, const ZqVelocityState& velocity,
               const ZqTrajectoryPoint& desired);
   /// For the present of a simulation, which the torques then drive.
   bool drive(ZqSimulation& simulation, const ZqTrajectoryPoint& desired);

private:
   Gains m_gains{1};
   ZqRealVector m_accelerations;
};
