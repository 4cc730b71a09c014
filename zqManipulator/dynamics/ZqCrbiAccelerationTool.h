#pragma once

#include "zqManipulator/dynamics/ZqMassMatrixTool.h"

class ZqStatedSystem;

/// Forward dynamics by the mass matrix of composite rigid bodies and its Cholesky factor, with state
/// equality constraints and with hybrid control.
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
/// what is too long is cut. A singular mass matrix and constraints that contradict or repeat each other
/// end in what `ZqReArray::choleskyFactor` makes of them: finite accelerations.
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
   /// The same. Null stands for an active state of the tool, which takes the position and the velocity,
   /// and gravity from the system's environment; any other one is used as it stands.
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
   void prepareOwnActiveState(const ZqStatedSystem& statedSystem,
                              const ZqIndividualManipulator& manipulator,
                              const ZqPositionState& position, const ZqVelocityState& velocity,
                              bool gravityInBase);
   void addActuatorInertia(const ZqIndividualManipulator& manipulator,
                           const ZqManipulatorActiveState& activeState, ZqReArray& matrix) const;
   void factorExtendedMassMatrix(const ZqIndividualManipulator& manipulator,
                                 ZqManipulatorActiveState& activeState,
                                 const ZqStatedSystemStruct* stateStruct);

   ZqManipulatorActiveState m_activeState;
   ZqMassMatrixTool m_massMatrixTool;
   ZqTotalTorqueTool m_totalTorqueTool;
   ZqMatrixDTool m_matrixDTool;
   ZqReArray m_massMatrix;
   ZqReArray m_extendedMassMatrix;      ///< N x N, joints first
   ZqReArray m_choleskyFactor;          ///< of the mass matrix, for a free base of the reduced one
   ZqReArray m_jointTorques;            ///< n x 1
   ZqReArray m_jointAccelerations;      ///< n x 1
   ZqReArray m_extendedCholeskyFactor;  ///< N x N, base first
   ZqReArray m_extendedTorques;         ///< N x 1, base first
   ZqReArray m_extendedAccelerations;   ///< N x 1, base first
   ZqReArray m_couplingSolution;        ///< 6 x n
   ZqReArray m_couplingProduct;         ///< n x n
   std::vector<bool> m_controlMask;     ///< true for a given torque
   ZqReArray m_knownTorques;            ///< r_T
   ZqReArray m_unknownTorques;          ///< tau_P
   ZqReArray m_knownAccelerations;      ///< a_P
   ZqReArray m_unknownAccelerations;    ///< a_T
   ZqReArray m_torqueBlock;             ///< M_TT
   ZqReArray m_couplingBlock;           ///< M_TP
   ZqReArray m_couplingBlockTransposed; ///< M_PT
   ZqReArray m_accelerationBlock;       ///< M_PP
   ZqReArray m_torqueBlockFactor;       ///< of M_TT
   ZqReArray m_jacobian;                ///< G, with base columns in the axes of the base
   ZqReArray m_constraintRightHandSide;
   ZqReArray m_massWeightedTranspose; ///< M^-1 G^T
   ZqReArray m_constraintMatrix;      ///< G M^-1 G^T
   ZqReArray m_constraintMatrixFactor;
   ZqReArray m_multipliers;
   ZqReArray m_constraintTorques; ///< G^T lambda
   ZqReArray m_hybridResidual;
   ZqReArray m_constraintBlockT; ///< G_T
   ZqReArray m_constraintBlockP; ///< G_P
   ZqGeneralForce m_hybridBaseForce;
};
