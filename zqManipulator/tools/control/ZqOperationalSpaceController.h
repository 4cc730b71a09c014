#pragma once

#include "zqManipulator/dynamics/tools/ZqCrbiAccelerationTool.h"
#include "zqManipulator/dynamics/tools/ZqMotionDerivativeTool.h"
#include "zqManipulator/tools/control/ZqBaseController.h"

/// How a point of a link moves, with the axes of the link's primary frame, all in the axes of the system.
struct ZqTaskMotion
{
   ZqVector position;     ///< m
   ZqVector velocity;     ///< m/s
   ZqVector acceleration; ///< m/s^2
   ZqOrientation orientation;
   ZqVector angularVelocity;     ///< rad/s
   ZqVector angularAcceleration; ///< rad/s^2
};

/// Moves a point of a link, or turns the link, or both, in the space of that task, while the joints go to a posture as
/// far as the task leaves them free (Khatib 1987).
///
/// A task has three rows, or six, linear before angular: its Jacobian is J, and its acceleration x''. What is asked of
/// it is
///
///     a = x_d'' + D (x_d' - x') + P (x_d - x)
///
/// where the difference of two orientations is the rotation vector that leads from one to the other. Joints by
/// themselves would accelerate by q0 = P0 (q_d - q) - D0 q'. They are told to by
///
///     q'' = q0 + M^-1 J^T L (a - J' q' - J q0),    L = (J M^-1 J^T)^-1
///
/// which is the force L (a - J' q') of the task with the torques of the posture behind the dynamically consistent
/// projection I - J^T L J M^-1 (equations 35, 48 and 52 there), and inverse dynamics gives the torques. So the task
/// has the acceleration a, whatever the posture asks for. M has the inertia of the drives on its diagonal.
///
/// **Near a singularity**, directions of the task in which the hand feels as if it had an unlimited mass are damped:
/// in L an eigenvalue s of J M^-1 J^T counts as s / max(s, e)^2 in place of 1 / s. That is the damped inverse of
/// least squares whose damping begins at e (Nakamura and Hanafusa 1986), for the singular directions alone (Maciejewski
/// and Klein 1988): continuous, at most 1 / e, and zero in a direction in which nothing moves. Linear and angular
/// rows are scaled for it so that their mean eigenvalue is 1 each, which makes e a number without a unit.
class ZqOperationalSpaceController : public ZqBaseController
{
public:
   enum class Task : ZqU32
   {
      Position,
      Orientation,
      Pose ///< both
   };

   /// A task of a point in the primary frame of a link (m). The scene is not owned. Gains are zero.
   ZqOperationalSpaceController(const ZqStatedSystem& scene, ZqU32 manipulator, Task task,
                                ZqU32 link, const ZqVector& point = {})
      : ZqBaseController(scene, manipulator), m_task(task), m_link(link), m_point(point)
   {
   }

   /// Of the task, P (1/s^2) and D (1/s).
   const ZqControlGains& taskGains() const noexcept { return m_taskGains; }
   void setTaskGains(const ZqControlGains& gains) { m_taskGains = gains; }
   /// Where joints are to be as far as the task lets them (rad or m): the gains P0 (1/s^2) and D0 (1/s), and one
   /// position for each joint. Without positions joints are damped, and no more.
   const ZqControlGains& postureGains() const noexcept { return m_postureGains; }
   const ZqRealVector& posture() const noexcept { return m_posture; }
   void setPosture(const ZqControlGains& gains, const ZqRealVector& positions = {})
   {
      m_postureGains = gains;
      m_posture = positions;
   }
   /// The eigenvalue e, of a mean of 1, below which a direction is damped: 1e-3, unless it is set. 0, and what is
   /// not above it, leaves none damped.
   ZqReal leastEigenvalue() const noexcept { return m_leastEigenvalue; }
   void setLeastEigenvalue(ZqReal eigenvalue) noexcept
   {
      m_leastEigenvalue = eigenvalue > 0.0 ? eigenvalue : 0.0;
   }

   /// For a state, where the point is to be; what the task does not have of it plays no part. False when it is
   /// refused, which a link that there is not is too, and an orientation of length zero.
   bool update(const ZqPositionState& position, const ZqVelocityState& velocity,
               const ZqTaskMotion& desired);
   /// For the present of a simulation, which the torques then drive.
   bool drive(ZqSimulation& simulation, const ZqTaskMotion& desired);

   /// \name Of the last update
   /// @{
   /// Where the point was, and its velocity; accelerations are zeros.
   const ZqTaskMotion& present() const noexcept { return m_present; }
   /// What was asked of the rows of the task (m/s^2, rad/s^2), k x 1.
   const ZqReArray& command() const noexcept { return m_command; }
   /// Whether a direction was damped, so that the task does not quite do so.
   bool isDamped() const noexcept { return m_isDamped; }
   /// @}

private:
   ZqU32 firstRow() const { return m_task == Task::Orientation ? 3 : 0; }
   ZqU32 rowCount() const { return m_task == Task::Pose ? 6 : 3; }
   void takeMotion();
   void computeCommand(const ZqTaskMotion& desired);
   void computePostureAccelerations();
   bool solveTask();

   Task m_task;
   ZqU32 m_link;
   ZqVector m_point;
   ZqControlGains m_taskGains;
   ZqControlGains m_postureGains;
   ZqRealVector m_posture;
   ZqReal m_leastEigenvalue = 1e-3;
   ZqTaskMotion m_present;
   ZqGeneralMotion m_unforced; ///< of the point, without the force of the task
   bool m_isDamped = false;
   ZqMotionDerivativeTool m_derivatives;
   ZqCrbiAccelerationTool m_masses;
   ZqReArray m_jacobian;       ///< J, k x n
   ZqReArray m_command;        ///< a, k x 1
   ZqReArray m_residual;       ///< a - J' q' - J q0, k x 1
   ZqReArray m_response;       ///< M^-1 J^T, n x k
   ZqReArray m_inverseInertia; ///< J M^-1 J^T, k x k
   ZqRealVector m_accelerations;
};
