#pragma once

#include "zqManipulator/dynamics/constraints/ZqConstraintFactor.h"
#include "zqManipulator/dynamics/tools/ZqMassMatrixFactor.h"
#include "zqManipulator/dynamics/tools/ZqMassMatrixTool.h"
#include "zqManipulator/dynamics/tools/ZqNetTorques.h"
#include "zqManipulator/simulation/constraints/ZqConstraintKinematics.h"

#include <limits>
#include <set>

class ZqStatedSystem;

/// Forward dynamics by the mass matrix of composite rigid bodies and its factors, with state equality
/// constraints and with hybrid control.
///
/// Joint accelerations and the acceleration of the base are relative to those in the active state:
/// gravity is an upward acceleration of the base there, and joint accelerations are zero. With
/// `recompute` false the factors of the last call are used again, for other torques at the same
/// position and velocity, which the caller warrants.
///
/// Equations order a free base's six degrees of freedom before those of the joints, masks and the
/// extended mass matrix after them. n is the number of joints, N that of all degrees of freedom.
///
/// Torques, joint accelerations and masks that are too short are filled up, with zeros and with true;
/// what is too long is cut. A singular mass matrix ends in what `ZqReArray::choleskyFactor` makes of it:
/// finite accelerations.
///
/// Constraints that repeat each other count once; `ZqConstraintFactor` tells which rank is found. Where no
/// acceleration fulfils all of them, they are fulfilled in the sense of least squares, and a message names
/// those that contradict, each once for as long as the tool lives.
class ZqCrbiAccelerationTool
{
public:
   ZqCrbiAccelerationTool() = default;
   ZqCrbiAccelerationTool(const ZqCrbiAccelerationTool&) = default;
   ZqCrbiAccelerationTool& operator=(const ZqCrbiAccelerationTool&) = default;
   virtual ~ZqCrbiAccelerationTool() = default;
   static ZqCrbiAccelerationTool nullObject() { return {}; }

   /// The accelerations of the joints, and that of the base in the axes of the system; zero for a fixed
   /// base. True.
   virtual bool
   acceleration(const ZqStatedSystem& statedSystem, const ZqIndividualManipulator& manipulator,
                const ZqManipulatorTorque& torque, const ZqManipulatorExternalForce& externalForce,
                ZqAccelerationState& result, ZqManipulatorActiveState& activeState, bool recompute);
   /// The same. Any active state is used as it stands, and null for one of the tool's own, which takes
   /// the position and the velocity. **It takes gravity from the system's environment the first time, and
   /// keeps it**: another gravity, or another system, is heeded only when the manipulator has more joints
   /// than any before, when the gravity so far was zero, or after `forgetOwnState`.
   virtual bool
   acceleration(const ZqStatedSystem& statedSystem, const ZqIndividualManipulator& manipulator,
                const ZqPositionState& position, const ZqVelocityState& velocity,
                const ZqManipulatorTorque& torque, const ZqManipulatorExternalForce& externalForce,
                ZqAccelerationState& result, ZqManipulatorActiveState* activeState, bool recompute);
   /// Solves for the accelerations of the degrees of freedom whose bit in the mask is set, whose torques
   /// are given, and for the torques of the others, whose accelerations are given. The mask has the
   /// joints first and the base last, the linear part before the angular one; the accelerations of a
   /// free base stand in the axes of the base, before and after. A torque is given as the command that
   /// brings it about through the gear; a joint with a gear ratio of zero keeps its command. True.
   virtual bool hybridTorqueAcceleration(const ZqStatedSystem& statedSystem,
                                         const ZqIndividualManipulator& manipulator,
                                         const ZqManipulatorExternalForce& externalForce,
                                         const std::vector<bool>& mask, ZqManipulatorTorque& torque,
                                         ZqAccelerationState& acceleration,
                                         ZqManipulatorActiveState& activeState, bool recompute);
   /// The same with null as above, where gravity is turned into the axes of the position's base frame.
   virtual bool hybridTorqueAcceleration(const ZqStatedSystem& statedSystem,
                                         const ZqIndividualManipulator& manipulator,
                                         const ZqPositionState& position,
                                         const ZqVelocityState& velocity,
                                         const ZqManipulatorExternalForce& externalForce,
                                         const std::vector<bool>& mask, ZqManipulatorTorque& torque,
                                         ZqAccelerationState& acceleration,
                                         ZqManipulatorActiveState* activeState, bool recompute);

   /// Lets the next call with null begin anew: gravity is taken from the environment, and motors are put
   /// to where their joints are.
   void forgetOwnState() { m_activeState = ZqManipulatorActiveState(); }
   /// Whether constraints enter by what `ZqStateEqualityConstraintVector::kinematics` answers, which is
   /// right for a moving base and for every pair of labels, rather than by `jacobian` and
   /// `jacobianDerivative`. Take it for simulation. False unless it is set.
   bool usesConstraintKinematics() const noexcept { return m_usesConstraintKinematics; }
   void setUsesConstraintKinematics(bool uses) noexcept { m_usesConstraintKinematics = uses; }
   /// The forces of the constraints in the last call for a manipulator that has any (doc x 1): G^T times them,
   /// with G the Jacobian, acts on the manipulator. In N where the row is a length. Of those that do the
   /// same the shortest.
   void getConstraintForces(ZqReArray& forces);
   /// The step (s) that an integration takes with the accelerations, after which it projects velocities
   /// to the constraints. Where following these would turn the velocities, in the metric of the mass
   /// matrix, by more than a radian in the step, as beside a singular position, `acceleration` leaves it
   /// to the projection: the part that is a product of velocities would only add energy. Zero unless it is
   /// set: nothing is left out.
   void setProjectedStep(ZqReal step) noexcept { m_projectedStep = step; }
   /// The factors of the mass matrix in a position, the inertia of motors and what is attached included.
   /// They hold until the next call, and serve the next one of `acceleration` that does not recompute.
   ZqMassMatrixFactor& factorMassMatrix(const ZqIndividualManipulator& manipulator,
                                        ZqManipulatorActiveState& activeState,
                                        const ZqStatedSystemStruct& stateStruct);

protected:
   /// The output of the actuators less what gravity, velocity and external forces ask for.
   virtual bool calculateJointTorqueArray(const ZqIndividualManipulator& manipulator,
                                          const ZqManipulatorTorque& torque,
                                          const ZqManipulatorExternalForce& externalForce,
                                          ZqManipulatorActiveState& activeState,
                                          const ZqStatedSystemStruct* stateStruct);
   /// With the inertia of the actuators, as the following one.
   virtual bool calculateMassMatrix(const ZqIndividualManipulator& manipulator,
                                    ZqManipulatorActiveState& activeState,
                                    const ZqStatedSystemStruct* stateStruct);
   virtual bool calculateExtendedMassMatrixInBase(const ZqIndividualManipulator& manipulator,
                                                  ZqManipulatorActiveState& activeState,
                                                  const ZqStatedSystemStruct* stateStruct);
   /// Partitions mass matrix, torques and accelerations by the mask. The force is that on a free base
   /// less what holds it.
   virtual void calculateHybridControlMassIntermediates(
      const ZqIndividualManipulator& manipulator, const ZqManipulatorExternalForce& externalForce,
      const std::vector<bool>& mask, const ZqStatedSystemStruct& stateStruct,
      ZqManipulatorTorque& torque, ZqManipulatorActiveState& activeState,
      ZqAccelerationState& acceleration, ZqGeneralForce& baseForce);
   /// Both solve the partitioned equations.
   virtual bool hybridTorqueAccelerationNoConstraints(const ZqIndividualManipulator& manipulator,
                                                      ZqManipulatorActiveState& activeState);
   virtual bool hybridTorqueAccelerationWithConstraints(const ZqIndividualManipulator& manipulator,
                                                        ZqManipulatorActiveState& activeState);

private:
   bool needsNoMassMatrix(const ZqIndividualManipulator& manipulator) const;
   bool accelerateByArticulatedBodies(const ZqIndividualManipulator& manipulator,
                                      const ZqManipulatorTorque& torque,
                                      const ZqManipulatorExternalForce& externalForce,
                                      const ZqStatedSystemStruct& stateStruct,
                                      ZqManipulatorActiveState& activeState,
                                      ZqAccelerationState& result);
   void prepareOwnActiveState(const ZqIndividualManipulator& manipulator,
                              const ZqPositionState& position, const ZqVelocityState& velocity,
                              const ZqVector& gravity, const ZqVector& baseAcceleration);
   static void addActuatorInertia(const ZqIndividualManipulator& manipulator,
                                  const ZqManipulatorActiveState& activeState, ZqReArray& matrix);
   bool prepareConstraints(const ZqIndividualManipulator& manipulator,
                           ZqManipulatorActiveState& activeState);
   void setConstraintBias(const ZqReArray& derivative, ZqU32 jointColumn,
                          const ZqVelocityState& velocity);
   void impose(const ZqReArray& bias, const ZqIndividualManipulator& manipulator,
               const ZqVelocityState& velocity, ZqReArray& accelerations,
               ZqReal greatestChange = std::numeric_limits<ZqReal>::infinity());
   ZqReal greatestBiasAcceleration(const ZqIndividualManipulator& manipulator,
                                   ZqManipulatorActiveState& activeState);
   void solve(const ZqReArray& torques, const ZqIndividualManipulator& manipulator,
              ZqManipulatorActiveState& activeState, ZqReArray& accelerations);
   void computeHybridResidual();
   void computeUnknownTorques();
   void splitJacobian(const ZqIndividualManipulator& manipulator);
   void scatter(const ZqIndividualManipulator& manipulator, ZqManipulatorTorque& torque,
                ZqAccelerationState& acceleration) const;

   ZqManipulatorActiveState m_activeState;
   ZqMassMatrixTool m_massMatrixTool;
   ZqTotalTorqueTool m_totalTorqueTool;
   ZqMatrixDTool m_matrixDTool;
   ZqReArray m_massMatrix;
   ZqReArray m_extendedMassMatrix;
   ZqReArray m_baseInertia;
   ZqNetTorques m_netTorques;
   ZqManipulatorTorque m_netTorque;
   ZqMassMatrixFactor m_massMatrixFactor; ///< with a free base, if it is one
   bool m_hasMassMatrixFactor = false;    ///< of the last call
   ZqReArray m_jointTorques;
   ZqReArray m_jointAccelerations;
   ZqReArray m_extendedTorques; ///< base first, as the accelerations
   ZqReArray m_extendedAccelerations;
   std::vector<bool> m_controlMask; ///< true for a degree of freedom of given torque, joints first
   ZqReArray m_knownTorques;
   ZqReArray m_unknownTorques;
   ZqReArray m_knownAccelerations;
   ZqReArray m_unknownAccelerations;
   ZqReArray m_torqueBlock;   ///< of the mass matrix: rows and columns of given torques
   ZqReArray m_couplingBlock; ///< rows of given torques, columns of given accelerations
   ZqReArray m_couplingBlockTransposed;
   ZqReArray m_accelerationBlock; ///< rows and columns of given accelerations
   ZqReArray m_torqueBlockFactor;
   ZqConstraintKinematics m_constraintKinematics;
   ZqReArray m_jacobianDerivative;
   ZqReArray m_jacobian;       ///< G, with the motions of a free base in its own axes
   ZqReArray m_constraintBias; ///< the derivative of G times the velocities
   ZqReArray m_hybridBias;     ///< with what the given accelerations do
   ZqConstraintFactor m_constraintFactor;
   ZqReArray m_multipliers;
   bool m_usesConstraintKinematics = false;
   ZqReal m_projectedStep = 0.0;
   ZqReArray m_velocities; ///< in the order of the equations
   /// The contradictions that a message has named: a manipulator, only to be compared, and a constraint.
   std::set<std::pair<const ZqIndividualManipulator*, ZqU32>> m_namedContradictions;
   ZqReArray m_hybridResidual;
   ZqReArray m_constraintBlockT; ///< the columns of G of given torques
   ZqReArray m_constraintBlockP; ///< the columns of G of given accelerations
   ZqReArray m_product;
   ZqGeneralForce m_hybridBaseForce;
};
